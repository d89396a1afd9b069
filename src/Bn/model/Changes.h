// What every change of a net does to the things derived from it: node order, caches of tables, and all that inference
// made.
#pragma once

#include "Bn/model/Records.h"

namespace bravic {

// The graph or the node set changed: node order and elimination order go, and the net is uncompiled.
void GraphChanged(net_bn net);
// A table of the node changed: its caches and the net's potentials go; the junction tree stays.
void TableChanged(node_bn node);
void FindingChanged(node_bn node);  // of a node that is in a net
// The first two for what undo has put back with its order and caches. The first also serves a change of what a node is,
// its kind or discreteness, which leaves the graph alone.
void GraphRestored(net_bn net);
void TableRestored(node_bn node);
void Uncompile(net_bn net);  // the junction tree goes, too

// Given at start-up by the modules that compile, which stand above the model.
struct InferenceHooks {
  void (*uncompile)(net_bn net);
  void (*tableChanged)(node_bn node);  // of this node only: the other potentials are kept
  void (*findingChanged)(node_bn node);
};
extern InferenceHooks inferenceHooks;

}  // namespace bravic

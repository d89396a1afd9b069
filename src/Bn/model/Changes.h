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

// What the compiled side of a net, which stands above the model, is told of changes. It sets the hooks at start-up;
// each is called when the change has been made, and must not change the model.
struct InferenceHooks {
  void (*uncompile)(net_bn net);         // the graph changed, or what nodes take part; also before a net is freed
  void (*tableChanged)(node_bn node);    // of this node only; the others' are as they were
  void (*findingChanged)(node_bn node);  // by undo or redo
};
extern InferenceHooks inferenceHooks;

}  // namespace bravic

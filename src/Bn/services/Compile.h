// Compiling a net into a junction tree with potentials, and what a change of the net does to them.
#pragma once

#include "Basic/Errors.h"
#include "Bn/engine/Engine.h"
#include "Bn/model/Records.h"

namespace bravic {

// The compiled side of a net. nodes[i] is the node that the engine knows as i (the compile node list).
struct CompiledNet {
  Vector<node_bn> nodes;
  Vector<int> numstates;
  Vector<Vector<int>> parents, children;
  engine::Graph moral;
  engine::JunctionTree tree;
  Owned<engine::Inference> inference;
  Vector<unsigned char> findingStale;  // [i] whether node i's finding has to be handed to the engine again
};

// Compile core. Empty on success, or when the net was compiled already.
Failure CompileNet(net_bn net, bool discardTree, bool makePotentials, bool printReport);
void UncompileNet(net_bn net);
void DropPotentials(net_bn net);
// Newly allocated, owned by the caller.
char* JunctionTreeReport(net_bn net);

// Brings beliefs up to date as far as the flags say; 0, or negative with an error posted. printing: the two-line
// account of the new probability on the output channel.
int UpdateBeliefs(net_bn net, bool printing);
// The node's belief vector, up to date; NULL with an error posted.
const float* CurrentBelief(node_bn node);

void StartCompile();  // registers the inference hooks

}  // namespace bravic

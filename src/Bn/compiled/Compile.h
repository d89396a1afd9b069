// Compiling a net into a junction tree with potentials, and what a change of the net does to them. The tree itself
// and all numbers belong to the engine; here stand the checks, the stored elimination order, and which tables and
// findings the engine has not been told of yet.
#pragma once

#include "Basic/Errors.h"
#include "Bn/engine/SearchOrder.h"
#include "Bn/engine/infer/Inference.h"
#include "Bn/model/Records.h"

namespace bravic {

// A set of small numbers that remembers its members in the order they came: what has to be handed over again.
struct StaleSet {
  Vector<int> members;
  Vector<unsigned char> marked;  // [n]

  void Reset(std::size_t n) {
    members.clear();
    marked.assign(n, 0);
  }
  void Add(int i) {
    if (marked[i]) return;
    marked[i] = 1;
    members.push_back(i);
  }
  void Clear() {
    for (int i : members) marked[i] = 0;
    members.clear();
  }
};

// The compiled side of a net. nodes[i] is the node that the engine knows as i (the compile node list).
struct CompiledNet {
  Vector<node_bn> nodes;  // not owned
  Vector<int> numstates;
  Vector<Vector<int>> parents;
  engine::JunctionTree tree;           // by the net's elimination order: what hosts are told of
  engine::JunctionTree computingTree;  // what potentials and messages stand on
  Owned<engine::Inference> inference;
  bool filled = false;           // the engine holds potentials, those of staleTables aside
  StaleSet staleTables;          // nodes whose table changed since
  StaleSet staleFindings;        // nodes whose finding the engine has not been given yet
  double logProbability = 0;     // natural logarithm that belongs to the net's caseprob
  bool probabilityKnown = true;  // whether both are those of the findings that the engine has
  // Which beliefs are read between two changes of the engine's numbers, so that many are computed in one sweep.
  unsigned long long readStamp = 0;    // the engine's stamp that the following are about
  int numRead = 0, numReadBefore = 0;  // nodes read under this stamp, and under the one before
  bool allKnown = false;               // every belief vector is right for the stamp
};

// The index that the engine knows the node by, or -1 when its net has no junction tree or it is not part of it.
int CompiledIndex(const bnode& node);

// Compile core. Empty on success, or when the net was compiled already.
Failure CompileNet(net_bn net, bool discardTree, bool makePotentials);
void UncompileNet(net_bn net);
void DropPotentials(net_bn net);
// The findings that changed since the last time reach the engine; nothing is propagated.
void HandOverFindings(net_bn net);
// A finding of the node was stored. strengthened: it only adds to the findings applied so far, so that these still
// count; else they are applied anew by the next update.
void NoteFindingChanged(node_bn node, bool strengthened);
// Searches beyond the default order and stores the best order found, undoably. 0, or -1 with an error posted.
int FindElimOrder(net_bn net, double seconds);
// Whether there is a person to print to.
bool UserOutput();

void StartCompile();  // registers the inference hooks

}  // namespace bravic

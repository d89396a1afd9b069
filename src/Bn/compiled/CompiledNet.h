// The compiled side of a net: the junction tree, the engine that computes on it, and what of the net the engine has not
// been told yet. The tree and all numbers are the engine's own. Compiling makes the record (Compile.h), beliefs are
// read from it (Beliefs.h), and every change of the net says here what it has made stale.
#pragma once

#include <functional>

#include "Bn/engine/cases/ManyCases.h"
#include "Bn/engine/infer/Inference.h"
#include "Bn/model/Records.h"
#include "Win_Face/Interaction.h"

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
  // The latest question about many cases, for the next one that is the same; NULL once a table has changed.
  Owned<engine::ManyCases> cases;
  bool filled = false;           // the engine holds potentials, those of staleTables aside
  StaleSet staleTables;          // nodes whose table changed since
  StaleSet staleFindings;        // nodes whose finding the engine has not been given yet
  double logProbability = 0;     // natural logarithm that belongs to the net's caseprob
  bool probabilityKnown = true;  // whether both are those of the findings that the engine has
  // Which beliefs are read between two changes of the engine's numbers, so that many are computed in one sweep.
  unsigned long long readStamp = 0;                        // the engine's stamp that the following are about
  int numRead = 0, numReadBefore = 0, numReadEarlier = 0;  // nodes read under this stamp, and under the two before
  bool wasRead = false;                                    // before this stamp
  bool allKnown = false;                                   // every belief vector is right for the stamp
};

// The index that the engine knows the node by, or -1 when its net has no junction tree or it is not part of it.
inline int CompiledIndex(const bnode& node) {
  const CompiledNet* compiled = node.innet ? node.innet->compiled : nullptr;
  if (!compiled || node.compiledIndex < 0 || node.compiledIndex >= compiled->nodes.size()) return -1;
  return compiled->nodes[node.compiledIndex] == &node ? node.compiledIndex : -1;
}

// Without the junction tree the net is as it was before it was compiled. Without the potentials the tree stays.
void UncompileNet(net_bn net);
void DropPotentials(net_bn net);
// A table of the node changed: compiling again hands it over, and the rest of the potentials is kept.
void NoteTableChanged(node_bn node);
// A finding of the node was stored. Strengthening only adds to the findings applied so far, so that these still count;
// else they are applied anew by the next update.
enum class FindingChange { Strengthening, Other };
void NoteFindingChanged(node_bn node, FindingChange change);
// The findings that changed since the last time reach the engine, and whether sums or largest entries are wanted;
// nothing is propagated.
void HandOverFindings(net_bn net);
void HandOverFinding(CompiledNet& compiled, int i);  // of that node alone, whether it changed or not

// Where the engine finds the nodes' tables, as long as the record lives.
engine::TableSource TablesOf(const CompiledNet& compiled);
// What is posted of an answer that was halted, or for which memory was short.
Failure FailAnswer(engine::Status status);

// Any question to the engine, which may take long: so many passes over the tree, about. Halted: it has forgotten all
// that was computed.
engine::Status AskEngine(CompiledNet& compiled, int sweeps, const std::function<engine::Status()>& question);
// Questions to the engine about the findings that it has been given. All but the last two may take long and be halted.
engine::Status CheckFindings(CompiledNet& compiled);  // whether they are possible together
// Their probability, which goes to the net: caseprob and its logarithm.
engine::Status FindProbability(net_bn net, Showing showing);
// The node's belief; also those of the others, where that is likely to pay. The node must have a compiled index.
engine::Status FindBelief(node_bn node);
bool HasBelief(const bnode& node);                    // its vector is that of the findings handed over
bool IsStatePossible(node_bn node, statetype state);  // with the findings; of a nature node with a compiled index
// The probability of no findings at all.
void ResetProbability(net_bn net);

// The node's own vector, [numstates], made if it does not have one; its contents may be stale.
float* BeliefVector(node_bn node);
void SetUnitBelief(node_bn node, statetype state);

}  // namespace bravic

// The door of inference: findings and beliefs on a junction tree, by messages over the tree or, where that is cheaper,
// without it: a single belief by eliminating what is left of the part that matters to it, all beliefs by a model in
// which the known nodes are cut out. Nodes are indices 0 .. n-1 with a number of states each; nothing is known of
// names, records or files.
#pragma once

#include <functional>
#include <span>

#include "Bn/engine/Interrupt.h"
#include "Bn/engine/Numbers.h"
#include "Bn/engine/Tree.h"
#include "Bn/engine/infer/Terms.h"

namespace bravic::engine {

struct CutTables;

class Inference {
 public:
  using Way = engine::Way;

  // The tree and the parents must outlive it. Nothing large is allocated yet.
  static Owned<Inference> Make(const JunctionTree& tree, std::span<const int> numstates,
                               std::span<const Vector<int>> parents);
  Inference(const JunctionTree& tree, std::span<const int> numstates, std::span<const Vector<int>> parents);
  ~Inference();

  // Room for every clique's potential, separator and scratch. NoMemory names the clique that could not be had.
  Status AllocatePotentials(int* failedClique);
  void DropPotentials();
  // table(i) answers node i's table [parent configurations x numstates], or NULL for a node without one (a factor
  // of 1). Rows of the impossible marker (any negative entry) weigh 0; rows whose sum misses 1 by less than 1e-5 are
  // normalized. Potentials are multiplied together where they are first needed, so what the tables are made of must
  // outlive the use of the potentials.
  void SetTables(std::function<const float*(int node)> table);
  // The same of tables that were cut out of those of another model, who halts this one too.
  void SetCutTables(const CutTables& cut, Interrupt* watch, std::function<const float*(int node)> table);
  void TableChanged(int node);

  // Findings. A vector of numstates non-negative weights, not all 0, copied; state findings are cheaper as states.
  // Nothing is propagated; messages that the change reaches become stale. Entering what is already there changes
  // nothing.
  void SetState(int node, int state);
  void SetLikelihood(int node, std::span<const float> weights);
  void SetLikelihood(int node, std::span<const WideNumber> weights);
  void ClearFinding(int node);
  void SetMaximize(bool on);  // max-marginals in place of sums

  // Collects; Inconsistent when the findings have probability 0. Afterwards the probability of the findings is
  // known (in maximize mode, of the most probable configuration with them).
  Status Propagate();
  double Probability() const;     // may underflow to 0
  double LogProbability() const;  // natural log
  ScaledNumber ScaledProbability() const;

  // Whether the findings are possible together, without their probability where that would cost more; whether they are
  // with one more (which takes the place of the node's own, and goes again).
  Status Check();
  Status CheckState(int node, int state);

  // The node's marginal given all findings, normalized to sum 1 (maximum 1 when maximizing), by whatever is cheapest.
  // No probability above 1e-30 is answered as 0.
  Status Belief(int node, std::span<float> out);
  // Which way is taken from now on.
  void SetWay(Way way);
  // Whether single beliefs since the last change have taken so much that all at once would have been cheaper.
  bool SweepPays() const;
  // Whether all of them take little time, as long as findings stay in the range of doubles.
  bool IsSweepSmall() const;
  // All of them in one sweep, cheaper than one by one: out(i) answers where node i's belief goes, or NULL.
  Status AllBeliefs(const BeliefPlace& out);

  // The joint distribution of any nodes, [configurations] with the last node fastest, normalized to sum 1. entries: of
  // the tables that are had for it alone; tells with NoMemory how many these would have been.
  Status Joint(std::span<const int> nodes, double* to, double* entries);
  // By what each entry of the node's table is multiplied in the probability of the findings: their probability is the
  // sum of entries times weights, times 2^exponent. [configurations x numstates]. The findings need not be possible.
  // Many nodes go after each other, with BeginWeights before the first.
  void BeginWeights();
  Status WeightsOfTable(int node, std::span<double> weights, long long* exponent);

  // A question that may take long goes between these: while it runs the function is told of the progress and may halt
  // it. sweeps: how often every clique is passed over, about. FinishLong answers whether it was halted; all that was
  // computed is forgotten then, findings and tables stay.
  void StartLong(const ProgressFunction& progress, int sweeps);
  bool FinishLong();
  // In between: counts work of the caller's own, in entries; true once it is halted, and what was computed since has no
  // meaning.
  bool Halts(double entries);

  // Changes whenever any belief may have changed; never 0. Lets a caller keep answers.
  unsigned long long Stamp() const;

 private:
  struct Impl;
  Impl* impl_;
};

}  // namespace bravic::engine

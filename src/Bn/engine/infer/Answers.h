// The answers to hosts' questions: one belief, all of them, the belief of a family. Each is found in whatever way is
// cheapest and, where that cannot be relied on, in wide numbers.
#pragma once

#include "Bn/engine/infer/Question.h"
#include "Bn/engine/infer/ReducedModels.h"
#include "Bn/engine/infer/StraightSweep.h"
#include "Bn/engine/infer/Sweep.h"

namespace bravic::engine {

class Answers {
 public:
  Answers(const Structure& structure, const Findings& findings, const Potentials& potentials, const NodeTables& tables,
          Messages& messages, CliquePasses& passes, WidePropagation& wide, Propagation& propagation,
          Marginals& marginals, SeparatorBeliefs& separatorBeliefs, Sweep& sweep, Question& question,
          StraightSweep& straight, ReducedModels& reduced, const Costs& costs, const Mode& mode);

  Status Check();
  Status Belief(int node, std::span<float> out);
  // All beliefs in a straight run, which needs no order of axes; false leaves them to AllBeliefs.
  bool AllStraight(const BeliefPlace& out, Status* answer);
  Status AllBeliefs(const BeliefPlace& out);

 private:
  bool IsReady() const { return potentials_.AreAllocated() && tables_.AreSet(); }
  void WriteKnown(const BeliefPlace& out) const;
  bool StraightPays() const;
  bool SweepStraight(const BeliefPlace& out);
  Status ReadFromTree(int node, std::span<float> to);
  Status ReadWide(int node, std::span<float> to);

  const Structure& structure_;
  const Findings& findings_;
  const Potentials& potentials_;
  const NodeTables& tables_;
  Messages& messages_;
  CliquePasses& passes_;
  WidePropagation& wide_;
  Propagation& propagation_;
  Marginals& marginals_;
  SeparatorBeliefs& separatorBeliefs_;
  Sweep& sweep_;
  Question& question_;
  StraightSweep& straight_;
  ReducedModels& reduced_;
  const Costs& costs_;
  const Mode& mode_;
  bool hasSwept_ = false;  // over the tree
};

}  // namespace bravic::engine

// One belief by the tables that matter to it. They are often a small part of a large net, and summed by variable
// elimination in less time than messages would take to cross the tree.
//
// Whether the findings contradict each other is asked in the same way: of findings that are possible together,
// together with those entered since, only the part that matters to the latter can have become impossible.
#pragma once

#include "Bn/engine/infer/Costs.h"
#include "Bn/engine/infer/Elimination.h"
#include "Bn/engine/infer/Relevance.h"

namespace bravic::engine {

class Question {
 public:
  static constexpr int NO_NODE = -1;

  Question(const Structure& structure, Findings& findings, NodeTables& tables, const Marginals& marginals,
           const Propagation& propagation, Costs& costs, const Mode& mode);

  // The room that steps of earlier questions may be kept in, in entries.
  void Keep(std::size_t entries) { elimination_.Keep(entries); }
  // A table has changed.
  void ForgetTables() { elimination_.Forget(); }
  // The belief of a node that is not known (NO_NODE: none) and whether the findings are possible: Done or Inconsistent.
  // False leaves it to the tree.
  bool Ask(int node, std::span<float> to, Status* answer);

 private:
  bool AreTablesSure();
  bool FitsFloats(std::span<const int> relevant) const;
  bool TreeServes(int node, double cost);
  bool TreeWouldPay(int node, double cost);
  double CostLimit(int node, int numRelevant);
  int GatherFactors(int node, std::span<const int> relevant);
  void AddTable(int node);
  TableKey KeyOf(int node, int first) const;

  const Structure& structure_;
  Findings& findings_;
  NodeTables& tables_;
  const Marginals& marginals_;
  const Propagation& propagation_;
  Costs& costs_;
  const Mode& mode_;
  Relevance relevance_;
  Elimination elimination_;
  // What questions have taken since the tree was last used, and when that should be thought about again; how much must
  // have come together before.
  double sinceTree_ = 0, lookAgain_ = 0, patience_ = 1;
  unsigned numCollections_ = 0;  // of the tree, when it was last looked at
  // Scratch.
  Vector<int> variableOf_;  // [node] its number in the elimination, if it has one
  Vector<int> targets_;
  Vector<double> weights_;
};

}  // namespace bravic::engine

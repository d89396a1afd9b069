// Which parts of a decision problem bear on each other, found along the arcs alone.
//
// What matters to some targets given what is known is found by Shachter's "Bayes ball" (1998). Of a decision it tells
// which of the nodes that it knows matter, whose tables do, and which other decisions' policies (Koller & Milch 2003).
#pragma once

#include "Bn/engine/decide/DecisionModel.h"

namespace bravic::engine {

class DecisionGraph {
 public:
  explicit DecisionGraph(const DecisionModel& model);

  // What the decision knows from now on.
  void SetKnows(int decision, const Vector<int>& knows);
  const Vector<int>& Parents(int item) const { return parents_[item]; }
  // [item] whether it is one of those or leads to one.
  Vector<unsigned char> AncestorsOf(const Vector<int>& targets) const;
  // [item] whether it is the one or follows from it.
  Vector<unsigned char> DescendantsOf(int item) const;

  struct Requisite {
    Vector<unsigned char> tables;  // [item] whether its table, or policy, matters
    Vector<unsigned char> seen;    // [item] of those that are given: whether its state matters
  };
  // given: beside what is known anyhow.
  Requisite Matters(const Vector<int>& targets, const Vector<int>& given) const;

 private:
  const DecisionModel& model_;
  Vector<Vector<int>> parents_, children_;
};

}  // namespace bravic::engine

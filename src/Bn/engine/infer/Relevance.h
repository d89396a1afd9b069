// Which tables matter to a question. What does not is found along the arcs of the net (Shachter's "Bayes ball", 1998):
// tables of nodes that the findings separate from the one asked for, and those of nodes below which nothing is known,
// whose rows sum to 1.
#pragma once

#include "Bn/engine/infer/Findings.h"
#include "Bn/engine/infer/NodeTables.h"

namespace bravic::engine {

class Relevance {
 public:
  Relevance(const Structure& structure, const Findings& findings, NodeTables& tables);

  // The nodes whose tables matter to the targets, which are taken as not known. Good until the next call.
  const Vector<int>& Find(std::span<const int> targets);
  int NumVisits() const { return numVisits_; }  // that the latest call made

 private:
  struct Visit {
    int node;
    bool isFromParent;
  };

  const Structure& structure_;
  const Findings& findings_;
  NodeTables& tables_;
  Vector<int> relevant_;
  int numVisits_ = 0;
  // Scratch. A call's number stands where the node was met in it.
  unsigned call_ = 0;
  Vector<unsigned> wentToParents_, wentToChildren_, isTarget_;  // [node]
  Vector<Visit> visits_;
};

}  // namespace bravic::engine

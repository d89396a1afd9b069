#include "Bn/engine/infer/Relevance.h"

namespace bravic::engine {

Relevance::Relevance(const Structure& structure, const Findings& findings, NodeTables& tables)
    : structure_(structure),
      findings_(findings),
      tables_(tables),
      wentToParents_(structure.NumNodes(), 0),
      wentToChildren_(structure.NumNodes(), 0),
      isTarget_(structure.NumNodes(), 0) {}

// A ball is passed from node to node, beginning at the targets as if from a child. From a child it goes on to parents
// and children, from a parent to children; a node that is known lets nothing through but back to the parents it came
// from, and so does one below which something is known. A node from which the ball went to the parents is relevant.
const Vector<int>& Relevance::Find(std::span<const int> targets) {
  relevant_.clear();
  visits_.clear();
  numVisits_ = 0;
  ++call_;
  for (int node : targets) {
    isTarget_[node] = call_;
    visits_.push_back({node, false});
  }
  auto goToParents = [&](int node) {
    if (wentToParents_[node] == call_) return;
    wentToParents_[node] = call_;
    relevant_.push_back(node);
    for (int parent : structure_.parents[node])
      if (wentToParents_[parent] != call_) visits_.push_back({parent, false});
  };
  auto goToChildren = [&](int node) {
    if (wentToChildren_[node] == call_) return;
    wentToChildren_[node] = call_;
    for (int child : structure_.children[node])
      if (wentToParents_[child] != call_ || wentToChildren_[child] != call_) visits_.push_back({child, true});
  };
  while (!visits_.empty()) {
    ++numVisits_;
    const auto [node, isFromParent] = visits_.back();
    visits_.pop_back();
    const Finding& finding = findings_[node];
    const bool isKnown = finding.state != FREE && isTarget_[node] != call_;
    if (isFromParent ? isKnown || finding.weighted || tables_.FactsOf(node).informs : !isKnown) goToParents(node);
    if (!isKnown) goToChildren(node);
  }
  return relevant_;
}

}  // namespace bravic::engine

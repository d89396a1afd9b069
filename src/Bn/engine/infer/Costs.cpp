#include "Bn/engine/infer/Costs.h"

#include <algorithm>

namespace bravic::engine {

void Costs::Forget() {
  spent_ = sweepCost_ = 0;
  numSwept_ = 0;
}

double Costs::OfTree(int node, double limit) {
  int target = propagation_.Pivot();
  if (node >= 0) {
    for (int s : structure_.separatorsOf[node])
      if (messages_.AreBothValid(s)) return cost::MESSAGE;
    target = propagation_.CliqueForReading(node);
  }
  double cost = OfPass(target) + OfNewLayout(passes_.IsPreparedToRead(target));
  // Outward, as far as messages inward are missing.
  cliques_.assign(1, target);
  cameFrom_.assign(1, -1);
  for (int head = 0; head < cliques_.size() && cost < limit; ++head) {
    const int c = cliques_[head];
    for (const Link& link : structure_.cliques[c].links) {
      if (link.neighbour == cameFrom_[head] || messages_.IsValid(link.in)) continue;
      cost += OfPass(link.neighbour) + OfNewLayout(passes_.IsPreparedToSend(link.neighbour, link.back));
      cliques_.push_back(link.neighbour);
      cameFrom_.push_back(c);
    }
  }
  spent_ += cost::LOOK * cliques_.size();
  return cost;
}

double Costs::OfPath(int node) {
  const int pivot = propagation_.Pivot();
  structure_.FindPath(pivot, node >= 0 ? propagation_.CliqueForReading(node) : pivot, &path_);
  double cost = 0;
  for (int c : path_) cost += OfPass(c);
  spent_ += cost::LOOK * path_.size();
  return cost;
}

double Costs::OfSweepAlone(bool countsLasting) const {
  double cost = 0;
  for (int c = 0; c < structure_.cliques.size(); ++c) {
    const CliqueFacts& clique = structure_.cliques[c];
    int numMissing = !clique.lone.empty();
    for (const Link& link : clique.links) numMissing += !messages_.IsValid(link.out);
    if (numMissing == 0) continue;
    int numFree = 0;
    const double size = FreeEntries(c, &numFree), entry = cost::SWEEP_ENTRY * cost::ShareOfShort(numFree, size);
    const bool isLasting = numFree == clique.variables.size();
    const bool isCheap = size <= cost::PLAIN_AT_FIRST || (isLasting && !countsLasting);
    const double preparing = passes_.IsPreparedToSweep(c) ? 0 : isCheap ? cost::NEW_LAYOUT : cost::NEW_PLAN;
    cost += std::min(numMissing, 2) * (cost::MESSAGE + entry * size + preparing);
  }
  return cost;
}

double Costs::OfFilling() const {
  double cost = 0;
  for (int c = 0; c < structure_.cliques.size(); ++c)
    if (!potentials_[c].filled) cost += cost::FILL_ENTRY * potentials_[c].size;
  return cost;
}

// Each clique is passed over twice, inward and outward.
bool Costs::SweepPays() {
  if (!(spent_ > cost::SMALL)) return false;
  while (sweepCost_ <= spent_ && numSwept_ < structure_.cliques.size()) sweepCost_ += 2 * OfPass(numSwept_++);
  return sweepCost_ <= spent_;
}

}  // namespace bravic::engine

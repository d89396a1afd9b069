#include "Bn/engine/learn/SubsetSearch.h"

#include <bit>

namespace bravic::engine {
namespace {

// The number of the best set within those nodes, -1 without any. The lists are sorted, so that the first one is it.
int BestWithin(const ParentSets& sets, SetBits nodes) {
  const int numSets = sets.NumSets();
  const SetBits* bits = sets.bits.data();
  for (int k = 0; k < numSets; ++k)
    if (IsPart(bits[k], nodes)) return k;
  return -1;
}

struct LastNode {
  int node = -1, set = -1;
  double score = IMPOSSIBLE_SCORE;  // of the whole subset
};

// best [subset of them]. Of nodes that do as well the first.
LastNode BestLast(std::span<const ParentSets> sets, SetBits subset, const double* best) {
  LastNode last;
  for (SetBits left = subset; left != 0; left &= left - 1) {
    const int v = std::countr_zero(left);
    const SetBits rest = subset & ~BitOf(v);
    if (best[rest] == IMPOSSIBLE_SCORE) continue;
    const int k = BestWithin(sets[v], rest);
    if (k < 0) continue;
    const double score = best[rest] + sets[v].scores[k];
    if (score > last.score) last = {v, k, score};
  }
  return last;
}

}  // namespace

SubsetResult FindBestSets(std::span<const ParentSets> sets, Interrupt& interrupt, Vector<int>* choice) {
  const int n = Count(sets);
  const SetBits numSubsets = SetBits{1} << n;
  const Block<double> best = TryMakeBlock<double>(static_cast<std::size_t>(numSubsets));
  if (!best) return SubsetResult::NO_MEMORY;
  best[0] = 0;
  for (SetBits subset = 1; subset < numSubsets; ++subset) {
    if (interrupt.Halts(std::popcount(subset))) return SubsetResult::HALTED;
    best[subset] = BestLast(sets, subset, best.get()).score;
  }
  choice->assign(n, -1);
  for (SetBits subset = numSubsets - 1; subset != 0;) {
    const LastNode last = BestLast(sets, subset, best.get());
    (*choice)[last.node] = last.set;
    subset &= ~BitOf(last.node);
  }
  return SubsetResult::FOUND;
}

}  // namespace bravic::engine

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

Vector<int> FindBestSets(std::span<const ParentSets> sets, std::span<double> best, Interrupt& interrupt) {
  const int n = Count(sets);
  const SetBits numSubsets = SetBits{1} << n;
  best[0] = 0;
  for (SetBits subset = 1; subset < numSubsets; ++subset) {
    if (interrupt.Halts(std::popcount(subset))) return {};
    best[static_cast<std::size_t>(subset)] = BestLast(sets, subset, best.data()).score;
  }
  Vector<int> choice(n, -1);
  for (SetBits subset = numSubsets - 1; subset != 0;) {
    const LastNode last = BestLast(sets, subset, best.data());
    choice[last.node] = last.set;
    subset &= ~BitOf(last.node);
  }
  return choice;
}

}  // namespace bravic::engine

// The best links there are, of all that the rules allow: every parent set of every node is scored, but for those that a
// bound rules out, and the best net is put together by dynamic programming over the subsets of the nodes.
//
// Where a limit on entries refuses that net, no method is known that finds the best one within it in such a time; then
// a search over orders is made in place of it.
#include "Bn/engine/learn/CandidateSets.h"
#include "Bn/engine/learn/SubsetSearch.h"

namespace bravic::engine {

FoundLinks SearchExact(const LinkSearch& search) {
  FamilyScores& scores = *search.scores;
  Interrupt ownInterrupt;
  Interrupt& interrupt = search.interrupt ? *search.interrupt : ownInterrupt;
  const int n = scores.NumNodes();
  FoundLinks found;
  const std::size_t numSubsets = std::size_t{1} << n;
  const Block<double> best = TryMakeBlock<double>(numSubsets);
  Vector<ParentSets> sets;
  for (int node = 0; node < n && best && scores.IsReady() && !interrupt.halted; ++node)
    sets.push_back(AllParentSets(scores, *search.rules, node));
  Vector<int> choice;
  if (best && scores.IsReady() && !interrupt.halted)
    choice = FindBestSets(sets, std::span(best.get(), numSubsets), interrupt);
  if (choice.size() < n) {
    found.status = interrupt.halted ? Status::Halted : Status::NoMemory;
    return found;
  }
  for (int node = 0; node < n; ++node) {
    const std::span<const int> set = sets[node].Set(choice[node]);
    found.parents.push_back(Vector<int>(set.begin(), set.end()));
    found.steps += Count(set);
  }
  if (search.limit && !search.limit->Allows(found.parents)) return SearchOrders(search);
  found.score = scores.Score(found.parents);
  found.isBest = true;
  return found;
}

}  // namespace bravic::engine

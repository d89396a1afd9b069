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
  Vector<ParentSets> sets;
  for (int node = 0; node < n && scores.IsReady() && !interrupt.halted; ++node)
    sets.push_back(AllParentSets(scores, *search.rules, node));
  if (!scores.IsReady() || interrupt.halted) {
    found.status = interrupt.halted ? Status::Halted : Status::NoMemory;
    return found;
  }
  Vector<int> choice;
  switch (FindBestSets(sets, interrupt, &choice)) {
    case SubsetResult::HALTED:
      found.status = Status::Halted;
      return found;
    case SubsetResult::NO_MEMORY:
      found.status = Status::NoMemory;
      return found;
    case SubsetResult::FOUND:
      break;
  }
  for (int node = 0; node < n; ++node) {
    const std::span<const int> set = sets[node].Set(choice[node]);
    found.parents.push_back(Vector<int>(set.begin(), set.end()));
    found.steps += Count(set);
  }
  if (search.limit && !search.limit->Allows(found.parents)) {
    found = SearchOrders(search);
    found.isBest = false;
    return found;
  }
  found.score = scores.Score(found.parents);
  found.isBest = true;
  return found;
}

}  // namespace bravic::engine

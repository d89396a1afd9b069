// Lists of the parent sets that searches choose from, scored: all that a node may have, where they are few enough, or
// those that a search finds by going on from the best ones.
#pragma once

#include "Bn/engine/learn/LinkSearch.h"
#include "Bn/engine/learn/ParentSets.h"

namespace bravic::engine {

// Every set that the rules allow, but for those that cannot be part of a best net. Sets are not scored where a bound
// shows that they, and all larger ones, score less than a part of theirs (after de Campos & Ji 2011): what one more
// parent adds to the log likelihood is no more than is still to be explained, and what it costs no less than at
// present.
ParentSets AllParentSets(FamilyScores& scores, const LinkRules& rules, int node);

// Fewer, among as many candidates as gain most alone: all sets of up to so many candidates, and those met where the
// best set, whatever its size, is tried with each of the candidates added, so many times.
struct SetSearch {
  int mostCandidates, sizeOfAll, mostSteps;
};
// What scores about so many sets of each node.
SetSearch ChooseSetSearch(double setsPerNode, int numNodes);
// begun: sets that are listed in any case.
ParentSets BestParentSets(FamilyScores& scores, const LinkRules& rules, int node, const SetSearch& search,
                          std::span<const Vector<int>> begun);

}  // namespace bravic::engine

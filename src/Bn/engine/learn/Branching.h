// The best forest of links in which no node has more than one parent: a maximum branching (Chu & Liu 1965; Edmonds
// 1967). Where the gains of both directions are alike it is a maximum spanning forest; elsewhere, and where some links
// are not to be had, it is still the best there is.
#pragma once

#include <limits>
#include <span>

#include "Basic/Memory.h"
#include "Bn/engine/Interrupt.h"

namespace bravic::engine {

inline constexpr double NO_LINK = -std::numeric_limits<double>::infinity();

// gains [to x from]: what a link adds, NO_LINK where there may be none. alone [node]: the same of no parent at all,
// NO_LINK where it must have one; links that may not be left out must reach it from a node that needs none. Answers the
// parent of each node, -1 for none, and of forests alike the one whose trees begin at the nodes first in order; without
// nodes when it was halted.
Vector<int> FindBranching(std::span<const double> gains, std::span<const double> alone, Interrupt& interrupt);

}  // namespace bravic::engine

// The best net of all whose nodes take their parents from given lists, by dynamic programming over the subsets of the
// nodes (Silander & Myllymaki 2006): the best net of a subset has a last node, which takes the best set that lies in
// the rest of it.
#pragma once

#include "Bn/engine/Interrupt.h"
#include "Bn/engine/learn/ParentSets.h"

namespace bravic::engine {

inline constexpr int MOST_SUBSET_NODES = 25;

// What a search over the subsets of so many nodes takes, beside the lists.
inline double SubsetSearchBytes(int numNodes) {
  return static_cast<double>(sizeof(double)) * static_cast<double>(std::uint64_t{1} << numNodes);
}

enum class SubsetResult { FOUND, HALTED, NO_MEMORY };
// choice [node]: the number of its set. Up to MOST_SUBSET_NODES nodes, for which the lists must leave some net.
SubsetResult FindBestSets(std::span<const ParentSets> sets, Interrupt& interrupt, Vector<int>* choice);

}  // namespace bravic::engine

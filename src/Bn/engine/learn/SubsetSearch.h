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

// The number of each node's set; the lists must leave some net. best [2 to the number of nodes]: room. Without nodes
// when it was halted.
Vector<int> FindBestSets(std::span<const ParentSets> sets, std::span<double> best, Interrupt& interrupt);

}  // namespace bravic::engine

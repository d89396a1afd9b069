// Undirected graphs over nodes 0 .. n-1, and the moral graph of a net: what every elimination order and every junction
// tree is made from.
#pragma once

#include <span>

#include "Basic/Memory.h"

namespace bravic::engine {

// Adjacency by rows: the neighbours of node i are list[start[i] .. start[i + 1] - 1].
struct Graph {
  Vector<int> start, list;
  int NumNodes() const { return start.size() - 1; }
  std::span<const int> Neighbours(int i) const { return std::span(list.data() + start[i], start[i + 1] - start[i]); }
};

// parents[i]: the parents of node i in their order. Moral neighbours come parents first, then children in the order
// of children[i], then co-parents child by child, each once.
Graph MoralGraph(std::span<const Vector<int>> parents, std::span<const Vector<int>> children);

// State-space size of a set of nodes, saturating at 1.7976931348623156e305.
double StateSpace(std::span<const int> nodes, std::span<const int> numstates);

}  // namespace bravic::engine

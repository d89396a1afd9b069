// The moral graph and the state-space measure that the search, the tree and the report share.
#include "Bn/engine/Graph.h"

#include <cstdint>
#include <limits>

namespace bravic::engine {

Graph MoralGraph(std::span<const Vector<int>> parents, std::span<const Vector<int>> children) {
  const int n = Count(parents);
  Graph graph;
  graph.start.reserve(n + 1);
  graph.start.push_back(0);
  Vector<int> seenFrom(n, -1);
  for (int i = 0; i < n; ++i) {
    seenFrom[i] = i;
    auto join = [&](int other) {
      if (seenFrom[other] == i) return;
      seenFrom[other] = i;
      graph.list.push_back(other);
    };
    for (int parent : parents[i]) join(parent);
    for (int child : children[i]) join(child);
    for (int child : children[i])
      for (int coparent : parents[child]) join(coparent);
    graph.start.push_back(graph.list.size());
  }
  return graph;
}

double StateSpace(std::span<const int> nodes, std::span<const int> numstates) {
  constexpr double LARGEST = std::numeric_limits<double>::max();
  double size = 1;
  for (int node : nodes) {
    const double s = numstates[node];
    if (!(LARGEST / s / 1000 > size)) return LARGEST / 1000;
    size *= s;
  }
  return size;
}

}  // namespace bravic::engine

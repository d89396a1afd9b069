#include "Bn/engine/Preflight.h"

#include <algorithm>

#include "Bn/engine/CostModel.h"
#include "Bn/engine/SearchOrder.h"

namespace bravic::engine {

namespace {

Graph GraphOf(std::span<const Vector<int>> parents) {
  Vector<Vector<int>> children(parents.size());
  for (int i = 0; i < Count(parents); ++i)
    for (int parent : parents[i]) children[parent].push_back(i);
  return MoralGraph(parents, children);
}

struct Arc {
  int parent, child;
  double family;  // entries of the child's table
};

// The links within the largest clique, those into the largest tables first.
Vector<Arc> LinksOfLargest(std::span<const int> numstates, std::span<const Vector<int>> parents,
                           const JunctionTree& tree) {
  const auto largest = std::max_element(tree.cliques.begin(), tree.cliques.end(),
                                        [](const Clique& a, const Clique& b) { return a.size < b.size; });
  Vector<unsigned char> isMember(numstates.size(), 0);
  for (int member : largest->members) isMember[member] = 1;
  Vector<Arc> links;
  for (int child : largest->members) {
    double family = numstates[child];
    for (int parent : parents[child]) family *= numstates[parent];
    for (int parent : parents[child])
      if (isMember[parent]) links.push_back({parent, child, family});
  }
  std::sort(links.begin(), links.end(), [](const Arc& a, const Arc& b) {
    if (a.family != b.family) return a.family > b.family;
    return a.child != b.child ? a.child < b.child : a.parent < b.parent;
  });
  return links;
}

}  // namespace

TreeEstimate EstimateTree(const JunctionTree& tree) {
  constexpr double BOTH_WAYS = 2, NANOSECOND = 1e-9, NODE_BYTES = 1600;  // facts and passes
  TreeEstimate estimate;
  estimate.entries = tree.totalSize;
  estimate.bytes = sizeof(float) * tree.totalSize + NODE_BYTES * tree.home.size();
  for (const Separator& separator : tree.separators)
    estimate.bytes += BOTH_WAYS * (sizeof(double) + sizeof(float)) * separator.size;
  if (tree.totalSize <= cost::MOST_STRAIGHT_ENTRIES) estimate.bytes += BOTH_WAYS * sizeof(double) * tree.totalSize;
  const double perEntry = cost::FILL_ENTRY + BOTH_WAYS * cost::MESSAGE_ENTRY;
  const double perClique = BOTH_WAYS * (cost::MESSAGE + cost::NEW_LAYOUT);
  estimate.seconds = NANOSECOND * (perEntry * tree.totalSize + perClique * tree.cliques.size());
  return estimate;
}

TreeAdvice Advise(std::span<const int> numstates, std::span<const Vector<int>> parents, const JunctionTree& tree,
                  double seconds, const ProgressFunction& progress) {
  constexpr int MOST_LINKS = 16, MOST_LOOKS = 100000;  // links tried; those times the nodes
  TreeAdvice advice;
  const Graph moral = GraphOf(parents);
  const Order searched = SearchOrder(moral, numstates, {}, seconds, progress);
  advice.searched = searched.cost;
  Vector<Arc> links = LinksOfLargest(numstates, parents, tree);
  const int numTried = std::min({links.size(), MOST_LINKS, std::max(1, MOST_LOOKS / std::max(1, Count(numstates)))});
  Vector<Vector<int>> fewer;
  for (const Vector<int>& list : parents) fewer.push_back(list);
  for (int k = 0; k < numTried && !searched.halted; ++k) {
    const auto [parent, child, family] = links[k];
    Vector<int>& list = fewer[child];
    list.erase(std::find(list.begin(), list.end(), parent));
    const Order order = FindOrder(GraphOf(fewer), numstates, nullptr);
    list = parents[child];
    if (advice.parent >= 0 && order.cost >= advice.withoutLink) continue;
    advice.parent = parent;
    advice.child = child;
    advice.withoutLink = order.cost;
  }
  if (advice.withoutLink >= advice.searched) advice.parent = advice.child = -1;
  return advice;
}

}  // namespace bravic::engine

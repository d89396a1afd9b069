// Elimination orders: the greedy search by the state space of the clique that each elimination makes, and the
// total state space of a given order. The search keeps the cost of every remaining node up to date: an elimination
// changes the costs of the eliminated node's neighbours alone, since fill-in joins only them and every recorded
// set that held the node lies among them. The cheapest node, the earliest of equals, is the root of a tournament.
#include <algorithm>
#include <limits>

#include "Bn/engine/Engine.h"
#include "Bn/engine/Tournament.h"

namespace bravic::engine {

namespace {

// The remaining graph during elimination, and the recorded sets of neighbours of eliminated nodes.
class RemainingGraph {
 public:
  RemainingGraph(const Graph& moral, std::span<const int> numstates)
      : numstates_(numstates), neighbours_(At(moral.NumNodes())), setsOf_(At(moral.NumNodes())) {
    const std::size_t n = neighbours_.size();
    isolated_.assign(n, 0);
    mark_.assign(n, -1);
    for (std::size_t i = 0; i < n; ++i) {
      auto list = moral.Neighbours(static_cast<int>(i));
      neighbours_[i].assign(list.begin(), list.end());
      isolated_[i] = list.empty();
    }
  }

  double Cost(int node) {
    const Vector<int>& around = neighbours_[At(node)];
    if (!isolated_[At(node)] && LargestSetOf(node) > around.size()) return 0;
    family_.assign(around.begin(), around.end());
    family_.push_back(node);
    return StateSpace(family_, numstates_);
  }

  // Takes the node out, joins its neighbours and records them; their costs have changed.
  std::span<const int> Eliminate(int node) {
    boundary_ = std::move(neighbours_[At(node)]);
    for (int set : setsOf_[At(node)]) setSize_[At(set)] = 0;
    for (int a : boundary_) {
      Vector<int>& list = neighbours_[At(a)];
      list.erase(std::find(list.begin(), list.end(), node));
    }
    for (std::size_t i = 0; i < boundary_.size(); ++i) {
      const int a = boundary_[i];
      mark_[At(a)] = a;
      for (int w : neighbours_[At(a)]) mark_[At(w)] = a;
      for (std::size_t j = 0; j < i; ++j) {
        const int w = boundary_[j];
        if (mark_[At(w)] == a) continue;
        neighbours_[At(a)].push_back(w);
        neighbours_[At(w)].push_back(a);
      }
    }
    for (int a : boundary_) mark_[At(a)] = -1;
    if (!boundary_.empty()) {
      for (int a : boundary_) setsOf_[At(a)].push_back(static_cast<int>(setSize_.size()));
      setSize_.push_back(boundary_.size());
    }
    return boundary_;
  }

 private:
  std::size_t LargestSetOf(int node) {
    Vector<int>& sets = setsOf_[At(node)];
    std::erase_if(sets, [&](int set) { return setSize_[At(set)] == 0; });
    std::size_t largest = 0;
    for (int set : sets) largest = std::max(largest, setSize_[At(set)]);
    return largest;
  }

  std::span<const int> numstates_;
  Vector<Vector<int>> neighbours_;  // remaining ones only
  Vector<Vector<int>> setsOf_;      // [node] recorded sets that hold it, dropped ones among them
  Vector<std::size_t> setSize_;     // [set]; 0 once dropped
  Vector<unsigned char> isolated_;  // had no neighbour to begin with
  Vector<int> mark_, family_, boundary_;
};

}  // namespace

Order FindOrder(const Graph& moral, std::span<const int> numstates, const ProgressFunction& progress) {
  const int n = moral.NumNodes();
  Order order;
  order.nodes.reserve(At(n));
  if (n < 4) {
    for (int i = 0; i < n; ++i) order.nodes.push_back(i);
    order.numFound = n;
    order.cost = OrderCost(moral, numstates, order.nodes);
    return order;
  }
  RemainingGraph graph(moral, numstates);
  Tournament tournament;
  tournament.Reset(n);
  for (int i = 0; i < n; ++i) tournament.Place(i, graph.Cost(i));
  tournament.BuildAll();
  Vector<unsigned char> done(At(n), 0);
  for (int i = 0; i < n; ++i) {
    const int best = tournament.Best();
    order.nodes.push_back(best);
    order.cost += tournament.Cost(best);
    done[At(best)] = 1;
    tournament.Remove(best);
    for (int a : graph.Eliminate(best)) tournament.Change(a, graph.Cost(a));
    if (progress && progress(static_cast<double>(i + 1) / n)) {
      order.halted = true;
      break;
    }
  }
  order.numFound = static_cast<int>(order.nodes.size());
  if (order.halted) {
    for (int i = 0; i < n; ++i)
      if (!done[At(i)]) order.nodes.push_back(i);
    order.cost = OrderCost(moral, numstates, order.nodes);
  }
  return order;
}

// The filled graph is never built: the later neighbours of a node, merged into the earliest of them, reach every
// node that they would reach if merged into each.
double OrderCost(const Graph& moral, std::span<const int> numstates, std::span<const int> order) {
  const std::size_t n = order.size();
  Vector<int> position(n);
  for (std::size_t i = 0; i < n; ++i) position[At(order[i])] = static_cast<int>(i);
  Vector<Vector<int>> inherited(n);  // [node] later neighbours handed on by earlier ones
  Vector<std::size_t> inheritedCount(n, 0);
  Vector<int> mark(n, -1), later;
  double cost = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const int v = order[i];
    later.clear();
    mark[At(v)] = v;
    auto gather = [&](int w) {
      if (mark[At(w)] == v || position[At(w)] < static_cast<int>(i)) return;
      mark[At(w)] = v;
      later.push_back(w);
    };
    for (int w : moral.Neighbours(v)) gather(w);
    for (int w : inherited[At(v)]) gather(w);
    Vector<int>().swap(inherited[At(v)]);
    if (moral.Neighbours(v).empty() || later.size() > inheritedCount[At(v)]) {
      later.push_back(v);
      cost += StateSpace(later, numstates);
      later.pop_back();
    }
    if (later.empty()) continue;
    const int u =
        *std::min_element(later.begin(), later.end(), [&](int a, int b) { return position[At(a)] < position[At(b)]; });
    inheritedCount[At(u)] = std::max(inheritedCount[At(u)], later.size() - 1);
    Vector<int>& list = inherited[At(u)];
    list.insert(list.end(), later.begin(), later.end());
  }
  return cost;
}

}  // namespace bravic::engine

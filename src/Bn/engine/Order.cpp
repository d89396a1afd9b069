// Elimination orders: the greedy search by the state space of the clique that each elimination makes, and the
// total state space of a given order. The search keeps the cost of every remaining node up to date: an elimination
// changes the costs of the eliminated node's neighbours alone, since fill-in joins only them and every recorded
// set that held the node lies among them. The cheapest node, the earliest of equals, is the root of a tournament.
#include <algorithm>
#include <cmath>
#include <limits>

#include "Bn/engine/Engine.h"
#include "Bn/engine/Tournament.h"

namespace bravic::engine {

namespace {

// The remaining graph during elimination, and the recorded sets of neighbours of eliminated nodes. Lists of neighbours
// keep nodes that have been eliminated until they are looked through, and nodes with very many of them have them as
// bits too, so that a node with many neighbours costs little when one of them goes.
class RemainingGraph {
 public:
  RemainingGraph(const Graph& moral, std::span<const int> numstates)
      : numstates_(numstates),
        many_(At(MANY + moral.NumNodes() / MANY)),
        neighbours_(At(moral.NumNodes())),
        setsOf_(At(moral.NumNodes())) {
    const std::size_t n = neighbours_.size();
    isolated_.assign(n, 0);
    eliminated_.assign(n, 0);
    mark_.assign(n, -1);
    largestSet_.assign(n, 0);
    degree_.resize(n);
    logSpace_.assign(n, 0);
    numEmpty_.assign(n, 0);
    bits_.resize(n);
    for (int s : numstates) logs_.push_back(LogBelow(s));
    for (std::size_t i = 0; i < n; ++i) {
      auto list = moral.Neighbours(static_cast<int>(i));
      neighbours_[i].assign(list.begin(), list.end());
      isolated_[i] = list.empty();
      degree_[i] = list.size();
      CountState(static_cast<int>(i), static_cast<int>(i), 1);
      for (int w : list) CountState(static_cast<int>(i), w, 1);
      if (degree_[i] > many_) MakeBits(static_cast<int>(i));
    }
  }

  double Cost(int node) {
    if (!isolated_[At(node)] && LargestSetOf(node) > degree_[At(node)]) return 0;
    family_ = Neighbours(node);
    family_.push_back(node);
    return StateSpace(family_, numstates_);
  }

  // At most the cost, in no time; of a node with few neighbours the cost itself.
  double CostBelow(int node, bool* exact) {
    constexpr std::size_t FEW = 32;
    *exact = degree_[At(node)] <= FEW;
    if (*exact) return Cost(node);
    if (largestSet_[At(node)] > degree_[At(node)] || numEmpty_[At(node)] > 0) return 0;
    const double log = std::min(static_cast<double>(logSpace_[At(node)]) / LOG_SCALE, 1000.0);
    return std::exp2(log) * (1 - 1e-9);
  }

  // Takes the node out, joins its neighbours and records them; their costs have changed.
  std::span<const int> Eliminate(int node) {
    boundary_ = std::move(Neighbours(node));
    eliminated_[At(node)] = 1;
    for (int set : setsOf_[At(node)]) setSize_[At(set)] = 0;
    for (int a : boundary_) {
      --degree_[At(a)];
      CountState(a, node, -1);
    }
    for (std::size_t i = 1; i < boundary_.size(); ++i) {
      const int a = boundary_[i];
      const bool marks = bits_[At(a)].empty();
      if (marks)
        for (int w : neighbours_[At(a)]) mark_[At(w)] = a;
      for (std::size_t j = 0; j < i; ++j) {
        const int w = boundary_[j];
        if (marks ? mark_[At(w)] == a : bits_[At(a)][At(w)]) continue;
        Join(a, w);
        Join(w, a);
      }
    }
    for (int a : boundary_) {
      mark_[At(a)] = -1;
      if (degree_[At(a)] > many_ && bits_[At(a)].empty()) MakeBits(a);
    }
    if (!boundary_.empty()) {
      for (int a : boundary_) {
        setsOf_[At(a)].push_back(static_cast<int>(setSize_.size()));
        largestSet_[At(a)] = std::max(largestSet_[At(a)], boundary_.size());
      }
      setSize_.push_back(boundary_.size());
    }
    return boundary_;
  }

 private:
  static constexpr int MANY = 64;
  static constexpr double LOG_SCALE = 0x1p32;

  // The binary logarithm as a whole number, so that sums are exact.
  static long long LogBelow(int numstates) {
    return numstates > 1 ? static_cast<long long>(std::log2(numstates) * LOG_SCALE) - 1 : 0;
  }

  // Of a neighbour that comes or goes.
  void CountState(int node, int neighbour, int step) {
    logSpace_[At(node)] += step * logs_[At(neighbour)];
    numEmpty_[At(node)] += step * (numstates_[At(neighbour)] < 1);
  }

  void MakeBits(int node) {
    bits_[At(node)].assign(neighbours_.size(), false);
    for (int w : neighbours_[At(node)]) bits_[At(node)][At(w)] = true;
  }

  void Join(int node, int neighbour) {
    neighbours_[At(node)].push_back(neighbour);
    ++degree_[At(node)];
    CountState(node, neighbour, 1);
    if (!bits_[At(node)].empty()) bits_[At(node)][At(neighbour)] = true;
  }

  // The remaining ones, in the order in which they came.
  Vector<int>& Neighbours(int node) {
    Vector<int>& list = neighbours_[At(node)];
    if (list.size() > degree_[At(node)]) std::erase_if(list, [&](int w) { return eliminated_[At(w)] != 0; });
    return list;
  }

  // Exact where it can be more than the number of neighbours.
  std::size_t LargestSetOf(int node) {
    std::size_t& largest = largestSet_[At(node)];
    if (largest <= degree_[At(node)]) return largest;
    Vector<int>& sets = setsOf_[At(node)];
    std::erase_if(sets, [&](int set) { return setSize_[At(set)] == 0; });
    largest = 0;
    for (int set : sets) largest = std::max(largest, setSize_[At(set)]);
    return largest;
  }

  std::span<const int> numstates_;
  const std::size_t many_;
  Vector<Vector<int>> neighbours_;  // eliminated ones among them
  Vector<Vector<bool>> bits_;       // [node] the same as bits; empty for nodes with fewer than many
  Vector<std::size_t> degree_;      // remaining neighbours
  Vector<long long> logs_;          // [node] of the number of states
  Vector<long long> logSpace_;      // [node] sum over it and its remaining neighbours
  Vector<int> numEmpty_;            // [node] how many of those have no states
  Vector<Vector<int>> setsOf_;      // [node] recorded sets that hold it, dropped ones among them
  Vector<std::size_t> setSize_;     // [set]; 0 once dropped
  Vector<std::size_t> largestSet_;  // [node] of its sets, perhaps dropped since
  Vector<unsigned char> isolated_;  // had no neighbour to begin with
  Vector<unsigned char> eliminated_;
  Vector<int> mark_, boundary_, family_;
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
  // Costs that are only bounded are made exact when they come to be the least.
  Vector<unsigned char> done(At(n), 0), known(At(n), 1);
  auto bound = [&](int node) {
    bool exact;
    const double cost = graph.CostBelow(node, &exact);
    known[At(node)] = exact;
    return cost;
  };
  for (int i = 0; i < n; ++i) tournament.Place(i, bound(i));
  tournament.BuildAll();
  for (int i = 0; i < n; ++i) {
    int best = tournament.Best();
    for (; !known[At(best)]; best = tournament.Best()) {
      known[At(best)] = 1;
      tournament.Change(best, graph.Cost(best));
    }
    order.nodes.push_back(best);
    order.cost += tournament.Cost(best);
    done[At(best)] = 1;
    tournament.Remove(best);
    for (int a : graph.Eliminate(best)) tournament.Change(a, bound(a));
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

// Elimination orders: the greedy search by the state space of the clique that each elimination makes, and the
// total state space of a given order. The search keeps the cost of every remaining node up to date: an elimination
// changes the costs of the eliminated node's neighbours alone, since fill-in joins only them and every recorded
// set that held the node lies among them. The cheapest node, the earliest of equals, is the root of a tournament.
#include "Bn/engine/Order.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Bn/engine/Numbers.h"
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
        many_(MANY + moral.NumNodes() / MANY),
        lists_(moral.NumNodes()),
        pool_(moral.list.begin(), moral.list.end()),
        setsOf_(moral.NumNodes(), -1) {
    const int n = lists_.size();
    pool_.reserve(2 * pool_.size());
    isolated_.assign(n, 0);
    eliminated_.assign(n, 0);
    mark_.assign(n, -1);
    largestSet_.assign(n, 0);
    degree_.resize(n);
    logSpace_.assign(n, 0);
    numEmpty_.assign(n, 0);
    bits_.resize(n);
    for (int s : numstates) logs_.push_back(LogBelow(s));
    for (int i = 0; i < n; ++i) {
      auto list = moral.Neighbours(i);
      lists_[i] = {moral.start[i], Count(list), Count(list)};
      isolated_[i] = list.empty();
      degree_[i] = Count(list);
      CountState(i, i, 1);
      for (int w : list) CountState(i, w, 1);
      if (degree_[i] > many_) MakeBits(i);
    }
  }

  double Cost(int node) {
    if (!isolated_[node] && LargestSetOf(node) > degree_[node]) return 0;
    const auto list = Neighbours(node);
    family_.assign(list.begin(), list.end());
    family_.push_back(node);
    return StateSpace(family_, numstates_);
  }

  // At most the cost, in no time; of a node with few neighbours the cost itself.
  double CostBelow(int node, bool* exact) {
    constexpr int FEW = 32;
    *exact = degree_[node] <= FEW;
    if (*exact) return Cost(node);
    if (largestSet_[node] > degree_[node] || numEmpty_[node] > 0) return 0;
    const double log = std::min(static_cast<double>(logSpace_[node]) / LOG_SCALE, 1000.0);
    return std::exp2(log) * (1 - 1e-9);
  }

  // Takes the node out, joins its neighbours and records them; their costs have changed.
  std::span<const int> Eliminate(int node) {
    const auto list = Neighbours(node);
    boundary_.assign(list.begin(), list.end());
    eliminated_[node] = 1;
    for (int e = setsOf_[node]; e >= 0; e = entries_[e].next) setSize_[entries_[e].set] = 0;
    for (int a : boundary_) {
      --degree_[a];
      CountState(a, node, -1);
    }
    for (int i = 1; i < boundary_.size(); ++i) {
      const int a = boundary_[i];
      const bool marks = bits_[a].empty();
      if (marks)
        for (int w : Listed(a)) mark_[w] = a;
      for (int j = 0; j < i; ++j) {
        const int w = boundary_[j];
        if (marks ? mark_[w] == a : bits_[a][w]) continue;
        Join(a, w);
        Join(w, a);
      }
    }
    for (int a : boundary_) {
      mark_[a] = -1;
      if (degree_[a] > many_ && bits_[a].empty()) MakeBits(a);
    }
    if (!boundary_.empty()) {
      for (int a : boundary_) {
        entries_.push_back({setSize_.size(), setsOf_[a]});
        setsOf_[a] = entries_.size() - 1;
        largestSet_[a] = std::max(largestSet_[a], boundary_.size());
      }
      setSize_.push_back(boundary_.size());
    }
    return boundary_;
  }

 private:
  static constexpr int MANY = 64;
  static constexpr double LOG_SCALE = 0x1p32;

  // Neighbours of a node in the pool, eliminated ones among them.
  struct List {
    int start, length, room;
  };
  struct Entry {
    int set, next;
  };

  // The binary logarithm as a whole number, so that sums are exact.
  static long long LogBelow(int numstates) {
    return numstates > 1 ? static_cast<long long>(std::log2(numstates) * LOG_SCALE) - 1 : 0;
  }

  // Of a neighbour that comes or goes.
  void CountState(int node, int neighbour, int step) {
    logSpace_[node] += step * logs_[neighbour];
    numEmpty_[node] += step * (numstates_[neighbour] < 1);
  }

  void MakeBits(int node) {
    bits_[node].assign(lists_.size(), false);
    for (int w : Listed(node)) bits_[node][w] = true;
  }

  void Join(int node, int neighbour) {
    List& list = lists_[node];
    if (list.length == list.room) MakeRoom(&list);
    pool_[list.start + list.length++] = neighbour;
    ++degree_[node];
    CountState(node, neighbour, 1);
    if (!bits_[node].empty()) bits_[node][neighbour] = true;
  }

  void MakeRoom(List* list) {
    constexpr int LEAST = 4;
    const int start = pool_.size();
    list->room = std::max(2 * list->room, LEAST);
    pool_.resize(start + list->room);
    std::copy_n(pool_.begin() + list->start, list->length, pool_.begin() + start);
    list->start = start;
  }

  std::span<int> Listed(int node) {
    return {pool_.data() + lists_[node].start, static_cast<std::size_t>(lists_[node].length)};
  }
  // The remaining ones, in the order in which they came.
  std::span<int> Neighbours(int node) {
    const auto list = Listed(node);
    if (Count(list) > degree_[node]) {
      const auto end = std::remove_if(list.begin(), list.end(), [&](int w) { return eliminated_[w] != 0; });
      lists_[node].length = static_cast<int>(end - list.begin());
    }
    return Listed(node);
  }

  // Exact where it can be more than the number of neighbours.
  int LargestSetOf(int node) {
    int& largest = largestSet_[node];
    if (largest <= degree_[node]) return largest;
    largest = 0;
    for (int* e = &setsOf_[node]; *e >= 0;) {
      const int size = setSize_[entries_[*e].set];
      largest = std::max(largest, size);
      if (size == 0)
        *e = entries_[*e].next;
      else
        e = &entries_[*e].next;
    }
    return largest;
  }

  std::span<const int> numstates_;
  const int many_;
  Vector<List> lists_;
  Vector<int> pool_;
  Vector<std::vector<bool, CountingAllocator<bool>>>
      bits_;                    // [node] the same as bits; empty for nodes with fewer than many
  Vector<int> degree_;          // remaining neighbours
  Vector<long long> logs_;      // [node] of the number of states
  Vector<long long> logSpace_;  // [node] sum over it and its remaining neighbours
  Vector<int> numEmpty_;        // [node] how many of those have no states
  Vector<int> setsOf_;          // [node] the first of its entries, or -1: recorded sets that hold it, or held it
  Vector<Entry> entries_;
  Vector<int> setSize_;             // [set]; 0 once dropped
  Vector<int> largestSet_;          // [node] of its sets, perhaps dropped since
  Vector<unsigned char> isolated_;  // had no neighbour to begin with
  Vector<unsigned char> eliminated_;
  Vector<int> mark_, boundary_, family_;
};

}  // namespace

Order FindOrder(const Graph& moral, std::span<const int> numstates, const ProgressFunction& progress) {
  const int n = moral.NumNodes();
  Order order;
  order.nodes.reserve(n);
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
  Vector<unsigned char> done(n, 0), known(n, 1);
  auto bound = [&](int node) {
    bool exact;
    const double cost = graph.CostBelow(node, &exact);
    known[node] = exact;
    return cost;
  };
  for (int i = 0; i < n; ++i) tournament.Place(i, bound(i));
  tournament.BuildAll();
  for (int i = 0; i < n; ++i) {
    int best = tournament.Best();
    for (; !known[best]; best = tournament.Best()) {
      known[best] = 1;
      tournament.Change(best, graph.Cost(best));
    }
    order.nodes.push_back(best);
    order.cost += tournament.Cost(best);
    done[best] = 1;
    tournament.Remove(best);
    for (int a : graph.Eliminate(best)) tournament.Change(a, bound(a));
    if (progress && progress((i + 1.0) / n)) {
      order.halted = true;
      break;
    }
  }
  order.numFound = order.nodes.size();
  if (order.halted) {
    for (int i = 0; i < n; ++i)
      if (!done[i]) order.nodes.push_back(i);
    order.cost = OrderCost(moral, numstates, order.nodes);
  }
  return order;
}

// The filled graph is never built: the later neighbours of a node, merged into the earliest of them, reach every
// node that they would reach if merged into each.
double OrderCost(const Graph& moral, std::span<const int> numstates, std::span<const int> order) {
  const int n = Count(order);
  Vector<int> position(n);
  for (int i = 0; i < n; ++i) position[order[i]] = i;
  Vector<Vector<int>> inherited(n);  // [node] later neighbours handed on by earlier ones
  Vector<int> inheritedCount(n, 0);
  Vector<int> mark(n, -1), later;
  double cost = 0;
  for (int i = 0; i < n; ++i) {
    const int v = order[i];
    later.clear();
    mark[v] = v;
    auto gather = [&](int w) {
      if (mark[w] == v || position[w] < i) return;
      mark[w] = v;
      later.push_back(w);
    };
    for (int w : moral.Neighbours(v)) gather(w);
    for (int w : inherited[v]) gather(w);
    Vector<int>().swap(inherited[v]);
    if (moral.Neighbours(v).empty() || later.size() > inheritedCount[v]) {
      later.push_back(v);
      cost += StateSpace(later, numstates);
      later.pop_back();
    }
    if (later.empty()) continue;
    const int u =
        *std::min_element(later.begin(), later.end(), [&](int a, int b) { return position[a] < position[b]; });
    inheritedCount[u] = std::max(inheritedCount[u], later.size() - 1);
    Vector<int>& list = inherited[u];
    list.insert(list.end(), later.begin(), later.end());
  }
  return cost;
}

}  // namespace bravic::engine

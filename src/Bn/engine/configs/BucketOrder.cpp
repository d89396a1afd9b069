#include "Bn/engine/configs/BucketOrder.h"

#include <algorithm>

#include "Bn/engine/Tournament.h"

namespace bravic::engine {
namespace {

// The axes among a node and its parents, each once.
Vector<int> AxesOfFamily(const ConfigQuestion& question, int node) {
  Vector<int> axes;
  if (question.IsAxis(node)) axes.push_back(node);
  for (int parent : question.parents[node])
    if (question.IsAxis(parent) && std::find(axes.begin(), axes.end(), parent) == axes.end()) axes.push_back(parent);
  return axes;
}

// What each step leaves, given the order: the tables that hold its variable, and what earlier steps left over it.
void FindNeighbours(const ConfigQuestion& question, std::span<const unsigned char> matters, BucketOrder* order) {
  const int n = order->variables.size();
  order->position.assign(question.NumNodes(), -1);
  for (int k = 0; k < n; ++k) order->position[order->variables[k]] = k;
  const Vector<int>& position = order->position;
  order->neighbours.clear();
  order->neighbours.resize(n);
  // The tables of a step hold what is eliminated first of them.
  auto add = [&](std::span<const int> members) {
    int first = n;
    for (int v : members) first = std::min(first, position[v]);
    if (first == n) return;
    for (int v : members)
      if (position[v] > first) order->neighbours[first].push_back(v);
  };
  for (int node = 0; node < question.NumNodes(); ++node)
    if (matters.empty() || matters[node]) add(AxesOfFamily(question, node));
  order->cost = 0;
  order->largest = 1;
  for (int k = 0; k < n; ++k) {
    Vector<int>& neighbours = order->neighbours[k];
    std::sort(neighbours.begin(), neighbours.end(), [&](int a, int b) { return position[a] > position[b]; });
    neighbours.erase(std::unique(neighbours.begin(), neighbours.end()), neighbours.end());
    const double size = StateSpace(neighbours, question.numstates);
    order->cost += size * question.numstates[order->variables[k]];
    order->largest = std::max(order->largest, size);
    add(neighbours);
  }
}

// Greedy elimination of a graph whose nodes are the axes that matter.
class GreedyAround {
 public:
  GreedyAround(const ConfigQuestion& question, std::span<const unsigned char> matters)
      : question_(question), neighbours_(question.NumNodes()) {
    for (int node = 0; node < question.NumNodes(); ++node) {
      if (!matters[node]) continue;
      const Vector<int> axes = AxesOfFamily(question, node);
      for (int a : axes) Join(a, axes);
    }
  }

  // byWhatIsLeft: the variable's own states do not count. Ends where a step would leave a table too large to be had,
  // with the size of that and the cost so far.
  BucketOrder Run(std::span<const unsigned char> stages, int numStages, bool byWhatIsLeft) {
    byWhatIsLeft_ = byWhatIsLeft;
    BucketOrder order;
    for (int stage = 0; stage < numStages; ++stage) {
      tournament_.Reset(question_.NumNodes());
      placed_.assign(question_.NumNodes(), 0);
      for (int v = 0; v < question_.NumNodes(); ++v) {
        if (stages[v] != stage) continue;
        placed_[v] = 1;
        tournament_.Place(v, CostOf(v));
      }
      tournament_.BuildAll();
      for (int v = tournament_.Best(); v >= 0; v = tournament_.Best()) {
        const double size = StateSpace(neighbours_[v], question_.numstates);
        order.cost += size * question_.numstates[v];
        order.largest = std::max(order.largest, size);
        if (size >= MAX_TABLE_ENTRIES) return order;
        order.variables.push_back(v);
        Eliminate(v);
      }
    }
    return order;
  }

 private:
  // Adds those of the few members that v does not have yet.
  void Join(int v, std::span<const int> members) {
    Vector<int>& list = neighbours_[v];
    for (int other : members) {
      if (other == v) continue;
      const auto at = std::lower_bound(list.begin(), list.end(), other);
      if (at == list.end() || *at != other) list.insert(at, other);
    }
  }
  double CostOf(int v) const {
    constexpr double AS_GOOD_AS_NONE = 1e100;
    double cost = byWhatIsLeft_ ? 1 : question_.numstates[v];
    for (int other : neighbours_[v]) {
      cost *= question_.numstates[other];
      if (cost > AS_GOOD_AS_NONE) break;  // of a hub, whose neighbours go before it
    }
    return cost;
  }
  void Eliminate(int v) {
    tournament_.Remove(v);
    const Vector<int> around = std::move(neighbours_[v]);
    neighbours_[v].clear();
    for (int other : around) {
      Vector<int>& list = neighbours_[other];
      list.erase(std::lower_bound(list.begin(), list.end(), v));
      Join(other, around);
    }
    for (int other : around)
      if (placed_[other]) tournament_.Change(other, CostOf(other));
  }

  const ConfigQuestion& question_;
  Vector<Vector<int>> neighbours_;  // [node] sorted
  Vector<unsigned char> placed_;    // [node] takes part in the present stage
  Tournament tournament_;
  bool byWhatIsLeft_ = false;
};

}  // namespace

BucketOrder OrderAlongTree(const ConfigQuestion& question, const JunctionTree& tree) {
  BucketOrder order;
  const int n = tree.cliques.size();
  Vector<unsigned char> seen(n, 0), placed(question.NumNodes(), 0);
  Vector<int> outward;  // cliques, each behind the one that it was reached from
  Vector<int> reversed;
  for (int root = 0; root < n; ++root) {
    if (seen[root]) continue;
    seen[root] = 1;
    outward.push_back(root);
    for (int k = outward.size() - 1; k < outward.size(); ++k) {
      for (int next : tree.cliques[outward[k]].neighbours) {
        if (seen[next]) continue;
        seen[next] = 1;
        outward.push_back(next);
      }
    }
  }
  // A variable goes last of all where the clique that it is met in first, from the root, is met first.
  for (int c : outward) {
    for (int v : tree.cliques[c].members) {
      if (placed[v] || !question.IsAxis(v)) continue;
      placed[v] = 1;
      reversed.push_back(v);
    }
  }
  order.variables.assign(reversed.rbegin(), reversed.rend());
  FindNeighbours(question, {}, &order);
  return order;
}

BucketOrder OrderAround(const ConfigQuestion& question, std::span<const int> asked,
                        std::span<const unsigned char> matters) {
  enum Stage : unsigned char { SUMMED, MAXIMIZED, NUM_STAGES, NO_STAGE };
  Vector<unsigned char> stages(question.NumNodes(), NO_STAGE);
  int numSummed = 0;
  for (int v = 0; v < question.NumNodes(); ++v)
    if (matters[v] && question.IsAxis(v)) stages[v] = SUMMED, ++numSummed;
  for (int v : asked)
    if (stages[v] == SUMMED) stages[v] = MAXIMIZED, --numSummed;
  BucketOrder best;
  for (bool byWhatIsLeft : {false, true}) {
    BucketOrder order = GreedyAround(question, matters).Run(stages, NUM_STAGES, byWhatIsLeft);
    order.numSummed = numSummed;
    const bool fits = order.largest < MAX_TABLE_ENTRIES, bestFits = best.largest < MAX_TABLE_ENTRIES;
    if (!byWhatIsLeft || (fits == bestFits ? order.cost < best.cost : fits)) best = std::move(order);
  }
  if (best.largest < MAX_TABLE_ENTRIES) FindNeighbours(question, matters, &best);
  return best;
}

}  // namespace bravic::engine

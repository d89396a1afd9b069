#include "Bn/engine/infer/AxisOrder.h"

#include <algorithm>
#include <numeric>

#include "Bn/engine/PassPlan.h"
#include "Bn/engine/PassShape.h"

namespace bravic::engine {

namespace {

constexpr double WORTH_A_SEARCH = 512;                     // entries
constexpr double ENTRIES_PER_TRY = 400, MOST_TRIES = 400;  // so that trying costs little beside a pass
constexpr double CLEARLY_LESS = 0.999;

// What a pass over the clique costs, with all of its separators as factors and targets, were its variables in some
// order.
class OrderCosts {
 public:
  OrderCosts(const Structure& structure, const CliqueFacts& clique)
      : structure_(structure), clique_(clique), maker_(structure.numstates) {}

  double Of(std::span<const int> variables) {
    maker_.Begin(
        variables, [](int) { return true; }, &shape_);
    maker_.PlaceAll(variables, shape_.Strides(0));
    for (const Link& link : clique_.links) maker_.PlaceAll(MembersOf(link), shape_.AddFactor());
    for (const Link& link : clique_.links) maker_.PlaceAll(MembersOf(link), shape_.AddTarget());
    return PlanCost(shape_);
  }

 private:
  std::span<const int> MembersOf(const Link& link) const { return structure_.separators[link.separator].variables; }

  const Structure& structure_;
  const CliqueFacts& clique_;
  ShapeMaker maker_;
  PassShape shape_;
};

// What most separators share goes last. Sorted in place, equals in the order they had: std::stable_sort would take
// memory that nobody counts.
Vector<int> SharedLast(const Structure& structure, const CliqueFacts& clique) {
  Vector<int> timesShared(structure.NumNodes(), 0);
  for (const Link& link : clique.links)
    for (int v : structure.separators[link.separator].variables) ++timesShared[v];
  Vector<int> order = clique.variables;
  auto isLess = [&](int a, int b) { return timesShared[a] < timesShared[b]; };
  for (auto next = order.begin(); next != order.end(); ++next)
    std::rotate(std::upper_bound(order.begin(), next, *next, isLess), next, next + 1);
  return order;
}

// Moves single variables to other places, as long as that helps and the tries last.
Vector<int> SearchAxisOrder(const Structure& structure, const CliqueFacts& clique, double size) {
  const int n = clique.variables.size();
  int tries = static_cast<int>(std::min(MOST_TRIES, size / ENTRIES_PER_TRY));
  OrderCosts costs(structure, clique);
  Vector<int> best = clique.variables, order = SharedLast(structure, clique);
  double bestCost = costs.Of(best);
  for (bool better = true; better && tries > 0;) {
    better = false;
    const double cost = costs.Of(order);
    if (cost < bestCost) best = order, bestCost = cost;
    for (int from = n; from-- > 0 && tries > 0;) {
      for (int to = 0; to < n && tries > 0; ++to) {
        if (from == to) continue;
        order = best;
        const int moved = order[from];
        order.erase(order.begin() + from);
        order.insert(order.begin() + to, moved);
        --tries;
        const double moveCost = costs.Of(order);
        if (moveCost >= bestCost * CLEARLY_LESS) continue;
        best = order;
        bestCost = moveCost;
        better = true;
      }
    }
    order = best;
  }
  return best;
}

}  // namespace

// Larger cliques choose first; a separator takes its order from the larger of its cliques.
void ChooseAxisOrders(Structure* structure) {
  const JunctionTree& tree = *structure->tree;
  Vector<int> bySize(structure->cliques.size());
  std::iota(bySize.begin(), bySize.end(), 0);
  std::sort(bySize.begin(), bySize.end(), [&](int a, int b) {
    const double sizeA = tree.cliques[a].size, sizeB = tree.cliques[b].size;
    return sizeA != sizeB ? sizeA > sizeB : a < b;
  });
  Vector<unsigned char> isSettled(structure->separators.size(), 0);
  Vector<int> axisOf(structure->NumNodes(), -1);
  for (int c : bySize) {
    CliqueFacts& clique = structure->cliques[c];
    const double size = tree.cliques[c].size;
    if (size > WORTH_A_SEARCH) clique.variables = SearchAxisOrder(*structure, clique, size);
    for (int k = 0; k < clique.variables.size(); ++k) axisOf[clique.variables[k]] = k;
    for (const Link& link : clique.links) {
      Vector<int>& members = structure->separators[link.separator].variables;
      if (!isSettled[link.separator])
        std::sort(members.begin(), members.end(), [&](int a, int b) { return axisOf[a] < axisOf[b]; });
      isSettled[link.separator] = 1;
    }
  }
}

}  // namespace bravic::engine

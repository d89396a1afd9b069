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

class AxisOrderSearch {
 public:
  explicit AxisOrderSearch(Structure* structure)
      : structure_(*structure), maker_(structure->numstates), timesShared_(structure->NumNodes(), 0) {}

  // Sorts the clique's variables so that its passes are cheap.
  void SortVariables(int clique);

 private:
  std::span<const int> MembersOf(const Link& link) const { return structure_.separators[link.separator].variables; }
  double CostOf(const CliqueFacts& clique, std::span<const int> variables);
  Vector<int> SharedLast(const CliqueFacts& clique);

  Structure& structure_;
  ShapeMaker maker_;
  PassShape shape_;
  Vector<int> timesShared_;  // [node] scratch, all 0 between uses
};

// What a pass over the clique costs, with all of its separators as factors and targets, were its variables in that
// order.
double AxisOrderSearch::CostOf(const CliqueFacts& clique, std::span<const int> variables) {
  maker_.Begin(
      variables, [](int) { return true; }, &shape_);
  maker_.PlaceAll(variables, shape_.Strides(0));
  const int numLinks = clique.links.size();
  // A separator's strides are the same where it is a target.
  for (const Link& link : clique.links) maker_.PlaceAll(MembersOf(link), shape_.AddFactor());
  for (int k = 0; k < numLinks; ++k) {
    int* strides = shape_.AddTarget();
    std::copy_n(shape_.Strides(1 + k), shape_.numAxes, strides);
  }
  return PlanCost(shape_);
}

// What most separators share goes last. Sorted in place, equals in the order they had: std::stable_sort would take
// memory that nobody counts.
Vector<int> AxisOrderSearch::SharedLast(const CliqueFacts& clique) {
  for (const Link& link : clique.links)
    for (int v : MembersOf(link)) ++timesShared_[v];
  Vector<int> order = clique.variables;
  auto isLess = [&](int a, int b) { return timesShared_[a] < timesShared_[b]; };
  for (auto next = order.begin(); next != order.end(); ++next)
    std::rotate(std::upper_bound(order.begin(), next, *next, isLess), next, next + 1);
  for (int v : order) timesShared_[v] = 0;
  return order;
}

// Single variables are moved to other places, as long as that helps and the tries last.
void AxisOrderSearch::SortVariables(int c) {
  CliqueFacts& clique = structure_.cliques[c];
  const int n = clique.variables.size();
  int tries = static_cast<int>(std::min(MOST_TRIES, structure_.tree->cliques[c].size / ENTRIES_PER_TRY));
  Vector<int> best = clique.variables, order = SharedLast(clique);
  double bestCost = CostOf(clique, best);
  for (bool better = true; better && tries > 0;) {
    better = false;
    const double cost = CostOf(clique, order);
    if (cost < bestCost) best = order, bestCost = cost;
    for (int from = n; from-- > 0 && tries > 0;) {
      for (int to = 0; to < n && tries > 0; ++to) {
        if (from == to) continue;
        order = best;
        const int moved = order[from];
        order.erase(order.begin() + from);
        order.insert(order.begin() + to, moved);
        --tries;
        const double moveCost = CostOf(clique, order);
        if (moveCost >= bestCost * CLEARLY_LESS) continue;
        best = order;
        bestCost = moveCost;
        better = true;
      }
    }
    order = best;
  }
  clique.variables = best;
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
  AxisOrderSearch search(structure);
  for (int c : bySize) {
    CliqueFacts& clique = structure->cliques[c];
    if (tree.cliques[c].size > WORTH_A_SEARCH) search.SortVariables(c);
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

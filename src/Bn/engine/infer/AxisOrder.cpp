#include "Bn/engine/infer/AxisOrder.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "Bn/engine/CostModel.h"
#include "Bn/engine/PassPlan.h"
#include "Bn/engine/PassShape.h"

namespace bravic::engine {

namespace {

constexpr int MOST_TRIES = 400;
constexpr double GOOD_ENOUGH = 2;      // times what a pass takes at least
constexpr double CLEARLY_LESS = 0.95;  // estimates are no better than that, and the order that was there has its merits

class AxisOrderSearch {
 public:
  explicit AxisOrderSearch(Structure* structure)
      : structure_(*structure), isSettled_(structure->separators.size(), 0), placeOf_(structure->NumNodes(), -1) {}

  // Sorts the clique's variables so that its passes are cheap.
  void SortVariables(int clique);
  // Gives those of its separators that have no order yet the clique's.
  void SettleSeparators(int clique);

 private:
  // What a table has in place of a stride along an axis before it has an order.
  static constexpr int OPEN = -1;

  void Load(const CliqueFacts& clique);
  bool Has(int link, int variable) const { return strides_[link * n_ + variable] != 0; }
  bool AreAlike(int a, int b) const;
  void MakeGroups();
  double LeastCost() const;
  double CostOf(std::span<const int> order, double limit);
  // Trying takes little beside a pass over the clique.
  bool MayTry() const { return numTries_ < MOST_TRIES && numTries_ * cost::PASS_PER_AXIS_ORDER < bestCost_; }
  bool Try(std::span<const int> order);
  void TryGroups();
  void TryMoves();

  Structure& structure_;
  Vector<unsigned char> isSettled_;  // [separator]
  Vector<int> placeOf_;              // [node] in the clique's order
  // Of the clique at hand, whose variables are known by their places in the order that they had.
  int n_ = 0, numLinks_ = 0;
  Vector<int> sizes_;
  Vector<int> strides_;               // [link][variable] 0 where the separator has it not; OPEN
  Vector<int> byGroup_, groupStart_;  // variables that are in the same separators stand together
  PassShape shape_;
  Vector<int> best_, order_;
  double bestCost_ = 0;
  int numTries_ = 0;
};

void AxisOrderSearch::Load(const CliqueFacts& clique) {
  n_ = clique.variables.size();
  numLinks_ = clique.links.size();
  sizes_.resize(n_);
  for (int k = 0; k < n_; ++k) {
    placeOf_[clique.variables[k]] = k;
    sizes_[k] = structure_.numstates[clique.variables[k]];
  }
  strides_.assign(numLinks_ * n_, 0);
  for (int l = 0; l < numLinks_; ++l) {
    const int s = clique.links[l].separator;
    const Vector<int>& members = structure_.separators[s].variables;
    int stride = 1;
    for (int m = members.size(); m-- > 0;) {
      strides_[l * n_ + placeOf_[members[m]]] = isSettled_[s] ? stride : OPEN;
      stride *= structure_.numstates[members[m]];
    }
  }
  numTries_ = 0;
}

// Whether they are in the same separators.
bool AxisOrderSearch::AreAlike(int a, int b) const {
  for (int l = 0; l < numLinks_; ++l)
    if (Has(l, a) != Has(l, b)) return false;
  return true;
}

// What most separators share goes last. Within a group variables go as a settled separator has them.
void AxisOrderSearch::MakeGroups() {
  Vector<int> timesShared(n_, 0);
  for (int v = 0; v < n_; ++v)
    for (int l = 0; l < numLinks_; ++l) timesShared[v] += Has(l, v);
  auto isBefore = [&](int a, int b) {
    if (timesShared[a] != timesShared[b]) return timesShared[a] < timesShared[b];
    for (int l = 0; l < numLinks_; ++l)
      if (Has(l, a) != Has(l, b)) return Has(l, b);
    for (int l = 0; l < numLinks_; ++l) {
      const int strideA = strides_[l * n_ + a], strideB = strides_[l * n_ + b];
      if (strideA != strideB) return strideA > strideB;
    }
    return a < b;
  };
  byGroup_.resize(n_);
  std::iota(byGroup_.begin(), byGroup_.end(), 0);
  std::sort(byGroup_.begin(), byGroup_.end(), isBefore);
  groupStart_.clear();
  for (int k = 0; k < n_; ++k)
    if (k == 0 || !AreAlike(byGroup_[k - 1], byGroup_[k])) groupStart_.push_back(k);
  groupStart_.push_back(n_);
}

// What a pass over the clique costs, with all of its separators as factors and targets, were its variables in that
// order, at most the limit. Separators that have no order yet will have the clique's.
double AxisOrderSearch::CostOf(std::span<const int> order, double limit) {
  shape_.Clear(n_);
  int stride = 1;
  for (int k = n_; k-- > 0;) {
    shape_.sizes[k] = sizes_[order[k]];
    shape_.Strides(0)[k] = stride;
    stride *= sizes_[order[k]];
  }
  for (int l = 0; l < numLinks_; ++l) {
    int* to = shape_.AddFactor();
    const int* from = strides_.data() + l * n_;
    int running = 1;
    for (int k = n_; k-- > 0;) {
      to[k] = from[order[k]];
      if (to[k] != OPEN) continue;
      to[k] = running;
      running *= sizes_[order[k]];
    }
  }
  return SweepCost(shape_, limit);
}

// A vector operation over all entries for the potential and, each way, for every separator.
double AxisOrderSearch::LeastCost() const {
  double entries = 1;
  for (int size : sizes_) entries *= size;
  return entries * cost::ROW_ENTRY * (1 + 2 * numLinks_);
}

bool AxisOrderSearch::Try(std::span<const int> order) {
  ++numTries_;
  const double limit = bestCost_ * CLEARLY_LESS, cost = CostOf(order, limit);
  if (cost >= limit) return false;
  best_.assign(order.begin(), order.end());
  bestCost_ = cost;
  return true;
}

// Moves one to another place, those between make room.
void Move(int from, int to, Vector<int>* list) {
  const auto first = list->begin();
  if (from < to)
    std::rotate(first + from, first + from + 1, first + to + 1);
  else
    std::rotate(first + to, first + from, first + from + 1);
}

// Calls tryMove(from, to) for all moves of one of a list to another place, again as long as that helps and there may be
// tries.
template <class MayTry, class TryMove>
void TryAllMoves(int n, MayTry mayTry, TryMove tryMove) {
  for (bool better = true; better;) {
    better = false;
    for (int from = n; from-- > 0;) {
      for (int to = 0; to < n && mayTry(); ++to) {
        // Up by one is down by one of the next.
        if (from != to && from != to + 1) better |= tryMove(from, to);
      }
    }
  }
}

// Few groups are tried in all orders, more are moved one at a time.
void AxisOrderSearch::TryGroups() {
  constexpr int FEW = 4;
  const int numGroups = groupStart_.size() - 1;
  Vector<int> groups(numGroups), bestGroups;
  std::iota(groups.begin(), groups.end(), 0);
  auto tryGroups = [&] {
    order_.clear();
    for (int g : groups)
      order_.insert(order_.end(), byGroup_.begin() + groupStart_[g], byGroup_.begin() + groupStart_[g + 1]);
    return Try(order_);
  };
  tryGroups();
  if (numGroups <= FEW) {
    while (MayTry() && std::next_permutation(groups.begin(), groups.end())) tryGroups();
    return;
  }
  bestGroups = groups;
  TryAllMoves(
      numGroups, [&] { return MayTry(); },
      [&](int from, int to) {
        groups = bestGroups;
        Move(from, to, &groups);
        const bool better = tryGroups();
        if (better) bestGroups = groups;
        return better;
      });
}

void AxisOrderSearch::TryMoves() {
  TryAllMoves(
      n_, [&] { return MayTry(); },
      [&](int from, int to) {
        order_ = best_;
        Move(from, to, &order_);
        return Try(order_);
      });
}

void AxisOrderSearch::SortVariables(int c) {
  Vector<int>& variables = structure_.cliques[c].variables;
  Load(structure_.cliques[c]);
  best_.resize(n_);
  std::iota(best_.begin(), best_.end(), 0);
  bestCost_ = CostOf(best_, std::numeric_limits<double>::infinity());
  MakeGroups();
  TryGroups();
  if (bestCost_ > GOOD_ENOUGH * LeastCost()) TryMoves();
  order_.clear();
  for (int k : best_) order_.push_back(variables[k]);
  variables = order_;
}

void AxisOrderSearch::SettleSeparators(int c) {
  const CliqueFacts& clique = structure_.cliques[c];
  for (int k = 0; k < clique.variables.size(); ++k) placeOf_[clique.variables[k]] = k;
  for (const Link& link : clique.links) {
    Vector<int>& members = structure_.separators[link.separator].variables;
    if (!isSettled_[link.separator])
      std::sort(members.begin(), members.end(), [&](int a, int b) { return placeOf_[a] < placeOf_[b]; });
    isSettled_[link.separator] = 1;
  }
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
  AxisOrderSearch search(structure);
  for (int c : bySize) {
    if (tree.cliques[c].size > cost::AXIS_ORDER_WORTH_A_SEARCH) search.SortVariables(c);
    search.SettleSeparators(c);
  }
}

}  // namespace bravic::engine

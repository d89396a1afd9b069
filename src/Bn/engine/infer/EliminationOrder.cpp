#include "Bn/engine/infer/EliminationOrder.h"

#include <algorithm>
#include <limits>

#include "Bn/engine/CostModel.h"
#include "Bn/engine/Kernels.h"
#include "Bn/engine/Numbers.h"

namespace bravic::engine {

namespace {

constexpr double MAX_ENTRIES = 1 << 22;  // of one product
constexpr double MAX_STORED = 1 << 20;   // of all tables made
constexpr int WORTH_REMEMBERING = 24;    // variables
constexpr double SAME_SHARE = 0.75, SAME_COST = 2;

}  // namespace

void EliminationOrder::Clear() {
  sizes_.clear();
  ids_.clear();
  logs_.clear();
}

int EliminationOrder::AddVariable(int id, int numstates) {
  sizes_.push_back(numstates);
  ids_.push_back(id);
  logs_.push_back(BinaryLogarithm(numstates));
  return sizes_.size() - 1;
}

// The weight of those that one is joined to and the other is not.
double EliminationOrder::WeightBeyond(int variable, int other) const {
  double weight = 0;
  graph_.ForEachBeyond(variable, other, [&](int v) { weight += logs_[v]; });
  return weight;
}

// Puts the variable next in the order; false when there is no room for what it would leave, or the cost passes the
// limit.
bool EliminationOrder::Record(int v) {
  const int first = neighbours_.size();
  double space = sizes_[v];
  graph_.ForEach(v, [&](int a) {
    neighbours_.push_back(a);
    space *= sizes_[a];
  });
  steps_.push_back({v, first, neighbours_.size() - first});
  numStored_ += space / sizes_[v] + KERNEL_SLACK;
  cost_ += cost::BUCKET +
           (space < cost::PLANNED_FROM ? cost::SINGLE_ENTRY * space : cost::MAKE_PLAN + cost::PLANNED_ENTRY * space);
  return space <= MAX_ENTRIES && numStored_ <= MAX_STORED && cost_ <= limit_;
}

// Those that are to be eliminated enter the tournament; onlyNew: variables of the last order do not.
void EliminationOrder::PlaceAll(bool onlyNew) {
  const int n = sizes_.size();
  fill_.assign(n, 0.0);
  tournament_.Reset(n);
  for (int v = 0; v < n; ++v) {
    if (v == keep_ || (onlyNew && position_[v] >= 0)) continue;
    // Each missing edge is met from both ends. A neighbour is missing from its own row, but not to itself.
    double missing = 0;
    graph_.ForEach(v, [&](int a) { missing += logs_[a] * (WeightBeyond(v, a) - logs_[a]); });
    fill_[v] = missing / 2;
    tournament_.Place(v, fill_[v]);
  }
  tournament_.BuildAll();
}

// Takes the step's variable out of the graph and joins its neighbours. The weights of all that this changes are kept up
// to date edge by edge.
void EliminationOrder::JoinNeighbours(const Step& step) {
  const int v = step.variable, number = steps_.size();
  const std::span<const int> around = NeighboursOf(step);
  touched_.clear();
  auto touch = [&](int a) {
    if (touchedAt_[a] != number) touchedAt_[a] = number, touched_.push_back(a);
  };
  // Edges from a neighbour's other neighbours to the variable are to be added no more.
  for (int a : around) {
    graph_.Clear(a, v);
    fill_[a] -= logs_[v] * WeightBeyond(a, v);
    touch(a);
  }
  for (int k = 0; k < Count(around); ++k) {
    const int a = around[k];
    for (int j = 0; j < k; ++j) {
      const int b = around[j];
      if (graph_.Has(a, b)) continue;
      // The new edge is to be added no more where both ends are seen, and may be one of two where one end is.
      const double edge = logs_[a] * logs_[b];
      graph_.ForEachCommon(a, b, [&](int c) {
        fill_[c] -= edge;
        touch(c);
      });
      fill_[a] += logs_[b] * WeightBeyond(a, b);
      fill_[b] += logs_[a] * WeightBeyond(b, a);
      Join(a, b);
    }
  }
  for (int a : touched_) tournament_.Change(a, fill_[a]);
}

// An edge weighs the product of the logarithms of its ends' numbers of states.
bool EliminationOrder::FindGreedily(bool onlyNew) {
  PlaceAll(onlyNew);
  touchedAt_.assign(sizes_.size(), -1);
  for (int v = tournament_.Best(); v >= 0; v = tournament_.Best()) {
    tournament_.Remove(v);
    if (!Record(v)) return false;
    JoinNeighbours(steps_.back());
  }
  return true;
}

// New variables first, then those of the last order as they stood there; false when they are not much the same, or
// when that costs more.
bool EliminationOrder::RepeatLast() {
  const int n = sizes_.size();
  int numSame = 0;
  position_.resize(n);
  for (int v = 0; v < n; ++v) {
    position_[v] = ids_[v] < lastPosition_.size() ? lastPosition_[ids_[v]] : -1;
    numSame += position_[v] >= 0;
  }
  if (numSame < SAME_SHARE * n || numSame < SAME_SHARE * lastIds_.size()) return false;
  if (!FindGreedily(true)) return false;
  touched_.clear();
  for (int v = 0; v < n; ++v)
    if (v != keep_ && position_[v] >= 0) touched_.push_back(v);
  std::sort(touched_.begin(), touched_.end(), [&](int a, int b) { return position_[a] < position_[b]; });
  for (int v : touched_) {
    if (!Record(v)) return false;
    for (int a : NeighboursOf(steps_.back())) {
      graph_.SetAll(a, v);
      graph_.Clear(a, a);
      graph_.Clear(a, v);
    }
  }
  return cost_ <= SAME_COST * lastCost_;
}

void EliminationOrder::RememberOrder() {
  for (int id : lastIds_) lastPosition_[id] = -1;
  lastIds_ = ids_;
  lastPosition_.resize(std::max(lastPosition_.size(), *std::max_element(ids_.begin(), ids_.end()) + 1), -1);
  for (int id : ids_) lastPosition_[id] = sizes_.size();
  for (int i = 0; i < steps_.size(); ++i) lastPosition_[ids_[steps_[i].variable]] = i;
  lastCost_ = cost_;
}

double EliminationOrder::Find(int keep, double limit) {
  keep_ = keep;
  limit_ = limit;
  auto start = [&] {
    steps_.clear();
    neighbours_.clear();
    cost_ = numStored_ = 0;
  };
  start();
  const bool isLarge = sizes_.size() >= WORTH_REMEMBERING;
  if (isLarge) {
    BitRows whole = graph_;
    if (RepeatLast()) return cost_;
    graph_ = std::move(whole);
    start();
  }
  if (!FindGreedily(false)) return std::numeric_limits<double>::infinity();
  if (isLarge) RememberOrder();
  return cost_;
}

void EliminationOrder::SortNeighbours() {
  const int n = sizes_.size();
  position_.assign(n, n);
  for (int i = 0; i < steps_.size(); ++i) position_[steps_[i].variable] = i;
  for (const Step& step : steps_) {
    const std::span<int> around = NeighboursOf(step);
    std::sort(around.begin(), around.end(), [&](int a, int b) { return position_[a] < position_[b]; });
  }
}

}  // namespace bravic::engine

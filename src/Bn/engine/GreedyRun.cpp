#include "Bn/engine/GreedyRun.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "Bn/engine/Numbers.h"

namespace bravic::engine {

namespace {

// Rises with x, by 1 where x doubles.
double RoughLogarithm(double x) {
  return static_cast<double>(std::bit_cast<std::int64_t>(x)) * 0x1p-52 - 1023;
}

}  // namespace

GreedyRun::GreedyRun(const Graph& moral, std::span<const int> numstates) : moral_(moral) {
  const int n = moral.NumNodes();
  for (int s : numstates) sizes_.push_back(std::max(1, s));
  gone_.assign(n, 0);
  mark_.assign(n, -1);
  touchedAt_.assign(n, -1);
  FillLists();
  CountTriangles();
  EliminateSimplicial();
  NumberAnew();
}

void GreedyRun::FillLists() {
  const int n = moral_.NumNodes();
  state_.nodes.resize(n);
  state_.pool.assign(moral_.list.begin(), moral_.list.end());
  for (int i = 0; i < n; ++i) {
    Node& node = state_.nodes[i];
    const int degree = Count(moral_.Neighbours(i));
    node = {moral_.start[i], degree, degree, degree, -1, 0.5 * degree * (degree - 1), 0, 0, sizes_[i]};
    double squares = 0;
    for (int w : moral_.Neighbours(i)) {
      node.weights += sizes_[w];
      squares += sizes_[w] * sizes_[w];
      node.space *= sizes_[w];
    }
    node.weighted = (node.weights * node.weights - squares) / 2;
  }
}

// Pairs that are joined need no filling. Each triangle is found from its node of the least degree, along edges towards
// higher ones.
void GreedyRun::CountTriangles() {
  const int n = moral_.NumNodes();
  Vector<Node>& nodes = state_.nodes;
  auto isHigher = [&](int a, int b) {
    return nodes[a].degree != nodes[b].degree ? nodes[a].degree > nodes[b].degree : a > b;
  };
  Vector<int> start(n + 1, 0), higher;
  higher.reserve(moral_.list.size() / 2);
  for (int i = 0; i < n; ++i) {
    for (int w : moral_.Neighbours(i))
      if (isHigher(w, i)) higher.push_back(w);
    start[i + 1] = higher.size();
  }
  auto count = [&](int at, int a, int b) {
    nodes[at].fill -= 1;
    nodes[at].weighted -= sizes_[a] * sizes_[b];
  };
  for (int i = 0; i < n; ++i) {
    ++stamp_;
    for (int k = start[i]; k < start[i + 1]; ++k) mark_[higher[k]] = stamp_;
    for (int k = start[i]; k < start[i + 1]; ++k) {
      const int a = higher[k];
      for (int l = start[a]; l < start[a + 1]; ++l) {
        const int b = higher[l];
        if (mark_[b] != stamp_) continue;
        count(i, a, b);
        count(a, i, b);
        count(b, i, a);
      }
    }
  }
}

void GreedyRun::EliminateSimplicial() {
  const int n = moral_.NumNodes();
  Vector<int> queue;
  Vector<unsigned char> queued(n, 0);
  auto enter = [&](int node) {
    if (queued[node] || state_.nodes[node].fill > 0) return;
    queued[node] = 1;
    queue.push_back(node);
  };
  for (int i = 0; i < n; ++i) enter(i);
  for (int head = 0; head < queue.size(); ++head) {
    prefixCost_ += Eliminate(queue[head]);
    for (int a : around_) enter(a);
  }
  prefix_ = std::move(queue);
}

// What is left, with some room in every list, is where each run begins.
void GreedyRun::NumberAnew() {
  constexpr int ROOM = 4;
  const int n = moral_.NumNodes();
  Vector<int> numberOf(n, -1), setAt(state_.setSize.size(), -1);
  for (int i = 0; i < n; ++i) {
    if (gone_[i]) continue;
    numberOf[i] = nodeOf_.size();
    nodeOf_.push_back(i);
  }
  for (int k = 0; k < NumLeft(); ++k) {
    const int i = nodeOf_[k];
    sizes_[k] = sizes_[i];
    Node node = state_.nodes[i];
    const int start = pristine_.pool.size();
    for (int w : Neighbours(i)) pristine_.pool.push_back(numberOf[w]);
    node.start = start;
    node.length = node.degree;
    node.room = node.degree + ROOM;
    pristine_.pool.resize(start + node.room);
    KeepSets(state_.nodes[i], &node, &setAt);
    pristine_.nodes.push_back(node);
  }
  sizes_.resize(NumLeft());
  for (double size : sizes_) logs_.push_back(BinaryLogarithm(size));
  WeighPristine();
  FindDistances();
  gone_.resize(NumLeft());
}

// The weighted sums with logarithms in place of numbers of states, of the graph that is left.
void GreedyRun::WeighPristine() {
  for (int k = 0; k < NumLeft(); ++k) {
    double weighted = 0, weights = 0;
    const auto list = NeighboursLeft(k);
    ++stamp_;
    for (int x : list) mark_[x] = stamp_;
    for (int a : list) {
      double joined = logs_[a];
      for (int x : NeighboursLeft(a))
        if (mark_[x] == stamp_) joined += logs_[x];
      weighted -= logs_[a] * joined / 2;
      weights += logs_[a];
    }
    logWeighted_.push_back(weighted + weights * weights / 2);
    logWeights_.push_back(weights);
  }
}

// The end of a part of the graph is what is farthest from what is farthest from any node of it.
void GreedyRun::FindDistances() {
  constexpr int UNKNOWN = -1;
  distances_.assign(NumLeft(), UNKNOWN);
  for (int k = 0; k < NumLeft(); ++k) {
    if (distances_[k] != UNKNOWN) continue;
    const int far = FindDistancesFrom(k);
    for (int v : reached_) distances_[v] = UNKNOWN;
    const int end = FindDistancesFrom(far);
    for (int v : reached_) distances_[v] = UNKNOWN;
    FindDistancesFrom(end);
  }
}

// Answers the last that is reached.
int GreedyRun::FindDistancesFrom(int start) {
  reached_.assign(1, start);
  distances_[start] = 0;
  for (int head = 0; head < reached_.size(); ++head) {
    const int v = reached_[head];
    for (int w : NeighboursLeft(v)) {
      if (distances_[w] >= 0) continue;
      distances_[w] = distances_[v] + 1;
      reached_.push_back(w);
    }
  }
  return reached_.back();
}

// setAt: [set] its new number, -1 before it has one.
void GreedyRun::KeepSets(const Node& from, Node* to, Vector<int>* setAt) {
  to->sets = -1;
  for (int e = from.sets; e >= 0; e = state_.entries[e].next) {
    const int set = state_.entries[e].set;
    if (state_.setSize[set] == 0) continue;
    if ((*setAt)[set] < 0) {
      (*setAt)[set] = pristine_.setSize.size();
      pristine_.setSize.push_back(state_.setSize[set]);
    }
    pristine_.entries.push_back({(*setAt)[set], to->sets});
    to->sets = pristine_.entries.size() - 1;
  }
}

bool GreedyRun::IsQuick() const {
  constexpr double MOST = 2e8;
  double pairs = 0;
  for (const Node& node : pristine_.nodes) {
    const double degree = node.degree;
    pairs += degree * degree * degree / 6;
  }
  return pairs <= MOST;
}

void GreedyRun::KeepRoom() {
  constexpr std::size_t MORE = 2;
  state_.nodes.reserve(pristine_.nodes.size());
  state_.pool.reserve(MORE * std::max(state_.pool.capacity(), pristine_.pool.capacity()));
  state_.entries.reserve(MORE * std::max(state_.entries.capacity(), pristine_.entries.capacity()));
  state_.setSize.reserve(pristine_.setSize.size() + NumLeft());
  around_.reserve(NumLeft());
  touched_.reserve(NumLeft());
  keepsRoom_ = true;
}

double GreedyRun::Try(Measure measure, std::span<const double> factors, double limit, Vector<int>* order) {
  measure_ = measure;
  factors_ = factors;
  isFull_ = false;
  state_ = pristine_;
  std::fill(gone_.begin(), gone_.end(), 0);
  weights_ = HasLogWeights(measure) ? &logs_ : &sizes_;
  for (int k = 0; HasLogWeights(measure) && k < NumLeft(); ++k) {
    state_.nodes[k].weighted = logWeighted_[k];
    state_.nodes[k].weights = logWeights_[k];
  }
  tournament_.Reset(NumLeft());
  for (int k = 0; k < NumLeft(); ++k) tournament_.Place(k, Key(k));
  tournament_.BuildAll();
  order->assign(prefix_.begin(), prefix_.end());
  double cost = prefixCost_;
  for (int step = 0; step < NumLeft(); ++step) {
    const int node = tournament_.Best();
    tournament_.Remove(node);
    ++numSteps_;
    order->push_back(nodeOf_[node]);
    cost += Eliminate(node);
    if (!(cost <= limit) || isFull_) return std::numeric_limits<double>::infinity();
    for (int a : touched_) tournament_.Change(a, Key(a));
  }
  return cost;
}

double GreedyRun::Key(int v) const {
  constexpr double SHARE_OF_SPACE = 0.007, DISTANCE = 4;
  const Node& node = state_.nodes[v];
  if (node.fill <= 0) return v - static_cast<double>(NumLeft());
  switch (measure_) {
    case Measure::STATE_SPACE:
      return node.space * factors_[v];
    case Measure::SWEEP:
      return (RoughLogarithm(node.space) + DISTANCE * distances_[v]) * factors_[v];
    case Measure::PLAIN_FILL:
      return node.fill * factors_[v];
    case Measure::FILL:
      return node.fill * (1 + SHARE_OF_SPACE * RoughLogarithm(node.space)) * factors_[v];
    case Measure::FILL_OF_SPACE:
      return node.weighted * std::sqrt(node.space) * factors_[v];
    default:
      return node.weighted * factors_[v];
  }
}

// Answers the state space of the clique made, 0 when it lies in an earlier one. around and touched hold the nodes whose
// measures have changed.
double GreedyRun::Eliminate(int v) {
  const auto list = Neighbours(v);
  around_.assign(list.begin(), list.end());
  double space = sizes_[v];
  for (int a : around_) space *= sizes_[a];
  const int largest = DropSets(state_.nodes[v]);
  const bool isSimplicial = state_.nodes[v].fill <= 0;
  ++step_;
  touched_.clear();
  for (int a : around_) Touch(a);
  TakeOut(v);
  if (!isSimplicial) JoinAround();
  RecordSet();
  return largest > around_.size() ? 0 : space;
}

// Answers the size of the largest.
int GreedyRun::DropSets(const Node& node) {
  int largest = 0;
  for (int e = node.sets; e >= 0; e = state_.entries[e].next) {
    int& size = state_.setSize[state_.entries[e].set];
    largest = std::max(largest, size);
    size = 0;
  }
  return largest;
}

void GreedyRun::RecordSet() {
  if (around_.empty() || !HasRoomFor(state_.entries, around_.size())) return;
  for (int a : around_) {
    state_.entries.push_back({state_.setSize.size(), state_.nodes[a].sets});
    state_.nodes[a].sets = state_.entries.size() - 1;
  }
  state_.setSize.push_back(around_.size());
}

// Its neighbours have pairs less: those of it and their neighbours that are not its own.
void GreedyRun::TakeOut(int v) {
  const Node& node = state_.nodes[v];
  const Vector<double>& weights = *weights_;
  const bool isSimplicial = node.fill <= 0;
  ++stamp_;
  if (!isSimplicial)
    for (int a : around_) mark_[a] = stamp_;
  for (int a : around_) {
    Node& other = state_.nodes[a];
    int common = node.degree - 1;
    double commonWeights = node.weights - weights[a];
    if (!isSimplicial) {
      common = 0;
      commonWeights = 0;
      for (int x : Neighbours(a)) {
        if (mark_[x] != stamp_) continue;
        ++common;
        commonWeights += weights[x];
      }
    }
    other.fill -= other.degree - 1 - common;
    other.weighted -= weights[v] * (other.weights - weights[v] - commonWeights);
    --other.degree;
    other.weights -= weights[v];
    other.space /= sizes_[v];
  }
  gone_[v] = 1;
}

// Joins the neighbours of the node that went.
void GreedyRun::JoinAround() {
  const Vector<double>& weights = *weights_;
  for (int i = 1; i < around_.size(); ++i) {
    const int a = around_[i];
    ++stamp_;
    for (int x : Neighbours(a)) mark_[x] = stamp_;
    for (int j = 0; j < i; ++j) {
      const int b = around_[j];
      if (mark_[b] == stamp_) continue;
      int common = 0;
      double commonWeights = 0;
      const double product = weights[a] * weights[b];
      for (int x : Neighbours(b)) {
        if (mark_[x] != stamp_) continue;
        ++common;
        commonWeights += weights[x];
        state_.nodes[x].fill -= 1;
        state_.nodes[x].weighted -= product;
        Touch(x);
      }
      Join(a, b, common, commonWeights);
      Join(b, a, common, commonWeights);
      mark_[b] = stamp_;
    }
  }
}

void GreedyRun::Join(int a, int b, int numCommon, double commonWeights) {
  Node& node = state_.nodes[a];
  node.fill += node.degree - numCommon;
  node.weighted += (*weights_)[b] * (node.weights - commonWeights);
  ++node.degree;
  node.weights += (*weights_)[b];
  node.space *= sizes_[b];
  Append(a, b);
}

void GreedyRun::Append(int v, int neighbour) {
  Node& node = state_.nodes[v];
  Vector<int>& pool = state_.pool;
  if (node.length == node.room) {
    if (!HasRoomFor(pool, 2 * node.room)) return;
    const int start = pool.size();
    node.room *= 2;
    pool.resize(start + node.room);
    std::copy_n(pool.begin() + node.start, node.length, pool.begin() + start);
    node.start = start;
  }
  pool[node.start + node.length++] = neighbour;
}

// Those left.
std::span<const int> GreedyRun::Neighbours(int v) {
  Node& node = state_.nodes[v];
  int* const list = state_.pool.data() + node.start;
  numLooks_ += node.length;
  if (node.length > node.degree) {
    int* const end = std::remove_if(list, list + node.length, [&](int w) { return gone_[w] != 0; });
    node.length = static_cast<int>(end - list);
  }
  return {list, list + node.length};
}

}  // namespace bravic::engine

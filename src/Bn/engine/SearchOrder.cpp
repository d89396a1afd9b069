// A longer search for an elimination order of small total state space. Runs of greedy elimination with several
// measures of a node's cost are perturbed by a bias per node; the biases of the best run of each measure are then
// changed in one neighbourhood of the graph at a time, and kept while that does no harm. Nodes whose neighbours are
// all joined go first at no cost to any order. The random numbers are the search's own and always the same; only
// the time limit makes results differ between machines.
#include "Bn/engine/SearchOrder.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <utility>

#include "Bn/engine/BitRows.h"
#include "Bn/engine/CostModel.h"
#include "Bn/engine/Numbers.h"
#include "Bn/engine/Tournament.h"

namespace bravic::engine {

namespace {

// Adjacency is kept as bits, and costs are computed from all pairs of a node's neighbours whenever one of them goes.
// Graphs for which that would take too much are left to the plain search.
constexpr int MAX_SEARCH_NODES = 16384;
constexpr double MAX_PAIRS = 2e8;

bool IsSearchable(const Graph& moral) {
  const int n = moral.NumNodes();
  double pairs = 0;
  for (int i = 0; i < n; ++i) {
    const double degree = Count(moral.Neighbours(i));
    pairs += degree * degree * degree / 6;
  }
  return n >= 4 && n <= MAX_SEARCH_NODES && pairs <= MAX_PAIRS;
}

using Clock = std::chrono::steady_clock;

enum class Measure { STATE_SPACE, FILL, WEIGHTED_FILL, FILL_OF_SPACE, NUM_MEASURES };

class RandomStream {
 public:
  std::uint64_t Bits() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15u);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
  }
  int Below(int n) { return static_cast<int>(Bits() % static_cast<std::uint64_t>(n)); }
  double Share() { return static_cast<double>(Bits() >> 11) * 0x1p-53; }
  // About normal, with variance 1.
  double Noise() { return (Share() + Share() + Share() + Share() - 2) * 1.7320508; }

 private:
  std::uint64_t state_ = 1;
};

// One greedy run after another over the same graph.
class Run {
 public:
  Run(const Graph& moral, std::span<const int> numstates) : moral_(moral), n_(moral.NumNodes()) {
    for (int s : numstates) sizes_.push_back(std::max(1, s));
    for (double s : sizes_) logs_.push_back(BinaryLogarithm(s));
    pristine_.Reset(n_);
    for (int i = 0; i < n_; ++i)
      for (int w : moral.Neighbours(i)) pristine_.Set(i, w);
    lists_.resize(n_);
    setsOf_.resize(n_);
    touched_.assign(n_, -1);
    gone_.resize(n_);
  }

  // The order's total state space; infinity as soon as it passes the limit.
  double Try(Measure measure, std::span<const double> bias, double limit, Vector<int>* order) {
    Reset(measure, bias);
    order->clear();
    double cost = 0;
    for (int step = 0; step < n_; ++step) {
      const int best = tournament_.Best();
      order->push_back(best);
      cost += Eliminate(best, step);
      if (cost > limit) return std::numeric_limits<double>::infinity();
    }
    return cost;
  }

 private:
  void Reset(Measure measure, std::span<const double> bias) {
    measure_ = measure;
    bias_ = bias;
    adjacent_ = pristine_;
    setSize_.clear();
    std::fill(gone_.begin(), gone_.end(), 0);
    std::fill(touched_.begin(), touched_.end(), -1);
    tournament_.Reset(n_);
    for (int i = 0; i < n_; ++i) {
      auto list = moral_.Neighbours(i);
      lists_[i].assign(list.begin(), list.end());
      setsOf_[i].clear();
    }
    for (int i = 0; i < n_; ++i) tournament_.Place(i, Key(i));
    tournament_.BuildAll();
  }

  double Key(int node) const {
    const Vector<int>& list = lists_[node];
    double space = logs_[node], fill = 0, weighted = 0;
    bool simplicial = true;
    for (int i = 0; i < list.size(); ++i) {
      space += logs_[list[i]];
      if (!simplicial && measure_ == Measure::STATE_SPACE) continue;
      for (int j = 0; j < i; ++j) {
        if (adjacent_.Has(list[i], list[j])) continue;
        simplicial = false;
        if (measure_ == Measure::STATE_SPACE) break;
        fill += 1;
        weighted += logs_[list[i]] * logs_[list[j]];
      }
    }
    if (simplicial) return -1e300 + node;
    switch (measure_) {
      case Measure::STATE_SPACE:
        return space + bias_[node];
      case Measure::FILL:
        return BinaryLogarithm(fill) + 0.01 * space + bias_[node];
      case Measure::WEIGHTED_FILL:
        return BinaryLogarithm(weighted + 1e-9) + bias_[node];
      default:
        return 0.5 * space + BinaryLogarithm(weighted + 1e-9) + bias_[node];
    }
  }

  // Answers the state space of the clique made, 0 when it lies in an earlier one.
  double Eliminate(int node, int step) {
    const Vector<int>& around = lists_[node];
    double space = sizes_[node];
    for (int a : around) space *= sizes_[a];
    int largest = 0;
    for (int set : setsOf_[node]) {
      largest = std::max(largest, setSize_[set]);
      setSize_[set] = 0;
    }
    gone_[node] = 1;
    tournament_.Remove(node);
    for (int a : around) {
      Vector<int>& list = lists_[a];
      *std::find(list.begin(), list.end(), node) = list.back();
      list.pop_back();
    }
    filled_.clear();
    for (int i = 0; i < around.size(); ++i) {
      for (int j = 0; j < i; ++j) {
        const int a = around[i], b = around[j];
        if (adjacent_.Has(a, b)) continue;
        adjacent_.Set(a, b);
        adjacent_.Set(b, a);
        lists_[a].push_back(b);
        lists_[b].push_back(a);
        filled_.push_back({a, b});
      }
    }
    if (!around.empty()) {
      for (int a : around) setsOf_[a].push_back(setSize_.size());
      setSize_.push_back(around.size());
    }
    auto update = [&](int a) {
      if (touched_[a] != step) touched_[a] = step, tournament_.Change(a, Key(a));
    };
    for (int a : around) update(a);
    if (measure_ != Measure::STATE_SPACE) {
      // Elsewhere an edge less is to fill for those that see both ends of a new one.
      for (const auto& [a, b] : filled_) {
        adjacent_.ForEachCommon(a, b, [&](int c) {
          if (!gone_[c]) update(c);
        });
      }
    }
    return largest > around.size() ? 0 : space;
  }

  const Graph& moral_;
  const int n_;
  Tournament tournament_;
  Measure measure_ = Measure::STATE_SPACE;
  std::span<const double> bias_;
  Vector<double> sizes_, logs_;
  BitRows pristine_, adjacent_;
  Vector<Vector<int>> lists_, setsOf_;
  Vector<int> setSize_;
  Vector<std::pair<int, int>> filled_;
  Vector<int> touched_;
  Vector<unsigned char> gone_;
};

// A measure with the biases that served it best.
struct Track {
  Measure measure = Measure::STATE_SPACE;
  Vector<double> bias;
  double cost = std::numeric_limits<double>::infinity();
};

// Up to count nodes around one, nearest first.
void Neighbourhood(const Graph& moral, int centre, int count, Vector<int>* nodes, Vector<int>* mark, int stamp) {
  nodes->assign(1, centre);
  (*mark)[centre] = stamp;
  for (int head = 0; head < nodes->size() && nodes->size() < count; ++head) {
    for (int w : moral.Neighbours((*nodes)[head])) {
      if ((*mark)[w] == stamp) continue;
      (*mark)[w] = stamp;
      nodes->push_back(w);
    }
  }
}

}  // namespace

Order QuickOrder(const Graph& moral, std::span<const int> numstates, double limit, double effort) {
  constexpr Measure MEASURES[] = {Measure::FILL_OF_SPACE, Measure::WEIGHTED_FILL, Measure::FILL};
  constexpr int NUM_MEASURES = 3, MOST_ROUNDS = 64;
  constexpr double NOISE = 0.3;
  const int n = moral.NumNodes();
  Order best;
  best.cost = limit;
  if (!IsSearchable(moral)) return best;
  RandomStream random;
  Run run(moral, numstates);
  Vector<int> order;
  Vector<double> bias(n, 0.0);
  // As long as a run costs less than what the tree would.
  auto isWorthIt = [&](int round) { return round < MOST_ROUNDS && round * cost::GREEDY_NODE * n < best.cost * effort; };
  for (int round = 0; round < NUM_MEASURES || isWorthIt(round); ++round) {
    if (round >= NUM_MEASURES)
      for (double& b : bias) b = NOISE * random.Noise();
    if (!(run.Try(MEASURES[round % NUM_MEASURES], bias, best.cost, &order) < best.cost)) continue;
    const double cost = OrderCost(moral, numstates, order);
    if (cost >= best.cost) continue;
    best.cost = cost;
    best.nodes = order;
  }
  best.numFound = best.nodes.size();
  return best;
}

namespace {

// The search beyond the plain greedy order.
class LongSearch {
 public:
  LongSearch(const Graph& moral, std::span<const int> numstates, double seconds, const ProgressFunction& progress,
             Clock::time_point began, Order* best)
      : moral_(moral),
        numstates_(numstates),
        seconds_(seconds),
        progress_(progress),
        began_(began),
        best_(*best),
        run_(moral, numstates),
        bias_(moral.NumNodes()),
        mark_(moral.NumNodes(), -1) {
    for (int m = 0; m < NUM_MEASURES; ++m) {
      tracks_[m].measure = static_cast<Measure>(m);
      tracks_[m].bias.assign(moral.NumNodes(), 0.0);
    }
  }

  // Noise over the whole graph, for a quarter of the time.
  void TryEverywhere() {
    constexpr int MOST_ROUNDS = 4000, FIRST_ROUNDS = 8;
    constexpr double SHARE_OF_TIME = 0.25, TIES_ALONE = 1e-6;
    for (int round = 0; MayGoOn() && elapsed_ < seconds_ * SHARE_OF_TIME && round < MOST_ROUNDS; ++round) {
      Track& track = tracks_[round % NUM_MEASURES];
      const double strength = round < FIRST_ROUNDS ? TIES_ALONE : random_.Share() * random_.Share();
      for (double& b : bias_) b = strength * random_.Noise();
      const double cost = run_.Try(track.measure, bias_, track.cost, &order_);
      if (cost < track.cost) Take(&track, cost);
    }
  }

  // Changes of one neighbourhood at a time, until the time is up.
  void TryNeighbourhoods() {
    SortTracks();
    for (int round = 0; MayGoOn(); ++round) {
      Track& track = ChooseTrack();
      ChangeNeighbourhood(track, round);
      // Early on a little harm is allowed, so that the search can leave a hollow.
      const double tolerance = 0.003 * std::max(0.0, 1 - 1.5 * elapsed_ / seconds_);
      const double cost = run_.Try(track.measure, bias_, track.cost * (1 + tolerance), &order_);
      if (!(cost < std::numeric_limits<double>::infinity())) continue;
      Take(&track, cost);
      SortTracks();
    }
  }

 private:
  static constexpr int NUM_MEASURES = static_cast<int>(Measure::NUM_MEASURES);

  // False when the time is up or the search was halted.
  bool MayGoOn() {
    constexpr int ROUNDS_BETWEEN_LOOKS = 16;
    elapsed_ = std::chrono::duration<double>(Clock::now() - began_).count();
    if (elapsed_ >= seconds_) return false;
    if (progress_ && ++sinceAsked_ >= ROUNDS_BETWEEN_LOOKS) {
      sinceAsked_ = 0;
      best_.halted = progress_(elapsed_ / seconds_);
    }
    return !best_.halted;
  }

  // The biases led to that cost, by the sums of a run; the best order is judged by its cost proper.
  void Take(Track* track, double estimate) {
    constexpr double ROUNDING = 1.000001;
    track->cost = estimate;
    track->bias = bias_;
    if (estimate > best_.cost * ROUNDING) return;
    const double cost = OrderCost(moral_, numstates_, order_);
    if (cost >= best_.cost) return;
    best_.cost = cost;
    best_.nodes = order_;
  }

  void SortTracks() {
    std::sort(std::begin(tracks_), std::end(tracks_), [](const Track& a, const Track& b) { return a.cost < b.cost; });
  }

  // The better a measure does, the more often it is tried.
  Track& ChooseTrack() {
    const double share = random_.Share();
    return tracks_[share < 0.6 ? 0 : share < 0.85 ? 1 : share < 0.95 ? 2 : 3];
  }

  // The track's biases with noise in one neighbourhood, of a few nodes or now and then of any number.
  void ChangeNeighbourhood(const Track& track, int round) {
    constexpr int FEW = 24;
    const int n = moral_.NumNodes();
    const int count = 1 + random_.Below(random_.Below(3) == 0 ? n : std::min(n, FEW));
    Neighbourhood(moral_, random_.Below(n), count, &region_, &mark_, round);
    const double strength = 2 * random_.Share() * random_.Share();
    bias_ = track.bias;
    for (int v : region_) bias_[v] = (random_.Below(8) == 0 ? 0 : bias_[v]) + strength * random_.Noise();
  }

  const Graph& moral_;
  std::span<const int> numstates_;
  const double seconds_;
  const ProgressFunction& progress_;
  const Clock::time_point began_;
  Order& best_;
  RandomStream random_;
  Run run_;
  Track tracks_[NUM_MEASURES];
  double elapsed_ = 0;
  int sinceAsked_ = 0;
  Vector<double> bias_;
  Vector<int> order_, region_, mark_;
};

}  // namespace

Order SearchOrder(const Graph& moral, std::span<const int> numstates, std::span<const int> start, double seconds,
                  const ProgressFunction& progress) {
  const auto began = Clock::now();
  const int n = moral.NumNodes();
  Order best = FindOrder(moral, numstates, nullptr);
  if (Count(start) == n) {
    const double cost = OrderCost(moral, numstates, start);
    if (cost <= best.cost) {
      best.nodes.assign(start.begin(), start.end());
      best.cost = cost;
    }
  }
  if (!(seconds > 0) || !IsSearchable(moral)) return best;
  LongSearch search(moral, numstates, seconds, progress, began, &best);
  search.TryEverywhere();
  search.TryNeighbourhoods();
  best.numFound = n;
  return best;
}

}  // namespace bravic::engine

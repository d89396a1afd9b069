// A longer search for an elimination order of small total state space. Runs of greedy elimination with several
// measures of a node's cost are perturbed by a bias per node; the biases of the best run of each measure are then
// changed in one neighbourhood of the graph at a time, and kept while that does no harm. Nodes whose neighbours are
// all joined go first at no cost to any order. The random numbers are the search's own and always the same; only
// the time limit makes results differ between machines. Several threads search each by itself.
#include "Bn/engine/SearchOrder.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <utility>

#include "Basic/RandomStream.h"
#include "Bn/engine/GreedyRun.h"
#include "Win_Face/Threads.h"

namespace bravic::engine {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double INFINITE = std::numeric_limits<double>::infinity();
constexpr std::uint64_t FIRST_SEED = 1;

// About normal, with variance 1.
double Noise(RandomStream& random) {
  return (random.Share() + random.Share() + random.Share() + random.Share() - 2) * 1.7320508;
}

// About 2^bias, in arithmetic that is the same everywhere.
double Factor(double bias) {
  constexpr double LOG_2 = 0.6931471805599453;
  const double x = std::abs(bias), power = 1 + x * (LOG_2 + (1 - LOG_2) * x);
  return bias < 0 ? 1 / power : power;
}

// A measure with the biases that served it best.
struct Track {
  Measure measure = Measure::FILL;
  Vector<double> bias;
  double cost = INFINITE;
};

// One search, with random numbers of its own. It shares nothing with others but the graph.
class LongSearch {
 public:
  // best: an order to beat; or a cost, without nodes. It takes what is found.
  LongSearch(const Graph& moral, std::span<const int> numstates, std::uint64_t seed, Order* best)
      : moral_(moral), numstates_(numstates), best_(*best), random_(seed), run_(moral, numstates) {
    const int n = run_.NumLeft();
    bias_.assign(n, 0.0);
    factors_.assign(n, 1.0);
    mark_.assign(n, -1);
    for (int m = 0; m < NUM_MEASURES; ++m) tracks_[m].measure = static_cast<Measure>(m);
  }
  // Whether there is anything to choose, and in a time that is worth while.
  bool IsWorthIt() const { return run_.NumLeft() > 0 && run_.IsQuick(); }
  // Another one, with random numbers of its own, that goes on from there, allocates nothing any more, and so judges
  // what it finds by the sums of a run alone.
  LongSearch(const LongSearch& begun, std::uint64_t seed, Order* best) : LongSearch(begun, best) {
    random_ = RandomStream(seed);
    isAlone_ = false;
    run_.KeepRoom();
    const std::size_t n = moral_.NumNodes();
    for (Vector<int>* list : {&order_, &region_, &best_.nodes}) list->reserve(n);
  }
  // What the tries so far have taken, about, in nanoseconds.
  double Work() const { return run_.Work(); }

  // Each measure as it is.
  void TryMeasures() {
    constexpr double HOPELESS = 2;
    for (Track& track : tracks_) {
      track.bias = bias_;
      const double cost = run_.Try(track.measure, factors_, HOPELESS * best_.cost, &order_);
      if (cost < track.cost) Take(&track, cost);
    }
  }

  // Noise over the whole graph for a quarter of what there is, then changes of one neighbourhood at a time. share():
  // how much of what there is has been used; 1 and more ends the search.
  template <class Share>
  void TryMore(Share share) {
    constexpr int MOST_ROUNDS = 4000, TIES_ALONE_ROUNDS = NUM_MEASURES, FIRST_ROUNDS = 2 * NUM_MEASURES;
    constexpr double FIRST_SHARE = 0.25, TIES_ALONE = 1e-6;
    double used = share();
    for (int round = 0; used < 1 && (round < FIRST_ROUNDS || used < FIRST_SHARE) && round < MOST_ROUNDS; ++round) {
      Track& track = tracks_[round % NUM_MEASURES];
      const double strength = round < TIES_ALONE_ROUNDS ? TIES_ALONE : random_.Share() * random_.Share();
      for (double& b : bias_) b = strength * Noise(random_);
      const double cost = TryBiases(track.measure, track.cost);
      if (cost < track.cost) Take(&track, cost);
      used = share();
    }
    SortTracks();
    for (int round = 0; used < 1; ++round, used = share()) {
      Track& track = ChooseTrack();
      if (!(track.cost < INFINITE)) continue;
      ChangeNeighbourhood(track, round);
      // Early on a little harm is allowed, so that the search can leave a hollow.
      constexpr double MOST_HARM = 0.003, FASTER = 1.5;  // none is left after two thirds of the time
      const double tolerance = MOST_HARM * std::max(0.0, 1 - FASTER * used);
      const double cost = TryBiases(track.measure, track.cost * (1 + tolerance));
      if (!(cost < INFINITE)) continue;
      Take(&track, cost);
      SortTracks();
    }
  }

 private:
  static constexpr int NUM_MEASURES = static_cast<int>(Measure::NUM_MEASURES);
  LongSearch(const LongSearch& begun, Order* best)
      : moral_(begun.moral_),
        numstates_(begun.numstates_),
        best_(*best),
        random_(begun.random_),
        run_(begun.run_),
        bias_(begun.bias_),
        factors_(begun.factors_),
        mark_(begun.mark_) {
    std::copy(std::begin(begun.tracks_), std::end(begun.tracks_), tracks_);
  }

  double TryBiases(Measure measure, double limit) {
    for (int k = 0; k < bias_.size(); ++k) factors_[k] = Factor(bias_[k]);
    return run_.Try(measure, factors_, limit, &order_);
  }

  // The biases led to that cost, by the sums of a run; the best order is judged by its cost proper.
  void Take(Track* track, double estimate) {
    constexpr double ROUNDING = 1.000001;
    track->cost = estimate;
    track->bias = bias_;
    if (estimate > best_.cost * ROUNDING) return;
    const double cost = isAlone_ ? OrderCost(moral_, numstates_, order_) : estimate;
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
    const int n = run_.NumLeft();
    const int count = 1 + random_.Below(random_.Below(3) == 0 ? n : std::min(n, FEW));
    FindNeighbourhood(random_.Below(n), count, round);
    const double strength = 2 * random_.Share() * random_.Share();
    bias_ = track.bias;
    for (int v : region_) bias_[v] = (random_.Below(8) == 0 ? 0 : bias_[v]) + strength * Noise(random_);
  }

  // Up to count nodes around one, nearest first.
  void FindNeighbourhood(int centre, int count, int stamp) {
    region_.assign(1, centre);
    mark_[centre] = stamp;
    for (int head = 0; head < region_.size() && region_.size() < count; ++head) {
      for (int w : run_.NeighboursLeft(region_[head])) {
        if (mark_[w] == stamp) continue;
        mark_[w] = stamp;
        region_.push_back(w);
      }
    }
  }

  const Graph& moral_;
  std::span<const int> numstates_;
  Order& best_;
  RandomStream random_;
  GreedyRun run_;
  Track tracks_[NUM_MEASURES];
  bool isAlone_ = true;
  Vector<double> bias_, factors_;  // [node left]
  Vector<int> order_, region_, mark_;
};

}  // namespace

Order QuickOrder(const Graph& moral, std::span<const int> numstates, double limit, double (*budget)(double cost)) {
  // Ties broken at random make longer trees, where messages have farther to go: for that they are to be smaller.
  constexpr double CLEARLY_LESS = 0.99;
  Order best;
  best.cost = limit;
  LongSearch search(moral, numstates, FIRST_SEED, &best);
  if (search.IsWorthIt()) {
    search.TryMeasures();
    const Order ofMeasures = best;
    search.TryMore([&] { return search.Work() / budget(best.cost); });
    if (!ofMeasures.nodes.empty() && best.cost > CLEARLY_LESS * ofMeasures.cost) best = ofMeasures;
  }
  best.numFound = best.nodes.size();
  return best;
}

namespace {

// Several searches at once, the first of them by the calling thread, until the time is up or it was halted.
class Searches {
 public:
  Searches(double seconds, const ProgressFunction& progress) : seconds_(seconds), progress_(progress) {}

  double Share() const { return std::chrono::duration<double>(Clock::now() - began_).count() / seconds_; }
  bool IsHalted() const { return halted_; }

  // The first has tried the measures. best: the first one's.
  void Run(LongSearch* first, const Graph& moral, std::span<const int> numstates, Order* best) {
    const int numThreads = ThreadsToUse();
    searches_.push_back(first);
    Vector<Order> orders(numThreads - 1);
    Vector<Owned<LongSearch>> others;
    for (int k = 1; k < numThreads; ++k) {
      orders[k - 1].cost = best->cost;
      others.push_back(MakeOwned<LongSearch>(*first, FIRST_SEED + static_cast<std::uint64_t>(k), &orders[k - 1]));
      searches_.push_back(others.back().get());
    }
    RunOnThreads(
        numThreads, [](void* all, int worker) { static_cast<Searches*>(all)->RunOne(worker); }, this);
    // The best, and of equals the one with the first numbers.
    for (Order& order : orders) {
      if (order.nodes.empty()) continue;
      order.cost = OrderCost(moral, numstates, order.nodes);
      if (order.cost < best->cost) std::swap(*best, order);
    }
  }

 private:
  void RunOne(int worker) {
    if (worker > 0)
      searches_[worker]->TryMore([&] { return halted_ ? 1 : Share(); });
    else
      searches_[0]->TryMore([&] { return AskedShare(); });
  }
  // The calling thread asks whether to go on.
  double AskedShare() {
    constexpr int TRIES_BETWEEN_LOOKS = 16;
    const double share = Share();
    if (share < 1 && progress_ && ++sinceAsked_ >= TRIES_BETWEEN_LOOKS) {
      sinceAsked_ = 0;
      if (progress_(share)) halted_ = true;
    }
    return halted_ ? 1 : share;
  }

  const double seconds_;
  const ProgressFunction& progress_;
  const Clock::time_point began_ = Clock::now();
  Vector<LongSearch*> searches_;  // [worker]
  int sinceAsked_ = 0;
  std::atomic<bool> halted_ = false;
};

}  // namespace

Order SearchOrder(const Graph& moral, std::span<const int> numstates, std::span<const int> start, double seconds,
                  const ProgressFunction& progress) {
  Searches searches(seconds, progress);
  const int n = moral.NumNodes();
  Order best = FindOrder(moral, numstates, nullptr);
  if (Count(start) == n) {
    const double cost = OrderCost(moral, numstates, start);
    if (cost <= best.cost) {
      best.nodes.assign(start.begin(), start.end());
      best.cost = cost;
    }
  }
  if (!(seconds > 0)) return best;
  LongSearch search(moral, numstates, FIRST_SEED, &best);
  if (!search.IsWorthIt()) return best;
  search.TryMeasures();
  searches.Run(&search, moral, numstates, &best);
  best.halted = searches.IsHalted();
  best.numFound = n;
  return best;
}

}  // namespace bravic::engine

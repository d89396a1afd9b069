#include "Bn/engine/configs/BestConfigs.h"

#include <algorithm>

#include "Bn/engine/configs/Buckets.h"

namespace bravic::engine {
namespace {

// Configurations as probable as the last of the wanted ones that are looked at to choose among them.
constexpr int MOST_TIED = 4096;
// Products in different orders differ by less than this part; so do probabilities that are equal.
constexpr int TIE_EXPONENT = -40;

WideNumber Widen(double x) {
  return ToWide(x);
}
WideNumber Widen(WideNumber x) {
  return x;
}

// Whether a is larger than b by more than what rounding explains.
bool IsAbove(WideNumber a, WideNumber b) {
  return b + ToWide(b.mantissa, b.exponent + TIE_EXPONENT) < a;
}

// The state whose value is largest of those that come after the given one (-1: of all): the next smaller value, or the
// same value at a later state. -1 where none is above 0.
template <class Number>
int NextState(const Vector<Number>& values, int state) {
  int next = -1;
  for (int s = 0; s < values.size(); ++s) {
    if (!(Number{} < values[s])) continue;
    const bool comesAfter = state < 0 || values[s] < values[state] || (s > state && !(values[state] < values[s]));
    if (comesAfter && (next < 0 || values[next] < values[s])) next = s;
  }
  return next;
}

template <class Number>
class Search {
 public:
  Search(const ConfigQuestion& question, const BucketOrder& order, const Buckets<Number>& buckets)
      : question_(question), order_(order), buckets_(buckets) {}

  // The best ones, at most so many, and as many more as are as probable as the last of them.
  Status Find(int count, Interrupt* interrupt, Vector<BestConfig>* found) {
    const double most = static_cast<double>(count) + MOST_TIED;
    if (!Push({buckets_.Largest(), 0, -1, order_.variables.size(), 0})) return Status::NoMemory;
    while (numCandidates_ > 0 && found->size() < most) {
      std::pop_heap(candidates_.get(), candidates_.get() + numCandidates_, ComesAfter);
      const Candidate best = candidates_[--numCandidates_];
      if (found->size() >= count && IsAbove((*found)[count - 1].probability, best.value)) break;
      if (interrupt->Halts(VALUES_OF_PLACE * order_.variables.size())) return Status::Halted;
      if (!Follow(best, found)) return Status::NoMemory;
      Trim(most - found->size());
    }
    return Status::Done;
  }

  static constexpr double VALUES_OF_PLACE = 16;  // about what it takes to follow one, in entries

 private:
  // A part of what is left: the configurations that agree with a found one at all places above, and have this state or
  // later ones at the place. value: of its best.
  struct Candidate {
    WideNumber value;
    long long serial;
    int from;   // index of the found one, or -1
    int place;  // or the number of places: everything
    int state;
  };
  static bool ComesAfter(const Candidate& a, const Candidate& b) {
    if (a.value < b.value) return true;
    return !(b.value < a.value) && a.serial > b.serial;
  }

  // Finds the candidate's best configuration, and the parts that are left without it.
  bool Follow(const Candidate& candidate, Vector<BestConfig>* found) {
    const int n = question_.NumNodes(), self = found->size();
    BestConfig config{TryMakeBlock<int>(n), candidate.value};
    if (!config.states) return false;
    if (candidate.from >= 0)
      std::copy_n((*found)[candidate.from].states.get(), n, config.states.get());
    else
      for (int v = 0; v < n; ++v) config.states[v] = question_.IsAxis(v) ? 0 : question_.OnlyState(v);
    const std::span<const int> states(config.states.get(), n);
    for (int place = std::min(candidate.place, order_.variables.size() - 1); place >= order_.numSummed; --place) {
      int& state = config.states[order_.variables[place]];
      buckets_.Values(place, states, &values_);
      state = place == candidate.place ? candidate.state : NextState(values_, -1);
      const int next = NextState(values_, state);
      if (next < 0) continue;
      const WideNumber value = candidate.value * (Widen(values_[next]) / Widen(values_[state]));
      if (!Push({value, ++serial_, self, place, next})) return false;
    }
    found->push_back(std::move(config));
    return true;
  }

  // False without memory.
  bool Push(const Candidate& candidate) {
    if (numCandidates_ == capacity_) {
      const std::size_t capacity = std::max<std::size_t>(2 * capacity_, 1024);
      Block<Candidate> larger = TryMakeBlock<Candidate>(capacity);
      if (!larger) return false;
      std::copy_n(candidates_.get(), numCandidates_, larger.get());
      candidates_ = std::move(larger);
      capacity_ = capacity;
    }
    candidates_[numCandidates_++] = candidate;
    std::push_heap(candidates_.get(), candidates_.get() + numCandidates_, ComesAfter);
    return true;
  }

  // No more are needed than are still wanted.
  void Trim(double numWanted) {
    constexpr double ROOM = 4096;
    if (static_cast<double>(numCandidates_) <= 2 * numWanted + ROOM) return;
    Candidate* const begin = candidates_.get();
    const auto numKept = static_cast<std::size_t>(numWanted);
    std::nth_element(begin, begin + numKept, begin + numCandidates_,
                     [](const Candidate& a, const Candidate& b) { return ComesAfter(b, a); });
    numCandidates_ = numKept;
    std::make_heap(begin, begin + numCandidates_, ComesAfter);
  }

  const ConfigQuestion& question_;
  const BucketOrder& order_;
  const Buckets<Number>& buckets_;
  Block<Candidate> candidates_;  // a heap
  std::size_t numCandidates_ = 0, capacity_ = 0;
  long long serial_ = 0;
  Vector<Number> values_;
};

template <class Number>
Status FindIn(const ConfigQuestion& question, const BucketOrder& order, std::span<const unsigned char> matters,
              int count, Interrupt* interrupt, Vector<BestConfig>* found) {
  Buckets<Number> buckets(question, order);
  if (const Status status = buckets.Run(matters, interrupt); status != Status::Done) return status;
  return Search<Number>(question, order, buckets).Find(count, interrupt, found);
}

// In doubles where they are enough.
Status Find(const ConfigQuestion& question, const BucketOrder& order, std::span<const unsigned char> matters, int count,
            const ProgressFunction& progress, Vector<BestConfig>* found) {
  Interrupt interrupt;
  const double following = Search<double>::VALUES_OF_PLACE * order.variables.size() * count;
  interrupt.Start(progress, order.cost + following);
  Status status = FindIn<double>(question, order, matters, count, &interrupt, found);
  if (status == Status::Vanished) {
    interrupt.Start(progress, order.cost + following);
    status = FindIn<WideNumber>(question, order, matters, count, &interrupt, found);
  }
  return status;
}

// The probability of a configuration of all nodes, by the tables in their order.
class TableProduct {
 public:
  explicit TableProduct(const ConfigQuestion& question) : question_(question) {
    bool isInformative;
    for (int node = 0; node < question.NumNodes(); ++node) scales_.push_back(RowScales(question, node, &isInformative));
  }
  WideNumber Of(const int* states) const {
    WideNumber product = ToWide(1);
    for (int node = 0; node < question_.NumNodes(); ++node) {
      if (const float* table = question_.table(node)) {
        int row = 0;
        for (int parent : question_.parents[node]) row = row * question_.numstates[parent] + states[parent];
        const double scale = scales_[node][row];
        product = product * ToWide(scale == 0 ? 0.0 : scale * table[row * question_.numstates[node] + states[node]]);
      }
      const KnownNode& known = question_.known[node];
      if (known.state == FREE && !known.weights.empty()) product = product * known.weights[states[node]];
    }
    return product;
  }

 private:
  const ConfigQuestion& question_;
  Vector<Vector<double>> scales_;  // [node][row]
};

// Best first, and equally probable ones by their states.
void SortConfigs(int numNodes, Vector<BestConfig>* configs) {
  const auto comesFirst = [numNodes](const BestConfig& a, const BestConfig& b) {
    return std::lexicographical_compare(a.states.get(), a.states.get() + numNodes, b.states.get(),
                                        b.states.get() + numNodes);
  };
  std::sort(configs->begin(), configs->end(), [&](const BestConfig& a, const BestConfig& b) {
    const bool isLess = a.probability < b.probability, isMore = b.probability < a.probability;
    return isLess || isMore ? isMore : comesFirst(a, b);
  });
  for (int first = 0, end; first < configs->size(); first = end) {
    for (end = first + 1; end < configs->size(); ++end)
      if (IsAbove((*configs)[first].probability, (*configs)[end].probability)) break;
    std::sort(configs->begin() + first, configs->begin() + end, comesFirst);
  }
}

}  // namespace

Status FindBestConfigs(const ConfigQuestion& question, const JunctionTree& tree, int count,
                       const ProgressFunction& progress, Vector<BestConfig>* configs) {
  const BucketOrder order = OrderAlongTree(question, tree);
  if (const Status status = Find(question, order, {}, count, progress, configs); status != Status::Done) return status;
  const TableProduct product(question);
  for (BestConfig& config : *configs) config.probability = product.Of(config.states.get());
  SortConfigs(question.NumNodes(), configs);
  if (configs->size() > count) configs->erase(configs->begin() + count, configs->end());
  return Status::Done;
}

Status FindBestStates(const ConfigQuestion& question, const BucketOrder& order, std::span<const unsigned char> matters,
                      const ProgressFunction& progress, BestConfig* best) {
  Vector<BestConfig> found;
  if (const Status status = Find(question, order, matters, 1, progress, &found); status != Status::Done) return status;
  SortConfigs(question.NumNodes(), &found);
  *best = std::move(found[0]);
  return Status::Done;
}

}  // namespace bravic::engine

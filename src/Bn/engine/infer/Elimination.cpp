#include "Bn/engine/infer/Elimination.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace bravic::engine {

namespace {

constexpr double MAX_ENTRIES = 1 << 22;  // of one product
constexpr double MAX_STORED = 1 << 20;   // of all tables made
constexpr double PLANNED_ENTRIES = 4096;
constexpr int WORTH_REMEMBERING = 24;  // variables
constexpr double SAME_SHARE = 0.75, SAME_COST = 2;
// In nanoseconds, from measurements on one machine; only the proportions matter.
constexpr double BUCKET_COST = 180, SINGLE_ENTRY_COST = 2, PLAN_COST = 3000, ENTRY_COST = 0.7;

constexpr std::uint64_t Bit(int v) {
  return std::uint64_t{1} << (v % 64);
}

template <class Visit>
void ForEachBit(const std::uint64_t* row, int words, Visit visit) {
  for (int w = 0; w < words; ++w)
    for (std::uint64_t bits = row[w]; bits != 0; bits &= bits - 1) visit(w * 64 + std::countr_zero(bits));
}

}  // namespace

void Elimination::Forget() {
  kept_.clear();
  keptAxes_.clear();
  numKeptEntries_ = 0;
  numKept_ = 0;
  isFull_ = false;
}

void Elimination::Clear() {
  sizes_.clear();
  ids_.clear();
  logs_.clear();
  factors_.clear();
  axes_.clear();
  firstAxisOf_.clear();
}

int Elimination::AddVariable(int id, int numstates) {
  sizes_.push_back(numstates);
  ids_.push_back(id);
  firstAxisOf_.push_back(-1);
  return sizes_.size() - 1;
}

void Elimination::AddFactor(const float* table, int first, int size, const Range& range, const Key& key) {
  factors_.push_back({table, first, size, axes_.size(), 0, range, false, false, key});
}

void Elimination::AddAxis(int variable, int stride) {
  const int axis = axes_.size(), factor = factors_.size() - 1;
  axes_.push_back({variable, stride, factor, firstAxisOf_[variable]});
  firstAxisOf_[variable] = axis;
  ++factors_.back().numAxes;
}

// The weight of those in one row but not in another.
double Elimination::WeightBeyond(const std::uint64_t* row, const std::uint64_t* other) const {
  double weight = 0;
  for (int w = 0; w < words_; ++w)
    for (std::uint64_t bits = row[w] & ~other[w]; bits != 0; bits &= bits - 1)
      weight += logs_[w * 64 + std::countr_zero(bits)];
  return weight;
}

void Elimination::MakeMoralGraph() {
  const int n = sizes_.size();
  words_ = std::max(1, (n + 63) / 64);
  rows_.assign(n * words_, 0);
  std::uint64_t scope[MAX_VARIABLES / 64];
  for (const Factor& factor : factors_) {
    std::fill_n(scope, words_, 0);
    for (int k = 0; k < factor.numAxes; ++k) {
      const int v = axes_[factor.firstAxis + k].variable;
      scope[v / 64] |= Bit(v);
    }
    for (int k = 0; k < factor.numAxes; ++k) {
      std::uint64_t* row = RowOf(axes_[factor.firstAxis + k].variable);
      for (int w = 0; w < words_; ++w) row[w] |= scope[w];
    }
  }
  for (int v = 0; v < n; ++v) RowOf(v)[v / 64] &= ~Bit(v);
}

// Puts the variable next in the order; false when there is no room for what it would leave, or the cost passes the
// limit.
bool Elimination::Record(int v) {
  const int first = neighbours_.size();
  double space = sizes_[v];
  ForEachBit(RowOf(v), words_, [&](int a) {
    neighbours_.push_back(a);
    space *= sizes_[a];
  });
  buckets_.push_back({v, first, neighbours_.size() - first});
  numStored_ += space / sizes_[v] + KERNEL_SLACK;
  cost_ += BUCKET_COST + (space < PLANNED_ENTRIES ? SINGLE_ENTRY_COST * space : PLAN_COST + ENTRY_COST * space);
  return space <= MAX_ENTRIES && numStored_ <= MAX_STORED && cost_ <= limit_;
}

// Greedy by the weight of the edges that an elimination would add, which is kept up to date edge by edge. An edge
// weighs the product of the logarithms of its ends' numbers of states. onlyNew: variables of the last order are left.
bool Elimination::OrderGreedily(bool onlyNew) {
  const int n = sizes_.size();
  fill_.assign(n, 0.0);
  tournament_.Reset(n);
  for (int v = 0; v < n; ++v) {
    if (v == keep_ || (onlyNew && position_[v] >= 0)) continue;
    // Each missing edge is met from both ends.
    double missing = 0;
    ForEachBit(RowOf(v), words_, [&](int a) { missing += logs_[a] * (WeightBeyond(RowOf(v), RowOf(a)) - logs_[a]); });
    fill_[v] = missing / 2;
    tournament_.Place(v, fill_[v]);
  }
  tournament_.BuildAll();
  touchedAt_.assign(n, -1);
  for (int v = tournament_.Best(); v >= 0; v = tournament_.Best()) {
    tournament_.Remove(v);
    const int step = buckets_.size();
    if (!Record(v)) return false;
    touched_.clear();
    auto touch = [&](int a) {
      if (touchedAt_[a] != step) touchedAt_[a] = step, touched_.push_back(a);
    };
    const int* around = neighbours_.data() + buckets_.back().firstNeighbour;
    for (int k = 0; k < buckets_.back().numNeighbours; ++k) {
      const int a = around[k];
      RowOf(a)[v / 64] &= ~Bit(v);
      fill_[a] -= logs_[v] * WeightBeyond(RowOf(a), RowOf(v));
      touch(a);
    }
    for (int k = 0; k < buckets_.back().numNeighbours; ++k) {
      const int a = around[k];
      for (int j = 0; j < k; ++j) {
        const int b = around[j];
        if (RowOf(a)[b / 64] & Bit(b)) continue;
        const double edge = logs_[a] * logs_[b];
        for (int w = 0; w < words_; ++w) {
          for (std::uint64_t both = RowOf(a)[w] & RowOf(b)[w]; both != 0; both &= both - 1) {
            const int c = w * 64 + std::countr_zero(both);
            fill_[c] -= edge;
            touch(c);
          }
        }
        fill_[a] += logs_[b] * WeightBeyond(RowOf(a), RowOf(b));
        fill_[b] += logs_[a] * WeightBeyond(RowOf(b), RowOf(a));
        RowOf(a)[b / 64] |= Bit(b);
        RowOf(b)[a / 64] |= Bit(a);
      }
    }
    for (int a : touched_) tournament_.Change(a, fill_[a]);
  }
  return true;
}

// New variables first, then those of the last order as they stood there; false when they are not much the same, or
// when that costs more.
bool Elimination::OrderAsBefore() {
  const int n = sizes_.size();
  int numSame = 0;
  position_.resize(n);
  for (int v = 0; v < n; ++v) {
    position_[v] = ids_[v] < lastPosition_.size() ? lastPosition_[ids_[v]] : -1;
    numSame += position_[v] >= 0;
  }
  if (numSame < SAME_SHARE * n || numSame < SAME_SHARE * static_cast<double>(lastIds_.size())) return false;
  if (!OrderGreedily(true)) return false;
  touched_.clear();
  for (int v = 0; v < n; ++v)
    if (v != keep_ && position_[v] >= 0) touched_.push_back(v);
  std::sort(touched_.begin(), touched_.end(), [&](int a, int b) { return position_[a] < position_[b]; });
  for (int v : touched_) {
    if (!Record(v)) return false;
    const int* around = neighbours_.data() + buckets_.back().firstNeighbour;
    for (int k = 0; k < buckets_.back().numNeighbours; ++k) {
      const int a = around[k];
      for (int w = 0; w < words_; ++w) RowOf(a)[w] |= RowOf(v)[w];
      RowOf(a)[a / 64] &= ~Bit(a);
      RowOf(a)[v / 64] &= ~Bit(v);
    }
  }
  return cost_ <= SAME_COST * lastCost_;
}

double Elimination::Plan(int keep, double limit) {
  constexpr double NEVER = std::numeric_limits<double>::infinity();
  const int n = sizes_.size();
  keep_ = keep;
  limit_ = limit;
  logs_.clear();
  for (int size : sizes_) logs_.push_back(BinaryLogarithm(size));
  if (n > MAX_VARIABLES) return NEVER;
  auto start = [&] {
    buckets_.clear();
    neighbours_.clear();
    cost_ = numStored_ = 0;
    MakeMoralGraph();
  };
  start();
  if (n >= WORTH_REMEMBERING) {
    if (OrderAsBefore()) return cost_;
    start();
  }
  if (!OrderGreedily(false)) return NEVER;
  if (n < WORTH_REMEMBERING) return cost_;
  for (int id : lastIds_) lastPosition_[id] = -1;
  lastIds_ = ids_;
  lastPosition_.resize(std::max(lastPosition_.size(), *std::max_element(ids_.begin(), ids_.end()) + 1), -1);
  for (int v = 0; v < n; ++v) lastPosition_[ids_[v]] = n;
  for (int i = 0; i < buckets_.size(); ++i) lastPosition_[ids_[buckets_[i].variable]] = i;
  lastCost_ = cost_;
  return cost_;
}

// Of so many inputs (0: any number) whose tables and strides are ready.
template <int INPUTS>
void Elimination::SumEntriesOf(const Bucket& bucket) {
  const int numInputs = INPUTS > 0 ? INPUTS : inputs_.size(), numAxes = bucket.numNeighbours;
  const int states = sizes_[bucket.variable];
  const int* own = shape_.strides.data() + numAxes * numInputs;
  const float** tables = tables_.data();
  const int fastest = numAxes - 1;
  const int length = numAxes > 0 ? sizes_[neighbours_[bucket.firstNeighbour + fastest]] : 1;
  const int* inner = shape_.strides.data() + std::max(fastest, 0) * numInputs;
  int at[MAX_AXES] = {};
  double* out = sums_.data();
  for (;;) {
    // The longer loop goes inside, where its steps do not wait for each other.
    auto product = [&](int j, int s) {
      double entry = static_cast<double>(tables[0][j * inner[0] + s * own[0]]);
      for (int i = 1; i < numInputs; ++i) entry *= static_cast<double>(tables[i][j * inner[i] + s * own[i]]);
      return entry;
    };
    if (length < 4) {
      for (int j = 0; j < length; ++j) {
        double sum = 0;
        for (int s = 0; s < states; ++s) sum += product(j, s);
        out[j] = sum;
      }
    } else {
      std::fill_n(out, length, 0.0);
      for (int s = 0; s < states; ++s)
        for (int j = 0; j < length; ++j) out[j] += product(j, s);
    }
    out += length;
    int axis = fastest;
    for (;;) {
      if (axis <= 0) return;
      --axis;
      const int size = sizes_[neighbours_[bucket.firstNeighbour + axis]];
      const bool wraps = ++at[axis] == size;
      const int moves = wraps ? 1 - size : 1;
      const int* step = shape_.strides.data() + axis * numInputs;
      for (int i = 0; i < numInputs; ++i) tables[i] += moves * step[i];
      if (!wraps) break;
      at[axis] = 0;
    }
  }
}

// sums_ = the sum over the bucket's variable of the product of its inputs, entry by entry, in the order of its
// neighbours.
void Elimination::SumEntries(const Bucket& bucket) {
  const int numInputs = inputs_.size(), numAxes = bucket.numNeighbours;
  // [axis][input] strides, those of the bucket's variable last.
  Vector<int>& strides = shape_.strides;
  strides.assign((numAxes + 1) * numInputs, 0);
  tables_.clear();
  for (int i = 0; i < numInputs; ++i) {
    const Factor& factor = factors_[inputs_[i]];
    tables_.push_back(factor.table + factor.first);
    for (int k = 0; k < factor.numAxes; ++k) {
      const Axis& axis = axes_[factor.firstAxis + k];
      int at = numAxes;
      if (axis.variable != bucket.variable)
        for (at = 0; neighbours_[bucket.firstNeighbour + at] != axis.variable;) ++at;
      strides[at * numInputs + i] += axis.stride;
    }
  }
  switch (numInputs) {
    case 1:
      return SumEntriesOf<1>(bucket);
    case 2:
      return SumEntriesOf<2>(bucket);
    case 3:
      return SumEntriesOf<3>(bucket);
    case 4:
      return SumEntriesOf<4>(bucket);
    default:
      return SumEntriesOf<0>(bucket);
  }
}

// The same in vectors.
void Elimination::SumByPlan(const Bucket& bucket, const Kernels& kernels) {
  const int numAxes = bucket.numNeighbours + 1;
  // The variable to be summed is the slowest axis, so that rows are whole.
  shape_.Clear(numAxes);
  shape_.sizes[0] = sizes_[bucket.variable];
  position_[bucket.variable] = 0;
  for (int k = 1; k < numAxes; ++k) {
    const int v = neighbours_[bucket.firstNeighbour + k - 1];
    shape_.sizes[k] = sizes_[v];
    position_[v] = k;
  }
  tables_.clear();
  std::size_t room = 0;
  for (int f : inputs_)
    if (!factors_[f].padded) room += factors_[f].size + KERNEL_SLACK;
  padding_.GrowTo(room);
  float* free = padding_.data();
  for (int input : inputs_) {
    const Factor& factor = factors_[input];
    int* strides = shape_.AddFactor();
    for (int k = 0; k < factor.numAxes; ++k) {
      const Axis& axis = axes_[factor.firstAxis + k];
      strides[position_[axis.variable]] += axis.stride;
    }
    if (factor.padded) {
      tables_.push_back(factor.table + factor.first);
      continue;
    }
    tables_.push_back(free + factor.first);
    free = std::copy_n(factor.table, factor.size, free);
    free = std::fill_n(free, KERNEL_SLACK, 0.0f);
  }
  int* strides = shape_.AddTarget();
  int stride = 1;
  for (int k = numAxes; k-- > 1;) {
    strides[k] = stride;
    stride *= shape_.sizes[k];
  }
  MakePlan(shape_, &plan_);
  arena_.GrowTo(plan_.arena);
  std::fill(sums_.begin(), sums_.end(), 0.0);
  const PassTarget target{sums_.data(), nullptr};
  RunPlan(plan_, kernels, nullptr, tables_.data(), &target, arena_.data(), false);
}

// The place of what is kept under the key, or the free one for it; NULL when there is none.
Elimination::Kept* Elimination::PlaceFor(const Key& key) {
  if (capacity_ == 0 || isFull_) return nullptr;
  if (!keptEntries_) keptEntries_ = TryMakeBlock<float>(capacity_);
  if (!keptEntries_) return nullptr;
  if (kept_.empty()) kept_.resize(std::clamp<std::size_t>(std::bit_ceil(capacity_ / 32), 1024, 8192));
  for (std::size_t place = static_cast<std::size_t>(key.low) % kept_.size();; place = (place + 1) % kept_.size())
    if (kept_[place].size == 0 || kept_[place].key == key) return &kept_[place];
}

// The axes stand as when the table was made.
void Elimination::TakeKept(const Bucket& bucket, const Kept& kept) {
  if (kept.size == 1) return;
  factors_.push_back(
      {keptEntries_.get() + kept.begin, 0, kept.size, axes_.size(), 0, kept.range, true, false, kept.key});
  int stride = 1;
  for (int k = kept.numAxes; k-- > 0;) {
    const int* variable = neighbours_.data() + bucket.firstNeighbour;
    while (ids_[*variable] != keptAxes_[kept.firstAxis + k]) ++variable;
    AddAxis(*variable, stride);
    stride *= sizes_[*variable];
  }
}

Outcome Elimination::Eliminate(const Bucket& bucket, const Kernels& kernels) {
  inputs_.clear();
  ProductRange range;
  Key key;
  for (int a = firstAxisOf_[bucket.variable]; a >= 0; a = axes_[a].next) {
    Factor& factor = factors_[axes_[a].factor];
    if (factor.used) continue;
    factor.used = true;
    inputs_.push_back(axes_[a].factor);
    range.Multiply(factor.range);
    // In whatever order they come.
    key.high += factor.key.high;
    key.low += factor.key.low;
  }
  // A variable of no table is summed to a constant.
  if (inputs_.empty()) return Outcome::GOOD;
  key.Mix(static_cast<std::uint64_t>(ids_[bucket.variable]));
  Kept* const place = PlaceFor(key);
  if (place && place->size > 0) {
    TakeKept(bucket, *place);
    return Outcome::GOOD;
  }
  std::size_t size = 1;
  for (int k = 0; k < bucket.numNeighbours; ++k) size *= sizes_[neighbours_[bucket.firstNeighbour + k]];
  const int states = sizes_[bucket.variable];
  if (interrupt_ && interrupt_->Halts(static_cast<double>(size) * states)) return Outcome::DOUBTFUL;
  sums_.resize(size);
  // Products of floats may be too small for a float where those of doubles are not.
  if (static_cast<double>(size) * states >= PLANNED_ENTRIES && range.StaysAbove(FLOAT_FLOOR))
    SumByPlan(bucket, kernels);
  else
    SumEntries(bucket);
  const int lost = range.Lost(DOUBLE_FLOOR, states);
  double largest, least;
  FindRange(sums_.data(), size, &largest, &least);
  // A table to be kept is followed by its slack like any other.
  const std::size_t room = size == 1 ? 0 : size + KERNEL_SLACK;
  bool keeps = place && lost == NO_LOSS;
  if (keeps && (numKeptEntries_ + room > capacity_ || 2 * numKept_ > kept_.size())) {
    isFull_ = true;
    keeps = false;
  }
  const Outcome outcome = Judge(largest, lost);
  if (outcome != Outcome::GOOD || size == 1) {
    if (keeps && outcome == Outcome::GOOD) {
      *place = {key, 0, 1, 0, bucket.numNeighbours, {}};
      ++numKept_;
    }
    return outcome;
  }
  const int exponent = Exponent(largest);
  float* const begin = keeps ? keptEntries_.get() + numKeptEntries_ : store_.data() + stored_;
  (keeps ? numKeptEntries_ : stored_) += room;
  const Factor made = {begin,        0,     static_cast<int>(size),
                       axes_.size(), 0,     StoredRange(least, exponent, lost, FLOAT_FLOOR),
                       true,         false, key};
  const double scale = PowerOfTwo(std::clamp(-exponent, -1022, 1023));
  float* to = begin;
  for (double sum : sums_) *to++ = static_cast<float>(sum * scale);
  std::fill_n(to, KERNEL_SLACK, 0.0f);
  factors_.push_back(made);
  int stride = 1;
  for (int k = bucket.numNeighbours; k-- > 0;) {
    const int v = neighbours_[bucket.firstNeighbour + k];
    AddAxis(v, stride);
    stride *= sizes_[v];
  }
  if (!keeps) return Outcome::GOOD;
  *place = {key,
            static_cast<std::size_t>(begin - keptEntries_.get()),
            made.size,
            keptAxes_.size(),
            bucket.numNeighbours,
            made.range};
  for (int k = 0; k < bucket.numNeighbours; ++k) keptAxes_.push_back(ids_[neighbours_[bucket.firstNeighbour + k]]);
  ++numKept_;
  return Outcome::GOOD;
}

// The product of what is left, which holds the kept variable or nothing; without one only whether it is 0.
Outcome Elimination::MultiplyRest(double* to) {
  ProductRange range;
  inputs_.clear();
  for (int f = 0; f < factors_.size(); ++f) {
    const Factor& factor = factors_[f];
    if (factor.used) continue;
    if (factor.numAxes == 0) {
      if (factor.table[factor.first] == 0) return Outcome::ZERO;
      continue;
    }
    inputs_.push_back(f);
    range.Multiply(factor.range);
  }
  if (keep_ < 0) return Outcome::GOOD;
  const int states = sizes_[keep_];
  auto entry = [&](int f, int s) {
    const Factor& factor = factors_[f];
    int stride = 0;
    for (int k = 0; k < factor.numAxes; ++k) stride += axes_[factor.firstAxis + k].stride;
    return static_cast<double>(factor.table[factor.first + s * stride]);
  };
  int lost = range.Lost(std::numeric_limits<int>::min(), 1);
  if (range.StaysAbove(DOUBLE_FLOOR)) {
    for (int s = 0; s < states; ++s) {
      to[s] = 1;
      for (int f : inputs_) to[s] *= entry(f, s);
    }
  } else {
    Vector<WideNumber> products(states, {0.5, 1});
    for (int s = 0; s < states; ++s)
      for (int f : inputs_) products[s] = products[s] * ToWide(entry(f, s));
    const long long exponent = std::max_element(products.begin(), products.end())->exponent;
    // What is too small for a double beside the largest does not count.
    for (int s = 0; s < states; ++s) to[s] = ToDouble(products[s], -exponent);
    if (lost != NO_LOSS) lost = static_cast<int>(std::min(0LL, lost - exponent));
  }
  return JudgeEach(to, states, lost);
}

Outcome Elimination::Run(const Kernels& kernels, double* to) {
  if (isFull_) Forget();
  const int n = sizes_.size();
  position_.assign(n, n);
  for (int i = 0; i < buckets_.size(); ++i) position_[buckets_[i].variable] = i;
  // In a table that is left the variable to be eliminated next is the slowest.
  std::size_t room = 0;
  for (const Bucket& bucket : buckets_) {
    const auto begin = neighbours_.begin() + bucket.firstNeighbour, end = begin + bucket.numNeighbours;
    std::sort(begin, end, [&](int a, int b) { return position_[a] < position_[b]; });
    std::size_t size = 1;
    for (auto v = begin; v != end; ++v) size *= sizes_[*v];
    room += size + KERNEL_SLACK;
  }
  store_.GrowTo(room);
  stored_ = 0;
  Outcome outcome = Outcome::GOOD;
  for (const Bucket& bucket : buckets_) {
    outcome = Eliminate(bucket, kernels);
    if (outcome != Outcome::GOOD) return outcome;
  }
  return MultiplyRest(to);
}

}  // namespace bravic::engine

#include "Bn/engine/learn/FamilyCounter.h"

#include <algorithm>
#include <atomic>
#include <limits>

#include "Bn/engine/learn/CommonBits.h"
#include "Win_Face/Threads.h"

namespace bravic::engine {

namespace {

constexpr int WORD_BITS = 64;
constexpr std::ptrdiff_t MOST_LABELS = 1 << 14;
constexpr std::int64_t LEAST_COUNTS = 1 << 16, MOST_COUNTS = 1 << 22;  // that a table has room for
// About, in nanoseconds.
constexpr double OF_ROW = 1.0, OF_WORD = 0.2;
constexpr std::size_t WALKED_APART = 4096;  // counts
constexpr double WORTH_THREADS = 1e6;

// Adds up the same keys, which come to stand next to each other, and answers how many there are.
template <class Key>
std::ptrdiff_t SortKeys(Key* keys, std::ptrdiff_t num) {
  std::sort(keys, keys + num, [](const Key& a, const Key& b) { return a.key < b.key; });
  std::ptrdiff_t numLeft = 0;
  for (std::ptrdiff_t i = 0; i < num; ++i) {
    if (numLeft > 0 && keys[numLeft - 1].key == keys[i].key) {
      keys[numLeft - 1].count += keys[i].count;
    } else {
      keys[numLeft++] = keys[i];
    }
  }
  return numLeft;
}

}  // namespace

FamilyCounter::FamilyCounter(const CaseColumns& cases, int numThreads, Interrupt* interrupt)
    : cases_(cases), numThreads_(numThreads), interrupt_(interrupt) {
  const std::ptrdiff_t rows = NumRows();
  mostCounts_ = std::clamp<std::int64_t>(4 * static_cast<std::int64_t>(rows), LEAST_COUNTS, MOST_COUNTS);
  constexpr std::ptrdiff_t ROW_BITS = std::ptrdiff_t{WORD_BITS} * BIT_ROW_WORDS;
  numWords_ = (rows + ROW_BITS - 1) / ROW_BITS * BIT_ROW_WORDS;
  mostLabels_ = std::min<std::ptrdiff_t>(MOST_LABELS, rows / 4 + MOST_LABELS / 64);
  cellOf_ = TryMakeBlock<std::uint32_t>(rows + 1);
  other_ = TryMakeBlock<std::uint32_t>(rows + 1);
  labels_ = TryMakeBlock<std::uint32_t>(static_cast<std::size_t>(mostCounts_));
  firstCell_ = TryMakeBlock<int>(std::max(rows, mostLabels_) + 2);
  bits_.resize(cases.NumNodes());
  rooms_.resize(numThreads);
  isReady_ = cellOf_ && other_ && labels_ && firstCell_;
}

// Numbers what occurs of pairs of an old label and a state, in their order, and puts the pairs' numbers in place of the
// old ones; what is missing gets the last number of all, which is answered. firstOf [numFrom + 1], or NULL: the first
// number of each old label.
int FamilyCounter::Relabel(const std::uint32_t* from, int numFrom, int node, std::uint32_t* to, int* firstOf) {
  const double size = (numFrom + 1.0) * (cases_.NumStates(node) + 1.0);
  return size <= static_cast<double>(mostCounts_) ? RelabelDense(from, numFrom, node, to, firstOf)
                                                  : RelabelSorted(from, numFrom, node, to, firstOf);
}

int FamilyCounter::RelabelDense(const std::uint32_t* from, int numFrom, int node, std::uint32_t* to, int* firstOf) {
  const auto stride = static_cast<std::uint32_t>(cases_.NumStates(node)) + 1;
  const std::ptrdiff_t rows = NumRows();
  std::uint32_t* labels = labels_.get();
  std::fill_n(labels, (numFrom + std::size_t{1}) * stride, 0);
  return cases_.With(node, [&](const auto* cells) {
    for (std::ptrdiff_t row = 0; row < rows; ++row) {
      to[row] = from[row] * stride + cells[row];
      labels[to[row]] = 1;
    }
    std::uint32_t num = 0;
    for (int a = 0; a < numFrom; ++a) {
      if (firstOf) firstOf[a] = static_cast<int>(num);
      std::uint32_t* label = labels + static_cast<std::size_t>(a) * stride;
      for (std::uint32_t s = 0; s + 1 < stride; ++s)
        if (label[s]) label[s] = num++;
    }
    if (firstOf) firstOf[numFrom] = static_cast<int>(num);
    for (int a = 0; a < numFrom; ++a) labels[(a + std::size_t{1}) * stride - 1] = num;
    std::fill_n(labels + static_cast<std::size_t>(numFrom) * stride, stride, num);
    for (std::ptrdiff_t row = 0; row < rows; ++row) to[row] = labels[to[row]];
    return static_cast<int>(num);
  });
}

int FamilyCounter::RelabelSorted(const std::uint32_t* from, int numFrom, int node, std::uint32_t* to, int* firstOf) {
  const auto states = static_cast<std::uint64_t>(cases_.NumStates(node));
  const std::ptrdiff_t rows = NumRows();
  Block<Key> keys = TryMakeBlock<Key>(rows + 1);
  if (!keys) {
    isReady_ = false;
    return 0;
  }
  return cases_.With(node, [&](const auto* cells) {
    const auto isMissing = [&](std::ptrdiff_t row) {
      return from[row] == static_cast<std::uint32_t>(numFrom) || cells[row] == states;
    };
    std::ptrdiff_t num = 0;
    for (std::ptrdiff_t row = 0; row < rows; ++row)
      if (!isMissing(row)) keys[num++] = {from[row] * states + cells[row], 0};
    num = SortKeys(keys.get(), num);
    int a = 0;
    for (std::ptrdiff_t i = 0; firstOf && i < num; ++i)
      for (; static_cast<std::uint64_t>(a) * states <= keys[i].key && a <= numFrom; ++a)
        firstOf[a] = static_cast<int>(i);
    for (; firstOf && a <= numFrom; ++a) firstOf[a] = static_cast<int>(num);
    for (std::ptrdiff_t row = 0; row < rows; ++row) {
      const Key* found = keys.get() + num;
      if (!isMissing(row))
        found = std::lower_bound(keys.get(), keys.get() + num, from[row] * states + cells[row],
                                 [](const Key& key, std::uint64_t value) { return key.key < value; });
      to[row] = static_cast<std::uint32_t>(found - keys.get());
    }
    return static_cast<int>(num);
  });
}

// Configurations that do not occur are left out only where there would be too many, or cells are missing.
void FamilyCounter::Prepare(int node, std::span<const int> parents) {
  node_ = node;
  hasCellBits_ = false;
  numConfigs_ = 1;
  numFound_ = 1;
  if (!isReady_) return;
  std::fill_n(cellOf_.get(), NumRows(), 0);
  bool isDense = true;
  for (int parent : parents) {
    const int states = cases_.NumStates(parent);
    numConfigs_ *= states;
    isDense = isDense && !cases_.HasMissing(parent) &&
              static_cast<double>(numFound_) * states <= static_cast<double>(mostLabels_);
    if (isDense) {
      Combine(parent);
      numFound_ *= states;
    } else {
      numFound_ = Relabel(cellOf_.get(), numFound_, parent, other_.get(), nullptr);
      if (!isReady_) return;
      std::swap(cellOf_, other_);
    }
  }
  numCells_ = Relabel(cellOf_.get(), numFound_, node, other_.get(), firstCell_.get());
  std::swap(cellOf_, other_);
}

void FamilyCounter::Combine(int parent) {
  std::uint32_t* labels = cellOf_.get();
  const auto states = static_cast<std::uint32_t>(cases_.NumStates(parent));
  cases_.With(parent, [&](const auto* cells) {
    for (std::ptrdiff_t row = 0; row < NumRows(); ++row) labels[row] = labels[row] * states + cells[row];
  });
}

FamilyCounter::Way FamilyCounter::WayFor(int candidate) const {
  const double states = StatesOf(candidate), rows = static_cast<double>(NumRows());
  if ((numCells_ + 1.0) * (states + 1) > static_cast<double>(mostCounts_)) return Way::SORT;
  const bool canUseBits = candidate >= 0 && !cases_.Weights();
  if (way_ != Way::CHEAPEST) return way_ == Way::BITS && !canUseBits ? Way::WALK : way_;
  return canUseBits && numCells_ * states * OF_WORD * static_cast<double>(numWords_) < rows * OF_ROW ? Way::BITS
                                                                                                     : Way::WALK;
}

bool FamilyCounter::MakeBits(std::span<const int> candidates) {
  for (int candidate : candidates) {
    if (WayFor(candidate) != Way::BITS) continue;
    if (!hasCellBits_) MakeCellBits();
    if (!hasCellBits_) return false;
    if (bits_[candidate]) continue;
    const auto size = static_cast<std::size_t>(cases_.NumStates(candidate) + 1) * numWords_;
    bits_[candidate] = TryMakeBlock<std::uint64_t>(size);
    std::uint64_t* bits = bits_[candidate].get();
    if (!bits) return false;
    std::fill_n(bits, size, 0);
    cases_.With(candidate, [&](const auto* cells) {
      for (std::ptrdiff_t row = 0; row < NumRows(); ++row)
        bits[static_cast<std::ptrdiff_t>(cells[row]) * numWords_ + row / WORD_BITS] |= std::uint64_t{1}
                                                                                       << (row % WORD_BITS);
    });
  }
  return true;
}

void FamilyCounter::MakeCellBits() {
  const std::size_t size = (numCells_ + std::size_t{1}) * numWords_;
  if (!cellBits_ || BlockSize(cellBits_.get()) < size * sizeof(std::uint64_t)) {
    cellBits_.reset();
    cellBits_ = TryMakeBlock<std::uint64_t>(size);
    if (!cellBits_) return;
  }
  std::uint64_t* bits = cellBits_.get();
  std::fill_n(bits, size, 0);
  for (std::ptrdiff_t row = 0; row < NumRows(); ++row)
    bits[static_cast<std::ptrdiff_t>(cellOf_[row]) * numWords_ + row / WORD_BITS] |= std::uint64_t{1}
                                                                                     << (row % WORD_BITS);
  hasCellBits_ = true;
}

bool FamilyCounter::MakeRooms(std::span<const int> candidates, int numThreads) {
  const bool sorts =
      std::any_of(candidates.begin(), candidates.end(), [&](int candidate) { return WayFor(candidate) == Way::SORT; });
  const std::size_t bytes = cases_.Weights() ? sizeof(std::int64_t) : sizeof(std::uint32_t);
  for (int thread = 0; thread < numThreads; ++thread) {
    Room& room = rooms_[thread];
    if (!room.counts) room.counts = TryMakeBlock<unsigned char>(static_cast<std::size_t>(mostCounts_) * bytes);
    if (sorts && !room.keys) room.keys = TryMakeBlock<Key>(NumRows() + 1);
    if (!room.counts || (sorts && !room.keys)) return false;
  }
  return true;
}

template <class Number>
void FamilyCounter::CountWalking(int candidate, Number* counts) const {
  const std::uint32_t* cellOf = cellOf_.get();
  const std::int64_t* weights = cases_.Weights();
  const std::ptrdiff_t rows = NumRows();
  const auto weightOf = [&](std::ptrdiff_t row) {
    if constexpr (sizeof(Number) == sizeof(std::int64_t)) return weights[row];
    return Number{1};
  };
  if (candidate < 0) {
    for (std::ptrdiff_t row = 0; row < rows; ++row) counts[cellOf[row] * std::size_t{2}] += weightOf(row);
    return;
  }
  cases_.With(candidate, [&](const auto* cells) {
    const std::uint32_t stride = static_cast<std::uint32_t>(cases_.NumStates(candidate)) + 1;
    const std::size_t size = (numCells_ + std::size_t{1}) * stride;
    std::ptrdiff_t row = 0;
    if (size <= WALKED_APART) {
      // In tables of their own, neighbouring rows do not wait for each other.
      Number* const second = counts + size;
      std::fill_n(second, size, 0);
      for (; row + 1 < rows; row += 2) {
        counts[cellOf[row] * stride + cells[row]] += weightOf(row);
        second[cellOf[row + 1] * stride + cells[row + 1]] += weightOf(row + 1);
      }
      for (std::size_t k = 0; k < size; ++k) counts[k] += second[k];
    }
    for (; row < rows; ++row) counts[cellOf[row] * stride + cells[row]] += weightOf(row);
  });
}

template <class Number>
void FamilyCounter::CountBits(int candidate, Number* counts) const {
  const int states = cases_.NumStates(candidate);
  const std::uint64_t* bits = bits_[candidate].get();
  const CommonBitsCounter countCommon = BestCommonBitsCounter();
  for (int cell = 0; cell < numCells_; ++cell) {
    const std::uint64_t* ofCell = cellBits_.get() + cell * numWords_;
    for (int s = 0; s < states; ++s)
      counts[static_cast<std::size_t>(cell) * (states + 1) + s] =
          static_cast<Number>(countCommon(ofCell, bits + s * numWords_, numWords_));
  }
}

// counts [cell x states + 1]: the last of each cell, of cases in which the candidate is missing, plays no part. The
// first row of each configuration takes up the others' counts.
template <class Number>
CandidateSums FamilyCounter::SumCounts(const ScoreTerms& terms, int candidate, Number* counts) const {
  const int states = StatesOf(candidate), stride = states + 1, ofNode = cases_.NumStates(node_);
  const double entryPrior = terms.EntryPrior(numConfigs_ * states, ofNode);
  const double configPrior = terms.ConfigPrior(numConfigs_ * states);
  const double entryPriorWithout = terms.EntryPrior(numConfigs_, ofNode),
               configPriorWithout = terms.ConfigPrior(numConfigs_);
  CandidateSums sums;
  for (int config = 0; config < numFound_; ++config) {
    const int first = firstCell_[config], end = firstCell_[config + 1];
    if (first == end) continue;
    Number* firstRow = counts + static_cast<std::size_t>(first) * stride;
    std::int64_t ofConfig = 0;
    for (int cell = first; cell < end; ++cell) {
      const Number* row = counts + static_cast<std::size_t>(cell) * stride;
      std::int64_t ofCell = 0;
      for (int s = 0; s < states; ++s) {
        if (row[s] == 0) continue;
        sums.with += terms.OfEntry(row[s], entryPrior);
        ofCell += row[s];
        if (cell > first) firstRow[s] += row[s];
      }
      sums.without += terms.OfEntry(ofCell, entryPriorWithout);
      ofConfig += ofCell;
    }
    for (int s = 0; s < states; ++s)
      if (firstRow[s] != 0) sums.with += terms.OfConfig(firstRow[s], configPrior);
    sums.without += terms.OfConfig(ofConfig, configPriorWithout);
    sums.weight += ofConfig;
  }
  return sums;
}

// By keys of cell and state, and then by those of configuration and state.
CandidateSums FamilyCounter::SumSorted(const ScoreTerms& terms, int candidate, Key* keys) const {
  const int ofNode = cases_.NumStates(node_);
  const auto states = static_cast<std::uint64_t>(StatesOf(candidate));
  const double numConfigs = numConfigs_ * static_cast<double>(states);
  std::ptrdiff_t num = 0;
  const auto add = [&](std::ptrdiff_t row, std::uint64_t state) {
    if (cellOf_[row] == static_cast<std::uint32_t>(numCells_) || state == states) return;
    keys[num++] = {cellOf_[row] * states + state, cases_.Weights() ? cases_.Weights()[row] : 1};
  };
  if (candidate < 0) {
    for (std::ptrdiff_t row = 0; row < NumRows(); ++row) add(row, 0);
  } else {
    cases_.With(candidate, [&](const auto* cells) {
      for (std::ptrdiff_t row = 0; row < NumRows(); ++row) add(row, cells[row]);
    });
  }
  num = SortKeys(keys, num);
  CandidateSums sums;
  std::int64_t ofCell = 0, ofConfig = 0;
  int config = 0;
  for (std::ptrdiff_t i = 0; i < num; ++i) {
    const auto cell = static_cast<int>(keys[i].key / states);
    while (firstCell_[config + 1] <= cell) ++config;
    sums.with += terms.OfEntry(keys[i].count, terms.EntryPrior(numConfigs, ofNode));
    ofCell += keys[i].count;
    ofConfig += keys[i].count;
    const int next = i + 1 < num ? static_cast<int>(keys[i + 1].key / states) : numCells_;
    if (next != cell) {
      sums.without += terms.OfEntry(ofCell, terms.EntryPrior(numConfigs_, ofNode));
      ofCell = 0;
    }
    if (next >= firstCell_[config + 1]) {
      sums.without += terms.OfConfig(ofConfig, terms.ConfigPrior(numConfigs_));
      sums.weight += ofConfig;
      ofConfig = 0;
    }
    keys[i].key = static_cast<std::uint64_t>(config) * states + keys[i].key % states;
  }
  num = SortKeys(keys, num);
  for (std::ptrdiff_t i = 0; i < num; ++i) sums.with += terms.OfConfig(keys[i].count, terms.ConfigPrior(numConfigs));
  return sums;
}

CandidateSums FamilyCounter::SumOne(const ScoreTerms& terms, int candidate, Room* room) const {
  const Way way = WayFor(candidate);
  if (way == Way::SORT) return SumSorted(terms, candidate, room->keys.get());
  const auto sum = [&](auto* counts) {
    std::fill_n(counts, (numCells_ + std::size_t{1}) * (StatesOf(candidate) + 1), 0);
    if (way == Way::BITS) {
      CountBits(candidate, counts);
    } else {
      CountWalking(candidate, counts);
    }
    return SumCounts(terms, candidate, counts);
  };
  return cases_.Weights() ? sum(reinterpret_cast<std::int64_t*>(room->counts.get()))
                          : sum(reinterpret_cast<std::uint32_t*>(room->counts.get()));
}

struct FamilyCounter::Team {
  FamilyCounter* counter;
  const ScoreTerms& terms;
  std::span<const int> candidates;
  CandidateSums* sums;
  std::atomic<int> next = 0;
  std::atomic<bool> isHalted = false;

  void Work(int worker) {
    for (int i; !isHalted && (i = next++) < Count(candidates);) {
      sums[i] = counter->SumOne(terms, candidates[i], &counter->rooms_[worker]);
      if (worker == 0 && counter->interrupt_ && counter->interrupt_->Halts(static_cast<double>(counter->NumRows())))
        isHalted = true;
    }
  }
};

void FamilyCounter::SumTerms(const ScoreTerms& terms, std::span<const int> candidates, CandidateSums* sums) {
  std::fill_n(sums, candidates.size(), CandidateSums{});
  if (!isReady_) return;
  const double work = static_cast<double>(NumRows()) * OF_ROW * Count(candidates);
  const int numThreads = work < WORTH_THREADS ? 1 : std::min(numThreads_, Count(candidates));
  if (!MakeBits(candidates) || !MakeRooms(candidates, numThreads)) {
    isReady_ = false;
    return;
  }
  Team team{this, terms, candidates, sums, {}, {}};
  if (numThreads == 1) return team.Work(0);
  RunOnThreads(
      numThreads, [](void* context, int worker) { static_cast<Team*>(context)->Work(worker); }, &team);
}

}  // namespace bravic::engine

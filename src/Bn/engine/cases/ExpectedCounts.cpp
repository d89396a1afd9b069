#include "Bn/engine/cases/ExpectedCounts.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <utility>

#include "Win_Face/Threads.h"

namespace bravic::engine {

namespace {

// Beliefs of so many bytes are computed before they are summed: they should stay in the cache where they are of lanes,
// and be many where each case keeps messages for the next.
constexpr std::ptrdiff_t BYTES_OF_CHUNK = std::ptrdiff_t{2} << 20, BYTES_OF_SINGLE_CHUNK = std::ptrdiff_t{32} << 20;
constexpr std::ptrdiff_t LEAST_CASES = 16;

}  // namespace

// Cases whose beliefs are known.
struct ExpectedCounts::Chunk {
  const int* states;
  const double* weights;
  const double* logProbs;
  const float* beliefs;
  std::ptrdiff_t numCases;
};

ExpectedCounts::ExpectedCounts(CaseQuestion question, const int* states, const double* weights, std::ptrdiff_t numCases,
                               CaseWay way)
    : many_(std::move(question), way), states_(states) {
  const CaseQuestion& asked = many_.Question();
  width_ = asked.observed.size();
  Vector<int> columnOf(asked.numstates.size(), HIDDEN);
  for (int column = 0; column < width_; ++column) columnOf[asked.observed[column]] = column;
  for (int node : asked.families) {
    Family family{{}, {}, numEntries_, asked.FamilySize(node)};
    const auto add = [&](int member) {
      family.columns.push_back(asked.numstates[member] == 1 ? ALONE : columnOf[member]);
      family.sizes.push_back(asked.numstates[member]);
    };
    for (int parent : asked.parents[node]) add(parent);
    add(node);
    numEntries_ += family.size;
    families_.push_back(std::move(family));
  }
  isMade_ = GatherKinds(states, weights, numCases);
}

// The different cases, each with the weight of all that are like it; false without memory.
bool ExpectedCounts::GatherKinds(const int* states, const double* weights, std::ptrdiff_t numCases) {
  DistinctCases kinds(states, numCases, width_, true);
  numKinds_ = kinds.NumKinds();
  weights_ = TryMakeBlock<double>(numKinds_ + 1);
  numSame_ = TryMakeBlock<std::ptrdiff_t>(numKinds_ + 1);
  const Block<std::ptrdiff_t> kindOf = TryMakeBlock<std::ptrdiff_t>(numCases + 1);  // of the first of a kind
  if (!weights_ || !numSame_ || !kindOf) return false;
  std::fill_n(weights_.get(), numKinds_, 0.0);
  std::fill_n(numSame_.get(), numKinds_, std::ptrdiff_t{0});
  for (std::ptrdiff_t kind = 0; kind < numKinds_; ++kind) kindOf[kinds.FirstOf(kind)] = kind;
  for (std::ptrdiff_t number = 0; number < numCases; ++number) {
    const std::ptrdiff_t kind = kindOf[kinds.SameAs(number)];
    weights_[kind] += weights ? weights[number] : 1;
    ++numSame_[kind];
  }
  if (numKinds_ == numCases) return true;
  gathered_ = TryMakeBlock<int>(static_cast<std::size_t>(numKinds_) * width_);
  if (!gathered_) return false;
  for (std::ptrdiff_t kind = 0; kind < numKinds_; ++kind)
    std::copy_n(states + kinds.FirstOf(kind) * width_, width_, gathered_.get() + kind * width_);
  states_ = gathered_.get();
  return true;
}

// The entry of the family's states in a case; HIDDEN where one is missing.
int ExpectedCounts::FindEntry(const Family& family, const int* row) const {
  int entry = 0;
  for (int member = 0; member < family.columns.size(); ++member) {
    const int column = family.columns[member];
    if (column == ALONE) continue;
    if (column == HIDDEN || row[column] < 0) return HIDDEN;
    entry = entry * family.sizes[member] + row[column];
  }
  return entry;
}

void ExpectedCounts::AddFamily(const Family& family, const Chunk& chunk, double* sums) const {
  double* const to = sums + family.first;
  for (std::ptrdiff_t number = 0; number < chunk.numCases; ++number) {
    if (std::isinf(chunk.logProbs[number])) continue;
    const double weight = chunk.weights[number];
    const int entry = FindEntry(family, chunk.states + number * width_);
    if (entry != HIDDEN) {
      to[entry] += weight;
      continue;
    }
    const float* const belief = chunk.beliefs + number * numEntries_ + family.first;
    double total = 0;
    for (int k = 0; k < family.size; ++k) total += double{belief[k]};
    if (!(total > 0)) continue;
    const double share = weight / total;
    for (int k = 0; k < family.size; ++k) to[k] += share * double{belief[k]};
  }
}

Status ExpectedCounts::Expect(int numThreads, const ProgressFunction& progress, double* sums, Outcome* outcome) {
  *outcome = {};
  if (!isMade_) return Status::NoMemory;
  std::fill_n(sums, numEntries_, 0.0);
  const std::ptrdiff_t bytes = many_.IsSmall() ? BYTES_OF_CHUNK * numThreads : BYTES_OF_SINGLE_CHUNK;
  const std::ptrdiff_t rowBytes = static_cast<std::ptrdiff_t>(sizeof(float)) * (numEntries_ + 1);
  const std::ptrdiff_t most = std::min(numKinds_, std::max(LEAST_CASES, bytes / rowBytes));
  const Block<float> beliefs = TryMakeBlock<float>(static_cast<std::size_t>(most) * numEntries_ + 1);
  const Block<double> logProbs = TryMakeBlock<double>(most + 1);
  if (!beliefs || !logProbs) return Status::NoMemory;
  for (std::ptrdiff_t first = 0; first < numKinds_; first += most) {
    const std::ptrdiff_t count = std::min(most, numKinds_ - first);
    const int* const states = states_ + first * width_;
    const auto part = [&](double share) {
      return progress && progress((static_cast<double>(first) + share * static_cast<double>(count)) /
                                  static_cast<double>(numKinds_));
    };
    std::ptrdiff_t numImpossible;
    const Status status =
        many_.Answer({states, count, beliefs.get(), logProbs.get()}, numThreads, part, &numImpossible);
    if (status != Status::Done) return status;
    struct Work {
      const ExpectedCounts& all;
      const Chunk chunk;
      double* sums;
      std::atomic<int> next;
    } work{*this, {states, weights_.get() + first, logProbs.get(), beliefs.get(), count}, sums, 0};
    RunOnThreads(
        std::min(numThreads, std::max(1, families_.size())),
        [](void* context, int) {
          Work& its = *static_cast<Work*>(context);
          for (int f; (f = its.next.fetch_add(1)) < its.all.families_.size();)
            its.all.AddFamily(its.all.families_[f], its.chunk, its.sums);
        },
        &work);
    for (std::ptrdiff_t number = 0; number < count; ++number) {
      if (std::isinf(logProbs[number]))
        outcome->numImpossible += numSame_[first + number];
      else
        outcome->logLikelihood += weights_[first + number] * logProbs[number];
    }
  }
  return Status::Done;
}

}  // namespace bravic::engine

#include "Bn/learn/Counts.h"

#include <algorithm>
#include <limits>

#include "Basic/Format.h"
#include "Bn/model/Relation.h"
#include "Bn/model/TableForms.h"
#include "Bn/model/Tables.h"

extern "C" {
double BaseExperience_bn = 1.0;
}

namespace bravic {
namespace {

constexpr double MAX_COUNT = 1e300;  // so that no sum of them is infinite
constexpr double ENTRY_WORK = 2;     // nanoseconds, about, to count or to write one

std::size_t NumRowsOf(const bnode& node) {
  return static_cast<std::size_t>(std::max(NumRows(node), 0LL));
}

double Sum(const double* counts, int numstates) {
  double sum = 0;
  for (int k = 0; k < numstates; ++k) sum += counts[k];
  return sum;
}

// Where the family is counted in a case; false when a member has no state.
struct Place {
  std::size_t row, entry;
};
bool FindPlace(const Counter& counter, const statetype* states, Place* place) {
  std::size_t row = 0;
  const int numparents = counter.strides.size();
  for (int i = 0; i < numparents; ++i) {
    const statetype state = states[counter.members[i]];
    if (state < 0) return false;
    row += state * counter.strides[i];
  }
  const statetype own = states[counter.members[numparents]];
  if (own < 0) return false;
  *place = {row, row * counter.node->numstates + own};
  return true;
}

// A case of negative weight takes away what was learned, and no more than that.
bool MayTakeAway(const Counter& counter, const Place& place, double weight) {
  const int numstates = counter.node->numstates;
  const double* row = counter.counts.get() + place.row * numstates;
  if (row[0] <= IMPOSSIBLE_COUNT) return true;
  const auto own = static_cast<statetype>(place.entry - place.row * numstates);
  return MayLose(row, numstates, own, -weight, RowExperience(*counter.node, static_cast<long long>(place.row)));
}

// The row's shares of its sum; uniform where nothing is left.
void WriteRow(const double* counts, double sum, int numstates, float* row) {
  for (int k = 0; k < numstates; ++k) row[k] = static_cast<float>(sum > 0 ? counts[k] / sum : 1.0 / numstates);
}

}  // namespace

const float* OwnRows(const bnode& node) {
  return node.determin || node.determinv ? nullptr : node.probs;
}

double RowExperience(const bnode& node, long long row) {
  const float stored = node.numcases ? node.numcases[row] : NO_EXPERIENCE;
  if (stored == NO_EXPERIENCE) return node.numstates * BaseExperience_bn;
  return std::min(stored, std::numeric_limits<float>::max());  // a file may have said that it is infinite
}

bool IsUndefinedRow(const float* row, int numstates) {
  return std::find(row, row + numstates, UNDEF_PROB) != row + numstates;
}

bool MayLose(const double* counts, int numstates, statetype state, double loss, double experience) {
  // What the sum of a row may miss 1 by, and what a float as large as the experience may have lost.
  const double rounding = 0.000002 + experience * 0x1p-23;
  return counts[state] - loss >= -rounding && Sum(counts, numstates) - loss >= numstates * BaseExperience_bn - rounding;
}

Failure MakeLearnable(node_bn node) {
  const float* old = OwnRows(*node);
  if (old && node->numcases) return nullptr;
  const int numstates = node->numstates;
  const std::size_t rows = NumRowsOf(*node), size = rows * numstates;
  Block<float> probs = TryMakeBlock<float>(size);
  if (!probs) return FailMemory(NO_MEMORY_FOR_COUNTS, static_cast<double>(size) * sizeof(float), node->name);
  Block<float> numcases = TryMakeBlock<float>(rows);
  if (!numcases) return FailMemory(NO_MEMORY_FOR_EXPERIENCE, static_cast<double>(rows) * sizeof(float), node->name);
  std::fill_n(numcases.get(), rows, static_cast<float>(numstates * BaseExperience_bn));
  if (old) {
    std::copy_n(old, size, probs.get());
  } else {
    std::fill_n(probs.get(), size, static_cast<float>(1.0 / numstates));
  }
  Relation relation;
  relation.probs = probs.release();
  relation.numcases = numcases.release();
  InstallRelation(node, relation);
  return nullptr;
}

Failure StartCounter(node_bn node, Counter& counter, LongWork& work) {
  counter.node = node;
  const int numstates = node->numstates;
  const std::size_t rows = NumRowsOf(*node);
  counter.size = rows * numstates;
  counter.counts = TryMakeBlock<double>(counter.size);
  if (!counter.counts)
    return FailMemory(NO_MEMORY_FOR_COUNTS, static_cast<double>(counter.size) * sizeof(double), node->name);
  std::size_t stride = 1;
  const auto parents = Entries(node->preds);
  counter.strides.resize(parents.size());
  for (int i = Count(parents); i-- > 0;) {
    counter.strides[i] = stride;
    stride *= parents[i]->numstates;
  }
  // The stride of the first parent times its states: the number of rows.
  counter.changed.assign(stride, 0);
  if (!OwnRows(*node)) {
    std::fill_n(counter.counts.get(), counter.size, BaseExperience_bn);
    return nullptr;
  }
  if (Failure failure = MakeProbs(node)) return failure;
  for (std::size_t row = 0; row < rows; ++row) {
    if (work.Halts(ENTRY_WORK * numstates)) return FailHalted();
    const float* probs = node->probs + row * numstates;
    double* counts = counter.counts.get() + row * numstates;
    if (probs[0] == IMPOS_PROB) {
      std::fill_n(counts, numstates, IMPOSSIBLE_COUNT);
    } else if (IsUndefinedRow(probs, numstates)) {
      std::fill_n(counts, numstates, BaseExperience_bn);
    } else {
      const double experience = RowExperience(*node, static_cast<long long>(row));
      for (int k = 0; k < numstates; ++k) counts[k] = probs[k] * experience;
    }
  }
  return nullptr;
}

// Taking away is judged for all families first, so that a refused case leaves no trace.
bool CountCase(std::span<Counter> counters, const statetype* states, double weight, const Counter** failed) {
  Place place;
  if (weight < 0) {
    for (const Counter& counter : counters) {
      if (!FindPlace(counter, states, &place) || MayTakeAway(counter, place, weight)) continue;
      *failed = &counter;
      return false;
    }
  }
  for (Counter& counter : counters) {
    if (!FindPlace(counter, states, &place) || counter.counts[place.entry] <= IMPOSSIBLE_COUNT) continue;
    double& count = counter.counts[place.entry];
    count = std::clamp(count + weight, 0.0, MAX_COUNT);
    counter.changed[place.row] = 1;
  }
  return true;
}

Failure MakeTables(Counter& counter, LongWork* work) {
  node_bn node = counter.node;
  // Counted nothing: a function stays a function.
  const float* own = OwnRows(*node);
  if (!own && HasRelation(*node) && std::count(counter.changed.begin(), counter.changed.end(), 1) == 0) return nullptr;
  const int numstates = node->numstates;
  const std::size_t rows = counter.size / numstates;
  Block<float> probs = TryMakeBlock<float>(counter.size), numcases = TryMakeBlock<float>(rows);
  if (!probs || !numcases)
    return FailMemory(NO_MEMORY_FOR_COUNTS, static_cast<double>(counter.size) * sizeof(float), node->name);
  for (std::size_t row = 0; row < rows; ++row) {
    if (work && work->Halts(ENTRY_WORK * numstates)) return FailHalted();
    const double* counts = counter.counts.get() + row * numstates;
    float* to = probs.get() + row * numstates;
    if (counts[0] <= IMPOSSIBLE_COUNT) {
      std::fill_n(to, numstates, IMPOS_PROB);
      numcases[row] = node->numcases ? node->numcases[row] : NO_EXPERIENCE;
    } else if (own && !counter.changed[row]) {
      std::copy_n(own + row * numstates, numstates, to);
      numcases[row] = static_cast<float>(RowExperience(*node, static_cast<long long>(row)));
    } else {
      const double sum = Sum(counts, numstates);
      WriteRow(counts, sum, numstates, to);
      numcases[row] = ToFloat(sum);
    }
  }
  counter.counts.reset();
  counter.probs = std::move(probs);
  counter.numcases = std::move(numcases);
  return nullptr;
}

void InstallTables(Counter& counter) {
  if (!counter.probs) return;
  Relation relation;
  relation.probs = counter.probs.release();
  relation.numcases = counter.numcases.release();
  InstallRelation(counter.node, relation);
}

}  // namespace bravic

// A row of probabilities p with experience n stands for the counts n p. Files are counted in double precision beside
// the tables, so that a million cases of weight 1 lose nothing, and the tables are made once at the end.

#include "Bn/learn/Learn.h"

#include <algorithm>
#include <cmath>

#include "Bn/files/CaseReader.h"
#include "Bn/model/Tables.h"
#include "Bn/model/Undo.h"
#include "Win_Face/Interaction.h"

extern "C" {
double BaseExperience_bn = 1.0;
}

namespace bravic {

namespace {

// Whether a row may lose so much of one count: the count stays, and the row keeps its states' shares of the base, but
// for what rounding may have taken. experience: what the row stood for when it was last rounded to floats.
bool MayLose(const double* counts, int numstates, statetype state, double loss, double experience) {
  const double rounding = 0.000002 + experience * 0x1p-23;
  double sum = 0;
  for (int k = 0; k < numstates; ++k) sum += counts[k];
  return counts[state] - loss >= -rounding && sum - loss >= numstates * BaseExperience_bn - rounding;
}

bool TakesPart(const bnode& node) {
  return TagOf(&node) != STUB_TAG && node.kind == NATURE_NODE && node.numstates > 0;
}

Failure TableMemory(int number, double nbytes, const bnode& node) {
  char purpose[100];
  std::snprintf(purpose, sizeof purpose, "to make full probability table for node '%s'", node.name);
  return FailMemory(number, nbytes, purpose);
}

double ExperienceOf(const bnode& node, long long row) {
  float stored = node.numcases ? node.numcases[row] : NO_EXPERIENCE;
  return stored == NO_EXPERIENCE ? node.numstates * BaseExperience_bn : static_cast<double>(stored);
}

// A row not given yet starts as a node without a table does.
bool IsUndefinedRow(const float* row, int numstates) {
  return std::find(row, row + numstates, UNDEF_PROB) != row + numstates;
}

Failure UnlearnedTooMuch(int number, double degree, const bnode& node) {
  return Fail(number, "attempt to unlearn (degree = %g) more cases than were learned, for node '%s'", degree,
              node.name);
}

// The rows to learn from and to revise; NULL without any. Those that follow from a function are none.
const float* OwnRows(const bnode& node) {
  return node.determin || node.determinv ? nullptr : node.probs;
}

// A table that a single case can revise: uniform rows where there is none, and experience. Both may fail and are then
// nothing.
Failure MakeLearnable(node_bn node) {
  const long long rows = NumRows(*node);
  const std::size_t numrows = static_cast<std::size_t>(rows > 0 ? rows : 0);
  const std::size_t size = numrows * static_cast<std::size_t>(node->numstates);
  const float* old = OwnRows(*node);
  if (old && node->numcases) return nullptr;
  Block<float> probs = TryMakeBlock<float>(size);
  if (!probs) return TableMemory(-2183, static_cast<double>(size) * sizeof(float), *node);
  Block<float> numcases = TryMakeBlock<float>(numrows);
  if (!numcases) return TableMemory(-2137, static_cast<double>(numrows) * sizeof(float), *node);
  std::fill_n(numcases.get(), numrows, static_cast<float>(node->numstates * BaseExperience_bn));
  if (old)
    std::copy_n(old, size, probs.get());
  else
    std::fill_n(probs.get(), size, static_cast<float>(1.0 / node->numstates));
  Relation relation;
  relation.probs = probs.release();
  relation.numcases = numcases.release();
  InstallRelation(node, relation);
  return nullptr;
}

Failure LearnOne(node_bn node, double degree) {
  Vector<statetype> states;
  for (node_bn member : Family(*node)) {
    if (TagOf(member) == STUB_TAG || member->evidence < 0) return nullptr;
    states.push_back(member->evidence);
  }
  if (OwnRows(*node))
    if (Failure failure = MakeProbs(node)) return failure;
  const long long at = RowIndex(*node, states.data());
  const int numstates = node->numstates;
  const float* rows = OwnRows(*node);
  const float* old = rows ? rows + at * numstates : nullptr;
  if (old && old[0] == IMPOS_PROB) return nullptr;
  const bool uniform = !old || IsUndefinedRow(old, numstates);
  const double experience = uniform ? numstates * BaseExperience_bn : ExperienceOf(*node, at);
  const double after = experience + degree;
  const statetype found = states.back();
  Vector<double> counts(static_cast<std::size_t>(numstates));
  for (int k = 0; k < numstates; ++k)
    counts[k] = experience * (uniform ? 1.0 / numstates : static_cast<double>(old[k]));
  if (degree < 0 && !MayLose(counts.data(), numstates, found, -degree, experience))
    return UnlearnedTooMuch(-2190, degree, *node);
  double& count = counts[found];
  count = std::max(count + degree, 0.0);
  double sum = 0;
  for (double c : counts) sum += c;
  if (Failure failure = MakeLearnable(node)) return failure;
  Vector<float> row(static_cast<std::size_t>(numstates));
  for (int k = 0; k < row.size(); ++k) row[k] = static_cast<float>(sum > 0 ? counts[k] / sum : 1.0 / numstates);
  RowChange change;
  change.probs = row.data();
  change.experience = std::max(after, 0.0);
  if (SetRow(node, states.data(), change) < 0) return Fail(-2190, "couldn't revise the table of node '%s'", node->name);
  return nullptr;
}

}  // namespace

bool HasOwnRows(const bnode& node) {
  return OwnRows(node) != nullptr;
}

void LearnFindings(std::span<const node_bn> nodes, double degree) {
  if (nodes.empty()) return;
  UndoGroup group(UNDO_GROUP, nodes[0]->innet);
  for (node_bn node : nodes) {
    if (!TakesPart(*node)) continue;
    if (Failure failure = LearnOne(node, degree)) {
      Post(std::move(failure));
      return;
    }
  }
}

namespace {

// The counts of one node while a file is read.
struct Counter {
  node_bn node = nullptr;
  Vector<int> members;            // of the family, node last: indices into the row's states
  Vector<std::size_t> strides;    // of each parent in rows
  Block<double> counts;           // [rows x numstates]; a negative marker where the row is impossible
  Vector<unsigned char> changed;  // [rows]
  std::size_t size = 0;
  Block<float> probs, numcases;  // the tables made of the counts; NULL where they stay as they are
};

inline constexpr double IMPOSSIBLE_COUNT = -1e300;

constexpr double ENTRY_WORK = 2;  // nanoseconds, about

Failure StartCounter(node_bn node, Counter& counter, LongWork& work) {
  counter.node = node;
  const long long rows = NumRows(*node);
  const int numstates = node->numstates;
  counter.size = static_cast<std::size_t>(rows > 0 ? rows : 0) * static_cast<std::size_t>(numstates);
  counter.counts = TryMakeBlock<double>(counter.size);
  if (!counter.counts) return TableMemory(-2183, static_cast<double>(counter.size) * sizeof(double), *node);
  std::size_t stride = 1;
  auto parents = Entries(node->preds);
  counter.strides.resize(parents.size());
  for (std::size_t i = parents.size(); i-- > 0;) {
    counter.strides[i] = stride;
    stride *= static_cast<std::size_t>(parents[i]->numstates);
  }
  counter.changed.assign(stride, 0);
  if (!OwnRows(*node)) {
    std::fill_n(counter.counts.get(), counter.size, BaseExperience_bn);
    return nullptr;
  }
  if (Failure failure = MakeProbs(node)) return failure;
  for (long long row = 0; row < rows; ++row) {
    if (work.Halts(ENTRY_WORK * numstates)) return FailHalted();
    const float* probs = node->probs + row * numstates;
    double* counts = counter.counts.get() + row * numstates;
    const double experience = ExperienceOf(*node, row);
    for (int k = 0; k < numstates; ++k)
      counts[k] = probs[0] == IMPOS_PROB             ? IMPOSSIBLE_COUNT
                  : IsUndefinedRow(probs, numstates) ? BaseExperience_bn
                                                     : static_cast<double>(probs[k]) * experience;
  }
  return nullptr;
}

// Where the family is counted in the case; false when a member has no state.
struct Place {
  std::size_t row, entry;
};
bool PlaceOf(const Counter& counter, const statetype* states, Place* place) {
  std::size_t row = 0;
  const std::size_t numparents = counter.strides.size();
  for (std::size_t i = 0; i < numparents; ++i) {
    statetype state = states[counter.members[i]];
    if (state < 0) return false;
    row += static_cast<std::size_t>(state) * counter.strides[i];
  }
  statetype own = states[counter.members[numparents]];
  if (own < 0) return false;
  *place = {row, row * static_cast<std::size_t>(counter.node->numstates) + static_cast<std::size_t>(own)};
  return true;
}

// Rows that nothing was counted in keep their probabilities to the bit, and a function is not given up for nothing.
// work: NULL where it is not to be halted.
Failure MakeTables(Counter& counter, LongWork* work) {
  node_bn node = counter.node;
  const float* own = OwnRows(*node);
  if (!own && HasRelation(*node) && std::count(counter.changed.begin(), counter.changed.end(), 1) == 0) return nullptr;
  const std::size_t numstates = static_cast<std::size_t>(node->numstates), rows = counter.size / numstates;
  Block<float> probs = TryMakeBlock<float>(counter.size), numcases = TryMakeBlock<float>(rows);
  if (!probs || !numcases) return TableMemory(-2183, static_cast<double>(counter.size) * sizeof(float), *node);
  for (std::size_t row = 0; row < rows; ++row) {
    if (work && work->Halts(ENTRY_WORK * node->numstates)) return FailHalted();
    const double* counts = counter.counts.get() + row * numstates;
    const float* old = own ? own + row * numstates : nullptr;
    double sum = 0;
    for (std::size_t k = 0; k < numstates; ++k) sum += counts[k];
    const bool impossible = counts[0] <= IMPOSSIBLE_COUNT;
    if (old && !impossible && !counter.changed[row]) {
      std::copy_n(old, numstates, probs.get() + row * numstates);
      numcases[row] = static_cast<float>(ExperienceOf(*node, static_cast<long long>(row)));
      continue;
    }
    numcases[row] = impossible ? (node->numcases ? node->numcases[row] : NO_EXPERIENCE) : static_cast<float>(sum);
    for (std::size_t k = 0; k < numstates; ++k) {
      float& entry = probs[row * numstates + k];
      if (impossible)
        entry = IMPOS_PROB;
      else if (sum > 0)
        entry = static_cast<float>(counts[k] / sum);
      else
        entry = static_cast<float>(1.0 / node->numstates);
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

struct FileCount {
  Vector<Counter> counters;
  Vector<node_bn> wanted;  // the listed nodes that take part and their parents, each once
};

Failure PlanCount(std::span<const node_bn> nodes, FileCount& plan) {
  LongWork work("Preparing to count", 0, Showing::Always);
  const int mark = NewMark();
  auto want = [&](node_bn node) {
    if (node->mark2 == mark) return;
    node->mark2 = mark;
    plan.wanted.push_back(node);
  };
  for (node_bn node : nodes) {
    if (!TakesPart(*node)) continue;
    bool whole = true;
    for (node_bn parent : node->preds) whole = whole && TagOf(parent) != STUB_TAG && parent->numstates > 0;
    if (!whole) continue;
    plan.counters.emplace_back();
    if (Failure failure = StartCounter(node, plan.counters.back(), work)) return failure;
    for (node_bn member : Family(*node)) want(member);
  }
  for (int i = 0; i < plan.wanted.size(); ++i) plan.wanted[i]->scratch = i;
  for (Counter& counter : plan.counters)
    for (node_bn member : Family(*counter.node)) counter.members.push_back(member->scratch);
  return nullptr;
}

// False when the case takes away more than was there; nothing of it is counted then.
bool CountCase(Vector<Counter>& counters, const statetype* states, double weight, const Counter** failed) {
  Place place;
  if (weight < 0) {
    for (const Counter& counter : counters) {
      if (!PlaceOf(counter, states, &place)) continue;
      const std::size_t numstates = static_cast<std::size_t>(counter.node->numstates);
      const double* row = counter.counts.get() + place.row * numstates;
      const statetype own = static_cast<statetype>(place.entry - place.row * numstates);
      const double experience = ExperienceOf(*counter.node, static_cast<long long>(place.row));
      if (row[own] <= IMPOSSIBLE_COUNT || MayLose(row, counter.node->numstates, own, -weight, experience)) continue;
      *failed = &counter;
      return false;
    }
  }
  for (Counter& counter : counters) {
    if (!PlaceOf(counter, states, &place) || counter.counts[place.entry] <= IMPOSSIBLE_COUNT) continue;
    double& count = counter.counts[place.entry];
    count = std::max(count + weight, 0.0);
    counter.changed[place.row] = 1;
  }
  return true;
}

}  // namespace

void LearnFile(filespec_ns file, std::span<const node_bn> nodes, double degree) {
  if (nodes.empty()) return;
  FileCount plan;
  CaseReader reader;
  Failure failure = PlanCount(nodes, plan);
  if (!failure) failure = reader.Open(file->name, nodes[0]->innet, plan.wanted);
  if (failure) {
    Post(std::move(failure));
    return;
  }
  CaseRow row;
  row.states.resize(plan.wanted.size());
  row.values.resize(plan.wanted.size());
  long numcases = 0;
  bool isHalted = false;  // what was counted up to there is kept
  {
    WaitScope wait("Incorporating cases");
    for (;;) {
      if ((numcases & 1023) == 0 && numcases > 0 && wait.Progress(reader.ShareRead())) {
        ReportDanger(-2191, WARNING_ERR, SOUND_DISPLAY,
                     "Only %ld cases were incorporated before action was halted (%2.0f%%).\n", numcases,
                     100 * reader.ShareRead());
        isHalted = true;
        break;
      }
      if (reader.Next(&row) != CaseReader::Result::Row) break;
      ++numcases;
      const double weight = reader.HasFreq() ? degree * row.freq : degree;
      const Counter* failed = nullptr;
      if (CountCase(plan.counters, row.states.data(), weight, &failed)) continue;
      ReportError(-2189, "attempt to unlearn (degree = %g) more cases than were learned, for node '%s' (at case %ld)",
                  degree, failed->node->name, numcases);
      break;
    }
  }
  if (Failure unknown = reader.WarningOfUnknown()) Post(std::move(unknown));
  LongWork work("Making tables", 0, Showing::Always);
  for (Counter& counter : plan.counters)
    if (Failure refusal = MakeTables(counter, isHalted ? nullptr : &work)) {
      Post(std::move(refusal));
      return;
    }
  UndoGroup group(UNDO_GROUP, nodes[0]->innet);
  for (Counter& counter : plan.counters) InstallTables(counter);
}

void FadeTable(node_bn node, double degree) {
  if (degree == 0) return;
  Counter counter;
  LongWork work("Fading probabilities", 0, Showing::Always);
  Failure failure = StartCounter(node, counter, work);
  if (!failure) {
    for (std::size_t i = 0; i < counter.size; ++i)
      if (counter.counts[i] >= 0) counter.counts[i] = counter.counts[i] * (1 - degree) + BaseExperience_bn * degree;
    const int numstates = node->numstates;
    for (int row = 0; row < counter.changed.size(); ++row)
      counter.changed[row] = !IsUndefinedRow(node->probs + row * static_cast<std::size_t>(numstates), numstates);
    UndoGroup group(UNDO_GROUP, node->innet);
    failure = MakeTables(counter, &work);
    if (!failure) InstallTables(counter);
  }
  if (failure) Post(std::move(failure));
}

}  // namespace bravic

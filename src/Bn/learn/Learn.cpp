#include "Bn/learn/Learn.h"

#include <algorithm>

#include "Bn/files/CaseReader.h"
#include "Bn/learn/Counts.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/Relation.h"
#include "Bn/model/TableForms.h"
#include "Bn/model/TableRows.h"
#include "Bn/model/Tables.h"
#include "Bn/model/Undo.h"
#include "Win_Face/Interaction.h"

namespace bravic {
namespace {

// Only nodes whose table is one of probabilities are learned.
bool TakesPart(const bnode& node) {
  return TagOf(&node) != STUB_TAG && node.kind == NATURE_NODE && node.numstates > 0;
}

// The states that the family has as findings, the node's last; false where one is missing.
bool FamilyStates(const bnode& node, Vector<statetype>& states) {
  for (node_bn member : Family(node)) {
    if (TagOf(member) == STUB_TAG || member->evidence < 0) return false;
    states.push_back(member->evidence);
  }
  return true;
}

// Changes the one row of the node's table that the findings are about.
Failure LearnOne(node_bn node, double degree) {
  Vector<statetype> states;
  if (!FamilyStates(*node, states)) return nullptr;
  if (OwnRows(*node)) {
    if (Failure failure = MakeProbs(node)) return failure;
  }
  const long long at = RowIndex(*node, states.data());
  const int numstates = node->numstates;
  const float* rows = OwnRows(*node);
  const float* old = rows ? rows + at * numstates : nullptr;
  if (old && old[0] == IMPOS_PROB) return nullptr;
  const bool uniform = !old || IsUndefinedRow(old, numstates);
  const double experience = uniform ? numstates * BaseExperience_bn : RowExperience(*node, at);
  const statetype found = states.back();
  Vector<double> counts(numstates);
  for (int k = 0; k < numstates; ++k) counts[k] = experience * (uniform ? 1.0 / numstates : old[k]);
  if (degree < 0 && !MayLose(counts.data(), numstates, found, -degree, experience)) {
    return Fail(UNLEARNING_TOO_MUCH, degree, node->name);
  }
  counts[found] = std::max(counts[found] + degree, 0.0);
  double sum = 0;
  for (double count : counts) sum += count;
  // Only now, as nothing can be refused any more, does the node get the tables that it lacks.
  if (Failure failure = MakeLearnable(node)) return failure;
  Vector<float> row(numstates);
  for (int k = 0; k < numstates; ++k) row[k] = static_cast<float>(sum > 0 ? counts[k] / sum : 1.0 / numstates);
  RowChange change;
  change.probs = row.data();
  change.experience = std::max(experience + degree, 0.0);
  if (SetRow(node, states.data(), change) < 0) return Fail(CANT_REVISE_TABLE, node->name);
  return nullptr;
}

}  // namespace

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

struct FileCount {
  Vector<Counter> counters;
  Vector<node_bn> wanted;  // the listed nodes that take part and their parents, each once
};

bool IsFamilyWhole(const bnode& node) {
  const auto parents = Entries(node.preds);
  return std::all_of(parents.begin(), parents.end(),
                     [](node_bn parent) { return TagOf(parent) != STUB_TAG && parent->numstates > 0; });
}

Failure PlanCount(std::span<const node_bn> nodes, FileCount& plan) {
  LongWork work("Preparing to count", 0, Showing::Always);
  const int mark = NewMark();
  for (node_bn node : nodes) {
    if (!TakesPart(*node) || !IsFamilyWhole(*node)) continue;
    plan.counters.emplace_back();
    if (Failure failure = StartCounter(node, plan.counters.back(), work)) return failure;
    for (node_bn member : Family(*node)) {
      if (member->mark2 == mark) continue;
      member->mark2 = mark;
      plan.wanted.push_back(member);
    }
  }
  // While it is planned, scratch is a node's place among those wanted, which is its place in every case.
  for (int i = 0; i < plan.wanted.size(); ++i) plan.wanted[i]->scratch = i;
  for (Counter& counter : plan.counters) {
    for (node_bn member : Family(*counter.node)) counter.members.push_back(member->scratch);
  }
  return nullptr;
}

enum class Counting { Finished, Halted };

// Case by case to the end of the file, to a row that is refused, or to the case that takes away too much.
Counting CountFile(CaseReader& reader, FileCount& plan, double degree) {
  constexpr long CASES_BETWEEN_LOOKS = 1024;
  Vector<statetype> states(plan.wanted.size());
  CaseRow row = {states.data()};
  Failure failure;
  WaitScope wait("Incorporating cases");
  for (long numcases = 0;; ++numcases) {
    if (numcases % CASES_BETWEEN_LOOKS == 0 && numcases > 0 && wait.Progress(reader.ShareRead())) {
      ReportShown(SOUND_DISPLAY, LEARNING_HALTED, numcases, 100 * reader.ShareRead());
      return Counting::Halted;
    }
    if (reader.Next(&row, &failure) != CaseReader::Result::Row) {
      if (failure) Post(std::move(failure));
      return Counting::Finished;
    }
    const double weight = reader.HasFreq() && degree != 0 ? degree * row.freq : degree;  // 0 even of infinitely many
    const Counter* failed = nullptr;
    if (CountCase(plan.counters, states.data(), weight, &failed)) continue;
    Report(UNLEARNING_TOO_MUCH_AT_CASE, degree, failed->node->name, numcases + 1);
    return Counting::Finished;
  }
}

}  // namespace

void LearnFile(filespec_ns file, std::span<const node_bn> nodes, double degree) {
  if (nodes.empty()) return;
  FileCount plan;
  CaseReader reader;
  Failure failure = PlanCount(nodes, plan);
  if (!failure) failure = reader.Open({file->name, nodes[0]->innet, plan.wanted});
  if (failure) {
    Post(std::move(failure));
    return;
  }
  const Counting counting = CountFile(reader, plan, degree);
  if (Failure unknown = reader.WarningOfUnknown()) Post(std::move(unknown));
  // What was counted up to a halt is kept, so the tables are then made without asking again.
  LongWork work("Making tables", 0, Showing::Always);
  for (Counter& counter : plan.counters) {
    if (Failure refusal = MakeTables(counter, counting == Counting::Halted ? nullptr : &work)) {
      Post(std::move(refusal));
      return;
    }
  }
  UndoGroup group(UNDO_GROUP, nodes[0]->innet);
  for (Counter& counter : plan.counters) InstallTables(counter);
}

namespace {

// Every count moves towards the base by the degree. Rows not given yet stay so.
Failure Fade(Counter& counter, double degree, LongWork& work) {
  const bnode& node = *counter.node;
  for (std::size_t i = 0; i < counter.size; ++i) {
    double& count = counter.counts[i];
    if (count >= 0) count = count * (1 - degree) + BaseExperience_bn * degree;
  }
  for (int row = 0; row < counter.changed.size(); ++row) {
    const std::size_t first = static_cast<std::size_t>(row) * node.numstates;
    counter.changed[row] = !IsUndefinedRow(node.probs + first, node.numstates);
  }
  UndoGroup group(UNDO_GROUP, node.innet);
  if (Failure failure = MakeTables(counter, &work)) return failure;
  InstallTables(counter);
  return nullptr;
}

}  // namespace

bool HasOwnRows(const bnode& node) {
  return OwnRows(node) != nullptr;
}

void FadeTable(node_bn node, double degree) {
  if (degree == 0) return;
  Counter counter;
  LongWork work("Fading probabilities", 0, Showing::Always);
  Failure failure = StartCounter(node, counter, work);
  if (!failure) failure = Fade(counter, degree, work);
  if (failure) Post(std::move(failure));
}

}  // namespace bravic

#include "Bn/learn/CountCases.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Basic/Errors.h"
#include "Bn/compiled/CaseBeliefs.h"
#include "Bn/compiled/CompiledNet.h"
#include "Bn/engine/learn/FamilyTally.h"
#include "Bn/learn/Counts.h"
#include "Bn/model/Lists.h"
#include "Bn/model/Relation.h"
#include "Bn/model/TableForms.h"
#include "Bn/model/Tables.h"
#include "Bn/model/Undo.h"
#include "Win_Face/Threads.h"

namespace bravic {
namespace {

// What looks at the clock now and then, and ends the work.
engine::ProgressFunction LookAt(LongWork& work) {
  return [&work](double share) {
    work.SetShare(share);
    return work.Halts(LongWork::BETWEEN_LOOKS);
  };
}

// The nodes whose families have columns.
Vector<engine::TalliedFamily> FindFamilies(const counts_rec& counts, std::span<const node_bn> columns) {
  for (const CountedNode& counted : counts.nodes)
    for (node_bn member : Family(*counted.node)) member->scratch = -1;
  for (int k = 0; k < Count(columns); ++k) columns[k]->scratch = k;
  Vector<engine::TalliedFamily> families;
  for (const CountedNode& counted : counts.nodes) {
    engine::TalliedFamily family{
        {}, {}, counted.first, static_cast<std::uint32_t>(counted.rows * counted.node->numstates)};
    for (node_bn member : Family(*counted.node)) {
      family.columns.push_back(member->scratch);
      family.sizes.push_back(member->numstates);
    }
    const auto isHidden = [](int column) { return column < 0; };
    if (std::none_of(family.columns.begin(), family.columns.end(), isHidden)) families.push_back(std::move(family));
  }
  return families;
}

}  // namespace

bool CheckCases(const WeightedCases& cases, net_bn net) {
  for (node_bn node : cases.columns) {
    if (node->innet == net) continue;
    Report(COLUMN_OF_ANOTHER_NET, node->name);
    return false;
  }
  if (!FitArrays(cases.numCases, Count(cases.columns))) return false;
  if (!CheckStatesOfCases(cases.columns, cases.states, cases.numCases)) return false;
  for (long number = 0; cases.weights && number < cases.numCases; ++number) {
    if (cases.weights[number] >= 0 && std::isfinite(cases.weights[number])) continue;
    Report(WEIGHT_OF_CASE, number, cases.weights[number]);
    return false;
  }
  return true;
}

bool CheckInferred(const WeightedCases& cases, std::span<const CountedNode> nodes, net_bn net) {
  if (!net->potentialsMade) {
    Report(NET_NOT_COMPILED, net->name);
    return false;
  }
  for (node_bn node : cases.columns) {
    if (CompiledIndex(*node) >= 0 && (node->kind == NATURE_NODE || node->kind == DECISION_NODE)) continue;
    Report(OBSERVED_WITHOUT_STATES, node->name);
    return false;
  }
  for (const CountedNode& counted : nodes) {
    for (node_bn member : Family(*counted.node)) {
      if (CompiledIndex(*member) >= 0) continue;
      Report(COUNTED_WITHOUT_BELIEFS, member->name);
      return false;
    }
  }
  return true;
}

bool CountCases(counts_rec& counts, const WeightedCases& cases) {
  const Vector<engine::TalliedFamily> families = FindFamilies(counts, cases.columns);
  engine::FamilyTally tally(families);
  if (!tally.IsMade()) {
    Report(NO_MEMORY_FOR_CASE_COUNTS, static_cast<double>(counts.size));
    return false;
  }
  LongWork work("Counting cases", 0, Showing::Always);
  if (!tally.Add(cases.states, Count(cases.columns), cases.weights, cases.numCases, LookAt(work))) {
    Post(FailHalted());
    return false;
  }
  tally.AddTo(counts.values.get(), MOST_COUNT);
  return true;
}

engine::CaseQuestion AskForFamilies(std::span<const node_bn> columns, std::span<const CountedNode> nodes) {
  const CompiledNet& compiled = *nodes[0].node->innet->compiled;
  engine::CaseQuestion question{compiled.numstates, compiled.parents, TablesOf(compiled), {}, {}, {}};
  for (node_bn node : columns) question.observed.push_back(node->compiledIndex);
  for (const CountedNode& counted : nodes) question.families.push_back(counted.node->compiledIndex);
  return question;
}

long ExpectCounts(counts_rec& counts, const WeightedCases& cases, double* logLikelihood, int numThreads) {
  if (!CheckInferred(cases, counts.nodes, counts.net)) return -1;
  LongWork work("Expecting counts", 0, Showing::Always);
  work.Begin();
  const Block<double> sums = TryMakeBlock<double>(counts.size);
  engine::ExpectedCounts expected(AskForFamilies(cases.columns, counts.nodes), cases.states, cases.weights,
                                  cases.numCases);
  engine::ExpectedCounts::Outcome outcome;
  const engine::Status status =
      sums ? expected.Expect(numThreads > 0 ? numThreads : NumProcessors(), LookAt(work), sums.get(), &outcome)
           : engine::Status::NoMemory;
  if (status != engine::Status::Done) {
    Post(FailAnswer(status));
    return -1;
  }
  AddToCounts(counts, sums.get());
  if (logLikelihood) *logLikelihood = outcome.logLikelihood;
  return static_cast<long>(outcome.numImpossible);
}

bool TellsOfTable(const CountedNode& counted, const double* counts, double prior) {
  const std::size_t size = static_cast<std::size_t>(counted.rows) * counted.node->numstates;
  return prior > 0 || std::any_of(counts, counts + size, [](double count) { return count > 0; });
}

void FillTable(const CountedNode& counted, const double* counts, double prior, const float* old, LearnedTable* to) {
  const bnode& node = *counted.node;
  const int numstates = node.numstates;
  for (std::ptrdiff_t row = 0; row < counted.rows; ++row) {
    const double* const from = counts + row * numstates;
    const float* const before = old ? old + row * numstates : nullptr;
    float* const probs = to->probs.get() + row * numstates;
    double sum = prior;
    for (int k = 0; k < numstates; ++k) sum += from[k];
    if (!(sum > 0) || (before && before[0] == IMPOS_PROB)) {
      if (before)
        std::copy_n(before, numstates, probs);
      else
        std::fill_n(probs, numstates, UNDEF_PROB);
      to->numcases[row] = node.numcases ? node.numcases[row] : NO_EXPERIENCE;
      continue;
    }
    // What has been seen stays possible, however seldom it was.
    for (int k = 0; k < numstates; ++k) {
      const double count = from[k] + prior / numstates;
      const auto share = static_cast<float>(count / sum);
      probs[k] = count > 0 ? std::max(share, std::numeric_limits<float>::min()) : 0.0f;
    }
    to->numcases[row] = ToFloat(sum);
  }
}

bool MakeRoom(const CountedNode& counted, LearnedTable* table) {
  const auto rows = static_cast<std::size_t>(counted.rows);
  table->probs = TryMakeBlock<float>(rows * counted.node->numstates);
  table->numcases = TryMakeBlock<float>(rows);
  return table->probs && table->numcases;
}

void InstallTable(const CountedNode& counted, LearnedTable& table) {
  Relation relation;
  relation.probs = table.probs.release();
  relation.numcases = table.numcases.release();
  InstallRelation(counted.node, relation);
}

bool LearnCounts(const counts_rec& counts, double prior) {
  Vector<LearnedTable> tables(counts.nodes.size());
  for (int i = 0; i < counts.nodes.size(); ++i) {
    const CountedNode& counted = counts.nodes[i];
    const double* const values = counts.values.get() + counted.first;
    if (!TellsOfTable(counted, values, prior)) continue;
    if (HasRelation(*counted.node)) {
      if (Failure failure = MakeProbs(counted.node)) {
        Post(std::move(failure));
        return false;
      }
    }
    if (!MakeRoom(counted, &tables[i])) {
      Report(NO_MEMORY_FOR_COUNTS, counted.node->name);
      return false;
    }
    FillTable(counted, values, prior, counted.node->probs, &tables[i]);
  }
  UndoGroup group(UNDO_GROUP, counts.net);
  for (int i = 0; i < tables.size(); ++i)
    if (tables[i].probs) InstallTable(counts.nodes[i], tables[i]);
  return true;
}

}  // namespace bravic

#include "Bn/learn/LearnEm.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <utility>

#include "Basic/Errors.h"
#include "Basic/Format.h"
#include "Basic/Logarithm.h"
#include "Bn/compiled/CompiledNet.h"
#include "Bn/files/CaseReader.h"
#include "Bn/model/Lists.h"
#include "Bn/model/Undo.h"
#include "Win_Face/Threads.h"

namespace bravic {
namespace {

using engine::Status;

struct FreeCountsRecord {
  void operator()(counts_bn counts) const { FreeCounts(counts); }
};

class EmRun {
 public:
  EmRun(const WeightedCases& cases, const counts_rec& counts, const EmOptions& options);

  Failure Run();
  int NumIterations() const { return numIterations_; }
  double LogLikelihood() const { return now_.logLikelihood; }
  void Install();

 private:
  // What a set of tables comes to.
  struct Standing {
    double logLikelihood = 0, logPrior = 0;
    std::ptrdiff_t numImpossible = 0;
    double Objective() const { return logLikelihood + logPrior; }
  };

  bool MakeTables();
  engine::CaseQuestion Question(std::span<const node_bn> columns);
  double LogPrior() const;
  Status Expect(Standing* standing);
  void Maximize();
  bool Fell(const Standing& next) const;
  void TakeBack() { std::swap(tables_, before_); }

  const counts_rec& counts_;
  const EmOptions& options_;
  Vector<LearnedTable> tables_, before_;  // [counted node] the present ones, and those of the iteration before
  Block<double> sums_;
  Standing now_;
  double totalWeight_ = 0;
  int numIterations_ = 0;
  bool isMade_ = false;
  Owned<engine::ExpectedCounts> expected_;
};

EmRun::EmRun(const WeightedCases& cases, const counts_rec& counts, const EmOptions& options)
    : counts_(counts), options_(options) {
  for (long number = 0; number < cases.numCases; ++number) totalWeight_ += cases.weights ? cases.weights[number] : 1;
  isMade_ = MakeTables();
  if (isMade_)
    expected_ = MakeOwned<engine::ExpectedCounts>(Question(cases.columns), cases.states, cases.weights, cases.numCases);
}

// The tables to begin with are the net's, which is compiled: they are complete, and distributions.
bool EmRun::MakeTables() {
  sums_ = TryMakeBlock<double>(counts_.size);
  if (!sums_) return false;
  tables_.resize(counts_.nodes.size());
  before_.resize(counts_.nodes.size());
  for (int i = 0; i < counts_.nodes.size(); ++i) {
    const CountedNode& counted = counts_.nodes[i];
    if (!MakeRoom(counted, &tables_[i]) || !MakeRoom(counted, &before_[i])) return false;
    std::copy_n(counted.node->probs, counted.rows * counted.node->numstates, tables_[i].probs.get());
    std::fill_n(tables_[i].numcases.get(), counted.rows, NO_EXPERIENCE);
    if (counted.node->numcases) std::copy_n(counted.node->numcases, counted.rows, tables_[i].numcases.get());
  }
  return true;
}

engine::CaseQuestion EmRun::Question(std::span<const node_bn> columns) {
  engine::CaseQuestion question = AskForFamilies(columns, counts_.nodes);
  Vector<int> placeOf(question.numstates.size(), -1);
  for (int i = 0; i < counts_.nodes.size(); ++i) placeOf[counts_.nodes[i].node->compiledIndex] = i;
  question.table = [this, placeOf = std::move(placeOf), others = std::move(question.table)](int node) {
    return placeOf[node] < 0 ? others(node) : static_cast<const float*>(tables_[placeOf[node]].probs.get());
  };
  return question;
}

// Of the tables, up to a constant: so many cases a row, spread evenly, are a Dirichlet density whose parameters are one
// more than that.
double EmRun::LogPrior() const {
  if (options_.prior == 0) return 0;
  double sum = 0;
  for (int i = 0; i < counts_.nodes.size(); ++i) {
    const CountedNode& counted = counts_.nodes[i];
    const int numstates = counted.node->numstates;
    const float* probs = tables_[i].probs.get();
    double ofTable = 0;
    for (long long row = 0; row < counted.rows; ++row, probs += numstates) {
      if (probs[0] == IMPOS_PROB) continue;
      for (int k = 0; k < numstates; ++k) {
        if (!(probs[k] >= std::numeric_limits<float>::min())) return -INFINITY;
        ofTable += NaturalLog(double{probs[k]});
      }
    }
    sum += ofTable * (options_.prior / numstates);
  }
  return sum;
}

Status EmRun::Expect(Standing* standing) {
  char what[100];
  std::snprintf(what, sizeof what, numIterations_ > 0 ? "EM, iteration %d, log likelihood %.8g" : "EM", numIterations_,
                now_.logLikelihood);
  WaitScope wait(what);
  const auto progress = [&wait](double share) { return wait.Progress(share); };
  engine::ExpectedCounts::Outcome outcome;
  const Status status = expected_->Expect(ThreadsToUse(), progress, sums_.get(), &outcome);
  *standing = {outcome.logLikelihood, LogPrior(), outcome.numImpossible};
  return status;
}

void EmRun::Maximize() {
  TakeBack();
  for (int i = 0; i < counts_.nodes.size(); ++i) {
    const CountedNode& counted = counts_.nodes[i];
    FillTable(counted, sums_.get() + counted.first, options_.prior, before_[i].probs.get(), &tables_[i]);
    // Rows that stay keep the experience of the iteration before, which may be learned.
    for (std::ptrdiff_t row = 0; row < counted.rows; ++row)
      if (tables_[i].numcases[row] == NO_EXPERIENCE) tables_[i].numcases[row] = before_[i].numcases[row];
  }
  expected_->TablesChanged();
}

// By more than what floats explain. Where other cases are possible than before, there is nothing to be compared.
bool EmRun::Fell(const Standing& next) const {
  constexpr double ROUNDING = 1e-5;
  return next.numImpossible == now_.numImpossible && std::isfinite(now_.Objective()) &&
         next.Objective() < now_.Objective() - ROUNDING * (1 + totalWeight_);
}

Failure EmRun::Run() {
  const auto fail = [](Status status) { return FailAnswer(status); };
  if (!isMade_) return fail(Status::NoMemory);
  if (const Status status = Expect(&now_); status != Status::Done) return fail(status);
  while (numIterations_ < options_.maxIterations) {
    Maximize();
    Standing next;
    ++numIterations_;
    const Status status = Expect(&next);
    if (status == Status::Done && !Fell(next)) {
      const double change = std::fabs(next.Objective() - now_.Objective());
      now_ = next;
      if (options_.tolerance > 0 && change <= options_.tolerance * std::fabs(now_.Objective())) return nullptr;
      continue;
    }
    // Of these tables nothing is known, or nothing good.
    if (status == Status::NoMemory) return fail(status);
    TakeBack();
    --numIterations_;
    if (status == Status::Halted)
      ReportShown(SOUND_DISPLAY, EM_HALTED, numIterations_);
    else
      ReportInternal(LIKELIHOOD_FELL, now_.Objective(), next.Objective(), numIterations_ + 1);
    return nullptr;
  }
  return nullptr;
}

void EmRun::Install() {
  if (numIterations_ == 0) return;
  expected_.reset();
  UndoGroup group(UNDO_GROUP, counts_.net);
  for (int i = 0; i < counts_.nodes.size(); ++i) {
    const CountedNode& counted = counts_.nodes[i];
    if (TellsOfTable(counted, sums_.get() + counted.first, options_.prior)) InstallTable(counted, tables_[i]);
  }
}

}  // namespace

int LearnByEm(const WeightedCases& cases, std::span<const node_bn> nodes, const EmOptions& options) {
  const std::unique_ptr<counts_rec, FreeCountsRecord> counts(NewCounts(nodes));
  if (!counts || !CheckCases(cases, counts->net) || !CheckInferred(cases, counts->nodes, counts->net)) return -1;
  EmRun run(cases, *counts, options);
  if (Failure failure = run.Run()) {
    Post(std::move(failure));
    return -1;
  }
  run.Install();
  if (options.logLikelihood) *options.logLikelihood = run.LogLikelihood();
  return run.NumIterations();
}

namespace {

// All rows of a case file.
struct CaseTable {
  Vector<node_bn> columns;
  Block<statetype> states;
  Block<double> weights;
  std::size_t numCases = 0, room = 0;

  // False without memory.
  bool GrowTo(std::size_t rooms) {
    const std::size_t width = columns.size();
    Block<statetype> moreStates = TryMakeBlock<statetype>(rooms * width + 1);
    Block<double> moreWeights = TryMakeBlock<double>(rooms);
    if (!moreStates || !moreWeights) return false;
    std::copy_n(states.get(), numCases * width, moreStates.get());
    std::copy_n(weights.get(), numCases, moreWeights.get());
    states = std::move(moreStates);
    weights = std::move(moreWeights);
    room = rooms;
    return true;
  }
};

Failure FindColumns(filespec_ns file, net_bn net, Vector<node_bn>* columns) {
  CaseReader reader;
  if (Failure failure = reader.Open({file->name, net, {}, false})) return failure;
  for (const CaseColumn& column : reader.Columns()) {
    if (!column.node || CompiledIndex(*column.node) < 0) continue;
    if (column.node->kind == NATURE_NODE || column.node->kind == DECISION_NODE) columns->push_back(column.node);
  }
  return nullptr;
}

Failure ReadRows(filespec_ns file, net_bn net, CaseTable* table) {
  constexpr std::size_t FIRST_ROOM = 1024, ROWS_BETWEEN_LOOKS = 1024;
  if (Failure failure = FindColumns(file, net, &table->columns)) return failure;
  CaseReader reader;
  if (Failure failure = reader.Open({file->name, net, table->columns})) return failure;
  WaitScope wait("Reading cases");
  for (;; ++table->numCases) {
    if (table->numCases == table->room && !table->GrowTo(std::max(FIRST_ROOM, 2 * table->room)))
      return FailAnswer(Status::NoMemory);
    if (table->numCases % ROWS_BETWEEN_LOOKS == 0 && wait.Progress(reader.ShareRead())) return FailHalted();
    CaseRow row = {table->states.get() + table->numCases * table->columns.size()};
    Failure failure;
    if (reader.Next(&row, &failure) != CaseReader::Result::Row) {
      if (Failure unknown = reader.WarningOfUnknown()) Post(std::move(unknown));
      return failure;
    }
    table->weights[table->numCases] = reader.HasFreq() ? row.freq : 1;
  }
}

}  // namespace

int LearnFileByEm(filespec_ns file, std::span<const node_bn> nodes, const EmOptions& options) {
  CaseTable table;
  net_bn net = nodes.empty() ? nullptr : nodes[0]->innet;
  if (net && !net->potentialsMade) {
    Report(NET_NOT_COMPILED, net->name);
    return -1;
  }
  if (net) {
    if (Failure failure = ReadRows(file, net, &table)) {
      Post(std::move(failure));
      return -1;
    }
  }
  return LearnByEm({table.columns, table.states.get(), table.weights.get(), static_cast<long>(table.numCases)}, nodes,
                   options);
}

}  // namespace bravic

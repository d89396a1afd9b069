// bravic em: tables learned from cases with missing cells.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "Cases.h"
#include "Columns.h"
#include "Commands.h"
#include "Draws.h"
#include "Learning.h"
#include "Spelling.h"
#include "Terminal.h"

namespace {

struct Options {
  LearnOptions learn;
  int iterations = 100, restarts = 0, seed = 1, threads = 1;
  double tolerance = 1e-6, prior = 0;
};

void Setup(Command* command, Options* options) {
  AddLearnOptions(command, &options->learn, OUT_HELP);
  command->Add({.names = "--iterations",
                .form = "N",
                .help = "make at most so many iterations (100 if left out)",
                .value = &options->iterations,
                .check = CheckNotNegative});
  command->Add({.names = "--tolerance",
                .form = "T",
                .help = "stop when the log likelihood changes by no more than this share of it (1e-6 if left out)",
                .value = &options->tolerance,
                .check = CheckNotNegative});
  command->Add({.names = "--prior",
                .form = "E",
                .help = "so many cases a row are added, spread evenly (0 if left out)",
                .value = &options->prior,
                .check = CheckNotNegative});
  command->Add({.names = "--restarts",
                .form = "R",
                .help = "begin so many times more from random tables, and keep the best",
                .value = &options->restarts,
                .check = CheckNotNegative});
  command->Add({.names = "--seed", .form = "K", .help = "of the random tables", .value = &options->seed});
  command->Add(
      {.names = "--threads", .form = "N", .help = THREADS_HELP, .value = &options->threads, .check = CheckNotNegative});
  command->notes =
      "Prints the log likelihood after each iteration, beginning with that of the tables there are. Nodes without a "
      "column\nare hidden, and nodes without a table begin from a random one. A hidden node whose table is uniform "
      "can't "
      "be told\nanything by the cases: use --restarts.";
}

// All files' rows together: a node that a file has no column for is missing in its rows.
struct AllCases {
  std::vector<node_bn> columns;
  std::vector<statetype> states;
  std::vector<double> weights;

  long Num() const { return static_cast<long>(weights.size()); }
};

AllCases ReadAll(const Options& options, const Net& net, Session& session) {
  AllCases all;
  for (node_bn node : Nodes(net))
    if (CanBeKnown(node)) all.columns.push_back(node);
  for (const std::string& path : options.learn.cases) {
    const InputFile input(path);
    CaseBlocks cases(input, net, session);
    cases.Choose(cases.Columns(), 0);
    std::vector<std::size_t> places;
    for (node_bn node : cases.Columns())
      places.push_back(
          static_cast<std::size_t>(std::find(all.columns.begin(), all.columns.end(), node) - all.columns.begin()));
    while (cases.Next()) {
      const statetype* state = cases.States().data();
      for (std::size_t row = 0; row < cases.Size(); ++row) {
        const std::size_t first = all.states.size();
        all.states.resize(first + all.columns.size(), UNDEF_STATE);
        for (const std::size_t place : places) all.states[first + place] = *state++;
        all.weights.push_back(cases.Weight(row));
      }
    }
  }
  return all;
}

// Every row a draw from all distributions alike: the gaps between sorted numbers are one.
void DrawTable(node_bn node, Draws& draws) {
  const std::vector<node_bn> parents = Nodes(GetNodeParents_bn(node));
  std::vector<statetype> states(parents.size() + 1, 0);
  const auto numstates = static_cast<std::size_t>(GetNodeNumberStates_bn(node));
  std::vector<double> bounds(numstates + 1);
  std::vector<probtype> row(numstates);
  for (;;) {
    for (std::size_t s = 1; s < numstates; ++s) bounds[s] = draws.Share();
    bounds[0] = 0, bounds[numstates] = 1;
    std::sort(bounds.begin(), bounds.end());
    for (std::size_t s = 0; s < numstates; ++s) row[s] = static_cast<probtype>(bounds[s + 1] - bounds[s]);
    SetNodeProbs_bn(node, states.data(), row.data());
    std::size_t k = parents.size();
    while (k > 0 && ++states[k - 1] == GetNodeNumberStates_bn(parents[k - 1])) states[--k] = 0;
    if (k == 0) return;
  }
}

struct FreeCounts {
  void operator()(counts_bn counts) const { FreeCounts_bn(counts); }
};

// What one beginning leads to.
struct Outcome {
  std::vector<double> logs;  // before the first iteration, and after each
  long impossible = 0;       // cases, at last
  bool IsBetter(const Outcome& other) const {
    return impossible != other.impossible ? impossible < other.impossible : logs.back() > other.logs.back();
  }
};

class Learner {
 public:
  Learner(const Options& options, const Net& net, const AllCases& cases, const NodeList& nodes, Session& session)
      : options_(options),
        net_(net),
        cases_(cases),
        session_(session),
        columns_(MakeList(cases.columns, session)),
        counts_(NewCounts_bn(nodes.get())) {
    session_.Check();
    zeros_.assign(static_cast<std::size_t>(CountsSize_bn(counts_.get())), 0);
  }

  Outcome Run() {
    Outcome outcome;
    for (int iteration = 0;; ++iteration) {
      session_.Compile(net_);
      SetCounts_bn(counts_.get(), zeros_.data());
      double log = 0;
      outcome.impossible = ExpectCounts_bn(counts_.get(), columns_.get(), cases_.states.data(), cases_.weights.data(),
                                           cases_.Num(), &log, options_.threads);
      session_.Check();
      const bool isFirst = outcome.logs.empty();
      if (isFirst && outcome.impossible > 0)
        Complain("by the tables that it begins with, " + std::to_string(outcome.impossible) +
                 " cases are impossible: they are left out");
      const double change = isFirst ? HUGE_VAL : std::fabs(log - outcome.logs.back());
      outcome.logs.push_back(log);
      if (iteration == options_.iterations) return outcome;
      if (options_.tolerance > 0 && change <= options_.tolerance * std::fabs(log)) return outcome;
      LearnCounts_bn(counts_.get(), options_.prior);
      session_.Check();
    }
  }

 private:
  const Options& options_;
  const Net& net_;
  const AllCases& cases_;
  Session& session_;
  const NodeList columns_;
  const std::unique_ptr<counts_rec, FreeCounts> counts_;
  std::vector<double> zeros_;
};

std::string TextOf(const Net& net, Session& session) {
  std::string text(static_cast<std::size_t>(std::max(1L, WriteNetText_bn(net.get(), nullptr, 0))), '\0');
  WriteNetText_bn(net.get(), text.data(), static_cast<long>(text.size()));
  session.Check();
  text.pop_back();
  return text;
}

void Print(const Outcome& outcome) {
  Columns columns({"iteration", "log likelihood"});
  char log[40];
  for (std::size_t i = 0; i < outcome.logs.size(); ++i) {
    std::snprintf(log, sizeof log, "%.10g", outcome.logs[i]);
    columns.Add({std::to_string(i), log});
  }
  columns.Print();
}

int Run(const Options& options, Session& session) {
  session.BeStrict(options.learn.strict);
  Net net = session.Read(options.learn.net);
  SetUndoDepth_bn(0, net.get());
  std::vector<node_bn> nodes;
  for (const std::string& name : options.learn.nodes) nodes.push_back(FindNode(name, net));
  if (nodes.empty()) {
    nodes = Nodes(net);
    std::erase_if(nodes, [](node_bn node) { return !CanBeTarget(node); });
  }
  const AllCases cases = ReadAll(options, net, session);
  const NodeList list = MakeList(nodes, session);
  Draws draws(options.seed);
  for (node_bn node : nodes)
    if (!HasRelation_bn(node)) DrawTable(node, draws);
  session.Check();
  Learner learner(options, net, cases, list, session);
  Outcome best = learner.Run();
  std::string text = options.restarts > 0 ? TextOf(net, session) : "";
  for (int restart = 0; restart < options.restarts; ++restart) {
    for (node_bn node : nodes) DrawTable(node, draws);
    session.Check();
    Outcome outcome = learner.Run();
    if (!outcome.IsBetter(best)) continue;
    best = std::move(outcome);
    text = TextOf(net, session);
  }
  EndProgressBar();
  Print(best);
  if (options.learn.output.empty()) return 0;
  if (options.restarts > 0) {
    net.reset(ReadNetText_bn(text.data(), static_cast<long>(text.size()), "the best net", session.Environment()));
    session.Check();
  }
  session.Write(net, options.learn.output, options.learn.force);
  return 0;
}

}  // namespace

void AddEm(Program& program) {
  AddCommand<Options>(program, "em", "Learn the tables of a net from cases with missing cells", Setup, Run);
}

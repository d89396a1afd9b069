// bravic validate: how well a net, or what a method of learning makes of a file, foretells a target in cases that it
// has not seen.
#include <algorithm>
#include <numeric>

#include "Cases.h"
#include "Columns.h"
#include "Commands.h"
#include "Draws.h"
#include "Files.h"
#include "Learning.h"
#include "Measures.h"
#include "Spelling.h"
#include "Terminal.h"

namespace {

struct Options {
  std::string cases, net, target;
  SearchOptions search;
  ColumnOptions columns;
  int folds = 10, seed = 1, threads = 1;
  double prior = 1;
  bool calibration = false, strict = false;
};

constexpr int CONSTANT_COLUMN = 2759;  // a warning that is none here: a fold's column may be constant

void Setup(Command* command, Options* options) {
  command->Add({.names = "CASES", .help = CASES_HELP, .value = &options->cases, .required = true, .file = true});
  command->Add({.names = "--net",
                .form = "NET",
                .help = "learn the tables of this net's links; with --method only its nodes and states are taken",
                .value = &options->net,
                .file = true});
  command->Add({.names = "--target",
                .form = "NODE",
                .help = "the node to foretell",
                .value = &options->target,
                .required = true});
  command->Add({.names = "--folds",
                .form = "K",
                .help = "how many parts, each foretold from the others; 10 if left out",
                .value = &options->folds,
                .check = CheckPositive});
  command->Add({.names = "--prior",
                .form = "E",
                .help = "cases a row of a table, spread evenly; 1 if left out",
                .value = &options->prior,
                .check = CheckNotNegative});
  command->Add({.names = "--method",
                .form = "METHOD",
                .help = "learn the links in each fold: naive, hill, order, exact, tree or tan",
                .value = &options->search.method,
                .check = CheckMethodOrNaive});
  AddSearchOptions(command, &options->search, "--method");
  AddColumnOptions(command, &options->columns, "--net");
  command->Add({.names = "--seed",
                .form = "K",
                .help = "by which cases fall into folds; 1 if left out",
                .value = &options->seed});
  command->Add(
      {.names = "--threads", .form = "N", .help = THREADS_HELP, .value = &options->threads, .check = CheckNotNegative});
  command->Add(
      {.names = "--calibration", .help = "how often what had a belief came true", .value = &options->calibration});
  AddStrict(command, &options->strict);
  command->notes =
      "The tables, and with --method the links, are learned from all folds but one, and the target is foretold in "
      "that\n"
      "one from the other columns of each case. Piped, the output has a row for each fold, of columns separated by "
      "tabs:\n"
      "fold, cases, log loss (natural logarithm), Brier score, error rate, area under the ROC curve (* where all "
      "cases\n"
      "are in one state); the totals, over all cases together, come last and are headed *. Cases in which the target "
      "is\n"
      "missing are left out. With --calibration rows follow: calibration, from, to, count, mean belief, share true.";
}

// The cases of a file whose target is known, in memory.
struct Table {
  std::vector<node_bn> columns;
  std::vector<statetype> states;  // [cases x columns]
  std::vector<double> weights;    // [cases]

  std::size_t Size() const { return weights.size(); }
  const statetype* Row(std::size_t i) const { return &states[i * columns.size()]; }
  // The rows of some cases.
  Table Part(std::span<const std::size_t> rows) const {
    Table part{columns, {}, {}};
    for (std::size_t i : rows) {
      part.states.insert(part.states.end(), Row(i), Row(i) + columns.size());
      part.weights.push_back(weights[i]);
    }
    return part;
  }
};

class Validation {
 public:
  Validation(const Options& options, const Net& net, Session& session)
      : options_(options), net_(net), session_(session), target_(FindNode(options.target, net)) {}
  void Read(const InputFile& input);
  void Run();

 private:
  Net Model(std::vector<node_bn>* columns) const;
  void Learn(const Net& model, const std::vector<node_bn>& columns, const Table& cases);
  void LearnLinks(const Net& model, const std::vector<node_bn>& columns, const Table& cases);
  Judged Foretell(const std::vector<node_bn>& columns, const Table& cases);
  std::size_t Place() const {
    return static_cast<std::size_t>(std::find(table_.columns.begin(), table_.columns.end(), target_) -
                                    table_.columns.begin());
  }

  const Options& options_;
  const Net& net_;
  Session& session_;
  node_bn target_;
  Table table_;
};

void Validation::Read(const InputFile& input) {
  CaseBlocks blocks(input, net_, session_);
  table_.columns = blocks.Columns();
  std::erase_if(table_.columns, [](node_bn node) { return GetNodeKind_bn(node) != NATURE_NODE; });
  if (!CanBeTarget(target_)) throw Refusal("node '" + options_.target + "' has no beliefs");
  if (Place() == table_.columns.size())
    throw Refusal("the file has no column for the target '" + options_.target + "'");
  blocks.Choose(table_.columns, 0);
  const std::size_t width = table_.columns.size(), place = Place();
  while (blocks.Next()) {
    for (std::size_t i = 0; i < blocks.Size(); ++i) {
      const statetype* row = &blocks.States()[i * width];
      if (row[place] < 0) continue;
      table_.states.insert(table_.states.end(), row, row + width);
      table_.weights.push_back(blocks.Weight(i));
    }
  }
  if (table_.Size() < static_cast<std::size_t>(std::max(options_.folds, 2)) || options_.folds < 2)
    throw Refusal("there are " + std::to_string(table_.Size()) + " cases with a known target, too few for " +
                  std::to_string(options_.folds) + " folds (2 at least)");
}

// A copy of the net without tables, and with a method of learning without links; *columns: its nodes in place of the
// table's.
Net Validation::Model(std::vector<node_bn>* columns) const {
  Net model(NewNet_bn(GetNetName_bn(net_.get()), session_.Environment()));
  NodeList(DuplicateNodes_bn(GetNetNodes_bn(net_.get()), model.get()));
  for (node_bn node : table_.columns) columns->push_back(NodeNamed_bn(GetNodeName_bn(node), model.get()));
  for (node_bn node : Nodes(model)) {
    DeleteNodeRelation_bn(node);
    while (!options_.search.method.empty() && LengthNodeList_bn(GetNodeParents_bn(node)) > 0) DeleteLink_bn(0, node);
  }
  session_.Check();
  return model;
}

void Validation::LearnLinks(const Net& model, const std::vector<node_bn>& columns, const Table& cases) {
  node_bn target = NodeNamed_bn(GetNodeName_bn(target_), model.get());
  if (options_.search.method == NAIVE) {
    for (node_bn node : columns) {
      if (node != target) AddLink_bn(target, node);
    }
    session_.Check();
    return;
  }
  learn_links_bn how = HowToSearch(options_.search);
  how.seed = options_.seed;
  how.numthreads = options_.threads;
  if (options_.search.method == "tan") how.target = target;
  const NodeList list = MakeList(columns, session_);
  LearnLinksCases_bn(list.get(), cases.states.data(), cases.weights.data(), static_cast<long>(cases.Size()), list.get(),
                     &how, nullptr);
  session_.Check();
}

void Validation::Learn(const Net& model, const std::vector<node_bn>& columns, const Table& cases) {
  if (!options_.search.method.empty()) LearnLinks(model, columns, cases);
  std::vector<node_bn> nodes = Nodes(model);
  std::erase_if(nodes, [](node_bn node) { return GetNodeKind_bn(node) != NATURE_NODE; });
  const NodeList list = MakeList(columns, session_), learned = MakeList(nodes, session_);
  counts_bn counts = NewCounts_bn(learned.get());
  CountCases_bn(counts, list.get(), cases.states.data(), cases.weights.data(), static_cast<long>(cases.Size()));
  LearnCounts_bn(counts, options_.prior);
  FreeCounts_bn(counts);
  session_.Check();
  session_.Compile(model);
}

Judged Validation::Foretell(const std::vector<node_bn>& columns, const Table& cases) {
  const std::size_t place = Place(), width = columns.size();
  const auto numstates = static_cast<std::size_t>(GetNodeNumberStates_bn(target_));
  std::vector<statetype> states = cases.states;
  for (std::size_t i = 0; i < cases.Size(); ++i) states[i * width + place] = UNDEF_STATE;
  CaseQuestion question({columns[place]}, options_.threads);
  question.Ask(columns, states, cases.Size(), session_);
  Judged judged(numstates);
  for (std::size_t i = 0; i < cases.Size(); ++i)
    judged.Add({&question.beliefs[i * numstates], numstates}, cases.Row(i)[place], cases.weights[i]);
  return judged;
}

std::vector<std::string> RowOf(const std::string& head, const Judged& judged) {
  const double area = judged.RocArea();
  return {head,
          std::to_string(judged.NumCases()),
          NumberText(judged.LogLoss()),
          NumberText(judged.Brier()),
          NumberText(judged.ErrorRate()),
          area < 0 ? "*" : NumberText(area)};
}

void Validation::Run() {
  std::vector<std::size_t> order(table_.Size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  Draws draws(options_.seed);
  for (std::size_t i = order.size(); i > 1; --i) std::swap(order[i - 1], order[draws.Below(i)]);
  Columns rows({"fold", "cases", "log loss", "Brier", "error rate", "ROC area"});
  const auto folds = static_cast<std::size_t>(options_.folds);
  Judged all(static_cast<std::size_t>(GetNodeNumberStates_bn(target_)));
  for (std::size_t fold = 0; fold < folds; ++fold) {
    const std::size_t from = order.size() * fold / folds, to = order.size() * (fold + 1) / folds;
    std::vector<std::size_t> rest(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(from));
    rest.insert(rest.end(), order.begin() + static_cast<std::ptrdiff_t>(to), order.end());
    std::vector<node_bn> columns;
    const Net model = Model(&columns);
    Learn(model, columns, table_.Part(rest));
    const Judged judged = Foretell(columns, table_.Part(std::span(order).subspan(from, to - from)));
    rows.Add(RowOf(std::to_string(fold + 1), judged));
    all.Add(judged);
    ShowProgressBar(nullptr, "Validating", static_cast<double>(fold + 1) / static_cast<double>(folds), 0);
  }
  EndProgressBar();
  rows.Add(RowOf("*", all));
  rows.Print();
  if (!options_.calibration) return;
  Columns calibration({"", "from", "to", "count", "mean belief", "share true"});
  const std::vector<Judged::Bin> bins = all.Calibration();
  for (std::size_t i = 0; i < bins.size(); ++i) {
    const auto width = 1.0 / Judged::NUM_BINS, from = static_cast<double>(i) * width;
    if (bins[i].count > 0)
      calibration.Add({"calibration", NumberText(from), NumberText(from + width), NumberText(bins[i].count),
                       NumberText(bins[i].belief / bins[i].count), NumberText(bins[i].came / bins[i].count)});
  }
  calibration.Print();
}

int Run(const Options& options, Session& session) {
  session.BeStrict(options.strict);
  if (options.net.empty() && options.search.method.empty())
    throw Misuse("validate needs a --net, or a --method of learning one");
  const InputFile input(options.cases);
  const Net net =
      options.net.empty() ? NetOfCases(options.columns, {}, input, "Cases", session) : session.Read(options.net);
  session.Ignore(CONSTANT_COLUMN);
  Validation validation(options, net, session);
  validation.Read(input);
  SetThreads_ns(options.threads, session.Environment());
  validation.Run();
  return 0;
}

}  // namespace

void AddValidate(Program& program) {
  AddCommand<Options>(program, "validate", "Foretell a node in cases that were not learned from", Setup, Run);
}

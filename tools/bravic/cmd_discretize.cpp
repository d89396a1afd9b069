// bravic discretize: columns of numbers cut into intervals, which become the states of nodes.
#include <algorithm>

#include "Cases.h"
#include "Columns.h"
#include "Commands.h"
#include "Files.h"
#include "Learning.h"
#include "Spelling.h"
#include "Terminal.h"

namespace {

struct Options {
  std::string cases, net, output, method, target;
  std::vector<std::string> nodes;
  ColumnOptions columns;
  int bins = 0;
  bool force = false, strict = false;
};

const std::vector<std::string> METHODS = {"width", "count", "information"};
constexpr int INFORMATION = 2;

std::string CheckMethod(const std::string& text) {
  const bool isKnown = std::find(METHODS.begin(), METHODS.end(), text) != METHODS.end();
  return isKnown ? "" : "'" + text + "' is no method (width, count, information)";
}

void Setup(Command* command, Options* options) {
  command->Add({.names = "CASES", .help = CASES_HELP, .value = &options->cases, .required = true, .file = true});
  command->Add({.names = "--node",
                .form = "COLUMN",
                .help = "a column of numbers to cut; may be given several times",
                .value = &options->nodes,
                .required = true});
  command->Add({.names = "--method",
                .form = "METHOD",
                .help = "width, count or information; information if left out and there is a target, else count",
                .value = &options->method,
                .check = CheckMethod});
  command->Add({.names = "--bins",
                .form = "N",
                .help = "how many intervals at most; 5 if left out, 50 by information",
                .value = &options->bins,
                .check = CheckPositive});
  command->Add({.names = "--target",
                .form = "NODE",
                .help = "the node about which the intervals are to tell most",
                .value = &options->target});
  command->Add({.names = "--net",
                .form = "NET",
                .help = "the net whose nodes get the intervals; one made of all columns if left out",
                .value = &options->net,
                .file = true});
  AddColumnOptions(command, &options->columns, "--net");
  command->Add({.names = "--output,-o",
                .form = "OUT",
                .help = OUT_HELP,
                .value = &options->output,
                .required = true,
                .file = true});
  command->Add({.names = "--force", .help = FORCE_HELP, .value = &options->force});
  AddStrict(command, &options->strict);
  command->notes =
      "Piped, the output has a row for each node: its name and its bounds, separated by a tab and commas. An interval\n"
      "holds its lower bound; the outermost bounds are infinite. Missing entries are left out. The methods: width,\n"
      "intervals of equal width; count, intervals with equally many rows; information, the cuts that tell most about\n"
      "the target, as many as they are worth (Fayyad and Irani).";
}

int MethodOf(const Options& options) {
  const std::string name = !options.method.empty() ? options.method : options.target.empty() ? "count" : "information";
  const int method = static_cast<int>(std::find(METHODS.begin(), METHODS.end(), name) - METHODS.begin());
  if (method == INFORMATION && options.target.empty()) throw Misuse("--method information needs a --target");
  return method;
}

// A net for reading a given net's nodes as the file has them: the numbers as numbers, the target as it is.
Net ReadingNet(const std::vector<node_bn>& nodes, node_bn target, Session& session) {
  Net net(NewNet_bn("Reading", session.Environment()));
  for (node_bn node : nodes) {
    node_bn copy = NewNode_bn(GetNodeName_bn(node), 0, net.get());
    SetNodeText_bn(copy, "label", GetNodeText_bn(node, "label"));
  }
  if (target) NodeList(DuplicateNodes_bn(MakeList({&target, 1}, session).get(), net.get()));
  session.Check();
  return net;
}

struct ReadValues {
  std::vector<double> values;
  std::vector<int> classes;
};

// The node's values, and the target's states beside them. The net's findings are replaced.
ReadValues ReadColumn(node_bn node, node_bn target, filespec_ns file, Session& session) {
  ReadValues read;
  std::vector<node_bn> nodes = {node};
  if (target) nodes.push_back(target);
  const NodeList list = MakeList(nodes, session);
  for (long position = FIRST_CASE;; position = NEXT_CASE) {
    ReadCase_bn(&position, file, list.get(), nullptr, nullptr);
    if (position == NO_MORE_CASES) break;
    if (position < 0) session.CheckCases();
    read.values.push_back(GetNodeValue_bn(node));
    if (target) read.classes.push_back(GetNodeFinding_bn(target));
    if (read.values.size() % 1024 == 0) session.CheckCases();
  }
  session.CheckCases();
  return read;
}

std::string Text(const std::vector<double>& bounds) {
  std::string text;
  for (double bound : bounds) {
    if (!text.empty()) text += ",";
    text += bound == inf_dbl_ns ? "inf" : bound == -inf_dbl_ns ? "-inf" : NumberText(bound);
  }
  return text;
}

// As a command line or a file spells it.
node_bn NumberNode(const std::string& name, const Net& net) {
  node_bn node = FindNode(name, net);
  if (GetNodeDiscrete_bn(node))
    throw Refusal("node '" + name + "' has states of its own, which no intervals can take the place of");
  return node;
}

int Run(const Options& options, Session& session) {
  session.BeStrict(options.strict);
  const int method = MethodOf(options);
  const InputFile input(options.cases);
  const Net net = options.net.empty() ? NetOfCases(options.columns, options.nodes, input, "Cases", session)
                                      : session.Read(options.net);
  std::vector<node_bn> nodes;
  for (const std::string& name : options.nodes) nodes.push_back(NumberNode(name, net));
  node_bn target = options.target.empty() || method != INFORMATION ? nullptr : FindNode(options.target, net);
  if (target && std::find(nodes.begin(), nodes.end(), target) != nodes.end())
    throw Misuse("the target itself cannot be cut by what it tells");
  if (target && GetNodeNumberStates_bn(target) == 0) throw Refusal("the target '" + options.target + "' has no states");
  const Net reading = ReadingNet(nodes, target, session);
  node_bn readTarget = target ? NodeNamed_bn(GetNodeName_bn(target), reading.get()) : nullptr;
  session.Ignore(COLUMNS_SKIPPED);  // the net for reading has few
  const int bins = options.bins > 0 ? options.bins : method == INFORMATION ? 50 : 5;
  Columns columns({"node", "bounds"});
  for (node_bn node : nodes) {
    const File file = session.Named(input);
    const ReadValues read =
        ReadColumn(NodeNamed_bn(GetNodeName_bn(node), reading.get()), readTarget, file.get(), session);
    std::vector<double> bounds(static_cast<std::size_t>(bins) + 1);
    const long count = FindIntervals_bn(read.values.data(), target ? read.classes.data() : nullptr,
                                        static_cast<long>(read.values.size()), method, bins, bounds.data());
    session.Check();
    bounds.resize(static_cast<std::size_t>(count) + 1);
    SetNodeLevels_bn(node, static_cast<int>(count), bounds.data());
    session.Check();
    if (count == 1)
      Complain("warning: '" + std::string(GetNodeName_bn(node)) + "' is left in one interval" +
               (target ? ", for no cut tells enough about '" + options.target + "'" : ""));
    columns.Add({GetNodeName_bn(node), Text(bounds)});
  }
  session.Write(net, options.output, options.force);
  columns.Print();
  return 0;
}

}  // namespace

void AddDiscretize(Program& program) {
  AddCommand<Options>(program, "discretize", "Cut columns of numbers into intervals", Setup, Run);
}

// bravic check: reads and compiles a net, prints what is wrong with it and how large it is.
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "Commands.h"
#include "Terminal.h"

namespace {

struct Options {
  std::string net;
};

void Setup(CLI::App* command, Options* options) {
  command->add_option("NET", options->net, "net file")->required();
}

void PrintSize(const char* label, double value, const char* unit = "") {
  std::printf(OutputIsTerminal() ? "%-20s %15.12g%s\n" : "%s\t%.12g%s\n", label, value, unit);
}

struct TreeSizes {
  int cliques = 0;
  double largest = 0, total = 0;
};

// From the text of the junction-tree report: a heading, then one line per clique, " 0  [1]   8  (*A, *B)", then
// "Total state space = 24".
TreeSizes SizesOf(std::string_view report) {
  TreeSizes sizes;
  for (std::size_t start = report.find('\n') + 1; start != 0 && start < report.size();) {
    const std::size_t end = std::min(report.find('\n', start), report.size());
    const std::string line(report.substr(start, end - start));
    start = end + 1;
    if (const auto bracket = line.find(']'); bracket != std::string::npos && line.find('(') != std::string::npos) {
      ++sizes.cliques;
      sizes.largest = std::max(sizes.largest, std::strtod(line.c_str() + bracket + 1, nullptr));
    } else if (const auto equals = line.find('='); equals != std::string::npos) {
      sizes.total = std::strtod(line.c_str() + equals + 1, nullptr);
    }
  }
  return sizes;
}

bool PrintMessages(Session& session) {
  std::vector<std::string> messages;
  const bool failed = session.TakeMessages(&messages);
  for (const auto& message : messages) Complain(message);
  return failed;
}

int Run(const Options& options, Session& session) {
  const Net net = session.ReadAsFarAsPossible(options.net);
  bool failed = PrintMessages(session);
  if (!net) return 1;

  double links = 0, parameters = 0;
  int decisions = 0;
  const auto nodes = Nodes(net);
  for (node_bn node : nodes) {
    const auto parents = Nodes(GetNodeParents_bn(node));
    links += static_cast<double>(parents.size());
    const int kind = GetNodeKind_bn(node);
    decisions += kind == DECISION_NODE || kind == UTILITY_NODE;
    if (kind != NATURE_NODE) continue;
    double rows = 1;
    for (node_bn parent : parents) rows *= GetNodeNumberStates_bn(parent);
    parameters += rows * std::max(0, GetNodeNumberStates_bn(node) - 1);
  }
  PrintSize("nodes", static_cast<double>(nodes.size()));
  PrintSize("links", links);
  PrintSize("parameters", parameters);
  if (decisions > 0) {
    PrintSize("decisions, utilities", decisions);
  } else if (!failed) {
    CompileNet_bn(net.get());
    failed = PrintMessages(session);
    if (!failed) {
      const TreeSizes sizes = SizesOf(JunctionTreeReport_bn(net.get()));
      PrintSize("cliques", sizes.cliques);
      PrintSize("largest clique", sizes.largest);
      PrintSize("total state space", sizes.total);
    }
  }
  if (const long long kilobytes = PeakMemoryKilobytes(); kilobytes >= 0) {
    PrintSize("peak memory", static_cast<double>(kilobytes), " KB");
  }
  return failed ? 1 : 0;
}

}  // namespace

void AddCheck(Program& program) {
  AddCommand<Options>(program, "check", "Read and compile a net; print its problems and sizes", Setup, Run);
}

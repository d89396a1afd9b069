// bravic show: a picture of a net with its beliefs, or of its junction tree.
#include <algorithm>

#include "Commands.h"
#include "Drawing.h"
#include "Files.h"
#include "Findings.h"
#include "Graphviz.h"
#include "Terminal.h"

namespace {

struct Options {
  std::string net, output;
  FindingOptions findings;
  bool tree = false;
};

// "svg", "png" or "pdf"; empty for any other name.
std::string FormatOf(const std::string& path) {
  const auto dot = path.rfind('.');
  std::string extension = dot == std::string::npos ? "" : path.substr(dot + 1);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return extension == "svg" || extension == "png" || extension == "pdf" ? extension : "";
}

std::string CheckPicture(const std::string& path) {
  return FormatOf(path).empty() ? "'" + path + "' does not end in .svg, .png or .pdf" : "";
}

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  AddFindingOptions(command, &options->findings);
  command->Add({.names = "--tree",
                .help = "draw the junction tree, to which findings make no difference",
                .value = &options->tree});
  command->Add({.names = "--output,-o",
                .form = "FILE",
                .help = "the picture to write: .svg, .png or .pdf",
                .value = &options->output,
                .required = true,
                .file = true,
                .check = CheckPicture});
  command->notes =
      "Each node is a box with its title, its states and their probabilities in percent. Findings are yellow\n"
      "(dashed where states are weighed or excluded), decisions green with sharp corners, utilities hexagons,\n"
      "constants dotted; dashed links tell what is known when a decision is taken. Of nets of more than 150\n"
      "nodes the names alone are drawn. A net that can't be compiled is drawn without probabilities. Pictures\n"
      "are made by Graphviz, which must be installed.";
}

// Whether there are beliefs to draw. A net of decisions has none; what else stands in the way is told.
bool CompileIfPossible(const Net& net, Session& session) {
  const std::vector<node_bn> nodes = Nodes(net);
  if (nodes.size() > MOST_NODES_IN_DETAIL) return false;
  const auto isOfDecisions = [](node_bn node) {
    return GetNodeKind_bn(node) == DECISION_NODE || GetNodeKind_bn(node) == UTILITY_NODE;
  };
  if (std::any_of(nodes.begin(), nodes.end(), isOfDecisions)) return false;
  CompileNet_bn(net.get());
  bool isCompiled = true;
  for (const Message& message : session.TakeMessages()) {
    isCompiled &= !message.isError;
    Complain(message.isError ? Message{.text = "drawn without probabilities: " + message.text} : message);
  }
  return isCompiled;
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  OutputFile picture(options.output);
  std::string graph;
  if (options.tree) {
    session.Compile(net);
    graph = DrawTree(net, ParseTreeReport(JunctionTreeReport_bn(net.get())));
  } else {
    const bool isCompiled = CompileIfPossible(net, session);
    EnterFindings(options.findings, net, session);
    graph = DrawNet(net, isCompiled);
  }
  session.Check();
  MakePicture(graph, FormatOf(options.output), picture.TemporaryPath());
  picture.Finish();
  return DONE;
}

}  // namespace

void AddShow(Program& program) {
  AddCommand<Options>(program, "show", "Draw a net with its beliefs, or its junction tree", Setup, Run);
}

// bravic mpe: the most probable configuration given findings.
#include <algorithm>
#include <cstdio>

#include "Commands.h"
#include "Findings.h"
#include "Json.h"
#include "Spelling.h"
#include "Terminal.h"

namespace {

struct Options {
  std::string net;
  FindingOptions findings;
  bool json = false;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  AddFindingOptions(command, &options->findings);
  command->Add({.names = "--json", .help = "print JSON", .value = &options->json});
  command->notes =
      "Piped, the output has one row per node with the columns node, state and finding (found, excluded,\n"
      "weighed or empty), separated by tabs; the last row is \"*\", \"configuration\" and its probability.";
}

// Whether another state of the node is as probable as its most probable one.
bool IsTied(node_bn node) {
  const probtype* beliefs = GetNodeBeliefs_bn(node);
  const int numstates = GetNodeNumberStates_bn(node);
  return std::count(beliefs, beliefs + numstates, *std::max_element(beliefs, beliefs + numstates)) > 1;
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  SetNetFindMPE_bn(net.get(), 1);
  session.Compile(net);
  EnterFindings(options.findings, net, session);
  const double probability = CaseProbability_bn(net.get());
  session.Check();

  std::vector<node_bn> nodes = Nodes(net);
  std::erase_if(nodes, [](node_bn node) { return GetNodeKind_bn(node) != NATURE_NODE; });
  const bool aligned = OutputIsTerminal();
  std::size_t width = 0;
  for (node_bn node : nodes) width = std::max(width, std::string(GetNodeName_bn(node)).size());

  Json list = Json::array();
  int numTied = 0;
  for (node_bn node : nodes) {
    const statetype state = GetNodeMostProbable_bn(node);
    const std::string text = StateText(node, state);
    const Mark mark = MarkOf(node, state);
    numTied += IsTied(node);
    if (options.json) {
      Json entry{{"name", GetNodeName_bn(node)}, {"state", text}};
      if (mark != Mark::None) entry["finding"] = MarkText(mark);
      list.push_back(entry);
    } else if (aligned) {
      std::printf("%-*s  %s%s\n", static_cast<int>(width), GetNodeName_bn(node), text.c_str(),
                  mark == Mark::Found ? " <- finding" : "");
    } else {
      std::printf("%s\t%s\t%s\n", GetNodeName_bn(node), text.c_str(), MarkText(mark));
    }
  }
  if (options.json) {
    const Json result{{"net", GetNetName_bn(net.get())}, {"configuration", list}, {"probability", probability}};
    std::printf("%s\n", result.dump(2).c_str());
  } else {
    std::printf(aligned ? "\nProbability of the configuration: %.6g\n" : "*\tconfiguration\t%.6g\n", probability);
  }
  session.Check();
  if (numTied > 0) {
    Complain("warning: several configurations are equally probable (" + std::to_string(numTied) +
             " nodes have ties); add findings to choose between them");
  }
  return 0;
}

}  // namespace

void AddMpe(Program& program) {
  AddCommand<Options>(program, "mpe", "Show the most probable configuration given findings", Setup, Run);
}

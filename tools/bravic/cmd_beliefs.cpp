// bravic beliefs: every node's beliefs given findings.
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
  std::vector<std::string> nodes;
  bool json = false, bars = false;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  AddFindingOptions(command, &options->findings);
  command->Add({.names = "--node", .form = "NODE", .help = "show this node only", .value = &options->nodes});
  command->Add({.names = "--json", .help = "print JSON", .value = &options->json});
  command->Add({.names = "--bars",
                .help = "print rows with bars even when the output is no terminal",
                .value = &options->bars,
                .excludes = "--json"});
  command->notes =
      "Piped, the output has one row per state with the columns node, state, belief and finding (found,\n"
      "excluded, weighed or empty), separated by tabs; the last row is \"*\", \"findings\" and their probability.";
}

std::string Bar(double belief, int width) {
  if (!TerminalShowsBlocks()) return std::string(static_cast<std::size_t>(belief * width + 0.5), '#');
  static const char* const parts[] = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
  const int eighths = static_cast<int>(belief * width * 8 + 0.5);
  std::string bar;
  for (int i = 0; i < eighths / 8; ++i) bar += "█";
  return bar + parts[eighths % 8];
}

void PrintBars(const std::vector<node_bn>& nodes, const Net& net) {
  std::size_t nameWidth = 0, stateWidth = 0;
  for (node_bn node : nodes) {
    nameWidth = std::max(nameWidth, std::string(GetNodeName_bn(node)).size());
    for (int s = 0; s < GetNodeNumberStates_bn(node); ++s) {
      stateWidth = std::max(stateWidth, StateText(node, s).size());
    }
  }
  const int barWidth = std::clamp(TerminalWidth() - static_cast<int>(nameWidth + stateWidth) - 23, 10, 40);
  std::printf("%s\n\n", TitleOf(net).c_str());
  for (node_bn node : nodes) {
    const probtype* beliefs = GetNodeBeliefs_bn(node);
    for (int s = 0; s < GetNodeNumberStates_bn(node); ++s) {
      const Mark mark = MarkOf(node, s);
      const char* note = mark == Mark::Found      ? "<- finding"
                         : mark == Mark::Excluded ? "<- not"
                         : mark == Mark::Weighed  ? "<- likelihood"
                                                  : "";
      std::string line(256, '\0');
      line.resize(static_cast<std::size_t>(
          std::snprintf(line.data(), line.size(), "%-*s  %-*s  %8.4f%%  ", static_cast<int>(nameWidth),
                        s == 0 ? GetNodeName_bn(node) : "", static_cast<int>(stateWidth), StateText(node, s).c_str(),
                        beliefs[s] * 100.0)));
      line += Bar(beliefs[s], barWidth);
      if (*note) line += std::string(line.back() == ' ' ? "" : " ") + note;
      line.erase(line.find_last_not_of(' ') + 1);
      std::printf("%s\n", line.c_str());
    }
  }
}

void PrintRows(const std::vector<node_bn>& nodes) {
  for (node_bn node : nodes) {
    const probtype* beliefs = GetNodeBeliefs_bn(node);
    for (int s = 0; s < GetNodeNumberStates_bn(node); ++s) {
      std::printf("%s\t%s\t%.6g\t%s\n", GetNodeName_bn(node), StateText(node, s).c_str(),
                  static_cast<double>(beliefs[s]), MarkText(MarkOf(node, s)));
    }
  }
}

Json JsonOf(const std::vector<node_bn>& nodes, const Net& net) {
  Json list = Json::array();
  for (node_bn node : nodes) {
    const probtype* beliefs = GetNodeBeliefs_bn(node);
    Json states = Json::array();
    for (int s = 0; s < GetNodeNumberStates_bn(node); ++s) {
      Json state{{"name", StateText(node, s)}, {"belief", Shortest(beliefs[s])}};
      if (const Mark mark = MarkOf(node, s); mark != Mark::None) state["finding"] = MarkText(mark);
      states.push_back(state);
    }
    list.push_back({{"name", GetNodeName_bn(node)}, {"states", states}});
  }
  return {
      {"net", GetNetName_bn(net.get())}, {"nodes", list}, {"probability_of_findings", CaseProbability_bn(net.get())}};
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  session.Compile(net);
  EnterFindings(options.findings, net, session);
  const double probability = CheckPossible(net, session);

  std::vector<node_bn> nodes;
  if (options.nodes.empty()) {
    nodes = Nodes(net);
    std::erase_if(nodes, [](node_bn node) { return GetNodeKind_bn(node) != NATURE_NODE; });
  } else {
    for (const auto& name : options.nodes) nodes.push_back(FindNode(name, net));
  }
  if (options.json) {
    std::printf("%s\n", JsonOf(nodes, net).dump(2).c_str());
  } else if (options.bars || OutputIsTerminal()) {
    PrintBars(nodes, net);
    std::printf("\nProbability of the findings: %.6g\n", probability);
  } else {
    PrintRows(nodes);
    std::printf("*\tfindings\t%.6g\n", probability);
  }
  session.Check();
  return 0;
}

}  // namespace

void AddBeliefs(Program& program) {
  AddCommand<Options>(program, "beliefs", "Show the beliefs of nodes given findings", Setup, Run);
}

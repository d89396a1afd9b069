// bravic mpe: the most probable configuration given findings, the several most probable ones, or the most probable
// joint states of some nodes.
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
  int count = 1;
  std::vector<std::string> nodes;
  bool json = false;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  AddFindingOptions(command, &options->findings);
  command->Add({.names = "--count",
                .form = "K",
                .help = "the K most probable configurations, best first",
                .value = &options->count,
                .check = CheckPositive});
  command->Add({.names = "--node",
                .form = "NODE",
                .help = "the most probable joint states of the nodes named so, all others summed out",
                .value = &options->nodes,
                .excludes = "--count"});
  command->Add({.names = "--json", .help = "print JSON", .value = &options->json});
  command->notes =
      "Piped, the output has one row per node with the columns node, state and finding (found, excluded,\n"
      "weighed or empty), separated by tabs; the last row is \"*\", \"configuration\" and its probability.\n"
      "Of several configurations each row begins with the rank, from 1; there may be fewer than asked for.";
}

// States of some nodes, and their probability together with the findings.
struct Configuration {
  std::vector<statetype> states;
  double probability = 0;
};

// Whether another state of the node is as probable as its most probable one.
bool IsTied(node_bn node) {
  const probtype* beliefs = GetNodeBeliefs_bn(node);
  const int numstates = GetNodeNumberStates_bn(node);
  return std::count(beliefs, beliefs + numstates, *std::max_element(beliefs, beliefs + numstates)) > 1;
}

Configuration FindMostProbable(const std::vector<node_bn>& nodes, const Net& net, Session& session) {
  Configuration best{{}, CheckPossible(net, session)};
  int numTied = 0;
  for (node_bn node : nodes) {
    best.states.push_back(GetNodeMostProbable_bn(node));
    numTied += IsTied(node);
  }
  session.Check();
  if (numTied > 0) {
    Complain("warning: several configurations are equally probable (" + std::to_string(numTied) +
             " nodes have ties); add findings to choose between them");
  }
  return best;
}

std::vector<Configuration> FindSeveral(int count, const std::vector<node_bn>& nodes, const Net& net, Session& session) {
  const std::vector<node_bn> all = Nodes(net);
  double most = 1;
  for (node_bn node : nodes) most *= GetNodeNumberStates_bn(node);
  const auto numAsked = static_cast<std::size_t>(std::min<double>(count, most));
  std::vector<statetype> states(numAsked * all.size());
  std::vector<double> probs(numAsked);
  const int numFound = MostProbableConfigs_bn(net.get(), static_cast<int>(numAsked), states.data(), probs.data());
  session.Check();
  std::vector<Configuration> found(static_cast<std::size_t>(numFound));
  for (std::size_t i = 0; i < found.size(); ++i) {
    found[i].probability = probs[i];
    for (std::size_t k = 0; k < all.size(); ++k)
      if (states[i * all.size() + k] != UNDEF_STATE) found[i].states.push_back(states[i * all.size() + k]);
  }
  return found;
}

Configuration FindJointly(const std::vector<node_bn>& nodes, Session& session) {
  Configuration best{std::vector<statetype>(nodes.size()), 0};
  const NodeList list = MakeList(nodes, session);
  MostProbableStates_bn(list.get(), best.states.data(), &best.probability);
  session.Check();
  return best;
}

Json JsonOf(const Configuration& configuration, const std::vector<node_bn>& nodes) {
  Json list = Json::array();
  for (std::size_t k = 0; k < nodes.size(); ++k) {
    const statetype state = configuration.states[k];
    Json entry{{"name", GetNodeName_bn(nodes[k])}, {"state", StateText(nodes[k], state)}};
    const Mark mark = MarkOf(nodes[k], state);
    if (mark != Mark::None) entry["finding"] = MarkText(mark);
    list.push_back(entry);
  }
  return list;
}

// rank: 0 for the only one.
void PrintRows(const Configuration& configuration, const std::vector<node_bn>& nodes, int rank) {
  const std::string head = rank > 0 ? std::to_string(rank) + "\t" : "";
  for (std::size_t k = 0; k < nodes.size(); ++k) {
    const statetype state = configuration.states[k];
    std::printf("%s%s\t%s\t%s\n", head.c_str(), GetNodeName_bn(nodes[k]), StateText(nodes[k], state).c_str(),
                MarkText(MarkOf(nodes[k], state)));
  }
  std::printf("%s*\tconfiguration\t%.6g\n", head.c_str(), configuration.probability);
}

void PrintAligned(const Configuration& configuration, const std::vector<node_bn>& nodes, int rank) {
  std::size_t width = 0;
  for (node_bn node : nodes) width = std::max(width, std::string(GetNodeName_bn(node)).size());
  if (rank > 0) std::printf("%s%d.\n", rank > 1 ? "\n" : "", rank);
  for (std::size_t k = 0; k < nodes.size(); ++k) {
    const statetype state = configuration.states[k];
    std::printf("%-*s  %s%s\n", static_cast<int>(width), GetNodeName_bn(nodes[k]), StateText(nodes[k], state).c_str(),
                MarkOf(nodes[k], state) == Mark::Found ? " <- finding" : "");
  }
  std::printf("%sProbability of the configuration: %.6g\n", rank > 0 ? "" : "\n", configuration.probability);
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  const bool isOfSome = !options.nodes.empty(), isSeveral = options.count > 1;
  SetNetFindMPE_bn(net.get(), !isOfSome && !isSeveral);
  session.Compile(net);
  EnterFindings(options.findings, net, session);
  std::vector<node_bn> nodes;
  for (const std::string& name : options.nodes) nodes.push_back(FindNode(name, net));
  if (!isOfSome) {
    nodes = Nodes(net);
    std::erase_if(nodes, [](node_bn node) { return GetNodeKind_bn(node) != NATURE_NODE; });
  }
  std::vector<Configuration> found;
  if (isSeveral)
    found = FindSeveral(options.count, nodes, net, session);
  else
    found.push_back(isOfSome ? FindJointly(nodes, session) : FindMostProbable(nodes, net, session));

  if (options.json) {
    Json result{{"net", GetNetName_bn(net.get())}};
    for (const Configuration& each : found) {
      const Json one{{"configuration", JsonOf(each, nodes)}, {"probability", each.probability}};
      if (isSeveral)
        result["configurations"].push_back(one);
      else
        result.update(one);
    }
    std::printf("%s\n", result.dump(2).c_str());
    return DONE;
  }
  int rank = 0;
  for (const Configuration& each : found)
    (OutputIsTerminal() ? PrintAligned : PrintRows)(each, nodes, isSeveral ? ++rank : 0);
  return DONE;
}

}  // namespace

void AddMpe(Program& program) {
  AddCommand<Options>(program, "mpe", "Show the most probable configuration given findings", Setup, Run);
}

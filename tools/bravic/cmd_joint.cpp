// bravic joint: the joint distribution of some nodes given findings.
#include "Columns.h"
#include "Commands.h"
#include "Findings.h"
#include "Spelling.h"

namespace {

struct Options {
  std::string net;
  FindingOptions findings;
  std::vector<std::string> nodes;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  command->Add(
      {.names = "--node", .form = "NODE", .help = "one of the nodes", .value = &options->nodes, .required = true});
  AddFindingOptions(command, &options->findings);
  command->notes =
      "Piped, the output has one row per configuration with a column for each node's state and the\n"
      "probability, separated by tabs; the last node's states run fastest.";
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  session.Compile(net);
  EnterFindings(options.findings, net, session);
  std::vector<node_bn> nodes;
  std::vector<std::string> heads;
  double size = 1;
  for (const auto& name : options.nodes) {
    nodes.push_back(FindNode(name, net));
    heads.emplace_back(GetNodeName_bn(nodes.back()));
    size *= GetNodeNumberStates_bn(nodes.back());
  }
  constexpr double MOST_ROWS = 1e8;
  if (size > MOST_ROWS) throw Refusal("the joint distribution has too many rows to be printed");
  heads.emplace_back("probability");
  CheckPossible(net, session);
  std::vector<double> probs(static_cast<std::size_t>(size));
  const NodeList list = MakeList(nodes, session);
  JointBeliefs_bn(list.get(), probs.data());
  session.Check();

  Columns columns(heads);
  std::vector<statetype> states(nodes.size(), 0);
  for (double probability : probs) {
    std::vector<std::string> row;
    for (std::size_t k = 0; k < nodes.size(); ++k) row.push_back(StateText(nodes[k], states[k]));
    row.push_back(NumberText(probability));
    columns.Add(std::move(row));
    for (std::size_t k = nodes.size(); k-- > 0 && ++states[k] == GetNodeNumberStates_bn(nodes[k]);) states[k] = 0;
  }
  columns.Print();
  return 0;
}

}  // namespace

void AddJoint(Program& program) {
  AddCommand<Options>(program, "joint", "Show the joint distribution of nodes given findings", Setup, Run);
}

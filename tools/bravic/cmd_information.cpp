// bravic information: what is to be learned about a node by looking at the others.
#include <algorithm>

#include "Columns.h"
#include "Commands.h"
#include "Findings.h"
#include "Spelling.h"

namespace {

struct Options {
  std::string net, target;
  FindingOptions findings;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  command->Add({.names = "--target",
                .form = "NODE",
                .help = "the node of interest",
                .value = &options->target,
                .required = true});
  AddFindingOptions(command, &options->findings);
  command->notes =
      "Piped, the output has one row per node with the columns node, mutual information with the target in\n"
      "bits, its share of the target's entropy and, for a target with levels, by how much its variance is\n"
      "expected to fall, separated by tabs; the most informative node first.";
}

bool HasLevels(node_bn node) {
  return GetNodeLevel_bn(node, 0) != undef_dbl_ns;
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  session.Compile(net);
  EnterFindings(options.findings, net, session);
  node_bn target = FindNode(options.target, net);
  CheckPossible(net, session);
  std::vector<node_bn> nodes = Nodes(net);
  std::erase_if(nodes, [&](node_bn node) { return node == target || GetNodeKind_bn(node) != NATURE_NODE; });
  nodes.push_back(target);
  const NodeList list = MakeList(nodes, session);
  std::vector<double> bits(nodes.size()), reductions;
  InformationGains_bn(target, list.get(), bits.data());
  session.Check();
  if (HasLevels(target)) {
    reductions.resize(nodes.size());
    VarianceReductions_bn(target, list.get(), reductions.data());
  }
  session.Check();

  // The target's own is its entropy.
  const double entropy = bits.back();
  std::vector<std::size_t> order(nodes.size() - 1);
  for (std::size_t k = 0; k < order.size(); ++k) order[k] = k;
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return bits[a] > bits[b]; });
  std::vector<std::string> heads = {"node", "bits", "share"};
  if (!reductions.empty()) heads.emplace_back("variance");
  Columns columns(heads);
  for (std::size_t k : order) {
    std::vector<std::string> row = {GetNodeName_bn(nodes[k]), NumberText(bits[k]),
                                    NumberText(entropy > 0 ? bits[k] / entropy : 0)};
    if (!reductions.empty()) row.push_back(NumberText(reductions[k]));
    columns.Add(std::move(row));
  }
  columns.Print();
  return 0;
}

}  // namespace

void AddInformation(Program& program) {
  AddCommand<Options>(program, "information", "Rank nodes by what they tell about another one", Setup, Run);
}

// bravic learn: tables revised by the cases of files.
#include "Cases.h"
#include "Commands.h"
#include "Terminal.h"

namespace {

struct Options {
  std::string net, output = "-";
  std::vector<std::string> cases, nodes;
  double degree = 1, fade = 0;
};

void Setup(CLI::App* command, Options* options) {
  command->add_option("NET", options->net, "net file")->required();
  command->add_option("CASES", options->cases, "case files; - is the standard input")->required();
  command->add_option("--output,-o", options->output, "write the net there (the standard output if left out)")
      ->type_name("OUT");
  command->add_option("--degree", options->degree, "weight of every case; negative unlearns")->type_name("D");
  command->add_option("--fade", options->fade, "first forget this share of what was learned (0 to 1)")->type_name("F");
  command->add_option("--node", options->nodes, "revise this node only; may be repeated")
      ->type_name("NODE")
      ->allow_extra_args(false);
  command->footer("A node without experience learns as if its table stood for one case per state.");
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  std::vector<node_bn> nodes;
  for (const std::string& name : options.nodes) nodes.push_back(FindNode(name, net));
  if (options.nodes.empty()) nodes = Nodes(net);
  std::erase_if(nodes, [](node_bn node) { return GetNodeKind_bn(node) != NATURE_NODE; });
  if (options.fade != 0) {
    for (node_bn node : nodes) {
      if (HasRelation_bn(node) && !IsNodeDeterministic_bn(node)) FadeProbs_bn(node, options.fade);
      session.Check();
    }
  }
  const NodeList list = MakeList(nodes, session);
  for (const std::string& path : options.cases) {
    const CaseInput cases(path, session);
    CaseFileRevisesProbs_bn(cases.Spec(), list.get(), 0, options.degree);
    CheckCases(session);
  }
  if (options.output != "-") {
    session.Write(net, options.output);
    return 0;
  }
  WholeOutput output(options.output, false);
  session.Write(net, output.TemporaryPath());
  output.Finish();
  return 0;
}

}  // namespace

void AddLearn(Program& program) {
  AddCommand<Options>(program, "learn", "Revise the tables of a net by cases", Setup, Run);
}

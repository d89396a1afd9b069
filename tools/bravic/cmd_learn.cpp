// bravic learn: tables revised by the cases of files.
#include "Cases.h"
#include "Commands.h"
#include "Files.h"
#include "Spelling.h"

namespace {

struct Options {
  std::string net, output = "-";
  std::vector<std::string> cases, nodes;
  double degree = 1, fade = 0;
  bool force = false, strict = false;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  command->Add({.names = "CASES",
                .help = "case files; - is the standard input",
                .value = &options->cases,
                .required = true,
                .file = true});
  command->Add({.names = "--output,-o",
                .form = "OUT",
                .help = "write the net to this file, in the format of its extension; the standard output if left out",
                .value = &options->output,
                .file = true});
  command->Add({.names = "--force", .help = FORCE_HELP, .value = &options->force});
  command->Add(
      {.names = "--degree", .form = "D", .help = "weight of every case; negative unlearns", .value = &options->degree});
  command->Add({.names = "--fade",
                .form = "F",
                .help = "first forget this share of what was learned (0 to 1)",
                .value = &options->fade});
  command->Add({.names = "--node", .form = "NODE", .help = "revise this node only", .value = &options->nodes});
  AddStrict(command, &options->strict);
  command->notes = "A node without experience learns as if its table stood for one case per state.";
}

int Run(const Options& options, Session& session) {
  session.BeStrict(options.strict);
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
    const InputFile input(path);
    const File cases = session.Named(input);
    CaseFileRevisesProbs_bn(cases.get(), list.get(), 0, options.degree);
    session.CheckCases();
  }
  session.Write(net, options.output, options.force);
  return 0;
}

}  // namespace

void AddLearn(Program& program) {
  AddCommand<Options>(program, "learn", "Revise the tables of a net by cases", Setup, Run);
}

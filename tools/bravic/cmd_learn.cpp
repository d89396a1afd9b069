// bravic learn: tables revised by the cases of files.
#include "Cases.h"
#include "Commands.h"
#include "Files.h"
#include "Learning.h"
#include "Spelling.h"

namespace {

struct Options {
  LearnOptions learn{.output = "-"};
  double degree = 1, fade = 0;
};

void Setup(Command* command, Options* options) {
  AddLearnOptions(command, &options->learn,
                  "write the net to this file, in the format of its extension; the standard output if left out");
  command->Add(
      {.names = "--degree", .form = "D", .help = "weight of every case; negative unlearns", .value = &options->degree});
  command->Add({.names = "--fade",
                .form = "F",
                .help = "first forget this share of what was learned (0 to 1)",
                .value = &options->fade});
  command->notes = "A node without experience learns as if its table stood for one case per state.";
}

int Run(const Options& options, Session& session) {
  session.BeStrict(options.learn.strict);
  const Net net = session.Read(options.learn.net);
  std::vector<node_bn> nodes;
  for (const std::string& name : options.learn.nodes) nodes.push_back(FindNode(name, net));
  if (options.learn.nodes.empty()) nodes = Nodes(net);
  std::erase_if(nodes, [](node_bn node) { return GetNodeKind_bn(node) != NATURE_NODE; });
  if (options.fade != 0) {
    for (node_bn node : nodes) {
      if (HasRelation_bn(node) && !IsNodeDeterministic_bn(node)) FadeProbs_bn(node, options.fade);
      session.Check();
    }
  }
  const NodeList list = MakeList(nodes, session);
  for (const std::string& path : options.learn.cases) {
    const InputFile input(path);
    const File cases = session.Named(input);
    CaseFileRevisesProbs_bn(cases.get(), list.get(), 0, options.degree);
    session.CheckCases();
  }
  session.Write(net, options.learn.output, options.learn.force);
  return 0;
}

}  // namespace

void AddLearn(Program& program) {
  AddCommand<Options>(program, "learn", "Revise the tables of a net by cases", Setup, Run);
}

// bravic explain: what each finding does to a belief, and which findings contradict each other.
#include <cstdio>

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
                .form = "NODE=STATE",
                .help = "the state of interest",
                .value = &options->target,
                .required = true,
                .check = CheckAssignment});
  AddFindingOptions(command, &options->findings);
  command->notes =
      "Piped, the output has one row per finding with the columns finding, belief in the state without it\n"
      "and belief with all, separated by tabs. For a state that is ruled out, rows follow that have \"*\" and a\n"
      "finding: a smallest set that rules it out. For findings that contradict each other there are only such\n"
      "rows, of a smallest set that does, and the exit code is 1.";
}

void PrintSet(nodelist_bn findings) {
  for (node_bn node : Nodes(findings)) std::printf("*\t%s\n", FindingText(node).c_str());
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  session.Compile(net);
  EnterFindings(options.findings, net, session);
  const auto [target, state] = FindNodeAndState(options.target, net);
  if (const NodeList set{Contradiction(net)}) {
    PrintSet(set.get());
    session.Check();
    return REFUSED;
  }
  session.Check();
  std::vector<node_bn> found = Nodes(net);
  std::erase_if(found, [](node_bn node) { return GetNodeKind_bn(node) != NATURE_NODE || FindingText(node).empty(); });
  const NodeList list = MakeList(found, session);
  std::vector<double> without(found.size() + 1);
  FindingImpacts_bn(target, state, list.get(), without.data());
  session.Check();
  const double belief = GetNodeBeliefs_bn(target)[state];
  Columns columns({"finding", "without it", "with all"});
  for (std::size_t k = 0; k < found.size(); ++k)
    columns.Add({FindingText(found[k]), NumberText(without[k]), NumberText(belief)});
  columns.Print();
  if (belief == 0) {
    const NodeList set(ConflictingFindings_bn(target, state));
    session.Check();
    PrintSet(set.get());
  }
  return 0;
}

}  // namespace

void AddExplain(Program& program) {
  AddCommand<Options>(program, "explain", "Show what each finding does to a belief", Setup, Run);
}

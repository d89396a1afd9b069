// bravic absorb: nodes taken out of a net, the joint distribution of the rest kept.
#include "Commands.h"
#include "Findings.h"
#include "Spelling.h"

namespace {

struct Options {
  std::string net, output;
  std::vector<std::string> nodes;
  bool force = false, leaveStored = false;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  command->Add(
      {.names = "--node,-n", .form = "NODE", .help = "a node to absorb", .value = &options->nodes, .required = true});
  command->Add({.names = "--output,-o",
                .form = "OUT",
                .help = OUT_HELP,
                .value = &options->output,
                .required = true,
                .file = true});
  AddStoredFindingsOption(command, &options->leaveStored);
  command->Add({.names = "--force", .help = FORCE_HELP, .value = &options->force});
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  TakeStoredFindings(options.leaveStored, net, session);
  std::vector<node_bn> nodes;
  for (const std::string& name : options.nodes) nodes.push_back(FindNode(name, net));
  AbsorbNodes_bn(MakeList(nodes, session).release());
  session.Check();
  session.Write(net, options.output, options.force);
  return 0;
}

}  // namespace

void AddAbsorb(Program& program) {
  AddCommand<Options>(program, "absorb", "Take nodes out of a net and keep what they say of the rest", Setup, Run);
}

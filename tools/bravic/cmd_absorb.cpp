// bravic absorb: nodes taken out of a net, the joint distribution of the rest kept.
#include "Commands.h"

namespace {

struct Options {
  std::string net, output;
  std::vector<std::string> nodes;
};

void Setup(CLI::App* command, Options* options) {
  command->add_option("NET", options->net, "net file")->required();
  command->add_option("--node,-n", options->nodes, "a node to absorb (again for more)")->required()->type_name("NODE");
  command->add_option("--output,-o", options->output, "the net file to write")->required()->type_name("OUT");
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  std::vector<node_bn> nodes;
  for (const std::string& name : options.nodes) nodes.push_back(FindNode(name, net));
  AbsorbNodes_bn(MakeList(nodes, session).release());
  session.Check();
  session.Write(net, options.output);
  return 0;
}

}  // namespace

void AddAbsorb(Program& program) {
  AddCommand<Options>(program, "absorb", "Take nodes out of a net and keep what they say of the rest", Setup, Run);
}

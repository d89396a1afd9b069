// bravic separated: whether nodes are separated from others by the links alone.
#include <cstdio>

#include "Commands.h"
#include "Spelling.h"

namespace {

struct Options {
  std::string net;
  std::vector<std::string> some, others, given;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  command->Add(
      {.names = "--node", .form = "NODE", .help = "one of the nodes", .value = &options->some, .required = true});
  command->Add({.names = "--from",
                .form = "NODE",
                .help = "one of those that they may be separated from",
                .value = &options->others,
                .required = true});
  command->Add({.names = "--given", .form = "NODE", .help = "what is known", .value = &options->given});
  command->notes =
      "Prints 1 where no path is open between them once those given are known, else 0; findings do not matter.";
}

NodeList Named(const std::vector<std::string>& names, const Net& net, const Session& session) {
  std::vector<node_bn> nodes;
  for (const auto& name : names) nodes.push_back(FindNode(name, net));
  return MakeList(nodes, session);
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  const NodeList some = Named(options.some, net, session), others = Named(options.others, net, session),
                 given = Named(options.given, net, session);
  const int answer = AreSeparated_bn(some.get(), others.get(), given.get());
  session.Check();
  std::printf("%d\n", answer);
  return 0;
}

}  // namespace

void AddSeparated(Program& program) {
  AddCommand<Options>(program, "separated", "Tell whether nodes are separated by the links alone", Setup, Run);
}

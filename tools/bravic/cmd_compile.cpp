// bravic compile: the junction tree of a net, and better elimination orders for it.
#include <cstdio>

#include "Commands.h"
#include "Files.h"
#include "Json.h"
#include "TreeReport.h"

namespace {

struct Options {
  std::string net, output;
  double seconds = 0;
  bool force = false, json = false;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  command->Add({.names = "--search",
                .form = "SECONDS",
                .help = "search this long for a better elimination order",
                .value = &options->seconds,
                .check = CheckPositive});
  command->Add({.names = "--output,-o",
                .form = "OUT",
                .help = "write the net with its elimination order to this file, in the format of its extension; - is "
                        "the standard output, in place of the tree",
                .value = &options->output,
                .file = true});
  command->Add({.names = "--force", .help = FORCE_HELP, .value = &options->force});
  command->Add({.names = "--json", .help = "print JSON", .value = &options->json});
}

Json JsonOf(const Net& net, const TreeReport& tree) {
  Json cliques = Json::array();
  for (const CliqueLine& clique : tree.cliques)
    cliques.push_back({{"size", CountOf(clique.size)},
                       {"members", clique.members},
                       {"home_of", clique.homeOf},
                       {"joined_to", clique.joined}});
  return {{"net", GetNetName_bn(net.get())},
          {"cliques", cliques},
          {"largest_clique", CountOf(tree.largest)},
          {"total_state_space", CountOf(tree.total)}};
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  if (options.seconds > 0) {
    FindElimOrder_bn(net.get(), options.seconds);
    session.Check();
  }
  session.Compile(net);
  const std::string report = JunctionTreeReport_bn(net.get());
  session.Check();
  const bool shown = options.output.empty() || !IsStandardOutput(options.output);
  if (shown)
    std::fputs(options.json ? JsonOf(net, ParseTreeReport(report)).dump(2).append("\n").c_str() : report.c_str(),
               stdout);
  if (!options.output.empty()) session.Write(net, options.output, options.force);
  return DONE;
}

}  // namespace

void AddCompile(Program& program) {
  AddCommand<Options>(program, "compile", "Show a net's junction tree; search for a smaller one", Setup, Run);
}

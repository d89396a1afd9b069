// bravic compile: the junction tree of a net, and better elimination orders for it.
#include <cstdio>

#include "Commands.h"
#include "Terminal.h"

namespace {

struct Options {
  std::string net, output;
  double seconds = 0;
};

void Setup(CLI::App* command, Options* options) {
  command->add_option("NET", options->net, "net file")->required();
  command->add_option("--search", options->seconds, "search this long for a better elimination order")
      ->type_name("SECONDS")
      ->check(CLI::PositiveNumber);
  command->add_option("--output,-o", options->output, "write the net, with its elimination order, to this file")
      ->type_name("OUT");
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  if (options.seconds > 0) {
    FindElimOrder_bn(net.get(), options.seconds);
    session.Check();
  }
  session.Compile(net);
  std::fputs(JunctionTreeReport_bn(net.get()), stdout);
  session.Check();
  if (!options.output.empty()) session.Write(net, options.output);
  return 0;
}

}  // namespace

void AddCompile(Program& program) {
  AddCommand<Options>(program, "compile", "Show a net's junction tree; search for a smaller one", Setup, Run);
}

// bravic format: a net file rewritten in the library's own form.
#include "Commands.h"
#include "Formats.h"
#include "Terminal.h"

namespace {

struct Options {
  std::string net, output = "-";
  bool force = false;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  command->Add({.names = "--output,-o",
                .form = "OUT",
                .help = "the file to write, which may be NET itself; the standard output if left out",
                .value = &options->output,
                .file = true});
  command->Add({.names = "--force",
                .help = "write what could be read, in spite of errors and over NET, too",
                .value = &options->force});
}

int Run(const Options& options, Session& session) {
  const Net net = options.force ? session.ReadAsFarAsPossible(options.net) : session.Read(options.net);
  for (const Message& message : session.TakeMessages()) Complain(message);
  if (!net) return REFUSED;
  session.Write(net, options.output, options.force, OWN_FORMAT);
  return DONE;
}

}  // namespace

void AddFormat(Program& program) {
  AddCommand<Options>(program, "format", "Rewrite a net file in the library's own form", Setup, Run);
}

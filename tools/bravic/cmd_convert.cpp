// bravic convert: a net written in another program's form, or in the library's own.
#include "Commands.h"
#include "Files.h"
#include "Formats.h"
#include "Terminal.h"

namespace {

struct Options {
  std::string in, out, from, to;
  bool force = false;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "IN", .help = NET_HELP, .value = &options->in, .required = true, .file = true});
  command->Add({.names = "OUT",
                .help = "the file to write, which may be IN itself; - is the standard output",
                .value = &options->out,
                .required = true,
                .file = true});
  command->Add({.names = "--from",
                .form = FORMAT_FORM,
                .help = "the format of IN, whatever its content tells",
                .value = &options->from,
                .check = CheckFormat});
  command->Add({.names = "--to",
                .form = FORMAT_FORM,
                .help = "the format of OUT, whatever its extension tells",
                .value = &options->to,
                .check = CheckFormat});
  command->Add({.names = "--force",
                .help = "write what could be read, in spite of errors and over IN, too",
                .value = &options->force});
  command->notes =
      "Problems are told as FILE:LINE: TEXT. With an error nothing is written, and what was in OUT stays; what the\n"
      "format of OUT cannot hold is named in one warning. The standard output gets the library's own form without "
      "--to.";
}

// The format to write. Throws where nothing tells it.
std::string FormatOf(const Options& options) {
  if (!options.to.empty()) return options.to;
  if (IsStandard(options.out)) return OWN_FORMAT;
  const std::string format = FormatOfExtension(options.out);
  if (!format.empty()) return format;
  throw Misuse("the extension of '" + options.out + "' is none of " + KnownExtensions() +
               "; name the format by --to (see bravic convert --help)");
}

int Run(const Options& options, Session& session) {
  const std::string format = FormatOf(options);
  const Net net = session.ReadAsFarAsPossible(options.in, options.from);
  bool isWhole = net != nullptr;
  for (const Message& message : session.TakeMessages()) {
    Complain(message);
    isWhole = isWhole && !message.isError;
  }
  if (!net || !(isWhole || options.force)) return REFUSED;
  session.Write(net, options.out, options.force, format);
  return DONE;
}

}  // namespace

void AddConvert(Program& program) {
  AddCommand<Options>(program, "convert", "Write a net in the form of another program", Setup, Run);
}

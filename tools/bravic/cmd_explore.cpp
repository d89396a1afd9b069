// bravic explore: a net as one page that opens anywhere, with the engine inside.
#include "Commands.h"
#include "Files.h"
#include "Findings.h"
#include "Page.h"

namespace {

struct Options {
  std::string net, output;
  FindingOptions findings;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  AddFindingOptions(command, &options->findings);
  command->Add({.names = "--output,-o",
                .form = "PAGE.html",
                .help = "the page to write; - is the standard output",
                .value = &options->output,
                .required = true,
                .file = true});
  command->notes =
      "The page needs nothing but itself: it can be opened from a file, sent and put anywhere. In it the net is drawn\n"
      "with its beliefs, which follow at once when states are pressed; the engine that computes them is inside, and\n"
      "nothing leaves the page. It starts with the findings given here and with those that the net holds.";
}

std::string TextOf(const Net& net, Session& session) {
  const long size = WriteNetText_bn(net.get(), nullptr, 0);
  session.Check();
  std::string text(static_cast<std::size_t>(size), '\0');
  WriteNetText_bn(net.get(), text.data(), size);
  session.Check();
  text.pop_back();
  return text;
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  EnterFindings(options.findings, net, session);
  OutputFile page(options.output);
  WriteWhole(PageOf(TextOf(net, session), TitleOf(net)), page.TemporaryPath());
  page.Finish();
  return DONE;
}

}  // namespace

void AddExplore(Program& program) {
  AddCommand<Options>(program, "explore", "Make a page in which a net can be explored", Setup, Run);
}

// bravic sample: a file of random cases.
#include <algorithm>
#include <fstream>
#include <iterator>

#include "Cases.h"
#include "Commands.h"
#include "Findings.h"
#include "Terminal.h"

namespace {

struct Options {
  std::string net, output = "-";
  long count = 0;
  int seed = 0;
  bool append = false;
  FindingOptions findings;
};

void Setup(CLI::App* command, Options* options) {
  command->add_option("NET", options->net, "net file")->required();
  command->add_option("--count,-n", options->count, "how many cases")
      ->required()
      ->check(CLI::NonNegativeNumber)
      ->type_name("COUNT");
  command->add_option("--output,-o", options->output, "the case file to write (the standard output if left out)")
      ->type_name("CASES");
  command->add_option("--seed", options->seed, "seed of the random numbers; 0, the default, takes the time")
      ->type_name("S");
  command->add_flag("--append", options->append, "add to the case file");
  AddFindingOptions(command, &options->findings);
  command->footer("Cases that disagree with the findings are drawn again, so rare findings take long.");
}

std::ptrdiff_t NumLines(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::count(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>(), '\n');
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  EnterFindings(options.findings, net, session);
  SeedRandom_ns(options.seed, session.Environment());
  WholeOutput output(options.output, options.append);
  constexpr std::ptrdiff_t HEAD_LINES = 3;
  const std::ptrdiff_t before = std::max(NumLines(output.TemporaryPath()), HEAD_LINES);
  const File file = session.Named(output.TemporaryPath());
  const int code =
      GenerateCases_bn(GetNetNodes_bn(net.get()), options.count, file.get(), -1, 0, options.append ? 1 : 0);
  if (code < 0) {
    const std::string done = std::to_string(NumLines(output.TemporaryPath()) - before) + " of " +
                             std::to_string(options.count) + " cases; no file was written";
    if (Interrupted()) throw Refusal("interrupted after " + done);
    session.Check();
    throw Refusal("nearly every draw disagrees with the findings: given up after " + done);
  }
  for (report_ns report = GetError_ns(session.Environment(), 2, nullptr); report;
       report = GetError_ns(session.Environment(), 2, report)) {
    if (ErrorDanger_ns(report) == 2) Complain(ErrorMessage_ns(report));
  }
  session.Check();
  output.Finish();
  return 0;
}

}  // namespace

void AddSample(Program& program) {
  AddCommand<Options>(program, "sample", "Draw random cases from a net", Setup, Run);
}

// bravic sample: a file of random cases.
#include <algorithm>
#include <fstream>
#include <iterator>

#include "Commands.h"
#include "Files.h"
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

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  command->Add({.names = "--count,-n",
                .form = "COUNT",
                .help = "how many cases",
                .value = &options->count,
                .required = true,
                .check = CheckNotNegative});
  command->Add({.names = "--output,-o",
                .form = "CASES",
                .help = "the case file to write; the standard output if left out",
                .value = &options->output,
                .file = true});
  command->Add({.names = "--seed",
                .form = "S",
                .help = "seed of the random numbers; 0, the default, takes the time",
                .value = &options->seed});
  command->Add({.names = "--append", .help = "add to the case file", .value = &options->append});
  AddFindingOptions(command, &options->findings);
  command->notes =
      "A net that cannot be compiled draws cases again that disagree with the findings: rare ones take long.";
}

bool HasFinding(node_bn node) {
  constexpr statetype NO_FINDING = -8;
  return GetNodeNumberStates_bn(node) > 0 ? GetNodeFinding_bn(node) != NO_FINDING
                                          : GetNodeValue_bn(node) != undef_dbl_ns;
}

std::ptrdiff_t NumLines(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::count(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>(), '\n');
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  EnterFindings(options.findings, net, session);
  // Over a junction tree rare findings cost no more than others; a net that cannot be compiled does without.
  const auto nodes = Nodes(net);
  session.Check();
  if (std::any_of(nodes.begin(), nodes.end(), HasFinding)) CompileNet_bn(net.get());
  session.TakeMessages();
  SeedRandom_ns(options.seed, session.Environment());
  OutputFile output(options.output, options.append ? OutputFile::Mode::Append : OutputFile::Mode::Replace);
  constexpr std::ptrdiff_t HEAD_LINES = 3;
  const std::ptrdiff_t before = std::max(NumLines(output.TemporaryPath()), HEAD_LINES);
  const File file = session.Named(output.TemporaryPath());
  const int code =
      GenerateCases_bn(GetNetNodes_bn(net.get()), options.count, file.get(), -1, 0, options.append ? 1 : 0);
  if (code < 0) {
    const std::string done = std::to_string(NumLines(output.TemporaryPath()) - before) + " of " +
                             std::to_string(options.count) + " cases; no file was written";
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

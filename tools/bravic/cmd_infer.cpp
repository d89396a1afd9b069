// bravic infer: the beliefs of targets in every case of a file.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>
#include <utility>

#include "Cases.h"
#include "Commands.h"
#include "Files.h"
#include "Numbers.h"
#include "Spelling.h"
#include "Terminal.h"

namespace {

struct Options {
  std::string net, cases, output = "-";
  std::vector<std::string> targets;
  int threads = 1;
  bool strict = false;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  command->Add({.names = "CASES", .help = CASES_HELP, .value = &options->cases, .required = true, .file = true});
  command->Add({.names = "--target",
                .form = "NODE",
                .help = "a node whose beliefs to print; all that have no column, if left out",
                .value = &options->targets});
  command->Add(
      {.names = "--threads", .form = "N", .help = THREADS_HELP, .value = &options->threads, .check = CheckNotNegative});
  command->Add({.names = "--output,-o",
                .form = "OUT",
                .help = "write the rows to this file; the standard output if left out",
                .value = &options->output,
                .file = true});
  AddStrict(command, &options->strict);
  command->notes =
      "The first row names the columns, which are separated by tabs: case, NODE=STATE for each state of the targets,\n"
      "and logprob. Then comes a row for each case: its number, from 1, the beliefs given what the case says of all\n"
      "nodes but the targets, and the natural logarithm of how probable that is. Of an impossible case the beliefs\n"
      "are 0 and the logarithm is -inf.";
}

// Rows of text on their way to a file or the standard output.
class RowWriter {
 public:
  explicit RowWriter(const std::string& path) {
    if (IsStandardOutput(path)) return;
    file_.emplace(path);
    opened_ = std::fopen(file_->TemporaryPath().c_str(), "wb");
    if (!opened_) throw Refusal("couldn't open file '" + path + "': " + std::strerror(errno));
  }
  ~RowWriter() {
    if (opened_) std::fclose(opened_);
  }
  RowWriter(const RowWriter&) = delete;
  RowWriter& operator=(const RowWriter&) = delete;

  void Text(const std::string& text) {
    std::memcpy(Room(text.size()), text.data(), text.size());
    used_ += text.size();
  }
  void Number(double number) { Advance(PutNumber(number, Room(NUMBER_LEN))); }
  void Character(char c) { *Room(1) = c, ++used_; }
  void Finish() {
    Flush();
    if (!opened_) return;
    const bool lost = std::ferror(opened_) != 0;
    if (std::fclose(std::exchange(opened_, nullptr)) != 0 || lost)
      throw Refusal(std::string("couldn't write the rows: ") + std::strerror(errno));
    file_->Finish();
  }

 private:
  static constexpr std::size_t NUMBER_LEN = 32, BUFFER = 1 << 20;
  char* Room(std::size_t nbytes) {
    if (used_ + nbytes > buffer_.size()) Flush();
    if (nbytes > buffer_.size()) buffer_.resize(nbytes);
    return buffer_.data() + used_;
  }
  void Advance(const char* end) { used_ = static_cast<std::size_t>(end - buffer_.data()); }
  void Flush() {
    std::fwrite(buffer_.data(), 1, used_, opened_ ? opened_ : stdout);
    used_ = 0;
  }

  std::optional<OutputFile> file_;
  std::FILE* opened_ = nullptr;  // NULL: the standard output
  std::vector<char> buffer_ = std::vector<char>(BUFFER);
  std::size_t used_ = 0;
};

std::vector<node_bn> Targets(const Options& options, const Net& net, const std::vector<node_bn>& columns) {
  std::vector<node_bn> targets;
  const auto has = [](const std::vector<node_bn>& nodes, node_bn node) {
    return std::find(nodes.begin(), nodes.end(), node) != nodes.end();
  };
  for (const std::string& name : options.targets) {
    node_bn node = FindNode(name, net);
    if (!CanBeTarget(node)) throw Refusal("node '" + name + "' has no beliefs");
    if (!has(targets, node)) targets.push_back(node);
  }
  if (!targets.empty()) return targets;
  for (node_bn node : Nodes(net)) {
    if (CanBeTarget(node) && !has(columns, node)) targets.push_back(node);
  }
  if (targets.empty()) throw Refusal("the file has a column for every node; name the targets by --target");
  return targets;
}

void PrintBlock(const CaseBlocks& cases, const CaseQuestion& question, RowWriter& rows) {
  const std::size_t numstates = question.NumStates();
  const probtype* belief = question.beliefs.data();
  for (std::size_t i = 0; i < cases.Size(); ++i) {
    rows.Text(std::to_string(cases.Number(i)));
    for (std::size_t k = 0; k < numstates; ++k) {
      rows.Character('\t');
      rows.Number(static_cast<double>(*belief++));
    }
    rows.Character('\t');
    const double logprob = question.logprobs[i];
    rows.Number(logprob == -inf_dbl_ns ? -HUGE_VAL : logprob);
    rows.Character('\n');
  }
}

int Run(const Options& options, Session& session) {
  session.BeStrict(options.strict);
  const Net net = session.Read(options.net);
  const InputFile input(options.cases);
  CaseBlocks cases(input, net, session);
  CaseQuestion question(Targets(options, net, cases.Columns()), options.threads);
  std::vector<node_bn> observed = cases.Columns();
  std::erase_if(observed, [&](node_bn node) {
    return std::find(question.targets.begin(), question.targets.end(), node) != question.targets.end();
  });
  session.Compile(net);
  cases.Choose(observed, question.NumStates() * sizeof(probtype) + sizeof(double));
  RowWriter rows(options.output);
  rows.Text("case");
  for (node_bn node : question.targets) {
    for (statetype state = 0; state < GetNodeNumberStates_bn(node); ++state)
      rows.Text(std::string("\t") + GetNodeName_bn(node) + "=" + StateText(node, state));
  }
  rows.Text("\tlogprob\n");
  while (cases.Next()) {
    question.Ask(observed, cases.States(), cases.Size(), session);
    PrintBlock(cases, question, rows);
    ShowProgressBar(nullptr, "Inferring cases", cases.ShareRead(), 0);
  }
  EndProgressBar();
  rows.Finish();
  return 0;
}

}  // namespace

void AddInfer(Program& program) {
  AddCommand<Options>(program, "infer", "Beliefs of nodes in the cases of a file", Setup, Run);
}

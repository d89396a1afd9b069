// bravic score: how well a net foretells the cases of a file.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "Cases.h"
#include "Commands.h"
#include "Files.h"
#include "Json.h"
#include "Spelling.h"
#include "Terminal.h"

namespace {

constexpr int NUM_BINS = 10;
struct Options {
  std::string net, cases;
  std::vector<std::string> targets;
  bool json = false, calibration = false, perCase = false, strict = false;
  int threads = 1;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  command->Add({.names = "CASES", .help = CASES_HELP, .value = &options->cases, .required = true, .file = true});
  command->Add(
      {.names = "--target", .form = "NODE", .help = "score the beliefs of this node", .value = &options->targets});
  command->Add({.names = "--calibration",
                .help = "how often what had a belief came true; of all nodes when there is no target",
                .value = &options->calibration});
  command->Add(
      {.names = "--threads", .form = "N", .help = THREADS_HELP, .value = &options->threads, .check = CheckNotNegative});
  command->Add({.names = "--json", .help = "print JSON", .value = &options->json});
  command->Add(
      {.names = "--cases", .help = "a row for every case too", .value = &options->perCase, .excludes = "--json"});
  AddStrict(command, &options->strict);
  command->notes =
      "A target's beliefs are those given the other columns of the case. Rows, separated by tabs:\n"
      "  case NUMBER LOG-LIKELIHOOD (natural logarithm; with --cases)\n"
      "  * cases COUNT, * impossible COUNT, * log-likelihood SUM, * per case MEAN\n"
      "  NODE confusion ACTUAL BELIEVED COUNT, NODE error rate SHARE, NODE logarithmic loss MEAN,\n"
      "  NODE quadratic loss MEAN, NODE calibration FROM TO COUNT MEAN-BELIEF SHARE-TRUE (with --calibration)\n"
      "Cases count as often as their NumCases column says. Impossible cases are left out of all sums.";
}

struct Bin {
  double count = 0, belief = 0, came = 0;
};

struct Target {
  node_bn node;
  std::vector<std::vector<double>> confusion;  // [actual][believed]
  double count = 0, errors = 0, logLoss = 0, quadratic_loss = 0;
  Bin bins[NUM_BINS];

  explicit Target(node_bn which) : node(which) {
    const auto n = static_cast<std::size_t>(GetNodeNumberStates_bn(node));
    confusion.assign(n, std::vector<double>(n, 0.0));
  }
  // logBelief: the natural logarithm of the belief in what came true.
  void Add(statetype actual, const probtype* belief, double logBelief, double weight) {
    const auto n = confusion.size();
    const auto believed = static_cast<std::size_t>(std::max_element(belief, belief + n) - belief);
    const auto was = static_cast<std::size_t>(actual);
    confusion[was][believed] += weight;
    count += weight;
    if (believed != was) errors += weight;
    logLoss -= weight * logBelief;
    double squares = 1;
    for (std::size_t k = 0; k < n; ++k) {
      const auto b = static_cast<double>(belief[k]);
      squares += b * b - (k == was ? 2 * b : 0);
      Bin& bin = bins[std::min(static_cast<int>(b * NUM_BINS), NUM_BINS - 1)];
      bin.count += weight;
      bin.belief += weight * b;
      if (k == was) bin.came += weight;
    }
    quadratic_loss += weight * squares;
  }
};

struct Score {
  double cases = 0, impossible = 0, logLikelihood = 0;
  std::vector<Target> targets;
};

// As log probabilities have it.
bool IsPossible(double logprob) {
  return logprob != -inf_dbl_ns;
}

class Scorer {
 public:
  Scorer(const Options& options, const Net& net, Session& session, Score* score)
      : options_(options), session_(session), score_(*score), input_(options.cases), cases_(input_, net, session) {}
  void Run();

 private:
  void ScoreTarget(Target& target, bool isFirst);
  void FindLogprobs(const CaseQuestion& question, const std::vector<statetype>& actual, std::size_t numstates);
  void AskAgain(const std::vector<std::size_t>& rows);
  void CountBlock();
  CaseQuestion Question(std::vector<node_bn> targets) const { return {std::move(targets), options_.threads}; }
  const std::vector<node_bn>& Nodes() const { return cases_.Columns(); }

  const Options& options_;
  Session& session_;
  Score& score_;
  InputFile input_;
  CaseBlocks cases_;
  std::vector<double> logprobs_;  // [cases of the block] of all that a case says
};

// A belief as small as these may be no more than a remnant.
constexpr probtype SURE_BELIEF = 1e-20f;

// The target's beliefs given the rest of each case. The first target's make the log probabilities of the cases too.
void Scorer::ScoreTarget(Target& target, bool isFirst) {
  std::vector<statetype>& states = cases_.States();
  const std::size_t width = Nodes().size(), numstates = target.confusion.size();
  const auto column =
      static_cast<std::size_t>(std::find(Nodes().begin(), Nodes().end(), target.node) - Nodes().begin());
  std::vector<statetype> actual(cases_.Size());
  for (std::size_t i = 0; i < actual.size(); ++i) actual[i] = std::exchange(states[i * width + column], UNDEF_STATE);
  CaseQuestion question = Question({target.node});
  question.Ask(Nodes(), states, actual.size(), session_);
  for (std::size_t i = 0; i < actual.size(); ++i) states[i * width + column] = actual[i];
  if (isFirst) FindLogprobs(question, actual, numstates);
  for (std::size_t i = 0; i < actual.size(); ++i) {
    const double weight = cases_.Weight(i);
    if (actual[i] < 0 || weight == 0 || !IsPossible(logprobs_[i])) continue;
    const probtype* beliefs = &question.beliefs[i * numstates];
    const probtype belief = beliefs[actual[i]];
    target.Add(actual[i], beliefs,
               belief < SURE_BELIEF ? logprobs_[i] - question.logprobs[i] : std::log(static_cast<double>(belief)),
               weight);
  }
}

// What a case says is as probable as what it says without the target times the belief in what the target was.
void Scorer::FindLogprobs(const CaseQuestion& question, const std::vector<statetype>& actual, std::size_t numstates) {
  logprobs_ = question.logprobs;
  std::vector<std::size_t> unsure;
  for (std::size_t i = 0; i < actual.size(); ++i) {
    if (actual[i] < 0 || !IsPossible(logprobs_[i])) continue;
    const probtype belief = question.beliefs[i * numstates + static_cast<std::size_t>(actual[i])];
    if (belief < SURE_BELIEF) unsure.push_back(i);
    logprobs_[i] += std::log(static_cast<double>(belief));
  }
  if (!unsure.empty()) AskAgain(unsure);
}

// For the log probabilities of some cases of the block.
void Scorer::AskAgain(const std::vector<std::size_t>& rows) {
  const std::size_t width = Nodes().size();
  std::vector<statetype> states;
  for (std::size_t row : rows) {
    const auto first = cases_.States().begin() + static_cast<std::ptrdiff_t>(row * width);
    states.insert(states.end(), first, first + static_cast<std::ptrdiff_t>(width));
  }
  CaseQuestion question = Question({});
  question.Ask(Nodes(), states, rows.size(), session_);
  for (std::size_t i = 0; i < rows.size(); ++i) logprobs_[rows[i]] = question.logprobs[i];
}

void Scorer::CountBlock() {
  for (std::size_t i = 0; i < cases_.Size(); ++i) {
    const double weight = cases_.Weight(i), logprob = IsPossible(logprobs_[i]) ? logprobs_[i] : -HUGE_VAL;
    if (options_.perCase)
      std::printf("case\t%ld\t%.8g\n", cases_.Id(i) >= 0 ? cases_.Id(i) : cases_.Number(i), logprob);
    (IsPossible(logprobs_[i]) ? score_.cases : score_.impossible) += weight;
    if (IsPossible(logprobs_[i]) && weight > 0) score_.logLikelihood += weight * logprob;
  }
}

void Scorer::Run() {
  std::vector<Target*> targets;  // that have a column
  for (Target& target : score_.targets) {
    if (std::find(Nodes().begin(), Nodes().end(), target.node) != Nodes().end()) targets.push_back(&target);
  }
  std::size_t most = 0;
  for (const Target* target : targets) most = std::max(most, target->confusion.size());
  cases_.Choose(Nodes(), most * sizeof(probtype) + 2 * sizeof(double));
  while (cases_.Next()) {
    for (Target* target : targets) ScoreTarget(*target, target == targets[0]);
    if (targets.empty()) {
      CaseQuestion question = Question({});
      question.Ask(Nodes(), cases_.States(), cases_.Size(), session_);
      logprobs_ = std::move(question.logprobs);
    }
    CountBlock();
    ShowProgressBar(nullptr, "Scoring cases", cases_.ShareRead(), 0);
  }
  EndProgressBar();
}

void PrintRows(const Options& options, const Score& score) {
  std::printf("*\tcases\t%g\n", score.cases);
  if (score.impossible > 0) std::printf("*\timpossible\t%g\n", score.impossible);
  std::printf("*\tlog-likelihood\t%.8g\n", score.logLikelihood);
  if (score.cases > 0) std::printf("*\tper case\t%.8g\n", score.logLikelihood / score.cases);
  for (const Target& target : score.targets) {
    const char* name = GetNodeName_bn(target.node);
    for (std::size_t a = 0; a < target.confusion.size(); ++a)
      for (std::size_t b = 0; b < target.confusion.size(); ++b)
        std::printf("%s\tconfusion\t%s\t%s\t%g\n", name, StateText(target.node, static_cast<statetype>(a)).c_str(),
                    StateText(target.node, static_cast<statetype>(b)).c_str(), target.confusion[a][b]);
    if (target.count == 0) continue;
    std::printf("%s\terror rate\t%.6g\n", name, target.errors / target.count);
    std::printf("%s\tlogarithmic loss\t%.6g\n", name, target.logLoss / target.count);
    std::printf("%s\tquadratic loss\t%.6g\n", name, target.quadratic_loss / target.count);
    for (int i = 0; i < NUM_BINS && options.calibration; ++i) {
      const Bin& bin = target.bins[i];
      if (bin.count > 0)
        std::printf("%s\tcalibration\t%g\t%g\t%g\t%.6g\t%.6g\n", name, static_cast<double>(i) / NUM_BINS,
                    (i + 1.0) / NUM_BINS, bin.count, bin.belief / bin.count, bin.came / bin.count);
    }
  }
}

void PrintJson(const Options& options, const Net& net, const Score& score) {
  Json list = Json::array();
  for (const Target& target : score.targets) {
    Json states = Json::array();
    for (std::size_t k = 0; k < target.confusion.size(); ++k)
      states.push_back(StateText(target.node, static_cast<statetype>(k)));
    Json entry{{"name", GetNodeName_bn(target.node)},
               {"states", states},
               {"confusion", target.confusion},
               {"error_rate", target.errors / target.count},
               {"logarithmic_loss", target.logLoss / target.count},
               {"quadratic_loss", target.quadratic_loss / target.count}};
    if (options.calibration) {
      Json bins = Json::array();
      for (int i = 0; i < NUM_BINS; ++i) {
        const Bin& bin = target.bins[i];
        if (bin.count > 0)
          bins.push_back({{"from", static_cast<double>(i) / NUM_BINS},
                          {"to", (i + 1.0) / NUM_BINS},
                          {"count", bin.count},
                          {"mean_belief", bin.belief / bin.count},
                          {"share_true", bin.came / bin.count}});
      }
      entry["calibration"] = bins;
    }
    list.push_back(entry);
  }
  const Json result{{"net", GetNetName_bn(net.get())},
                    {"cases", score.cases},
                    {"impossible", score.impossible},
                    {"log_likelihood", score.logLikelihood},
                    {"targets", list}};
  std::printf("%s\n", result.dump(2).c_str());
}

int Run(const Options& options, Session& session) {
  session.BeStrict(options.strict);
  const Net net = session.Read(options.net);
  Score score;
  for (const std::string& name : options.targets) {
    score.targets.emplace_back(FindNode(name, net));
    if (score.targets.back().confusion.empty()) throw Refusal("node '" + name + "' has no states to be believed in");
  }
  if (options.calibration && options.targets.empty()) {
    for (node_bn node : Nodes(net)) {
      if (GetNodeKind_bn(node) == NATURE_NODE && GetNodeNumberStates_bn(node) > 0) score.targets.emplace_back(node);
    }
  }
  session.Compile(net);
  Scorer(options, net, session, &score).Run();
  if (options.targets.empty()) std::erase_if(score.targets, [](const Target& target) { return target.count == 0; });
  if (options.json)
    PrintJson(options, net, score);
  else
    PrintRows(options, score);
  return 0;
}

}  // namespace

void AddScore(Program& program) {
  AddCommand<Options>(program, "score", "Compare a net's beliefs with cases", Setup, Run);
}

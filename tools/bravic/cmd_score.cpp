// bravic score: how well a net foretells the cases of a file.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>

#include "Commands.h"
#include "Files.h"
#include "Json.h"
#include "Terminal.h"

namespace {

constexpr int NUM_BINS = 10;
// What the library says of findings that contradict the net or each other.
constexpr int CONTRADICTIONS[] = {3315, 3302, 3312, 2078, 777};

struct Options {
  std::string net, cases;
  std::vector<std::string> targets;
  bool json = false, calibration = false, perCase = false;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  command->Add({.names = "CASES",
                .help = "case file; - is the standard input",
                .value = &options->cases,
                .required = true,
                .file = true});
  command->Add(
      {.names = "--target", .form = "NODE", .help = "score the beliefs of this node", .value = &options->targets});
  command->Add({.names = "--calibration",
                .help = "how often what had a belief came true; of all nodes when there is no target",
                .value = &options->calibration});
  command->Add({.names = "--json", .help = "print JSON", .value = &options->json});
  command->Add(
      {.names = "--cases", .help = "a row for every case too", .value = &options->perCase, .excludes = "--json"});
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
  void Add(statetype actual, const probtype* belief, double weight) {
    const auto n = confusion.size();
    const auto believed = static_cast<std::size_t>(std::max_element(belief, belief + n) - belief);
    const auto was = static_cast<std::size_t>(actual);
    confusion[was][believed] += weight;
    count += weight;
    if (believed != was) errors += weight;
    logLoss -= weight * std::log(static_cast<double>(belief[was]));
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

// Whether all that was complained of is a contradiction; such complaints are cleared, others refused.
bool TakeContradictions(Session& session) {
  bool found = false;
  for (report_ns report = GetError_ns(session.Environment(), 5, nullptr); report;
       report = GetError_ns(session.Environment(), 5, nullptr)) {
    if (std::find(std::begin(CONTRADICTIONS), std::end(CONTRADICTIONS), ErrorNumber_ns(report)) ==
        std::end(CONTRADICTIONS)) {
      break;
    }
    ClearError_ns(report);
    found = true;
  }
  session.CheckCases();
  return found;
}

struct Score {
  double cases = 0, impossible = 0, logLikelihood = 0;
  std::vector<Target> targets;
};

void ScoreCases(const Options& options, const Net& net, Session& session, Score& score) {
  const InputFile input(options.cases);
  const File cases = session.Named(input);
  std::error_code ignored;
  const auto size = std::filesystem::file_size(input.Path(), ignored);
  nodelist_bn nodes = GetNetNodes_bn(net.get());
  long position = FIRST_CASE, number = 0;
  for (;; position = NEXT_CASE) {
    long id = -1;
    double freq = -1;
    ReadCase_bn(&position, cases.get(), nodes, &id, &freq);
    bool impossible = TakeContradictions(session);
    if (position == NO_MORE_CASES) break;
    ++number;
    const double weight = freq < 0 ? 1 : freq;
    const double probability = impossible ? 0 : CaseProbability_bn(net.get());
    impossible = TakeContradictions(session) || !(probability > 0);
    if (options.perCase) std::printf("case\t%ld\t%.8g\n", id >= 0 ? id : number, std::log(probability));
    (impossible ? score.impossible : score.cases) += weight;
    if (impossible) continue;
    if (weight > 0) score.logLikelihood += weight * std::log(probability);
    for (Target& target : score.targets) {
      const statetype actual = GetNodeFinding_bn(target.node);
      if (actual < 0 || weight == 0) continue;
      RetractNodeFindings_bn(target.node);
      target.Add(actual, GetNodeBeliefs_bn(target.node), weight);
      EnterFinding_bn(target.node, actual);
    }
    session.Check();
    if (number % 16 == 0 && size > 0)
      ShowProgressBar(nullptr, "Scoring cases", static_cast<double>(position) / static_cast<double>(size), 0);
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
  ScoreCases(options, net, session, score);
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

#include "harness.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "Basic/Memory.h"
#include "Bn/compiled/Likelihood.h"
#include "Bn/model/Consistency.h"
#include "Bn/model/Records.h"
#include "Bn/model/SharedAnswers.h"
#include "support/joint.h"

namespace bravic::fuzz {

using testing::Nodes;
using testing::NumStates;

namespace {

constexpr double TOLERANCE = 1e-5;
constexpr int NOT_COMPILED = 2077;
// A discrete node whose number of states could not be read has none, and lacks it in every file.
constexpr int NO_NUMBER_OF_STATES = 1022;
// Answers that failing calls share grow on demand; made large at once they do not disturb the balance.
constexpr int LARGEST_SHARED_ANSWER = 1024;

std::string directory;

void RemoveFiles() {
  for (const std::string& name : testing::FilesIn(directory)) std::remove((directory + "/" + name).c_str());
  rmdir(directory.c_str());
}

environ_ns Start() {
  const char* chosen = std::getenv("TMPDIR");
  directory = chosen ? chosen : access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
  directory += "/bravic_fuzz.XXXXXX";
  if (!mkdtemp(directory.data())) std::abort();
  std::atexit(RemoveFiles);
  char message[MESG_LEN_ns];
  environ_ns env = NewBravicEnviron_bn();
  if (!env || InitBravic_bn(env, message) < 0) std::abort();
  SharedOnes(LARGEST_SHARED_ANSWER);
  SharedOneThenZeros(LARGEST_SHARED_ANSWER);
  ArgumentChecking_ns(26, env);
  return env;
}

bool IsDamage(int number) {
  return (number >= 2300 && number <= 2308) || number == 5143 || number == 5144;
}

template <class Visit>
void ForEachError(int danger, Visit visit) {
  for (report_ns at = nullptr; (at = GetError_ns(Environment(), danger, at));) visit(at);
}

std::string Text(double number) {
  char text[40];
  std::snprintf(text, sizeof text, "%.17g ", number);
  return number == undef_dbl_ns ? "? " : text;
}

std::string Row(const float* row, int numstates) {
  std::string text;
  for (int s = 0; row && s < numstates; ++s) text += Text(static_cast<double>(row[s]));
  return text;
}

void AddTables(std::string& look, node_bn node) {
  std::string functions, probs, experience;
  testing::ForEachRow(node, [&](const statetype* states) {
    functions += Text(GetNodeFuncValue_bn(node, states));
    experience += Text(GetNodeExperience_bn(node, states));
  });
  const bool isFunction = functions.find_first_not_of("? ") != std::string::npos;
  if (!isFunction && HasRelation_bn(node)) {
    testing::ForEachRow(
        node, [&](const statetype* states) { probs += Row(GetNodeProbs_bn(node, states), NumStates(node)) + "/ "; });
  }
  look += "\n  table " + (isFunction ? "function " + functions : probs) + "\n  experience " + experience;
}

void AddNode(std::string& look, node_bn node) {
  const int numstates = NumStates(node), discrete = GetNodeDiscrete_bn(node);
  look += std::string("\nnode ") + GetNodeName_bn(node) + " " + std::to_string(GetNodeKind_bn(node)) + " " +
          std::to_string(discrete) + " " + std::to_string(numstates) + "\n  states ";
  for (int s = 0; s < numstates; ++s) {
    look += std::string(GetNodeStateName_bn(node, s)) + " " +
            GetNodeText_bn(node, ("state " + std::to_string(s)).c_str()) + " ";
  }
  look += "\n  levels ";
  for (int i = 0; i < (discrete ? numstates : std::max(numstates + 1, 2)); ++i) look += Text(GetNodeLevel_bn(node, i));
  look += "\n  parents ";
  int link = 0;
  for (node_bn parent : Nodes(GetNodeParents_bn(node))) {
    // A placeholder whose name is in use again gets a fresh one in a file.
    look += std::string(GetLinkName_bn(node, link++)) + ":" +
            (IsPlaceholder(parent) ? std::to_string(NumStates(parent)) : GetNodeName_bn(parent)) + " ";
  }
  AddTables(look, node);
  look += "\n  finding " + std::to_string(GetNodeFinding_bn(node)) + " " + Text(GetNodeValue_bn(node)) +
          Row(GetNodeLikelihood_bn(node), numstates) + "\n  title " + GetNodeTitle_bn(node) + "\n  comment " +
          GetNodeComment_bn(node) + "\n  label " + GetNodeText_bn(node, "label");
}

}  // namespace

environ_ns Environment() {
  static environ_ns env = Start();
  return env;
}

std::string Path(const char* name) {
  Environment();
  return directory + "/" + name;
}

void Fail(const std::string& what, const std::string& details) {
  std::fprintf(stderr, "FAULT: %s\n%s\n", what.c_str(), details.c_str());
  RemoveFiles();
  std::abort();
}

std::string Errors(int danger) {
  std::string all;
  ForEachError(danger, [&](report_ns error) {
    all += std::to_string(ErrorNumber_ns(error)) + " " + ErrorMessage_ns(error) + "\n";
  });
  return all;
}

std::set<int> ErrorNumbers(int danger) {
  std::set<int> numbers;
  ForEachError(danger, [&](report_ns error) { numbers.insert(ErrorNumber_ns(error)); });
  return numbers;
}

void ForgetErrors() {
  ForEachError(5, [&](report_ns error) {
    if (ErrorDanger_ns(error) >= 6) Fail("internal error", ErrorMessage_ns(error));
    if (IsDamage(ErrorNumber_ns(error))) Fail("damage", ErrorMessage_ns(error));
  });
  ClearErrors_ns(Environment(), 6);
}

std::string Look(const Net& net) {
  const Quickly quickly;
  std::string look = std::string("net ") + GetNetName_bn(net.get()) + " " +
                     std::to_string(GetNetAutoUpdate_bn(net.get())) + "\n  title " + GetNetTitle_bn(net.get()) +
                     "\n  comment " + GetNetComment_bn(net.get());
  for (node_bn node : Nodes(net)) AddNode(look, node);
  ForgetErrors();
  return look;
}

std::string Difference(const std::string& is, const std::string& was) {
  const auto at = std::mismatch(is.begin(), is.end(), was.begin(), was.end());
  const auto place = static_cast<std::size_t>(at.first - is.begin());
  const std::size_t line = is.rfind('\n', place), from = line == std::string::npos ? 0 : line + 1;
  return "is:  " + is.substr(from, 400) + "\n--- was:\n" + was.substr(from, 400);
}

std::string Saved(const Net& net, const std::string& path) {
  ForgetErrors();  // an undo may have warned just before
  const File file(path);
  WriteNet_bn(net.get(), file.get());
  if (!ErrorNumbers(4).empty()) Fail("saving", Errors(4));
  return testing::ReadWhole(path);
}

void CheckSound(const Net& net) {
  if (const Failure failure = CheckNetConsistency(net.get())) Fail("damage", failure->mesg);
}

void CheckSaving(const Net& net) {
  const Quickly quickly;
  ForgetErrors();
  const std::string path = Path("saved.dne"), first = Saved(net, path);
  const File file(path);
  const Net back(ReadNet_bn(file.get(), 0));
  std::set<int> errors = ErrorNumbers();
  errors.erase(NO_NUMBER_OF_STATES);
  if (!back || !errors.empty()) Fail("reading back", Errors() + first);
  CheckSound(back);
  ForgetErrors();
  const std::string is = Look(back), was = Look(net), second = Saved(back, path);
  if (is != was) Fail("read back differs", Difference(is, was) + "\n--- file ---\n" + first);
  if (first != second) Fail("written again differs", Difference(second, first));
}

namespace {

// Answers whether the joint distribution can be had from the nodes and is not too small for doubles.
bool Enumerate(const Net& net, testing::Posterior* truth) {
  const Quickly quickly;
  testing::Weights weights;
  for (node_bn node : Nodes(net)) {
    if (GetNodeKind_bn(node) != NATURE_NODE || NumStates(node) == 0) return false;
    // What hosts are shown of weights beyond floats is in proportion only.
    const float* likelihood = GetNodeLikelihood_bn(node);
    weights[node].assign(likelihood, likelihood + NumStates(node));
    if (!node->likelihood || !IsBeyondFloats(*node)) continue;
    const Vector<engine::WideNumber> wide = LikelihoodWeights(*node);
    for (int s = 0; s < wide.size(); ++s) {
      if (std::abs(wide[s].exponent) > 900) return false;
      weights[node][static_cast<std::size_t>(s)] = engine::ToDouble(wide[s], 0);
    }
  }
  *truth = testing::Enumerate(net.get(), weights);
  return truth->probability == 0 || truth->mostProbable > 1e-290;
}

void CompareBelief(const Net& net, node_bn node, const testing::Posterior& truth) {
  const std::vector<double>& expected = (net->findmpe ? truth.maxBelief : truth.belief).at(node);
  const float* belief = GetNodeBeliefs_bn(node);
  for (std::size_t s = 0; s < expected.size(); ++s) {
    const double is = static_cast<double>(belief[s]);
    if (std::fabs(is - expected[s]) <= TOLERANCE && (is > 0 || expected[s] < 1e-30)) continue;
    std::string all;
    for (double entry : expected) all += Text(entry);
    Fail("belief", std::string(GetNodeName_bn(node)) + " is " + Row(belief, NumStates(node)) + "not " + all + "\n" +
                       Errors() + Look(net));
  }
}

void CheckMostProbable(const Net& net, const testing::Posterior& truth) {
  for (node_bn node : Nodes(net)) {
    const statetype state = GetNodeMostProbable_bn(node);
    if (state >= 0 && truth.maxBelief.at(node).at(static_cast<std::size_t>(state)) > 1 - TOLERANCE) continue;
    Fail("most probable configuration",
         std::string(GetNodeName_bn(node)) + " in " + std::to_string(state) + "\n" + Errors() + Look(net));
  }
}

bool IsCompiled(const Net& net) {
  if (Nodes(net).empty()) return false;
  ForgetErrors();
  GetNodeBeliefs_bn(Nodes(net)[0]);
  const bool compiled = !ErrorNumbers().contains(NOT_COMPILED);
  ForgetErrors();
  return compiled;
}

}  // namespace

void CheckBelief(const Net& net, node_bn node) {
  testing::Posterior truth;
  if (node && IsCompiled(net) && Enumerate(net, &truth) && truth.probability > 0) CompareBelief(net, node, truth);
}

void CheckBeliefs(const Net& net) {
  testing::Posterior truth;
  if (!IsCompiled(net) || !Enumerate(net, &truth)) return;
  const double expected = net->findmpe ? truth.mostProbable : truth.probability;
  const double is = CaseProbability_bn(net.get());
  if (expected > 0 ? !(std::fabs(is / expected - 1) <= TOLERANCE) : is != 0) {
    Fail("probability of the findings", Text(is) + "not " + Text(expected) + "\n" + Errors() + Look(net));
  }
  const double logarithm = CaseLogProbability_bn(net.get());
  if (expected > 0 ? !(std::fabs(logarithm - std::log(expected)) <= TOLERANCE) : logarithm != -inf_dbl_ns) {
    Fail("logarithm of the probability", Text(logarithm) + "not of " + Text(expected) + "\n" + Errors() + Look(net));
  }
  if (expected > 0) {
    for (node_bn node : Nodes(net)) CompareBelief(net, node, truth);
    if (net->findmpe) CheckMostProbable(net, truth);
    if (!ErrorNumbers().empty()) Fail("reading beliefs", Errors() + Look(net));
  }
  ForgetErrors();
}

bool IsPlaceholder(node_bn node) {
  return TagOf(node) == STUB_TAG;
}

Kept::Kept(const Net& net) {
  testing::Posterior truth;
  if (net->numEvidence + net->numLikelihood > 0 || !IsCompiled(net) || !Enumerate(net, &truth)) return;
  if (std::fabs(truth.probability - 1) > TOLERANCE) return;  // something that was declared impossible can occur
  for (node_bn node : Nodes(net)) beliefs_[GetNodeName_bn(node)] = truth.belief[node];
}

void Kept::Check(const Net& net) const {
  testing::Posterior truth;
  if (beliefs_.empty() || !ErrorNumbers(4).empty() || !Enumerate(net, &truth) || net->numcycles > 0) return;
  for (node_bn node : Nodes(net)) {
    const auto& was = beliefs_.at(GetNodeName_bn(node));
    for (std::size_t s = 0; s < was.size(); ++s) {
      if (std::fabs(truth.belief[node][s] - was[s]) <= TOLERANCE) continue;
      Fail("joint distribution", std::string(GetNodeName_bn(node)) + " is " + Text(truth.belief[node][s]) + "not " +
                                     Text(was[s]) + "\n" + Look(net));
    }
  }
}

Balance::Balance() : before_((Environment(), MemoryUsed())) {}

Balance::~Balance() {
  ForgetErrors();
  if (MemoryUsed() != before_) {
    Fail("memory", std::to_string(before_) + " bytes before, now " + std::to_string(MemoryUsed()));
  }
}

namespace {

double ProcessorSeconds() {
  return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

}  // namespace

// Under sanitizers a byte takes a microsecond or two.
Pace::Pace(std::size_t nbytes)
    : allowed_(1 + 50e-6 * static_cast<double>(nbytes)), before_((Environment(), ProcessorSeconds())) {}

Pace::~Pace() {
  const double taken = ProcessorSeconds() - before_;
  if (taken > allowed_) Fail("reading takes long", Text(taken) + "seconds, where allowed are " + Text(allowed_));
}

}  // namespace bravic::fuzz

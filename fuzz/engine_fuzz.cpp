// Interprets bytes as a small net, findings one after the other, and questions between them; all that is answered is
// compared with the joint distribution, enumerated: beliefs, the probability of the findings, joint beliefs of some
// nodes, the most probable configurations and states, many cases at once. Every fourth input is a decision network, of
// which what the solver's tables are worth is compared with all its worlds.
#include <algorithm>
#include <cmath>

#include "decisions/diagrams.h"
#include "small_nets.h"

namespace bravic::fuzz {
namespace {

using testing::Nodes;
using testing::NumStates;

constexpr int MAX_STEPS = 24, MAX_CASES = 5;
constexpr double NEAR = 1e-5, NEAR_UTILITY = 1e-3;

class Engine {
 public:
  explicit Engine(Bytes& bytes) : bytes_(bytes), net_(MakeSmallNet(bytes, {})), nodes_(Nodes(net_)) {
    for (node_bn node : nodes_) sizes_.push_back(NumStates(node));
    CompileNet_bn(net_.get());
  }
  void Step();

 private:
  int Pick() { return bytes_.Below(static_cast<int>(nodes_.size())); }
  void Enter(int i);
  void AskJoint();
  void AskBestConfigurations();
  void AskBestStates();
  void AskCases();
  // Different ones.
  std::vector<int> PickSome();
  nodelist_bn List(const std::vector<int>& picked) {
    const nodelist_bn list = NewNodeList_bn(0, Environment());
    for (int i : picked) AddNodeToList_bn(nodes_[static_cast<std::size_t>(i)], list, LengthNodeList_bn(list));
    return list;
  }
  std::vector<testing::Factor> Factors() {
    testing::Weights weights;
    for (node_bn node : nodes_) {
      const probtype* likelihood = GetNodeLikelihood_bn(node);
      weights[node].assign(likelihood, likelihood + NumStates(node));
    }
    return testing::FactorsOf(net_.get(), weights);
  }

  Bytes& bytes_;
  Net net_;
  std::vector<node_bn> nodes_;
  std::vector<int> sizes_;
};

std::vector<int> Engine::PickSome() {
  const int mask = bytes_.Next();
  std::vector<int> picked;
  for (int i = 0; i < static_cast<int>(nodes_.size()) && picked.size() < 3; ++i)
    if (mask >> i & 1) picked.push_back(i);
  if (picked.empty()) picked.push_back(Pick());
  if (mask & 0x80) std::reverse(picked.begin(), picked.end());
  return picked;
}

void Engine::Enter(int i) {
  const node_bn node = nodes_[static_cast<std::size_t>(i)];
  const int state = bytes_.Below(NumStates(node));
  RetractNodeFindings_bn(node);
  switch (bytes_.Below(4)) {
    case 0:
      return EnterFindingNot_bn(node, state);
    case 1: {
      std::vector<float> likelihood = RowOf(bytes_, NumStates(node));
      return EnterNodeLikelihood_bn(node, likelihood.data());
    }
    default:
      EnterFinding_bn(node, state);
  }
}

void Engine::AskJoint() {
  const std::vector<int> picked = PickSome();
  std::vector<double> expected = testing::EnumerateOnto(picked, sizes_, Factors());
  double sum = 0;
  for (double entry : expected) sum += entry;
  std::vector<double> is(expected.size());
  const nodelist_bn list = List(picked);
  const int done = JointBeliefs_bn(list, is.data());
  FreeNodeList_bn(list);
  if (done < 0) return sum > 0 ? FailAt("joint beliefs are refused", sum, 0, net_) : ForgetErrors();
  for (std::size_t k = 0; k < is.size(); ++k)
    if (!AreNear(is[k], expected[k] / sum)) FailAt("joint beliefs", is[k], expected[k] / sum, net_);
}

void Engine::AskBestConfigurations() {
  constexpr int MOST = 4;
  std::vector<double> all;
  testing::ForEachConfiguration(sizes_, Factors(), [&](const std::vector<int>&, double product) {
    if (product > 0) all.push_back(product);
  });
  std::sort(all.rbegin(), all.rend());
  std::vector<statetype> states(MOST * nodes_.size());
  double probs[MOST] = {};
  const int count = MostProbableConfigs_bn(net_.get(), MOST, states.data(), probs);
  const int expected = static_cast<int>(std::min<std::size_t>(all.size(), MOST));
  if (count != expected && !(expected == 0 && count < 0))
    FailAt("number of best configurations", count, expected, net_);
  for (int k = 0; k < count; ++k)
    if (std::fabs(probs[k] / all[static_cast<std::size_t>(k)] - 1) > NEAR)
      FailAt("best configurations", probs[k], all[static_cast<std::size_t>(k)], net_);
  ForgetErrors();
}

void Engine::AskBestStates() {
  const std::vector<int> picked = PickSome();
  const std::vector<double> sums = testing::EnumerateOnto(picked, sizes_, Factors());
  const double best = *std::max_element(sums.begin(), sums.end());
  std::vector<statetype> states(picked.size());
  double is = 0;
  const nodelist_bn list = List(picked);
  const int done = MostProbableStates_bn(list, states.data(), &is);
  FreeNodeList_bn(list);
  if (best > 0 && (done < 0 || std::fabs(is / best - 1) > NEAR)) FailAt("most probable states", is, best, net_);
  ForgetErrors();
}

// The net's own findings are left aside.
void Engine::AskCases() {
  const std::vector<int> seen = PickSome(), wanted = PickSome();
  const auto numcases = static_cast<std::size_t>(1 + bytes_.Below(MAX_CASES));
  std::vector<statetype> cells;
  std::vector<node_bn> seenNodes;
  for (int i : seen) seenNodes.push_back(nodes_[static_cast<std::size_t>(i)]);
  for (std::size_t k = 0; k < numcases; ++k)
    for (int i : seen) {
      const int state = bytes_.Below(sizes_[static_cast<std::size_t>(i)] + 1) - 1;
      cells.push_back(state < 0 ? UNDEF_STATE : state);
    }
  std::size_t width = 0;
  for (int i : wanted) width += static_cast<std::size_t>(sizes_[static_cast<std::size_t>(i)]);
  std::vector<probtype> beliefs(numcases * width);
  std::vector<double> logarithms(numcases);
  const nodelist_bn observed = List(seen), targets = List(wanted);
  const long done = BeliefsOfCases_bn(observed, cells.data(), static_cast<long>(numcases), targets, beliefs.data(),
                                      logarithms.data(), 1);
  FreeNodeList_bn(observed);
  FreeNodeList_bn(targets);
  if (done < 0) FailAt("many cases are refused", 0, 0, net_);
  for (std::size_t k = 0; k < numcases; ++k) {
    const testing::Posterior truth =
        testing::Enumerate(net_.get(), WeightsOf(seenNodes, cells.data() + k * seen.size()));
    if (truth.probability > 0 ? !AreNear(logarithms[k], std::log(truth.probability)) : logarithms[k] != -inf_dbl_ns)
      FailAt("logarithm of a case", logarithms[k], std::log(truth.probability), net_);
    const probtype* belief = beliefs.data() + k * width;
    for (int i : wanted) {
      for (double expected : truth.belief.at(nodes_[static_cast<std::size_t>(i)])) {
        if (!AreNear(static_cast<double>(*belief), expected))
          FailAt("belief of a case", static_cast<double>(*belief), expected, net_);
        ++belief;
      }
    }
  }
}

void Engine::Step() {
  switch (bytes_.Below(10)) {
    case 0:
    case 1:
      return Enter(Pick());
    case 2:
      RetractNodeFindings_bn(nodes_[static_cast<std::size_t>(Pick())]);
      return;
    case 3:
      return CheckBelief(net_, nodes_[static_cast<std::size_t>(Pick())]);
    case 4:
      return CheckBeliefs(net_);
    case 5:
      return AskJoint();
    case 6:
      return AskBestConfigurations();
    case 7:
      return AskBestStates();
    case 8:
      return AskCases();
    default:
      SetNetFindMPE_bn(net_.get(), bytes_.Below(2));
  }
}

void TryEngine(Bytes& bytes) {
  Engine engine(bytes);
  for (int i = 0; i < MAX_STEPS && !bytes.Empty(); ++i) {
    engine.Step();
    ForgetErrors();
  }
}

void TryDecisions(Bytes& bytes) {
  const int method = bytes.Below(2);
  // What depends on worlds that hardly ever are is not asked for.
  const Net net = MakeSmallNet(bytes, {.maxStates = 3, .withTinyWeights = false, .withDecisions = true});
  for (int i = 0, count = bytes.Below(3); i < count; ++i) {
    const node_bn node =
        Nodes(net)[static_cast<std::size_t>(bytes.Below(LengthNodeList_bn(GetNetNodes_bn(net.get()))))];
    if (GetNodeKind_bn(node) != UTILITY_NODE) EnterFinding_bn(node, bytes.Below(NumStates(node)));
  }
  ForgetErrors();
  const double value = SolveDecisions_bn(net.get(), method);
  if (value == undef_dbl_ns) return ForgetErrors();  // refused
  const testing::Worlds worlds(net);
  if (!worlds.ArePossible()) return ForgetErrors();
  if (!AreNear(value, worlds.Value(), NEAR_UTILITY)) FailAt("what the policies are worth", value, worlds.Value(), net);
  for (int decision : worlds.decisions) {
    const double better = worlds.BestWithOneChange(decision);
    if (better > value + NEAR_UTILITY) FailAt("one other choice is better", value, better, net);
  }
  if (method == 1 && !AreNear(value, worlds.Best(), NEAR_UTILITY))
    FailAt("the best policies", value, worlds.Best(), net);
}

}  // namespace
}  // namespace bravic::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace bravic::fuzz;
  const Balance balance;
  Bytes bytes(data, size);
  bytes.Below(4) == 3 ? TryDecisions(bytes) : TryEngine(bytes);
  ForgetErrors();
  return 0;
}

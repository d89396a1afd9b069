// Random nets and random histories of findings, tables and links, compared with the enumerated joint distribution.

#include "support/joint.h"
#include "support/library.h"
#include "support/nets.h"

namespace bravic::testing {
namespace {

constexpr double BELIEF_TOLERANCE = 1e-5;

// What has been found of each node, kept as the findings functions promise to keep it.
class Known {
 public:
  explicit Known(Weights weights = {}) : weights_(std::move(weights)) {}
  const Weights& Get() const { return weights_; }

  void Accumulate(node_bn node, const std::vector<double>& weights) {
    auto [at, isNew] = weights_.emplace(node, weights);
    if (!isNew && IsState(at->second)) return;  // a state finding stands
    for (std::size_t s = 0; s < weights.size() && !isNew; ++s) at->second[s] *= weights[s];
    if (IsState(at->second)) {
      for (double& weight : at->second) weight = weight > 0;
    }
  }
  void Retract(node_bn node) { weights_.erase(node); }
  void RetractAll() { weights_.clear(); }

 private:
  static bool IsState(const std::vector<double>& weights) {
    int positive = 0;
    for (double weight : weights) positive += weight > 0;
    return positive == 1;
  }
  Weights weights_;
};

class RandomNets : public LibraryTest {
 protected:
  void CheckBeliefs(node_bn node, const std::vector<double>& expected) {
    const float* belief = GetNodeBeliefs_bn(node);
    for (std::size_t s = 0; s < expected.size(); ++s) {
      ASSERT_NEAR(belief[s], expected[s], BELIEF_TOLERANCE) << GetNodeName_bn(node) << " state " << s;
      ASSERT_EQ(belief[s] == 0, expected[s] == 0) << GetNodeName_bn(node) << " state " << s;
    }
  }

  void CheckAll(const Net& net, const Known& known, bool mostProbable) {
    Posterior expected = Enumerate(net.get(), known.Get());
    std::vector<node_bn> nodes = Nodes(net);
    double probability = mostProbable ? expected.mostProbable : expected.probability;
    ASSERT_NEAR(CaseProbability_bn(net.get()) / probability, 1, 1e-5);
    for (node_bn node : nodes) {
      CheckBeliefs(node, mostProbable ? expected.maxBelief[node] : expected.belief[node]);
      if (HasFatalFailure()) return;
      if (!mostProbable) continue;
      auto state = std::size_t(GetNodeMostProbable_bn(node));
      ASSERT_NEAR(expected.maxBelief[node][state], 1, BELIEF_TOLERANCE) << GetNodeName_bn(node);
    }
  }

  // One finding of any form, entered when it leaves the case possible.
  void EnterSomething(const Net& net, Random& random, Known& known) {
    std::vector<node_bn> nodes = Nodes(net);
    node_bn node = random.Pick(nodes);
    int numstates = NumStates(node), state = random.Below(numstates), form = random.Below(4);
    std::vector<double> weights(std::size_t(numstates), form == 0 ? 0.0 : 1.0);
    if (form <= 1) weights[std::size_t(state)] = form == 0 ? 1 : 0;
    if (form == 2) {
      for (double& weight : weights) weight = random.Chance(0.2) ? 0 : 0.125 * random.Between(1, 16);
    }
    if (form == 3) std::fill(weights.begin(), weights.end(), 0.25);
    Known after = known;
    after.Accumulate(node, weights);
    if (Enumerate(net.get(), after.Get()).probability <= 0) return;
    // A state finding refuses whatever excludes it; that is for other tests.
    auto before = known.Get().find(node);
    if (before != known.Get().end()) {
      double common = 0;
      for (std::size_t s = 0; s < weights.size(); ++s) common += weights[s] * before->second[s];
      if (common == 0) return;
    }
    if (form == 0) {
      EnterFinding_bn(node, state);
    } else if (form == 1) {
      EnterFindingNot_bn(node, state);
    } else {
      EnterNodeLikelihood_bn(node, std::vector<float>(weights.begin(), weights.end()).data());
    }
    if (form == 0) {
      known.Retract(node);  // the state takes the place of a likelihood, its scale included
      known.Accumulate(node, weights);
    } else {
      known = after;
    }
  }

  // A change of a table or of the links, after which some finding may have become impossible.
  void ChangeSomething(const Net& net, Random& random, Known& known) {
    std::vector<node_bn> nodes = Nodes(net);
    auto child = std::size_t(random.Below(int(nodes.size())));
    int numparents = LengthNodeList_bn(GetNodeParents_bn(nodes[child]));
    int form = random.Below(4);
    if (form == 0 && child > 0 && numparents < 4) {
      node_bn parent = nodes[std::size_t(random.Below(int(child)))];
      for (node_bn present : Nodes(GetNodeParents_bn(nodes[child]))) {
        if (present == parent) return;
      }
      AddLink_bn(parent, nodes[child]);
      RandomTable(nodes[child], random, 0.1);
    } else if (form == 1 && numparents > 0) {
      DeleteLink_bn(random.Below(numparents), nodes[child]);
    } else {
      RandomTable(nodes[child], random, 0.1);
    }
    if (Enumerate(net.get(), known.Get()).probability <= 0) {
      SetNetAutoUpdate_bn(net.get(), 0);
      RetractAllFindings_bn(net.get());
      known.RetractAll();
    }
    CompileNet_bn(net.get());
  }

  void RunHistory(std::uint64_t seed) {
    Random random(seed);
    RandomNetOptions options;
    options.maxConfigurations = 3000;
    Net net = RandomNet(env, random, options);
    Known known;
    bool mostProbable = false;
    CompileNet_bn(net.get());
    for (int step = 0; step < 40; ++step) {
      SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step));
      switch (random.Below(10)) {
        case 0:
          ChangeSomething(net, random, known);
          break;
        case 1:
          RetractAllFindings_bn(net.get());
          known.RetractAll();
          break;
        case 2:
        case 3: {
          std::vector<node_bn> nodes = Nodes(net);
          node_bn node = random.Pick(nodes);
          RetractNodeFindings_bn(node);
          known.Retract(node);
          break;
        }
        case 4:
          SetNetAutoUpdate_bn(net.get(), random.Below(2));
          break;
        case 5:
          mostProbable = random.Chance(0.3);
          SetNetFindMPE_bn(net.get(), mostProbable);
          break;
        default:
          EnterSomething(net, random, known);
      }
      ASSERT_EQ(Reports(), "");
      if (random.Chance(0.3)) {
        node_bn node = Nodes(net)[0];
        Posterior expected = Enumerate(net.get(), known.Get());
        CheckBeliefs(node, mostProbable ? expected.maxBelief[node] : expected.belief[node]);
      } else if (random.Chance(0.4)) {
        CheckAll(net, known, mostProbable);
      }
      ASSERT_EQ(Reports(), "");
      if (HasFatalFailure()) return;
    }
    CheckAll(net, known, mostProbable);
  }
};

TEST_F(RandomNets, AgreeWithTheJointThroughAnyHistory) {
  const char* chosen = std::getenv("BRAVIC_SEED");
  std::uint64_t first = chosen ? std::strtoull(chosen, nullptr, 10) : 1;
  for (std::uint64_t seed = first; seed < first + (chosen ? 1 : 200); ++seed) {
    RunHistory(seed);
    if (HasFatalFailure()) return;
  }
}

}  // namespace
}  // namespace bravic::testing

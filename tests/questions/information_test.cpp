// Joint beliefs and information, against the enumerated joint distribution.

#include "Bn/compiled/CompiledNet.h"
#include "questions/enumerated.h"

namespace bravic::testing {
namespace {

class JointTest : public EnumeratedTest {
 protected:
  std::vector<double> Joint(const std::vector<node_bn>& some) {
    std::size_t size = 1;
    for (node_bn node : some) size *= std::size_t(NumStates(node));
    std::vector<double> probs(size, -1);
    nodelist_bn list = List(some);
    answer = JointBeliefs_bn(list, probs.data());
    FreeNodeList_bn(list);
    return probs;
  }

  int answer = 0;
};

TEST_F(JointTest, IsThatOfTheEnumeration) {
  for (std::uint64_t seed = 1; seed <= 250; ++seed) {
    SCOPED_TRACE(seed);
    MakeNet(seed);
    if (seed % 5 == 0) SetNetFindMPE_bn(net.get(), 1);
    const std::string before = Look();
    for (int round = 0; round < 3; ++round) {
      std::vector<node_bn> some;
      for (node_bn node : nodes)
        if (random.Chance(0.4)) some.insert(some.begin() + random.Below(int(some.size()) + 1), node);
      std::vector<double> expected = Onto(some, weights);
      const double total = std::accumulate(expected.begin(), expected.end(), 0.0);
      const std::vector<double> probs = Joint(some);
      ASSERT_EQ(answer, 0);
      for (std::size_t i = 0; i < probs.size(); ++i) {
        ASSERT_NEAR(probs[i], expected[i] / total, 1e-5) << i;
        ASSERT_EQ(probs[i] == 0, expected[i] == 0) << i;
      }
    }
    ASSERT_EQ(Look(), before);
  }
}

// Far apart in a tree whose numbers leave the range of doubles.
TEST_F(JointTest, OfImprobableFindings) {
  constexpr int LENGTH = 700;
  net = Chain(env, LENGTH);
  for (int i = 1; i < LENGTH; ++i) SetTable(Named(net, "N" + std::to_string(i)), {1e-6f, 0.999999f, 1e-6f, 0.999999f});
  SetTable(Named(net, "N350"), {0.25f, 0.75f, 0.5f, 0.5f});
  CompileNet_bn(net.get());
  for (int i = 2; i < LENGTH - 2; ++i)
    if (i != 349 && i != 350) EnterFinding_bn(Named(net, "N" + std::to_string(i)), 0);
  const std::vector<double> probs = Joint({Named(net, "N350"), Named(net, "N0"), Named(net, "N349")});
  ASSERT_EQ(answer, 0);
  EXPECT_NEAR(probs[0], 0.5 * 0.25e-6, 1e-11);
  EXPECT_NEAR(probs[1], 0.5 * 0.5 * 0.999999, 1e-5);
  EXPECT_NEAR(probs[4], 0.5 * 0.75e-6, 1e-11);
  EXPECT_NEAR(probs[5], 0.5 * 0.5 * 0.999999, 1e-5);
}

TEST_F(JointTest, IsRefused) {
  net = ChestClinic(env);
  Joint({At("tub")});
  EXPECT_EQ(Gist(), "5 2077 JointBeliefs_bn ChestClinic");
  CompileNet_bn(net.get());
  nodelist_bn list = List({At("tub")});
  EXPECT_EQ(JointBeliefs_bn(list, nullptr), -1);
  FreeNodeList_bn(list);
  EXPECT_EQ(Gist(), "5 2612 JointBeliefs_bn NULL probs");
  EXPECT_THAT(Joint({}), ::testing::ElementsAre(1));
  net = Chain(env, 40);
  CompileNet_bn(net.get());
  list = DupNodeList_bn(GetNetNodes_bn(net.get()));
  double one;
  EXPECT_EQ(JointBeliefs_bn(list, &one), -1);
  FreeNodeList_bn(list);
  EXPECT_EQ(Gist(), "5 2613 JointBeliefs_bn 40 1.09951e+12 5.36871e+08");
  // The answer would fit, what is between its nodes would not; so not even the room for the answer is looked at.
  constexpr int MANY = 12000;
  net.reset(NewNet_bn("Test", env));
  const std::vector<float> row(MANY, 1.0f / MANY), fourth(4, 0.25f);
  const statetype every = EVERY_STATE;
  node_bn first = New("First", MANY), middle = New("Middle", 4, {first}), last = New("Last", MANY, {middle});
  SetNodeProbs_bn(first, nullptr, row.data());
  SetNodeProbs_bn(middle, &every, fourth.data());
  SetNodeProbs_bn(last, &every, row.data());
  CompileNet_bn(net.get());
  list = List({last, first});
  one = -1;
  EXPECT_EQ(JointBeliefs_bn(list, &one), -1);
  EXPECT_EQ(one, -1);
  FreeNodeList_bn(list);
  EXPECT_THAT(Gist(), ::testing::StartsWith("5 2614 JointBeliefs_bn 1.44e+08"));
}

class InformationTest : public EnumeratedTest {
 protected:
  std::vector<double> Ask(int(BRAVIC_CALL* function)(node_bn, nodelist_bn, double*), node_bn target) {
    std::vector<double> answers(nodes.size(), -1);
    EXPECT_EQ(function(target, GetNetNodes_bn(net.get()), answers.data()), 0);
    return answers;
  }
};

double EntropyOf(const std::vector<double>& weights) {
  const double total = std::accumulate(weights.begin(), weights.end(), 0.0);
  double bits = 0;
  for (double w : weights)
    if (w > 0) bits -= w / total * std::log2(w / total);
  return bits;
}

TEST_F(InformationTest, IsThatOfTheEnumeration) {
  for (std::uint64_t seed = 1; seed <= 250; ++seed) {
    SCOPED_TRACE(seed);
    MakeNet(seed);
    node_bn target = random.Pick(nodes);
    std::vector<double> levels;
    for (int s = 0; s < NumStates(target); ++s) levels.push_back(s * s - 1.5 * s);
    SetNodeLevels_bn(target, NumStates(target), levels.data());
    const auto known = weights.find(target);  // new levels may take the finding with them
    RetractNodeFindings_bn(target);
    if (known != weights.end())
      EnterNodeLikelihood_bn(target, std::vector<float>(known->second.begin(), known->second.end()).data());
    CompileNet_bn(net.get());
    const std::string before = Look();
    const std::vector<double> bits = Ask(InformationGains_bn, target), reductions = Ask(VarianceReductions_bn, target);
    const auto variance = [&](const double* p) {
      double sum = 0, mean = 0, square = 0;
      for (std::size_t s = 0; s < levels.size(); ++s)
        sum += p[s], mean += p[s] * levels[s], square += p[s] * levels[s] * levels[s];
      return sum > 0 ? square - mean * mean / sum : 0;  // times sum
    };
    for (std::size_t k = 0; k < nodes.size(); ++k) {
      const auto prior = Onto({target}, weights);
      const double total = std::accumulate(prior.begin(), prior.end(), 0.0);
      double information = EntropyOf(prior), reduction = variance(prior.data()) / total;
      if (nodes[k] != target) {
        const auto joint = Onto({nodes[k], target}, weights);
        information += EntropyOf(Onto({nodes[k]}, weights)) - EntropyOf(joint);
        for (std::size_t i = 0; i < joint.size(); i += levels.size()) reduction -= variance(&joint[i]) / total;
      }
      ASSERT_NEAR(bits[k], information, 2e-6) << GetNodeName_bn(nodes[k]);
      ASSERT_NEAR(reductions[k], reduction, 2e-5) << GetNodeName_bn(nodes[k]);
      ASSERT_GE(bits[k], 0);
      if (GetNodeFinding_bn(nodes[k]) >= 0) ASSERT_EQ(bits[k], 0);
    }
    ASSERT_EQ(Look(), before);
  }
}

// By hand: of lung cancer, P = 0.055. xray: P(abnormal | lung) = 0.98, P(abnormal | none) = 0.05 + 0.93 * 0.0104.
TEST_F(InformationTest, OfLungCancerInTheChestClinic) {
  net = ChestClinic(env);
  nodes = Nodes(net);
  CompileNet_bn(net.get());
  const std::vector<double> bits = Ask(InformationGains_bn, At("lung"));
  const auto of = [&](const char* name) {
    return bits[std::size_t(std::find(nodes.begin(), nodes.end(), At(name)) - nodes.begin())];
  };
  const auto h = [](double p) { return EntropyOf({p, 1 - p}); };
  const double lung = 0.055, abnormal = 0.05 + 0.93 * 0.0104;
  EXPECT_NEAR(of("lung"), h(lung), 1e-6);
  EXPECT_NEAR(of("smoke"), h(lung) - 0.5 * h(0.1) - 0.5 * h(0.01), 1e-6);
  EXPECT_NEAR(of("xray"), h(lung * 0.98 + 0.945 * abnormal) - lung * h(0.98) - 0.945 * h(abnormal), 1e-6);
  EXPECT_NEAR(of("either"), h(lung + 0.945 * 0.0104) - 0.945 * h(0.0104), 1e-6);
  EXPECT_EQ(of("asia"), 0);
  EXPECT_EQ(of("tub"), 0);
  EXPECT_GT(of("either"), of("xray"));
  EXPECT_GT(of("xray"), of("smoke"));
  EXPECT_GT(of("smoke"), of("dysp"));
  EXPECT_GT(of("dysp"), of("bronc"));
  EXPECT_GT(of("bronc"), 0);
}

TEST_F(InformationTest, IsRefused) {
  net = ChestClinic(env);
  double bits[8];
  EXPECT_EQ(InformationGains_bn(At("lung"), GetNetNodes_bn(net.get()), bits), -1);
  EXPECT_EQ(Gist(), "5 2077 InformationGains_bn ChestClinic");
  CompileNet_bn(net.get());
  EXPECT_EQ(InformationGains_bn(At("lung"), GetNetNodes_bn(net.get()), nullptr), -1);
  EXPECT_EQ(VarianceReductions_bn(At("lung"), GetNetNodes_bn(net.get()), bits), -1);
  Net other = Chain(env, 2);
  EXPECT_EQ(InformationGains_bn(At("lung"), GetNetNodes_bn(other.get()), bits), -1);
  EXPECT_EQ(
      Gist(),
      "5 2612 InformationGains_bn NULL bits; 5 2615 VarianceReductions_bn lung; 5 2610 InformationGains_bn N0 lung");
  Observe(net, "either", "no");
  EnterFinding_bn(At("lung"), 0);
  EXPECT_EQ(InformationGains_bn(At("smoke"), GetNetNodes_bn(net.get()), bits), -1);
  EXPECT_EQ(Gist(), "5 2078 InformationGains_bn");
}

}  // namespace
}  // namespace bravic::testing

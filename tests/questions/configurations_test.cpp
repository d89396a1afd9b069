// Most probable configurations and joint states, against the enumerated joint distribution.

#include "support/joint.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

constexpr double TOLERANCE = 1e-5;

class Configurations : public NetTest {
 protected:
  // Findings of every form; those that make the case impossible are refused or taken back.
  Weights EnterSomething(Random& random) {
    for (node_bn node : Nodes(net)) {
      const int numStates = NumStates(node), form = random.Below(6);
      std::vector<float> likelihood(std::size_t(numStates), 0);
      for (float& weight : likelihood) weight = random.Chance(0.2) ? 0 : 0.125f * float(random.Between(1, 16));
      if (form == 0) EnterFinding_bn(node, random.Below(numStates));
      if (form == 1) EnterFindingNot_bn(node, random.Below(numStates));
      if (form == 2) EnterNodeLikelihood_bn(node, likelihood.data());
    }
    CaseProbability_bn(net.get());
    if (!Reports(0).empty() && CaseProbability_bn(net.get()) <= 0) RetractAllFindings_bn(net.get());
    Reports(0);
    Weights weights;
    for (node_bn node : Nodes(net)) {
      const probtype* likelihood = GetNodeLikelihood_bn(node);
      weights[node].assign(likelihood, likelihood + NumStates(node));
    }
    return weights;
  }
  double LogOf(const std::vector<statetype>& states) {
    double sum = 0;
    for (node_bn node : Nodes(net)) {
      std::vector<statetype> parents;
      for (node_bn parent : Nodes(GetNodeParents_bn(node))) parents.push_back(states[PlaceOf(parent)]);
      parents.push_back(0);
      sum += std::log(double{GetNodeProbs_bn(node, parents.data())[states[PlaceOf(node)]]});
    }
    return sum;
  }
  std::size_t PlaceOf(node_bn node) {
    const auto nodes = Nodes(net);
    return std::size_t(std::find(nodes.begin(), nodes.end(), node) - nodes.begin());
  }
};

TEST_F(Configurations, AreThoseOfTheJoint) {
  int numWithout = 0;
  for (std::uint64_t seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    RandomNetOptions options;
    options.maxConfigurations = 3000;
    options.zeros = random.Chance(0.5) ? 0.1 : 0.4;
    net = RandomNet(env, random, options);
    CompileNet_bn(net.get());
    const Weights weights = EnterSomething(random);
    const std::vector<int> sizes = SizesOf(net.get());
    std::vector<double> expected;
    std::map<std::vector<int>, double> jointly;
    ForEachConfiguration(sizes, FactorsOf(net.get(), weights), [&](const std::vector<int>& states, double product) {
      if (product > 0) expected.push_back(product), jointly[states] = product;
    });
    std::sort(expected.rbegin(), expected.rend());
    const std::string before = Written(net);
    const double probability = CaseProbability_bn(net.get());

    const std::size_t n = sizes.size(), all = expected.size();
    const std::size_t asked = std::vector<std::size_t>{1, 5, all, all + 2}[std::size_t(random.Below(4))];
    std::vector<statetype> states(asked * n, -9);
    std::vector<double> probs(asked, -9);
    const int found = MostProbableConfigs_bn(net.get(), int(asked), states.data(), probs.data());
    ASSERT_EQ(std::size_t(found), std::min(asked, all));
    std::set<std::vector<int>> distinct;
    for (std::size_t i = 0; i < asked; ++i) {
      const std::vector<int> row(states.begin() + long(i * n), states.begin() + long((i + 1) * n));
      if (i >= all) {
        ASSERT_EQ(row, std::vector<int>(n, -9)) << "untouched";
        ASSERT_EQ(probs[i], -9);
        continue;
      }
      ASSERT_TRUE(distinct.insert(row).second);
      ASSERT_NEAR(probs[i] / expected[i], 1, TOLERANCE) << i;
      ASSERT_NEAR(probs[i] / jointly[row], 1, TOLERANCE) << i;
      if (i > 0 && probs[i] == probs[i - 1]) {
        const std::vector<int> last(states.begin() + long((i - 1) * n), states.begin() + long(i * n));
        ASSERT_LT(last, row);
      }
    }
    if (asked > all) ++numWithout;

    std::vector<node_bn> some;
    for (node_bn node : Nodes(net))
      if (random.Chance(0.4)) some.insert(some.begin() + random.Below(int(some.size()) + 1), node);
    if (some.empty()) some.push_back(Nodes(net)[0]);
    std::vector<int> places;
    for (node_bn node : some) places.push_back(int(PlaceOf(node)));
    const std::vector<double> sums = EnumerateOnto(places, sizes, FactorsOf(net.get(), weights));
    nodelist_bn list = List(some);
    std::vector<statetype> best(some.size(), -9);
    double prob = -9;
    ASSERT_EQ(MostProbableStates_bn(list, best.data(), &prob), 0);
    FreeNodeList_bn(list);
    std::size_t index = 0;
    for (std::size_t k = 0; k < some.size(); ++k)
      index = index * std::size_t(sizes[std::size_t(places[k])]) + std::size_t(best[k]);
    ASSERT_NEAR(prob / *std::max_element(sums.begin(), sums.end()), 1, TOLERANCE);
    ASSERT_NEAR(prob / sums[index], 1, TOLERANCE);

    ASSERT_EQ(Written(net), before);
    ASSERT_EQ(CaseProbability_bn(net.get()), probability);
    ASSERT_EQ(Reports(0), "");
  }
  EXPECT_GT(numWithout, 50);
}

// Nets too large to enumerate: the best one is what maximizing propagation finds, as probable as its tables say.
TEST_F(Configurations, BeginWithWhatPropagationFinds) {
  for (std::uint64_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    RandomNetOptions options;
    options.minNodes = 20, options.maxNodes = 40, options.maxConfigurations = 1e30;
    net = RandomNet(env, random, options);
    CompileNet_bn(net.get());
    RandomCase_bn(GetNetNodes_bn(net.get()), 0, 100);
    for (node_bn node : Nodes(net))
      if (random.Chance(0.7)) RetractNodeFindings_bn(node);
    const std::size_t n = Nodes(net).size();
    std::vector<statetype> states(4 * n);
    std::vector<double> probs(4);
    const int found = MostProbableConfigs_bn(net.get(), 4, states.data(), probs.data());
    ASSERT_GE(found, 1);
    for (std::size_t i = 0; i < std::size_t(found); ++i) {
      const std::vector<statetype> row(states.begin() + long(i * n), states.begin() + long((i + 1) * n));
      ASSERT_NEAR(std::log(probs[i]), LogOf(row), TOLERANCE);
    }
    SetNetFindMPE_bn(net.get(), 1);
    ASSERT_NEAR(probs[0] / CaseProbability_bn(net.get()), 1, TOLERANCE);
    SetNetFindMPE_bn(net.get(), 0);
  }
}

// So many that what is left open is cut down to what is still wanted: those in which no more than three nodes have the
// state that is a hundred times less probable.
TEST_F(Configurations, ThousandsAreTheMostProbableOnes) {
  constexpr int NODES = 60, COUNT = 4000;
  Random random(4);
  std::vector<double> odds, expected;
  double best = 1;
  for (int i = 0; i < NODES; ++i) {
    const float p = 0.01f + 0.0005f * float(random.Share());
    AddNode(net, ("N" + std::to_string(i)).c_str(), {"x", "y"}, {}, {p, 1 - p});
    best *= double(1 - p);
    odds.push_back(double(p / (1 - p)));
  }
  expected.push_back(best);
  for (std::size_t i = 0; i < NODES; ++i) {
    expected.push_back(best * odds[i]);
    for (std::size_t j = 0; j < i; ++j) {
      expected.push_back(best * odds[i] * odds[j]);
      for (std::size_t k = 0; k < j; ++k) expected.push_back(best * odds[i] * odds[j] * odds[k]);
    }
  }
  std::sort(expected.rbegin(), expected.rend());
  CompileNet_bn(net.get());
  std::vector<statetype> states(COUNT * NODES);
  std::vector<double> probs(COUNT);
  ASSERT_EQ(MostProbableConfigs_bn(net.get(), COUNT, states.data(), probs.data()), COUNT);
  std::set<std::vector<statetype>> distinct;
  for (std::size_t i = 0; i < COUNT; ++i) {
    const std::vector<statetype> row(states.begin() + long(i * NODES), states.begin() + long((i + 1) * NODES));
    ASSERT_NEAR(probs[i] / expected[i], 1, TOLERANCE) << i;
    ASSERT_NEAR(std::log(probs[i]), LogOf(row), TOLERANCE) << i;
    ASSERT_TRUE(distinct.insert(row).second);
  }
}

TEST_F(Configurations, TiesComeByTheirStates) {
  for (const char* name : {"A", "B", "C", "D"}) AddNode(net, name, {"x", "y", "z"}, {}, {0.25f, 0.25f, 0.5f});
  for (const char* name : {"E", "F"}) AddNode(net, name, {"x", "y"}, {}, {0.5f, 0.5f});
  CompileNet_bn(net.get());
  std::vector<statetype> states(6 * 6);
  EXPECT_EQ(MostProbableConfigs_bn(net.get(), 6, states.data(), nullptr), 6);
  EXPECT_THAT(states, ::testing::ElementsAre(2, 2, 2, 2, 0, 0, 2, 2, 2, 2, 0, 1, 2, 2, 2, 2, 1, 0, 2, 2, 2, 2, 1, 1,  //
                                             0, 2, 2, 2, 0, 0, 0, 2, 2, 2, 0, 1));
}

// The probabilities of all configurations are below the smallest double, and their tables' products far out of range.
TEST_F(Configurations, AreRankedHoweverImprobable) {
  constexpr int LEAVES = 60;
  node_bn root = AddNode(net, "Root", {"a", "b", "c"}, {}, {0.25f, 0.25f, 0.5f});
  for (int i = 0; i < LEAVES; ++i) {
    const std::string name = "Leaf" + std::to_string(i);
    const float rare = i == 7 ? 2e-37f : 1e-37f;
    const std::vector<float> first = {1e-37f, 1, 1, 0, 1e-33f, 1}, second = {1, 0, rare, 1, 1e-33f, 1};
    AddNode(net, name.c_str(), {"x", "y"}, {"Root"}, i % 2 == 0 ? first : second);
    CompileNet_bn(net.get());
    EnterFinding_bn(Named(net, name), 0);
  }
  AddNode(net, "Free", {"x", "y"}, {"Root"}, {0.75f, 0.25f, 0.5f, 0.5f, 0.5f, 0.5f});
  CompileNet_bn(net.get());
  constexpr int NODES = LEAVES + 2;
  std::vector<statetype> states(7 * NODES);
  std::vector<double> probs(7);
  ASSERT_EQ(MostProbableConfigs_bn(net.get(), 7, states.data(), probs.data()), 6);
  std::vector<double> logs;
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(probs[std::size_t(i)], std::numeric_limits<double>::min());
    logs.push_back(LogOf({states.begin() + i * NODES, states.begin() + (i + 1) * NODES}));
  }
  EXPECT_TRUE(std::is_sorted(logs.rbegin(), logs.rend()));
  EXPECT_EQ(states[PlaceOf(root)], 1);
  // The root's states have 1/3, 2/3 and next to nothing of what counts: with the other node summed out as with it.
  nodelist_bn list = List({root});
  statetype best = -1;
  double prob = 0;
  EXPECT_EQ(MostProbableStates_bn(list, &best, &prob), 0);
  EXPECT_EQ(best, 1);
  EXPECT_EQ(prob, std::numeric_limits<double>::min());
  FreeNodeList_bn(list);
}

TEST_F(Configurations, ConstantsHaveNoPart) {
  node_bn constant = New("Constant"), weather = New("Weather");
  SetNodeKind_bn(constant, ASSUME_NODE);
  SetTable(weather, {0.25f, 0.75f});
  CompileNet_bn(net.get());
  std::vector<statetype> states(6, -9), expected(4, UNDEF_STATE);
  std::vector<double> probs(3, -9);
  EXPECT_EQ(MostProbableConfigs_bn(net.get(), 3, states.data(), probs.data()), 2);
  expected[PlaceOf(weather)] = 1;
  expected[2 + PlaceOf(weather)] = 0;
  expected.resize(6, -9);
  EXPECT_EQ(states, expected);
  EXPECT_THAT(probs, ::testing::ElementsAre(0.75, 0.25, -9));
}

TEST_F(Configurations, AreRefused) {
  net = ChestClinic(env);
  statetype states[8];
  double prob = 5;
  nodelist_bn all = DupNodeList_bn(GetNetNodes_bn(net.get())), none = NewNodeList_bn(0, env);
  EXPECT_EQ(MostProbableConfigs_bn(net.get(), 1, states, &prob), -1);
  EXPECT_EQ(MostProbableStates_bn(all, states, &prob), -1);
  EXPECT_EQ(Gist(), "5 2077 MostProbableConfigs_bn ChestClinic; 5 2077 MostProbableStates_bn ChestClinic");
  CompileNet_bn(net.get());
  EXPECT_EQ(MostProbableConfigs_bn(net.get(), 0, nullptr, nullptr), 0);
  EXPECT_EQ(MostProbableConfigs_bn(net.get(), -1, states, &prob), -1);
  EXPECT_EQ(MostProbableConfigs_bn(net.get(), 1, nullptr, &prob), -1);
  EXPECT_EQ(MostProbableStates_bn(all, nullptr, &prob), -1);
  EXPECT_EQ(MostProbableStates_bn(none, states, &prob), -1);
  node_bn assumed = AddNode(net, "Assumed", {"x", "y"}, {}, {0.5f, 0.5f});
  SetNodeKind_bn(assumed, ASSUME_NODE);
  CompileNet_bn(net.get());
  AddNodeToList_bn(assumed, none, 0);
  EXPECT_EQ(MostProbableStates_bn(none, states, &prob), -1);
  EXPECT_EQ(Gist(),
            "5 2640 MostProbableConfigs_bn count 0 -1; 5 2641 MostProbableConfigs_bn NULL; "
            "5 2641 MostProbableStates_bn NULL; 5 2642 MostProbableStates_bn; 5 2643 MostProbableStates_bn Assumed");
  // Findings that contradict each other: entered while nothing was compiled.
  FreeNodeList_bn(all);
  net = ChestClinic(env);
  all = DupNodeList_bn(GetNetNodes_bn(net.get()));
  Observe(net, "tub", "yes");
  Observe(net, "either", "no");
  CompileNet_bn(net.get());
  Reports();
  EXPECT_EQ(MostProbableConfigs_bn(net.get(), 1, states, &prob), 0);
  EXPECT_EQ(MostProbableStates_bn(all, states, &prob), -1);
  EXPECT_EQ(Gist(), "5 2078 MostProbableConfigs_bn; 5 2078 MostProbableStates_bn");
  EXPECT_EQ(prob, 5);
  FreeNodeList_bn(all);
  FreeNodeList_bn(none);
}

// A star: each leaf is a copy of the hub with an error, so that the hub summed out ties all leaves together.
TEST_F(Configurations, TooManyTiedTogetherAreRefusedWithAnEstimate) {
  AddNode(net, "Hub", {"a", "b"}, {}, {0.5f, 0.5f});
  std::vector<node_bn> leaves;
  for (int i = 0; i < 32; ++i)
    leaves.push_back(
        AddNode(net, ("Leaf" + std::to_string(i)).c_str(), {"a", "b"}, {"Hub"}, {0.75f, 0.25f, 0.25f, 0.75f}));
  CompileNet_bn(net.get());
  nodelist_bn list = List(leaves);
  std::vector<statetype> states(leaves.size(), -9);
  EXPECT_EQ(MostProbableStates_bn(list, states.data(), nullptr), -1);
  EXPECT_THAT(Gist(), ::testing::StartsWith("5 2644 MostProbableStates_bn 32 4.29497e+09 "));
  EXPECT_EQ(states[0], -9);
  while (LengthNodeList_bn(list) > 12) RemoveNthNode_bn(list, 12);
  EXPECT_EQ(MostProbableStates_bn(list, states.data(), nullptr), 0);
  FreeNodeList_bn(list);
}

}  // namespace
}  // namespace bravic::testing

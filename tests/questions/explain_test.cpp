// What findings do to each other and to beliefs, and what tables do, against enumeration.

#include "Win_Face/Interaction.h"
#include "questions/enumerated.h"

namespace bravic::testing {
namespace {

int BRAVIC_CALL HaltAtOnce(void*, const char*, double, double) {
  return 1;
}

class ExplainTest : public EnumeratedTest {
 protected:
  double Probability(const Weights& given) const { return Enumerate(net.get(), given).probability; }
  // Of the smallest of the findings that make the state impossible (EVERY_STATE: contradict each other), by trying all
  // sets; one more than there are where none does.
  std::size_t SizeOfSmallest(const Weights& findings, node_bn node, int state) const {
    const std::vector<std::pair<node_bn, std::vector<double>>> all(findings.begin(), findings.end());
    std::size_t smallest = all.size() + 1;
    for (unsigned set = 0; set < 1u << all.size(); ++set) {
      Weights some;
      for (std::size_t k = 0; k < all.size(); ++k)
        if (set >> k & 1) some.insert(all[k]);
      if (some.size() < smallest && Probability(state == EVERY_STATE ? some : With(some, node, state)) == 0)
        smallest = some.size();
    }
    return smallest;
  }
  // That state of the node beside the findings.
  static Weights With(Weights given, node_bn node, int state) {
    std::vector<double>& own = given.emplace(node, std::vector<double>(std::size_t(NumStates(node)), 1)).first->second;
    for (std::size_t s = 0; s < own.size(); ++s)
      if (int(s) != state) own[s] = 0;
    return given;
  }
};

TEST_F(ExplainTest, ConflictAndImpactsAreThoseOfTheEnumeration) {
  int numImpacts = 0;
  for (std::uint64_t seed = 1; seed <= 250; ++seed) {
    SCOPED_TRACE(seed);
    MakeNet(seed);
    const std::string before = Look();
    double expected = -std::log2(Probability(weights));
    for (const auto& [node, known] : weights) expected += std::log2(Probability({{node, known}}));
    ASSERT_NEAR(FindingsConflict_bn(net.get()), weights.empty() ? 0 : expected, 2e-5);
    node_bn target = random.Pick(nodes);
    const int state = random.Below(NumStates(target));
    std::vector<node_bn> observed;
    for (const auto& [node, known] : weights) observed.push_back(node);
    std::vector<double> without(observed.size() + 1, -1);
    nodelist_bn list = List(observed);
    ASSERT_EQ(FindingImpacts_bn(target, state, list, without.data()), 0);
    FreeNodeList_bn(list);
    for (std::size_t k = 0; k < observed.size(); ++k, ++numImpacts) {
      Weights rest = weights;
      rest.erase(observed[k]);
      ASSERT_NEAR(without[k], Enumerate(net.get(), rest).belief[target][std::size_t(state)], 1e-5);
    }
    ASSERT_EQ(without.back(), -1);
    ASSERT_EQ(Look(), before);
  }
  EXPECT_GT(numImpacts, 100);
}

// Nets full of zeros, with findings that rule states out or contradict each other.
TEST_F(ExplainTest, SmallestConflictsAreThoseOfTheEnumeration) {
  std::map<std::size_t, int> numOfSize;
  for (std::uint64_t seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(seed);
    random = Random(seed);
    RandomNetOptions options;
    options.minNodes = 5, options.maxNodes = 9, options.minStates = 2, options.maxStates = 3, options.zeros = 0.6;
    options.maxConfigurations = 2000;
    net = RandomNet(env, random, options);
    nodes = Nodes(net);
    Weights entered;
    for (node_bn node : nodes) {
      if (!random.Chance(0.6)) continue;
      const int state = random.Below(NumStates(node));
      std::vector<double> known(std::size_t(NumStates(node)), 0.0);
      known[std::size_t(state)] = 1;
      if (random.Chance(0.3))
        for (double& weight : known) weight = 1 - weight;
      EnterNodeLikelihood_bn(node, std::vector<float>(known.begin(), known.end()).data());
      if (Reports(5).empty()) entered[node] = known;
    }
    CompileNet_bn(net.get());
    const std::string before = Written(net);
    for (int round = 0; round < 4; ++round) {
      node_bn node = random.Pick(nodes);
      const bool isAny = round == 0;
      const int state = isAny ? int(EVERY_STATE) : random.Below(NumStates(node));
      // The state is no finding, so it goes in with every set.
      Weights others = entered;
      const bool excludes = !isAny && entered.count(node) && entered[node][std::size_t(state)] == 0;
      if (!isAny) others.erase(node);
      const std::size_t smallest = SizeOfSmallest(others, node, state),
                        expected = excludes && smallest > 0 ? 1 : smallest;
      nodelist_bn list = ConflictingFindings_bn(node, state);
      ASSERT_EQ(Reports(), "");
      if (!excludes && expected > others.size()) {
        ASSERT_EQ(list, nullptr);
        continue;
      }
      ASSERT_NE(list, nullptr) << expected << " " << GetNodeName_bn(node) << "=" << state << Written(net);
      Weights found;
      for (node_bn one : Nodes(list)) found[one] = entered.at(one);
      FreeNodeList_bn(list);
      ASSERT_EQ(found.size(), expected);
      ASSERT_EQ(Probability(isAny ? found : With(found, node, state)), 0);
      ++numOfSize[expected];
    }
    ASSERT_EQ(Written(net), before);
  }
  for (std::size_t size : {0, 1, 2, 3}) EXPECT_GT(numOfSize[size], 3) << size;
}

// More findings than are searched for a smallest set: a chain that repeats its first state for certain.
TEST_F(ExplainTest, NoFindingOfManyCanBeSpared) {
  constexpr int LENGTH = 60;
  net = Chain(env, LENGTH);
  const auto at = [&](int i) { return Named(net, "N" + std::to_string(i)); };
  for (int i = 1; i < LENGTH; ++i) SetTable(at(i), {1, 0, 0, 1});
  SetTable(at(30), {0.5f, 0.5f, 0.25f, 0.75f});
  CompileNet_bn(net.get());
  for (int i = 0; i < 59; ++i)
    if (i != 29) EnterFinding_bn(at(i), i >= 30);
  nodelist_bn list = ConflictingFindings_bn(at(59), 0);
  EXPECT_EQ(LengthNodeList_bn(list), 1);
  EXPECT_THAT(Names(list), ::testing::StartsWith("N"));
  FreeNodeList_bn(list);
  EXPECT_EQ(ConflictingFindings_bn(at(59), 1), nullptr);
  EXPECT_EQ(Gist(), "");
  SetProgressCallback_ns(HaltAtOnce, nullptr, env);
  SetWaitClock([] {
    static long seconds = 0;
    return ++seconds;
  });
  EXPECT_EQ(ConflictingFindings_bn(at(59), 0), nullptr);
  SetWaitClock(nullptr);
  SetProgressCallback_ns(nullptr, nullptr, env);
  EXPECT_EQ(Gist(), "5 2450 ConflictingFindings_bn");
  EXPECT_EQ(GetNodeBeliefs_bn(at(59))[1], 1);
}

TEST_F(ExplainTest, OfTheChestClinic) {
  net = ChestClinic(env);
  CompileNet_bn(net.get());
  EXPECT_EQ(FindingsConflict_bn(net.get()), 0);
  Observe(net, "asia", "yes");
  Observe(net, "dysp", "yes");
  Observe(net, "either", "no");
  nodelist_bn list = ConflictingFindings_bn(At("tub"), 0);
  EXPECT_EQ(Names(list), "either");
  FreeNodeList_bn(list);
  EXPECT_EQ(ConflictingFindings_bn(At("tub"), 1), nullptr);
  // Entered without a look at beliefs, it contradicts.
  Observe(net, "lung", "yes");
  EXPECT_EQ(FindingsConflict_bn(net.get()), inf_dbl_ns);
  list = ConflictingFindings_bn(At("asia"), EVERY_STATE);
  EXPECT_THAT(Nodes(list), ::testing::UnorderedElementsAre(At("lung"), At("either")));
  FreeNodeList_bn(list);
  EXPECT_EQ(Gist(), "");
}

TEST_F(ExplainTest, WhatIsRefused) {
  net = ChestClinic(env);
  EXPECT_EQ(FindingsConflict_bn(net.get()), undef_dbl_ns);
  EXPECT_EQ(ConflictingFindings_bn(At("tub"), 0), nullptr);
  EXPECT_EQ(Gist(), "5 2077 FindingsConflict_bn ChestClinic; 5 2077 ConflictingFindings_bn ChestClinic");
  CompileNet_bn(net.get());
  double without[8];
  EXPECT_EQ(ConflictingFindings_bn(At("tub"), 2), nullptr);
  EXPECT_EQ(FindingImpacts_bn(At("tub"), 0, GetNetNodes_bn(net.get()), without), -1);
  EXPECT_EQ(FindingImpacts_bn(At("tub"), -1, GetNetNodes_bn(net.get()), without), -1);
  EXPECT_EQ(
      Gist(),
      "5 5106 ConflictingFindings_bn 2 tub 0 1; 5 2616 FindingImpacts_bn asia; 5 5106 FindingImpacts_bn -1 tub 0 1");
}

class SensitivityTest : public EnumeratedTest {};

// With the entry set to some number the enumeration gives the belief that the quotient tells.
TEST_F(SensitivityTest, IsThatOfTheEnumeration) {
  int numOfZeros = 0;
  for (std::uint64_t seed = 1; seed <= 250; ++seed) {
    SCOPED_TRACE(seed);
    MakeNet(seed, 600);
    const std::string before = Look();
    node_bn target = random.Pick(nodes);
    const int state = random.Below(NumStates(target));
    std::size_t size = 0;
    for (node_bn node : nodes) size += GetTable(node).size();
    std::vector<double> all(4 * size, -1);
    ASSERT_EQ(BeliefSensitivities_bn(target, state, GetNetNodes_bn(net.get()), all.data()), 0);
    std::size_t at = 0;
    struct Asked {
      node_bn node;
      std::size_t entry;
      const double* c;
    };
    std::vector<Asked> asked;
    for (node_bn node : nodes) {
      const std::size_t entries = GetTable(node).size();
      for (int round = 0; round < 2; ++round) {
        const auto entry = std::size_t(random.Below(int(entries)));
        asked.push_back({node, entry, &all[4 * (at + entry)]});
      }
      at += entries;
    }
    for (const Asked& one : asked) {
      const auto numstates = std::size_t(NumStates(one.node)), first = one.entry / numstates * numstates;
      double single[4];
      std::size_t left = one.entry / numstates;
      std::vector<statetype> states;
      const auto parents = Nodes(GetNodeParents_bn(one.node));
      for (std::size_t k = parents.size(); k-- > 0; left /= std::size_t(NumStates(parents[k])))
        states.insert(states.begin(), int(left % std::size_t(NumStates(parents[k]))));
      ASSERT_EQ(BeliefSensitivity_bn(target, state, one.node, states.data(), int(one.entry - first), single), 0);
      for (int k = 0; k < 4; ++k) ASSERT_NEAR(single[k], one.c[k], 1e-5 * (1 + std::abs(single[k])));
      const std::vector<float> table = GetTable(one.node);
      numOfZeros += table[one.entry] == 0;
      ASSERT_NEAR(one.c[2] * table[one.entry] + one.c[3], 1, 1e-5);
      for (double x : {0.0, 0.3, 1.0}) {
        std::vector<Factor> factors = FactorsOf(net.get(), weights), top;
        // The factor of the node's table, of which there is one with as many variables as its family.
        std::size_t place = 0;
        for (node_bn node : nodes) {
          if (node == one.node) break;
          place += 1 + weights.count(node);
        }
        std::vector<double>& entries = factors[place].entries;
        double others = 0;
        for (std::size_t k = first; k < first + numstates; ++k)
          if (k != one.entry) others += entries[k];
        for (std::size_t k = first; k < first + numstates && numstates > 1; ++k)
          entries[k] = k == one.entry ? x
                       : others > 0   ? entries[k] * (1 - x) / others
                                      : (1 - x) / double(numstates - 1);
        const int variable = int(std::find(nodes.begin(), nodes.end(), target) - nodes.begin());
        const std::vector<double> belief = EnumerateOnto({variable}, SizesOf(net.get()), factors, false);
        const double total = std::accumulate(belief.begin(), belief.end(), 0.0), divisor = one.c[2] * x + one.c[3];
        if (total == 0) {
          ASSERT_NEAR(divisor, 0, 1e-5);
        } else {
          ASSERT_NEAR((one.c[0] * x + one.c[1]) / divisor, belief[std::size_t(state)] / total, 1e-4);
        }
      }
    }
    ASSERT_EQ(Look(), before);
  }
  EXPECT_GT(numOfZeros, 100);
}

// P(lung | dysp) by P(smoker) = s: P(lung, dysp) and P(dysp) are sums of two products each.
TEST_F(SensitivityTest, OfLungCancerToTheSmoker) {
  net = ChestClinic(env);
  CompileNet_bn(net.get());
  Observe(net, "dysp", "yes");
  double c[4];
  ASSERT_EQ(BeliefSensitivity_bn(At("lung"), 0, At("smoke"), nullptr, 0, c), 0);
  const double tub = 0.0104;
  const auto dyspnea = [&](double lung, double bronc) {
    const double given = 0.9 * bronc + 0.7 * (1 - bronc), none = 0.8 * bronc + 0.1 * (1 - bronc);
    return std::pair(lung * given, lung * given + (1 - lung) * (tub * given + (1 - tub) * none));
  };
  const auto [lungOfSmoker, ofSmoker] = dyspnea(0.1, 0.6);
  const auto [lungOfOther, ofOther] = dyspnea(0.01, 0.3);
  const double now = 0.5 * (ofSmoker + ofOther);
  EXPECT_NEAR(c[0], (lungOfSmoker - lungOfOther) / now, 1e-6);
  EXPECT_NEAR(c[1], lungOfOther / now, 1e-6);
  EXPECT_NEAR(c[2], (ofSmoker - ofOther) / now, 1e-6);
  EXPECT_NEAR(c[3], ofOther / now, 1e-6);
}

TEST_F(SensitivityTest, IsRefused) {
  net = ChestClinic(env);
  double c[4];
  const statetype states[] = {0, EVERY_STATE};
  EXPECT_EQ(BeliefSensitivity_bn(At("lung"), 0, At("smoke"), nullptr, 0, c), -1);
  EXPECT_EQ(BeliefSensitivity_bn(At("lung"), 0, At("smoke"), nullptr, 2, c), -1);
  EXPECT_EQ(BeliefSensitivity_bn(At("lung"), 0, At("dysp"), states, 0, c), -1);
  EXPECT_EQ(BeliefSensitivity_bn(At("lung"), 0, At("smoke"), nullptr, 0, nullptr), -1);
  EXPECT_EQ(Gist(),
            "5 2077 BeliefSensitivity_bn ChestClinic; 5 5106 BeliefSensitivity_bn 2 smoke 0 1; "
            "5 5136 BeliefSensitivity_bn dysp -5 bronc 1; 5 2612 BeliefSensitivity_bn NULL coefficients");
}

}  // namespace
}  // namespace bravic::testing

// Link reversal, absorption and optimal decisions against the joint distribution enumerated.

#include "Basic/Memory.h"
#include "Bn/model/Records.h"
#include "support/joint.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

using World = std::map<std::string, statetype>;

// The entry of the node's table in a world; a row of the impossible marker weighs 0.
double Factor(node_bn node, const World& world) {
  std::vector<statetype> states;
  for (node_bn parent : Nodes(GetNodeParents_bn(node))) states.push_back(world.at(GetNodeName_bn(parent)));
  states.push_back(0);
  return std::max(0.0, double(GetNodeProbs_bn(node, states.data())[world.at(GetNodeName_bn(node))]));
}

// The distribution of the named nodes given the findings, by their states, last node fastest; empty when the findings
// are impossible.
std::vector<double> Marginal(const Net& net, const std::vector<std::string>& names) {
  const auto nodes = Nodes(net);
  Weights weights;
  for (node_bn node : nodes) {
    const probtype* likelihood = GetNodeLikelihood_bn(node);
    weights[node] = {likelihood, likelihood + NumStates(node)};
  }
  std::vector<int> places;
  for (const std::string& name : names)
    places.push_back(int(std::find(nodes.begin(), nodes.end(), Named(net, name)) - nodes.begin()));
  std::vector<double> sums = EnumerateOnto(places, SizesOf(net.get()), FactorsOf(net.get(), weights));
  const double total = std::accumulate(sums.begin(), sums.end(), 0.0);
  for (double& sum : sums) sum /= total;
  return total < 1e-9 ? std::vector<double>() : sums;
}

void ExpectSame(const std::vector<double>& a, const std::vector<double>& b) {
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i) ASSERT_NEAR(a[i], b[i], 2e-6);
}

class DecisionsTest : public NetTest {
 protected:
  Net ReadExample(const char* name) { return ReadFrom(std::string(BRAVIC_SOURCE_DIR "/examples/nets/") + name); }
};

TEST_F(DecisionsTest, ReversalKeepsTheJointOfRandomNets) {
  for (int seed = 1; seed <= 120; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(static_cast<std::uint64_t>(seed));
    RandomNetOptions options;
    options.maxNodes = 6;
    options.zeros = 0.3;
    net = RandomNet(env, random, options);
    std::vector<std::string> names;
    for (node_bn node : Nodes(net)) names.push_back(GetNodeName_bn(node));
    for (int tries = 0; tries < 6; ++tries) {
      node_bn child = At(random.Pick(names).c_str());
      auto parents = Nodes(GetNodeParents_bn(child));
      if (parents.empty()) continue;
      node_bn parent = random.Pick(parents);
      // A second path would close a cycle; such links are left alone here.
      std::function<bool(node_bn)> reaches = [&](node_bn from) {
        if (from == child) return true;
        for (node_bn next : Nodes(GetNodeChildren_bn(from)))
          if (!(from == parent && next == child) && reaches(next)) return true;
        return false;
      };
      if (reaches(parent)) continue;
      const auto before = Marginal(net, names);
      ASSERT_EQ(ReverseLink_bn(parent, child), 0);
      ExpectSame(before, Marginal(net, names));
    }
  }
}

TEST_F(DecisionsTest, ReversalWithoutTablesWarnsAndTurnsTheLink) {
  node_bn a = AddNode(net, "A", {"a0", "a1"}, {}, {0.3f, 0.7f}), b = New("B", 2, {a});
  EXPECT_EQ(ReverseLink_bn(a, b), 0);
  EXPECT_EQ(Gist(), "4 2145 ReverseLink_bn B; 4 2147 ReverseLink_bn A B");
  EXPECT_FALSE(HasRelation_bn(a));
  EXPECT_EQ(Nodes(GetNodeParents_bn(a)), std::vector<node_bn>{b});
}

TEST_F(DecisionsTest, ReversalWeighsWhatIsPossible) {
  const float X = IMPOS_PROB;
  const std::vector<float> half = {X, X, 0.75f, 0.25f}, none = {X, X, X, X};
  for (const auto& [rows, left, turned] : {std::tuple(half, std::vector{0.75f, 0.25f}, std::vector{0.f, 1.f, 0.f, 1.f}),
                                           std::tuple(none, std::vector{X, X}, none)}) {
    net.reset(NewNet_bn("Test", env));
    node_bn a = AddNode(net, "A", {"a0", "a1"}, {}, {0.8f, 0.2f}), b = AddNode(net, "B", {"b0", "b1"}, {"A"}, rows);
    EXPECT_EQ(ReverseLink_bn(a, b), 0);
    EXPECT_EQ(GetTable(b), left);
    EXPECT_EQ(GetTable(a), turned);
  }
}

TEST_F(DecisionsTest, ALostTableIsMissed) {
  node_bn a = AddNode(net, "A", {"a0", "a1"}, {}, {1, 0}), b = New("B", 2, {a});
  EXPECT_TRUE(IsNodeDeterministic_bn(a));
  ReverseLink_bn(a, b);
  Reports();
  EXPECT_FALSE(IsNodeDeterministic_bn(a));
  SetTable(b, {0.5f, 0.5f});
  CompileNet_bn(net.get());
  EXPECT_EQ(Gist(), "5 2229 CompileNet_bn Test A");
}

// Absorbing nature nodes with and without findings leaves the joint of the others, given the findings.
TEST_F(DecisionsTest, AbsorptionKeepsTheJointOfTheRest) {
  for (int seed = 1; seed <= 150; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(static_cast<std::uint64_t>(seed) + 1000);
    RandomNetOptions options;
    options.minNodes = 3;
    options.maxNodes = 6;
    options.minStates = 2;
    options.zeros = seed % 3 == 0 ? 0.3 : 0;
    net = RandomNet(env, random, options);
    std::vector<node_bn> absorbed;
    std::vector<std::string> kept;
    for (node_bn node : Nodes(net)) {
      random.Chance(0.5) ? absorbed.push_back(node) : kept.push_back(GetNodeName_bn(node));
      if (random.Chance(0.25)) EnterFinding_bn(node, random.Below(NumStates(node)));
      std::vector<float> likelihood = RandomRow(random, NumStates(node), 0);
      if (random.Chance(0.25)) EnterNodeLikelihood_bn(node, likelihood.data());
    }
    Reports();  // findings that contradict a root's table are refused
    const auto before = Marginal(net, kept);
    if (absorbed.empty() || kept.empty() || before.empty()) continue;
    AbsorbNodes_bn(List(absorbed));
    ASSERT_EQ(Reports(), "");
    ASSERT_EQ(Nodes(net).size(), kept.size());
    ExpectSame(before, Marginal(net, kept));
  }
}

// Some chance nodes, then a decision that knows all that the earlier ones knew and perhaps a few of those nodes, and so
// on; last a utility node.
struct Diagram {
  Net net;
  std::vector<node_bn> order;  // without the utility node
  node_bn utility = nullptr;
};

Diagram RandomDiagram(environ_ns env, Random& random, int numdecisions) {
  Diagram diagram;
  diagram.net.reset(NewNet_bn("Diagram", env));
  bnet* net = diagram.net.get();
  std::vector<node_bn> decisions, known, unknown;
  auto isKnown = [&](node_bn node) { return std::find(known.begin(), known.end(), node) != known.end(); };
  for (int i = 0; i <= numdecisions; ++i) {
    for (int k = random.Between(i == 0, i == numdecisions ? 3 : 2); k > 0; --k) {
      node_bn node = NewNode_bn(("C" + std::to_string(diagram.order.size())).c_str(), 2, net);
      for (node_bn parent : diagram.order)
        if (LengthNodeList_bn(GetNodeParents_bn(node)) < 3 && random.Chance(0.5)) AddLink_bn(parent, node);
      RandomTable(node, random, 0.15);
      diagram.order.push_back(node);
      unknown.push_back(node);
    }
    if (i == numdecisions) break;
    node_bn decision = NewNode_bn(("D" + std::to_string(i)).c_str(), random.Between(2, 3), net);
    SetNodeKind_bn(decision, DECISION_NODE);
    for (node_bn node : known) AddLink_bn(node, decision);
    for (node_bn node : unknown)
      if (!isKnown(node) && known.size() < 5 && random.Chance(0.4)) {
        AddLink_bn(node, decision);
        known.push_back(node);
      }
    known.push_back(decision);
    decisions.push_back(decision);
    diagram.order.push_back(decision);
  }
  diagram.utility = NewNode_bn("U", 0, net);
  SetNodeKind_bn(diagram.utility, UTILITY_NODE);
  for (node_bn node : diagram.order)
    if (GetNodeKind_bn(node) == DECISION_NODE || random.Chance(0.4)) AddLink_bn(node, diagram.utility);
  ForEachRow(diagram.utility, [&](const statetype* states) {
    SetNodeFuncValue_bn(diagram.utility, states, double(random.Between(-20, 20)));
  });
  return diagram;
}

// The value of the best policy, rolled back: of what is still open in the sequence a decision takes the best, chance
// the sum.
double RollBack(const Diagram& diagram, const std::vector<node_bn>& sequence, std::size_t at, World& world) {
  if (at == sequence.size()) {
    double weight = 1;
    for (node_bn node : sequence) {
      if (GetNodeKind_bn(node) == NATURE_NODE) weight *= Factor(node, world);
    }
    std::vector<statetype> states;
    for (node_bn parent : Nodes(GetNodeParents_bn(diagram.utility))) states.push_back(world[GetNodeName_bn(parent)]);
    return weight == 0 ? 0 : weight * GetNodeFuncValue_bn(diagram.utility, states.data());
  }
  const bool decides = GetNodeKind_bn(sequence[at]) == DECISION_NODE;
  double value = decides ? -1e300 : 0;
  for (statetype state = 0; state < NumStates(sequence[at]); ++state) {
    world[GetNodeName_bn(sequence[at])] = state;
    const double then = RollBack(diagram, sequence, at + 1, world);
    value = decides ? std::max(value, then) : value + then;
  }
  return value;
}

double BestUtility(const Diagram& diagram) {
  std::vector<node_bn> sequence;  // what a decision knows comes before it, what none knows at the end
  const auto append = [&](node_bn node) {
    if (std::find(sequence.begin(), sequence.end(), node) == sequence.end()) sequence.push_back(node);
  };
  for (node_bn node : diagram.order) {
    if (GetNodeKind_bn(node) != DECISION_NODE) continue;
    for (node_bn parent : Nodes(GetNodeParents_bn(node))) append(parent);
    append(node);
  }
  for (node_bn node : diagram.order) append(node);
  World world;
  return RollBack(diagram, sequence, 0, world);
}

TEST_F(DecisionsTest, OptimalPoliciesAttainTheBestUtility) {
  for (int seed = 1; seed <= 120; ++seed) {
    Random random(static_cast<std::uint64_t>(seed) + 5000);
    Diagram diagram = RandomDiagram(env, random, 1 + seed % 4);
    const double best = BestUtility(diagram);
    SetUndoDepth_bn(seed % 5 == 0 ? 0 : 1, diagram.net.get());
    const int result = OptimizeDecisions_bn(GetNetNodes_bn(diagram.net.get()));
    ASSERT_EQ(Reports(4), "") << "seed " << seed;
    ASSERT_EQ(result, 0);
    ASSERT_NEAR(GetExpectedUtility_bn(diagram.net.get()), best, 1e-4) << "seed " << seed;
  }
  SetUndoDepth_bn(1, Net(NewNet_bn("Any", env)).get());
}

TEST_F(DecisionsTest, PublishedOptima) {
  for (const auto& [name, utility] : {std::pair("umbrella.dne", 77.0), {"oil_wildcatter.dne", 22.5}}) {
    net = ReadExample(name);
    EXPECT_EQ(GetExpectedUtility_bn(net.get()), undef_dbl_ns) << "no policy yet";
    EXPECT_NE(Reports(), "");
    EXPECT_EQ(OptimizeDecisions_bn(GetNetNodes_bn(net.get())), 0);
    EXPECT_NEAR(GetExpectedUtility_bn(net.get()), utility, 1e-5) << name;
  }
  net = ReadExample("umbrella.dne");
  OptimizeDecisions_bn(GetNetNodes_bn(net.get()));
  Observe(net, "Forecast", "rainy");
  EXPECT_NEAR(GetExpectedUtility_bn(net.get()), 14 / 0.25, 1e-4);
}

TEST_F(DecisionsTest, ExcludedStatesAreNotChosen) {
  node_bn d = New("D", 3), v = New("V", 0, {d});
  SetNodeKind_bn(d, DECISION_NODE);
  SetNodeKind_bn(v, UTILITY_NODE);
  for (statetype state : {0, 1, 2}) SetNodeFuncValue_bn(v, &state, state == 1 ? 3 : state);
  for (const auto& [excluded, chosen] : {std::pair(0, 1), {1, 2}, {2, 1}}) {
    RetractAllFindings_bn(net.get());
    EnterFindingNot_bn(d, excluded);
    EXPECT_EQ(OptimizeDecisions_bn(GetNetNodes_bn(net.get())), 0);
    EXPECT_EQ(GetNodeProbs_bn(d, nullptr)[chosen], 1) << excluded;
  }
}

// A link that is missing for two reasons is one.
TEST_F(DecisionsTest, MissingLinksAreCountedOnce) {
  for (const bool known : {true, false}) {
    net.reset(NewNet_bn("Test", env));
    node_bn x = New("X"), first = New("D1", 2, {x}), second = New("D2", 2, {x, first});
    node_bn third = known ? New("D3", 2, {x, second}) : New("D3", 2, {second}), v = New("V", 0, {third});
    SetTable(x, {0.5f, 0.5f});
    for (node_bn node : {first, second, third}) SetNodeKind_bn(node, DECISION_NODE);
    SetNodeKind_bn(v, UTILITY_NODE);
    for (statetype state : {0, 1}) SetNodeFuncValue_bn(v, &state, state);
    Reports();
    EXPECT_NE(OptimizeDecisions_bn(GetNetNodes_bn(net.get())), 0);
    EXPECT_EQ(Gist(5), known ? "5 2263 OptimizeDecisions_bn Test D1 D3" : "5 2264 OptimizeDecisions_bn Test 2 D1 D3");
  }
}

// What follows from a decision alone goes with it, also where it is linked in a circle.
TEST_F(DecisionsTest, BarrenDescendantsGoWithTheDecision) {
  for (const int depth : {0, 1}) {
    for (const bool circle : {false, true}) {
      net.reset(NewNet_bn("Test", env));
      SetUndoDepth_bn(depth, net.get());
      node_bn d = New("D"), x = New("X"), v = New("V", 0, {d}), z1 = New("Z1", 2, {d, x}), z2 = New("Z2", 2, {d, z1});
      SetNodeKind_bn(d, DECISION_NODE);
      SetNodeKind_bn(v, UTILITY_NODE);
      if (circle) AddLink_bn(z2, z1);
      for (statetype state : {0, 1}) SetNodeFuncValue_bn(v, &state, state);
      for (node_bn node : {x, z1, z2}) {
        ForEachRow(node, [node](const statetype* row) { SetNodeProbs_bn(node, row, std::vector{0.5f, 0.5f}.data()); });
      }
      Reports();
      EXPECT_EQ(OptimizeDecisions_bn(GetNetNodes_bn(net.get())), circle ? -2228 : 0);
      AbsorbNodes_bn(List({d, x, z1, z2}));
      EXPECT_EQ(Reports() != "", circle);
      EXPECT_EQ(Nodes(net).size(), circle ? 4 : 1);
    }
  }
  SetUndoDepth_bn(1, net.get());
}

TEST_F(DecisionsTest, WhatCannotBeSolvedIsRefusedAndUnchanged) {
  const std::pair<std::function<void()>, const char*> rows[] = {
      {[&] { SetNodeKind_bn(New("Extra", 0), UTILITY_NODE); }, "2113 OilWildcatter Profit Extra"},
      {[&] { DeleteNode_bn(At("Profit")); }, "2262 OilWildcatter"},
      {[&] { DeleteLink_bn(0, At("Drill")); }, "2263 OilWildcatter Test Drill"},
      {[&] { DeleteLink_bn(0, At("Drill")), DeleteLink_bn(0, At("Drill")); }, "2265 OilWildcatter Test Drill"},
      {[&] { AddLink_bn(At("Seismic"), At("Oil")); }, "2228 OilWildcatter"},
      {[&] { DeleteNodeRelation_bn(At("Oil")); }, "2229 OilWildcatter Oil"},
      {[&] { DeleteNodeRelation_bn(At("Profit")); }, "2215 OilWildcatter Profit"},
  };
  for (const auto& [spoil, refusal] : rows) {
    net = ReadExample("oil_wildcatter.dne");
    spoil();
    Reports();
    const std::string before = Written(net);
    EXPECT_NE(OptimizeDecisions_bn(GetNetNodes_bn(net.get())), 0);
    const std::string number(refusal, 4);
    EXPECT_EQ(Gist(5), "5 " + number + " OptimizeDecisions_bn" + (refusal + 4));
    EXPECT_EQ(Written(net), before);
  }
}

TEST_F(DecisionsTest, WhatCannotBeAbsorbedSaysWhy) {
  net = ReadExample("umbrella.dne");
  const std::string before = Written(net);
  AbsorbNodes_bn(List({At("Umbrella")}));
  EXPECT_EQ(Gist(), "5 2058 AbsorbNodes_bn Umbrella Satisfaction");
  AbsorbNodes_bn(List({At("Forecast")}));
  EXPECT_EQ(Gist(), "5 2059 AbsorbNodes_bn Forecast Umbrella");
  EXPECT_EQ(Written(net), before);
  node_bn cause = New("Cause"), effect = New("Effect", 2, {cause, cause});  // turned, the other link closes a cycle
  Reports();
  AbsorbNodes_bn(List({cause}));
  EXPECT_EQ(Gist(), "5 2059 AbsorbNodes_bn Cause Effect");
  EXPECT_EQ(LengthNodeList_bn(GetNodeParents_bn(effect)), 2);
}

}  // namespace
}  // namespace bravic::testing

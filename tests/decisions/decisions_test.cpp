// Link reversal, absorption and optimal decisions against the joint distribution enumerated.
#include <functional>
#include <map>

#include "Basic/Memory.h"
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

// The weight of each world of the net's nodes: the product of the tables and of the findings' likelihoods.
std::map<World, double> JointOf(const Net& net) {
  std::map<World, double> joint;
  const auto nodes = Nodes(net);
  std::vector<statetype> states(nodes.size(), 0);
  do {
    World world;
    for (std::size_t i = 0; i < nodes.size(); ++i) world[GetNodeName_bn(nodes[i])] = states[i];
    double weight = 1;
    for (node_bn node : nodes) {
      weight *= Factor(node, world) * double(GetNodeLikelihood_bn(node)[world.at(GetNodeName_bn(node))]);
    }
    joint[world] = weight;
  } while (NextConfiguration(nodes, states));
  return joint;
}

// Summed over the worlds that agree on the names kept, and normalized.
std::map<World, double> Marginal(const std::map<World, double>& joint, const std::vector<std::string>& kept) {
  std::map<World, double> sums;
  double total = 0;
  for (auto& [world, weight] : joint) {
    World part;
    for (const std::string& name : kept) part[name] = world.at(name);
    sums[part] += weight;
    total += weight;
  }
  for (auto& [world, weight] : sums) weight /= total;
  return sums;
}

void ExpectSame(const std::map<World, double>& a, const std::map<World, double>& b, const std::string& what) {
  ASSERT_EQ(a.size(), b.size()) << what;
  for (auto& [world, weight] : a) {
    ASSERT_TRUE(b.count(world)) << what;
    ASSERT_NEAR(weight, b.at(world), 2e-6) << what;
  }
}

class DecisionsTest : public NetTest {
 protected:
  Net ReadExample(const char* name) { return ReadFrom(std::string(BRAVIC_SOURCE_DIR "/examples/nets/") + name); }
};

TEST_F(DecisionsTest, ReversalKeepsTheJointOfRandomNets) {
  for (int seed = 1; seed <= 120; ++seed) {
    Random random(static_cast<std::uint64_t>(seed));
    RandomNetOptions options;
    options.maxNodes = 6;
    options.zeros = 0.3;
    net = RandomNet(env, random, options);
    const std::string before = Written(net);
    for (int tries = 0; tries < 6; ++tries) {
      auto nodes = Nodes(net);
      node_bn child = nodes[static_cast<std::size_t>(random.Below(int(nodes.size())))];
      auto parents = Nodes(GetNodeParents_bn(child));
      if (parents.empty()) continue;
      node_bn parent = parents[static_cast<std::size_t>(random.Below(int(parents.size())))];
      auto joint = JointOf(net);
      std::vector<std::string> names;
      for (node_bn node : nodes) names.push_back(GetNodeName_bn(node));
      // A second path would close a cycle; such links are left alone here.
      std::function<bool(node_bn)> reaches = [&](node_bn from) {
        if (from == child) return true;
        for (node_bn next : Nodes(GetNodeChildren_bn(from)))
          if (!(from == parent && next == child) && reaches(next)) return true;
        return false;
      };
      if (reaches(parent)) continue;
      ASSERT_EQ(ReverseLink_bn(parent, child), 0);
      ExpectSame(Marginal(joint, names), Marginal(JointOf(net), names), "seed " + std::to_string(seed));
      const std::string after = Written(net);
      EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
      EXPECT_EQ(RedoLastChange_bn(net.get()), 1);
      EXPECT_EQ(Written(net), after) << "seed " << seed;
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

// Absorbing nature nodes with and without findings leaves the joint of the others, given the findings.
TEST_F(DecisionsTest, AbsorptionKeepsTheJointOfTheRest) {
  for (int seed = 1; seed <= 150; ++seed) {
    Random random(static_cast<std::uint64_t>(seed) + 1000);
    RandomNetOptions options;
    options.minNodes = 3;
    options.maxNodes = 6;
    options.minStates = 2;
    options.zeros = seed % 3 == 0 ? 0.3 : 0;
    net = RandomNet(env, random, options);
    auto nodes = Nodes(net);
    std::vector<node_bn> absorbed;
    std::vector<std::string> kept;
    for (node_bn node : nodes)
      (random.Chance(0.5) ? (absorbed.push_back(node), void()) : kept.push_back(GetNodeName_bn(node)));
    if (absorbed.empty() || kept.empty()) continue;
    for (node_bn node : nodes) {
      if (random.Chance(0.25)) EnterFinding_bn(node, random.Below(NumStates(node)));
      if (random.Chance(0.25)) {
        std::vector<float> likelihood;
        for (int k = 0; k < NumStates(node); ++k) likelihood.push_back(float(0.1 + random.Share()));
        EnterNodeLikelihood_bn(node, likelihood.data());
      }
    }
    Reports();  // findings that contradict a root's table are refused
    auto joint = JointOf(net);
    double total = 0;
    for (auto& [world, weight] : joint) total += weight;
    if (total < 1e-9) continue;
    const std::string before = Written(net);
    AbsorbNodes_bn(List(absorbed));
    ASSERT_EQ(Reports(), "") << "seed " << seed;
    ASSERT_EQ(Nodes(net).size(), kept.size());
    ExpectSame(Marginal(joint, kept), Marginal(JointOf(net), kept), "seed " + std::to_string(seed));
    EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
    EXPECT_EQ(Written(net), before) << "seed " << seed;
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
    for (int k = random.Between(i == 0, 2); k > 0; --k) {
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

double UtilityIn(node_bn utility, const World& world) {
  std::vector<statetype> states;
  for (node_bn parent : Nodes(GetNodeParents_bn(utility))) states.push_back(world.at(GetNodeName_bn(parent)));
  states.push_back(0);
  return GetNodeFuncValue_bn(utility, states.data());
}

// The value of the best policy, rolled back: what a decision knows is fixed, then its state is chosen, then the rest
// is summed. `knownBefore[d]` lists the chance nodes first known at decision d.
double RollBack(const Diagram& diagram, const std::vector<std::vector<node_bn>>& knownAt,
                const std::vector<node_bn>& decisions, std::size_t stage, std::size_t item, World& world) {
  const bool last = stage == decisions.size();
  const auto& chance = knownAt[stage];
  if (item < chance.size()) {
    double sum = 0;
    for (statetype s = 0; s < NumStates(chance[item]); ++s) {
      world[GetNodeName_bn(chance[item])] = s;
      sum += RollBack(diagram, knownAt, decisions, stage, item + 1, world);
    }
    return sum;
  }
  if (last) {
    double weight = 1;
    for (node_bn node : diagram.order)
      if (GetNodeKind_bn(node) == NATURE_NODE) weight *= Factor(node, world);
    return weight == 0 ? 0 : weight * UtilityIn(diagram.utility, world);
  }
  double best = -1e300;
  for (statetype d = 0; d < NumStates(decisions[stage]); ++d) {
    world[GetNodeName_bn(decisions[stage])] = d;
    best = std::max(best, RollBack(diagram, knownAt, decisions, stage + 1, 0, world));
  }
  return best;
}

double BestUtility(const Diagram& diagram) {
  std::vector<node_bn> decisions, seen;
  std::vector<std::vector<node_bn>> knownAt;
  auto isSeen = [&](node_bn node) { return std::find(seen.begin(), seen.end(), node) != seen.end(); };
  for (node_bn node : diagram.order) {
    if (GetNodeKind_bn(node) != DECISION_NODE) continue;
    decisions.push_back(node);
    knownAt.emplace_back();
    for (node_bn parent : Nodes(GetNodeParents_bn(node)))
      if (GetNodeKind_bn(parent) == NATURE_NODE && !isSeen(parent)) {
        knownAt.back().push_back(parent);
        seen.push_back(parent);
      }
  }
  knownAt.emplace_back();
  for (node_bn node : diagram.order)
    if (GetNodeKind_bn(node) == NATURE_NODE && !isSeen(node)) knownAt.back().push_back(node);
  World world;
  return RollBack(diagram, knownAt, decisions, 0, 0, world);
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

TEST_F(DecisionsTest, LeavesALinkAsItIsWithoutMemoryForItsTables) {
  node_bn cause = New("cause", 50), effect = New("effect", 60, {cause});
  const statetype every = EVERY_STATE;
  SetNodeProbs_bn(cause, nullptr, std::vector<float>(50, 0.02f).data());
  SetNodeProbs_bn(effect, &every, std::vector<float>(60, 1.0f / 60).data());
  const std::string before = Written(net);
  SetHeapGate([](std::size_t nbytes) { return nbytes < 10000; });
  EXPECT_EQ(ReverseLink_bn(cause, effect), -2);
  SetHeapGate(nullptr);
  EXPECT_EQ(Gist(), "5 2267 ReverseLink_bn");
  EXPECT_EQ(Written(net), before);
}

}  // namespace
}  // namespace bravic::testing

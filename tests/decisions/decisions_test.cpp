// Link reversal, absorption and optimal decisions against the joint distribution enumerated.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <map>

#include "Basic/Memory.h"
#include "support/files.h"
#include "support/library.h"
#include "support/nets.h"

namespace bravic::testing {
namespace {

struct ListFree {
  void operator()(nodelist_rec* list) const { FreeNodeList_bn(list); }
};
using List = std::unique_ptr<nodelist_rec, ListFree>;

List MakeList(const std::vector<node_bn>& nodes, environ_ns env) {
  List list(NewNodeList_bn(0, env));
  for (node_bn node : nodes) AddNodeToList_bn(node, list.get(), LengthNodeList_bn(list.get()));
  return list;
}

using World = std::map<std::string, statetype>;

// The entry of the node's table in a world; a row of the impossible marker weighs 0.
double Factor(node_bn node, const World& world) {
  std::vector<statetype> states;
  for (node_bn parent : Nodes(GetNodeParents_bn(node))) states.push_back(world.at(GetNodeName_bn(parent)));
  states.push_back(0);
  return std::max(0.0, double(GetNodeProbs_bn(node, states.data())[world.at(GetNodeName_bn(node))]));
}

// Calls with every world of the named nodes (name, number of states).
void ForEachWorld(const std::vector<std::pair<std::string, int>>& names,
                  const std::function<void(const World&)>& call) {
  World world;
  for (auto& [name, n] : names) world[name] = 0;
  for (;;) {
    call(world);
    std::size_t i = names.size();
    while (i-- > 0) {
      if (++world[names[i].first] < names[i].second) break;
      world[names[i].first] = 0;
    }
    if (i == static_cast<std::size_t>(-1)) return;
  }
}

std::vector<std::pair<std::string, int>> NamesOf(const std::vector<node_bn>& nodes) {
  std::vector<std::pair<std::string, int>> names;
  for (node_bn node : nodes) names.emplace_back(GetNodeName_bn(node), NumStates(node));
  return names;
}

// The weight of each world of the net's nodes: the product of the tables and of the findings' likelihoods.
std::map<World, double> JointOf(const Net& net) {
  std::map<World, double> joint;
  auto nodes = Nodes(net);
  ForEachWorld(NamesOf(nodes), [&](const World& world) {
    double weight = 1;
    for (node_bn node : nodes) {
      weight *= Factor(node, world);
      weight *= double(GetNodeLikelihood_bn(node)[world.at(GetNodeName_bn(node))]);
    }
    joint[world] = weight;
  });
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

class DecisionsTest : public LibraryTest {
 protected:
  std::string FileText(const Net& net) {
    filespec_ns file = FileNamed_ns(directory_.Path("net.dne").c_str(), env);
    WriteNet_bn(net.get(), file);
    EXPECT_EQ(GetError_ns(env, 5, nullptr), nullptr);
    FreeFileSpec_ns(file);
    return ReadWhole(directory_.Path("net.dne"));
  }
  Net ReadExample(const char* name) {
    filespec_ns file = FileNamed_ns((std::string(BRAVIC_SOURCE_DIR "/examples/nets/") + name).c_str(), env);
    Net net(ReadNet_bn(file, 0));
    FreeFileSpec_ns(file);
    return net;
  }
  TemporaryDirectory directory_;
};

TEST_F(DecisionsTest, ReversalKeepsTheJointByHand) {
  Net net(NewNet_bn("Pair", env));
  node_bn a = AddNode(net, "A", {"a0", "a1"}, {}, {0.3f, 0.7f});
  node_bn b = AddNode(net, "B", {"b0", "b1"}, {"A"}, {0.9f, 0.1f, 0.2f, 0.8f});
  EXPECT_EQ(ReverseLink_bn(a, b), 0);
  EXPECT_EQ(LengthNodeList_bn(GetNodeParents_bn(b)), 0);
  auto tableB = GetTable(b), tableA = GetTable(a);
  EXPECT_FLOAT_EQ(tableB[0], 0.41f);
  EXPECT_FLOAT_EQ(tableA[0], 0.27f / 0.41f);
  EXPECT_FLOAT_EQ(tableA[3], 0.56f / 0.59f);
  EXPECT_EQ(Nodes(GetNodeParents_bn(a)), std::vector<node_bn>{b});
}

TEST_F(DecisionsTest, ReversalKeepsTheJointOfRandomNets) {
  for (int seed = 1; seed <= 120; ++seed) {
    Random random(static_cast<std::uint64_t>(seed));
    RandomNetOptions options;
    options.maxNodes = 6;
    options.zeros = 0.3;
    Net net = RandomNet(env, random, options);
    const std::string before = FileText(net);
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
      const std::string after = FileText(net);
      EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
      EXPECT_EQ(RedoLastChange_bn(net.get()), 1);
      EXPECT_EQ(FileText(net), after) << "seed " << seed;
    }
  }
}

TEST_F(DecisionsTest, ReversalWithoutTablesWarnsAndTurnsTheLink) {
  Net net(NewNet_bn("Bare", env));
  node_bn a = AddNode(net, "A", {"a0", "a1"}, {}, {0.3f, 0.7f});
  node_bn b = AddNode(net, "B", {"b0", "b1"}, {"A"});
  EXPECT_EQ(ReverseLink_bn(a, b), 0);
  const std::string reports = Reports();
  EXPECT_NE(reports.find("2145"), std::string::npos) << reports;
  EXPECT_NE(reports.find("no relation table is defined for node 'B'"), std::string::npos) << reports;
  EXPECT_NE(reports.find("Node 'A' will lose its probabilities during link reversal, because node 'B' doesnt have any"),
            std::string::npos)
      << reports;
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
    Net net = RandomNet(env, random, options);
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
    const std::string before = FileText(net);
    AbsorbNodes_bn(MakeList(absorbed, env).release());
    ASSERT_EQ(Reports(), "") << "seed " << seed;
    ASSERT_EQ(Nodes(net).size(), kept.size());
    ExpectSame(Marginal(joint, kept), Marginal(JointOf(net), kept), "seed " + std::to_string(seed));
    EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
    EXPECT_EQ(FileText(net), before) << "seed " << seed;
  }
}

// --- Decisions -------------------------------------------------------------------------------------------------------

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
  auto parents = Nodes(GetNodeParents_bn(diagram.utility));
  std::vector<statetype> states(parents.size() + 1, 0);
  do SetNodeFuncValue_bn(diagram.utility, states.data(), double(random.Between(-20, 20)));
  while (NextConfiguration(parents, states));
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
  struct {
    const char* file;
    double utility;
  } const rows[] = {{"umbrella.dne", 77}, {"oil_wildcatter.dne", 22.5}};
  for (auto& row : rows) {
    Net net = ReadExample(row.file);
    ASSERT_TRUE(net) << row.file;
    const std::string before = FileText(net);
    EXPECT_EQ(GetExpectedUtility_bn(net.get()), undef_dbl_ns) << row.file;  // no policy yet
    EXPECT_NE(Reports(), "");
    EXPECT_EQ(OptimizeDecisions_bn(GetNetNodes_bn(net.get())), 0);
    EXPECT_NEAR(GetExpectedUtility_bn(net.get()), row.utility, 1e-5) << row.file;
    EXPECT_NE(FileText(net), before);
    EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
    EXPECT_EQ(FileText(net), before) << "one step, which takes back the decision tables alone";
  }
  Net net = ReadExample("umbrella.dne");
  OptimizeDecisions_bn(GetNetNodes_bn(net.get()));
  Observe(net, "Forecast", "rainy");
  EXPECT_NEAR(GetExpectedUtility_bn(net.get()), 14 / 0.25, 1e-4);
}

TEST_F(DecisionsTest, WhatCannotBeSolvedIsRefusedAndUnchanged) {
  struct Row {
    const char* what;
    std::function<void(const Net&)> spoil;
    const char* report;
  };
  const Row rows[] = {
      {"a second utility node",
       [](const Net& net) {
         node_bn extra = NewNode_bn("Extra", 0, net.get());
         SetNodeKind_bn(extra, UTILITY_NODE);
       },
       "2113 OptimizeDecisions_bn: Can't optimize net 'OilWildcatter', because there is more than one utility node "
       "(e.g. 'Profit' and 'Extra')"},
      {"no utility node", [](const Net& net) { DeleteNode_bn(Named(net, "Profit")); }, "2262"},
      {"a forgotten decision", [](const Net& net) { DeleteLink_bn(0, Named(net, "Drill")); },
       "2263 OptimizeDecisions_bn: Can't optimize net 'OilWildcatter', because it has a missing no-forgetting link "
       "('Test' -> 'Drill')"},
      {"decisions in no order",
       [](const Net& net) {
         DeleteLink_bn(0, Named(net, "Drill"));
         DeleteLink_bn(0, Named(net, "Drill"));
       },
       "2265"},
      {"a cycle", [](const Net& net) { AddLink_bn(Named(net, "Seismic"), Named(net, "Oil")); }, "2228"},
      {"an unfinished table", [](const Net& net) { DeleteNodeRelation_bn(Named(net, "Oil")); }, "2229"},
      {"an unfinished utility", [](const Net& net) { DeleteNodeRelation_bn(Named(net, "Profit")); }, "2215"},
  };
  for (const Row& row : rows) {
    Net net = ReadExample("oil_wildcatter.dne");
    row.spoil(net);
    Reports();
    const std::string before = FileText(net);
    EXPECT_NE(OptimizeDecisions_bn(GetNetNodes_bn(net.get())), 0) << row.what;
    const std::string reports = Reports(5);
    EXPECT_NE(reports.find(row.report), std::string::npos) << row.what << ": " << reports;
    EXPECT_EQ(FileText(net), before) << row.what;
  }
}

TEST_F(DecisionsTest, WhatCannotBeAbsorbedSaysWhy) {
  Net net = ReadExample("umbrella.dne");
  const std::string before = FileText(net);
  AbsorbNodes_bn(MakeList({Named(net, "Umbrella")}, env).release());
  EXPECT_NE(Reports().find("2058 AbsorbNodes_bn: Can't absorb decision node 'Umbrella', because its child utility node "
                           "'Satisfaction' has parents that it doesn't have"),
            std::string::npos);
  AbsorbNodes_bn(MakeList({Named(net, "Forecast")}, env).release());
  EXPECT_NE(
      Reports().find("2059 AbsorbNodes_bn: Can't absorb nature node 'Forecast', because child 'Umbrella' is not a "
                     "nature or utility node"),
      std::string::npos);
  EXPECT_EQ(FileText(net), before);
  AbsorbNodes_bn(GetNetNodes_bn(net.get()));
  EXPECT_NE(Reports().find("5562"), std::string::npos);
}

TEST_F(DecisionsTest, ADoubleLinkWouldCloseACycle) {
  Net net(NewNet_bn("Twice", env));
  node_bn cause = NewNode_bn("Cause", 2, net.get()), effect = NewNode_bn("Effect", 2, net.get());
  AddLink_bn(cause, effect);
  AddLink_bn(cause, effect);
  Reports();
  AbsorbNodes_bn(MakeList({cause}, env).release());
  EXPECT_EQ(
      Reports(),
      "5 2059 AbsorbNodes_bn: Can't absorb nature node 'Cause', because link to 'Effect' it would form a directed "
      "cycle\n");
}

// The n-th request to the heap fails, for every n: the policies are found all the same or the net is as it was.
int requestsLeft;

TEST_F(DecisionsTest, LeavesALinkAsItIsWithoutMemoryForItsTables) {
  Net net(NewNet_bn("Wide", env));
  node_bn cause = NewNode_bn("cause", 50, net.get()), effect = NewNode_bn("effect", 60, net.get());
  AddLink_bn(cause, effect);
  const std::vector<float> flat(60, 1.0f / 60);
  const statetype every = EVERY_STATE;
  SetNodeProbs_bn(cause, nullptr, std::vector<float>(50, 0.02f).data());
  SetNodeProbs_bn(effect, &every, flat.data());
  SetHeapGate([](std::size_t nbytes) { return nbytes < 10000; });
  EXPECT_EQ(ReverseLink_bn(cause, effect), -2);
  SetHeapGate(nullptr);
  EXPECT_EQ(Reports(), "5 2267 ReverseLink_bn: Probability table removed due to lack of memory\n");
  EXPECT_EQ(Nodes(GetNodeParents_bn(effect)), std::vector<node_bn>{cause});
  EXPECT_TRUE(HasRelation_bn(cause) && HasRelation_bn(effect));
}

TEST_F(DecisionsTest, FailingAllocationsLeaveTheNetWhole) {
  Net net = ReadExample("oil_wildcatter.dne");
  const std::string before = FileText(net);
  int failures = 0;
  for (int n = 0; n < 3000; ++n) {
    requestsLeft = n;
    SetHeapGate([](std::size_t) { return requestsLeft-- != 0; });
    const int result = OptimizeDecisions_bn(GetNetNodes_bn(net.get()));
    SetHeapGate(nullptr);
    const bool reached = requestsLeft < 0;
    Free(Allocate(1));  // the reserve is taken again
    Reports();
    if (result == 0) {
      ASSERT_NEAR(GetExpectedUtility_bn(net.get()), 22.5, 1e-5);
      ASSERT_EQ(UndoLastChange_bn(net.get()), 1);
    } else {
      ++failures;
    }
    ASSERT_EQ(FileText(net), before) << "request " << n;
    if (!reached) break;
  }
  EXPECT_GT(failures, 0);
}

}  // namespace
}  // namespace bravic::testing

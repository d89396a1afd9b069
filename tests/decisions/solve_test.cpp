// Optimal decisions and values of observing against policies valued world by world.

#include <cmath>
#include <span>

#include "Win_Face/Interaction.h"
#include "support/joint.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

using States = std::vector<statetype>;

// All configurations of a decision network with what they weigh, given the findings, and are worth. Decisions are the
// policies' to weigh.
class Worlds {
  struct World {
    States states;
    double weight, utility;
  };

 public:
  explicit Worlds(const Net& net) : nodes_(Nodes(net)) {
    const auto isVariable = [](node_bn node) { return GetNodeKind_bn(node) != UTILITY_NODE; };
    const auto utilities = std::stable_partition(nodes_.begin(), nodes_.end(), isVariable);
    for (node_bn node : nodes_) {
      parents_.emplace_back();
      for (node_bn parent : Nodes(GetNodeParents_bn(node))) parents_.back().push_back(PlaceOf(parent));
    }
    const std::vector<node_bn> variables(nodes_.begin(), utilities);
    for (node_bn node : variables) {
      if (GetNodeKind_bn(node) == DECISION_NODE && GetNodeFinding_bn(node) < 0) decisions.push_back(PlaceOf(node));
    }
    States states(variables.size(), 0);
    do {
      double weight = 1, utility = 0;
      for (int i = 0; i < int(nodes_.size()); ++i) {
        const States row = RowOf(i, states);
        if (GetNodeKind_bn(NodeAt(i)) == UTILITY_NODE) {
          utility += GetNodeFuncValue_bn(NodeAt(i), row.data());
          continue;
        }
        const statetype state = states[std::size_t(i)];
        weight *= GetNodeLikelihood_bn(NodeAt(i))[state];
        if (GetNodeKind_bn(NodeAt(i)) != NATURE_NODE || weight == 0) continue;
        weight *= std::max(0.0, double(GetNodeProbs_bn(NodeAt(i), row.data())[state]));
      }
      if (weight > 0) worlds_.push_back({states, weight, utility});
    } while (NextConfiguration(variables, states));
    nodes_ = variables;
  }

  // What the tables of the decisions are worth.
  double Value() const {
    double weights = 0, sum = 0;
    for (const World& world : worlds_) {
      const auto differs = [&](int d) { return ChoiceIn(world, d) != world.states[std::size_t(d)]; };
      if (std::any_of(decisions.begin(), decisions.end(), differs)) continue;
      weights += world.weight;
      sum += world.weight * world.utility;
    }
    return sum / weights;
  }
  // The most that they are worth when one row of the decision's table is another.
  double BestWithOneChange(int decision) const {
    struct Row {
      double weights[3] = {}, sums[3] = {};  // [choice]
      statetype present;
    };
    std::map<States, Row> rows;
    double weights = 0, sum = 0, best = -1e300;
    for (const World& world : worlds_) {
      const auto differs = [&](int d) { return d != decision && ChoiceIn(world, d) != world.states[std::size_t(d)]; };
      if (std::any_of(decisions.begin(), decisions.end(), differs)) continue;
      Row& row = rows[RowOf(decision, world.states)];
      const statetype choice = world.states[std::size_t(decision)];
      row.present = ChoiceIn(world, decision);
      row.weights[choice] += world.weight;
      row.sums[choice] += world.weight * world.utility;
      if (choice != row.present) continue;
      weights += world.weight;
      sum += world.weight * world.utility;
    }
    for (const auto& [states, row] : rows) {
      for (int choice = 0; choice < NumStates(NodeAt(decision)); ++choice) {
        if (GetNodeLikelihood_bn(NodeAt(decision))[choice] == 0) continue;
        const double weight = weights - row.weights[row.present] + row.weights[choice];
        if (weight > 1e-9) best = std::max(best, (sum - row.sums[row.present] + row.sums[choice]) / weight);
      }
    }
    return best;
  }
  // The largest value of a policy that forgets nothing; told: a node that the decision is told of. The expectation is a
  // quotient, so that what can be had beyond an amount is looked at, and the amount searched for.
  double Best(node_bn at = nullptr, node_bn told = nullptr) const {
    std::vector<int> sequence;
    const auto append = [&](int i) {
      if (std::find(sequence.begin(), sequence.end(), i) == sequence.end()) sequence.push_back(i);
    };
    for (int d : decisions) {
      for (node_bn parent : Nodes(GetNodeParents_bn(nodes_[d]))) append(PlaceOf(parent));
      if (nodes_[d] == at) append(PlaceOf(told));
      append(d);
    }
    for (int i = 0; i < int(nodes_.size()); ++i) append(i);
    std::vector<World> sorted = worlds_;
    const auto sortKey = [&](const World& world) {
      States key;
      for (int place : sequence) key.push_back(world.states[std::size_t(place)]);
      return key;
    };
    for (World& world : sorted) world.states = sortKey(world);
    std::sort(sorted.begin(), sorted.end(), [](const World& x, const World& y) { return x.states < y.states; });
    double low = -60, high = 60;
    for (int step = 0; step < 30; ++step) {
      const double middle = (low + high) / 2;
      (RollBack(sorted, sequence, 0, middle) > 0 ? low : high) = middle;
    }
    return low;
  }
  bool ArePossible() const { return !worlds_.empty(); }
  node_bn NodeAt(int place) const { return nodes_[std::size_t(place)]; }

  std::vector<int> decisions;  // not made, by their places

 private:
  statetype ChoiceIn(const World& world, int decision) const {
    return statetype(GetNodeFuncValue_bn(NodeAt(decision), RowOf(decision, world.states).data()));
  }
  int PlaceOf(node_bn node) const { return int(std::find(nodes_.begin(), nodes_.end(), node) - nodes_.begin()); }
  // A node's parents' states in a world.
  States RowOf(int place, const States& states) const {
    States row;
    for (int parent : parents_[std::size_t(place)]) row.push_back(states[std::size_t(parent)]);
    row.push_back(0);
    return row;
  }
  // Worlds by their states in the sequence, sorted.
  double RollBack(std::span<const World> worlds, const std::vector<int>& sequence, std::size_t at,
                  double takenOff) const {
    if (at == sequence.size()) return worlds[0].weight * (worlds[0].utility - takenOff);
    node_bn node = nodes_[std::size_t(sequence[at])];
    const bool decides = std::find(decisions.begin(), decisions.end(), sequence[at]) != decisions.end();
    double sum = 0, most = -1e300;
    for (statetype state = 0; state < NumStates(node); ++state) {
      std::size_t count = 0;
      while (count < worlds.size() && worlds[count].states[at] == state) ++count;
      const std::span<const World> those = worlds.first(count);
      worlds = worlds.subspan(count);
      if (decides && GetNodeLikelihood_bn(node)[state] == 0) continue;
      const double value = those.empty() ? 0 : RollBack(those, sequence, at + 1, takenOff);
      sum += value;
      most = std::max(most, value);
    }
    return decides ? most : sum;
  }

  std::vector<node_bn> nodes_;             // without the utilities
  std::vector<std::vector<int>> parents_;  // [place] places
  std::vector<World> worlds_;
};

struct DiagramOptions {
  int numDecisions = 2;
  bool forgets = false;   // a decision does not know what earlier ones knew
  bool findings = false;  // of chance nodes that follow from no decision
  bool late = false;      // of others too
};

// Chance nodes and decisions in turn, each decision linked from the one before; utilities of a few of them.
Net RandomDiagram(environ_ns env, Random& random, const DiagramOptions& options) {
  Net net(NewNet_bn("Diagram", env));
  std::vector<node_bn> order, known, late;
  const auto isIn = [](const std::vector<node_bn>& list, node_bn node) {
    return std::find(list.begin(), list.end(), node) != list.end();
  };
  const auto addChance = [&] {
    node_bn node =
        NewNode_bn(("C" + std::to_string(order.size())).c_str(), random.Between(1, 9) == 1 ? 1 : 2, net.get());
    bool isLate = false;
    for (node_bn parent : order) {
      if (LengthNodeList_bn(GetNodeParents_bn(node)) > 2 || !random.Chance(0.5)) continue;
      AddLink_bn(parent, node);
      isLate |= GetNodeKind_bn(parent) == DECISION_NODE || isIn(late, parent);
    }
    if (isLate) late.push_back(node);
    RandomTable(node, random, 0.15);
    order.push_back(node);
  };
  for (int i = 0; i < options.numDecisions; ++i) {
    for (int k = random.Between(i == 0, 2); k > 0; --k) addChance();
    node_bn decision = NewNode_bn(("D" + std::to_string(i)).c_str(), random.Between(2, 3), net.get());
    SetNodeKind_bn(decision, DECISION_NODE);
    std::vector<node_bn> told;
    for (node_bn node : order) {
      const bool isKnown = isIn(known, node), isDecision = GetNodeKind_bn(node) == DECISION_NODE;
      const bool isLast = isDecision && node == known.back();
      if (isKnown ? !options.forgets || isLast || random.Chance(0.5) : told.size() < 2 && random.Chance(0.4)) {
        AddLink_bn(node, decision);
        if (!isKnown) told.push_back(node);
      }
    }
    known.insert(known.end(), told.begin(), told.end());
    known.push_back(decision);
    order.push_back(decision);
  }
  for (int k = random.Between(0, 2); k > 0; --k) addChance();
  for (int k = 0, count = random.Between(1, 3); k < count; ++k) {
    node_bn utility = NewNode_bn(("U" + std::to_string(k)).c_str(), 0, net.get());
    SetNodeKind_bn(utility, UTILITY_NODE);
    for (node_bn node : order)
      if (LengthNodeList_bn(GetNodeParents_bn(utility)) < 4 && random.Chance(0.5)) AddLink_bn(node, utility);
    ForEachRow(utility,
               [&](const statetype* states) { SetNodeFuncValue_bn(utility, states, double(random.Between(-20, 20))); });
  }
  for (node_bn node : order) {
    if (!options.findings || !random.Chance(0.25)) continue;
    if (GetNodeKind_bn(node) == DECISION_NODE) {
      random.Chance(0.5) ? EnterFinding_bn(node, 1) : EnterFindingNot_bn(node, random.Below(NumStates(node)));
    } else if (options.late || !isIn(late, node)) {
      const std::vector<float> likelihood = RandomRow(random, NumStates(node), 0.2);
      random.Chance(0.5) ? EnterFinding_bn(node, random.Below(NumStates(node)))
                         : EnterNodeLikelihood_bn(node, likelihood.data());
    }
  }
  return net;
}

class SolveTest : public NetTest {
 protected:
  Net ReadExample(const char* name) { return ReadFrom(std::string(BRAVIC_SOURCE_DIR "/examples/nets/") + name); }
  // The present diagram's value by the method; what is answered is what the tables set are worth.
  double Solve(int method) {
    const double value = SolveDecisions_bn(net.get(), method);
    if (value != undef_dbl_ns) EXPECT_EQ(value, GetExpectedUtility_bn(net.get()));
    return value;
  }
};

TEST_F(SolveTest, BothMethodsAttainTheBestWhereNothingIsForgotten) {
  int numSolved = 0, numWeighed = 0;
  for (int seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(static_cast<std::uint64_t>(seed) + 9000);
    DiagramOptions options;
    options.numDecisions = 1 + seed % 4;
    options.findings = seed % 2 == 0;
    options.late = seed % 4 == 0;
    net = RandomDiagram(env, random, options);
    Reports();
    const Worlds worlds(net);
    const double full = Solve(1);
    if (!worlds.ArePossible()) {
      EXPECT_EQ(full, undef_dbl_ns);
      Reports();
      continue;
    }
    ASSERT_EQ(Reports(), "");
    ASSERT_NEAR(full, worlds.Best(), 1e-4);
    ASSERT_NEAR(full, worlds.Value(), 1e-4);
    const double limited = Solve(0);
    ASSERT_NEAR(limited, worlds.Value(), 1e-4);
    if (options.late) {
      ++numWeighed;
      ASSERT_LE(limited, full + 1e-9);
    } else {
      ASSERT_NEAR(limited, full, 1e-9);
    }
    ++numSolved;
  }
  EXPECT_GT(numSolved, 150);
  EXPECT_GT(numWeighed, 30);
}

TEST_F(SolveTest, NoChangeOfOneRowIsBetterThanLimitedPolicies) {
  for (int seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(static_cast<std::uint64_t>(seed) + 20000);
    DiagramOptions options;
    options.numDecisions = 4;
    options.forgets = true;
    options.findings = options.late = seed % 2 == 0;
    net = RandomDiagram(env, random, options);
    Reports();
    const Worlds worlds(net);
    const double value = Solve(0);
    if (!worlds.ArePossible()) continue;
    ASSERT_EQ(Reports(), "");
    ASSERT_NEAR(value, worlds.Value(), 1e-4);
    ASSERT_LE(value, worlds.Best() + 1e-4);
    for (int d : worlds.decisions)
      ASSERT_LE(worlds.BestWithOneChange(d), value + 1e-4) << GetNodeName_bn(worlds.NodeAt(d));
  }
}

// Where a link is missing the best is attained all the same, or the link is asked for and nothing is changed.
TEST_F(SolveTest, WhatIsForgottenIsMissedOrNotNeeded) {
  int numSolved = 0, numRefused = 0;
  for (int seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(static_cast<std::uint64_t>(seed) + 30000);
    DiagramOptions options;
    options.numDecisions = 2 + seed % 3;
    options.forgets = true;
    net = RandomDiagram(env, random, options);
    const Worlds worlds(net);
    const std::string before = Written(net);
    const double value = Solve(1);
    if (value == undef_dbl_ns) {
      ASSERT_EQ(Gist().substr(0, 30), "5 2561 SolveDecisions_bn Diagr");
      ASSERT_EQ(Written(net), before);
      ++numRefused;
    } else {
      ASSERT_NEAR(value, worlds.Best(), 1e-4);
      ++numSolved;
    }
  }
  EXPECT_GT(numSolved, 50);
  EXPECT_GT(numRefused, 20);
}

TEST_F(SolveTest, ObservingIsWorthWhatItAdds) {
  int numPositive = 0;
  for (int seed = 1; seed <= 120; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(static_cast<std::uint64_t>(seed) + 40000);
    DiagramOptions options;
    options.numDecisions = 1 + seed % 3;
    options.findings = options.late = seed % 3 == 0;
    net = RandomDiagram(env, random, options);
    Reports();
    const Worlds worlds(net);
    if (!worlds.ArePossible()) continue;
    const std::string before = Written(net);
    const double without = worlds.Best();
    for (int d : worlds.decisions) {
      for (node_bn node : Nodes(net)) {
        if (GetNodeKind_bn(node) != NATURE_NODE) continue;
        const double value = ValueOfObserving_bn(node, worlds.NodeAt(d));
        if (Gist().find("2564") != std::string::npos) continue;
        ASSERT_EQ(Reports(), "");
        ASSERT_GE(value, 0);
        ASSERT_NEAR(value, worlds.Best(worlds.NodeAt(d), node) - without, 1e-4) << GetNodeName_bn(node);
        numPositive += value > 0.01;
      }
    }
    ASSERT_EQ(Written(net), before);
  }
  EXPECT_GT(numPositive, 50);
}

TEST_F(SolveTest, UtilitiesAddUp) {
  net = ReadExample("oil_wildcatter_two_utilities.dne");
  EXPECT_NEAR(Solve(1), 22.5, 1e-5);
  EXPECT_NEAR(Solve(0), 22.5, 1e-5);
  EXPECT_NEAR(ValueOfObserving_bn(At("Oil"), At("Drill")), 32.5, 1e-5) << "with no test to be paid for";
  EXPECT_EQ(ValueOfObserving_bn(At("Seismic"), At("Drill")), 0) << "known anyhow";
  DeleteNodeRelation_bn(At("Test"));
  EnterFinding_bn(At("Test"), 1);
  EXPECT_NEAR(Solve(1), 20, 1e-5);
  // The same drawn with a node for their sum.
  const double profit = GetExpectedUtility_bn(net.get());
  SetNodeKind_bn(New("Sum", 0, {At("Cost"), At("Profit")}), UTILITY_NODE);
  EXPECT_EQ(GetExpectedUtility_bn(net.get()), profit);
  EXPECT_EQ(Solve(0), profit);
  EXPECT_EQ(Reports(), "");
  EXPECT_NE(OptimizeDecisions_bn(GetNetNodes_bn(net.get())), 0);
  EXPECT_EQ(Gist(5), "5 2113 OptimizeDecisions_bn OilWildcatter Cost Profit");
}

// The tables are one change, and those of decisions that are made stay.
TEST_F(SolveTest, TablesAreSetInOneChange) {
  net = ReadExample("oil_wildcatter.dne");
  SetUndoDepth_bn(3, net.get());
  SetNetComment_bn(net.get(), "before");
  const std::string before = Written(net);
  EXPECT_NEAR(Solve(1), 22.5, 1e-5);
  const std::string after = Written(net);
  EXPECT_NE(after, before);
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  EXPECT_EQ(Written(net), before);
  EXPECT_EQ(RedoLastChange_bn(net.get()), 1);
  EXPECT_EQ(Written(net), after);
  DeleteNodeRelation_bn(At("Drill"));
  SetNodeFuncValue_bn(At("Drill"), std::vector<statetype>{EVERY_STATE, EVERY_STATE}.data(), 1);
  EnterFinding_bn(At("Drill"), 1);
  const double drill = GetNodeFuncValue_bn(At("Drill"), std::vector<statetype>{0, 1}.data());
  EXPECT_NEAR(Solve(1), 0, 1e-9);
  EXPECT_EQ(GetNodeFuncValue_bn(At("Drill"), std::vector<statetype>{0, 1}.data()), drill);
  SetUndoDepth_bn(1, net.get());
}

// First, nothing of what the test showed is drawn; then nothing of whether there was one.
TEST_F(SolveTest, LinksThatTheBestPolicyNeedsAreAskedFor) {
  for (const bool knowsTest : {true, false}) {
    net = ReadExample("oil_wildcatter.dne");
    DeleteLink_bn(knowsTest ? 1 : 0, At("Drill"));
    node_bn reads = New("Reads", 2, {At("Seismic")});
    SetNodeKind_bn(reads, DECISION_NODE);
    AddLink_bn(At("Test"), reads);
    AddLink_bn(reads, At("Drill"));
    const std::string before = Written(net);
    const double value = Solve(1);
    if (knowsTest) {
      EXPECT_EQ(value, undef_dbl_ns);
      EXPECT_EQ(Gist(5), "5 2561 SolveDecisions_bn OilWildcatter Drill Seismic 0");
      EXPECT_EQ(Written(net), before);
    } else {
      EXPECT_NEAR(value, 22.5, 1e-5) << "the test's result tells";
    }
  }
}

// A decision that always chooses the same need not be told, but where nothing depends on the later one then.
TEST_F(SolveTest, WhatIsAlwaysChosenNeedNotBeTold) {
  for (const bool matters : {true, false}) {
    net.reset(NewNet_bn("Test", env));
    node_bn first = New("First"), between = New("Between", 2, {first}), last = New("Last", 2, {between}),
            value = New("Value", 0, {first, last});
    SetNodeKind_bn(first, DECISION_NODE);
    SetNodeKind_bn(last, DECISION_NODE);
    SetNodeKind_bn(value, UTILITY_NODE);
    ForEachRow(between, [&](const statetype* row) { SetNodeProbs_bn(between, row, std::vector{0.5f, 0.5f}.data()); });
    const double values[] = {1, 2, matters ? 4.0 : 3.0, 3};
    int row = 0;
    ForEachRow(value, [&](const statetype* states) { SetNodeFuncValue_bn(value, states, values[row++]); });
    EXPECT_EQ(Solve(1), matters ? 4 : undef_dbl_ns);
    EXPECT_EQ(Gist(5), matters ? "" : "5 2561 SolveDecisions_bn Test Last First 0");
    EnterFinding_bn(first, 1);
    EXPECT_EQ(Solve(1), matters ? 4 : 3) << "made";
  }
}

TEST_F(SolveTest, WhatCannotBeSolvedIsRefusedAndUnchanged) {
  const std::pair<std::function<void()>, const char*> rows[] = {
      {[&] { DeleteNode_bn(At("Profit")); }, "2262 OilWildcatter"},
      {[&] { DeleteLink_bn(0, At("Drill")), DeleteLink_bn(0, At("Drill")); }, "2265 OilWildcatter Test Drill"},
      {[&] { AddLink_bn(At("Seismic"), At("Oil")); }, "2228 OilWildcatter"},
      {[&] { DeleteNodeRelation_bn(At("Oil")); }, "2229 OilWildcatter Oil"},
      {[&] { DeleteNodeRelation_bn(At("Profit")); }, "2215 OilWildcatter Profit"},
      {[&] { SetNodeKind_bn(New("Empty", 0, {At("Drill")}), DECISION_NODE); }, "2560 OilWildcatter Empty"},
      {[&] {
         SetNodeFuncValue_bn(At("Profit"), std::vector<statetype>{1, 1, 0}.data(), undef_dbl_ns);
       },
       "2230 OilWildcatter Profit"},
      {[&] { EnterFinding_bn(At("Test"), 0), EnterFinding_bn(At("Seismic"), 3); }, "2078 OilWildcatter"},
  };
  for (const auto& [spoil, refusal] : rows) {
    net = ReadExample("oil_wildcatter.dne");
    spoil();
    Reports();
    const std::string before = Written(net);
    const std::string number(refusal, 4);
    EXPECT_EQ(SolveDecisions_bn(net.get(), 1), undef_dbl_ns);
    EXPECT_EQ(Gist(5), "5 " + number + " SolveDecisions_bn" + (refusal + 4));
    EXPECT_EQ(Written(net), before);
  }
  EXPECT_EQ(SolveDecisions_bn(net.get(), 2), undef_dbl_ns);
  EXPECT_EQ(Gist(), "5 2562 SolveDecisions_bn method 2 0 1");
  RetractAllFindings_bn(net.get());
  EXPECT_EQ(ValueOfObserving_bn(At("Profit"), At("Drill")), undef_dbl_ns);
  EXPECT_EQ(Gist(), "5 2563 ValueOfObserving_bn Profit Profit");
  EXPECT_EQ(ValueOfObserving_bn(At("Seismic"), At("Test")), undef_dbl_ns);
  EXPECT_EQ(Gist(), "5 2564 ValueOfObserving_bn Seismic Test");
  EXPECT_EQ(ValueOfObserving_bn(At("Oil"), At("Seismic")), undef_dbl_ns);
  EXPECT_EQ(Gist(), "5 2565 ValueOfObserving_bn Oil Seismic");
}

// A policy over a row of many parents, each of which counts.
class LargeDiagram : public SolveTest {
 protected:
  void Build(int numparents) {
    std::vector<node_bn> parents;
    node_bn decision = New("D"), value = New("V", 0, {decision});
    SetNodeKind_bn(decision, DECISION_NODE);
    SetNodeKind_bn(value, UTILITY_NODE);
    SetUtility(value);
    for (int i = 0; i < numparents; ++i) {
      const std::string number = std::to_string(i);
      node_bn cause = New(("X" + number).c_str());
      SetTable(cause, {0.25f, 0.75f});
      AddLink_bn(cause, decision);
      parents.push_back(cause);
      if (i == 0) continue;
      node_bn both = New(("V" + number).c_str(), 0, {decision, parents[std::size_t(i) - 1], cause});
      SetNodeKind_bn(both, UTILITY_NODE);
      SetUtility(both);
    }
  }
  void SetUtility(node_bn node) {
    int entry = 0;
    ForEachRow(node, [&](const statetype* row) { SetNodeFuncValue_bn(node, row, ++entry * 7 % 5 - 2); });
  }
};

int BRAVIC_CALL HaltSolving(void*, const char* what, double, double) {
  return what[0] == 'S';
}

TEST_F(LargeDiagram, IsHaltedWithNothingChanged) {
  Build(18);
  const std::string before = Written(net);
  SetWaitClock([] {
    static long seconds = 0;
    return ++seconds;
  });
  for (int method : {0, 1}) {
    SetProgressCallback_ns(HaltSolving, nullptr, env);
    EXPECT_EQ(SolveDecisions_bn(net.get(), method), undef_dbl_ns);
    SetProgressCallback_ns(nullptr, nullptr, env);
    EXPECT_EQ(Gist(), "5 2450 SolveDecisions_bn");
    EXPECT_TRUE(Written(net) == before);
  }
  SetWaitClock(nullptr);
}

TEST_F(LargeDiagram, IsRefusedWhereItWouldNotFit) {
  Build(30);
  EXPECT_EQ(SolveDecisions_bn(net.get(), 1), undef_dbl_ns);
  const std::string report = Reports();
  EXPECT_NE(report.find("2009"), std::string::npos) << report;
  EXPECT_NE(report.find("K bytes needed"), std::string::npos) << report;
}

}  // namespace
}  // namespace bravic::testing

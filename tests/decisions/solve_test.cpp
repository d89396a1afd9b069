// Optimal decisions and values of observing against policies valued world by world.

#include <cmath>

#include "Basic/Memory.h"
#include "Win_Face/Interaction.h"
#include "decisions/diagrams.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

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
  for (int seed = 1; seed <= 740; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(static_cast<std::uint64_t>(seed) + 9000);
    DiagramOptions options;
    options.numDecisions = 1 + seed / 4 % 4;
    options.findings = seed % 2 == 0;
    options.late = seed % 4 == 0;
    options.odd = seed % 8 == 4;
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
    options.odd = seed % 4 == 2;
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
    options.numDecisions = 1 + seed / 3 % 3;
    options.findings = options.late = seed % 3 == 0;
    options.odd = seed % 6 == 3;
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

TEST_F(SolveTest, ImpossibleUtilitiesAreAvoidedOrCountNothing) {
  const auto readWith = [&](const std::string& choices, const std::string& values) {
    return Read(
        "// ~->[DNET-1]->~\nbnet Test {\n"
        "node chance {kind = NATURE; discrete = TRUE; states = (a, b); probs = (0.25, 0.75);};\n"
        "node choice {kind = DECISION; discrete = TRUE; states = (dare, keep); parents = (chance); functable = (" +
        choices + ");};\nnode value {kind = UTILITY; discrete = FALSE; parents = (choice, chance); functable = (" +
        values + ");};};\n");
  };
  net = readWith("dare, dare", "(@imposs, 8), (-5, -6)");
  EXPECT_NEAR(GetExpectedUtility_bn(net.get()), 6, 1e-6);
  for (int method : {0, 1}) EXPECT_NEAR(Solve(method), 0.25 * -5 + 0.75 * 8, 1e-6);
  DeleteLink_bn(0, At("choice"));
  for (int method : {0, 1}) EXPECT_NEAR(Solve(method), 0.25 * -5 + 0.75 * -6, 1e-6) << "the choice is blind";
  EnterFinding_bn(At("chance"), 1);
  for (int method : {0, 1}) EXPECT_NEAR(Solve(method), 8, 1e-6);
  RetractAllFindings_bn(net.get());
  SetTable(At("chance"), {0, 1});
  for (int method : {0, 1}) EXPECT_NEAR(Solve(method), 8, 1e-6) << "it cannot be met";
  // A finding that depends on the choice.
  SetTable(At("chance"), {0.25f, 0.75f});
  SetTable(New("sign", 2, {At("choice")}), {0.5f, 0.5f, 0.25f, 0.75f});
  EnterFinding_bn(At("sign"), 0);
  for (int method : {0, 1}) EXPECT_NEAR(Solve(method), 0.25 * -5 + 0.75 * -6, 1e-6);
  EXPECT_EQ(Reports(), "");
  net = readWith("keep, @undef", "(1, 8), (-5, -6)");
  EXPECT_EQ(GetExpectedUtility_bn(net.get()), undef_dbl_ns);
  EXPECT_EQ(Gist(), "5 2230 GetExpectedUtility_bn Test choice");
}

// What is known is less likely than doubles can tell; it bears on the cause by 2 to 1.
TEST_F(SolveTest, FindingsMayBeAsUnlikelyAsTheyLike) {
  node_bn cause = New("Cause"), guess = New("Guess"), prize = New("Prize", 0, {cause, guess});
  SetTable(cause, {0.5f, 0.5f});
  SetNodeKind_bn(guess, DECISION_NODE);
  SetNodeKind_bn(prize, UTILITY_NODE);
  ForEachRow(prize, [&](const statetype* row) { SetNodeFuncValue_bn(prize, row, row[0] == row[1] ? 3 : 0); });
  for (int i = 0; i < 61; ++i) {
    node_bn sign = New(("Sign" + std::to_string(i)).c_str(), 2, {cause});
    SetTable(sign, i % 2 ? std::vector{2e-20f, 1.f, 1e-20f, 1.f} : std::vector{1e-20f, 1.f, 2e-20f, 1.f});
    EnterFinding_bn(sign, 0);
  }
  EXPECT_EQ(Reports(), "");
  for (int method : {0, 1}) {
    EXPECT_NEAR(Solve(method), 2, 1e-6);
    EXPECT_EQ(GetNodeFuncValue_bn(guess, nullptr), 1);
  }
}

long requestsLeft;

// The n-th request to the heap fails, for every n: the answer is right, or none with the net as it was.
TEST_F(SolveTest, FailingRequestsChangeNothing) {
  Random random(7);
  DiagramOptions options;
  options.findings = options.late = true;
  options.forgets = true;
  const Net late = RandomDiagram(env, random, options);
  const Net blind = ReadExample("oil_wildcatter_two_utilities.dne");
  DeleteLink_bn(0, Named(blind, "Drill"));
  Reports();
  const std::pair<const Net*, std::function<double()>> calls[] = {
      {&late, [&] { return SolveDecisions_bn(late.get(), 0); }},
      {&late, [&] { return SolveDecisions_bn(late.get(), 1); }},
      {&blind, [&] { return SolveDecisions_bn(blind.get(), 1); }},
      {&blind, [&] { return GetExpectedUtility_bn(blind.get()); }},
      {&blind, [&] { return ValueOfObserving_bn(Named(blind, "Oil"), Named(blind, "Test")); }}};
  int numRefused = 0;
  for (const auto& [which, call] : calls) {
    const double right = call();
    ASSERT_NE(right, undef_dbl_ns) << Reports();
    const std::string before = Written(*which);
    for (requestsLeft = 0; requestsLeft >= 0;) {
      const long n = requestsLeft;
      SetHeapGate([](std::size_t) { return requestsLeft-- != 0; });
      const double value = call();
      SetHeapGate(nullptr);
      Free(Allocate(1));  // the reserve is taken again
      SetMemoryState(MEMORY_NORMAL);
      if (value == undef_dbl_ns) {
        EXPECT_NE(Reports(5), "") << "request " << n;
        ++numRefused;
      } else {
        EXPECT_EQ(value, right);
      }
      EXPECT_EQ(Written(*which), before);
      Reports(0);
      requestsLeft = requestsLeft < 0 ? n + 1 : -1;
    }
  }
  EXPECT_GT(numRefused, 20);
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

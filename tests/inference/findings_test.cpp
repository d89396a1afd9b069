// Entering, accumulating, reading and retracting findings: what is refused, with which words, and what is kept.

#include "Bn/model/Attributes.h"
#include "support/library.h"
#include "support/nets.h"

namespace bravic::testing {
namespace {

constexpr int LIKELIHOOD = -6, NEGATIVE = -7, NONE = -8;

class Findings : public LibraryTest {
 protected:
  // Three states, the first of probability 0; and a child that repeats it.
  Net Copying() {
    Net net(NewNet_bn("Copying", env));
    AddNode(net, "A", {"low", "mid", "high"}, {}, {0, 0.5f, 0.5f});
    AddNode(net, "B", {"low", "mid", "high"}, {"A"}, {1, 0, 0, 0, 1, 0, 0, 0, 1});
    return net;
  }
  node_bn Free(const Net& net) { return AddNode(net, "Free", {"r", "s", "t"}, {}, {0.2f, 0.3f, 0.5f}); }
  static std::vector<float> Likelihood(node_bn node) {
    const float* entries = GetNodeLikelihood_bn(node);
    return std::vector<float>(entries, entries + NumStates(node));
  }
};

using Floats = std::vector<float>;

TEST_F(Findings, ReadBackAsCodes) {
  struct Row {
    Floats likelihood;
    int code;
  };
  const Row rows[] = {{{0.5f, 0.5f, 0}, NEGATIVE}, {{0.2f, 0.5f, 0}, LIKELIHOOD}, {{1, 1, 1}, NONE},
                      {{0.3f, 0.3f, 0.3f}, NONE},  {{1, 2, 3}, LIKELIHOOD},       {{0, 0.7f, 0}, 1}};
  Net net = Copying();
  node_bn node = Free(net);
  EXPECT_EQ(GetNodeFinding_bn(node), NONE);
  EXPECT_EQ(Likelihood(node), Floats({1, 1, 1}));
  for (const Row& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.likelihood));
    EnterNodeLikelihood_bn(node, row.likelihood.data());
    EXPECT_EQ(GetNodeFinding_bn(node), row.code);
    EXPECT_EQ(Likelihood(node), row.code >= 0 ? Floats({0, 1, 0}) : row.likelihood);
    RetractNodeFindings_bn(node);
    EXPECT_EQ(GetNodeFinding_bn(node), NONE);
  }
}

TEST_F(Findings, OfTheNegativeFormAddUpToAState) {
  Net net = Copying();
  node_bn node = Free(net);
  EnterFindingNot_bn(node, 0);
  EXPECT_EQ(GetNodeFinding_bn(node), NEGATIVE);
  EXPECT_EQ(Likelihood(node), Floats({0, 1, 1}));
  EnterFindingNot_bn(node, 1);
  EXPECT_EQ(GetNodeFinding_bn(node), 2);
  EnterFinding_bn(node, 2);
  EXPECT_EQ(Reports(), "");
  EnterFindingNot_bn(node, 2);
  EXPECT_EQ(Gist(), "5 3306 EnterFindingNot_bn Free");
  EXPECT_EQ(GetNodeFinding_bn(node), 2);
}

TEST_F(Findings, AreRefusedWithTheReason) {
  Net net = Copying();
  node_bn free = Free(net), a = Named(net, "A"), b = Named(net, "B");
  auto refused = [&](const char* gist) {
    EXPECT_EQ(Gist(), gist);
    EXPECT_EQ(GetNodeFinding_bn(a), NONE);
    EXPECT_EQ(GetNodeFinding_bn(b), NONE);
  };
  EnterFinding_bn(a, 0);
  refused("5 3315 EnterFinding_bn A low");
  EnterFinding_bn(a, 3);
  refused("5 5106 EnterFinding_bn 3 A 0 2");
  EnterFinding_bn(a, UNDEF_STATE);
  refused("5 5106 EnterFinding_bn -3 A 0 2");
  const float nothing[] = {0, 0, 0}, first[] = {1, 0, 0}, firstTwo[] = {1, 1, 0}, negative[] = {1, -1, 0};
  EnterNodeLikelihood_bn(a, nothing);
  refused("5 3303 EnterNodeLikelihood_bn A");
  EnterNodeLikelihood_bn(a, negative);
  refused("5 3318 EnterNodeLikelihood_bn A 0 -1");
  EnterNodeLikelihood_bn(a, nullptr);
  refused("5 5514 EnterNodeLikelihood_bn likelihood NULL");

  // Against findings of the node itself.
  EnterFinding_bn(free, 1);
  EnterFinding_bn(free, 1);
  EnterFinding_bn(free, 2);
  refused("5 3310 EnterFinding_bn Free t s");
  RetractNodeFindings_bn(free);
  EnterFindingNot_bn(free, 2);
  EnterFinding_bn(free, 2);
  refused("5 3313 EnterFinding_bn Free t");
  const float third[] = {0, 0, 2};
  EnterNodeLikelihood_bn(free, third);
  refused("5 3307 EnterNodeLikelihood_bn Free");
  EXPECT_EQ(GetNodeFinding_bn(free), NEGATIVE);
  RetractNodeFindings_bn(free);

  // Against the beliefs, as long as they are current.
  CompileNet_bn(net.get());
  EXPECT_NEAR(Belief(net, "B", "mid"), 0.5, 1e-6);
  EnterFinding_bn(b, 0);
  refused("5 3302 EnterFinding_bn B low");
  EnterNodeLikelihood_bn(b, first);
  refused("5 3305 EnterNodeLikelihood_bn B");
  EXPECT_TRUE(IsBeliefUpdated_bn(b));
  EnterNodeLikelihood_bn(b, firstTwo);
  EXPECT_FALSE(IsBeliefUpdated_bn(b));
  EXPECT_EQ(Belief(net, "A", "mid"), 1);
}

// Accepted while the beliefs are stale, because nobody can see the contradiction yet.
TEST_F(Findings, ThatContradictEachOtherAreReportedByEveryUpdate) {
  Net net = Copying();
  node_bn a = Named(net, "A"), b = Named(net, "B"), free = Free(net);
  CompileNet_bn(net.get());
  EnterFinding_bn(a, 1);
  EnterFinding_bn(b, 2);
  EXPECT_EQ(Reports(), "");
  const char* message = "According to this model, the evidence entered is inconsistent\n";
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(CaseProbability_bn(net.get()), 0);
    EXPECT_EQ(Reports(), std::string("5 2078 CaseProbability_bn: ") + message);
    EXPECT_EQ(GetNodeBeliefs_bn(free)[0], 1);
    EXPECT_EQ(GetNodeBeliefs_bn(free)[1], 0);
    EXPECT_EQ(Reports(), std::string("5 2078 GetNodeBeliefs_bn: ") + message + "5 2078 GetNodeBeliefs_bn: " + message);
    EXPECT_FALSE(IsBeliefUpdated_bn(a));
  }
  SetNetAutoUpdate_bn(net.get(), 1);
  EnterFinding_bn(free, 0);
  EXPECT_EQ(Reports(), std::string("5 2078 EnterFinding_bn: ") + message);
  EXPECT_EQ(GetNodeFinding_bn(free), 0);
  RetractNodeFindings_bn(b);
  EXPECT_TRUE(IsBeliefUpdated_bn(a));
  EXPECT_NEAR(CaseProbability_bn(net.get()), 0.1, 1e-7);
}

class Values : public Findings {
 protected:
  // A discrete node with levels 1, 2, 3 and a continuous one with the intervals 0, 10, 20, 40.
  Net WithLevels() {
    Net net(NewNet_bn("Levels", env));
    const double levels[] = {1, 2, 3}, bounds[] = {0, 10, 20, 40};
    SetNodeLevels_bn(AddNode(net, "D", {"x", "y", "z"}, {}, {0.2f, 0.3f, 0.5f}), 3, levels);
    node_bn c = NewNode_bn("C", 0, net.get());
    SetNodeLevels_bn(c, 3, bounds);
    SetTable(c, {0.25f, 0.25f, 0.5f});
    return net;
  }
};

TEST_F(Values, BoundsHoldWithoutIntervals) {
  const Net net(NewNet_bn("Bounds", env));
  node_bn node = NewNode_bn("V", 0, net.get());
  const double wide[] = {0, 10}, narrow[] = {0, 5};
  SetNodeLevels_bn(node, 0, wide);
  for (double value : {11.0, -1.0, 7.0}) EnterNodeValue_bn(node, value);
  EXPECT_EQ(GistOf(Reports()), "5 3309 EnterNodeValue_bn V 11 10; 5 3308 EnterNodeValue_bn V -1 0");
  EXPECT_EQ(GetNodeValue_bn(node), 7);
  SetNodeLevels_bn(node, 0, narrow);
  EXPECT_EQ(GetNodeValue_bn(node), undef_dbl_ns);
  SetNodeUnits(node, std::string(600, 'm').c_str());
  for (double value : {11.0, -1.0}) EnterNodeValue_bn(node, value);
  const std::string units(40, 'm');
  EXPECT_EQ(GistOf(Reports()), "5 3309 EnterNodeValue_bn V 11 5" + units + "; 5 3308 EnterNodeValue_bn V -1 0" + units);
}

TEST_F(Values, StandForStates) {
  struct Row {
    const char* node;
    double value;
    int finding;  // NONE when refused
    const char* report;
  };
  const Row rows[] = {
      {"D", 2.000001, 1, ""},
      {"D", 3, 2, ""},
      {"D", 2.1, NONE, "5 3314 EnterNodeValue_bn D 2.1 1 2"},
      {"C", 0, 0, ""},
      {"C", 9.99, 0, ""},
      {"C", 10, 1, ""},
      {"C", 40, 2, ""},
      {"C", -0.5, NONE, "5 3308 EnterNodeValue_bn C -0.5 0"},
      {"C", 40.5, NONE, "5 3309 EnterNodeValue_bn C 40.5 40"},
      {"C", std::nan(""), NONE, "5 2432 EnterNodeValue_bn C"},
  };
  Net net = WithLevels();
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.node) + " " + std::to_string(row.value));
    node_bn node = Named(net, row.node);
    EnterNodeValue_bn(node, row.value);
    EXPECT_EQ(Gist(), row.report);
    EXPECT_EQ(GetNodeFinding_bn(node), row.finding);
    double expected = row.finding == NONE ? undef_dbl_ns : row.node[0] == 'D' ? row.finding + 1.0 : row.value;
    EXPECT_EQ(GetNodeValue_bn(node), expected);
    RetractNodeFindings_bn(node);
    EXPECT_EQ(GetNodeValue_bn(node), undef_dbl_ns);
    EXPECT_EQ(GetNodeFinding_bn(node), NONE);
  }
}

TEST_F(Values, AreCheckedAgainstWhatIsKnown) {
  Net net = WithLevels();
  node_bn c = Named(net, "C"), d = Named(net, "D"), plain = AddNode(net, "P", {"u", "v"}, {}, {0.5f, 0.5f});
  EnterFinding_bn(d, 1);
  EXPECT_EQ(GetNodeValue_bn(d), 2);
  EnterNodeValue_bn(d, 3);
  EXPECT_EQ(Gist(), "5 3311 EnterNodeValue_bn D 3 2");
  EnterFinding_bn(c, 1);
  EXPECT_EQ(GetNodeValue_bn(c), undef_dbl_ns);
  EnterNodeValue_bn(c, 30);
  EXPECT_EQ(Gist(), "5 3310 EnterNodeValue_bn C #2 #1");
  EnterNodeValue_bn(c, 15);
  EXPECT_EQ(GetNodeValue_bn(c), 15);
  EnterNodeValue_bn(plain, 1);
  EXPECT_EQ(Gist(), "5 3317 EnterNodeValue_bn P");
  EXPECT_EQ(GetNodeValue_bn(plain), undef_dbl_ns);
  EXPECT_EQ(Gist(), "5 5564 GetNodeValue_bn node P");
  CompileNet_bn(net.get());
  EXPECT_NEAR(CaseProbability_bn(net.get()), 0.3 * 0.25, 1e-7);
}

TEST_F(Values, OfContinuousNodesWithoutLevelsAreJustKept) {
  Net net(NewNet_bn("Plain", env));
  node_bn node = NewNode_bn("X", 0, net.get());
  EnterNodeValue_bn(node, 12.5);
  EXPECT_EQ(GetNodeValue_bn(node), 12.5);
  EnterNodeValue_bn(node, 12.500001);
  EXPECT_EQ(GetNodeValue_bn(node), 12.500001);
  EXPECT_EQ(Reports(), "");
  EnterFinding_bn(node, 0);
  EXPECT_EQ(Gist(), "5 5106 EnterFinding_bn 0 X 0 -1");
  EXPECT_EQ(GetNodeFinding_bn(node), NONE);
  GetNodeLikelihood_bn(node);
  EXPECT_EQ(Gist(), "5 5515 GetNodeFinding_bn node X; 5 5560 GetNodeLikelihood_bn node X");
  RetractAllFindings_bn(net.get());
  EXPECT_EQ(GetNodeValue_bn(node), undef_dbl_ns);
}

TEST_F(Findings, AreUndoneInOneStep) {
  Net net = ChestClinic(env);
  node_bn xray = Named(net, "xray");
  CompileNet_bn(net.get());
  float before = Belief(net, "lung", "yes");
  EnterFinding_bn(xray, 0);
  float after = Belief(net, "lung", "yes");
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  EXPECT_EQ(GetNodeFinding_bn(xray), NONE);
  EXPECT_FALSE(IsBeliefUpdated_bn(xray));
  EXPECT_FLOAT_EQ(Belief(net, "lung", "yes"), before);
  EXPECT_EQ(RedoLastChange_bn(net.get()), 1);
  EXPECT_FLOAT_EQ(Belief(net, "lung", "yes"), after);

  Observe(net, "asia", "yes");
  EnterFindingNot_bn(Named(net, "smoke"), 0);
  RetractAllFindings_bn(net.get());
  EXPECT_EQ(GetNodeFinding_bn(xray), NONE);
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  EXPECT_EQ(GetNodeFinding_bn(xray), 0);
  EXPECT_EQ(GetNodeFinding_bn(Named(net, "asia")), 0);
  EXPECT_EQ(GetNodeFinding_bn(Named(net, "smoke")), 1);
  RetractAllFindings_bn(net.get());
  EXPECT_NEAR(CaseProbability_bn(net.get()), 1, 1e-7);
}

TEST_F(Findings, TellThatTheyCannotUpdateAnUncompiledNet) {
  Net net = ChestClinic(env);
  SetNetAutoUpdate_bn(net.get(), 1);
  Observe(net, "smoke", "yes");
  EXPECT_EQ(Gist(), "3 2135 EnterFinding_bn ChestClinic");
  EXPECT_EQ(GetNodeFinding_bn(Named(net, "smoke")), 0);
  EXPECT_EQ(CaseProbability_bn(net.get()), -1);
  EXPECT_EQ(Gist(), "5 2077 CaseProbability_bn ChestClinic");
  CompileNet_bn(net.get());
  EXPECT_TRUE(IsBeliefUpdated_bn(Named(net, "smoke")));
  EXPECT_NEAR(CaseProbability_bn(net.get()), 0.5, 1e-7);
  Observe(net, "bronc", "no");
  EXPECT_TRUE(IsBeliefUpdated_bn(Named(net, "smoke")));
  EXPECT_NEAR(CaseProbability_bn(net.get()), 0.2, 1e-7);
}

}  // namespace
}  // namespace bravic::testing

// Probabilities below what floats and doubles hold, as hosts meet them.

#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

using SmallProbabilities = NetTest;

TEST_F(SmallProbabilities, OfTwoFindingsInAPair) {
  AddNode(net, "A", {"a", "b"}, {}, {1e-20f, 1});
  AddNode(net, "B", {"a", "b"}, {"A"}, {1e-20f, 1, 0, 1});
  CompileNet_bn(net.get());
  EXPECT_EQ(Belief(net, "B", "a"), 0) << "no normal float";
  const float only[] = {2, 0};
  EnterNodeLikelihood_bn(Named(net, "B"), only);
  EXPECT_NEAR(CaseProbability_bn(net.get()) / 1e-40, 1, 1e-5);
  RetractNodeFindings_bn(Named(net, "B"));
  EXPECT_EQ(Belief(net, "B", "a"), 0);
  Observe(net, "B", "a");
  Observe(net, "A", "a");
  EXPECT_NEAR(CaseProbability_bn(net.get()) / 1e-40, 1, 1e-5);
  EXPECT_EQ(Belief(net, "A", "a"), 1);
  RetractNodeFindings_bn(Named(net, "A"));
  Observe(net, "B", "a");
  EXPECT_EQ(Belief(net, "A", "a"), 1);
  EXPECT_EQ(Reports(), "");
}

TEST_F(SmallProbabilities, OfLikelihoods) {
  const struct {
    std::vector<std::vector<float>> entered;
    bool excludesFirst;
    double belief, probability;  // of the first state; of the findings
    std::vector<float> shown;
  } rows[] = {
      {{{1e-30f, 2e-30f}, {1e-30f, 2e-30f}}, false, 0.2, 2.5e-60, {0.2009f, 0.8035f}},
      {{{1e30f, 2e30f}, {1e30f, 2e30f}}, false, 0.2, 2.5e60, {0.1556f, 0.6224f}},
      {{{1e30f, 1e-20f}}, true, 0, 5e-21, {1e30f, 1e-20f}},
      {{{1e-38f, 1}, {1e-38f, 1}, {1, 1e-38f}, {1, 1e-38f}}, false, 0.5, 1e-76, {0.7238f, 0.7238f}},
      {{{0.5f, 0.25f}, {0.5f, 0.25f}}, false, 0.8, 0.15625, {0.25f, 0.0625f}},
      {{{1e-30f, 1}, {1e-30f, 1}}, false, 0, 0.5, {1.4e-45f, 1}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.probability);
    net.reset(NewNet_bn("Pair", env));
    node_bn node = AddNode(net, "A", {"a", "b"}, {}, {0.5f, 0.5f});
    EnterFinding_bn(AddNode(net, "Same", {"a", "b"}, {"A"},
                            row.excludesFirst ? std::vector<float>{0, 1, 1, 0} : std::vector<float>{1, 0, 1, 0}),
                    0);
    for (const auto& likelihood : row.entered) EnterNodeLikelihood_bn(node, likelihood.data());
    auto check = [&](net_bn it, const char* when) {
      SCOPED_TRACE(when);
      CompileNet_bn(it);
      EXPECT_NEAR(GetNodeBeliefs_bn(NodeNamed_bn("A", it))[0], row.belief, 1e-6);
      EXPECT_NEAR(CaseProbability_bn(it) / row.probability, 1, 1e-5);
      for (std::size_t s = 0; s < 2; ++s)
        EXPECT_NEAR(GetNodeLikelihood_bn(NodeNamed_bn("A", it))[s] / row.shown[s], 1, 2e-3);
    };
    check(net.get(), "entered");
    RetractNodeFindings_bn(node);
    UndoLastChange_bn(net.get());
    check(net.get(), "undone");
    const std::string text = Written(net);
    Net again = Read(text);
    check(again.get(), "read");
    EXPECT_EQ(Written(again), text);
    EXPECT_EQ(Reports(), "");
  }
}

// Rows miss 1 by what six digits leave.
TEST_F(SmallProbabilities, AreNotMadeByRoundedRows) {
  node_bn hub = AddNode(net, "H", {"a", "b"}, {}, {0.5f, 0.5f});
  std::vector<node_bn> children;
  for (int i = 0; i < 2000; ++i)
    children.push_back(AddNode(net, ("E" + std::to_string(i)).c_str(), {"a", "b", "c"}, {"H"},
                               {0.333333f, 0.333333f, 0.333333f, 0.25f, 0.25f, 0.5f}));
  CompileNet_bn(net.get());
  EXPECT_NEAR(GetNodeBeliefs_bn(hub)[0], 0.5, 1e-6);
  for (int i = 0; i < 2; ++i) {
    for (node_bn child : children) GetNodeBeliefs_bn(child);
    EXPECT_NEAR(GetNodeBeliefs_bn(hub)[0], 0.5, 1e-6);
    EnterFinding_bn(children[7], 2);
    RetractNodeFindings_bn(children[7]);
  }
  EnterFindingNot_bn(children[7], 2);
  for (node_bn child : children) GetNodeBeliefs_bn(child);
  EXPECT_NEAR(GetNodeBeliefs_bn(hub)[0], 4 / 7.0, 1e-6);
}

}  // namespace
}  // namespace bravic::testing

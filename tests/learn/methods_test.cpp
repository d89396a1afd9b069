// Methods of learning links through the interface, and draws of missing cells.
#include "Basic/Memory.h"
#include "Bn/engine/learn/CaseDraws.h"
#include "learn/data.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

enum Method : int { HILL, ORDER, EXACT, TREE, TAN, NUM_METHODS };

class MethodsTest : public NetTest {
 protected:
  void TearDown() override {
    FreeAll();
    NetTest::TearDown();
  }
  void FreeAll() {
    for (nodelist_bn list : lists) FreeNodeList_bn(list);
    lists.clear();
  }
  nodelist_bn Listed(const std::vector<node_bn>& of) { return lists.emplace_back(List(of)); }
  void Build(const Data& drawn) {
    FreeAll();
    data = drawn;
    std::replace(data.states.begin(), data.states.end(), -1, statetype(UNDEF_STATE));
    net.reset(NewNet_bn("Test", env));
    nodes.clear();
    for (std::size_t i = 0; i < data.numstates.size(); ++i)
      nodes.push_back(New(("N" + std::to_string(i)).c_str(), data.numstates[i]));
    all = Listed(nodes);
    SetUndoDepth_bn(3, net.get());
    how = {};
    how.size = sizeof how;
  }
  int Learn(double* score = nullptr) {
    return LearnLinksCases_bn(all, data.states.data(), nullptr, long(data.NumCases()), all, &how, score);
  }
  double Score() {
    return ScoreLinksCases_bn(all, data.states.data(), nullptr, long(data.NumCases()), all, how.score, how.prior);
  }
  bool HasLink(int from, int to) {
    const auto parents = Nodes(GetNodeParents_bn(nodes[std::size_t(to)]));
    return std::ranges::find(parents, nodes[std::size_t(from)]) != parents.end();
  }

  Data data;
  std::vector<node_bn> nodes;
  nodelist_bn all = nullptr;
  std::vector<nodelist_bn> lists;
  learn_links_bn how;
};

TEST_F(MethodsTest, EachKeepsRulesAndIsOneChange) {
  for (int seed = 0; seed < 50; ++seed) {
    SCOPED_TRACE(seed);
    Random random(static_cast<std::uint64_t>(seed));
    Build(DrawData(random, {random.Between(2, 8), random.Between(30, 400), 4, seed % 4 == 0 ? 0.15 : 0}));
    const int n = data.NumNodes();
    how.method = seed % NUM_METHODS;
    how.missing = seed % 8 == 0;
    how.score = random.Below(2);
    how.target = how.method == TAN || random.Chance(0.5) ? nodes[0] : nullptr;
    how.maxparents = random.Between(1, 3);
    how.requiredfrom = Listed({nodes[0]});
    how.requiredto = Listed({nodes[std::size_t(n - 1)]});
    how.forbiddenfrom = Listed({nodes[std::size_t(n - 1)], nodes[0]});
    how.forbiddento = Listed({nodes[1 % std::size_t(n - 1)], nodes[std::size_t(n / 2)]});
    const bool isRefused = n <= 3 && n / 2 == n - 1;
    const std::string before = Written(net);
    double score = 0;
    const int steps = Learn(&score);
    if (isRefused) {
      EXPECT_EQ(steps, -1);
      EXPECT_EQ(Gist(), "5 2753 LearnLinksCases_bn N0 N1");
      continue;
    }
    ASSERT_GE(steps, 0) << Reports();
    Reports(0);
    EXPECT_NEAR(score, Score(), 1e-9 * std::abs(score));
    EXPECT_TRUE(HasLink(0, n - 1));
    EXPECT_FALSE(HasLink(0, n / 2));
    EXPECT_FALSE(n > 2 && HasLink(n - 1, 1));
    for (node_bn node : nodes) {
      const int most = how.method == TREE ? 1 : how.method == TAN ? std::min(how.maxparents, 2) : how.maxparents;
      EXPECT_LE(LengthNodeList_bn(GetNodeParents_bn(node)), most);
    }
    CompileNet_bn(net.get());
    EXPECT_EQ(Reports(4), "");
    EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
    EXPECT_EQ(Written(net), before);
  }
}

TEST_F(MethodsTest, WhatAMethodCannotDoIsRefused) {
  Random random(1);
  Build(DrawData(random, {26, 50, 2}));
  const std::string before = Written(net);
  how.method = EXACT;
  EXPECT_EQ(Learn(), -1);
  EXPECT_EQ(Gist(), "5 2756 LearnLinksCases_bn 26 25");
  how.method = TREE;
  how.requiredfrom = Listed({nodes[0], nodes[1]});
  how.requiredto = Listed({nodes[2], nodes[2]});
  EXPECT_EQ(Learn(), -1);
  EXPECT_EQ(Gist(), "5 2753 LearnLinksCases_bn N2");
  how.method = TAN;
  how.target = nodes[2];
  EXPECT_EQ(Learn(), -1);
  EXPECT_EQ(Gist(), "5 2753 LearnLinksCases_bn N0 N2");
  EXPECT_EQ(Written(net), before);
}

// The target is a parent too: it has no room beside one that is required.
TEST_F(MethodsTest, RequiredParentsComeBeforeTheTarget) {
  Random random(5);
  Build(DrawData(random, {4, 200, 3}));
  how.method = TAN;
  how.target = nodes[0];
  how.maxparents = 1;
  how.requiredfrom = Listed({nodes[1]});
  how.requiredto = Listed({nodes[2]});
  ASSERT_GE(Learn(), 0) << Reports();
  EXPECT_EQ(Nodes(GetNodeParents_bn(nodes[2])), std::vector<node_bn>{nodes[1]});
  EXPECT_TRUE(HasLink(0, 1) && HasLink(0, 3));
}

TEST_F(MethodsTest, ExactTellsWhereTheLimitKeepsItFromTheBestNet) {
  Random random(3);
  Build(DrawData(random, {10, 2000, 4}));
  how.method = EXACT;
  double best = 0, within = 0, hill = 0;
  ASSERT_GE(Learn(&best), 0);
  EXPECT_THAT(Reports(0), ::testing::Not(::testing::HasSubstr("2760")));
  how.maxentries = 60;
  ASSERT_GE(Learn(&within), 0);
  EXPECT_THAT(Reports(0), ::testing::HasSubstr("2760"));
  how.method = HILL;
  ASSERT_GE(Learn(&hill), 0);
  Reports(0);
  EXPECT_LT(within, best);
  EXPECT_GE(within, hill - 1e-9 * std::abs(hill));
}

long requestsLeft;

TEST_F(MethodsTest, WithoutMemoryNothingChanges) {
  for (how = {}; how.method < NUM_METHODS; ++how.method) {
    const int method = how.method;
    Random random(4);
    Build(DrawData(random, {4, 60, 3, 0.1}));
    how.method = method;
    how.missing = 1;
    how.target = nodes[0];
    how.restarts = 1;
    const std::string before = Written(net);
    int numRefused = 0;
    for (requestsLeft = 0; requestsLeft >= 0;) {
      const long n = requestsLeft;
      SetHeapGate([](std::size_t) { return requestsLeft-- != 0; });
      const int steps = Learn();
      SetHeapGate(nullptr);
      Free(Allocate(1));  // the reserve is taken again
      SetMemoryState(MEMORY_NORMAL);
      if (steps < 0) {
        EXPECT_NE(Reports(5), "") << "request " << n;
        ++numRefused;
      } else {
        EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
      }
      EXPECT_EQ(Written(net), before) << n;
      Reports(0);
      requestsLeft = requestsLeft < 0 ? n + 1 + n / 10 : -1;
    }
    EXPECT_GT(numRefused, 10);
  }
}

// Cells of a node between two others, of which the tables say how likely they are.
TEST(CaseDraws, FollowTheDistributionGivenTheKnownCells) {
  using namespace engine;
  constexpr int KNOWN = 4000, MISSING = 3000;
  Random random(5);
  const std::vector<int> numstates = {2, 3, 2};
  const Vector<int> columns = {0, 1, 2};
  const Links links = {{}, {0}, {1}};
  std::vector<int> states, holed;
  double joint[2][3][2] = {};
  for (int k = 0; k < KNOWN; ++k) {
    const int a = random.Chance(0.3), b = random.Chance(0.6) ? a : random.Below(3);
    const int c = random.Chance(b == 2 ? 0.9 : 0.2 + 0.3 * b);
    states.insert(states.end(), {a, b, c});
    ++joint[a][b][c];
  }
  for (int k = 0; k < MISSING; ++k) holed.insert(holed.end(), {1, -1, 0});
  CaseColumns tables{std::span<const int>(numstates)}, cases{std::span<const int>(numstates)};
  ASSERT_TRUE(tables.Add({states.data(), KNOWN, 3, columns, nullptr}) && tables.Finish());
  ASSERT_TRUE(cases.Add({holed.data(), MISSING, 3, columns, nullptr}) && cases.Finish());
  Interrupt interrupt;
  CaseDraws draws(cases, 1, interrupt);
  draws.Draw(links, tables, 2);
  const Owned<CaseColumns> completed = draws.Completed();
  ASSERT_TRUE(completed);
  double drawn[3];
  CountFamily(*completed, 1, {}, drawn);
  EXPECT_EQ(drawn[0] + drawn[1] + drawn[2], MISSING);
  double expected[3], total = 0;
  for (int b = 0; b < 3; ++b) {
    const double ofB = joint[0][b][0] + joint[0][b][1] + joint[1][b][0] + joint[1][b][1];
    expected[b] = (joint[1][b][0] + joint[1][b][1]) * (joint[0][b][0] + joint[1][b][0] + 0.5) / (ofB + 1);
    total += expected[b];
  }
  for (int b = 0; b < 3; ++b) EXPECT_NEAR(drawn[b] / MISSING, expected[b] / total, 0.03);
}

// A chain of which a third of the cells is gone: with it filled in, the links are found as they are.
TEST_F(MethodsTest, FilledInMissingCellsTellTheLinks) {
  Random random(6);
  Data drawn;
  drawn.numstates = {2, 2, 2, 2};
  for (int k = 0; k < 4000; ++k) {
    int before = random.Below(2);
    for (int v = 0; v < 4; ++v) {
      if (v > 0 && random.Chance(0.2)) before = 1 - before;
      drawn.states.push_back(random.Chance(0.33) ? -1 : before);
    }
  }
  Build(drawn);
  how.missing = 1;
  how.seed = 3;
  ASSERT_GE(Learn(), 0) << Reports();
  for (int a = 0; a < 4; ++a)
    for (int b = 0; b < a; ++b) EXPECT_EQ(HasLink(a, b) || HasLink(b, a), a == b + 1) << a << b;
  for (node_bn node : nodes) {
    const auto table = GetTable(node);
    for (float p : table) EXPECT_NEAR(std::min(p, 1 - p), table.size() == 2 ? 0.5 : 0.2, 0.04) << GetNodeName_bn(node);
  }
  const std::string first = Written(net);
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  how.numthreads = 3;
  ASSERT_GE(Learn(), 0);
  EXPECT_EQ(Written(net), first);
}

}  // namespace
}  // namespace bravic::testing

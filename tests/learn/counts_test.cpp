// Counts: what they hold, how they add up, when they are refused.
#include <cmath>

#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

struct CountsFree {
  void operator()(counts_rec* counts) const { FreeCounts_bn(counts); }
};
using Counts = std::unique_ptr<counts_rec, CountsFree>;

class CountsTest : public NetTest {
 protected:
  void SetUp() override {
    NetTest::SetUp();
    a_ = AddNode(net, "a", {"x", "y", "z"}, {}, {0.5f, 0.25f, 0.25f});
    b_ = AddNode(net, "b", {"p", "q"}, {"a"}, {0.5f, 0.5f, 0.25f, 0.75f, 1, 0});
  }
  Counts New(const std::vector<node_bn>& nodes) {
    nodelist_bn list = List(nodes);
    Counts counts(NewCounts_bn(list));
    FreeNodeList_bn(list);
    return counts;
  }
  std::vector<double> Values(const Counts& counts) {
    std::vector<double> values(std::size_t(std::max(0L, CountsSize_bn(counts.get()))), -1);
    EXPECT_EQ(GetCounts_bn(counts.get(), values.data()), 0);
    return values;
  }

  node_bn a_ = nullptr, b_ = nullptr;
};

TEST_F(CountsTest, OthersAreNotFreedAsCounts) {
  nodelist_bn list = List({a_});
  FreeCounts_bn(reinterpret_cast<counts_bn>(list));
  EXPECT_EQ(Gist(), "5 2701 FreeCounts_bn counts_bn");
  EXPECT_EQ(LengthNodeList_bn(list), 1);
  FreeCounts_bn(nullptr);
  FreeNodeList_bn(list);
}

TEST_F(CountsTest, AreSetAndAdded) {
  const Counts counts = New({b_, a_}), more = New({b_, a_}), other = New({a_, b_});
  EXPECT_EQ(Values(counts), std::vector<double>(9, 0));
  const std::vector<double> values = {1, 2, 3, 4, 5, 6, 7, 8, 1e300};
  EXPECT_EQ(SetCounts_bn(more.get(), values.data()), 0);
  EXPECT_EQ(AddCounts_bn(counts.get(), more.get()), 0);
  EXPECT_EQ(AddCounts_bn(counts.get(), counts.get()), 0);
  EXPECT_EQ(Values(counts)[7], 16);
  EXPECT_TRUE(std::isfinite(Values(counts)[8]));
  EXPECT_EQ(AddCounts_bn(counts.get(), other.get()), -1);
  for (const double bad : {-1.0, double(NAN), double(INFINITY)}) {
    std::vector<double> wrong = values;
    wrong[8] = bad;
    EXPECT_EQ(SetCounts_bn(more.get(), wrong.data()), -1);
    EXPECT_EQ(Values(more)[0], 1);
  }
  EXPECT_EQ(GetCounts_bn(counts.get(), nullptr), -1);
  EXPECT_EQ(Gist(),
            "5 2708 AddCounts_bn; 5 2709 SetCounts_bn 8 -1 0; 5 2709 SetCounts_bn 8 0; 5 2709 SetCounts_bn 8 0; "
            "5 2612 GetCounts_bn NULL values");
}

TEST_F(CountsTest, AreRefusedOnceTheirNodesChange) {
  Counts counts = New({b_});
  // What leaves the meaning of the entries alone.
  SetNodeTitle_bn(b_, "A title");
  SetTable(a_, {0.25f, 0.25f, 0.5f});
  UndoLastChange_bn(net.get());
  AddNode(net, "c", {"x", "y"});
  EXPECT_EQ(CountsSize_bn(counts.get()), 6);
  SetNodeStateName_bn(a_, 0, "w");
  EXPECT_EQ(CountsSize_bn(counts.get()), -1);
  SetNodeStateName_bn(a_, 0, "x");
  EXPECT_EQ(CountsSize_bn(counts.get()), 6);
  AddLink_bn(At("c"), b_);
  EXPECT_EQ(CountsSize_bn(counts.get()), -1);
  UndoLastChange_bn(net.get());
  EXPECT_EQ(CountsSize_bn(counts.get()), 6);
  DeleteNode_bn(a_);
  EXPECT_EQ(CountsSize_bn(counts.get()), -1);
  EXPECT_EQ(Gist(), "5 2702 CountsSize_bn; 5 2702 CountsSize_bn; 5 2702 CountsSize_bn");
  const Counts ofGone = New({At("c")});
  net.reset();
  EXPECT_EQ(CountsSize_bn(ofGone.get()), -1);
  EXPECT_EQ(CountsSize_bn(nullptr), -1);
  EXPECT_EQ(CountsSize_bn(reinterpret_cast<counts_bn>(env)), -1);
  EXPECT_EQ(Gist(), "5 2702 CountsSize_bn; 5 2700 CountsSize_bn NULL counts_bn; 5 2701 CountsSize_bn counts_bn");
}

TEST_F(CountsTest, AreNotMadeOfEveryNode) {
  node_bn decision = AddNode(net, "d", {"x"}), child = AddNode(net, "child", {"x", "y"});
  SetNodeKind_bn(decision, DECISION_NODE);
  AddLink_bn(NewNode_bn("real", 0, net.get()), child);
  for (const auto& nodes : {std::vector<node_bn>{a_, decision}, {}, {child}}) EXPECT_EQ(New(nodes), nullptr);
  EXPECT_EQ(Gist(), "5 2703 NewCounts_bn d; 5 2704 NewCounts_bn; 5 2705 NewCounts_bn child real");
  std::vector<node_bn> wide = {NewNode_bn("wide", 2000, net.get())};
  for (int i = 0; i < 2; ++i) AddLink_bn(NewNode_bn(nullptr, 2000, net.get()), wide[0]);
  EXPECT_EQ(New(wide), nullptr);
  EXPECT_EQ(Gist().substr(0, 20), "5 2706 NewCounts_bn ");
}

}  // namespace
}  // namespace bravic::testing

// Which steps are kept, what a group of changes is, and what a step leaves of a compiled net.
#include "Bn/model/Undo.h"

#include "Bn/model/Attributes.h"
#include "Bn/model/Net.h"
#include "Bn/model/Parents.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

class UndoTest : public NetTest {
 protected:
  void TearDown() override {
    SetUndoDepth_bn(1, net.get());
    NetTest::TearDown();
  }
};

TEST_F(UndoTest, ByDefaultOneStepIsKept) {
  New("A");
  New("B");
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  EXPECT_EQ(UndoLastChange_bn(net.get()), 0);
  EXPECT_EQ(Nodes(net).size(), 1u);
  EXPECT_EQ(RedoLastChange_bn(net.get()), 1);
  EXPECT_EQ(RedoLastChange_bn(net.get()), 0);
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  New("C");
  EXPECT_EQ(RedoLastChange_bn(net.get()), 0) << "a new change empties the redo stack";
}

TEST_F(UndoTest, ChangesThatAreRefusedOrChangeNothingLeaveBothStacks) {
  node_bn a = New("A"), b = New("B", 3);
  AddLink_bn(a, b);
  SetNodeTitle_bn(b, "title");
  UndoLastChange_bn(net.get());
  const int sequence = UndoSequence(net.get());
  NewNode_bn("A", 2, net.get());
  SwitchNodeParent_bn(0, b, b);
  SetNodeProbs_bn(a, nullptr, (const float[]){0.5f, 0.6f});
  EnterFinding_bn(a, 2);
  SetNodeKind_bn(a, UTILITY_NODE);
  EXPECT_NE(Reports(), "");
  ChangeParents(b, {&a, 1}, {}, false);
  SetNodeName_bn(a, "A");
  EXPECT_EQ(UndoSequence(net.get()), sequence);
  EXPECT_EQ(RedoLastChange_bn(net.get()), 1);
  EXPECT_STREQ(GetNodeTitle_bn(b), "title");
}

TEST_F(UndoTest, ALowerDepth) {
  int number = 0;
  const auto fill = [&](int depth) {
    SetUndoDepth_bn(depth, net.get());
    for (int i = 0; i < 5; ++i) SetNodeTitle_bn(At("A"), std::to_string(number++).c_str());
  };
  const auto numKept = [&] {
    int num = 0;
    while (UndoLastChange_bn(net.get()) == 1) ++num;
    return num;
  };
  New("A");
  EXPECT_EQ(SetUndoDepth_bn(-1, net.get()), 1);
  fill(4);
  EXPECT_EQ(SetUndoDepth_bn(2, net.get()), 4);
  EXPECT_EQ(numKept(), 0) << "a lower depth above 0 frees every record";
  fill(4);
  EXPECT_EQ(SetUndoDepth_bn(0, net.get()), 4);
  EXPECT_EQ(numKept(), 4) << "at depth 0 the records within the old depth stay";
  EXPECT_EQ(RedoLastChange_bn(net.get()), 1);
  SetNodeTitle_bn(At("A"), "unrecorded");
  EXPECT_EQ(numKept(), 0) << "after an unrecorded change they no longer fit";
  EXPECT_EQ(RedoLastChange_bn(net.get()), 0);
}

TEST_F(UndoTest, GroupsNestAndAnEmptyOneLeavesNoTrace) {
  SetUndoDepth_bn(10, net.get());
  node_bn a = New("A");
  const int sequence = UndoSequence(net.get());
  {
    UndoGroup outer(UNDO_GROUP, net.get());
    { UndoGroup inner(UNDO_GROUP, net.get()); }
    SetNodeTitle(a, "one");
    {
      UndoGroup inner(UNDO_GROUP, net.get());
      SetNodeTitle(a, "two");
      SetNodeComment(a, "comment");
    }
    SetNodeTitle(a, "three");
  }
  for (int i = 0; i < 2; ++i) {
    UndoLast(net.get());
    EXPECT_EQ(a->title, nullptr);
    EXPECT_EQ(a->comment, nullptr);
    EXPECT_EQ(UndoSequence(net.get()), sequence);
    RedoLast(net.get());
    EXPECT_STREQ(a->title, "three");
    EXPECT_STREQ(a->comment, "comment");
  }
  { UndoGroup empty(UNDO_GROUP, net.get()); }
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  EXPECT_EQ(UndoSequence(net.get()), sequence);
}

std::vector<float> Beliefs(const Net& net) {
  std::vector<float> all;
  for (node_bn node : Nodes(net)) {
    const float* belief = GetNodeBeliefs_bn(node);
    all.insert(all.end(), belief, belief + NumStates(node));
  }
  all.push_back(static_cast<float>(CaseProbability_bn(net.get())));
  return all;
}

enum Left { ALL, TREE, NOTHING };

// What a step has left of the compiled net; the rest is made again.
void ExpectBeliefs(const Net& net, const std::vector<float>& expected, Left left, const char* when) {
  EXPECT_EQ(net->compiled != nullptr, left != NOTHING) << when;
  EXPECT_EQ(net->potentialsMade, left == ALL) << when;
  if (left != ALL) CompileNet_bn(net.get());
  const auto found = Beliefs(net);
  ASSERT_EQ(found.size(), expected.size()) << when;
  for (std::size_t i = 0; i < found.size(); ++i) EXPECT_NEAR(found[i], expected[i], 1e-6) << when << ", " << i;
}

TEST_F(UndoTest, BeliefsFollowUndoAndRedo) {
  const struct {
    const char* what;
    void (*change)(const Net& net);
    Left left;
  } rows[] = {
      {"row",
       [](const Net& net) {
         SetNodeProbs_bn(Named(net, "smoke"), nullptr, (const float[]){0.9f, 0.1f});
       },
       TREE},
      {"finding", [](const Net& net) { Observe(net, "dysp", "yes"); }, ALL},
      {"replaced finding", [](const Net& net) { RetractNodeFindings_bn(Named(net, "asia")); }, ALL},
      {"likelihood",
       [](const Net& net) {
         EnterNodeLikelihood_bn(Named(net, "bronc"), (const float[]){0.2f, 0.6f});
       },
       ALL},
      {"all findings", [](const Net& net) { RetractAllFindings_bn(net.get()); }, ALL},
      {"link", [](const Net& net) { DeleteLink_bn(1, Named(net, "dysp")); }, NOTHING},
      {"node", [](const Net& net) { DeleteNode_bn(Named(net, "xray")); }, NOTHING},
  };
  for (const int autoupdate : {0, 1}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string(row.what) + (autoupdate ? " with auto-update" : ""));
      net = ChestClinic(env);
      CompileNet_bn(net.get());
      Observe(net, "asia", "yes");
      EnterFindingNot_bn(Named(net, "xray"), 1);
      const auto before = Beliefs(net);
      SetNetAutoUpdate_bn(net.get(), autoupdate);
      row.change(net);
      if (row.left != ALL) CompileNet_bn(net.get());
      const auto after = Beliefs(net);
      EXPECT_NE(before, after);
      EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
      ExpectBeliefs(net, before, row.left, "undone");
      EXPECT_EQ(RedoLastChange_bn(net.get()), 1);
      ExpectBeliefs(net, after, row.left, "redone");
    }
  }
}

}  // namespace
}  // namespace bravic::testing

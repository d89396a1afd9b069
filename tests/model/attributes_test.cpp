// Getters and setters of attributes: what they answer and record.
#include "Bn/model/Attributes.h"

#include "Bn/model/Levels.h"
#include "Bn/model/Undo.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

class AttributesTest : public NetTest {
 protected:
  void SetUp() override {
    NetTest::SetUp();
    a = New("A");
    b = New("B", 3, {a});
    real = New("R", 0);
    DeleteNode_bn(AddParent("Gone"));  // B's second parent is a placeholder now
    SetNodeStateName_bn(b, 0, "low");
    SetLinkName_bn(b, 0, "cause");
  }
  node_bn AddParent(const char* name) {
    node_bn parent = New(name);
    AddLink_bn(parent, b);
    return parent;
  }

  node_bn a = nullptr, b = nullptr, real = nullptr;
};

TEST_F(AttributesTest, SettersAnswerWhetherTheyHaveChangedAnything) {
  const double levels[] = {0, 1, 2};
  const char* const names[] = {"x", nullptr, "low"};
  a->chance = INVERTABLE;
  const std::function<int()> setters[] = {
      [&] { return SetNetName_bn(net.get(), "Other"); },
      [&] { return SetNetAutoUpdate_bn(net.get(), 1); },
      [&] { return SetNetTitle_bn(net.get(), "A \"title\"\n"); },
      [&] { return SetNetComment_bn(net.get(), "x"); },
      [&] { return SetNetComment_bn(net.get(), nullptr); },
      [&] { return SetNodeName_bn(a, "A2"); },
      [&] { return SetNodeKind_bn(a, DECISION_NODE); },
      [&] { return SetMeasure(a, RATIO); },
      [&] { return SetNodeUnits(a, "mg"); },
      [&] { return SetNodeStateName_bn(a, 1, "on"); },
      [&] { return SetStateNames(b, names); },
      [&] { return SetStateNames(b, nullptr); },
      [&] { return SetLinkName_bn(b, 1, "second"); },
      [&] { return SetLinkNames(b, nullptr); },
      [&] { return SetNodeLevels_bn(b, 3, levels); },
      [&] { return SetNodeLevels_bn(b, 3, nullptr); },
      [&] { return SetNodeLevels_bn(real, 2, levels); },
      [&] { return SetNodeTitle_bn(b, "t"); },
      [&] { return SetNodeComment_bn(b, "c"); },
  };
  for (const auto& set : setters) {
    SCOPED_TRACE(&set - setters);
    const std::string before = Written(net);
    EXPECT_EQ(set(), 0);
    const std::string after = Written(net);
    EXPECT_NE(after, before);
    EXPECT_EQ(set(), 1);
    EXPECT_EQ(Written(net), after);
    EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
    EXPECT_EQ(Written(net), before);
    EXPECT_EQ(RedoLastChange_bn(net.get()), 1);
  }
  EXPECT_EQ(At("A2"), a);
}

TEST_F(AttributesTest, DefaultLinkNamesAreFoundAndTaken) {
  EXPECT_STREQ(GetLinkName_bn(b, 1), "Arg1");
  EXPECT_EQ(LinkNamed_bn("Arg1", b), 1);
  AddParent("Third");
  EXPECT_EQ(LinkNamed_bn("Third", b), 2);
  EXPECT_EQ(SetLinkName_bn(b, 1, "Third"), -1);
  EXPECT_EQ(Gist(), "5 2002 SetLinkName_bn Third 2 B");
  ASSERT_EQ(SetLinkNames(b, nullptr), 0);
  EXPECT_EQ(SetLinkName_bn(b, 2, "Third"), 0) << "its own default, kept from now on";
}

TEST_F(AttributesTest, AnotherDiscretizationDropsWhatTheOldStatesIndexed) {
  const double two[] = {0, 1, 2}, three[] = {0, 0.5, 1.5, 2};
  ASSERT_EQ(SetNodeLevels_bn(real, 2, two), 0);
  node_bn child = NewNode_bn("Child", 2, net.get());
  AddLink_bn(real, child);
  AddLink_bn(a, real);
  SetNodeStateName_bn(real, 0, "near");
  const statetype every = EVERY_STATE, second = 1;
  const float half[] = {0.5f, 0.5f};
  SetNodeProbs_bn(child, &every, half);
  SetNodeExperience_bn(child, &every, 7);
  SetNodeFuncValue_bn(real, &every, 1.25);
  SetNodeExperience_bn(real, &every, 3);
  EnterNodeValue_bn(real, 1.25);
  EXPECT_EQ(GetNodeFinding_bn(real), 1);
  EXPECT_EQ(GetNodeProbs_bn(real, &second)[1], 1.0f);

  ASSERT_EQ(SetNodeLevels_bn(real, 3, three), 0);
  EXPECT_EQ(GetNodeNumberStates_bn(real), 3);
  EXPECT_STREQ(GetNodeStateName_bn(real, 0), "");
  EXPECT_EQ(GetNodeFuncValue_bn(real, &second), 1.25);
  EXPECT_EQ(GetNodeExperience_bn(real, &second), 3);
  EXPECT_EQ(std::vector<float>(GetNodeProbs_bn(real, &second), GetNodeProbs_bn(real, &second) + 3),
            (std::vector<float>{0, 1, 0}));
  EXPECT_EQ(GetNodeFinding_bn(real), 1) << "placed by its value";
  EXPECT_EQ(GetNodeValue_bn(real), 1.25);
  EXPECT_EQ(HasRelation_bn(child), 0);
  EXPECT_EQ(GetNodeExperience_bn(child, &second), undef_dbl_ns);

  // A table that can be none of the new states' goes with a state finding.
  RetractNodeFindings_bn(real);
  EnterFinding_bn(real, 0);
  DeleteNodeRelation_bn(real);
  SetNodeProbs_bn(real, &every, std::vector<float>{0.5f, 0.5f, 0}.data());
  ASSERT_EQ(SetNodeLevels_bn(real, 0, nullptr), 0);
  EXPECT_EQ(HasRelation_bn(real), 0);
  EXPECT_EQ(net->numEvidence, 0);
}

TEST_F(AttributesTest, LevelsDoNotOutliveWhatTheyMean) {
  const double levels[] = {0, 1, 2};
  ASSERT_EQ(SetNodeLevels_bn(real, 2, levels), 0);
  EnterNodeValue_bn(real, 1.25);
  EXPECT_EQ(SetDiscrete(real, UNKNOWN_DISCRETE), 0);
  EXPECT_EQ(GetNodeValue_bn(real), 1.25);
  EXPECT_EQ(GetNodeLevel_bn(real, 2), 2) << "still bounds of intervals";
  UndoLastChange_bn(net.get());
  EXPECT_EQ(real->discrete, CONTINUOUS);
  ASSERT_EQ(SetDiscrete(real, DISCRETE), 0);
  EXPECT_EQ(SetDiscrete(real, DISCRETE), 1);
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(real->levels, nullptr);
    EXPECT_EQ(GetNodeFinding_bn(real), 1) << "the state stays";
    EXPECT_EQ(real->value, UNDEF_DBL);
    UndoLastChange_bn(net.get());
    EXPECT_EQ(GetNodeLevel_bn(real, 2), 2);
    EXPECT_EQ(GetNodeValue_bn(real), 1.25);
    RedoLastChange_bn(net.get());
  }
  EXPECT_EQ(SetStatesAndLevels(a, 2, nullptr, nullptr), 1);
  const char* const names[] = {"off", "on"};
  EXPECT_EQ(SetStatesAndLevels(a, 2, levels, names), 0);
  EXPECT_EQ(StateNamed_bn("on", a), 1);
  EXPECT_EQ(GetNodeLevel_bn(a, 1), 1);
  UndoLastChange_bn(net.get());
  EXPECT_EQ(GetNodeLevel_bn(a, 1), undef_dbl_ns) << "levels and names are one change";
  EXPECT_STREQ(GetNodeStateName_bn(a, 1), "");
}

TEST_F(AttributesTest, ShiftedLevelsPlaceAValueFindingAnew) {
  const double levels[] = {0, 1, 2}, shifted[] = {0, 1.5, 2}, beyond[] = {5, 6, 7};
  ASSERT_EQ(SetNodeLevels_bn(real, 2, levels), 0);
  EnterNodeValue_bn(real, 1.25);
  ASSERT_EQ(SetNodeLevels_bn(real, 2, shifted), 0);
  EXPECT_EQ(GetNodeFinding_bn(real), 0);
  EXPECT_EQ(GetNodeValue_bn(real), 1.25);
  ASSERT_EQ(SetNodeLevels_bn(real, 2, beyond), 0);
  EXPECT_EQ(GetNodeValue_bn(real), undef_dbl_ns);
  EXPECT_EQ(net->numEvidence, 0);
}

TEST_F(AttributesTest, AnEliminationOrderHoldsEveryNodeThatIsCompiled) {
  Net other(NewNet_bn("Other", env));
  node_bn foreign = NewNode_bn("F", 2, other.get());
  ASSERT_EQ(SetNodeKind_bn(real, ASSUME_NODE), 0);
  struct Case {
    nodelist_bn order;
    int answer;
    const char* report;
  };
  const Case cases[] = {
      {List({b}), -1, "5 5571 SetNetElimOrder_bn 1 Test A"},
      {List({foreign}), -1, "5 5570 SetNetElimOrder_bn F Test"},
      {List({b, a, b}), -1, "5 5122 SetNetElimOrder_bn B"},
      {List({b, real, a}), 0, ""},
      {List({b, a}), 1, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.report);
    EXPECT_EQ(SetNetElimOrder_bn(net.get(), c.order), c.answer);
    EXPECT_EQ(Gist(), c.report);
    EXPECT_EQ(GetNetElimOrder_bn(net.get()) != nullptr, c.answer >= 0);
    FreeNodeList_bn(c.order);
  }
  EXPECT_EQ(SetNetElimOrder_bn(net.get(), GetNodeParents_bn(b)), -1);
  EXPECT_EQ(Gist(), "5 5570 SetNetElimOrder_bn Gone Test");
  EXPECT_EQ(Nodes(GetNetElimOrder_bn(net.get())), (std::vector<node_bn>{b, a}));
  EXPECT_EQ(SetNodeKind_bn(real, NATURE_NODE), 0);
  EXPECT_EQ(GetNetElimOrder_bn(net.get()), nullptr) << "it would lack R now";
  UndoLastChange_bn(net.get());
  EXPECT_EQ(Nodes(GetNetElimOrder_bn(net.get())), (std::vector<node_bn>{b, a}));
}

}  // namespace
}  // namespace bravic::testing

// Getters and setters of attributes: what they answer and record.
#include "Bn/model/Attributes.h"

#include <functional>

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

// Each setter with a value that changes the record and the getter that shows it: 0, then 1 without a record, then
// undone and redone.
TEST_F(AttributesTest, SetReadRepeatUndoRedo) {
  int data;
  const double levels[] = {0, 1, 2};
  struct Case {
    const char* name;
    std::function<int()> set;
    std::function<std::string()> get;
  };
  const auto text = [](const auto& value) { return ::testing::PrintToString(value); };
  const Case cases[] = {
      {"net name", [&] { return SetNetName_bn(net.get(), "Other"); }, [&] { return GetNetName_bn(net.get()); }},
      {"autoupdate", [&] { return SetNetAutoUpdate_bn(net.get(), 1); },
       [&] { return text(GetNetAutoUpdate_bn(net.get())); }},
      {"find_mpe", [&] { return SetNetFindMPE_bn(net.get(), 1); }, [&] { return text(net->findmpe); }},
      {"net title", [&] { return SetNetTitle_bn(net.get(), "A \"title\"\n"); },
       [&] { return GetNetTitle_bn(net.get()); }},
      {"net comment", [&] { return SetNetComment_bn(net.get(), "x"); }, [&] { return GetNetComment_bn(net.get()); }},
      {"net comment gone", [&] { return SetNetComment_bn(net.get(), nullptr); },
       [&] { return GetNetComment_bn(net.get()); }},
      {"net user data", [&] { return SetNetUserData_bn(net.get(), 0, &data); },
       [&] { return text(GetNetUserData_bn(net.get(), 0)); }},
      {"node name", [&] { return SetNodeName_bn(a, "A2"); },
       [&] { return GetNodeName_bn(a) + text(NodeNamed_bn("A2", net.get())) + text(NodeNamed_bn("A", net.get())); }},
      {"kind", [&] { return SetNodeKind_bn(a, DECISION_NODE); }, [&] { return text(GetNodeKind_bn(a)); }},
      {"measure", [&] { return SetMeasure(a, RATIO); }, [&] { return text(a->measure); }},
      {"units", [&] { return SetNodeUnits(a, "mg"); }, [&] { return std::string(a->units ? a->units : ""); }},
      {"state name", [&] { return SetNodeStateName_bn(b, 2, "high"); }, [&] { return GetNodeStateName_bn(b, 2); }},
      {"first state name", [&] { return SetNodeStateName_bn(a, 1, "on"); }, [&] { return GetNodeStateName_bn(a, 1); }},
      {"state names",
       [&] {
         const char* const names[] = {"x", nullptr, "low"};
         return SetStateNames(b, names);
       },
       [&] { return GetNodeStateName_bn(b, 0) + std::string(",") + GetNodeStateName_bn(b, 2); }},
      {"no state names", [&] { return SetStateNames(b, nullptr); }, [&] { return GetNodeStateName_bn(b, 0); }},
      {"link name", [&] { return SetLinkName_bn(b, 1, "second"); },
       [&] { return GetLinkName_bn(b, 1) + text(LinkNamed_bn("cause", b)); }},
      {"link names", [&] { return SetLinkNames(b, nullptr); },
       [&] { return std::string(GetLinkName_bn(b, 0)) + GetLinkName_bn(b, 1); }},
      {"levels", [&] { return SetNodeLevels_bn(b, 3, levels); }, [&] { return text(GetNodeLevel_bn(b, 1)); }},
      {"no levels", [&] { return SetNodeLevels_bn(b, 3, nullptr); }, [&] { return text(GetNodeLevel_bn(b, 1)); }},
      {"states by levels", [&] { return SetNodeLevels_bn(real, 2, levels); },
       [&] { return text(GetNodeNumberStates_bn(real)); }},
      {"node title", [&] { return SetNodeTitle_bn(b, "t"); }, [&] { return GetNodeTitle_bn(b); }},
      {"node comment", [&] { return SetNodeComment_bn(b, "c"); }, [&] { return GetNodeComment_bn(b); }},
      {"node user data", [&] { return SetNodeUserData_bn(b, 0, &data); },
       [&] { return text(GetNodeUserData_bn(b, 0)); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string before = c.get();
    const int sequence = UndoSequence(net.get());
    EXPECT_EQ(c.set(), 0);
    const std::string after = c.get();
    EXPECT_NE(after, before);
    const int recorded = UndoSequence(net.get());
    EXPECT_NE(recorded, sequence);
    EXPECT_EQ(c.set(), 1);
    EXPECT_EQ(UndoSequence(net.get()), recorded) << "a value already there is no change";
    EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
    EXPECT_EQ(c.get(), before);
    EXPECT_EQ(RedoLastChange_bn(net.get()), 1);
    EXPECT_EQ(c.get(), after);
    EXPECT_EQ(Reports(0), "");
  }
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

  ASSERT_EQ(UndoLastChange_bn(net.get()), 1) << "all of it one step";
  EXPECT_EQ(GetNodeNumberStates_bn(real), 2);
  EXPECT_STREQ(GetNodeStateName_bn(real, 0), "near");
  EXPECT_EQ(GetNodeLevel_bn(real, 1), 1.0);
  EXPECT_EQ(GetNodeProbs_bn(child, &second)[0], 0.5f);
  EXPECT_EQ(GetNodeExperience_bn(child, &second), 7);
  EXPECT_EQ(GetNodeProbs_bn(real, &second)[1], 1.0f);
  EXPECT_EQ(GetNodeValue_bn(real), 1.25);
  // A table that can be none of the new states' goes with a state finding.
  RetractNodeFindings_bn(real);
  EnterFinding_bn(real, 0);
  DeleteNodeRelation_bn(real);
  SetNodeProbs_bn(real, &every, half);
  ASSERT_EQ(SetNodeLevels_bn(real, 0, nullptr), 0);
  EXPECT_EQ(HasRelation_bn(real), 0);
  EXPECT_EQ(net->numEvidence, 0);
  ASSERT_EQ(UndoLastChange_bn(net.get()), 1);
  EXPECT_EQ(GetNodeFinding_bn(real), 0);
  EXPECT_EQ(net->numEvidence, 1);
  EXPECT_EQ(SetNodeLevels_bn(real, 2, nullptr), -1);
  EXPECT_EQ(Gist(), "5 3086 SetNodeLevels_bn CONTINUOUS");
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
  ASSERT_EQ(UndoLastChange_bn(net.get()), 1);
  EXPECT_EQ(GetNodeFinding_bn(real), 0);
  EXPECT_EQ(net->numEvidence, 1);
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

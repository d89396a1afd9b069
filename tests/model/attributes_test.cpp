// Getters and setters of attributes: what they answer, refuse and record.
#include "Bn/model/Attributes.h"

#include <cmath>
#include <functional>

#include "Bn/model/Tables.h"
#include "Bn/model/Undo.h"
#include "support/library.h"
#include "support/nets.h"

namespace bravic::testing {
namespace {

const char LONG_NAME[] = "abcdefghijklmnopqrstuvwxyzabcde";  // one character too long

class AttributesTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    net.reset(NewNet_bn("Test", env));
    a = NewNode_bn("A", 2, net.get());
    b = NewNode_bn("B", 3, net.get());
    AddLink_bn(a, b);
    real = NewNode_bn("R", 0, net.get());
    DeleteNode_bn(AddParent("Gone"));  // B's second parent is a placeholder now
    stub = NthNode_bn(GetNodeParents_bn(b), 1);
    SetNodeStateName_bn(b, 0, "low");
    SetLinkName_bn(b, 0, "cause");
  }
  void TearDown() override {
    net.reset();
    LibraryTest::TearDown();
  }
  node_bn AddParent(const char* name) {
    node_bn parent = NewNode_bn(name, 2, net.get());
    AddLink_bn(parent, b);
    return parent;
  }

  Net net;
  node_bn a = nullptr, b = nullptr, real = nullptr, stub = nullptr;
};

struct Refusal {
  std::function<bool()> call;  // whether the answer is that of a failure
  std::string report;
};

TEST_F(AttributesTest, SettersRefuseInTheirWords) {
  const auto refused = [](int answer) { return answer == -1; };
  const double levels[] = {0, 1, 2, 3}, falling[] = {0, 2, 1}, holes[] = {0, std::nan(""), 1};
  const std::string bound = " is out of bounds (it must be between 0 and 2 inclusive)\n";
  const Refusal refusals[] = {
      {[&] { return refused(SetNetName_bn(nullptr, "X")); }, "5 5104 SetNetName_bn: NULL passed for net_bn\n"},
      {[&] { return refused(SetNetName_bn(net.get(), nullptr)); }, "5 5114 SetNetName_bn: NULL passed for name\n"},
      {[&] { return refused(SetNetName_bn(net.get(), "")); }, "5 5142 SetNetName_bn: Empty string passed for name\n"},
      {[&] { return refused(SetNetName_bn(net.get(), "my net")); },
       "5 3002 SetNetName_bn: Can't change the name of net Test to 'my net', because that 'my net' contains a space\n"},
      {[&] { return refused(SetNetAutoUpdate_bn(net.get(), 2)); },
       "5 3001 SetNetAutoUpdate_bn: Can't change the autoupdate of network 'Test' to 2, because autoupdate numbers "
       "must "
       "be between 0 and 1 inclusive.\n"},
      {[&] { return refused(SetNetFindMPE_bn(net.get(), -1)); },
       "5 3001 SetNetFindMPE_bn: Can't change the find_mpe of network 'Test' to -1, because find_mpe numbers must be "
       "between 0 and 1 inclusive.\n"},
      {[&] { return refused(SetNetElimOrder_bn(net.get(), nullptr)); },
       "5 5110 SetNetElimOrder_bn: NULL passed for the nodelist_bn\n"},
      {[&] { return refused(SetNetUserData_bn(net.get(), 1, nullptr)); },
       "5 5500 SetNetUserData_bn: Argument 'kind' is 1, but currently it must be 0\n"},
      {[&] { return refused(SetNodeName_bn(stub, "X")); },
       "5 5138 SetNodeName_bn: Parent placeholder (disconnected) node passed for node_bn\n"},
      {[&] { return refused(SetNodeName_bn(a, "2cats")); },
       "5 3063 SetNodeName_bn: Can't change the name of node A because new name '2cats' starts with non-alphabetic "
       "character '2'\n"},
      {[&] { return refused(SetNodeName_bn(a, LONG_NAME)); },
       std::string("5 3063 SetNodeName_bn: Can't change the name of node A because new name '") + LONG_NAME +
           "...' is too long (31 characters, maximum is 30)\n"},
      {[&] { return refused(SetNodeName_bn(a, "B")); },
       "5 5512 SetNodeName_bn: Name 'B' is already used by another node in net 'Test'\n"},
      {[&] { return refused(SetNodeKind_bn(a, 6)); },
       "5 5501 SetNodeKind_bn: Argument 'kind' passed for node 'A' is 6, but it must be between 0 and 5 inclusive\n"},
      {[&] { return refused(SetNodeKind_bn(a, DISCONNECT_NODE)); },
       "5 5505 SetNodeKind_bn: Argument 'kind' passed for node 'A' is DISCONNECT_NODE, but link disconnection must be "
       "done with SwitchNodeParent_bn or DuplicateNodes_bn\n"},
      {[&] { return refused(SetNodeKind_bn(a, UTILITY_NODE)); },
       "5 3083 SetNodeKind_bn: Can't change node 'A' to a UTILITY node, because it isn't a CONTINUOUS node\n"},
      {[&] { return refused(SetKind(a, UNKNOWN_KIND)); },
       "5 3050 can't change the kind of node 'A' to 6, because kind numbers must be between 0 and 5 inclusive\n"},
      {[&] { return refused(SetKind(a, DISCONNECT_NODE)); },
       "5 3056 can't change the kind of node 'A' to 'DISCONNECTED', because that can only be done by disconnecting "
       "links\n"},
      {[&] { return refused(SetDiscrete(a, 3)); },
       "5 3051 can't change the 'discrete' indicator of node 'A' to 3, because discrete numbers must be between 0 and "
       "2 "
       "inclusive\n"},
      {[&] { return refused(SetDiscrete(a, CONTINUOUS)); },
       "5 3084 can't make node 'A' CONTINUOUS, because it is a DISCRETE node and has no levels defined\n"},
      {[&] { return refused(SetMeasure(a, 6)); },
       "5 3052 can't change the 'measure' indicator of node 'A' to 6, because measure numbers must be between 0 and 5 "
       "inclusive.\n"},
      {[&] { return refused(SetMeasure(real, LOCAL)); },
       "5 3055 can't change the 'measure' indicator of node 'R' to 1, because it is a CONTINUOUS node, and so its "
       "measure "
       "must be at least ORDINAL\n"},
      {[&] { return refused(SetNodeStateName_bn(b, 3, "x")); },
       "5 5106 SetNodeStateName_bn: Passed state (=3) for node 'B'" + bound},
      {[&] { return refused(SetNodeStateName_bn(b, -3, nullptr)); },
       "5 5106 SetNodeStateName_bn: Passed state (=-3) for node 'B'" + bound},
      {[&] { return refused(SetNodeStateName_bn(b, 1, "a-b")); },
       "5 3065 SetNodeStateName_bn: Can't change the name of state 1 of node B to 'a-b', because that 'a-b' contains "
       "the "
       "illegal character '-'\n"},
      {[&] { return refused(SetNodeStateName_bn(b, 1, "low")); },
       "5 2231 SetNodeStateName_bn: 'low' cannot be a state name, because it is already the name of state 0 of node "
       "'B'\n"},
      {[&] {
         const char* const names[] = {"x", nullptr, "x"};
         return refused(SetStateNames(b, names));
       },
       "5 3053 can't change the state names of node 'B', because new 'x' is used twice (by 0 and 2)\n"},
      {[&] { return refused(SetNodeLevels_bn(real, -1, levels)); },
       "5 5502 SetNodeLevels_bn: Argument 'numstates' passed for node 'R' is negative (= -1)\n"},
      {[&] { return refused(SetNodeLevels_bn(b, 4, levels)); },
       "5 5503 SetNodeLevels_bn: Trying to change the number of states of a discrete node ('B') from 3 to 4\n"},
      {[&] { return refused(SetNodeLevels_bn(real, 2, falling)); },
       "5 5520 SetNodeLevels_bn: Argument 'levels' passed for node 'R' has an entry (2) less than the one before it (1 "
       "< "
       "2)\n"},
      {[&] { return refused(SetNodeLevels_bn(b, 3, holes)); },
       "5 5519 SetNodeLevels_bn: Argument 'levels' passed for node 'B' has an entry (1) that is not a number\n"},
      {[&] { return refused(SetNodeLevels_bn(real, 2, nullptr)); },
       "5 3085 SetNodeLevels_bn: Can't make node 'R' have 2 states, because it is a continuous node and no "
       "discretizing "
       "range levels are defined\n"},
      {[&] { return refused(SetStatesAndLevels(real, -2, levels, nullptr)); },
       "5 3054 can't change the number of states of node 'R' to -2, because that is negative\n"},
      {[&] { return refused(SetStatesAndLevels(a, 0, levels, nullptr)); },
       "5 3064 the new number of states, 0, is too small for a DISCRETE node\n"},
      {[&] {
         const char* const names[] = {"one", "two words"};
         return refused(SetStatesAndLevels(real, 2, levels, names));
       },
       "5 3068 can't change the state names of node 'R', because new 'two words' contains a space\n"},
      {[&] { return refused(SetLinkName_bn(b, 2, "x")); },
       "5 5109 SetLinkName_bn: Passed parent_index (=2) for node 'B' is out of bounds (node has 2 parents, so it must "
       "be "
       "between 0 and 1 inclusive)\n"},
      {[&] { return refused(SetLinkName_bn(b, 1, "a b")); },
       "5 3070 SetLinkName_bn: Can't change the name of link 1 of node B to 'a b', because that 'a b' contains a "
       "space\n"},
      {[&] { return refused(SetLinkName_bn(b, 1, "cause")); },
       "5 2002 SetLinkName_bn: 'cause' cannot be a link name, because it is already the name of link 0 of node 'B'\n"},
      {[&] {
         const char* const names[] = {"x", "_"};
         return refused(SetLinkNames(b, names));
       },
       "5 3057 can't change the link names of node 'B', because new '_' starts with non-alphabetic character '_'\n"},
      {[&] { return refused(SetNodeUserData_bn(a, 3, nullptr)); },
       "5 5511 SetNodeUserData_bn: Argument 'kind' is 3, but currently it must be 0\n"},
  };
  const int sequence = UndoSequence(net.get());
  for (const Refusal& refusal : refusals) {
    SCOPED_TRACE(refusal.report);
    EXPECT_TRUE(refusal.call());
    EXPECT_EQ(Reports(), refusal.report);
    EXPECT_EQ(UndoSequence(net.get()), sequence);
  }
  EXPECT_EQ(NodeNamed_bn("A", net.get()), a);
  EXPECT_STREQ(GetNodeStateName_bn(b, 0), "low");
  EXPECT_STREQ(GetNodeStateName_bn(b, 1), "");
  EXPECT_EQ(GetNodeNumberStates_bn(real), 0);
  EXPECT_EQ(GetNodeLevel_bn(real, 0), UNDEF_DBL);
}

TEST_F(AttributesTest, GettersOfWhatIsNotThere) {
  const auto isError = [](const char* text) { return std::string(text) == "error"; };
  const Refusal refusals[] = {
      {[&] { return isError(GetNetName_bn(nullptr)); }, "5 5104 GetNetName_bn: NULL passed for net_bn\n"},
      {[&] { return isError(GetNodeTitle_bn(stub)); },
       "5 5138 GetNodeTitle_bn: Parent placeholder (disconnected) node passed for node_bn\n"},
      {[&] { return GetNodeNumberStates_bn(nullptr) == 1; },
       "5 5105 GetNodeNumberStates_bn: NULL passed for node_bn\n"},
      {[&] { return StateNamed_bn("high", b) == UNDEF_STATE; },
       "5 5202 StateNamed_bn: Node 'B' has no state named 'high'\n"},
      {[&] { return StateNamed_bn("", b) == UNDEF_STATE; }, "5 5142 StateNamed_bn: Empty string passed for name\n"},
      {[&] { return LinkNamed_bn("A", b) == -1; }, "5 5565 LinkNamed_bn: Node 'B' has no link entering it named 'A'\n"},
      {[&] { return GetNodeLevel_bn(b, 3) == undef_dbl_ns; },
       "5 5107 GetNodeLevel_bn: Passed levels index (=3) for node 'B' is out of bounds (discrete node has 3 states, so "
       "it must be between 0 and 2 inclusive)\n"},
      {[&] { return GetNodeLevel_bn(real, 1) == undef_dbl_ns; },
       "5 5108 GetNodeLevel_bn: Passed levels index (=1) for node 'R' is out of bounds (continuous node has 0 states, "
       "so "
       "it must be between 0 and 0 inclusive)\n"},
      {[&] { return !GetNetUserData_bn(net.get(), 1); },
       "5 5201 GetNetUserData_bn: Argument 'kind' is 1, but currently it must be 0\n"},
      {[&] { return !GetNodeUserData_bn(a, 2); },
       "5 5203 GetNodeUserData_bn: Argument 'kind' is 2, but currently it must be 0\n"},
      {[&] { return !NodeNamed_bn("Gone", net.get()); }, ""},
      {[&] { return !GetNetElimOrder_bn(net.get()); }, ""},
      {[&] { return GetNodeLevel_bn(b, 2) == undef_dbl_ns; }, ""},
  };
  for (const Refusal& refusal : refusals) {
    SCOPED_TRACE(refusal.report);
    EXPECT_TRUE(refusal.call());
    EXPECT_EQ(Reports(), refusal.report);
  }
  EXPECT_EQ(GetNodeNet_bn(stub), net.get());
  EXPECT_EQ(GetNodeNumberStates_bn(stub), 2);
  EXPECT_EQ(StateNamed_bn("low", b), 0);
}

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
  EXPECT_EQ(
      Reports(),
      "5 2002 SetLinkName_bn: 'Third' cannot be a link name, because it is already the name of link 2 of node 'B'\n");
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
  EXPECT_EQ(Reports(),
            "5 3086 SetNodeLevels_bn: Can't remove the levels of a CONTINUOUS node (R), when it still has states\n");
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
  const auto list = [&](std::initializer_list<node_bn> nodes) {
    nodelist_bn order = NewNodeList_bn(0, env);
    for (node_bn node : nodes) AddNodeToList_bn(node, order, LengthNodeList_bn(order));
    return order;
  };
  Net other(NewNet_bn("Other", env));
  node_bn foreign = NewNode_bn("F", 2, other.get());
  ASSERT_EQ(SetNodeKind_bn(real, ASSUME_NODE), 0);
  struct Case {
    nodelist_bn order;
    int answer;
    const char* report;
  };
  const Case cases[] = {
      {list({b}), -1,
       "5 5571 SetNetElimOrder_bn: Node list passed has only 1 of the nodes of net 'Test' (an elimination order needs "
       "'A' "
       "as well)\n"},
      {list({foreign}), -1,
       "5 5570 SetNetElimOrder_bn: Node list passed contains node 'F', which is not a node of net 'Test'\n"},
      {list({b, a, b}), -1, "5 5122 SetNetElimOrder_bn: Node list passed contains duplicate 'B'\n"},
      {list({b, real, a}), 0, ""},
      {list({b, a}), 1, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.report);
    EXPECT_EQ(SetNetElimOrder_bn(net.get(), c.order), c.answer);
    EXPECT_EQ(Reports(), c.report);
    EXPECT_EQ(GetNetElimOrder_bn(net.get()) != nullptr, c.answer >= 0);
    FreeNodeList_bn(c.order);
  }
  EXPECT_EQ(SetNetElimOrder_bn(net.get(), GetNodeParents_bn(b)), -1);
  EXPECT_EQ(Reports(),
            "5 5570 SetNetElimOrder_bn: Node list passed contains node 'Gone', which is not a node of net 'Test'\n");
  EXPECT_EQ(Nodes(GetNetElimOrder_bn(net.get())), (std::vector<node_bn>{b, a}));
  EXPECT_EQ(SetNodeKind_bn(real, NATURE_NODE), 0);
  EXPECT_EQ(GetNetElimOrder_bn(net.get()), nullptr) << "it would lack R now";
  UndoLastChange_bn(net.get());
  EXPECT_EQ(Nodes(GetNetElimOrder_bn(net.get())), (std::vector<node_bn>{b, a}));
}

}  // namespace
}  // namespace bravic::testing

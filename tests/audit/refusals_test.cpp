// Good handles with arguments that are out of range or do not fit: the number reported, the neutral answer, nothing
// changed, at each level of checking.
#include "Bn/model/Attributes.h"
#include "Bn/model/Levels.h"
#include "Bn/model/Parents.h"
#include "audit/bad_calls.h"
#include "support/rich_net.h"

namespace bravic::testing {
namespace {

using RefusalsTest = BadCallTest;

// A call that is refused.
struct Refusal {
  std::function<std::string()> call;
  const char* gist;  // of what it reports, without the danger
  const char* answer;
  int fromLevel = 24;
};

TEST_F(RefusalsTest, WhatIsOutOfRangeOrDoesNotFitIsRefused) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
  const int low = std::numeric_limits<int>::min(), high = std::numeric_limits<int>::max();
  const statetype wild[1] = {EVERY_STATE}, none[1] = {UNDEF_STATE}, never[1] = {IMPOS_STATE}, below[1] = {-9},
                  beyond[1] = {2};
  double half = 0.5, begin = 0;
  statetype found[8];
  const probtype negative[3] = {-0.5f, 1, 0.5f};
  const double falling[4] = {0, 2, 1, 3}, unordered[4] = {0, nan, 2, 3};
  const char* const twice[] = {"x", nullptr, "x"};
  const char* const spaced[] = {"one", "two words", nullptr};
  nodelist_bn nodes = GetNodeParents_bn(node);
  nodelist_bn list = NewNodeList_bn(1, env);
  SetNodeLevels_bn(real, 3, levels);
  node_bn childOfReal = New("child", 2), bare = New("bare", 0);
  AddLink_bn(bare, childOfReal);
  SetNetTitle_bn(net.get(), "the last change");
  look = Written(net);
  const Refusal refusals[] = {
      {[&] { return Say(GetNodeStateName_bn(node, 3)); }, "5106 GetNodeStateName_bn 3 node 0 2", "error"},
      {[&] { return Say(SetNodeStateName_bn(node, -1, "x")); }, "5106 SetNodeStateName_bn -1 node 0 2", "-1"},
      {[&] { return EnterFinding_bn(node, 3), ""; }, "5106 EnterFinding_bn 3 node 0 2", ""},
      {[&] { return EnterFindingNot_bn(node, low), ""; }, "5106 EnterFindingNot_bn -2147483648 node 0 2", ""},
      {[&] { return Say(GetNodeLevel_bn(node, 3)); }, "5107 GetNodeLevel_bn 3 node 3 0 2", "undefined"},
      {[&] { return Say(GetNodeLevel_bn(real, 4)); }, "5108 GetNodeLevel_bn 4 real 3 0 3", "undefined"},
      {[&] { return Say(DeleteLink_bn(1, node)); }, "5109 DeleteLink_bn 1 node 1 0 0", "-1"},
      {[&] { return SwitchNodeParent_bn(-1, node, cause), ""; }, "5109 SwitchNodeParent_bn -1 node 1 0 0", ""},
      {[&] { return Say(GetLinkName_bn(node, high)); }, "5109 GetLinkName_bn 2147483647 node 1 0 0", "error"},
      {[&] { return Say(SetLinkName_bn(cause, 0, "x")); }, "5109 SetLinkName_bn 0 cause 0 0 -1", "-1"},
      {[&] { return Say(GetNodeProbs_bn(node, nullptr)); }, "5112 GetNodeProbs_bn NULL node", "1"},
      {[&] { return Say(GetNodeExperience_bn(node, none)); }, "5125 GetNodeExperience_bn node -3 cause 0", "undefined",
       25},
      {[&] { return SetNodeProbs_bn(node, never, row), ""; }, "5127 SetNodeProbs_bn node -4 cause 0", "", 25},
      {[&] { return SetNodeExperience_bn(node, below, 1), ""; }, "5129 SetNodeExperience_bn node -9 cause 0", "", 25},
      {[&] { return SetNodeFuncValue_bn(node, beyond, 1), ""; }, "5131 SetNodeFuncValue_bn node 2 0 cause 2 0", "", 25},
      {[&] { return Say(GetNodeFuncValue_bn(node, wild)); }, "5136 GetNodeFuncValue_bn node -5 cause 0", "undefined",
       25},
      {[&] { return Say(GetNodeProbs_bn(node, wild)); }, "5136 GetNodeProbs_bn node -5 cause 0", "1", 25},
      {[&] { return SetNodeProbs_bn(node, states, nullptr), ""; }, "5113 SetNodeProbs_bn NULL", ""},
      {[&] { return SetNodeProbs_bn(node, states, negative), ""; }, "5133 SetNodeProbs_bn 1 node 1", "", 25},
      {[&] { return SetNodeProbs_bn(bare, states, row), ""; }, "5504 SetNodeProbs_bn bare", ""},
      {[&] { return SetNodeProbs_bn(childOfReal, states, row), ""; }, "5123 SetNodeProbs_bn child bare", "", 25},
      {[&] { return Say(GetNetUserData_bn(net.get(), 1)); }, "5201 GetNetUserData_bn kind 1 0", "NULL"},
      {[&] { return Say(StateNamed_bn("nowhere", node)); }, "5202 StateNamed_bn node nowhere", "-3"},
      {[&] { return Say(LinkNamed_bn("nowhere", node)); }, "5565 LinkNamed_bn node nowhere", "-1"},
      {[&] { return Say(GetNodeUserData_bn(node, -1)); }, "5203 GetNodeUserData_bn kind -1 0", "NULL"},
      {[&] { return Say(SetNetUserData_bn(net.get(), 2, &list)); }, "5500 SetNetUserData_bn kind 2 0", "-1"},
      {[&] { return Say(SetNodeUserData_bn(node, 2, &list)); }, "5511 SetNodeUserData_bn kind 2 0", "-1"},
      {[&] { return Say(NewNodeList_bn(-1, env)); }, "5204 NewNodeList_bn length 0", "NULL"},
      {[&] { return Say(AddNodeToList_bn(node, list, -1)); }, "5206 AddNodeToList_bn index 0 -1", "something"},
      {[&] { return Say(AddNodeToList_bn(node, list, 2)); }, "5207 AddNodeToList_bn index 2", "something"},
      {[&] { return Say(RemoveNthNode_bn(list, low)); }, "5209 RemoveNthNode_bn index 0 -2147483648", "NULL"},
      {[&] { return Say(RemoveNthNode_bn(list, 1)); }, "5210 RemoveNthNode_bn index 1", "NULL"},
      {[&] { return Say(NthNode_bn(list, -1)); }, "5211 NthNode_bn index 0 -1", "NULL"},
      {[&] { return Say(NthNode_bn(list, high)); }, "5212 NthNode_bn index 2147483647 1", "NULL"},
      {[&] { return Say(SetNthNode_bn(list, -1, node)); }, "5213 SetNthNode_bn index 0 -1", "-5213"},
      {[&] { return Say(SetNthNode_bn(list, 1, node)); }, "5214 SetNthNode_bn index 1", "-5214"},
      {[&] { return FreeNodeList_bn(nodes), ""; }, "5562 FreeNodeList_bn", ""},
      {[&] { return AbsorbNodes_bn(nodes), ""; }, "5562 AbsorbNodes_bn", "", 25},
      {[&] { return Say(SetNodeKind_bn(node, 6)); }, "5501 SetNodeKind_bn kind node 6 0 5", "-1"},
      {[&] { return Say(SetNodeKind_bn(node, DISCONNECT_NODE)); },
       "5505 SetNodeKind_bn kind node DISCONNECT_NODE SwitchNodeParent_bn DuplicateNodes_bn", "-1"},
      {[&] { return Say(SetNodeKind_bn(cause, UTILITY_NODE)); }, "3083 SetNodeKind_bn cause UTILITY CONTINUOUS", "-1"},
      {[&] { return Say(SetKind(cause, UNKNOWN_KIND)); }, "3050 cause 6 0 5", "-1"},
      {[&] { return Say(SetKind(cause, DISCONNECT_NODE)); }, "3056 cause DISCONNECTED", "-1"},
      {[&] { return Say(SetDiscrete(cause, 3)); }, "3051 discrete cause 3 0 2", "-1"},
      {[&] { return Say(SetDiscrete(cause, CONTINUOUS)); }, "3084 cause CONTINUOUS DISCRETE", "-1"},
      {[&] { return Say(SetMeasure(cause, 6)); }, "3052 measure cause 6 0 5", "-1"},
      {[&] { return Say(SetMeasure(real, LOCAL)); }, "3055 measure real 1 CONTINUOUS ORDINAL", "-1"},
      {[&] { return Say(SetNodeStateName_bn(node, 1, "low")); }, "2231 SetNodeStateName_bn low 0 node", "-1"},
      {[&] { return Say(SetStateNames(node, twice)); }, "3053 node x 0 2", "-1"},
      {[&] { return Say(SetStatesAndLevels(real, -2, levels, nullptr)); }, "3054 real -2", "-1"},
      {[&] { return Say(SetStatesAndLevels(cause, 0, levels, nullptr)); }, "3064 0 DISCRETE", "-1"},
      {[&] { return Say(SetStatesAndLevels(real, 3, levels, spaced)); }, "3068 real two words", "-1"},
      {[&] { return Say(SetLinkName_bn(orphan, 0, "two words")); }, "3070 SetLinkName_bn 0 two words two words", "-1"},
      {[&] { return Say(SetLinkNames(node, &spaced[1])); }, "3057 node two words", "-1"},
      {[&] { return Say(SetNodeLevels_bn(real, -1, levels)); }, "5502 SetNodeLevels_bn numstates real -1", "-1"},
      {[&] { return Say(SetNodeLevels_bn(node, 2, levels)); }, "5503 SetNodeLevels_bn node 3 2", "-1"},
      {[&] { return Say(SetNodeLevels_bn(real, 3, unordered)); }, "5519 SetNodeLevels_bn levels real 1", "-1"},
      {[&] { return Say(SetNodeLevels_bn(real, 3, falling)); }, "5520 SetNodeLevels_bn levels real 2 1 2", "-1"},
      {[&] { return Say(SetNodeLevels_bn(bare, 2, nullptr)); }, "3085 SetNodeLevels_bn bare 2", "-1"},
      {[&] { return Say(SetNodeLevels_bn(real, 3, nullptr)); }, "3086 SetNodeLevels_bn CONTINUOUS", "-1"},
      {[&] { return Say(NewNode_bn("x", -1, net.get())); }, "5513 NewNode_bn num_states -1 Test", "NULL"},
      {[&] { return Say(NewNode_bn("node", 2, net.get())); }, "5512 NewNode_bn node Test", "NULL", 25},
      {[&] { return Say(SetNodeName_bn(cause, "node")); }, "5512 SetNodeName_bn node Test", "-1"},
      {[&] { return Say(AddLink_bn(foreignNode, node)); }, "2016 AddLink_bn", "-1"},
      {[&] { return SwitchNodeParent_bn(0, node, foreignNode), ""; }, "2016 SwitchNodeParent_bn", ""},
      {[&] { return Say(ReverseLink_bn(foreignNode, node)); }, "2016 ReverseLink_bn", "-1"},
      {[&] { return EnterNodeLikelihood_bn(node, nullptr), ""; }, "5514 EnterNodeLikelihood_bn likelihood NULL", ""},
      {[&] { return EnterNodeValue_bn(node, 1), ""; }, "3317 EnterNodeValue_bn node", ""},
      {[&] { return EnterNodeValue_bn(real, 9), ""; }, "3309 EnterNodeValue_bn real 9 3", ""},
      {[&] { return Say(SetNetAutoUpdate_bn(net.get(), 2)); }, "3001 SetNetAutoUpdate_bn Test 2 0 1", "-1"},
      {[&] { return Say(SetNetFindMPE_bn(net.get(), -1)); }, "3001 SetNetFindMPE_bn Test -1 0 1", "-1"},
      {[&] { return Say(SetUndoDepth_bn(-2, net.get())); }, "5581 SetUndoDepth_bn depth -2 -1 0 2147483647", "-1"},
      {[&] { return SetNodeExperience_bn(node, states, -1), ""; }, "5506 SetNodeExperience_bn experience node -1", ""},
      {[&] { return SetNodeExperience_bn(bare, states, 1), ""; }, "2431 SetNodeExperience_bn bare", ""},
      {[&] { return SetNodeFuncValue_bn(node, states, 3.9), ""; }, "5508 SetNodeFuncValue_bn val 3 0 2 node 3", ""},
      {[&] { return SetNodeFuncValue_bn(node, states, -1e300), ""; },
       "5508 SetNodeFuncValue_bn val -2147483647 0 2 node 3", ""},
      {[&] { return SetNodeFuncValue_bn(real, states, nan), ""; }, "5507 SetNodeFuncValue_bn val real", ""},
      {[&] { return Say(WriteCase_bn(nodes, file, -2, 1)); }, "5522 WriteCase_bn ID_num -1 -2", "-1"},
      {[&] { return Say(WriteCase_bn(nodes, file, 1, -0.5)); }, "5523 WriteCase_bn freq 0 -0.5", "-1"},
      {[&] { return Say(ReadCaseStates_bn(file, nodes, nullptr, 1, found, 0, 0)); }, "2490 ReadCaseStates_bn NULL",
       "-1"},
      {[&] { return Say(ReadCaseStates_bn(file, nodes, &half, 1, found, 0, 0)); },
       "2488 ReadCaseStates_bn *position 0.5", "-1"},
      {[&] { return Say(ReadCaseStates_bn(file, nodes, &begin, -1, found, 0, 0)); },
       "2489 ReadCaseStates_bn maxcases 0 -1", "-1"},
      {[&] { return Say(ReadCaseStates_bn(file, nodes, &begin, 1, nullptr, 0, 0)); }, "2491 ReadCaseStates_bn NULL 1",
       "-1"},
      {[&] { return CaseRevisesProbs_bn(nodes, 1, 1), ""; }, "5540 CaseRevisesProbs_bn updating 0 1", ""},
      {[&] { return CaseRevisesProbs_bn(nodes, 0, inf), ""; }, "5545 CaseRevisesProbs_bn degree", ""},
      {[&] { return CaseFileRevisesProbs_bn(file, nodes, 2, 1), ""; }, "5539 CaseFileRevisesProbs_bn updating 0 2", ""},
      {[&] { return FadeProbs_bn(node, 1.5), ""; }, "5516 FadeProbs_bn degree 1.5 0 1", ""},
      {[&] { return FadeProbs_bn(node, -0.5), ""; }, "5516 FadeProbs_bn degree -0.5 0 1", ""},
      {[&] { return FadeProbs_bn(orphan, 0.5), ""; }, "5518 FadeProbs_bn orphan", ""},
      {[&] { return Say(RandomCase_bn(nodes, 1, 5)); }, "5541 RandomCase_bn method 0 1", "-1"},
      {[&] { return Say(GenerateCases_bn(nodes, -1, file, 1, 1, 0)); }, "5546 GenerateCases_bn numcases 0 -1", "-1"},
      {[&] { return Say(GenerateCases_bn(nodes, 1, file, 1, -1, 0)); }, "5547 GenerateCases_bn freq 0 -1", "-1"},
      {[&] { return Say(GetError_ns(env, 7, nullptr)); }, "5534 GetError_ns danger 7 0 6", "NULL"},
      {[&] { return ClearErrors_ns(env, -1), ""; }, "5535 ClearErrors_ns danger -1 0 6", ""},
      {[&] { return Say(ReportError_ns(env, 1000, 5, "x")); }, "5563 ReportError_ns number 1000 0 999", "NULL"},
      {[&] { return Say(ReportError_ns(env, -1, 9, "x")); }, "5563 ReportError_ns number -1 0 999", "NULL"},
      {[&] { return Say(ReportError_ns(env, 999, 7, "x")); }, "5563 ReportError_ns danger 7 0 6", "NULL"},
      {[&] { return Say(HasGUI_ns(2, env)); }, "5530 HasGUI_ns setting 2 -1 0 1", "-1"},
      {[&] { return Say(ArgumentChecking_ns(27, env)); }, "5529 ArgumentChecking_ns setting 27 -1 23 26", "-1"},
      {[&] { return Say(ShowProgress_ns(-2, env)); }, "5533 ShowProgress_ns setting -2 -1 0 1", "-1"},
      {[&] { return Say(HaltOnInterrupt_ns(2, env)); }, "2452 HaltOnInterrupt_ns setting 2 -1 0 1", "-1"},
      {[&] { return Say(SetThreads_ns(-2, env)); }, "2453 SetThreads_ns numthreads -2 -1 0 256", "-1"},
      {[&] { return Say(FileNamed_ns("", env)); }, "5537 FileNamed_ns", "NULL"},
      {[&] { return Say(FileNamed_ns(nullptr, env)); }, "5537 FileNamed_ns", "NULL"},
  };
  AtEachLevel([&](int level) {
    for (const Refusal& refusal : refusals) {
      if (level >= refusal.fromLevel) Expect(refusal.call, refusal.gist, refusal.answer);
    }
  });
  FreeNodeList_bn(list);
  UndoLastChange_bn(net.get());
  EXPECT_STREQ(GetNetTitle_bn(net.get()), "") << "a refused call was recorded";
}

// Where a name is checked by the setter beneath, the setter's own number says what is wrong with it.
TEST_F(RefusalsTest, BadNamesAreReported) {
  const struct {
    std::function<std::string(const char*)> call;
    const char *name, *number, *answer;
  } rows[] = {
      {[&](const char* it) { return Say(NewNet_bn(it, env)); }, "NewNet_bn", "5118", "NULL"},
      {[&](const char* it) { return Say(NewNode_bn(it, 2, net.get())); }, "NewNode_bn", "5118", "NULL"},
      {[&](const char* it) { return Say(NodeNamed_bn(it, net.get())); }, "NodeNamed_bn", "5118", "NULL"},
      {[&](const char* it) { return Say(StateNamed_bn(it, node)); }, "StateNamed_bn", "5118", "-3"},
      {[&](const char* it) { return Say(LinkNamed_bn(it, node)); }, "LinkNamed_bn", "5118", "-1"},
      {[&](const char* it) { return Say(SetNetName_bn(net.get(), it)); }, "SetNetName_bn", "3002", "-1"},
      {[&](const char* it) { return Say(SetNodeName_bn(node, it)); }, "SetNodeName_bn", "3063", "-1"},
      {[&](const char* it) { return Say(SetNodeStateName_bn(node, 0, it)); }, "SetNodeStateName_bn", "3065", "-1"},
      {[&](const char* it) { return Say(SetLinkName_bn(node, 0, it)); }, "SetLinkName_bn", "3070", "-1"},
  };
  AtEachLevel([&](int) {
    for (const auto& row : rows) {
      const std::string name = row.name;
      // A new node without a name is given one.
      if (name != "NewNode_bn") Expect([&] { return row.call(nullptr); }, "5114 " + name + " NULL", row.answer);
      Expect([&] { return row.call(""); }, "5142 " + name, row.answer);
      for (const char* bad : {"two words", "9lives", "_x", "dash-ed", "a234567890123456789012345678901"}) {
        EXPECT_EQ(row.call(bad), row.answer) << name;
        const std::string reports = Reports();
        EXPECT_EQ(reports.find("5 " + (row.number + (" " + name)) + ":"), 0u) << reports;
        EXPECT_EQ(std::count(reports.begin(), reports.end(), '\n'), 1) << reports;
      }
    }
  });
}

// Removals that the exported functions do not ask for.
TEST_F(RefusalsTest, NodesThatCannotBeRemovedStay) {
  const struct {
    std::vector<node_bn> nodes, stubs;
    int number;
    const char* reason;
  } rows[] = {
      {{cause}, {}, -3204, "node 'cause' to be removed has child 'node' which is not being removed"},
      {{cause, node, foreignNode}, {}, -3205, "trying to remove nodes that aren't in the net"},
      {{}, {node}, -3206, "trying to remove stubs that aren't in the net"},
  };
  for (const auto& row : rows) {
    Failure failure = RemoveNodesFromNet(net.get(), row.nodes, row.stubs);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->number, row.number);
    EXPECT_EQ(failure->mesg, std::string("Couldn't remove nodes from net 'Test', because ") + row.reason);
  }
  EXPECT_EQ(Written(net), look);
}

// A link from a node to itself is a cycle like any other; turning it leaves a sound net.
TEST_F(RefusalsTest, ANodeAsItsOwnParentHarmsNothing) {
  AddLink_bn(cause, cause);
  ReverseLink_bn(cause, cause);
  SwitchNodeParent_bn(0, node, node);
  CompileNet_bn(net.get());
  ArgumentChecking_ns(26, env);
  Reports();
  for (node_bn each : Nodes(net)) GetNodeName_bn(each);
}

// Sound objects of every form pass the deep checks.
TEST_F(RefusalsTest, SoundObjectsPassTheDeepChecks) {
  ArgumentChecking_ns(26, env);
  Random random(20);
  for (int i = 0; i < 30; ++i) {
    Net rich = RandomRichNet(env, random);
    Reports();
    GetNetName_bn(rich.get());
    for (node_bn each : Nodes(rich)) GetNodeName_bn(each), GetNodeFinding_bn(each);
    FreeNodeList_bn(DupNodeList_bn(GetNetNodes_bn(rich.get())));
    const std::string reports = Reports(5);
    EXPECT_EQ(reports.find(" 23"), std::string::npos) << reports;
  }
}

}  // namespace
}  // namespace bravic::testing

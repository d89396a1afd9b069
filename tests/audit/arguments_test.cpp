// Every exported function with every kind of bad argument: the number reported, the neutral answer, nothing changed,
// no memory kept and no name of a running function left behind, at each level of checking.
#include <functional>
#include <limits>
#include <set>
#include <sstream>

#include "Basic/Environ.h"
#include "Basic/Memory.h"
#include "Bn/model/Attributes.h"
#include "Bn/model/Levels.h"
#include "Bn/model/Parents.h"
#include "Win_Face/Interaction.h"
#include "support/net_fixture.h"
#include "support/rich_net.h"

namespace bravic::testing {
namespace {

std::string Say(const char* text) {
  return text;
}
std::string Say(double number) {
  return number == undef_dbl_ns ? "undefined" : (std::ostringstream() << number).str();
}
std::string Say(int number) {
  return std::to_string(number);
}
std::string Say(long number) {
  return std::to_string(number);
}
std::string Say(const void* handle) {
  return handle ? "something" : "NULL";
}
std::string Say(const probtype* vector) {
  return vector ? Say(double{vector[0]}) : "NULL";
}

std::string SayAndFree(nodelist_bn list) {
  const std::string said = Say(list);
  if (list) FreeNodeList_bn(list);
  return said;
}

// A call with one argument left open, what it answers when that argument is bad, and what it makes of special ones.
enum Special : unsigned { NOTHING = 0, TAKES_NULL = 1, TAKES_STUB = 2, TAKES_EMPTY_ENTRIES = 4, TAKES_TWINS = 8 };
template <class T>
struct OpenCall {
  const char* name;
  std::function<std::string(T)> call;
  const char* answer;
  unsigned takes = NOTHING;
};

// A call that is refused.
struct Refusal {
  std::function<std::string()> call;
  const char* gist;  // of what it reports, without the danger
  const char* answer;
  int fromLevel = 24;
};

class ArgumentsTest : public NetTest {
 protected:
  void SetUp() override {
    NetTest::SetUp();
    other.reset(NewNet_bn("Other", env));
    cause = AddNode(net, "cause", {"yes", "no"}, {}, {0.25f, 0.75f});
    node = AddNode(net, "node", {"low", "mid", "high"}, {"cause"}, {0.5f, 0.25f, 0.25f, 0, 0.5f, 0.5f});
    orphan = AddNode(net, "orphan", {"on", "off"}, {});
    node_bn lost = AddNode(net, "lost", {"a", "b"});
    AddLink_bn(lost, orphan);
    DeleteNode_bn(lost);  // kept for undo
    stub = NthNode_bn(GetNodeParents_bn(orphan), 0);
    real = New("real", 0);
    deleted = New("gone");
    DeleteNode_bn(deleted);
    foreignNode = NewNode_bn("foreign", 2, other.get());
    file = FileNamed_ns(directory.Path("file.cas").c_str(), env);
    CompileNet_bn(net.get());  // refused: the orphan
    Reports();
    look = Written(net);
  }
  void TearDown() override {
    ArgumentChecking_ns(25, env);
    FreeFileSpec_ns(file);
    other.reset();
    NetTest::TearDown();
  }

  // Runs the call; it must report just that, answer that, and leave no trace.
  void Expect(const std::function<std::string()>& call, const std::string& gist, const std::string& answer) {
    SCOPED_TRACE(gist);
    const std::size_t used = MemoryUsed();
    EXPECT_EQ(call(), answer);
    EXPECT_EQ(currentFunction, nullptr);
    currentFunction = nullptr;
    EXPECT_EQ(Gist(1), gist.empty() ? "" : "5 " + gist);
    EXPECT_EQ(MemoryUsed(), used);
  }

  // fault: the number and the gist of the text, between which the function's name belongs.
  template <class T>
  void ExpectAll(const std::vector<OpenCall<T>>& calls, T bad, const char* fault, unsigned accepted = NOTHING) {
    for (const OpenCall<T>& call : calls) {
      if (call.takes & accepted) continue;
      constexpr int NUMBER_LEN = 4;
      const std::string gist = std::string(fault, NUMBER_LEN) + " " + call.name + (fault + NUMBER_LEN);
      Expect([&] { return call.call(bad); }, gist, call.answer);
    }
  }

  std::vector<OpenCall<net_bn>> NetCalls();
  std::vector<OpenCall<node_bn>> NodeCalls();
  std::vector<OpenCall<nodelist_bn>> ListCalls();
  std::vector<OpenCall<filespec_ns>> FileCalls();
  std::vector<OpenCall<report_ns>> ReportCalls();
  std::vector<OpenCall<environ_ns>> EnvironmentCalls();

  void AtEachLevel(const std::function<void(int level)>& check) {
    for (int level : {24, 25, 26}) {
      ArgumentChecking_ns(level, env);
      check(level);
    }
    ArgumentChecking_ns(25, env);
    EXPECT_EQ(Written(net), look);
  }

  Net other;
  node_bn cause, node, orphan, stub, real, deleted, foreignNode;
  filespec_ns file;
  std::string look;
  long position = FIRST_CASE;
  const probtype row[3] = {0.5f, 0.25f, 0.25f};
  const double levels[4] = {0, 1, 2, 3};
  const statetype states[2] = {0, 0};
};

std::vector<OpenCall<net_bn>> ArgumentsTest::NetCalls() {
  return {
      {"NewNode_bn", [](net_bn it) { return Say(NewNode_bn("x", 2, it)); }, "NULL"},
      {"FreeNet_bn", [](net_bn it) { return FreeNet_bn(it), ""; }, "", TAKES_NULL},
      {"GetNetName_bn", [](net_bn it) { return Say(GetNetName_bn(it)); }, "error"},
      {"GetNetNodes_bn", [](net_bn it) { return Say(GetNetNodes_bn(it)); }, "NULL"},
      {"NodeNamed_bn", [](net_bn it) { return Say(NodeNamed_bn("x", it)); }, "NULL"},
      {"GetNetAutoUpdate_bn", [](net_bn it) { return Say(GetNetAutoUpdate_bn(it)); }, "0"},
      {"GetNetElimOrder_bn", [](net_bn it) { return Say(GetNetElimOrder_bn(it)); }, "NULL"},
      {"GetNetTitle_bn", [](net_bn it) { return Say(GetNetTitle_bn(it)); }, "error"},
      {"GetNetComment_bn", [](net_bn it) { return Say(GetNetComment_bn(it)); }, "error"},
      {"GetNetUserData_bn", [](net_bn it) { return Say(GetNetUserData_bn(it, 0)); }, "NULL"},
      {"SetNetName_bn", [](net_bn it) { return Say(SetNetName_bn(it, "x")); }, "-1"},
      {"SetNetAutoUpdate_bn", [](net_bn it) { return Say(SetNetAutoUpdate_bn(it, 1)); }, "-1"},
      {"SetNetElimOrder_bn", [](net_bn it) { return Say(SetNetElimOrder_bn(it, nullptr)); }, "-1"},
      {"SetNetTitle_bn", [](net_bn it) { return Say(SetNetTitle_bn(it, "x")); }, "-1"},
      {"SetNetComment_bn", [](net_bn it) { return Say(SetNetComment_bn(it, "x")); }, "-1"},
      {"SetNetUserData_bn", [](net_bn it) { return Say(SetNetUserData_bn(it, 0, nullptr)); }, "-1"},
      {"CompileNet_bn", [](net_bn it) { return CompileNet_bn(it), ""; }, ""},
      {"RetractAllFindings_bn", [](net_bn it) { return RetractAllFindings_bn(it), ""; }, ""},
      {"CaseProbability_bn", [](net_bn it) { return Say(CaseProbability_bn(it)); }, "-1"},
      {"CaseLogProbability_bn", [](net_bn it) { return Say(CaseLogProbability_bn(it)); }, "undefined"},
      {"WriteNet_bn", [this](net_bn it) { return WriteNet_bn(it, file), ""; }, ""},
      {"JunctionTreeReport_bn", [](net_bn it) { return Say(JunctionTreeReport_bn(it)); }, "error"},
      {"SetNetFindMPE_bn", [](net_bn it) { return Say(SetNetFindMPE_bn(it, 1)); }, "-1"},
      {"FindElimOrder_bn", [](net_bn it) { return Say(FindElimOrder_bn(it, 0)); }, "-1"},
      {"GetExpectedUtility_bn", [](net_bn it) { return Say(GetExpectedUtility_bn(it)); }, "undefined"},
      {"UndoLastChange_bn", [](net_bn it) { return Say(UndoLastChange_bn(it)); }, "-1"},
      {"RedoLastChange_bn", [](net_bn it) { return Say(RedoLastChange_bn(it)); }, "-1"},
      {"SetUndoDepth_bn", [](net_bn it) { return Say(SetUndoDepth_bn(5, it)); }, "-1"},
  };
}

std::vector<OpenCall<node_bn>> ArgumentsTest::NodeCalls() {
  return {
      {"DeleteNode_bn", [](node_bn it) { return DeleteNode_bn(it), ""; }, ""},
      {"AddLink_bn", [this](node_bn it) { return Say(AddLink_bn(it, node)); }, "-1"},
      {"AddLink_bn", [this](node_bn it) { return Say(AddLink_bn(cause, it)); }, "-1"},
      {"DeleteLink_bn", [](node_bn it) { return Say(DeleteLink_bn(0, it)); }, "-1"},
      {"SwitchNodeParent_bn", [this](node_bn it) { return SwitchNodeParent_bn(0, it, cause), ""; }, ""},
      {"SwitchNodeParent_bn", [this](node_bn it) { return SwitchNodeParent_bn(0, node, it), ""; }, ""},
      {"GetNodeNet_bn", [](node_bn it) { return Say(GetNodeNet_bn(it)); }, "NULL", TAKES_STUB},
      {"GetNodeName_bn", [](node_bn it) { return Say(GetNodeName_bn(it)); }, "error", TAKES_STUB},
      {"GetNodeKind_bn", [](node_bn it) { return Say(GetNodeKind_bn(it)); }, "6", TAKES_STUB},
      {"GetNodeDiscrete_bn", [](node_bn it) { return Say(GetNodeDiscrete_bn(it)); }, "0", TAKES_STUB},
      {"GetNodeNumberStates_bn", [](node_bn it) { return Say(GetNodeNumberStates_bn(it)); }, "1", TAKES_STUB},
      {"GetNodeStateName_bn", [](node_bn it) { return Say(GetNodeStateName_bn(it, 0)); }, "error", TAKES_STUB},
      {"StateNamed_bn", [](node_bn it) { return Say(StateNamed_bn("a", it)); }, "-3", TAKES_STUB},
      {"GetNodeLevel_bn", [](node_bn it) { return Say(GetNodeLevel_bn(it, 0)); }, "undefined", TAKES_STUB},
      {"GetNodeParents_bn", [](node_bn it) { return Say(GetNodeParents_bn(it)); }, "NULL"},
      {"GetNodeChildren_bn", [](node_bn it) { return Say(GetNodeChildren_bn(it)); }, "NULL"},
      {"GetLinkName_bn", [](node_bn it) { return Say(GetLinkName_bn(it, 0)); }, "error"},
      {"LinkNamed_bn", [](node_bn it) { return Say(LinkNamed_bn("a", it)); }, "-1"},
      {"HasRelation_bn", [](node_bn it) { return Say(HasRelation_bn(it)); }, "0"},
      {"GetNodeTitle_bn", [](node_bn it) { return Say(GetNodeTitle_bn(it)); }, "error"},
      {"GetNodeComment_bn", [](node_bn it) { return Say(GetNodeComment_bn(it)); }, "error"},
      {"GetNodeUserData_bn", [](node_bn it) { return Say(GetNodeUserData_bn(it, 0)); }, "NULL"},
      {"SetNodeName_bn", [](node_bn it) { return Say(SetNodeName_bn(it, "x")); }, "-1"},
      {"SetNodeKind_bn", [](node_bn it) { return Say(SetNodeKind_bn(it, DECISION_NODE)); }, "-1"},
      {"SetNodeStateName_bn", [](node_bn it) { return Say(SetNodeStateName_bn(it, 0, "x")); }, "-1"},
      {"SetNodeLevels_bn", [this](node_bn it) { return Say(SetNodeLevels_bn(it, 3, levels)); }, "-1"},
      {"SetLinkName_bn", [](node_bn it) { return Say(SetLinkName_bn(it, 0, "x")); }, "-1"},
      {"SetNodeTitle_bn", [](node_bn it) { return Say(SetNodeTitle_bn(it, "x")); }, "-1"},
      {"SetNodeComment_bn", [](node_bn it) { return Say(SetNodeComment_bn(it, "x")); }, "-1"},
      {"SetNodeUserData_bn", [](node_bn it) { return Say(SetNodeUserData_bn(it, 0, nullptr)); }, "-1"},
      {"SetNodeProbs_bn", [this](node_bn it) { return SetNodeProbs_bn(it, states, row), ""; }, ""},
      {"GetNodeProbs_bn", [this](node_bn it) { return Say(GetNodeProbs_bn(it, states)); }, "1"},
      {"SetNodeExperience_bn", [this](node_bn it) { return SetNodeExperience_bn(it, states, 1), ""; }, ""},
      {"GetNodeExperience_bn", [this](node_bn it) { return Say(GetNodeExperience_bn(it, states)); }, "undefined"},
      {"SetNodeFuncValue_bn", [this](node_bn it) { return SetNodeFuncValue_bn(it, states, 1), ""; }, ""},
      {"GetNodeFuncValue_bn", [this](node_bn it) { return Say(GetNodeFuncValue_bn(it, states)); }, "undefined"},
      {"DeleteNodeRelation_bn", [](node_bn it) { return DeleteNodeRelation_bn(it), ""; }, ""},
      {"IsNodeDeterministic_bn", [](node_bn it) { return Say(IsNodeDeterministic_bn(it)); }, "0"},
      {"EnterFinding_bn", [](node_bn it) { return EnterFinding_bn(it, 0), ""; }, ""},
      {"EnterFindingNot_bn", [](node_bn it) { return EnterFindingNot_bn(it, 0), ""; }, ""},
      {"EnterNodeLikelihood_bn", [this](node_bn it) { return EnterNodeLikelihood_bn(it, row), ""; }, ""},
      {"EnterNodeValue_bn", [](node_bn it) { return EnterNodeValue_bn(it, 1), ""; }, ""},
      {"GetNodeFinding_bn", [](node_bn it) { return Say(GetNodeFinding_bn(it)); }, "-8"},
      {"GetNodeLikelihood_bn", [](node_bn it) { return Say(GetNodeLikelihood_bn(it)); }, "1"},
      {"GetNodeValue_bn", [](node_bn it) { return Say(GetNodeValue_bn(it)); }, "undefined"},
      {"RetractNodeFindings_bn", [](node_bn it) { return RetractNodeFindings_bn(it), ""; }, ""},
      {"GetNodeBeliefs_bn", [](node_bn it) { return Say(GetNodeBeliefs_bn(it)); }, "1"},
      {"IsBeliefUpdated_bn", [](node_bn it) { return Say(IsBeliefUpdated_bn(it)); }, "0"},
      {"FadeProbs_bn", [](node_bn it) { return FadeProbs_bn(it, 0.5), ""; }, ""},
      {"ReverseLink_bn", [this](node_bn it) { return Say(ReverseLink_bn(it, node)); }, "-1"},
      {"ReverseLink_bn", [this](node_bn it) { return Say(ReverseLink_bn(cause, it)); }, "-1"},
      {"GetNodeMostProbable_bn", [](node_bn it) { return Say(GetNodeMostProbable_bn(it)); }, "-3"},
  };
}

std::vector<OpenCall<nodelist_bn>> ArgumentsTest::ListCalls() {
  const unsigned any = TAKES_EMPTY_ENTRIES | TAKES_TWINS;
  return {
      {"DuplicateNodes_bn", [this](nodelist_bn it) { return SayAndFree(DuplicateNodes_bn(it, other.get())); }, "NULL"},
      {"SetNetElimOrder_bn", [this](nodelist_bn it) { return Say(SetNetElimOrder_bn(net.get(), it)); }, "-1"},
      {"RemoveNthNode_bn", [](nodelist_bn it) { return Say(RemoveNthNode_bn(it, 0)); }, "NULL", any},
      {"LengthNodeList_bn", [](nodelist_bn it) { return Say(LengthNodeList_bn(it)); }, "-1", TAKES_NULL | any},
      {"NthNode_bn", [](nodelist_bn it) { return Say(NthNode_bn(it, 0)); }, "NULL", any},
      {"DupNodeList_bn", [](nodelist_bn it) { return SayAndFree(DupNodeList_bn(it)); }, "NULL", TAKES_NULL | any},
      {"WriteCase_bn", [this](nodelist_bn it) { return Say(WriteCase_bn(it, file, 1, 1)); }, "-1"},
      {"ReadCase_bn", [this](nodelist_bn it) { return ReadCase_bn(&position, file, it, nullptr, nullptr), ""; }, "",
       TAKES_NULL},
      {"CaseRevisesProbs_bn", [](nodelist_bn it) { return CaseRevisesProbs_bn(it, 0, 1), ""; }, ""},
      {"CaseFileRevisesProbs_bn", [this](nodelist_bn it) { return CaseFileRevisesProbs_bn(file, it, 0, 1), ""; }, ""},
      {"RandomCase_bn", [](nodelist_bn it) { return Say(RandomCase_bn(it, 0, 10)); }, "-1"},
      {"GenerateCases_bn", [this](nodelist_bn it) { return Say(GenerateCases_bn(it, 2, file, 1, 1, 0)); }, "-1"},
      {"OptimizeDecisions_bn", [](nodelist_bn it) { return Say(OptimizeDecisions_bn(it)); }, "-1", TAKES_TWINS},
  };
}

std::vector<OpenCall<filespec_ns>> ArgumentsTest::FileCalls() {
  static const nodelist_bn noList = nullptr;
  nodelist_bn nodes = GetNodeParents_bn(node);
  return {
      {"WriteNet_bn", [this](filespec_ns it) { return WriteNet_bn(net.get(), it), ""; }, ""},
      {"ReadNet_bn", [](filespec_ns it) { return Say(ReadNet_bn(it, 0)); }, "NULL"},
      {"WriteCase_bn", [nodes](filespec_ns it) { return Say(WriteCase_bn(nodes, it, 1, 1)); }, "-1"},
      {"ReadCase_bn", [this](filespec_ns it) { return ReadCase_bn(&position, it, noList, nullptr, nullptr), ""; }, ""},
      {"CaseFileRevisesProbs_bn", [nodes](filespec_ns it) { return CaseFileRevisesProbs_bn(it, nodes, 0, 1), ""; }, ""},
      {"GenerateCases_bn", [nodes](filespec_ns it) { return Say(GenerateCases_bn(nodes, 2, it, 1, 1, 0)); }, "-1"},
      {"FreeFileSpec_ns", [](filespec_ns it) { return FreeFileSpec_ns(it), ""; }, "", TAKES_NULL},
  };
}

std::vector<OpenCall<report_ns>> ArgumentsTest::ReportCalls() {
  return {
      {"GetError_ns", [this](report_ns it) { return Say(GetError_ns(env, 0, it)); }, "NULL"},
      {"ClearError_ns", [](report_ns it) { return ClearError_ns(it), ""; }, ""},
      {"ErrorNumber_ns", [](report_ns it) { return Say(ErrorNumber_ns(it)); }, "0"},
      {"ErrorMessage_ns", [](report_ns it) { return Say(ErrorMessage_ns(it)); }, "error"},
      {"ErrorDanger_ns", [](report_ns it) { return Say(ErrorDanger_ns(it)); }, "1"},
  };
}

std::vector<OpenCall<environ_ns>> ArgumentsTest::EnvironmentCalls() {
  return {
      {"GetError_ns", [](environ_ns it) { return Say(GetError_ns(it, 0, nullptr)); }, "NULL"},
      {"ClearErrors_ns", [](environ_ns it) { return ClearErrors_ns(it, 6), ""; }, ""},
      {"ReportError_ns", [](environ_ns it) { return Say(ReportError_ns(it, 1, 5, "x")); }, "NULL"},
      {"FileNamed_ns", [](environ_ns it) { return Say(FileNamed_ns("x", it)); }, "NULL"},
      {"NewNet_bn", [](environ_ns it) { return Say(NewNet_bn("x", it)); }, "NULL"},
      {"NewNodeList_bn", [](environ_ns it) { return Say(NewNodeList_bn(1, it)); }, "NULL"},
      {"SeedRandom_ns", [](environ_ns it) { return Say(SeedRandom_ns(1, it)); }, "-1"},
      {"SetProgressCallback_ns", [](environ_ns it) { return SetProgressCallback_ns(nullptr, nullptr, it), ""; }, ""},
  };
}
alignas(16) unsigned char foreign[2048] = {27};  // the tag of a window, and nothing else

TEST_F(ArgumentsTest, BadNetsAreReported) {
  AtEachLevel([&](int) {
    ExpectAll<net_bn>(NetCalls(), nullptr, "5104 NULL net_bn", TAKES_NULL);
    net_bn freed = NewNet_bn("freed", env);
    FreeNet_bn(freed);
    for (void* bad : {static_cast<void*>(foreign), static_cast<void*>(node), static_cast<void*>(freed)}) {
      ExpectAll(NetCalls(), static_cast<net_bn>(bad), "5143 net_bn");
    }
  });
}

TEST_F(ArgumentsTest, BadNodesAreReported) {
  AtEachLevel([&](int) {
    ExpectAll<node_bn>(NodeCalls(), nullptr, "5105 NULL node_bn");
    for (void* bad : {static_cast<void*>(foreign), static_cast<void*>(net.get()), static_cast<void*>(deleted)}) {
      ExpectAll(NodeCalls(), static_cast<node_bn>(bad), "5144 node_bn");
    }
    ExpectAll(NodeCalls(), stub, "5138 node_bn", TAKES_STUB);
    nodelist_bn list = NewNodeList_bn(0, env);
    const std::string code = Say(reinterpret_cast<void*>(-5138));
    Expect([&] { return Say(AddNodeToList_bn(stub, list, 0)); }, "5138 AddNodeToList_bn node_bn", code);
    Expect([&] { return Say(AddNodeToList_bn(reinterpret_cast<node_bn>(foreign), list, 0)); },
           "5144 AddNodeToList_bn node_bn", code);
    FreeNodeList_bn(list);
  });
}

TEST_F(ArgumentsTest, BadListsAreReported) {
  nodelist_bn empty = List({node, nullptr}), twins = List({node, node}), mixed = List({node, foreignNode}),
              damaged = List({node, reinterpret_cast<node_bn>(foreign)}), negative = NewNodeList_bn(1, env);
  negative->num = -7;
  nodelist_bn freed = NewNodeList_bn(1, env);
  FreeNodeList_bn(freed);
  void* const wrong[] = {foreign, net.get(), node, file, env, freed, &deleted->succs};
  AtEachLevel([&](int level) {
    ExpectAll<nodelist_bn>(ListCalls(), nullptr, "5110 NULL nodelist_bn", TAKES_NULL);
    for (void* bad : wrong) {
      nodelist_bn list = static_cast<nodelist_bn>(bad);
      ExpectAll(ListCalls(), list, "5110 NULL nodelist_bn");
      Expect([&] { return AbsorbNodes_bn(list), ""; }, "5110 AbsorbNodes_bn NULL nodelist_bn", "");
      const bool isOther = bad == net.get() || bad == node || bad == file || bad == env;
      Expect([&] { return FreeNodeList_bn(list), ""; },
             isOther ? "5110 FreeNodeList_bn NULL nodelist_bn" : "5562 FreeNodeList_bn", "");
    }
    Expect([&] { return Say(RemoveNthNode_bn(GetNodeParents_bn(node), 0)); },
           "2410 RemoveNthNode_bn node DupNodeList_bn", "NULL");
    Expect([&] { return Say(SetNthNode_bn(GetNodeChildren_bn(cause), 0, node)); },
           "2410 SetNthNode_bn cause DupNodeList_bn", "-2410");
    Expect([&] { return Say(AddNodeToList_bn(node, GetNetNodes_bn(net.get()), 0)); },
           "2410 AddNodeToList_bn Test DupNodeList_bn", "something");
    if (level < 25) return;
    ExpectAll(ListCalls(), negative, "5119 -7");
    ExpectAll(ListCalls(), empty, "5120 NULL 1", TAKES_EMPTY_ENTRIES);
    ExpectAll(ListCalls(), damaged, "5145");
    ExpectAll(ListCalls(), mixed, "5121 2 Test Other");
    ExpectAll(ListCalls(), twins, "5122 node", TAKES_TWINS);
  });
  negative->num = 1;
  for (nodelist_bn list : {empty, twins, mixed, negative}) FreeNodeList_bn(list);
  AbsorbNodes_bn(damaged);  // consumed all the same
  EXPECT_EQ(Gist(), "5 5145 AbsorbNodes_bn");
  AbsorbNodes_bn(nullptr);
  EXPECT_EQ(Gist(), "5 5110 AbsorbNodes_bn NULL nodelist_bn");
}

long clockNow = 0;

// Good arguments: what is refused is the moment. The error functions alone work.
TEST_F(ArgumentsTest, CallsFromAProgressCallbackAreRefused) {
  nodelist_bn list = List({cause, node});
  const auto fileCalls = FileCalls();
  char text[MESG_LEN_ns];
  std::function<void()> inCallback = [&] {
    const auto expect = [&](const std::string& said, const char* name, const std::string& answer) {
      EXPECT_EQ(said, answer) << name;
      EXPECT_EQ(Gist(1), std::string("5 5114 API Long_bn API ") + name);
    };
    for (const auto& call : NetCalls()) expect(call.call(net.get()), call.name, call.answer);
    for (const auto& call : NodeCalls()) expect(call.call(node), call.name, call.answer);
    for (const auto& call : ListCalls()) expect(call.call(list), call.name, call.answer);
    for (const auto& call : fileCalls) expect(call.call(file), call.name, call.answer);
    FreeNodeList_bn(list);
    expect("", "FreeNodeList_bn", "");
    AbsorbNodes_bn(list);
    expect("", "AbsorbNodes_bn", "");
    expect(Say(NewBravicEnviron_bn()), "NewBravicEnviron_bn", "NULL");
    expect(Say(InitBravic_bn(env, text)), "InitBravic_bn", "-1");
    expect(Say(CloseBravic_bn(env, text)), "CloseBravic_bn", "-1");
    expect(Say(GetBravicVersion_bn(env, nullptr)), "GetBravicVersion_bn", "0");
    expect(Say(ArgumentChecking_ns(23, env)), "ArgumentChecking_ns", "-1");
    expect(Say(SeedRandom_ns(1, env)), "SeedRandom_ns", "-1");
    expect((SetProgressCallback_ns(nullptr, nullptr, env), ""), "SetProgressCallback_ns", "");
    EXPECT_EQ(ErrorNumber_ns(ReportError_ns(env, 12, 5, "mine")), 12);
    EXPECT_EQ(ErrorDanger_ns(nullptr), 1);
    EXPECT_EQ(Reports(), "5 12 ReportError_ns: Mine\n");
  };
  for (const int level : {23, 25}) {
    ArgumentChecking_ns(level, env);
    SetWaitClock([] { return ++clockNow; });
    WaitScope wait("testing");
    SetProgressCallback_ns(
        [](void* calls, const char*, double, double) {
          (*static_cast<std::function<void()>*>(calls))();
          return 1;
        },
        &inCallback, env);
    currentFunction = "Long_bn";
    EXPECT_TRUE(wait.Progress(0.5));
    EXPECT_STREQ(currentFunction, "Long_bn");
    currentFunction = nullptr;
    SetWaitClock(nullptr);
    SetProgressCallback_ns(nullptr, nullptr, env);
  }
  ArgumentChecking_ns(25, env);
  FreeNodeList_bn(list);
  EXPECT_EQ(Written(net), look);
}

TEST_F(ArgumentsTest, PlaceholdersInListsHarmNothing) {
  AtEachLevel([&](int) {
    for (const OpenCall<nodelist_bn>& call : ListCalls()) {
      nodelist_bn list = List({stub, orphan});
      call.call(list);
      EXPECT_EQ(currentFunction, nullptr) << call.name;
      FreeNodeList_bn(list);
    }
    AbsorbNodes_bn(List({stub}));
    Reports();
    for (node_bn copy : Nodes(other)) {
      if (copy != foreignNode) DeleteNode_bn(copy);
    }
  });
  Reports();
}

TEST_F(ArgumentsTest, BadFilesAndErrorsAreReported) {
  AtEachLevel([&](int) {
    ExpectAll<filespec_ns>(FileCalls(), nullptr, "5103 NULL filespec_ns", TAKES_NULL);
    filespec_ns freed = FileNamed_ns("freed", env);
    FreeFileSpec_ns(freed);
    for (void* bad : {static_cast<void*>(foreign), static_cast<void*>(node), static_cast<void*>(freed)}) {
      ExpectAll(FileCalls(), static_cast<filespec_ns>(bad), "5141 filespec_ns");
    }
    report_ns cleared = ReportError_ns(env, 7, 3, "x");
    ClearError_ns(cleared);
    for (void* bad : {static_cast<void*>(foreign), static_cast<void*>(node), static_cast<void*>(cleared)}) {
      ExpectAll(ReportCalls(), static_cast<report_ns>(bad), "5140 report_ns");
    }
  });
  ClearError_ns(nullptr);
  EXPECT_EQ(Say(ErrorNumber_ns(nullptr)) + ErrorMessage_ns(nullptr), "0");
  EXPECT_EQ(ErrorDanger_ns(nullptr), 1);
  GetNetName_bn(net.get());  // the one exit that leaves its name set
  EXPECT_EQ(Gist(), "4 5114 API ErrorDanger_ns API GetNetName_bn");
}

TEST_F(ArgumentsTest, BadEnvironmentsAreFramed) {
  AtEachLevel([&](int) {
    for (void* bad : {static_cast<void*>(nullptr), static_cast<void*>(foreign)}) {
      for (const OpenCall<environ_ns>& call : EnvironmentCalls()) {
        ::testing::internal::CaptureStderr();
        Expect([&] { return call.call(static_cast<environ_ns>(bad)); }, "", call.answer);
        EXPECT_EQ(::testing::internal::GetCapturedStderr(),
                  bad ? "\n*********\ndamaged or freed environ_ns passed (error 5139)\n*********\n"
                      : "\n*********\nNULL passed for environ_ns (error 5100)\n*********\n")
            << call.name;
      }
    }
  });
}

TEST_F(ArgumentsTest, WhatIsOutOfRangeOrDoesNotFitIsRefused) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
  const int low = std::numeric_limits<int>::min(), high = std::numeric_limits<int>::max();
  const statetype wild[1] = {EVERY_STATE}, none[1] = {UNDEF_STATE}, never[1] = {IMPOS_STATE}, below[1] = {-9},
                  beyond[1] = {2};
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
TEST_F(ArgumentsTest, BadNamesAreReported) {
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
TEST_F(ArgumentsTest, NodesThatCannotBeRemovedStay) {
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
TEST_F(ArgumentsTest, ANodeAsItsOwnParentHarmsNothing) {
  AddLink_bn(cause, cause);
  ReverseLink_bn(cause, cause);
  SwitchNodeParent_bn(0, node, node);
  CompileNet_bn(net.get());
  ArgumentChecking_ns(26, env);
  Reports();
  for (node_bn each : Nodes(net)) GetNodeName_bn(each);
}

// The tables of calls and this list together name every export that takes a handle.
TEST_F(ArgumentsTest, EveryExportIsTried) {
  std::set<std::string> tried = {
      "AddNodeToList_bn",      "SetNthNode_bn",  "FreeNodeList_bn",       "AbsorbNodes_bn",      "NewBravicEnviron_bn",
      "InitBravic_bn",         "CloseBravic_bn", "GetBravicVersion_bn",   "ArgumentChecking_ns", "HasGUI_ns",
      "HasUserInteraction_ns", "HasFileIO_ns",   "HasUserInterpreter_ns", "ShowProgress_ns",     "HaltOnInterrupt_ns"};
  for (const auto& call : NetCalls()) tried.insert(call.name);
  for (const auto& call : NodeCalls()) tried.insert(call.name);
  for (const auto& call : ListCalls()) tried.insert(call.name);
  for (const auto& call : FileCalls()) tried.insert(call.name);
  for (const auto& call : ReportCalls()) tried.insert(call.name);
  for (const auto& call : EnvironmentCalls()) tried.insert(call.name);
  std::istringstream exports(ReadWhole(BRAVIC_SOURCE_DIR "/src/Bravic/exports.txt"));
  for (std::string line; std::getline(exports, line);) {
    if (line.find("_bn") == std::string::npos && line.find("_ns") == std::string::npos) continue;
    EXPECT_EQ(tried.count(line), 1u) << line;
  }
}

// Sound objects of every form pass the deep checks.
TEST_F(ArgumentsTest, SoundObjectsPassTheDeepChecks) {
  ArgumentChecking_ns(26, env);
  Random random(20);
  for (int i = 0; i < 30; i++) {
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

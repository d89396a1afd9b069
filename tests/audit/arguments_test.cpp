// Every exported function with every kind of bad argument: the number reported, the neutral answer, nothing changed,
// no memory kept and no name of a running function left behind, at each level of checking.
#include <cstring>
#include <functional>
#include <limits>
#include <set>
#include <sstream>

#include "Basic/Environ.h"
#include "Basic/Memory.h"
#include "Bn/model/Records.h"
#include "support/files.h"
#include "support/library.h"
#include "support/nets.h"
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
  FreeNodeList_bn(list);
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

struct Case {
  std::function<std::string()> call;
  const char* reports;  // one line, without the danger
  const char* answer;
  int fromLevel = 24;
};

class ArgumentsTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    net.reset(NewNet_bn("Test", env));
    other.reset(NewNet_bn("Other", env));
    cause = AddNode(net, "cause", {"yes", "no"}, {}, {0.25f, 0.75f});
    node = AddNode(net, "node", {"low", "mid", "high"}, {"cause"}, {0.5f, 0.25f, 0.25f, 0, 0.5f, 0.5f});
    orphan = AddNode(net, "orphan", {"on", "off"}, {});
    node_bn lost = AddNode(net, "lost", {"a", "b"});
    AddLink_bn(lost, orphan);
    DeleteNode_bn(lost);  // kept for undo
    deleted = lost;
    stub = NthNode_bn(GetNodeParents_bn(orphan), 0);
    real = NewNode_bn("real", 0, net.get());
    deleted = NewNode_bn("gone", 2, net.get());
    DeleteNode_bn(deleted);
    foreignNode = NewNode_bn("foreign", 2, other.get());
    file = FileNamed_ns(directory.Path("file.cas").c_str(), env);
    CompileNet_bn(net.get());  // refused: the orphan
    Reports();
    look = FileText();
  }
  void TearDown() override {
    ArgumentChecking_ns(25, env);
    FreeFileSpec_ns(file);
    net.reset();
    other.reset();
    LibraryTest::TearDown();
  }

  std::string FileText() {
    filespec_ns to = FileNamed_ns(directory.Path("look.dne").c_str(), env);
    WriteNet_bn(net.get(), to);
    FreeFileSpec_ns(to);
    return ReadWhole(directory.Path("look.dne"));
  }

  // Runs the call; it must report just that line, answer that, and leave no trace.
  void Expect(const std::function<std::string()>& call, const std::string& line, const std::string& answer,
              const char* what) {
    const std::size_t used = MemoryUsed();
    EXPECT_EQ(call(), answer) << what;
    EXPECT_EQ(currentFunction, nullptr) << what;
    currentFunction = nullptr;
    const std::string reports = Reports(1);
    EXPECT_EQ(reports, line.empty() ? "" : "5 " + line + "\n") << what;
    EXPECT_EQ(MemoryUsed(), used) << what;
  }

  template <class T>
  void ExpectAll(const std::vector<OpenCall<T>>& calls, T bad, const char* fault, unsigned accepted = NOTHING) {
    for (const OpenCall<T>& call : calls) {
      if (call.takes & accepted) continue;
      const char* blank = std::strchr(fault, ' ');
      const std::string line = std::string(fault, blank) + " " + call.name + ":" + blank;
      Expect([&] { return call.call(bad); }, line, call.answer, call.name);
    }
  }

  std::vector<OpenCall<net_bn>> NetCalls();
  std::vector<OpenCall<node_bn>> NodeCalls();
  std::vector<OpenCall<nodelist_bn>> ListCalls();
  std::vector<OpenCall<filespec_ns>> FileCalls();
  std::vector<OpenCall<report_ns>> ReportCalls();
  std::vector<OpenCall<environ_ns>> EnvironmentCalls();

  TemporaryDirectory directory;
  Net net, other;
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
  for (int level : {24, 25, 26}) {
    ArgumentChecking_ns(level, env);
    ExpectAll<net_bn>(NetCalls(), nullptr, "5104 NULL passed for net_bn", TAKES_NULL);
    for (void* bad : {static_cast<void*>(foreign), static_cast<void*>(node), static_cast<void*>(file)}) {
      ExpectAll(NetCalls(), static_cast<net_bn>(bad), "5143 Damaged or freed net_bn passed");
    }
    net_bn freed = NewNet_bn("freed", env);
    FreeNet_bn(freed);
    ExpectAll(NetCalls(), freed, "5143 Damaged or freed net_bn passed");
  }
  EXPECT_EQ(FileText(), look);
}

TEST_F(ArgumentsTest, BadNodesAreReported) {
  for (int level : {24, 25, 26}) {
    ArgumentChecking_ns(level, env);
    ExpectAll<node_bn>(NodeCalls(), nullptr, "5105 NULL passed for node_bn");
    for (void* bad : {static_cast<void*>(foreign), static_cast<void*>(net.get()), static_cast<void*>(deleted)}) {
      ExpectAll(NodeCalls(), static_cast<node_bn>(bad), "5144 Damaged or freed node_bn passed");
    }
    ExpectAll(NodeCalls(), stub, "5138 Parent placeholder (disconnected) node passed for node_bn", TAKES_STUB);
    nodelist_bn list = NewNodeList_bn(0, env);
    const std::string code = Say(reinterpret_cast<void*>(-5138));
    Expect([&] { return Say(AddNodeToList_bn(stub, list, 0)); },
           "5138 AddNodeToList_bn: Parent placeholder (disconnected) node passed for node_bn", code,
           "AddNodeToList_bn");
    Expect([&] { return Say(AddNodeToList_bn(reinterpret_cast<node_bn>(foreign), list, 0)); },
           "5144 AddNodeToList_bn: Damaged or freed node_bn passed", code, "AddNodeToList_bn");
    FreeNodeList_bn(list);
  }
  EXPECT_EQ(FileText(), look);
}

TEST_F(ArgumentsTest, BadListsAreReported) {
  nodelist_bn empty = NewNodeList_bn(2, env), twins = NewNodeList_bn(2, env), mixed = NewNodeList_bn(2, env),
              damaged = NewNodeList_bn(2, env), negative = NewNodeList_bn(1, env);
  for (nodelist_bn list : {empty, twins, mixed, damaged}) SetNthNode_bn(list, 0, node);
  SetNthNode_bn(twins, 1, node);
  SetNthNode_bn(mixed, 1, foreignNode);
  SetNthNode_bn(damaged, 1, reinterpret_cast<node_bn>(foreign));
  negative->num = -7;
  for (int level : {24, 25, 26}) {
    ArgumentChecking_ns(level, env);
    ExpectAll<nodelist_bn>(ListCalls(), nullptr, "5110 NULL passed for the nodelist_bn", TAKES_NULL);
    ExpectAll(ListCalls(), reinterpret_cast<nodelist_bn>(foreign), "5110 NULL passed for the nodelist_bn");
    if (level < 25) continue;
    ExpectAll(ListCalls(), negative, "5119 Node list passed has a negative number of nodes (-7)");
    ExpectAll(ListCalls(), empty, "5120 Node list passed contains a NULL (entry 1)", TAKES_EMPTY_ENTRIES);
    ExpectAll(ListCalls(), damaged, "5145 Node list passed contains a damaged or freed node (the first one)");
    ExpectAll(ListCalls(), mixed, "5121 Node list passed contains nodes from 2 different nets ('Test' and 'Other')");
    ExpectAll(ListCalls(), twins, "5122 Node list passed contains duplicate 'node'", TAKES_TWINS);
  }
  ArgumentChecking_ns(25, env);
  negative->num = 1;
  for (nodelist_bn list : {empty, twins, mixed, negative}) FreeNodeList_bn(list);
  AbsorbNodes_bn(damaged);  // consumed all the same
  EXPECT_EQ(Reports(), "5 5145 AbsorbNodes_bn: Node list passed contains a damaged or freed node (the first one)\n");
  AbsorbNodes_bn(nullptr);
  EXPECT_EQ(Reports(), "5 5110 AbsorbNodes_bn: NULL passed for the nodelist_bn\n");
  EXPECT_EQ(FileText(), look);
}

TEST_F(ArgumentsTest, PlaceholdersInListsHarmNothing) {
  for (int level : {24, 25, 26}) {
    ArgumentChecking_ns(level, env);
    for (const OpenCall<nodelist_bn>& call : ListCalls()) {
      nodelist_bn list = NewNodeList_bn(2, env);
      SetNthNode_bn(list, 0, stub);
      SetNthNode_bn(list, 1, orphan);
      call.call(list);
      EXPECT_EQ(currentFunction, nullptr) << call.name;
      FreeNodeList_bn(list);
    }
    nodelist_bn list = NewNodeList_bn(1, env);
    SetNthNode_bn(list, 0, stub);
    AbsorbNodes_bn(list);
    Reports();
    EXPECT_EQ(FileText(), look) << level;
    for (node_bn copy : Nodes(other)) {
      if (copy != foreignNode) DeleteNode_bn(copy);
    }
  }
  Reports();
}

TEST_F(ArgumentsTest, BadFilesAndErrorsAreReported) {
  for (int level : {24, 25, 26}) {
    ArgumentChecking_ns(level, env);
    ExpectAll<filespec_ns>(FileCalls(), nullptr, "5103 NULL passed for filespec_ns", TAKES_NULL);
    filespec_ns freed = FileNamed_ns("freed", env);
    FreeFileSpec_ns(freed);
    for (void* bad : {static_cast<void*>(foreign), static_cast<void*>(node), static_cast<void*>(freed)}) {
      ExpectAll(FileCalls(), static_cast<filespec_ns>(bad), "5141 Damaged or freed filespec_ns passed");
    }
    report_ns cleared = ReportError_ns(env, 7, 3, "x");
    ClearError_ns(cleared);
    for (void* bad : {static_cast<void*>(foreign), static_cast<void*>(node), static_cast<void*>(cleared)}) {
      ExpectAll(ReportCalls(), static_cast<report_ns>(bad), "5140 Damaged or freed report_ns passed");
    }
  }
  EXPECT_EQ(Say(ErrorNumber_ns(nullptr)) + ErrorMessage_ns(nullptr), "0");
  EXPECT_EQ(ErrorDanger_ns(nullptr), 1);
  GetNetName_bn(net.get());  // the one exit that leaves its name set
  EXPECT_EQ(Reports(), "4 5114 API function ErrorDanger_ns is calling API function GetNetName_bn\n");
}

TEST_F(ArgumentsTest, BadEnvironmentsAreFramed) {
  for (int level : {24, 25, 26}) {
    ArgumentChecking_ns(level, env);
    for (void* bad : {static_cast<void*>(nullptr), static_cast<void*>(foreign)}) {
      for (const OpenCall<environ_ns>& call : EnvironmentCalls()) {
        ::testing::internal::CaptureStderr();
        Expect([&] { return call.call(static_cast<environ_ns>(bad)); }, "", call.answer, call.name);
        EXPECT_EQ(::testing::internal::GetCapturedStderr(),
                  bad ? "\n*********\ndamaged or freed environ_ns passed (error 5139)\n*********\n"
                      : "\n*********\nNULL passed for environ_ns (error 5100)\n*********\n")
            << call.name;
      }
    }
  }
}

TEST_F(ArgumentsTest, NumbersOutOfRangeAreReported) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
  const int low = std::numeric_limits<int>::min(), high = std::numeric_limits<int>::max();
  const statetype wild[1] = {EVERY_STATE}, none[1] = {UNDEF_STATE}, never[1] = {IMPOS_STATE}, below[1] = {-9},
                  beyond[1] = {2};
  const probtype negative[3] = {-0.5f, 1, 0.5f}, large[3] = {1, 1, 0};
  const double falling[4] = {0, 2, 1, 3}, unordered[4] = {0, nan, 2, 3};
  nodelist_bn nodes = GetNodeParents_bn(node);
  nodelist_bn list = NewNodeList_bn(1, env);
  SetNodeLevels_bn(real, 3, levels);
  SetNetTitle_bn(net.get(), "the last change");
  look = FileText();
  const Case cases[] = {
      {[&] { return Say(GetNodeStateName_bn(node, 3)); },
       "5106 GetNodeStateName_bn: Passed state (=3) for node 'node' is out of bounds (it must be between 0 and 2 "
       "inclusive)",
       "error"},
      {[&] { return Say(SetNodeStateName_bn(node, -1, "x")); },
       "5106 SetNodeStateName_bn: Passed state (=-1) for node 'node' is out of bounds (it must be between 0 and 2 "
       "inclusive)",
       "-1"},
      {[&] { return EnterFinding_bn(node, 3), ""; },
       "5106 EnterFinding_bn: Passed state (=3) for node 'node' is out of bounds (it must be between 0 and 2 "
       "inclusive)",
       ""},
      {[&] { return EnterFindingNot_bn(node, low), ""; },
       "5106 EnterFindingNot_bn: Passed state (=-2147483648) for node 'node' is out of bounds (it must be between 0 "
       "and 2 inclusive)",
       ""},
      {[&] { return Say(GetNodeLevel_bn(node, 3)); },
       "5107 GetNodeLevel_bn: Passed levels index (=3) for node 'node' is out of bounds (discrete node has 3 states, "
       "so it must be between 0 and 2 inclusive)",
       "undefined"},
      {[&] { return Say(GetNodeLevel_bn(real, 4)); },
       "5108 GetNodeLevel_bn: Passed levels index (=4) for node 'real' is out of bounds (continuous node has 3 "
       "states, so it must be between 0 and 3 inclusive)",
       "undefined"},
      {[&] { return Say(DeleteLink_bn(1, node)); },
       "5109 DeleteLink_bn: Passed parent_index (=1) for node 'node' is out of bounds (node has 1 parents, so it must "
       "be between 0 and 0 inclusive)",
       "-1"},
      {[&] { return SwitchNodeParent_bn(-1, node, cause), ""; },
       "5109 SwitchNodeParent_bn: Passed parent_index (=-1) for node 'node' is out of bounds (node has 1 parents, so "
       "it must be between 0 and 0 inclusive)",
       ""},
      {[&] { return Say(GetLinkName_bn(node, high)); },
       "5109 GetLinkName_bn: Passed parent_index (=2147483647) for node 'node' is out of bounds (node has 1 parents, "
       "so it must be between 0 and 0 inclusive)",
       "error"},
      {[&] { return Say(SetLinkName_bn(cause, 0, "x")); },
       "5109 SetLinkName_bn: Passed parent_index (=0) for node 'cause' is out of bounds (node has 0 parents, so it "
       "must be between 0 and -1 inclusive)",
       "-1"},
      {[&] { return Say(GetNodeProbs_bn(node, nullptr)); },
       "5112 GetNodeProbs_bn: NULL passed for the vector of parent states for node 'node'", "1"},
      {[&] { return Say(GetNodeExperience_bn(node, none)); },
       "5125 GetNodeExperience_bn: Vector of states (for parents of 'node') contains an undefined entry (-3) for node "
       "'cause' at position 0",
       "undefined", 25},
      {[&] { return SetNodeProbs_bn(node, never, row), ""; },
       "5127 SetNodeProbs_bn: Vector of states (for parents of 'node') contains an \"impossible condition\" indicator "
       "(-4) for node 'cause' at position 0",
       "", 25},
      {[&] { return SetNodeExperience_bn(node, below, 1), ""; },
       "5129 SetNodeExperience_bn: Vector of states (for parents of 'node') contains a negative entry (-9) for node "
       "'cause' at position 0",
       "", 25},
      {[&] { return SetNodeFuncValue_bn(node, beyond, 1), ""; },
       "5131 SetNodeFuncValue_bn: Vector of states (for parents of 'node') contains entry 2 (at index 0), which is too "
       "large (node 'cause' has only 2 states, and first state is 0)",
       "", 25},
      {[&] { return Say(GetNodeFuncValue_bn(node, wild)); },
       "5136 GetNodeFuncValue_bn: Vector of states (for parents of 'node') contains an \"wildcard\" indicator (-5) for "
       "node 'cause' at position 0",
       "undefined", 25},
      {[&] { return Say(GetNodeProbs_bn(node, wild)); },
       "5136 GetNodeProbs_bn: Vector of states (for parents of 'node') contains an \"wildcard\" indicator (-5) for "
       "node 'cause' at position 0",
       "1", 25},
      {[&] { return SetNodeProbs_bn(node, states, nullptr), ""; },
       "5113 SetNodeProbs_bn: NULL passed for probability vector", ""},
      {[&] { return SetNodeProbs_bn(node, states, negative), ""; },
       "5133 SetNodeProbs_bn: Passed probability vector has a negative probability, sum of probabilities isn't 1", "",
       25},
      {[&] { return SetNodeProbs_bn(node, states, large), ""; },
       "5133 SetNodeProbs_bn: Passed probability vector sum of probabilities isn't 1", "", 25},
      {[&] { return Say(GetNetUserData_bn(net.get(), 1)); },
       "5201 GetNetUserData_bn: Argument 'kind' is 1, but currently it must be 0", "NULL"},
      {[&] { return Say(StateNamed_bn("nowhere", node)); },
       "5202 StateNamed_bn: Node 'node' has no state named 'nowhere'", "-3"},
      {[&] { return Say(GetNodeUserData_bn(node, -1)); },
       "5203 GetNodeUserData_bn: Argument 'kind' is -1, but currently it must be 0", "NULL"},
      {[&] { return Say(SetNetUserData_bn(net.get(), 2, &list)); },
       "5500 SetNetUserData_bn: Argument 'kind' is 2, but currently it must be 0", "-1"},
      {[&] { return Say(SetNodeUserData_bn(node, 2, &list)); },
       "5511 SetNodeUserData_bn: Argument 'kind' is 2, but currently it must be 0", "-1"},
      {[&] { return Say(NewNodeList_bn(-1, env)); }, "5204 NewNodeList_bn: Argument 'length' is less than 0", "NULL"},
      {[&] { return Say(AddNodeToList_bn(node, list, -1)); },
       "5206 AddNodeToList_bn: Argument 'index' is less than 0 (it is -1)", "something"},
      {[&] { return Say(AddNodeToList_bn(node, list, 2)); },
       "5207 AddNodeToList_bn: Argument 'index' is more than the number of nodes (it is 2)", "something"},
      {[&] { return Say(RemoveNthNode_bn(list, low)); },
       "5209 RemoveNthNode_bn: Argument 'index' is less than 0 (it is -2147483648)", "NULL"},
      {[&] { return Say(RemoveNthNode_bn(list, 1)); },
       "5210 RemoveNthNode_bn: Argument 'index' is >= the number of nodes (it is 1)", "NULL"},
      {[&] { return Say(NthNode_bn(list, -1)); }, "5211 NthNode_bn: Argument 'index' is less than 0 (it is -1)",
       "NULL"},
      {[&] { return Say(NthNode_bn(list, high)); },
       "5212 NthNode_bn: Argument 'index' (2147483647) is >= the number of nodes (1)", "NULL"},
      {[&] { return Say(SetNthNode_bn(list, -1, node)); },
       "5213 SetNthNode_bn: Argument 'index' is less than 0 (it is -1)", "-5213"},
      {[&] { return Say(SetNthNode_bn(list, 1, node)); },
       "5214 SetNthNode_bn: Argument 'index' is >= the number of nodes (it is 1)", "-5214"},
      {[&] { return FreeNodeList_bn(nodes), ""; },
       "5562 FreeNodeList_bn: The passed node list should not be freed (or is already freed)", "", 25},
      {[&] { return AbsorbNodes_bn(nodes), ""; },
       "5562 AbsorbNodes_bn: The passed node list should not be freed (or is already freed)", "", 25},
      {[&] { return Say(SetNodeKind_bn(node, 6)); },
       "5501 SetNodeKind_bn: Argument 'kind' passed for node 'node' is 6, but it must be between 0 and 5 inclusive",
       "-1"},
      {[&] { return Say(SetNodeKind_bn(node, DISCONNECT_NODE)); },
       "5505 SetNodeKind_bn: Argument 'kind' passed for node 'node' is DISCONNECT_NODE, but link disconnection must be "
       "done with SwitchNodeParent_bn or DuplicateNodes_bn",
       "-1"},
      {[&] { return Say(SetNodeLevels_bn(real, -1, levels)); },
       "5502 SetNodeLevels_bn: Argument 'numstates' passed for node 'real' is negative (= -1)", "-1"},
      {[&] { return Say(SetNodeLevels_bn(node, 2, levels)); },
       "5503 SetNodeLevels_bn: Trying to change the number of states of a discrete node ('node') from 3 to 2", "-1"},
      {[&] { return Say(SetNodeLevels_bn(real, 3, unordered)); },
       "5519 SetNodeLevels_bn: Argument 'levels' passed for node 'real' has an entry (1) that is not a number", "-1"},
      {[&] { return Say(SetNodeLevels_bn(real, 3, falling)); },
       "5520 SetNodeLevels_bn: Argument 'levels' passed for node 'real' has an entry (2) less than the one before it "
       "(1 < 2)",
       "-1"},
      {[&] { return Say(NewNode_bn("x", -1, net.get())); },
       "5513 NewNode_bn: Argument 'num_states' is negative (=-1), adding node to net 'Test'", "NULL"},
      {[&] { return Say(NewNode_bn("node", 2, net.get())); },
       "5512 NewNode_bn: Name 'node' is already used by another node in net 'Test'", "NULL", 25},
      {[&] { return Say(SetNodeName_bn(cause, "node")); },
       "5512 SetNodeName_bn: Name 'node' is already used by another node in net 'Test'", "-1"},
      {[&] { return Say(AddLink_bn(foreignNode, node)); },
       "2016 AddLink_bn: New parents are not a list of nodes from node's net", "-1"},
      {[&] { return SwitchNodeParent_bn(0, node, foreignNode), ""; },
       "2016 SwitchNodeParent_bn: New parents are not a list of nodes from node's net", ""},
      {[&] { return Say(ReverseLink_bn(foreignNode, node)); },
       "2016 ReverseLink_bn: New parents are not a list of nodes from node's net", "-1"},
      {[&] { return EnterNodeLikelihood_bn(node, nullptr), ""; },
       "5514 EnterNodeLikelihood_bn: Argument 'likelihood' is NULL", ""},
      {[&] { return EnterNodeValue_bn(node, 1), ""; },
       "3317 EnterNodeValue_bn: Can't change value of node 'node', because the node is discrete without any levels "
       "defined",
       ""},
      {[&] { return EnterNodeValue_bn(real, 9), ""; },
       "3309 EnterNodeValue_bn: Can't change value of node 'real', because new value 9 is higher than highest "
       "allowable "
       "(3)",
       ""},
      {[&] { return Say(SetNetAutoUpdate_bn(net.get(), 2)); },
       "3001 SetNetAutoUpdate_bn: Can't change the autoupdate of network 'Test' to 2, because autoupdate numbers must "
       "be "
       "between 0 and 1 inclusive.",
       "-1"},
      {[&] { return Say(SetNetFindMPE_bn(net.get(), -1)); },
       "3001 SetNetFindMPE_bn: Can't change the find_mpe of network 'Test' to -1, because find_mpe numbers must be "
       "between 0 and 1 inclusive.",
       "-1"},
      {[&] { return Say(SetUndoDepth_bn(-2, net.get())); },
       "5581 SetUndoDepth_bn: Argument 'depth' is -2, but it should be -1 or between 0 and 2147483647 inclusive", "-1"},
      {[&] { return SetNodeExperience_bn(node, states, -1), ""; },
       "5506 SetNodeExperience_bn: Argument 'experience' passed for node 'node', is negative (-1)", ""},
      {[&] { return SetNodeFuncValue_bn(node, states, 3), ""; },
       "5508 SetNodeFuncValue_bn: Argument 'val' is 3, but it must be between 0 and 2 inclusive, because node 'node' "
       "is "
       "discrete with 3 states",
       ""},
      {[&] { return SetNodeFuncValue_bn(real, states, nan), ""; },
       "5507 SetNodeFuncValue_bn: Argument 'val' passed for node 'real' is not a number", ""},
      {[&] { return Say(WriteCase_bn(nodes, file, -2, 1)); },
       "5522 WriteCase_bn: Argument 'ID_num' is less than -1 (it is -2)", "-1"},
      {[&] { return Say(WriteCase_bn(nodes, file, 1, -2)); },
       "5523 WriteCase_bn: Argument 'freq' is less than 0 (it is -2)", "-1"},
      {[&] { return CaseRevisesProbs_bn(nodes, 1, 1), ""; },
       "5540 CaseRevisesProbs_bn: Argument 'updating' is not 0 (it is 1)", ""},
      {[&] { return CaseRevisesProbs_bn(nodes, 0, inf), ""; },
       "5545 CaseRevisesProbs_bn: Argument 'degree' is not a finite number (it is inf)", ""},
      {[&] { return CaseFileRevisesProbs_bn(file, nodes, 2, 1), ""; },
       "5539 CaseFileRevisesProbs_bn: Argument 'updating' is not 0 (it is 2)", ""},
      {[&] { return FadeProbs_bn(node, 1.5), ""; },
       "5516 FadeProbs_bn: Argument 'degree' is 1.5, but it should be within 0 to 1 inclusive", ""},
      {[&] { return FadeProbs_bn(orphan, 0.5), ""; },
       "5518 FadeProbs_bn: Node 'orphan' doesnt have any probability table", ""},
      {[&] { return Say(RandomCase_bn(nodes, 1, 5)); }, "5541 RandomCase_bn: Argument 'method' is not 0 (it is 1)",
       "-1"},
      {[&] { return Say(GenerateCases_bn(nodes, -1, file, 1, 1, 0)); },
       "5546 GenerateCases_bn: Argument 'numcases' is less than 0 (it is -1)", "-1"},
      {[&] { return Say(GenerateCases_bn(nodes, 1, file, 1, -1, 0)); },
       "5547 GenerateCases_bn: Argument 'freq' is less than 0 (it is -1)", "-1"},
      {[&] { return Say(GetError_ns(env, 7, nullptr)); },
       "5534 GetError_ns: Argument 'danger' is 7, but should be between 0 and 6 inclusive", "NULL"},
      {[&] { return ClearErrors_ns(env, -1), ""; },
       "5535 ClearErrors_ns: Argument 'danger' is -1, but should be between 0 and 6 inclusive", ""},
      {[&] { return Say(ReportError_ns(env, 1000, 5, "x")); },
       "5563 ReportError_ns: Argument 'number' is 1000, but should be between 0 and 999 inclusive", "NULL"},
      {[&] { return Say(ReportError_ns(env, 1, 7, "x")); },
       "5563 ReportError_ns: Argument 'danger' is 7, but should be between 0 and 6 inclusive", "NULL"},
      {[&] { return Say(HasGUI_ns(2, env)); },
       "5530 HasGUI_ns: Argument 'setting' is 2, but it should be -1 or between 0 and 1 inclusive", "-1"},
      {[&] { return Say(ArgumentChecking_ns(27, env)); },
       "5529 ArgumentChecking_ns: Argument 'setting' is 27, but it should be -1 or between 23 and 26 inclusive", "-1"},
      {[&] { return Say(ShowProgress_ns(-2, env)); },
       "5533 ShowProgress_ns: Argument 'setting' is -2, but it should be -1 or between 0 and 1 inclusive", "-1"},
      {[&] { return Say(FileNamed_ns("", env)); },
       "5537 FileNamed_ns: Bad file name passed; it is empty (contains no characters)", "NULL"},
  };
  for (int level : {24, 25, 26}) {
    ArgumentChecking_ns(level, env);
    for (const Case& bad : cases) {
      if (level >= bad.fromLevel) Expect(bad.call, bad.reports, bad.answer, bad.reports);
    }
  }
  ArgumentChecking_ns(25, env);
  FreeNodeList_bn(list);
  EXPECT_EQ(FileText(), look);
  UndoLastChange_bn(net.get());
  EXPECT_STREQ(GetNetTitle_bn(net.get()), "") << "a refused call was recorded";
}

// Where a name is checked by the setter beneath, the setter's own number says what is wrong with it.
TEST_F(ArgumentsTest, BadNamesAreReported) {
  const std::vector<std::pair<std::function<std::string(const char*)>, std::string>> calls = {
      {[&](const char* it) { return Say(NewNet_bn(it, env)); }, "5118 NewNet_bn: NULL"},
      {[&](const char* it) { return it ? Say(NewNode_bn(it, 2, net.get())) : "NULL"; }, "5118 NewNode_bn: NULL"},
      {[&](const char* it) { return Say(NodeNamed_bn(it, net.get())); }, "5118 NodeNamed_bn: NULL"},
      {[&](const char* it) { return Say(StateNamed_bn(it, node)); }, "5118 StateNamed_bn: -3"},
      {[&](const char* it) { return Say(LinkNamed_bn(it, node)); }, "5118 LinkNamed_bn: -1"},
      {[&](const char* it) { return Say(SetNetName_bn(net.get(), it)); }, "3002 SetNetName_bn: -1"},
      {[&](const char* it) { return Say(SetNodeName_bn(node, it)); }, "3063 SetNodeName_bn: -1"},
      {[&](const char* it) { return Say(SetNodeStateName_bn(node, 0, it)); }, "3065 SetNodeStateName_bn: -1"},
      {[&](const char* it) { return Say(SetLinkName_bn(node, 0, it)); }, "3070 SetLinkName_bn: -1"},
  };
  for (int level : {24, 25, 26}) {
    ArgumentChecking_ns(level, env);
    for (const auto& [call, expected] : calls) {
      const std::string number = expected.substr(0, 5), name = expected.substr(5, expected.find(':') - 4),
                        answer = expected.substr(expected.find(": ") + 2);
      if (name != "NewNode_bn:") {
        Expect([&] { return call(nullptr); }, "5114 " + name + " NULL passed for name", answer, name.c_str());
      }
      Expect([&] { return call(""); }, "5142 " + name + " Empty string passed for name", answer, name.c_str());
      for (const char* bad : {"two words", "9lives", "_x", "dash-ed", "a234567890123456789012345678901"}) {
        EXPECT_EQ(call(bad), answer) << name;
        const std::string reports = Reports();
        EXPECT_EQ(reports.substr(0, 7 + name.size()), "5 " + number + name) << reports;
        EXPECT_EQ(std::count(reports.begin(), reports.end(), '\n'), 1) << reports;
      }
    }
  }
  EXPECT_EQ(FileText(), look);
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
      "HasUserInteraction_ns", "HasFileIO_ns",   "HasUserInterpreter_ns", "ShowProgress_ns"};
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

// Every exported function with every kind of bad argument: the number reported, the neutral answer, nothing changed,
// no memory kept and no name of a running function left behind, at each level of checking.

#include "Basic/Environ.h"
#include "Basic/Memory.h"
#include "Bn/model/Attributes.h"
#include "Bn/model/Parents.h"
#include "Bn/model/Tables.h"
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

// What an exported function answers to bad arguments, and what it makes of special ones.
enum Special : unsigned {
  NOTHING = 0,
  TAKES_NULL = 1,
  TAKES_STUB = 2,
  TAKES_EMPTY_ENTRIES = 4,
  TAKES_TWINS = 8,
  TAKES_NO_LIST = 16
};

class ArgumentsTest;

// An exported function with one argument left open and good ones in the other places.
template <class T>
struct OpenCall {
  const char* name;
  std::function<std::string(ArgumentsTest*, T)> call;
  const char* answer;
  unsigned takes;
};

// One for each place that a function has for a handle of that type.
template <class T>
std::vector<OpenCall<T>> openCalls;

template <class R, class... A>
struct NamedCall {
  const char* name;
  R(BRAVIC_CALL* function)(A...);
};

// A call that is refused.
struct Refusal {
  std::function<std::string()> call;
  const char* gist;  // of what it reports, without the danger
  const char* answer;
  int fromLevel = 24;
};

class ArgumentsTest : public NetTest {
 public:
  static void SetUpTestSuite();
  // The argument of that type in a call that would be carried out.
  template <class T>
  T Good() {
    const std::tuple<net_bn, node_bn, nodelist_bn, filespec_ns, environ_ns, report_ns, const char*, int, long, double,
                     const statetype*, const probtype*, const double*, long*, double*, void*, progress_ns>
        good = {net.get(), node,   parents, file,   env,       nullptr, "x",     0,      0,
                1,         states, row,     levels, &position, nullptr, nullptr, nullptr};
    return std::get<T>(good);
  }

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
    parents = GetNodeParents_bn(node);
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
  void ExpectAll(T bad, const char* fault, unsigned accepted = NOTHING) {
    for (const OpenCall<T>& call : openCalls<T>) {
      if (call.takes & accepted) continue;
      constexpr int NUMBER_LEN = 4;
      const std::string gist = std::string(fault, NUMBER_LEN) + " " + call.name + (fault + NUMBER_LEN);
      Expect([&] { return call.call(this, bad); }, gist, call.answer);
    }
  }

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
  nodelist_bn parents;
  std::string look;
  long position = FIRST_CASE;
  const probtype row[3] = {0.5f, 0.25f, 0.25f};
  const double levels[4] = {0, 1, 2, 3};
  const statetype states[2] = {0, 0};
};

// The argument for one place: the open one or a good one.
template <class A, class T>
A Argument(ArgumentsTest* test, bool isOpen, T open) {
  if constexpr (std::is_same_v<A, T>)
    if (isOpen) return open;
  return test->Good<A>();
}

template <class T, class R, class... A, std::size_t... PLACES>
std::string CallWith(ArgumentsTest* test, T open, std::size_t place, const NamedCall<R, A...>& call,
                     std::index_sequence<PLACES...>) {
  if constexpr (std::is_void_v<R>) {
    return call.function(Argument<A>(test, PLACES == place, open)...), "";
  } else {
    const R answer = call.function(Argument<A>(test, PLACES == place, open)...);
    const std::string said = Say(answer);
    if constexpr (std::is_same_v<R, nodelist_bn>)
      if (answer && std::string(call.name).starts_with("Dup")) FreeNodeList_bn(answer);
    return said;
  }
}

template <class T, class... Handles>
constexpr bool IS_ONE_OF = (std::is_same_v<T, Handles> || ...);

template <class R, class... A>
void OpenEachHandle(const char* answer, unsigned takes, const NamedCall<R, A...>& call) {
  std::size_t place = 0;
  const auto open = [&]<class T>(T*) {
    if constexpr (IS_ONE_OF<T, net_bn, node_bn, nodelist_bn, filespec_ns, report_ns, environ_ns>)
      openCalls<T>.push_back({call.name,
                              [call, place](ArgumentsTest* test, T handle) {
                                return CallWith(test, handle, place, call, std::index_sequence_for<A...>());
                              },
                              answer, takes});
    ++place;
  };
  (open(static_cast<A*>(nullptr)), ...);
}

template <class... Calls>
void Open(const char* answer, unsigned takes, const Calls&... calls) {
  (OpenEachHandle(answer, takes, calls), ...);
}

#define CALL(function)  \
  NamedCall {           \
#function, function \
  }
void ArgumentsTest::SetUpTestSuite() {
  Open("", NOTHING, CALL(CompileNet_bn), CALL(RetractAllFindings_bn), CALL(WriteNet_bn), CALL(DeleteNode_bn),
       CALL(SwitchNodeParent_bn), CALL(SetNodeProbs_bn), CALL(SetNodeExperience_bn), CALL(SetNodeFuncValue_bn),
       CALL(DeleteNodeRelation_bn), CALL(EnterFinding_bn), CALL(EnterFindingNot_bn), CALL(EnterNodeLikelihood_bn),
       CALL(EnterNodeValue_bn), CALL(RetractNodeFindings_bn), CALL(FadeProbs_bn), CALL(CaseRevisesProbs_bn),
       CALL(CaseFileRevisesProbs_bn), CALL(ClearError_ns), CALL(ClearErrors_ns), CALL(SetProgressCallback_ns));
  Open("-1", NOTHING, CALL(SetNetName_bn), CALL(SetNetAutoUpdate_bn), CALL(SetNetElimOrder_bn), CALL(SetNetTitle_bn),
       CALL(SetNetComment_bn), CALL(SetNetUserData_bn), CALL(CaseProbability_bn), CALL(SetNetFindMPE_bn),
       CALL(FindElimOrder_bn), CALL(UndoLastChange_bn), CALL(RedoLastChange_bn), CALL(SetUndoDepth_bn),
       CALL(AddLink_bn), CALL(DeleteLink_bn), CALL(LinkNamed_bn), CALL(SetNodeName_bn), CALL(SetNodeKind_bn),
       CALL(SetNodeStateName_bn), CALL(SetNodeLevels_bn), CALL(SetLinkName_bn), CALL(SetNodeTitle_bn),
       CALL(SetNodeComment_bn), CALL(SetNodeUserData_bn), CALL(ReverseLink_bn), CALL(WriteCase_bn), CALL(RandomCase_bn),
       CALL(GenerateCases_bn), CALL(SeedRandom_ns));
  Open("-3", NOTHING, CALL(GetNodeMostProbable_bn));
  Open("-8", NOTHING, CALL(GetNodeFinding_bn));
  Open("0", NOTHING, CALL(GetNetAutoUpdate_bn), CALL(HasRelation_bn), CALL(IsNodeDeterministic_bn),
       CALL(IsBeliefUpdated_bn), CALL(ErrorNumber_ns));
  Open("1", NOTHING, CALL(GetNodeProbs_bn), CALL(GetNodeLikelihood_bn), CALL(GetNodeBeliefs_bn), CALL(ErrorDanger_ns));
  Open("NULL", NOTHING, CALL(NewNode_bn), CALL(GetNetNodes_bn), CALL(NodeNamed_bn), CALL(GetNetElimOrder_bn),
       CALL(GetNetUserData_bn), CALL(GetNodeParents_bn), CALL(GetNodeChildren_bn), CALL(GetNodeUserData_bn),
       CALL(DuplicateNodes_bn), CALL(ReadNet_bn), CALL(GetError_ns), CALL(ReportError_ns), CALL(FileNamed_ns),
       CALL(NewNet_bn), CALL(NewNodeList_bn));
  Open("error", NOTHING, CALL(GetNetName_bn), CALL(GetNetTitle_bn), CALL(GetNetComment_bn), CALL(JunctionTreeReport_bn),
       CALL(GetLinkName_bn), CALL(GetNodeTitle_bn), CALL(GetNodeComment_bn), CALL(ErrorMessage_ns));
  Open("undefined", NOTHING, CALL(CaseLogProbability_bn), CALL(GetExpectedUtility_bn), CALL(GetNodeExperience_bn),
       CALL(GetNodeFuncValue_bn), CALL(GetNodeValue_bn));
  Open("-1", TAKES_EMPTY_ENTRIES | TAKES_NULL | TAKES_TWINS, CALL(LengthNodeList_bn));
  Open("NULL", TAKES_EMPTY_ENTRIES | TAKES_NULL | TAKES_TWINS, CALL(DupNodeList_bn));
  Open("NULL", TAKES_EMPTY_ENTRIES | TAKES_TWINS, CALL(RemoveNthNode_bn), CALL(NthNode_bn));
  Open("", TAKES_NO_LIST, CALL(ReadCase_bn));
  Open("", TAKES_NULL, CALL(FreeNet_bn), CALL(FreeFileSpec_ns));
  Open("-3", TAKES_STUB, CALL(StateNamed_bn));
  Open("0", TAKES_STUB, CALL(GetNodeDiscrete_bn));
  Open("1", TAKES_STUB, CALL(GetNodeNumberStates_bn));
  Open("6", TAKES_STUB, CALL(GetNodeKind_bn));
  Open("NULL", TAKES_STUB, CALL(GetNodeNet_bn));
  Open("error", TAKES_STUB, CALL(GetNodeName_bn), CALL(GetNodeStateName_bn));
  Open("undefined", TAKES_STUB, CALL(GetNodeLevel_bn));
  Open("-1", TAKES_TWINS, CALL(OptimizeDecisions_bn));
}
#undef CALL

alignas(16) unsigned char foreign[2048] = {27};  // the tag of a window, and nothing else

TEST_F(ArgumentsTest, BadNetsAreReported) {
  AtEachLevel([&](int) {
    ExpectAll<net_bn>(nullptr, "5104 NULL net_bn", TAKES_NULL);
    net_bn freed = NewNet_bn("freed", env);
    FreeNet_bn(freed);
    for (void* bad : {static_cast<void*>(foreign), static_cast<void*>(node), static_cast<void*>(freed)}) {
      ExpectAll(static_cast<net_bn>(bad), "5143 net_bn");
    }
  });
}

TEST_F(ArgumentsTest, BadNodesAreReported) {
  AtEachLevel([&](int) {
    ExpectAll<node_bn>(nullptr, "5105 NULL node_bn");
    for (void* bad : {static_cast<void*>(foreign), static_cast<void*>(net.get()), static_cast<void*>(deleted)}) {
      ExpectAll(static_cast<node_bn>(bad), "5144 node_bn");
    }
    ExpectAll(stub, "5138 node_bn", TAKES_STUB);
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
    ExpectAll<nodelist_bn>(nullptr, "5110 NULL nodelist_bn", TAKES_NULL | TAKES_NO_LIST);
    for (void* bad : wrong) {
      nodelist_bn list = static_cast<nodelist_bn>(bad);
      ExpectAll(list, "5110 NULL nodelist_bn");
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
    ExpectAll(negative, "5119 -7");
    ExpectAll(empty, "5120 NULL 1", TAKES_EMPTY_ENTRIES);
    ExpectAll(damaged, "5145");
    ExpectAll(mixed, "5121 2 Test Other");
    ExpectAll(twins, "5122 node", TAKES_TWINS);
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
  char text[MESG_LEN_ns];
  std::function<void()> inCallback = [&] {
    const auto expect = [&](const std::string& said, const char* name, const std::string& answer) {
      EXPECT_EQ(said, answer) << name;
      EXPECT_EQ(Gist(1), std::string("5 5114 API Long_bn API ") + name);
    };
    for (const auto& call : openCalls<net_bn>) expect(call.call(this, net.get()), call.name, call.answer);
    for (const auto& call : openCalls<node_bn>) expect(call.call(this, node), call.name, call.answer);
    for (const auto& call : openCalls<nodelist_bn>) expect(call.call(this, list), call.name, call.answer);
    for (const auto& call : openCalls<filespec_ns>) expect(call.call(this, file), call.name, call.answer);
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
  const auto before = Nodes(net);
  AtEachLevel([&](int) {
    for (const OpenCall<nodelist_bn>& call : openCalls<nodelist_bn>) {
      nodelist_bn list = List({stub, orphan});
      call.call(this, list);
      EXPECT_EQ(currentFunction, nullptr) << call.name;
      FreeNodeList_bn(list);
    }
    AbsorbNodes_bn(List({stub}));
    Reports();
    for (node_bn copy : Nodes(net)) {
      if (std::find(before.begin(), before.end(), copy) == before.end()) DeleteNode_bn(copy);
    }
  });
  Reports();
}

TEST_F(ArgumentsTest, BadFilesAndErrorsAreReported) {
  AtEachLevel([&](int) {
    ExpectAll<filespec_ns>(nullptr, "5103 NULL filespec_ns", TAKES_NULL);
    filespec_ns freed = FileNamed_ns("freed", env);
    FreeFileSpec_ns(freed);
    for (void* bad : {static_cast<void*>(foreign), static_cast<void*>(node), static_cast<void*>(freed)}) {
      ExpectAll(static_cast<filespec_ns>(bad), "5141 filespec_ns");
    }
    report_ns cleared = ReportError_ns(env, 7, 3, "x");
    ClearError_ns(cleared);
    for (void* bad : {static_cast<void*>(foreign), static_cast<void*>(node), static_cast<void*>(cleared)}) {
      ExpectAll(static_cast<report_ns>(bad), "5140 report_ns");
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
      for (const OpenCall<environ_ns>& call : openCalls<environ_ns>) {
        ::testing::internal::CaptureStderr();
        Expect([&] { return call.call(this, static_cast<environ_ns>(bad)); }, "", call.answer);
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
  const auto add = [&](const auto&... calls) {
    (std::for_each(calls.begin(), calls.end(), [&](const auto& call) { tried.insert(call.name); }), ...);
  };
  add(openCalls<net_bn>, openCalls<node_bn>, openCalls<nodelist_bn>, openCalls<filespec_ns>, openCalls<report_ns>,
      openCalls<environ_ns>);
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

// Every exported function with every kind of bad handle: the number reported, the neutral answer, nothing changed,
// no memory kept and no name of a running function left behind, at each level of checking.

#include "Bn/model/Records.h"
#include "Win_Face/Interaction.h"
#include "audit/bad_calls.h"

namespace bravic::testing {
namespace {

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
template <class R, class... A>
NamedCall(const char*, R(BRAVIC_CALL*)(A...)) -> NamedCall<R, A...>;

class ArgumentsTest : public BadCallTest {
 public:
  static void SetUpTestSuite();
  // The argument of that type in a call that would be carried out.
  template <class T>
  T Good() {
    const std::tuple<net_bn, node_bn, nodelist_bn, filespec_ns, environ_ns, report_ns, const char*, int, long, double,
                     const statetype*, const probtype*, probtype*, const double*, long*, double*, statetype*, void*,
                     progress_ns, char*, const net_of_cases_bn*, const learn_links_bn*>
        good = {net.get(), node,    parents, file,      env,     nullptr, "x",     0,       0,       1,       states,
                row,       nullptr, levels,  &position, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};
    return std::get<T>(good);
  }

 protected:
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
       CALL(BeginChanges_bn), CALL(EndChanges_bn), CALL(AddLink_bn), CALL(DeleteLink_bn), CALL(LinkNamed_bn),
       CALL(SetNodeName_bn), CALL(SetNodeKind_bn), CALL(SetNodeStateName_bn), CALL(SetNodeLevels_bn),
       CALL(SetLinkName_bn), CALL(SetNodeTitle_bn), CALL(SetNodeComment_bn), CALL(SetNodeUserData_bn),
       CALL(ReverseLink_bn), CALL(WriteCase_bn), CALL(ReadCaseStates_bn), CALL(RandomCase_bn), CALL(GenerateCases_bn),
       CALL(SeedRandom_ns), CALL(BeliefsOfCases_bn), CALL(SetNetText_bn), CALL(SetNodeText_bn), CALL(WriteNetText_bn),
       CALL(KeepNetOrder_bn));
  Open("-1", NOTHING, CALL(EstimateCompile_bn), CALL(AreSeparated_bn), CALL(JointBeliefs_bn), CALL(InformationGains_bn),
       CALL(VarianceReductions_bn), CALL(FindingImpacts_bn), CALL(BeliefSensitivity_bn), CALL(BeliefSensitivities_bn));
  Open("-1", NOTHING, CALL(LearnLinksCases_bn), CALL(LearnLinks_bn));
  Open("undefined", NOTHING, CALL(ScoreLinksCases_bn), CALL(ScoreLinks_bn));
  Open("-1", NOTHING, CALL(MostProbableConfigs_bn), CALL(MostProbableStates_bn));
  Open("-1", NOTHING, CALL(LearnTablesEM_bn), CALL(LearnTablesEMCases_bn));
  Open("NULL", NOTHING, CALL(NewCounts_bn), CALL(MarkovBlanket_bn), CALL(ConflictingFindings_bn));
  Open("undefined", NOTHING, CALL(FindingsConflict_bn));
  Open("-3", NOTHING, CALL(GetNodeMostProbable_bn), CALL(FindState_bn));
  Open("-8", NOTHING, CALL(GetNodeFinding_bn));
  Open("0", NOTHING, CALL(GetNetAutoUpdate_bn), CALL(HasRelation_bn), CALL(IsNodeDeterministic_bn),
       CALL(IsBeliefUpdated_bn), CALL(ErrorNumber_ns));
  Open("1", NOTHING, CALL(GetNodeProbs_bn), CALL(GetNodeLikelihood_bn), CALL(GetNodeBeliefs_bn), CALL(ErrorDanger_ns));
  Open("NULL", NOTHING, CALL(NewNode_bn), CALL(GetNetNodes_bn), CALL(NodeNamed_bn), CALL(GetNetElimOrder_bn),
       CALL(GetNetUserData_bn), CALL(GetNodeParents_bn), CALL(GetNodeChildren_bn), CALL(GetNodeUserData_bn),
       CALL(DuplicateNodes_bn), CALL(ReadNet_bn), CALL(CaseFileNodes_bn), CALL(NewNetOfCases_bn), CALL(GetError_ns),
       CALL(ReportError_ns), CALL(FileNamed_ns), CALL(NewNet_bn), CALL(NewNodeList_bn), CALL(FindNode_bn),
       CALL(ReadNetText_bn), CALL(GetNetEnviron_bn));
  Open("error", NOTHING, CALL(GetNetName_bn), CALL(GetNetTitle_bn), CALL(GetNetComment_bn), CALL(JunctionTreeReport_bn),
       CALL(GetLinkName_bn), CALL(GetNodeTitle_bn), CALL(GetNodeComment_bn), CALL(GetNetText_bn), CALL(GetNodeText_bn),
       CALL(ErrorMessage_ns));
  Open("undefined", NOTHING, CALL(CaseLogProbability_bn), CALL(GetExpectedUtility_bn), CALL(SolveDecisions_bn),
       CALL(ValueOfObserving_bn), CALL(GetNodeExperience_bn), CALL(GetNodeFuncValue_bn), CALL(GetNodeValue_bn));
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

int BRAVIC_CALL CallAndHalt(void* calls, const char*, double, double) {
  (*static_cast<std::function<void()>*>(calls))();
  return 1;
}

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
    SetProgressCallback_ns(CallAndHalt, &inCallback, env);
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

// The tables of calls and this list together name every export that takes a handle.
TEST_F(ArgumentsTest, EveryExportIsTried) {
  std::set<std::string> tried = {"AddNodeToList_bn", "SetNthNode_bn", "FreeNodeList_bn", "AbsorbNodes_bn",
                                 "NewBravicEnviron_bn", "InitBravic_bn", "CloseBravic_bn", "GetBravicVersion_bn",
                                 "ArgumentChecking_ns", "HasGUI_ns", "HasUserInteraction_ns", "HasFileIO_ns",
                                 "HasUserInterpreter_ns", "ShowProgress_ns", "HaltOnInterrupt_ns", "SetThreads_ns",
                                 "SetMemoryLimit_ns",
                                 // Counts and intervals are tried in learn/.
                                 "AddCounts_bn", "CountsSize_bn", "GetCounts_bn", "SetCounts_bn", "CountCases_bn",
                                 "ExpectCounts_bn", "LearnCounts_bn", "FreeCounts_bn", "FindIntervals_bn"};
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

}  // namespace
}  // namespace bravic::testing

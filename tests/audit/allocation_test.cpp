// The n-th request to the heap fails, for every n, under every function that changes or makes something: the call is
// either carried out or refused with everything as it was, and nothing leaks. In the second form the reserve stays
// away after that failure, so that all later requests that may fail do.
#include <gmock/gmock.h>

#include <cstring>
#include <functional>

#include "Basic/Environ.h"
#include "Basic/Memory.h"
#include "Bn/model/Records.h"
#include "support/files.h"
#include "support/library.h"
#include "support/nets.h"

namespace bravic::testing {
namespace {

long requestsLeft;
bool reserveStaysAway, failed;

bool RefuseOne(std::size_t nbytes) {
  if (failed && reserveStaysAway && nbytes == RESERVE_SIZE) return false;
  if (requestsLeft-- != 0) return true;
  failed = true;
  return false;
}

// What a call works on; made anew for each failure.
struct Scene {
  Net net;
  node_bn rain, season, dry, level, roof, umbrella, joy;
  filespec_ns file;
};

struct Attempt {
  const char* name;
  std::function<void(Scene&)> prepare;
  std::function<void(Scene&)> call;
};

class AllocationTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    netPath = directory.Path("net.dne");
    casePath = directory.Path("cases.cas");
  }

  Scene Build() {
    Scene scene;
    scene.net.reset(NewNet_bn("Weather", env));
    scene.season = AddNode(scene.net, "season", {"warm", "cold"}, {}, {0.5f, 0.5f});
    scene.rain =
        AddNode(scene.net, "rain", {"none", "some", "much"}, {"season"}, {0.5f, 0.25f, 0.25f, 0.25f, 0.5f, 0.25f});
    SetNodeExperience_bn(scene.rain, std::vector<statetype>{EVERY_STATE}.data(), 5);
    scene.level = NewNode_bn("level", 0, scene.net.get());
    SetNodeLevels_bn(scene.level, 2, std::vector<double>{0, 1.5, 4}.data());
    AddLink_bn(scene.rain, scene.level);
    SetTable(scene.level, {1, 0, 0.5f, 0.5f, 0.25f, 0.75f});
    scene.dry = AddNode(scene.net, "dry", {"yes", "no"}, {"rain"}, {});
    for (statetype state : {0, 1, 2}) SetNodeFuncValue_bn(scene.dry, &state, state > 0);
    scene.roof = AddNode(scene.net, "roof", {"sound", "leaks"}, {"rain", "dry"}, {});
    SetTable(scene.roof, {1, 0, 0.5f, 0.5f, 0.5f, 0.5f, 0.25f, 0.75f, 0.25f, 0.75f, 0, 1});
    SetLinkName_bn(scene.roof, 0, "above");
    scene.file = FileNamed_ns(netPath.c_str(), env);
    return scene;
  }

  Scene BuildDecision() {
    Scene scene = Build();
    DeleteNode_bn(scene.level);
    DeleteNode_bn(scene.roof);
    scene.umbrella = AddNode(scene.net, "umbrella", {"take", "leave"}, {"season"});
    SetNodeKind_bn(scene.umbrella, DECISION_NODE);
    scene.joy = NewNode_bn("joy", 0, scene.net.get());
    SetNodeKind_bn(scene.joy, UTILITY_NODE);
    AddLink_bn(scene.umbrella, scene.joy);
    AddLink_bn(scene.rain, scene.joy);
    for (statetype choice : {0, 1}) {
      for (statetype rain : {0, 1, 2}) {
        const statetype both[] = {choice, rain};
        SetNodeFuncValue_bn(scene.joy, both, choice ? 10 - 8 * rain : 5);
      }
    }
    return scene;
  }

  // All that a host can see of the net, and whether it is sound.
  std::string Look(const Scene& scene) {
    filespec_ns to = FileNamed_ns(directory.Path("look.dne").c_str(), env);
    WriteNet_bn(scene.net.get(), to);
    FreeFileSpec_ns(to);
    std::string look = ReadWhole(directory.Path("look.dne"));
    ArgumentChecking_ns(26, env);
    GetNetName_bn(scene.net.get());
    ArgumentChecking_ns(25, env);
    return look + ReadWhole(casePath) + ReadWhole(netPath) + Reports();
  }

  void RunAll(const std::vector<Attempt>& attempts, const std::function<Scene()>& build);

  TemporaryDirectory directory;
  std::string netPath, casePath;
};

// Files that calls write are part of what must be whole, so each run starts from the same ones.
void AllocationTest::RunAll(const std::vector<Attempt>& attempts, const std::function<Scene()>& build) {
  const std::string cases = ReadWhole(casePath), file = ReadWhole(netPath);
  for (const Attempt& attempt : attempts) {
    std::string before, after;
    const std::size_t used = MemoryUsed();
    int refusals = 0;
    for (long n = -1;; ++n) {  // at -1 nothing fails
      bool reached = true;
      for (bool away : {false, true}) {
        WriteWhole(casePath, cases);
        WriteWhole(netPath, file);
        Scene scene = build();
        if (attempt.prepare) attempt.prepare(scene);
        SetNetComment_bn(scene.net.get(), "the change before");
        Reports();
        if (n < 0) before = Look(scene);
        requestsLeft = n;
        reserveStaysAway = away;
        failed = false;
        SetHeapGate(n < 0 ? nullptr : RefuseOne);
        attempt.call(scene);
        SetHeapGate(nullptr);
        reached = failed;
        const char* running = currentFunction;
        Free(Allocate(1));  // the reserve is taken again
        ASSERT_TRUE(HasReserve()) << attempt.name << " request " << n;
        // A second function of the call may have found the reserve gone, and left its name set.
        const std::string reports = Reports(5);
        if (reports.find("Not enough free memory to call") == std::string::npos) {
          ASSERT_EQ(running, nullptr) << attempt.name << " request " << n;
        }
        SetMemoryState(MEMORY_NORMAL);
        const std::string look = Look(scene);
        if (n < 0) {
          after = look;
          EXPECT_EQ(reports, "") << attempt.name;
        } else if (look != after && reports.find("5582") == std::string::npos) {
          ASSERT_EQ(look, before) << attempt.name << " request " << n << " away " << away << "\n" << reports;
          ASSERT_NE(reports, "") << attempt.name << " request " << n << " away " << away << ": not done, not said";
          ++refusals;
          if (std::strstr(attempt.name, "do_last") == nullptr) {
            UndoLastChange_bn(scene.net.get());
            ASSERT_STREQ(GetNetComment_bn(scene.net.get()), "") << attempt.name << " request " << n << ": recorded";
          }
        }
        FreeFileSpec_ns(scene.file);
        scene.net.reset();
        Reports();
        ASSERT_EQ(MemoryUsed(), used) << attempt.name << " request " << n << " away " << away;
      }
      if (n >= 0 && !reached) break;
    }
  }
}

TEST_F(AllocationTest, ChangesOfNets) {
  const std::vector<Attempt> attempts = {
      {"NewNode_bn", nullptr, [](Scene& on) { NewNode_bn(nullptr, 3, on.net.get()); }},
      {"DeleteNode_bn", nullptr, [](Scene& on) { DeleteNode_bn(on.rain); }},
      {"AddLink_bn", nullptr, [](Scene& on) { AddLink_bn(on.season, on.roof); }},
      {"DeleteLink_bn", nullptr, [](Scene& on) { DeleteLink_bn(0, on.roof); }},
      {"SwitchNodeParent_bn", nullptr, [](Scene& on) { SwitchNodeParent_bn(1, on.roof, on.season); }},
      {"DuplicateNodes_bn", nullptr,
       [](Scene& on) { FreeNodeList_bn(DuplicateNodes_bn(GetNodeParents_bn(on.roof), on.net.get())); }},
      {"SetNetName_bn", nullptr, [](Scene& on) { SetNetName_bn(on.net.get(), "Other"); }},
      {"SetNetTitle_bn", nullptr, [](Scene& on) { SetNetTitle_bn(on.net.get(), "Title"); }},
      {"SetNetElimOrder_bn", nullptr,
       [](Scene& on) { SetNetElimOrder_bn(on.net.get(), GetNetNodes_bn(on.net.get())); }},
      {"SetNodeName_bn", nullptr, [](Scene& on) { SetNodeName_bn(on.rain, "snow"); }},
      {"SetNodeKind_bn", nullptr, [](Scene& on) { SetNodeKind_bn(on.season, DECISION_NODE); }},
      {"SetNodeStateName_bn", nullptr, [](Scene& on) { SetNodeStateName_bn(on.rain, 1, "little"); }},
      {"SetNodeLevels_bn", nullptr,
       [](Scene& on) {
         SetNodeLevels_bn(on.level, 3, std::vector<double>{0, 1, 2, 3}.data());
       }},
      {"SetLinkName_bn", nullptr, [](Scene& on) { SetLinkName_bn(on.rain, 0, "when"); }},
      {"SetNodeTitle_bn", nullptr, [](Scene& on) { SetNodeTitle_bn(on.rain, "What falls"); }},
      {"SetNodeProbs_bn", nullptr,
       [](Scene& on) {
         const statetype states[] = {EVERY_STATE, 1};
         SetNodeProbs_bn(on.roof, states, std::vector<float>{0.125f, 0.875f}.data());
       }},
      {"SetNodeProbs_bn anew", [](Scene& on) { DeleteNodeRelation_bn(on.roof); },
       [](Scene& on) {
         const statetype states[] = {1, 1};
         SetNodeProbs_bn(on.roof, states, std::vector<float>{0.125f, 0.875f}.data());
       }},
      {"SetNodeExperience_bn", nullptr,
       [](Scene& on) {
         const statetype states[] = {1, 1};
         SetNodeExperience_bn(on.roof, states, 7);
       }},
      {"SetNodeFuncValue_bn", [](Scene& on) { DeleteNodeRelation_bn(on.roof); },
       [](Scene& on) {
         const statetype states[] = {1, EVERY_STATE};
         SetNodeFuncValue_bn(on.roof, states, 1);
       }},
      {"DeleteNodeRelation_bn", nullptr, [](Scene& on) { DeleteNodeRelation_bn(on.roof); }},
      {"ReverseLink_bn", nullptr, [](Scene& on) { ReverseLink_bn(on.season, on.rain); }},
      {"FadeProbs_bn", nullptr, [](Scene& on) { FadeProbs_bn(on.rain, 0.5); }},
      {"UndoLastChange_bn do_last", nullptr, [](Scene& on) { UndoLastChange_bn(on.net.get()); }},
  };
  RunAll(attempts, [this] { return Build(); });
}

TEST_F(AllocationTest, UndoAndRedoOfStructure) {
  const std::vector<std::function<void(Scene&)>> changes = {
      [](Scene& on) { DeleteNode_bn(on.rain); },
      [](Scene& on) { DeleteLink_bn(0, on.roof); },
      [](Scene& on) { SwitchNodeParent_bn(1, on.roof, on.season); },
      [](Scene& on) { ReverseLink_bn(on.season, on.rain); },
      [](Scene& on) {
        SetNodeLevels_bn(on.level, 3, std::vector<double>{0, 1, 2, 3}.data());
      },
  };
  for (const auto& change : changes) {
    Scene scene = Build();
    Reports();
    const std::string before = Look(scene);
    change(scene);
    const std::string after = Look(scene);
    for (long n = 0, unfailed = 0; unfailed < 4; ++n) {  // the same record, back and forth
      requestsLeft = n / 2;
      reserveStaysAway = n % 4 > 1;
      failed = false;
      SetHeapGate(RefuseOne);
      const int done = n % 2 ? RedoLastChange_bn(scene.net.get()) : UndoLastChange_bn(scene.net.get());
      SetHeapGate(nullptr);
      unfailed = failed ? 0 : unfailed + 1;
      Free(Allocate(1));
      Reports();
      ASSERT_EQ(done, 1);
      ASSERT_EQ(Look(scene), n % 2 ? after : before) << "request " << n / 2;
    }
    FreeFileSpec_ns(scene.file);
  }
}

TEST_F(AllocationTest, CompilingFindingsAndBeliefs) {
  const auto compile = [](Scene& on) { CompileNet_bn(on.net.get()); };
  const auto observe = [](Scene& on) {
    CompileNet_bn(on.net.get());
    EnterFinding_bn(on.roof, 1);
    GetNodeBeliefs_bn(on.season);
  };
  const std::vector<Attempt> attempts = {
      {"EnterFinding_bn", compile, [](Scene& on) { EnterFinding_bn(on.rain, 1); }},
      {"EnterFindingNot_bn", compile, [](Scene& on) { EnterFindingNot_bn(on.rain, 1); }},
      {"EnterNodeLikelihood_bn", observe,
       [](Scene& on) {
         EnterNodeLikelihood_bn(on.rain, std::vector<float>{0.5f, 1, 0.25f}.data());
       }},
      {"EnterNodeValue_bn", compile, [](Scene& on) { EnterNodeValue_bn(on.level, 3); }},
      {"RetractNodeFindings_bn", observe, [](Scene& on) { RetractNodeFindings_bn(on.roof); }},
      {"RetractAllFindings_bn", observe, [](Scene& on) { RetractAllFindings_bn(on.net.get()); }},
      {"EnterFinding_bn with auto-update",
       [](Scene& on) {
         CompileNet_bn(on.net.get());
         SetNetAutoUpdate_bn(on.net.get(), 1);
       },
       [](Scene& on) { EnterFinding_bn(on.rain, 1); }},
  };
  RunAll(attempts, [this] { return Build(); });
}

// Beliefs either are those of a run without failures, or none are answered; the next attempt gives them.
TEST_F(AllocationTest, BeliefsAreRightOrNotAnswered) {
  const auto beliefs = [](const Scene& on) {
    std::vector<float> all;
    for (node_bn node : {on.season, on.rain, on.dry, on.roof}) {
      const probtype* belief = GetNodeBeliefs_bn(node);
      all.insert(all.end(), belief, belief + NumStates(node));
    }
    return all;
  };
  std::vector<float> right;
  double probability = 0;
  int refusals = 0;
  for (long n = -1; n < 2000; ++n) {
    for (bool away : {false, true}) {
      for (int mpe : {0, 1}) {
        Scene scene = Build();
        EnterFinding_bn(scene.roof, 1);
        EnterFindingNot_bn(scene.rain, 2);
        SetNetFindMPE_bn(scene.net.get(), mpe);
        Reports();
        requestsLeft = n;
        reserveStaysAway = away;
        failed = false;
        SetHeapGate(n < 0 ? nullptr : RefuseOne);
        CompileNet_bn(scene.net.get());
        const bool updated = CaseProbability_bn(scene.net.get()) >= 0;
        SetHeapGate(nullptr);
        Free(Allocate(1));
        const std::string reports = Reports(5);
        if (!updated) {
          ASSERT_NE(reports, "") << "request " << n;
          ++refusals;
          CompileNet_bn(scene.net.get());
        }
        if (mpe) {
          ASSERT_EQ(GetNodeMostProbable_bn(scene.roof), 1);
        } else if (n < 0) {
          right = beliefs(scene);
          probability = CaseProbability_bn(scene.net.get());
        } else {
          ASSERT_EQ(beliefs(scene), right) << "request " << n;
          ASSERT_EQ(CaseProbability_bn(scene.net.get()), probability) << "request " << n;
        }
        JunctionTreeReport_bn(scene.net.get());
        FreeFileSpec_ns(scene.file);
        Reports();
      }
    }
    if (n >= 0 && !failed) break;
  }
  EXPECT_GT(refusals, 0);
  EXPECT_FALSE(failed);
}

TEST_F(AllocationTest, FilesAndCases) {
  {
    Scene scene = Build();
    EnterFinding_bn(scene.rain, 1);
    EnterFinding_bn(scene.roof, 1);
    filespec_ns cases = FileNamed_ns(casePath.c_str(), env);
    for (int id : {1, 2}) WriteCase_bn(GetNetNodes_bn(scene.net.get()), cases, id, 2);
    WriteNet_bn(scene.net.get(), scene.file);
    FreeFileSpec_ns(cases);
    FreeFileSpec_ns(scene.file);
    ASSERT_EQ(Reports(), "");
  }
  const auto withCases = [this](const std::function<void(Scene&, filespec_ns)>& call) {
    return [this, call](Scene& on) {
      const bool gated = requestsLeft >= 0;
      SetHeapGate(nullptr);
      filespec_ns cases = FileNamed_ns(casePath.c_str(), env);
      SetHeapGate(gated ? RefuseOne : nullptr);
      call(on, cases);
      SetHeapGate(nullptr);
      FreeFileSpec_ns(cases);
    };
  };
  const std::vector<Attempt> attempts = {
      {"WriteNet_bn", nullptr, [](Scene& on) { WriteNet_bn(on.net.get(), on.file); }},
      {"WriteCase_bn", [](Scene& on) { EnterFinding_bn(on.dry, 1); },
       withCases([](Scene& on, filespec_ns to) { WriteCase_bn(GetNetNodes_bn(on.net.get()), to, 3, 1); })},
      {"ReadCase_bn", nullptr, withCases([](Scene& on, filespec_ns from) {
         ReadCase_bn(nullptr, from, GetNetNodes_bn(on.net.get()), nullptr, nullptr);
       })},
      {"CaseFileRevisesProbs_bn", nullptr, withCases([](Scene& on, filespec_ns from) {
         CaseFileRevisesProbs_bn(from, GetNodeChildren_bn(on.season), 0, 1);
       })},
      {"CaseRevisesProbs_bn",
       [](Scene& on) {
         EnterFinding_bn(on.season, 1);
         EnterFinding_bn(on.rain, 1);
       },
       [](Scene& on) { CaseRevisesProbs_bn(GetNodeChildren_bn(on.season), 0, 1); }},
      {"RandomCase_bn", [this](Scene&) { SeedRandom_ns(5, env); },
       [](Scene& on) { RandomCase_bn(GetNodeParents_bn(on.roof), 0, 5); }},
  };
  RunAll(attempts, [this] { return Build(); });
}

TEST_F(AllocationTest, ReadingANet) {
  {
    Scene scene = BuildDecision();
    EnterFinding_bn(scene.rain, 1);
    SetNetTitle_bn(scene.net.get(), "A title");
    SetNodeComment_bn(scene.joy, "A comment");
    WriteNet_bn(scene.net.get(), scene.file);
    FreeFileSpec_ns(scene.file);
    Reports();
  }
  const std::string whole = ReadWhole(netPath);
  for (bool away : {false, true}) {
    for (long n = 0;; ++n) {
      const std::size_t used = MemoryUsed();
      filespec_ns file = FileNamed_ns(netPath.c_str(), env);
      requestsLeft = n;
      reserveStaysAway = away;
      failed = false;
      SetHeapGate(RefuseOne);
      Net net(ReadNet_bn(file, 0));
      SetHeapGate(nullptr);
      Free(Allocate(1));
      const std::string reports = Reports(5);
      if (reports.empty()) {
        ASSERT_TRUE(net) << "request " << n;
        filespec_ns copy = FileNamed_ns(directory.Path("copy.dne").c_str(), env);
        WriteNet_bn(net.get(), copy);
        FreeFileSpec_ns(copy);
        ASSERT_EQ(ReadWhole(directory.Path("copy.dne")), whole) << "request " << n;
      }
      if (net) {
        ArgumentChecking_ns(26, env);
        ASSERT_STREQ(GetNetName_bn(net.get()), "Weather");
        ArgumentChecking_ns(25, env);
        Reports();
      }
      net.reset();
      FreeFileSpec_ns(file);
      ASSERT_EQ(MemoryUsed(), used) << "request " << n;
      if (!failed) break;
    }
  }
}

TEST_F(AllocationTest, Decisions) {
  const std::vector<Attempt> attempts = {
      {"OptimizeDecisions_bn", nullptr, [](Scene& on) { OptimizeDecisions_bn(GetNetNodes_bn(on.net.get())); }},
      {"GetExpectedUtility_bn", [](Scene& on) { OptimizeDecisions_bn(GetNetNodes_bn(on.net.get())); },
       [](Scene& on) { GetExpectedUtility_bn(on.net.get()); }},
  };
  RunAll(attempts, [this] { return BuildDecision(); });
}

bool RefuseAll(std::size_t) {
  return false;
}

TEST_F(AllocationTest, WithoutAnyMemoryTheProcessEnds) {
  Scene scene = Build();
  const auto exits = ::testing::ExitedWithCode(1);
  const auto framed = ::testing::AllOf(::testing::HasSubstr("\n*********\nOut of memory ("),
                                       ::testing::HasSubstr(" bytes needed) (error 2103)\n*********\n"));
  EXPECT_EXIT((SetHeapGate(RefuseAll), NewNet_bn("more", env)), exits, framed);
  EXPECT_EXIT((SetHeapGate(RefuseAll), SetNodeTitle_bn(scene.rain, "What falls")), exits, framed);
  FreeFileSpec_ns(scene.file);
  Reports();
}

}  // namespace
}  // namespace bravic::testing

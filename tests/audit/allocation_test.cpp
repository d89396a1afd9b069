// The n-th request to the heap fails, for every n, under every function that changes or makes something: the call is
// either carried out or refused with everything as it was, and nothing leaks. In the second form the reserve stays
// away after that failure, so that all later requests that may fail do.

#include "Basic/Environ.h"
#include "Basic/Memory.h"
#include "Bn/model/Records.h"
#include "Bn/model/Undo.h"
#include "audit/starving.h"
#include "support/changes.h"

namespace bravic::testing {
namespace {

// Nets as small as can be that give every change something to do.
const std::string SEASON =
    "// ~->[DNET-1]->~\nbnet Weather {comment = \"the change before\";\n"
    "node season {kind = NATURE; discrete = TRUE; states = (warm, cold); probs = (0.5, 0.5);};\n"
    "node rain {kind = NATURE; discrete = TRUE; states = (none, some, much); parents = (season); numcases = 5;\n"
    "  probs = ((0.5, 0.25, 0.25), (0.25, 0.5, 0.25));};\n"
    "node dry {kind = NATURE; discrete = TRUE; states = (yes, no); parents = (rain); functable = (yes, no, no);};\n";
const std::string ROOF =
    "node level {kind = NATURE; discrete = FALSE; levels = (0, 1.5, 4); parents = (rain); probs = ((1, 0), (0.5, 0.5), "
    "(0.25, 0.75));"
    "};\nnode roof {kind = NATURE; discrete = TRUE; states = (sound, leaks); parents = (rain, dry); inputs = (above, "
    ");\n"
    "  probs = (((1, 0), (0.5, 0.5)), ((0.5, 0.5), (0.25, 0.75)), ((0.25, 0.75), (0, 1)));};};\n";
const std::string UMBRELLA =
    "node umbrella {kind = DECISION; discrete = TRUE; states = (take, leave); parents = (season);};\n"
    "node joy {kind = UTILITY; discrete = FALSE; user = ((\"label\", \"Joy!\")); title = \"A title\"; parents = "
    "(umbrella, rain);\n"
    "  functable = ((5, 5, 5), (10, 2, -6));};};\n";

class AllocationTest : public StarvingTest {
 protected:
  // Compiled, with findings and with auto-update in turn; or a decision net.
  void Build(std::uint64_t seed) {
    net = Read(SEASON + (seed % 4 == 3 ? UMBRELLA : ROOF));
    if (seed % 4 == 3) return;
    if (seed % 2 != 0) CompileNet_bn(net.get());
    if (seed % 4 == 1) Observe(net, "roof", "leaks");
    if (seed % 8 == 5) SetNetAutoUpdate_bn(net.get(), 1);
    GetNodeBeliefs_bn(At("season"));
    SetNetComment_bn(net.get(), "");
    SetNetComment_bn(net.get(), "the change before");
    Reports(0);
  }
  // All that a host can see of the net and of the cases, and whether the net is sound.
  std::string Look() {
    ArgumentChecking_ns(26, env);
    GetNetName_bn(net.get());
    ArgumentChecking_ns(25, env);
    return Written(net) + ReadWhole(directory.Path("cases.cas")) + Reports();
  }
};

TEST_F(AllocationTest, EveryChangeIsMadeOrLeftAndSaid) {
  int numRefused = 0;
  for (std::uint64_t seed : {3, 5, 6}) {
    for (int kind = 0, numKinds = 1; kind < numKinds; ++kind) {
      std::string before, after;
      bool reached = true;
      for (long n = -1; reached; ++n) {
        for (bool away : {false, true}) {
          Build(seed);
          std::remove(directory.Path("cases.cas").c_str());
          Random random(seed);
          const Changes changes(net, random, directory.Path("cases.cas"), env);
          numKinds = changes.NumKinds();
          SCOPED_TRACE(changes.Name(kind) + (" of seed " + std::to_string(seed)) + ", request " + std::to_string(n));
          Reports(0);
          if (n < 0) before = Look();
          Starve(n, away, [&] { changes.Make(kind); });
          reached = n < 0 || failed;
          const std::string reports = Reports(5), look = Look();
          // A second function of the call may have found the reserve gone, and left its name set.
          if (reports.find("Not enough free memory to call") == std::string::npos) ASSERT_EQ(running, nullptr);
          if (n < 0) {
            after = look;
          } else if (look != after && reports.find("5582") == std::string::npos) {
            ASSERT_NE(reports, "") << "not done, not said";
            ++numRefused;
            UndoLastChange_bn(net.get());
            if (Changes::IsGradual(kind) && look != before) {
              ASSERT_EQ(Look(), before) << away << "\n" << reports;
            } else {
              ASSERT_EQ(look, before) << away << "\n" << reports;
              ASSERT_STREQ(GetNetComment_bn(net.get()), seed % 4 == 3 ? "the change before" : "") << "recorded";
            }
          }
        }
      }
    }
  }
  EXPECT_GT(numRefused, 200);
  Reports(0);
}

TEST_F(AllocationTest, UndoAndRedo) {
  for (std::uint64_t seed = 0; seed < 4; ++seed) {
    for (int kind = 0, numKinds = 1; kind < numKinds; ++kind) {
      Build(seed);
      Random random(seed);
      const Changes changes(net, random, directory.Path("cases.cas"), env);
      numKinds = changes.NumKinds();
      SCOPED_TRACE(changes.Name(kind));
      const std::string before = Look();
      const int sequence = UndoSequence(net.get());
      changes.Make(kind);
      Reports(0);
      if (UndoSequence(net.get()) == sequence) continue;
      const std::string after = Look();
      for (long n = 0, unfailed = 0; unfailed < 4; ++n) {  // the same record, back and forth
        int done = 0;
        Starve(n / 2, n % 4 > 1, [&] { done = n % 2 ? RedoLastChange_bn(net.get()) : UndoLastChange_bn(net.get()); });
        unfailed = failed ? 0 : unfailed + 1;
        Reports(0);
        ASSERT_EQ(done, 1);
        ASSERT_EQ(Look(), n % 2 ? after : before) << "request " << n / 2;
      }
    }
  }
}

// Beliefs either are those of a run without failures, or none are answered; the next attempt gives them.
TEST_F(AllocationTest, BeliefsAreRightOrNotAnswered) {
  std::vector<float> right;
  double probability = 0;
  int refusals = 0;
  bool reached = true;
  for (long n = -1; reached; ++n) {
    for (int round = 0; round < 4; ++round) {
      const bool away = round % 2 != 0, mpe = round / 2 != 0;
      SCOPED_TRACE("request " + std::to_string(n));
      Build(0);
      Observe(net, "roof", "leaks");
      EnterFindingNot_bn(At("rain"), 2);
      SetNetFindMPE_bn(net.get(), mpe);
      bool updated = false;
      Starve(n, away, [&] {
        CompileNet_bn(net.get());
        updated = CaseProbability_bn(net.get()) >= 0;
      });
      reached = n < 0 || failed;
      if (!updated) {
        ASSERT_NE(Reports(5), "");
        ++refusals;
        CompileNet_bn(net.get());
      }
      std::vector<float> beliefs;
      for (node_bn node : Nodes(net)) {
        const probtype* belief = GetNodeBeliefs_bn(node);
        beliefs.insert(beliefs.end(), belief, belief + NumStates(node));
      }
      if (mpe) {
        ASSERT_EQ(GetNodeMostProbable_bn(At("roof")), 1);
      } else if (n < 0) {
        right = beliefs;
        probability = CaseProbability_bn(net.get());
      } else {
        ASSERT_EQ(beliefs, right);
        ASSERT_EQ(CaseProbability_bn(net.get()), probability);
      }
      Reports(0);
    }
  }
  EXPECT_GT(refusals, 0);
}

TEST_F(AllocationTest, ReadingAndWritingANet) {
  for (int round = 0; round < 4; ++round) {
    const bool away = round % 2 != 0;
    net = Read(SEASON + (round < 2 ? ROOF : UMBRELLA));
    const std::string whole = Written(net), path = directory.Path("net.dne");
    filespec_ns file = FileNamed_ns(path.c_str(), env);
    bool reached = true;
    for (long n = 0; reached; ++n) {
      SCOPED_TRACE("request " + std::to_string(n));
      WriteWhole(path, "the old file");
      Starve(n, away, [&] { WriteNet_bn(net.get(), file); });
      reached = failed;
      ASSERT_EQ(ReadWhole(path), Reports(5).empty() ? whole : "the old file");
      std::string text(whole.size() + 1, 0);
      long size = 0;
      Starve(n, away, [&] { size = WriteNetText_bn(net.get(), text.data(), long(text.size())); });
      reached |= failed;
      ASSERT_EQ(size, Reports(5).empty() ? long(text.size()) : -1);
      ASSERT_EQ(text.c_str(), size < 0 ? "" : whole);
      WriteWhole(path, whole);
      const std::size_t used = MemoryUsed();
      Net copy;
      Starve(n, away, [&] { copy.reset(ReadNet_bn(file, 0)); });
      reached |= failed;
      if (Reports(5).empty()) ASSERT_EQ(Written(copy), whole);
      if (copy) {
        ArgumentChecking_ns(26, env);
        ASSERT_STREQ(GetNetName_bn(copy.get()), "Weather");
        ArgumentChecking_ns(25, env);
      }
      Reports(0);
      copy.reset();
      ASSERT_EQ(MemoryUsed(), used);
    }
    FreeFileSpec_ns(file);
  }
}

// What is had for many cases may be refused at any request: they are answered as ever, or not at all.
TEST_F(AllocationTest, ManyCasesAreAnsweredOrRefused) {
  std::vector<probtype> expected, beliefs;
  int numRefused = 0;
  bool reached = true;
  for (long n = -1; reached; ++n) {
    for (bool away : {false, true}) {
      SCOPED_TRACE(n);
      Build(3);
      DeleteNode_bn(At("umbrella"));
      DeleteNode_bn(At("joy"));
      CompileNet_bn(net.get());
      nodelist_bn nodes = DupNodeList_bn(GetNetNodes_bn(net.get()));
      const statetype states[] = {UNDEF_STATE, 1, UNDEF_STATE, 0, UNDEF_STATE, UNDEF_STATE};
      beliefs.assign(14, -1.0f);
      long answer = -2;
      Starve(n, away, [&] { answer = BeliefsOfCases_bn(nodes, states, 2, nodes, beliefs.data(), nullptr, 2); });
      reached = n < 0 || failed;
      if (n < 0) expected = beliefs;
      if (answer == 0) {
        EXPECT_EQ(beliefs, expected);
      } else {
        EXPECT_EQ(answer, -1);
        EXPECT_NE(Reports(5), "");
        ++numRefused;
      }
      FreeNodeList_bn(nodes);
      Reports(0);
    }
  }
  EXPECT_GT(numRefused, 4);
}

// Configurations are found as ever, or not at all.
TEST_F(AllocationTest, ConfigurationsAreFoundOrRefused) {
  std::vector<statetype> expected[2], states;
  int numRefused = 0;
  bool reached = true;
  for (long n = -1; reached; ++n) {
    bool anyFailed = false;
    for (bool away : {false, true}) {
      for (bool ofSome : {false, true}) {
        SCOPED_TRACE(n);
        Build(1);
        nodelist_bn some = List({At("season"), At("dry")});
        const std::string before = Look();
        states.assign(20, -9);
        int answer = -2;
        Starve(n, away, [&] {
          answer = ofSome ? MostProbableStates_bn(some, states.data(), nullptr)
                          : MostProbableConfigs_bn(net.get(), 4, states.data(), nullptr);
        });
        anyFailed |= failed;
        if (n < 0) expected[ofSome] = states;
        if (answer == -1) {
          EXPECT_NE(Reports(5), "");
          EXPECT_EQ(states[0], -9);
          ++numRefused;
        } else {
          EXPECT_EQ(states, expected[ofSome]);
        }
        FreeNodeList_bn(some);
        Reports(0);
        ASSERT_EQ(Look(), before);
      }
    }
    reached = n < 0 || anyFailed;
  }
  EXPECT_GT(numRefused, 4);
}

// Questions are answered as ever, or refused; and can be asked again.
TEST_F(AllocationTest, QuestionsAreAnsweredOrRefused) {
  constexpr int NUM_QUESTIONS = 9;
  const auto ask = [&](int question, std::vector<double>* answers) -> bool {
    nodelist_bn all = GetNetNodes_bn(net.get()), found = nullptr;
    const statetype states[] = {1, 0};
    double* const to = answers->data();
    switch (question) {
      case 0:
        return JointBeliefs_bn(all, to) == 0;
      case 1:
        return InformationGains_bn(At("season"), all, to) == 0;
      case 2:
        return VarianceReductions_bn(At("level"), all, to) == 0;
      case 3:
        return FindingImpacts_bn(At("season"), 0, GetNodeChildren_bn(At("dry")), to) == 0;
      case 4:
        return (to[0] = FindingsConflict_bn(net.get())) != undef_dbl_ns;
      case 5:
        return BeliefSensitivities_bn(At("season"), 1, all, to) == 0;
      case 6:
        return BeliefSensitivity_bn(At("season"), 1, At("roof"), states, 0, to) == 0;
      case 7:
        found = ConflictingFindings_bn(At("rain"), 0);  // which the leaking roof rules out
        break;
      default:
        found = MarkovBlanket_bn(At("rain"));
    }
    to[0] = LengthNodeList_bn(found);
    FreeNodeList_bn(found);
    return found != nullptr;
  };
  int numRefused = 0;
  for (int question = 0; question < NUM_QUESTIONS; ++question) {
    std::vector<double> expected;
    bool reached = true;
    for (long n = -1; reached; ++n) {
      for (bool away : {false, true}) {
        SCOPED_TRACE("question " + std::to_string(question) + ", request " + std::to_string(n));
        Build(0);
        SetTable(At("roof"), {1, 0, 1, 0, 0.5f, 0.5f, 0.5f, 0.5f, 0.25f, 0.75f, 0, 1});
        CompileNet_bn(net.get());
        Observe(net, "roof", "leaks");
        std::vector<double> answers(1000, -1);
        bool isAnswered = false;
        Starve(n, away, [&] { isAnswered = ask(question, &answers); });
        reached = n < 0 || failed;
        if (n < 0) expected = answers;
        if (!isAnswered) {
          ASSERT_NE(Reports(5), "");
          ++numRefused;
          CompileNet_bn(net.get());
          ASSERT_TRUE(ask(question, &answers));
        }
        ASSERT_EQ(answers, expected);
        ASSERT_EQ(Reports(5), "");
        Reports(0);
      }
    }
  }
  EXPECT_GT(numRefused, 50);
}

}  // namespace
}  // namespace bravic::testing

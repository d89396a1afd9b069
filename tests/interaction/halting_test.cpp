// Long operations, halted each time that they look up: one record, the neutral answer, and the net as before.
#include <csignal>

#include "Bn/model/Records.h"
#include "Win_Face/Interaction.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

long looks, lastLook;

int BRAVIC_CALL HaltAtLast(void*, const char*, double, double) {
  return ++looks > lastLook;
}

class Halting : public NetTest {
 protected:
  // A chain of large tables, so that everything about it takes a while.
  void SetUp() override {
    NetTest::SetUp();
    Build();
    SetWaitClock([] {
      static long seconds = 0;
      return ++seconds;
    });
  }
  void Build() {
    constexpr int STATES = 600;
    const std::vector<float> row(STATES, 1.0f / STATES);
    const statetype every = EVERY_STATE;
    net.reset(NewNet_bn("Test", env));
    chain.clear();
    for (const char* name : {"A", "B", "C"}) {
      node_bn node = New(name, STATES);
      if (!chain.empty()) AddLink_bn(chain.back(), node);
      SetNodeProbs_bn(node, &every, row.data());
      chain.push_back(node);
    }
  }
  void TearDown() override {
    SetWaitClock(nullptr);
    NetTest::TearDown();
  }
  std::vector<node_bn> chain;
};

TEST_F(Halting, LeavesOneRecordAndTheNetAsItWas) {
  filespec_ns file = FileNamed_ns(directory.Path("net.dne").c_str(), env);
  const TemporaryDirectory elsewhere;
  filespec_ns saved = FileNamed_ns(elsewhere.Path("net.dne").c_str(), env);
  filespec_ns cases = FileNamed_ns(elsewhere.Path("cases.cas").c_str(), env);
  for (node_bn node : chain) EnterFinding_bn(node, 3);
  WriteCase_bn(GetNetNodes_bn(net.get()), cases, -1, -1);
  RetractAllFindings_bn(net.get());
  WriteNet_bn(net.get(), saved);
  filespec_ns many = FileNamed_ns(elsewhere.Path("many.cas").c_str(), env);
  constexpr long MANY = 100000;
  std::string text = "// ~->[CASE-1]->~\n\nA\n";
  for (long i = 0; i < MANY; ++i) text += "#1\n";
  WriteWhole(elsewhere.Path("many.cas"), text);
  const auto readMany = [&] {
    double position = 0;
    std::vector<statetype> states(3 * MANY);
    nodelist_bn nodes = GetNetNodes_bn(net.get());
    return ReadCaseStates_bn(many, nodes, &position, MANY, states.data(), nullptr, nullptr) == -1 && position == 0;
  };
  const std::string whole = ReadWhole(elsewhere.Path("net.dne"));
  const auto inferMany = [&] {
    const std::vector<statetype> states(3 * 64, 5);
    nodelist_bn nodes = GetNetNodes_bn(net.get());
    return BeliefsOfCases_bn(nodes, states.data(), 64, nodes, nullptr, nullptr, 2) == -1;
  };
  const auto findConfigs = [&] {
    statetype states[3] = {-9};
    return MostProbableConfigs_bn(net.get(), 1, states, nullptr) == -1 && states[0] == -9;
  };
  const auto findStates = [&] {
    statetype states[3] = {-9};
    return MostProbableStates_bn(GetNetNodes_bn(net.get()), states, nullptr) == -1 && states[0] == -9;
  };
  std::vector<double> answers(4 * 721000);
  const auto nodes = [&] { return GetNetNodes_bn(net.get()); };
  const auto join = [&] {
    nodelist_bn list = List({chain[0], chain[1]});
    const int answer = JointBeliefs_bn(list, answers.data());
    FreeNodeList_bn(list);
    return answer == -1;
  };
  const auto leaveOut = [&] {
    nodelist_bn list = List({chain[2]});
    const int answer = FindingImpacts_bn(chain[0], 1, list, answers.data());
    FreeNodeList_bn(list);
    return answer == -1;
  };
  const struct {
    const char* name;
    std::function<bool()> isNeutral;
    bool isMiddleKnown = false;
    long looksBefore = 0;
  } rows[] = {
      {"GetNodeBeliefs_bn", [&] { return GetNodeBeliefs_bn(chain[0])[0] == 1; }},
      {"CaseProbability_bn", [&] { return CaseProbability_bn(net.get()) == -1; }},
      {"RandomCase_bn", [&] { return RandomCase_bn(GetNetNodes_bn(net.get()), 0, 1e6) == -1; }, true},
      {"ReverseLink_bn", [&] { return ReverseLink_bn(chain[0], chain[1]) == -1; }},
      {"WriteNet_bn", [&] { return WriteNet_bn(net.get(), file), true; }},
      {"RetractNodeFindings_bn", [&] { return RetractNodeFindings_bn(chain[1]), true; }, true},
      {"ReadNet_bn", [&] { return ReadNet_bn(saved, 0) == nullptr; }},
      {"ReadNet_bn", [&] { return ReadNet_bn(saved, 0) == nullptr; }, false, 20},  // within a table
      {"WriteNetText_bn", [&] { return WriteNetText_bn(net.get(), nullptr, 0) == -1; }},
      {"ReadNetText_bn", [&] { return ReadNetText_bn(whole.data(), long(whole.size()), "x", env) == nullptr; }},
      {"FadeProbs_bn", [&] { return FadeProbs_bn(chain[1], 0.5), true; }},
      {"FadeProbs_bn", [&] { return FadeProbs_bn(chain[1], 0.5), true; }, false, 3},  // the table to be made
      {"CaseFileRevisesProbs_bn",
       [&] { return CaseFileRevisesProbs_bn(cases, GetNetNodes_bn(net.get()), 0, 1), true; }},
      {"CaseFileRevisesProbs_bn", [&] { return CaseFileRevisesProbs_bn(cases, GetNetNodes_bn(net.get()), 0, 1), true; },
       false, 8},
      {"ReadCaseStates_bn", readMany, false, 2},
      {"BeliefsOfCases_bn", inferMany},
      {"JointBeliefs_bn", join},
      {"InformationGains_bn", [&] { return InformationGains_bn(chain[0], nodes(), answers.data()) == -1; }, false, 5},
      {"FindingImpacts_bn", leaveOut},
      {"FindingsConflict_bn", [&] { return FindingsConflict_bn(net.get()) == undef_dbl_ns; }},
      {"BeliefSensitivities_bn", [&] { return BeliefSensitivities_bn(chain[0], 1, nodes(), answers.data()) == -1; },
       false, 5},
      {"MostProbableConfigs_bn", findConfigs},
      {"MostProbableStates_bn", findStates},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Build();
    CompileNet_bn(net.get());
    EnterFinding_bn(chain[2], 3);
    SeedRandom_ns(1, env);  // with others the case may be had before anybody looks
    if (row.isMiddleKnown) EnterFinding_bn(chain[1], 3);
    SetNetAutoUpdate_bn(net.get(), 1);
    const statetype finding = GetNodeFinding_bn(chain[1]);
    const std::string parents = Names(GetNodeParents_bn(chain[1]));
    const statetype third = 3;
    const double experience = GetNodeExperience_bn(chain[1], &third);
    looks = 0;
    lastLook = row.looksBefore;
    SetProgressCallback_ns(HaltAtLast, nullptr, env);
    EXPECT_TRUE(row.isNeutral());
    SetProgressCallback_ns(nullptr, nullptr, env);
    EXPECT_GT(looks, row.looksBefore);
    EXPECT_EQ(Gist(), std::string("5 2450 ") + row.name);
    EXPECT_EQ(GetNodeFinding_bn(chain[1]), finding);
    EXPECT_EQ(Names(GetNodeParents_bn(chain[1])), parents);
    EXPECT_EQ(GetNodeExperience_bn(chain[1], &third), experience);
    EXPECT_TRUE(FilesIn(directory.Path()).empty());
    EXPECT_NEAR(CaseProbability_bn(net.get()) * (row.isMiddleKnown ? 360000 : 600), 1, 1e-4);
    EXPECT_NEAR(GetNodeBeliefs_bn(chain[0])[0] * 600, 1, 1e-4);
  }
  for (filespec_ns each : {file, saved, cases, many}) FreeFileSpec_ns(each);
}

TEST_F(Halting, StepsBackAndForthAreMadeOrLeft) {
  const std::pair<int(BRAVIC_CALL*)(net_bn), const char*> steps[] = {{UndoLastChange_bn, "5 2450 UndoLastChange_bn"},
                                                                     {RedoLastChange_bn, "5 2450 RedoLastChange_bn"}};
  for (const auto& [step, gist] : steps) {
    Build();
    CompileNet_bn(net.get());
    for (node_bn node : {chain[2], chain[1]}) EnterFinding_bn(node, 3);
    if (step == RedoLastChange_bn) {
      RetractNodeFindings_bn(chain[1]);
      UndoLastChange_bn(net.get());
    }
    net->autoupdate = 1;  // not as a change, which would be the last one
    looks = lastLook = 0;
    SetProgressCallback_ns(HaltAtLast, nullptr, env);
    EXPECT_EQ(step(net.get()), -1);
    SetProgressCallback_ns(nullptr, nullptr, env);
    EXPECT_EQ(Gist(), gist);
    EXPECT_EQ(GetNodeFinding_bn(chain[1]), 3);
    EXPECT_NEAR(CaseProbability_bn(net.get()) * 360000, 1, 1e-4) << gist;
    EXPECT_EQ(step(net.get()), 1);
    EXPECT_NEAR(CaseProbability_bn(net.get()) * 600, 1, 1e-4) << gist;
  }
}

#if !defined(_WIN32)
int hostsInterrupts;

TEST_F(Halting, AnInterruptHaltsWhereTheHostAsksForIt) {
  const auto before = std::signal(SIGINT, [](int) { ++hostsInterrupts; });
  EXPECT_EQ(HaltOnInterrupt_ns(1, env), 1);
  std::raise(SIGINT);
  EXPECT_EQ(RandomCase_bn(GetNetNodes_bn(net.get()), 0, 1), 0) << "too short to be halted";
  RetractAllFindings_bn(net.get());
  for (node_bn node : {chain[0], chain[2]}) EnterFinding_bn(node, 3);
  SeedRandom_ns(1, env);  // with others the case may be had before anybody looks
  EXPECT_EQ(RandomCase_bn(GetNetNodes_bn(net.get()), 0, 1e6), -1);
  EXPECT_EQ(Gist(), "5 2450 RandomCase_bn");
  EXPECT_EQ(hostsInterrupts, 0);
  EXPECT_EQ(HaltOnInterrupt_ns(0, env), 0);
  std::raise(SIGINT);
  EXPECT_EQ(hostsInterrupts, 1);
  std::signal(SIGINT, before);
}
#endif

}  // namespace
}  // namespace bravic::testing

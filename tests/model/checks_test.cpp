// Readiness for compiling and optimizing, and the consistency of damaged records.
#include "Bn/model/Checks.h"

#include <cstdio>
#include <functional>
#include <random>

#include "Basic/Memory.h"
#include "Bn/model/Attributes.h"
#include "Bn/model/Net.h"
#include "Bn/model/Tables.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

class ChecksTest : public NetTest {
 protected:
  void SetUp() override {
    NetTest::SetUp();
    net = ChestClinic(env);
  }
  std::string Verdict(Purpose purpose, int mode, bool wrap = false) {
    const nodelist_rec& nodes = OrderedNodes(net.get());
    const Failure failure = CheckReadiness(Entries(nodes), wrap, purpose, mode, wrap ? net.get() : nullptr);
    return failure ? std::to_string(failure->number) + " " + failure->mesg : "";
  }
};

TEST_F(ChecksTest, AFitNetPassesInEveryMode) {
  for (int mode : {0, 1, 2}) {
    EXPECT_EQ(Verdict(Purpose::Compile, mode), "");
    EXPECT_EQ(Verdict(Purpose::Optimize, mode), "");
  }
  net = Chain(env, 20000, 2);  // searched without recursion
  EXPECT_EQ(Verdict(Purpose::Compile, 0), "");
}

TEST_F(ChecksTest, FaultsInTheirWords) {
  struct Case {
    std::function<void()> damage;
    std::string structure, compile, optimize;  // verdicts in mode 2, and in mode 0 for both purposes
  };
  const auto node = [&](const char* name) { return Named(net, name); };
  const std::string same = "same";
  const Case cases[] = {
      {[&] { SetNodeKind_bn(node("xray"), ADVERSARY_NODE); },
       "-2225 node 'xray' is not a nature, decision, or utility node", same, same},
      {[&] { DeleteNode_bn(node("asia")); }, "-2226 node 'tub' has a disconnected link", same, same},
      {[&] { AddLink_bn(node("bronc"), node("dysp")); },
       "-2266 node 'dysp' has multiple links from the same parent node", same, same},
      {[&] { AddLink_bn(node("xray"), node("xray")); }, "-2228 there is a cycle (containing link xray -> xray)", same,
       same},
      {[&] { SetNodeKind_bn(node("smoke"), DECISION_NODE); }, "", "-2007 it has a decision node ('smoke')", ""},
      {[&] {
         node_bn gain = NewNode_bn("gain", 0, net.get());
         SetNodeKind_bn(gain, UTILITY_NODE);
       },
       "", "-2105 it has a utility node ('gain')", "-2215 node 'gain' doesn't have a deterministic relation table"},
      {[&] { DeleteNodeRelation_bn(node("asia")); }, "", "-2229 node 'asia' doesn't have a relation table",
       "-2229 node 'asia' doesn't have a relation table"},
      {[&] { NewNode_bn("real", 0, net.get()); }, "", "-2229 node 'real' doesn't have a relation table",
       "-2229 node 'real' doesn't have a relation table"},
      {[&] {
         const statetype states[] = {1, 0};
         const float missing[] = {UNDEF_PROB, 0.5f};
         SetNodeProbs_bn(node("dysp"), states, missing);
       },
       "", "-2230 node 'dysp' doesn't have a complete relation table (e.g., missing either=no, bronc=yes)", same},
      {[&] {
         const float missing[] = {UNDEF_PROB, 0.5f};
         SetNodeProbs_bn(node("asia"), nullptr, missing);
       },
       "", "-2230 node 'asia' doesn't have a complete relation table (e.g., missing its only row)", same},
  };
  for (const Case& c : cases) {
    net = ChestClinic(env);
    c.damage();
    Reports(0);
    SCOPED_TRACE(c.structure + c.compile);
    const std::string compile = c.compile == same ? c.structure : c.compile;
    EXPECT_EQ(Verdict(Purpose::Compile, 2), c.structure);
    EXPECT_EQ(Verdict(Purpose::Compile, 0), compile);
    EXPECT_EQ(Verdict(Purpose::Optimize, 0), c.optimize == same ? compile : c.optimize);
  }
}

TEST_F(ChecksTest, AParentLeftOutAndTheWrappedText) {
  node_bn lung = Named(net, "lung");
  const Failure failure = CheckReadiness({&lung, 1}, true, Purpose::Optimize, 2, nullptr);
  ASSERT_TRUE(failure);
  EXPECT_STREQ(failure->mesg,
               "can't optimize net, because node 'smoke' (a parent of node lung) is not included in the net");
  DeleteNodeRelation_bn(lung);
  EXPECT_EQ(Verdict(Purpose::Compile, 0, true), std::string("-2229 can't compile net '") + GetNetName_bn(net.get()) +
                                                    "', because node 'lung' doesn't have a relation table");
}

TEST_F(ChecksTest, AUserMayPassAnIncompleteTable) {
  DeleteNodeRelation_bn(Named(net, "asia"));
  DeleteNodeRelation_bn(Named(net, "xray"));
  HasUserInteraction_ns(1, env);
  for (const char* typed : {"y", "n"}) {
    const std::string path = ::testing::TempDir() + "bravic_readiness_" + std::to_string(std::random_device{}());
    std::FILE* file = std::fopen(path.c_str(), "w");
    std::fputs(typed, file);
    std::fclose(file);
    ASSERT_NE(std::freopen(path.c_str(), "r", stdin), nullptr);
    std::remove(path.c_str());
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(Verdict(Purpose::Compile, 1), *typed == 'y' ? "" : "-2229 node 'asia' doesn't have a relation table");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "Won't be able to finish compiling, because node 'asia' doesn't have a complete probability table.  "
              "Continue (yes/NO)? ");
  }
  HasUserInteraction_ns(0, env);
  EXPECT_EQ(Verdict(Purpose::Compile, 1), "-2229 node 'asia' doesn't have a relation table");
}

// Each damage is mended again, so that the net can be freed.
TEST_F(ChecksTest, DamagedRecordsAreNoticed) {
  node_bn dysp = Named(net, "dysp"), bronc = Named(net, "bronc");
  struct Case {
    std::function<void()> swap;
    int number;
  };
  char* nothing = nullptr;
  char illegal[] = "2x";
  char* illegalName = illegal;
  int kind = 7, numstates = -1, manyStates = 3, evidence = 2, count = 0, flag = 2;
  node_bn wrong = dysp, none = nullptr;
  float* shortTable = static_cast<float*>(Allocate(7 * sizeof(float)));
  float* freed = reinterpret_cast<float*>(&kind);
  float* likelihood = static_cast<float*>(Allocate(2 * sizeof(float)));
  int noEvidence = 0;
  TagWord freedTag = NO_TAG;
  net_bn noNet = nullptr;
  const Case cases[] = {
      {[&] { std::swap(dysp->name, nothing); }, -2301},
      {[&] { std::swap(dysp->name, illegalName); }, -2301},
      {[&] { std::swap(dysp->kind, kind); }, -2300},
      {[&] { std::swap(dysp->numstates, numstates); }, -2300},
      {[&] { std::swap(dysp->numstates, manyStates); }, -2304},
      {[&] { std::swap(dysp->probs, shortTable); }, -2304},
      {[&] { std::swap(dysp->probs, freed); }, -2304},
      {[&] { std::swap(dysp->evidence, evidence); }, -2305},
      {[&] {
         std::swap(dysp->likelihood, likelihood);
         std::swap(dysp->evidence, noEvidence);
       },
       -2305},
      {[&] { std::swap(dysp->preds.ar[1], wrong); }, -2302},
      {[&] { std::swap(dysp->preds.ar[2], none); }, -2302},
      {[&] { std::swap(bronc->succs.num, count); }, -2302},
      {[&] { std::swap(bronc->tag, freedTag); }, -2302},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(&c - cases);
    c.swap();
    const Failure ofNode = CheckNodeConsistency(dysp);
    const Failure ofNet = CheckNetConsistency(net.get());
    ArgumentChecking_ns(26, env);
    EXPECT_EQ(GetNodeNumberStates_bn(dysp), 1) << "the answer of a refused call";
    ArgumentChecking_ns(25, env);
    c.swap();
    ASSERT_TRUE(ofNode);
    EXPECT_EQ(ofNode->number, c.number) << ofNode->mesg;
    EXPECT_TRUE(ofNet);
    EXPECT_NE(Reports().find(std::to_string(-c.number)), std::string::npos);
  }
  Free(shortTable);
  Free(likelihood);
  EXPECT_EQ(CheckNodeConsistency(dysp), nullptr);
  std::swap(net->findmpe, flag);
  EXPECT_EQ(CheckNetConsistency(net.get())->number, -2300);
  std::swap(net->findmpe, flag);
  std::swap(dysp->innet, noNet);
  EXPECT_EQ(CheckNetConsistency(net.get())->number, -2307);
  std::swap(dysp->innet, noNet);
  net->numEvidence++;
  EXPECT_EQ(CheckNetConsistency(net.get())->number, -2305);
  net->numEvidence--;
  EXPECT_EQ(CheckNetConsistency(net.get()), nullptr);
}

}  // namespace
}  // namespace bravic::testing

// Readiness for compiling and optimizing, and the consistency of damaged records.
#include "Bn/model/Checks.h"

#include "Basic/Memory.h"
#include "Bn/model/Consistency.h"
#include "Bn/model/NodeOrder.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

class ChecksTest : public NetTest {
 protected:
  void SetUp() override {
    NetTest::SetUp();
    net = ChestClinic(env);
  }
  std::string Verdict(Purpose purpose, Extent extent) {
    const Failure failure = CheckFitness(Entries(OrderedNodes(net.get())), purpose, extent);
    return failure ? std::to_string(failure->number) + " " + failure->mesg : "";
  }
};

TEST_F(ChecksTest, AFitNetPasses) {
  EXPECT_EQ(Verdict(Purpose::Compile, Extent::Tables), "");
  EXPECT_EQ(Verdict(Purpose::Optimize, Extent::Tables), "");
  net = Chain(env, 20000, 2);  // searched without recursion
  EXPECT_EQ(Verdict(Purpose::Compile, Extent::Tables), "");
}

TEST_F(ChecksTest, FaultsByTheirNumbers) {
  struct Case {
    std::function<void()> damage;
    std::string structure, compile, optimize;  // verdicts on the structure, and on all for both purposes
  };
  const std::string same = "same";
  const std::vector<float> missing = {UNDEF_PROB, 0.5f};
  const statetype states[] = {1, 0};
  const Case cases[] = {
      {[&] { SetNodeKind_bn(At("xray"), ADVERSARY_NODE); }, "-2225 xray", same, same},
      {[&] { DeleteNode_bn(At("asia")); }, "-2226 tub", same, same},
      {[&] { AddLink_bn(At("bronc"), At("dysp")); }, "-2266 dysp", same, same},
      {[&] { AddLink_bn(At("xray"), At("xray")); }, "-2228", same, same},
      {[&] { SetNodeKind_bn(At("smoke"), DECISION_NODE); }, "", "-2007 smoke", ""},
      {[&] { SetNodeKind_bn(New("gain", 0), UTILITY_NODE); }, "", "-2105 gain", "-2215 gain"},
      {[&] { DeleteNodeRelation_bn(At("asia")); }, "", "-2229 asia", same},
      {[&] { New("real", 0); }, "", "-2229 real", same},
      {[&] { SetNodeProbs_bn(At("dysp"), states, missing.data()); }, "", "-2230 dysp", same},
      {[&] { SetNodeProbs_bn(At("asia"), nullptr, missing.data()); }, "", "-2230 asia", same},
  };
  std::string all;
  for (const Case& c : cases) {
    net = ChestClinic(env);
    c.damage();
    Reports(0);
    SCOPED_TRACE(c.structure + c.compile);
    all += Verdict(Purpose::Compile, Extent::Tables) + "\n";
    const std::string compile = c.compile == same ? c.structure : c.compile;
    EXPECT_EQ(GistOf(Verdict(Purpose::Compile, Extent::Structure)), c.structure);
    EXPECT_EQ(GistOf(Verdict(Purpose::Compile, Extent::Tables)), compile);
    EXPECT_EQ(GistOf(Verdict(Purpose::Optimize, Extent::Tables)), c.optimize == same ? compile : c.optimize);
  }
  for (const char* said :
       {"(containing link xray -> xray)", "(e.g., missing either=no, bronc=yes)", "(e.g., missing its only row)"}) {
    EXPECT_NE(all.find(said), std::string::npos) << said;
  }
}

TEST_F(ChecksTest, AParentLeftOutAndTheWrappedText) {
  node_bn lung = Named(net, "lung");
  const Failure failure = CheckReadiness({&lung, 1}, Purpose::Optimize, Extent::Structure, net.get());
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->mesg, std::string("can't optimize net '") + GetNetName_bn(net.get()) +
                               "', because node 'smoke' (a parent of node lung) is not included in the net");
}

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

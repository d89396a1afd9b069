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

// Puts a value into a field, and when it is called again puts back what was there.
template <class T>
std::function<void()> With(T& field, std::type_identity_t<T> value) {
  return [&field, value]() mutable { std::swap(field, value); };
}

TEST_F(ChecksTest, DamagedRecordsAreNoticed) {
  DeleteNode_bn(At("asia"));  // leaves a placeholder above "tub"
  SetNetElimOrder_bn(net.get(), GetNetNodes_bn(net.get()));
  ASSERT_EQ(CheckNetConsistency(net.get()), nullptr);
  node_bn dysp = At("dysp"), bronc = At("bronc"), smoke = At("smoke"), tub = At("tub"), either = At("either");
  const Net other(NewNet_bn("Other", env));
  node_bn stranger = NewNode_bn("stranger", 2, other.get());
  EnterFinding_bn(At("xray"), 0);
  char illegal[] = "2x", unknown[] = "unknown";
  const auto block = [](std::size_t nbytes) { return AllocateCleared(1, nbytes); };
  void *two = block(2), *eight = block(8), *freed = &illegal;
  const auto shortened = [&](auto*& field) { return With(field, static_cast<std::decay_t<decltype(field)>>(two)); };
  struct Case {
    std::function<void()> swap;
    int number;
    const char* said;
    node_bn node = nullptr;  // whose check finds it, too
  };
  node_bn stub = tub->preds.ar[0];
  net_bn damaged = reinterpret_cast<net_bn>(illegal);
  constexpr int HIGH = std::numeric_limits<int>::max();
  const Case cases[] = {
      {With(dysp->name, nullptr), 2301, "'' is damaged: its name", dysp},
      {With(dysp->name, illegal), 2301, "'2x' is damaged: its name", dysp},
      {With(dysp->name, unknown), 2301, "its net doesn't find it"},
      {With(dysp->kind, 7), 2300, "`kind` of node 'dysp' is too large (= 7, but maximum is 6)", dysp},
      {With(dysp->kind, -1), 2300, "`kind` of node 'dysp' is too small (= -1, but minimum is 0)", dysp},
      {With(dysp->discrete, 3), 2300, "`discrete` of node 'dysp' is too large", dysp},
      {With(dysp->measure, 9), 2300, "`measure` of node 'dysp' is too large", dysp},
      {With(dysp->chance, -2), 2300, "`chance` of node 'dysp' is too small", dysp},
      {With(dysp->numstates, -1), 2300, "`numstates` of node 'dysp' is too small", dysp},
      {With(dysp->numstates, 3), 2304, "its state names are fewer", dysp},
      {With(dysp->numstates, HIGH), 2304, "its state names are fewer", dysp},
      {shortened(dysp->levels), 2304, "its levels are too few", dysp},
      {shortened(dysp->inputs), 2304, "its link names are fewer", dysp},
      {shortened(dysp->probs), 2304, "its probability table", dysp},
      {With(dysp->probs, static_cast<float*>(freed)), 2304, "its probability table", dysp},
      {With(either->numstates, HIGH), 2304, "its probability table", dysp},
      {shortened(dysp->numcases), 2304, "its experience table", dysp},
      {shortened(dysp->determin), 2304, "its table of function states", dysp},
      {shortened(dysp->determinv), 2304, "its table of function values", dysp},
      {shortened(dysp->likelihood), 2304, "its likelihood finding", dysp},
      {shortened(dysp->belief), 2304, "its belief vector", dysp},
      {With(dysp->evidence, 2), 2305, "none of its states", dysp},
      {With(dysp->evidence, IMPOS_STATE), 2305, "none of its states", dysp},
      {With(At("xray")->likelihood, static_cast<float*>(eight)), 2305, "beside a likelihood", At("xray")},
      {With(dysp->likelihood, static_cast<float*>(eight)), 2305, "its counts of findings"},
      {With(net->numEvidence, 2), 2305, "its counts of findings"},
      {With(dysp->preds.num, -1), 2302, "its list of parents", dysp},
      {With(dysp->preds.num, 3000), 2302, "its list of parents", dysp},
      {With(dysp->preds.ar, nullptr), 2302, "its list of parents", dysp},
      {With(dysp->preds.ar[2], nullptr), 2302, "it doesn't follow its parents", dysp},
      {With(dysp->preds.ar[0], nullptr), 2302, "a parent is damaged", dysp},
      {With(bronc->tag, NO_TAG), 2302, "a parent is damaged", dysp},
      {With(dysp->preds.ar[1], stranger), 2302, "a parent is in another net", dysp},
      {With(dysp->preds.ar[1], smoke), 2302, "a parent doesn't have it among its children", dysp},
      {With(bronc->succs.num, 0), 2302, "a parent doesn't have it among its children", dysp},
      {With(bronc->succs.num, -1), 2302, "a parent is damaged", dysp},
      {With(bronc->succs.num, -1), 2303, "its list of children", bronc},
      {With(bronc->succs.num, 3000), 2303, "its list of children", bronc},
      {With(bronc->succs.ar, nullptr), 2303, "its list of children", bronc},
      {With(dysp->preds.num, 3000), 2303, "a child is damaged", bronc},
      {With(stub->succs, bronc->succs), 2303, "a placeholder has children", stub},
      {With(bronc->succs.ar[0], nullptr), 2303, "a child is damaged", bronc},
      {With(bronc->succs.ar[0], stub), 2303, "a child is damaged", bronc},
      {With(bronc->succs.ar[0], tub), 2303, "a child doesn't have it among its parents", bronc},
      {With(smoke->succs.ar[0], smoke->succs.ar[1]), 2303, "a child is listed twice", smoke},
      {With(dysp->innet, nullptr), 2307, "one of its nodes is in another net"},
      {With(dysp->innet, damaged), 2306, "its net is damaged or freed", dysp},
      {With(net->name, nullptr), 2301, "net '' is damaged: its name"},
      {With(net->findmpe, 2), 2300, "a flag is neither"},
      {With(net->autoupdate, -1), 2300, "a flag is neither"},
      {With(net->nodes.num, 3000), 2307, "its list of nodes is too short"},
      {With(net->nodes.ar, nullptr), 2307, "its list of nodes is too short"},
      {With(net->nodes.ar[1], nullptr), 2307, "one of its nodes is damaged"},
      {With(net->nodes.ar[1], stub), 2307, "one of its nodes is damaged"},
      {With(net->stubs.ar[0], dysp), 2307, "one of its nodes is damaged"},
      {With(net->elimorder.num, 3000), 2308, "its elimination order"},
      {With(net->elimorder.ar[0], nullptr), 2308, "its elimination order"},
      {With(net->elimorder.ar[0], stub), 2308, "its elimination order"},
      {With(net->elimorder.ar[0], stranger), 2308, "its elimination order"},
      {With(net->tag, NO_TAG), 5143, "damaged or freed net_bn"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(&c - cases) + ", " + c.said);
    c.swap();
    const Failure ofNet = CheckNetConsistency(net.get()), ofNode = c.node ? CheckNodeConsistency(c.node) : nullptr;
    ArgumentChecking_ns(26, env);
    const bool answers = GetNetNodes_bn(net.get()) != nullptr;
    const int numStates = c.node && !IsStub(*c.node) ? GetNodeNumberStates_bn(c.node) : 1;
    ArgumentChecking_ns(25, env);
    c.swap();
    ASSERT_TRUE(ofNet);
    if (!c.node) {
      EXPECT_EQ(ofNet->number, -c.number);
      EXPECT_NE(std::string(ofNet->mesg).find(c.said), std::string::npos) << ofNet->mesg;
    } else {
      ASSERT_TRUE(ofNode);
      EXPECT_EQ(ofNode->number, -c.number);
      EXPECT_NE(std::string(ofNode->mesg).find(c.said), std::string::npos) << ofNode->mesg;
    }
    EXPECT_FALSE(answers);
    EXPECT_EQ(numStates, 1) << "the answer of a refused call";
    EXPECT_NE(Reports(), "");
  }
  EXPECT_EQ(CheckNodeConsistency(nullptr)->number, -5144);
  EXPECT_EQ(CheckNetConsistency(nullptr)->number, -5143);
  EXPECT_EQ(CheckNetConsistency(net.get()), nullptr);
  Free(two);
  Free(eight);
}

}  // namespace
}  // namespace bravic::testing

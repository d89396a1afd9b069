// Beliefs and the probability of the findings on nets with known answers, and the most probable configuration.

#include "Bn/model/Records.h"
#include "support/library.h"
#include "support/nets.h"

namespace bravic::testing {
namespace {

class Beliefs : public LibraryTest {};

// Textbook values of the chest clinic (Lauritzen & Spiegelhalter 1988).
TEST_F(Beliefs, OfTheChestClinic) {
  Net net = ChestClinic(env);
  CompileNet_bn(net.get());
  EXPECT_NEAR(CaseProbability_bn(net.get()), 1, 1e-7);
  EXPECT_NEAR(Belief(net, "tub", "yes"), 0.0104, 1e-6);
  EXPECT_NEAR(Belief(net, "lung", "yes"), 0.055, 1e-6);
  EXPECT_NEAR(Belief(net, "bronc", "yes"), 0.45, 1e-6);
  EXPECT_NEAR(Belief(net, "either", "yes"), 0.064828, 1e-6);
  EXPECT_NEAR(Belief(net, "xray", "yes"), 0.11029, 1e-6);
  EXPECT_NEAR(Belief(net, "dysp", "yes"), 0.4359706, 1e-6);
  Observe(net, "bronc", "no");
  EXPECT_NEAR(CaseProbability_bn(net.get()), 0.55, 1e-6);
  EXPECT_NEAR(Belief(net, "smoke", "yes"), 0.3636364, 1e-6);
  Observe(net, "tub", "no");
  EXPECT_NEAR(Belief(net, "dysp", "yes"), 0.1256364, 1e-6);
  EXPECT_TRUE(IsBeliefUpdated_bn(Named(net, "asia")));
  EXPECT_EQ(Belief(net, "tub", "no"), 1);
}

TEST_F(Beliefs, OfWhatTakesNoPart) {
  Net net = Chain(env, 3);
  node_bn assumed = AddNode(net, "Assumed", {"x", "y"}, {}, {0.5f, 0.5f});
  SetNodeKind_bn(assumed, ASSUME_NODE);
  CompileNet_bn(net.get());
  EXPECT_EQ(GetNodeBeliefs_bn(assumed)[0], 1);
  EXPECT_EQ(GetNodeBeliefs_bn(assumed)[1], 0);
}

TEST_F(Beliefs, OfFindingsFarTooImprobableForAFloat) {
  Net net = Chain(env, 600);
  CompileNet_bn(net.get());
  std::vector<node_bn> nodes = Nodes(net);
  for (std::size_t i = 0; i < 300; ++i) EnterFinding_bn(nodes[i], i % 2);
  double expected = 0.5 * std::pow(0.2, 299);  // about 5e-210
  EXPECT_NEAR(CaseProbability_bn(net.get()) / expected, 1, 1e-4);
  EXPECT_NEAR(GetNodeBeliefs_bn(nodes[300])[1], 0.8, 1e-6);
  // Too small for a double as well: 0 would mean a contradiction.
  for (std::size_t i = 300; i < 599; ++i) EnterFinding_bn(nodes[i], i % 2);
  EXPECT_EQ(CaseProbability_bn(net.get()), std::numeric_limits<double>::min());
  EXPECT_NEAR(CaseLogProbability_bn(net.get()), std::log(0.5) + 598 * std::log(0.2), 1e-4);
  EXPECT_NEAR(GetNodeBeliefs_bn(nodes[599])[0], 0.8, 1e-6);
  EXPECT_EQ(Reports(), "");
}

TEST_F(Beliefs, OfRowsDeclaredImpossible) {
  Net net(NewNet_bn("Net", env));
  AddNode(net, "A", {"x", "y"}, {}, {0.25f, 0.75f});
  AddNode(net, "B", {"x", "y"}, {"A"}, {0.2f, 0.8f, IMPOS_PROB, IMPOS_PROB});
  CompileNet_bn(net.get());
  EXPECT_EQ(Belief(net, "A", "x"), 1);
  EXPECT_FLOAT_EQ(Belief(net, "B", "x"), 0.2f);
  EXPECT_NEAR(CaseProbability_bn(net.get()), 0.25, 1e-7);
}

TEST_F(Beliefs, OfTheMostProbableConfiguration) {
  Net net = ChestClinic(env);
  node_bn smoke = Named(net, "smoke"), dysp = Named(net, "dysp");
  CompileNet_bn(net.get());
  EXPECT_EQ(GetNodeMostProbable_bn(smoke), UNDEF_STATE);
  EXPECT_EQ(Gist(), "5 5567 GetNodeMostProbable_bn ChestClinic node");
  EXPECT_EQ(SetNetFindMPE_bn(net.get(), 1), 0);
  Observe(net, "xray", "yes");
  Observe(net, "dysp", "yes");
  // asia no, tub no, smoke yes, lung yes, bronc yes, either yes.
  EXPECT_EQ(GetNodeMostProbable_bn(smoke), 0);
  EXPECT_EQ(GetNodeMostProbable_bn(Named(net, "lung")), 0);
  EXPECT_EQ(GetNodeMostProbable_bn(Named(net, "tub")), 1);
  EXPECT_EQ(GetNodeMostProbable_bn(dysp), 0);
  EXPECT_EQ(Belief(net, "bronc", "yes"), 1);
  EXPECT_NEAR(CaseProbability_bn(net.get()), 0.99 * 0.99 * 0.5 * 0.1 * 0.6 * 0.98 * 0.9, 1e-8);
  EXPECT_EQ(SetNetFindMPE_bn(net.get(), 0), 0);
  EXPECT_LT(Belief(net, "bronc", "yes"), 1);
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  EXPECT_EQ(Belief(net, "bronc", "yes"), 1);
  // Nothing known of a fair coin: both are as probable.
  Net coin(NewNet_bn("Coin", env));
  AddNode(coin, "C", {"heads", "tails"}, {}, {0.5f, 0.5f});
  SetNetFindMPE_bn(coin.get(), 1);
  CompileNet_bn(coin.get());
  EXPECT_EQ(GetNodeMostProbable_bn(Named(coin, "C")), 0);
  EXPECT_EQ(Belief(coin, "C", "tails"), 1);
}

// What updating has to say goes to a person at the console, and to nobody else.
TEST_F(Beliefs, AreAnnouncedOnlyToAPerson) {
  for (int interaction : {0, 1}) {
    HasUserInteraction_ns(interaction, env);
    Net net = ChestClinic(env);
    SetNetAutoUpdate_bn(net.get(), 1);
    ::testing::internal::CaptureStdout();
    CompileNet_bn(net.get());
    Observe(net, "smoke", "yes");
    Observe(net, "bronc", "yes");
    // What takes something back or replaces it has all findings applied anew, as one piece of evidence.
    RetractNodeFindings_bn(Named(net, "smoke"));
    const float likelihood[] = {0.5f, 1};
    EnterNodeLikelihood_bn(Named(net, "smoke"), likelihood);
    EnterNodeLikelihood_bn(Named(net, "smoke"), likelihood);
    Observe(net, "smoke", "yes");
    SetNetFindMPE_bn(net.get(), 1);
    Observe(net, "dysp", "yes");
    Net tied = Chain(env, 2);
    for (const char* name : {"N0", "N1"}) SetTable(Named(tied, name), std::vector<float>(name[1] == '0' ? 2 : 4, 0.5f));
    SetNetFindMPE_bn(tied.get(), 1);
    SetNetAutoUpdate_bn(tied.get(), 1);
    CompileNet_bn(tied.get());
    // What came before counts although its probability was never asked for.
    Net quiet = ChestClinic(env);
    CompileNet_bn(quiet.get());
    Observe(quiet, "smoke", "yes");
    GetNodeBeliefs_bn(Named(quiet, "xray"));
    SetNetAutoUpdate_bn(quiet.get(), 1);
    Observe(quiet, "bronc", "yes");
    std::string printed = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(printed, !interaction ? ""
                                    : "Probability of new evidence = 100 %, of all evidence = 100 %.\n"
                                      "Probability of new evidence = 50 %, of all evidence = 50 %.\n"
                                      "Probability of new evidence = 60 %, of all evidence = 30 %.\n"
                                      "Probability of new evidence = 45 %, of all evidence = 45 %.\n"
                                      "Probability of new evidence = 66.6667 %, of all evidence = 30 %.\n"
                                      "Probability of new evidence = 75 %, of all evidence = 22.5 %.\n"
                                      "Probability of new evidence = 30 %, of all evidence = 30 %.\n"
                                      "The probability of the most probable configuration is 20.1117 %.\n"
                                      "Multiple configurations are possible (add artificial \"findings\" to break "
                                      "ties).\n"
                                      "Probability of new evidence = 60 %, of all evidence = 30 %.\n");
  }
  HasUserInteraction_ns(0, env);
}

}  // namespace
}  // namespace bravic::testing

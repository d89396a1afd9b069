// BeliefsOfCases_bn: what hosts pass and get, and what is refused.

#include <climits>

#include "support/library.h"
#include "support/nets.h"

namespace bravic::testing {
namespace {

class CaseBeliefs : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    net_ = ChestClinic(env);
    observed_ = List({"asia", "dysp", "either"});
    targets_ = List({"tub", "dysp"});
  }
  void TearDown() override {
    FreeNodeList_bn(observed_);
    FreeNodeList_bn(targets_);
    net_.reset();
    LibraryTest::TearDown();
  }
  nodelist_bn List(std::initializer_list<const char*> names) const {
    nodelist_bn list = NewNodeList_bn(0, env);
    for (const char* name : names) AddNodeToList_bn(Named(net_, name), list, LengthNodeList_bn(list));
    return list;
  }
  long Ask(std::vector<statetype> states, int numThreads = 1) {
    const auto count = states.size() / 3;
    beliefs_.assign(4 * count, -1);
    logs_.assign(count, 1);
    return BeliefsOfCases_bn(observed_, states.data(), long(count), targets_, beliefs_.data(), logs_.data(),
                             numThreads);
  }

  Net net_;
  nodelist_bn observed_ = nullptr, targets_ = nullptr;
  std::vector<probtype> beliefs_;
  std::vector<double> logs_;
};

TEST_F(CaseBeliefs, AreThoseOfCasesEnteredByHand) {
  CompileNet_bn(net_.get());
  // The net's own finding does not count, and stays.
  Observe(net_, "xray", "no");
  EXPECT_EQ(Ask({0, 0, UNDEF_STATE, UNDEF_STATE, UNDEF_STATE, UNDEF_STATE, 1, 1, 0, UNDEF_STATE, 0, 0}, 0), 0);
  EXPECT_NEAR(beliefs_[0], 0.08775, 1e-5);
  EXPECT_EQ(beliefs_[2], 1);
  EXPECT_NEAR(logs_[0], std::log(0.00450138), 1e-5);
  EXPECT_NEAR(beliefs_[4], 0.0104, 1e-6);
  EXPECT_NEAR(beliefs_[6], 0.4359706, 1e-6);
  EXPECT_NEAR(logs_[1], 0, 1e-6);
  EXPECT_EQ(GetNodeFinding_bn(Named(net_, "xray")), 1);
  // Of no nodes nothing is asked, and it is sure.
  nodelist_bn none = List({});
  double logs[2] = {-1, -1};
  EXPECT_EQ(BeliefsOfCases_bn(none, nullptr, 2, none, nullptr, logs, 1), 0);
  EXPECT_THAT(logs, ::testing::ElementsAre(0, 0));
  FreeNodeList_bn(none);
  // Parts of the answers may be left out.
  const statetype state[] = {UNDEF_STATE, UNDEF_STATE, UNDEF_STATE};
  EXPECT_EQ(BeliefsOfCases_bn(observed_, state, 1, targets_, nullptr, nullptr, 1), 0);
  EXPECT_EQ(BeliefsOfCases_bn(observed_, nullptr, 0, targets_, nullptr, nullptr, 1), 0);
}

TEST_F(CaseBeliefs, AreThoseOfTheTablesThereAre) {
  CompileNet_bn(net_.get());
  EXPECT_EQ(Ask({UNDEF_STATE, UNDEF_STATE, UNDEF_STATE}), 0);
  EXPECT_EQ(Ask({UNDEF_STATE, UNDEF_STATE, UNDEF_STATE}), 0);
  EXPECT_NEAR(beliefs_[0], 0.0104, 1e-6);
  SetTable(Named(net_, "asia"), {1, 0});
  CompileNet_bn(net_.get());
  EXPECT_EQ(Ask({UNDEF_STATE, UNDEF_STATE, UNDEF_STATE}), 0);
  EXPECT_NEAR(beliefs_[0], 0.05, 1e-6);
}

TEST_F(CaseBeliefs, OfWhatIsImpossible) {
  node_bn tub = Named(net_, "tub");
  SetTable(tub, {0, 1, 0, 1});
  SetTable(Named(net_, "lung"), {0, 1, 0, 1});
  CompileNet_bn(net_.get());
  EXPECT_EQ(Ask({0, 0, 0, 0, 0, 1, 1, 1, 0}), 2);
  EXPECT_THAT(beliefs_, ::testing::ElementsAre(0, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0));
  EXPECT_EQ(logs_[0], -inf_dbl_ns);
  EXPECT_GT(logs_[1], -10);
}

TEST_F(CaseBeliefs, AreRefused) {
  EXPECT_EQ(Ask({0, 0, 0}), -1);
  EXPECT_EQ(Gist(), "5 2077 BeliefsOfCases_bn ChestClinic");
  CompileNet_bn(net_.get());
  EXPECT_EQ(Ask({0, 0, 0, 0, 2, 0}), -1);
  EXPECT_EQ(Gist(), "5 2483 BeliefsOfCases_bn 2 1 dysp 0 1 UNDEF_STATE");
  EXPECT_EQ(Ask({0, 0, -1}), -1);
  EXPECT_EQ(Gist(), "5 2483 BeliefsOfCases_bn -1 0 either 0 1 UNDEF_STATE");
  EXPECT_EQ(beliefs_[0], -1);
  const statetype state[] = {0, 0, 0};
  if (LONG_MAX > SIZE_MAX / sizeof state) {  // where a long can say so many
    EXPECT_EQ(BeliefsOfCases_bn(observed_, state, LONG_MAX, targets_, nullptr, nullptr, 1), -1);
    EXPECT_EQ(Gist(), "5 2484 BeliefsOfCases_bn " + std::to_string(LONG_MAX));
  }
  EXPECT_EQ(BeliefsOfCases_bn(observed_, state, -1, targets_, nullptr, nullptr, 1), -1);
  EXPECT_EQ(BeliefsOfCases_bn(observed_, nullptr, 1, targets_, nullptr, nullptr, 1), -1);
  EXPECT_EQ(BeliefsOfCases_bn(observed_, state, 1, targets_, nullptr, nullptr, -1), -1);
  EXPECT_EQ(BeliefsOfCases_bn(nullptr, state, 1, targets_, nullptr, nullptr, 1), -1);
  EXPECT_EQ(Gist(),
            "5 2485 BeliefsOfCases_bn numcases 0 -1; 5 2486 BeliefsOfCases_bn NULL 1; "
            "5 2487 BeliefsOfCases_bn numthreads 0 -1; 5 5110 BeliefsOfCases_bn NULL nodelist_bn");
  node_bn assumed = AddNode(net_, "Assumed", {"x", "y"}, {}, {0.5f, 0.5f});
  SetNodeKind_bn(assumed, ASSUME_NODE);
  CompileNet_bn(net_.get());
  AddNodeToList_bn(assumed, targets_, LengthNodeList_bn(targets_));
  EXPECT_EQ(Ask({0, 0, 0}), -1);
  EXPECT_EQ(BeliefsOfCases_bn(targets_, state, 1, observed_, nullptr, nullptr, 1), -1);
  Net other = Chain(env, 2);
  EXPECT_EQ(BeliefsOfCases_bn(observed_, state, 1, GetNetNodes_bn(other.get()), nullptr, nullptr, 1), -1);
  EXPECT_EQ(Gist(),
            "5 2482 BeliefsOfCases_bn Assumed; 5 2481 BeliefsOfCases_bn Assumed; 5 2480 BeliefsOfCases_bn N0 observed "
            "targets");
}

}  // namespace
}  // namespace bravic::testing

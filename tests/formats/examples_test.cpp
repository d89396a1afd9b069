// Files that other programs wrote. They lie beside the checkout on machines of ours.

#include "formats/comparison.h"
#include "formats/formats_fixture.h"

namespace bravic::testing {
namespace {

class ExamplesTest : public FormatsTest {
 protected:
  void SetUp() override {
    FormatsTest::SetUp();
    const char* given = std::getenv("BRAVIC_FORMATS");
    folder_ = given ? given : BRAVIC_SOURCE_DIR "/../shared/formats";
    if (!std::filesystem::exists(folder_))
      GTEST_SKIP() << "no folder " << folder_ << " (set BRAVIC_FORMATS to where the files are)";
  }
  Net Example(const std::string& name) {
    return Net(ReadNetFormat_bn((folder_ / name).string().c_str(), nullptr, env));
  }

  // Findings of some states of some nodes, each compared with the other net's.
  static void ExpectSameBeliefs(const std::vector<node_bn>& ones, const std::vector<node_bn>& others) {
    ASSERT_EQ(ones.size(), others.size());
    for (std::size_t found = 0; found <= ones.size(); ++found) {
      for (const auto* nodes : {&ones, &others}) {
        RetractAllFindings_bn(GetNodeNet_bn(nodes->front()));
        if (found > 0) EnterFinding_bn((*nodes)[found - 1], 0);
      }
      for (std::size_t i = 0; i < ones.size(); ++i) {
        ASSERT_EQ(NumStates(ones[i]), NumStates(others[i])) << Spelling(ones[i]);
        const probtype *one = GetNodeBeliefs_bn(ones[i]), *other = GetNodeBeliefs_bn(others[i]);
        for (int s = 0; s < NumStates(ones[i]); ++s)
          EXPECT_NEAR(one[s], other[s], 1e-6) << Spelling(ones[i]) << " state " << s << " after finding " << found;
      }
    }
  }

  std::filesystem::path folder_;
};

TEST_F(ExamplesTest, AreReadButForTheMarkovField) {
  for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
    const std::string name = entry.path().filename().string();
    const Net read = Example(name);
    const std::string reports = Reports(5);
    if (name == "markov_example.uai") {
      EXPECT_EQ(read, nullptr);
      EXPECT_NE(reports.find("is a Markov random field (MARKOV)"), std::string::npos) << reports;
    } else if (name == "small_table.bif") {
      // Its last table lacks two numbers, as it says itself.
      EXPECT_EQ(read, nullptr);
      EXPECT_NE(reports.find("10 numbers, but 12 were wanted"), std::string::npos) << reports;
    } else {
      EXPECT_NE(read, nullptr) << name << "\n" << reports;
    }
  }
}

// The program that wrote alarm.bifxml has its tables run through the parents in the order of their names, whatever its
// GIVEN elements say. Read as the format has it that makes another net, which this takes back.
void RunThroughParentsByName(const Net& net) {
  for (node_bn node : Nodes(net)) {
    const std::vector<node_bn> parents = Nodes(GetNodeParents_bn(node));
    std::vector<std::size_t> order(parents.size());
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(),
              [&](std::size_t a, std::size_t b) { return Spelling(parents[a]) < Spelling(parents[b]); });
    std::vector<node_bn> byName;
    for (std::size_t k : order) byName.push_back(parents[k]);
    const std::vector<float> rows = GetTable(node);
    const float* row = rows.data();
    std::vector<statetype> states(parents.size() + 1), placed(states);
    do {
      for (std::size_t k = 0; k < order.size(); ++k) placed[order[k]] = states[k];
      SetNodeProbs_bn(node, placed.data(), row);
      row += NumStates(node);
    } while (NextConfiguration(byName, states));
  }
}

TEST_F(ExamplesTest, AlarmIsTheSameNetInThreeFormats) {
  const Net bif = Example("alarm.bif");
  ASSERT_NE(bif, nullptr);
  CompileNet_bn(bif.get());
  for (const std::string name : {"alarm.bifxml", "alarm_hr.net"}) {
    SCOPED_TRACE(name);
    const Net other = Example(name);
    ASSERT_NE(other, nullptr) << Reports();
    if (name == "alarm.bifxml") RunThroughParentsByName(other);
    CompileNet_bn(other.get());
    std::vector<node_bn> ones, others;
    for (node_bn node : Nodes(bif)) {
      node_bn twin = FindNode_bn(Spelling(node).c_str(), other.get());
      ASSERT_NE(twin, nullptr) << Spelling(node);
      for (int s = 0; s < NumStates(node); ++s) EXPECT_EQ(StateSpelling(node, s), StateSpelling(twin, s));
      ones.push_back(node);
      others.push_back(twin);
    }
    ExpectSameBeliefs(ones, others);
  }
}

TEST_F(ExamplesTest, AsiaIsTheSameNetWithAndWithoutNames) {
  const Net uai = Example("asia.uai"), bif = Example("asia_bool.bif");
  ASSERT_NE(uai, nullptr);
  ASSERT_NE(bif, nullptr);
  // In the order of the variables' numbers.
  const char* const names[] = {"visit_to_Asia",        "smoking",  "bronchitis",   "lung_cancer", "tuberculosis",
                               "tuberculos_or_cancer", "dyspnoea", "positive_XraY"};
  std::vector<node_bn> ones, others;
  for (int i = 0; i < 8; ++i) {
    ones.push_back(Named(uai, "X" + std::to_string(i)));
    others.push_back(Named(bif, names[i]));
    ASSERT_TRUE(ones.back() && others.back()) << names[i];
  }
  CompileNet_bn(uai.get());
  CompileNet_bn(bif.get());
  ExpectSameBeliefs(ones, others);
}

TEST_F(ExamplesTest, PinballHasTitlesPlacesAndUtilities) {
  const Net pinball = Example("Pinball.xdsl");
  ASSERT_NE(pinball, nullptr) << Reports();
  EXPECT_EQ(Reports(), "");
  EXPECT_STREQ(GetNetTitle_bn(pinball.get()), "Pinball influence diagram");
  EXPECT_NE(std::string(GetNetComment_bn(pinball.get())).find("business.\n\nReference:\n"), std::string::npos);
  EXPECT_STREQ(GetNodeTitle_bn(Named(pinball, "RevenueLevel")), "Revenue Level");
  EXPECT_STREQ(GetNodeText_bn(Named(pinball, "BusinessDecision"), "position"), "72 181");
  // Sell, LowRent, Arcade, Low, NoFun, Low: the last of all; and one in the middle.
  node_bn total = Named(pinball, "TotalRevenue");
  const statetype last[] = {2, 1, 1, 2, 1, 2}, other[] = {0, 0, 1, 1, 0, 2};
  EXPECT_EQ(GetNodeFuncValue_bn(total, last), 200);
  EXPECT_NEAR(GetNodeFuncValue_bn(total, other), 91, 1e-4);
}

// Policies that forget and policies that do not, of decision networks that other programs drew.
TEST_F(ExamplesTest, DecisionNetworksAreSolved) {
  net = Example("Pinball.xdsl");
  ASSERT_NE(net, nullptr);
  EXPECT_NEAR(SolveDecisions_bn(net.get(), 0), 276.25, 1e-5);
  EXPECT_EQ(SolveDecisions_bn(net.get(), 1), undef_dbl_ns);
  EXPECT_EQ(Gist(5), "5 2561 SolveDecisions_bn Pinball Setting BusinessDecision 0");
  for (const auto& [testing, value] : {std::pair("", 22.5), {"Yes", 22.5}, {"No", 20.0}}) {
    net = Example("OilWildcatter.xml");
    ASSERT_NE(net, nullptr);
    if (*testing) Observe(net, "Testing", testing);
    for (int method : {0, 1}) EXPECT_NEAR(SolveDecisions_bn(net.get(), method), value, 1e-5) << testing;
  }
  Reports();
}

}  // namespace
}  // namespace bravic::testing

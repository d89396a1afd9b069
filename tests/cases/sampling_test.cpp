// Random cases: how a draw becomes a state, what is thrown away, and files of drawn cases.

#include "Basic/Random.h"
#include "Bn/learn/Sample.h"
#include "Bn/model/TableRows.h"
#include "Win_Face/Interaction.h"
#include "support/joint.h"
#include "support/net_fixture.h"
#include "support/progress.h"

namespace bravic::testing {
namespace {

constexpr int NONE = -8;
constexpr char INDICATOR[] = "// ~->[CASE-1]->~\n\n";

class Sampling : public NetTest {
 protected:
  int Generate(const Net& from, long numcases, long firstid = -1, double freq = 0, bool append = false) {
    filespec_ns file = FileNamed_ns(Path().c_str(), env);
    const int code = GenerateCases_bn(GetNetNodes_bn(from.get()), numcases, file, firstid, freq, append);
    FreeFileSpec_ns(file);
    return code;
  }
  std::string Path() { return directory.Path("drawn.cas"); }
  std::size_t NumLines() {
    const std::string text = ReadWhole(Path());
    return std::size_t(std::count(text.begin(), text.end(), '\n'));
  }
  long Draw(const Net& from, double maxdraws = 1) { return RandomCase_bn(GetNetNodes_bn(from.get()), 0, maxdraws); }
};

TEST_F(Sampling, SubtractsProbabilitiesFromTheDraw) {
  // Every row is met by the draw as it stands: float by float, the first remainder below 0 decides.
  node_bn node = AddNode(net, "A", {"a", "b", "c", "d"});
  std::unique_ptr<RandomState, void (*)(RandomState*)> twin(NewRandomState(5), FreeRandomState);
  SeedRandom_ns(5, env);
  Random random(17);
  int seen[4] = {};
  for (int i = 0; i < 2000; ++i) {
    const float u = DrawReal(twin.get());
    std::vector<float> row;
    int expected;
    if (i % 2) {  // the draw falls exactly on the boundary between the first state and the second
      row = {u, (1 - u) / 2, (1 - u) / 2, 0};
      expected = 1;
    } else {
      row = RandomRow(random, 4, 0.2);
      float rest = u;
      for (expected = 0; expected < 3 && !((rest -= row[std::size_t(expected)]) < 0);) ++expected;
    }
    SetNodeProbs_bn(node, nullptr, row.data());
    RetractAllFindings_bn(net.get());
    ASSERT_EQ(Draw(net), 0);
    ASSERT_EQ(GetNodeFinding_bn(node), expected) << u;
    ++seen[expected];
  }
  for (int count : seen) EXPECT_GT(count, 50);
}

TEST_F(Sampling, FollowsFunctionsLevelsAndIntervals) {
  net = Read(
      "// ~->[DNET-1]->~\nbnet t {node a {discrete = TRUE; states = (low, high); probs = (0.5, 0.5);};\n"
      "node copy {discrete = TRUE; states = (low, high); parents = (a); functable = (low, high);};\n"
      "node leveled {discrete = TRUE; states = (x, y); levels = (1, 10); parents = (copy); probs = ((1, 0), (0, "
      "1));};\n"
      "node ranged {discrete = FALSE; levels = (0, 2, 3); parents = (leveled); probs = ((1, 0), (0, 1));};\n"
      "node real {discrete = FALSE; levels = (0, 2, 3); parents = (ranged); functable = (1.5, 2.5);};\n"
      "node last {discrete = TRUE; states = (x, y); parents = (real); probs = ((1, 0), (0, 1));};};");
  for (node_bn node : Nodes(net)) SetNodeKind_bn(node, NATURE_NODE);
  SeedRandom_ns(3, env);
  std::vector<double> drawn[2];
  for (int i = 0; i < 4000; ++i) {
    RetractAllFindings_bn(net.get());
    ASSERT_EQ(Draw(net), 0);
    const int s = GetNodeFinding_bn(At("a"));
    for (const char* name : {"copy", "ranged", "last"}) ASSERT_EQ(GetNodeFinding_bn(At(name)), s) << name;
    ASSERT_EQ(GetNodeValue_bn(At("leveled")), s ? 10 : 1);
    ASSERT_EQ(GetNodeValue_bn(At("real")), s ? 2.5 : 1.5);
    drawn[s].push_back(GetNodeValue_bn(At("ranged")));
  }
  for (int s = 0; s < 2; ++s) {  // uniform between the levels
    const double low = s ? 2 : 0, high = s ? 3 : 2;
    std::sort(drawn[s].begin(), drawn[s].end());
    EXPECT_TRUE(low <= drawn[s].front() && drawn[s].back() < high);
    for (std::size_t i = 0; i < drawn[s].size(); ++i) {
      const double share = double(i) / double(drawn[s].size());
      ASSERT_NEAR(drawn[s][i], low + (high - low) * share, 0.1);
    }
  }
}

// Draws whose findings hold have the distribution of the findings.
TEST_F(Sampling, ThrowsAwayWhatDisagreesWithFindings) {
  net = ChestClinic(env);
  node_bn dysp = Named(net, "dysp"), smoke = Named(net, "smoke"), bronc = Named(net, "bronc");
  CompileNet_bn(net.get());
  Observe(net, "dysp", "yes");
  const float likelihood[] = {0.25f, 1};
  EnterNodeLikelihood_bn(smoke, likelihood);
  const double expected = double(Belief(net, "bronc", "yes"));
  SeedRandom_ns(11, env);
  nodelist_bn list = List({bronc, smoke, dysp});
  int numYes = 0;
  constexpr int NUM_DRAWS = 20000;
  for (int i = 0; i < NUM_DRAWS; ++i) {
    ASSERT_EQ(RandomCase_bn(list, 0, 1e9), 0);
    ASSERT_EQ(GetNodeFinding_bn(dysp), 0);
    numYes += GetNodeFinding_bn(bronc) == 0;
    RetractNodeFindings_bn(bronc);
    RetractNodeFindings_bn(smoke);
    EnterNodeLikelihood_bn(smoke, likelihood);
  }
  EXPECT_NEAR(numYes, expected * NUM_DRAWS, 4 * std::sqrt(NUM_DRAWS * expected * (1 - expected)));
  EXPECT_EQ(GetNodeFinding_bn(Named(net, "lung")), NONE);  // drawn, but not listed
  FreeNodeList_bn(list);
}

TEST_F(Sampling, GivesUpAfterTheLastDraw) {
  node_bn a = AddNode(net, "A", {"yes", "no"}, {}, {0.5f, 0.5f});
  node_bn b = AddNode(net, "B", {"yes", "no"}, {"A"}, {0, 1, 0, 1});
  EnterFinding_bn(b, 0);
  EXPECT_EQ(Draw(net, 0.99), NO_MORE_CASES);
  EXPECT_EQ(GetNodeFinding_bn(b), 0);
  EXPECT_EQ(GetNodeFinding_bn(a), NONE);
  EXPECT_EQ(Draw(net, -5), NO_MORE_CASES);
  EXPECT_EQ(GetNodeFinding_bn(a), NONE);
  SetUndoDepth_bn(5, net.get());
  EXPECT_EQ(Draw(net, 3.7), NO_MORE_CASES);
  EXPECT_EQ(GetNodeFinding_bn(b), 1);  // the last draw
  EXPECT_GE(GetNodeFinding_bn(a), 0);
  UndoLastChange_bn(net.get());
  EXPECT_EQ(GetNodeFinding_bn(b), 0);
  EXPECT_EQ(GetNodeFinding_bn(a), NONE);
  SetUndoDepth_bn(1, net.get());
}

TEST_F(Sampling, ReportsWhatItCannotDraw) {
  node_bn a = AddNode(net, "A", {"yes", "no"}, {}, {0, 1});
  node_bn b = AddNode(net, "B", {"yes", "no"}, {"A"});
  EXPECT_LT(Draw(net, 5), 0);
  EXPECT_LT(Generate(net, 5), 0);
  EXPECT_EQ(Gist(), "5 2139 RandomCase_bn B; 5 2101 GenerateCases_bn B");
  EXPECT_EQ(ReadWhole(Path()), std::string(INDICATOR) + "A\tB\n");
  // Of a function, then of probabilities.
  const statetype no = 1, yes = 0;
  SetFunctionState(b, &yes, 0);
  SetFunctionState(b, &no, IMPOS_STATE);
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(Draw(net, 5), -11);
    EXPECT_EQ(Reports(), "5 2102 RandomCase_bn: Parent conditions declared \"impossible\" have occured: A=no\n");
    if (round > 0) break;
    const float some[] = {0.5f, 0.5f}, impossible[] = {IMPOS_PROB, IMPOS_PROB};
    SetNodeProbs_bn(b, &yes, some);
    SetNodeProbs_bn(b, &no, impossible);
  }
  EXPECT_EQ(GetNodeFinding_bn(a), NONE);

  // A cycle counts only where something drawn depends on it.
  Net cyclic(NewNet_bn("Cyclic", env));
  AddNode(cyclic, "Free", {"yes", "no"}, {}, {1, 0});
  AddNode(cyclic, "X", {"yes", "no"});
  AddNode(cyclic, "Y", {"yes", "no"}, {"X", "Free"});
  AddLink_bn(Named(cyclic, "Y"), Named(cyclic, "X"));
  ClearErrors_ns(env, 6);
  EXPECT_EQ(Draw(cyclic), -1);
  EXPECT_EQ(Generate(cyclic, 1), -1);
  EXPECT_EQ(Gist(), "5 5542 RandomCase_bn; 5 2138 GenerateCases_bn");
  nodelist_bn list = List({Named(cyclic, "Free")});
  EXPECT_EQ(RandomCase_bn(list, 0, 1), 0);
  FreeNodeList_bn(list);
}

TEST_F(Sampling, WritesFiles) {
  AddNode(net, "A", {"yes", "no"}, {}, {0, 1});
  EXPECT_EQ(Generate(net, 2), 0);
  EXPECT_EQ(ReadWhole(Path()), std::string(INDICATOR) + "A\nno\nno\n");
  EXPECT_EQ(Generate(net, 2, 5, 0.5), 0);
  EXPECT_EQ(Generate(net, 1, 0, 0, true), 0);
  EXPECT_EQ(Generate(net, 1, -1, 2, true), 0);
  EXPECT_EQ(ReadWhole(Path()),
            std::string(INDICATOR) + "IDnum\tNumCases\tA\n5\t0.5\tno\n6\t0.5\tno\n0\t1\tno\n-1\t2\tno\n");
  // Columns of an older file stay; another file is not added to.
  WriteWhole(Path(), std::string(INDICATOR) + "Other\tA\tNumCases\n");
  EXPECT_EQ(Generate(net, 1, 3, 0, true), 0);
  EXPECT_EQ(ReadWhole(Path()), std::string(INDICATOR) + "Other\tA\tNumCases\n*\tno\t1\n");
  WriteWhole(Path(), "notes\n");
  EXPECT_EQ(Generate(net, 1, 3, 0, true), -1);
  EXPECT_EQ(ReadWhole(Path()), "notes\n");
  EXPECT_EQ(Gist(), "4 2472 GenerateCases_bn " + Path() + " Test 1; 5 2475 GenerateCases_bn " + Path());
}

TEST_F(Sampling, TellsTheShareAccepted) {
  node_bn a = AddNode(net, "A", {"yes", "no"}, {}, {0.25f, 0.75f});
  EnterFinding_bn(a, 0);
  SeedRandom_ns(9, env);
  EXPECT_EQ(Generate(net, 50), 0);
  EXPECT_EQ(NumLines(), 53u);
  // The same draws made here.
  std::unique_ptr<RandomState, void (*)(RandomState*)> twin(NewRandomState(9), FreeRandomState);
  int numDraws = 0;
  for (int accepted = 0; accepted < 50; ++numDraws) accepted += DrawReal(twin.get()) < 0.25f;
  char ratio[40];
  std::snprintf(ratio, sizeof ratio, "%g", 5000.0 / numDraws);
  EXPECT_EQ(Reports(2), "2 2192 GenerateCases_bn: Acceptance ratio = " + std::string(ratio) + "%\n\n");
  RetractAllFindings_bn(net.get());
  const float half[] = {0.5f, 0.5f};  // met by every draw
  EnterNodeLikelihood_bn(a, half);
  EXPECT_EQ(Generate(net, 50), 0);
  EXPECT_EQ(Reports(2), "");

  // Where nobody can be asked, too many rejections cancel; what was written stays.
  RetractAllFindings_bn(net.get());
  SetNodeProbs_bn(a, nullptr, std::vector<float>{0.001f, 0.999f}.data());
  EnterFinding_bn(a, 0);
  EXPECT_EQ(Generate(net, 100), -1);
  const std::size_t numWritten = NumLines() - 3;
  EXPECT_GT(numWritten, 0u);
  EXPECT_LT(numWritten, 47u);
  EXPECT_EQ(Gist(2), "5 2451 GenerateCases_bn " + std::to_string(numWritten) + " 4001");
}

// Compiled, findings that few draws would meet cost nothing more; the cases are distributed as the beliefs say.
TEST_F(Sampling, DrawsExactlyWhereFindingsAreRare) {
  constexpr long NUM_CASES = 3000;
  int numTried = 0;
  for (std::uint64_t seed = 1; numTried < 25; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    net = RandomNet(env, random, {3, 8, 2, 4, 3, 30000, 0.1});
    CompileNet_bn(net.get());
    Weights weights;
    for (node_bn node : Nodes(net)) {
      std::vector<float> row = RandomRow(random, NumStates(node), 0.3);
      if (!random.Chance(0.5)) continue;
      for (float& weight : row) weight = random.Chance(0.5) ? weight * 1e-6f : weight;
      EnterNodeLikelihood_bn(node, row.data());
      const probtype* entered = GetNodeLikelihood_bn(node);
      const float largest = *std::max_element(entered, entered + NumStates(node));
      for (int s = 0; s < NumStates(node); ++s) weights[node].push_back(double(entered[s]) / double(largest));
    }
    Reports();
    const Posterior posterior = Enumerate(net.get(), weights);
    if (posterior.probability <= 0 || posterior.probability >= 1.0 / 40) continue;
    ++numTried;
    SeedRandom_ns(int(seed), env);
    ASSERT_EQ(Generate(net, NUM_CASES), 0);
    ASSERT_EQ(Reports(1), "");
    std::map<std::string, std::map<std::string, int>> counts;  // node, state
    std::istringstream file(ReadWhole(Path()));
    std::string line, cell;
    std::vector<std::string> names;
    while (std::getline(file, line)) {
      std::istringstream cells(line);
      if (line.empty() || line.rfind("//", 0) == 0) continue;
      const bool isHeader = names.empty();
      for (std::size_t i = 0; std::getline(cells, cell, '\t'); ++i)
        isHeader ? names.push_back(cell) : void(++counts[names[i]][cell]);
    }
    for (node_bn node : Nodes(net)) {
      for (int s = 0; s < NumStates(node); ++s) {
        const double p = posterior.belief.at(node)[std::size_t(s)];
        const char* name = GetNodeStateName_bn(node, s);
        const int count = counts[GetNodeName_bn(node)][*name ? name : std::to_string(s)];
        EXPECT_NEAR(count, p * NUM_CASES, 5 * std::sqrt(p * (1 - p) * NUM_CASES) + 3) << GetNodeName_bn(node) << s;
        if (p == 0) EXPECT_EQ(count, 0);
      }
    }
  }
}

// Where states are drawn exactly, what is real-valued follows from them.
TEST_F(Sampling, ComputesValuesOfExactDraws) {
  net = Read(
      "// ~->[DNET-1]->~\nbnet Drawn {\n"
      "node cause {kind = NATURE; discrete = TRUE; states = (a, b); probs = (0.5, 0.5);};\n"
      "node sign {kind = NATURE; discrete = TRUE; states = (rare, usual); parents = (cause);\n"
      "  probs = ((0.003, 0.997), (0.001, 0.999));};\n"
      "node size {kind = NATURE; discrete = FALSE; levels = (0, 1, 2); parents = (cause); functable = (0.25, 1.75);};\n"
      "node effect {kind = NATURE; discrete = TRUE; states = (x, y); parents = (size); probs = ((1, 0), (0, "
      "1));};};\n");
  CompileNet_bn(net.get());
  Observe(net, "sign", "rare");
  SeedRandom_ns(5, env);
  constexpr int NUM_CASES = 400;
  EXPECT_EQ(Generate(net, NUM_CASES), 0);
  EXPECT_EQ(Reports(1), "");
  const std::string text = ReadWhole(Path());
  const auto count = [&](const std::string& row) {
    int found = 0;
    for (std::size_t at = 0; (at = text.find(row, at)) != text.npos; ++at) ++found;
    return found;
  };
  const int numFirst = count("a\trare\t0.25\tx\n");
  EXPECT_EQ(numFirst + count("b\trare\t1.75\ty\n"), NUM_CASES) << text;
  EXPECT_NEAR(numFirst, 0.75 * NUM_CASES, 5 * std::sqrt(0.25 * 0.75 * NUM_CASES));
}

// Branches of many states that are all about as improbable, so that what is scaled up adds up, and all branches meet.
TEST_F(Sampling, DrawsExactlyWhateverAddsUp) {
  constexpr int HUBS = 10, BRANCHES = 20, STATES = 64, SIGNS = 4, NUM_CASES = 500;
  node_bn all = New("All");
  const auto addSign = [&](const std::string& name, node_bn parent, const std::vector<float>& table) {
    node_bn sign = New(name.c_str(), 2, {parent});
    SetTable(sign, table);
    EnterFinding_bn(sign, 0);
  };
  std::vector<float> signs;
  for (int s = 0; s < STATES; ++s) signs.insert(signs.end(), {2.2e-30f, 1});  // four of them: 2^-394 or a little less
  for (int h = 0; h < HUBS; ++h) {
    const std::string name = "H" + std::to_string(h);
    node_bn hub = New(name.c_str());
    SetTable(hub, {0.5f, 0.5f});
    AddLink_bn(hub, all);
    for (int i = 0; i < BRANCHES; ++i) {
      const std::string branchName = name + "B" + std::to_string(i);
      node_bn branch = New(branchName.c_str(), STATES, {hub});
      SetTable(branch, std::vector<float>(2 * STATES, 1.0f / STATES));
      for (int k = 0; k < SIGNS; ++k) addSign(branchName + "S" + std::to_string(k), branch, signs);
    }
    addSign(name + "Told", hub, {0.75f, 0.25f, 0.25f, 0.75f});
  }
  SetTable(all, std::vector<float>(2 << HUBS, 0.5f));
  CompileNet_bn(net.get());
  SeedRandom_ns(5, env);
  ASSERT_EQ(Generate(net, NUM_CASES), 0);
  EXPECT_EQ(Reports(1), "");
  std::istringstream file(ReadWhole(Path()));
  int column = -1, numFirst = 0;
  for (std::string line; std::getline(file, line);) {
    std::istringstream cells(line);
    int at = 0;
    for (std::string cell; std::getline(cells, cell, '\t'); ++at) {
      if (cell == "H7") column = at;
      numFirst += at == column && cell == "0";
    }
  }
  EXPECT_NEAR(numFirst, 0.75 * NUM_CASES, 5 * std::sqrt(0.25 * 0.75 * NUM_CASES));
}

TEST_F(Sampling, StopsWhenTheHostSaysSo) {
  net = ChestClinic(env);
  SetWaitClock([] {
    static long seconds = 0;
    return ++seconds;
  });
  char operation = 'G';
  SetProgressCallback_ns(HaltHalfway, &operation, env);
  EXPECT_EQ(Generate(net, 100000), -1);
  SetProgressCallback_ns(nullptr, nullptr, env);
  SetWaitClock(nullptr);
  EXPECT_EQ(Gist(), "5 2450 GenerateCases_bn");
  EXPECT_GT(NumLines(), 50000u);
  EXPECT_LT(NumLines(), 60000u);
}

}  // namespace
}  // namespace bravic::testing

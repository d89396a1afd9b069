// Learning from cases against a model that only counts.

#include "Win_Face/Interaction.h"
#include "support/net_fixture.h"
#include "support/progress.h"

namespace bravic::testing {
namespace {

constexpr char INDICATOR[] = "// ~->[CASE-1]->~\n\n";
constexpr statetype MISSING = -1;

// The counts of every node's table, in the order of the table.
class Counts {
 public:
  explicit Counts(const std::vector<node_bn>& nodes) {
    for (node_bn node : nodes) {
      std::vector<double>& counts = counts_[node];
      const bool hasTable = HasRelation_bn(node);
      ForEachRow(node, [&](const statetype* states) {
        double experience = GetNodeExperience_bn(node, states);
        if (!hasTable || experience < 0) experience = NumStates(node) * BaseExperience_bn;
        for (int k = 0; k < NumStates(node); ++k) {
          const probtype* row = GetNodeProbs_bn(node, states);
          counts.push_back(experience * (hasTable ? double(row[k]) : 1.0 / NumStates(node)));
        }
      });
    }
  }

  void Learn(const std::map<node_bn, statetype>& states, double weight) {
    for (auto& [node, counts] : counts_) {
      std::size_t at = 0;
      bool whole = true;
      auto family = Nodes(GetNodeParents_bn(node));
      family.push_back(node);
      for (node_bn member : family) {
        whole = whole && states.at(member) != MISSING;
        at = at * std::size_t(NumStates(member)) + std::size_t(states.at(member));
      }
      if (whole) counts[at] += weight;
    }
  }
  void Fade(node_bn node, double degree) {
    for (double& count : counts_[node]) count += (BaseExperience_bn - count) * degree;
  }

  void ExpectTables(double tolerance = 2e-6) const {
    for (const auto& [node, counts] : counts_) {
      const double* count = counts.data();
      ForEachRow(node, [&, node = node](const statetype* states) {
        const double* end = count + NumStates(node);
        const double sum = std::accumulate(count, end, 0.0);
        EXPECT_NEAR(GetNodeExperience_bn(node, states), sum, tolerance * sum) << GetNodeName_bn(node);
        for (const probtype* prob = GetNodeProbs_bn(node, states); count < end; ++count, ++prob)
          EXPECT_NEAR(*prob, *count / sum, tolerance) << GetNodeName_bn(node);
      });
    }
  }

 private:
  std::map<node_bn, std::vector<double>> counts_;
};

class Learning : public NetTest {
 protected:
  void TearDown() override {
    BaseExperience_bn = 1;
    NetTest::TearDown();
  }
  // Learns the file from those nodes and frees the list.
  void LearnFile(const std::string& path, const std::vector<node_bn>& nodes, double degree) {
    nodelist_bn list = List(nodes);
    filespec_ns file = FileNamed_ns(path.c_str(), env);
    CaseFileRevisesProbs_bn(file, list, 0, degree);
    FreeFileSpec_ns(file);
    FreeNodeList_bn(list);
  }
  void LearnCase(const std::vector<node_bn>& nodes, double degree) {
    nodelist_bn list = List(nodes);
    CaseRevisesProbs_bn(list, 0, degree);
    FreeNodeList_bn(list);
  }
  // A -> B with a table of B's; neither has experience.
  void Pair() {
    net.reset(NewNet_bn("Pair", env));
    a = AddNode(net, "A", {"yes", "no"}, {}, {0.5f, 0.5f});
    b = AddNode(net, "B", {"x", "y", "z"}, {"A"}, {0.2f, 0.3f, 0.5f, 1, 0, 0});
  }
  std::string Write(const std::string& text) {
    WriteWhole(directory.Path("cases.cas"), INDICATOR + text);
    return directory.Path("cases.cas");
  }
  static double Experience(node_bn node, statetype parent = 0) { return GetNodeExperience_bn(node, &parent); }

  node_bn a = nullptr, b = nullptr;
};

using Row = std::map<node_bn, statetype>;

TEST_F(Learning, AgreesWithCounting) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    BaseExperience_bn = random.Chance(0.5) ? 1 : 0.25;
    RandomNetOptions options;
    options.maxNodes = 8;
    net = RandomNet(env, random, options);
    std::vector<node_bn> nodes = Nodes(net), listed;
    for (node_bn node : nodes) {
      if (random.Chance(0.3)) DeleteNodeRelation_bn(node);
      std::vector<statetype> wild(8, EVERY_STATE);
      if (HasRelation_bn(node) && random.Chance(0.5)) SetNodeExperience_bn(node, wild.data(), 4 + 20 * random.Share());
      if (random.Chance(0.8)) listed.push_back(node);
    }
    if (listed.empty()) listed.push_back(nodes[0]);
    Counts counts(listed);
    const Counts start = counts;
    for (node_bn node : nodes) ASSERT_EQ(Reports(), "") << GetNodeName_bn(node);

    // Two files, with and without weights, columns in any order, each learned with a degree of its own.
    const double degrees[] = {1, 0.5};
    std::vector<std::string> paths;
    std::vector<std::pair<Row, double>> cases;
    for (int f = 0; f < 2; ++f) {
      std::vector<node_bn> columns = nodes;
      for (std::size_t i = columns.size(); i > 1; --i)
        std::swap(columns[i - 1], columns[std::size_t(random.Below(int(i)))]);
      std::string text = INDICATOR + std::string(f ? "NumCases" : "IDnum");
      for (node_bn node : columns) text += "\t" + std::string(GetNodeName_bn(node));
      for (int i = 0; i < 200; ++i) {
        const int freq = random.Between(0, 3);
        text += "\n" + std::to_string(freq);
        Row row;
        for (node_bn node : columns) {
          row[node] = random.Chance(0.1) ? MISSING : random.Below(NumStates(node));
          text += row[node] == MISSING ? "\t*" : "\t#" + std::to_string(row[node]);
        }
        cases.emplace_back(row, (f ? freq : 1) * degrees[f]);
      }
      paths.push_back(directory.Path("cases" + std::to_string(f)));
      WriteWhole(paths.back(), text + "\n");
    }
    // What is unlearned at once leaves what was there.
    for (std::size_t f = 0; f < 2; ++f) {
      LearnFile(paths[f], listed, degrees[f]);
      LearnFile(paths[f], listed, -degrees[f]);
      start.ExpectTables(1e-4);
    }
    for (const auto& [row, weight] : cases) counts.Learn(row, weight);
    for (int f = 0; f < 2; ++f) LearnFile(paths[std::size_t(f)], listed, degrees[f]);
    counts.ExpectTables();

    // The same again, and a part of it case by case.
    for (int f = 0; f < 2; ++f) LearnFile(paths[std::size_t(f)], listed, degrees[f]);
    for (const auto& [row, weight] : cases) counts.Learn(row, weight);
    for (std::size_t i = 0; i < 20; ++i) {
      RetractAllFindings_bn(net.get());
      for (const auto& [node, state] : cases[i].first) {
        if (state != MISSING) EnterFinding_bn(node, state);
      }
      ClearErrors_ns(env, 6);  // a root without parents may hold the state impossible
      Row found;
      for (node_bn node : nodes) found[node] = std::max(GetNodeFinding_bn(node), MISSING);
      for (auto& [node, state] : found)
        if (state < 0 || GetNodeFinding_bn(node) < 0) state = MISSING;
      LearnCase(listed, 0.75);
      counts.Learn(found, 0.75);
      LearnCase(listed, -0.25);
      counts.Learn(found, -0.25);
      LearnCase(listed, -0.5);
      counts.Learn(found, -0.5);
    }
    counts.ExpectTables();
    EXPECT_EQ(Reports(), "");
  }
}

TEST_F(Learning, TakesNoMoreThanWasGiven) {
  Pair();
  DeleteNodeRelation_bn(a);
  EnterFinding_bn(a, 1);
  EnterFinding_bn(b, 2);
  LearnCase({a, b}, -1);
  EXPECT_EQ(Gist(), "5 2190 CaseRevisesProbs_bn -1 A");
  EXPECT_EQ(HasRelation_bn(a), 0);
  EXPECT_EQ(Experience(b), undef_dbl_ns);
  LearnCase({a}, 2);
  LearnCase({a, b}, -1);
  EXPECT_EQ(Gist(), "5 2190 CaseRevisesProbs_bn -1 B");
  EXPECT_EQ(Experience(a), 3);
  EXPECT_EQ(Experience(b), undef_dbl_ns);

  // The row's share of the base stays, whichever of its states are taken away.
  LearnFile(Write("A\tB\nyes\tx\nno\tx\nno\ty\nyes\tz\n"), {a}, -0.5);
  EXPECT_EQ(Gist(), "5 2189 CaseFileRevisesProbs_bn -0.5 A 3");
  EXPECT_EQ(Experience(a), 2);
  EXPECT_EQ(GetTable(a), (std::vector<float>{0.25f, 0.75f}));
  // What rounding needs is no more where much was learned: neither all of it nor a state that was never seen.
  const float one[] = {1, 0};
  SetNodeProbs_bn(a, nullptr, one);
  SetNodeExperience_bn(a, nullptr, 1e6);
  for (const char* rows : {"A\tNumCases\nno\t1\n", "A\tNumCases\nyes\t999999\n"}) {
    LearnFile(Write(rows), {a}, -1);
    EXPECT_EQ(Gist(), "5 2189 CaseFileRevisesProbs_bn -1 A 1");
    EXPECT_EQ(Experience(a), 1e6);
  }
  LearnFile(Write("A\tNumCases\nno\t0.1\nyes\t999997.9\n"), {a}, -1);
  EXPECT_NEAR(Experience(a), 2, 0.2);
  LearnFile(Write("A\nno\n"), {a}, 1);
  EXPECT_EQ(Gist(), "");
  SetTable(a, {0.25f, 0.75f});
  SetNodeExperience_bn(a, nullptr, 2);
  // So does what was not there of one state.
  LearnFile(Write("A\nno\nno\nno\nyes\n"), {a}, 1);
  LearnFile(Write("A\nyes\nyes\n"), {a}, -1);
  EXPECT_EQ(Gist(), "5 2189 CaseFileRevisesProbs_bn -1 A 2");
  EXPECT_EQ(Experience(a), 5);
}

TEST_F(Learning, WithoutBaseStartsFromNothing) {
  BaseExperience_bn = 0;
  a = AddNode(net, "A", {"yes", "no"}), b = AddNode(net, "B", {"x", "y"}, {"A"});
  const std::string path = Write("A\tB\nyes\tx\nyes\ty\nyes\ty\nyes\ty\n");
  LearnFile(path, {a, b}, 1);
  EXPECT_EQ(GetTable(a), (std::vector<float>{1, 0}));
  EXPECT_EQ(GetTable(b), (std::vector<float>{0.25f, 0.75f, 0.5f, 0.5f}));
  EXPECT_EQ(Experience(b, 0), 4);
  EXPECT_EQ(Experience(b, 1), 0);
  LearnFile(path, {a, b}, -1);
  EXPECT_EQ(GetTable(b), (std::vector<float>{0.5f, 0.5f, 0.5f, 0.5f}));
  EXPECT_EQ(Experience(a), 0);
  EnterFinding_bn(a, 0);
  LearnCase({a}, 1);
  EXPECT_EQ(GetTable(a), (std::vector<float>{1, 0}));
  LearnCase({a}, -1);
  EXPECT_EQ(GetTable(a), (std::vector<float>{0.5f, 0.5f}));
}

// However much is learned, rows stay distributions.
TEST_F(Learning, StaysFinite) {
  for (const double degree : {1e39, 1e300, 1.7e308}) {
    SCOPED_TRACE(degree);
    Pair();
    const std::string path = Write("NumCases A B\n1e300 yes x\n2 yes y\n");
    LearnFile(path, {a, b}, degree);
    EXPECT_GE(GetNodeProbs_bn(a, nullptr)[0], 0.9);
    LearnFile(path, {a, b}, degree);
    net = Read(Written(net));
    a = Named(net, "A"), b = Named(net, "B");
    Observe(net, "A", "yes");
    Observe(net, "B", "x");
    LearnCase({a, b}, degree);
    FadeProbs_bn(b, 0.5);
    const statetype yes = 0;
    const float* row = GetNodeProbs_bn(b, &yes);
    EXPECT_NEAR(row[0] + row[1] + row[2], 1, 1e-5);
    EXPECT_LT(Experience(b), inf_dbl_ns);
    EXPECT_GE(GetNodeProbs_bn(a, nullptr)[0], 0.9);
  }
}

TEST_F(Learning, PassesOverWhatCannotLearn) {
  Pair();
  node_bn decision = AddNode(net, "D", {"go", "stay"});
  SetNodeKind_bn(decision, DECISION_NODE);
  // A function counts for no cases; it stays where none is learned, and is no table to fade.
  DeleteNodeRelation_bn(a);
  SetNodeFuncValue_bn(a, nullptr, 0);
  GetNodeProbs_bn(a, nullptr);
  LearnFile(Write("A\n*\n"), {a}, 1);
  FadeProbs_bn(a, 0.5);
  EXPECT_EQ(Gist(), "5 5518 FadeProbs_bn A");
  EXPECT_EQ(GetNodeFuncValue_bn(a, nullptr), 0);
  LearnFile(Write("A\tB\tD\nno\ty\tgo\nno\t*\tgo\nmaybe\tx\tgo\n*\tx\tgo\n"), {decision, a, b}, 1);
  EXPECT_NE(Reports().find("missing (1); the first is 'maybe' for 'A' on line 6\n"), std::string::npos);
  EXPECT_EQ(HasRelation_bn(decision), 0);
  EXPECT_EQ(GetTable(a), (std::vector<float>{0.25f, 0.75f}));
  EXPECT_EQ(Experience(a), 4);
  EXPECT_FLOAT_EQ(GetTable(b)[4], 0.25f);
  EXPECT_EQ(Experience(b, 0), 3);
  EXPECT_EQ(Experience(b, 1), 4);
  LearnFile(Write("B\nx\n"), {b}, 1);  // the parent has no column
  EXPECT_EQ(Experience(b, 1), 4);
  EXPECT_EQ(Reports(), "");
}

TEST_F(Learning, KeepsWhatCameBeforeABadRow) {
  Pair();
  LearnFile(Write("IDnum\tA\n1\tyes\n2\tyes\n3\n4\tyes\n"), {a}, 1);
  EXPECT_EQ(Experience(a), 4);
  const std::string complaint = Reports();
  EXPECT_NE(complaint.find("Too few entries in case 3 on line 6 of file"), std::string::npos) << complaint;
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  EXPECT_EQ(Experience(a), undef_dbl_ns);
}

TEST_F(Learning, StopsWhenTheHostSaysSo) {
  Pair();
  std::string text = "A\n";
  for (int i = 0; i < 5000; ++i) text += "yes\n";
  const std::string path = Write(text);
  SetWaitClock([] {
    static long seconds = 0;
    return ++seconds;
  });
  char operation = 'I';
  SetProgressCallback_ns(HaltHalfway, &operation, env);
  LearnFile(path, {a}, 1);
  SetProgressCallback_ns(nullptr, nullptr, env);
  SetWaitClock(nullptr);
  EXPECT_EQ(Experience(a), 2 + 3072);
  EXPECT_EQ(Gist(), "4 2191 CaseFileRevisesProbs_bn 3072 61;");
}

TEST_F(Learning, FadesTowardTheBase) {
  Pair();
  Counts counts({b});
  FadeProbs_bn(b, 0);
  EXPECT_EQ(Experience(b), undef_dbl_ns);
  for (double degree : {0.25, 0.5, 1.0}) {
    FadeProbs_bn(b, degree);
    counts.Fade(b, degree);
    counts.ExpectTables();
  }
  BaseExperience_bn = -1;
  FadeProbs_bn(b, 0.5);
  EXPECT_EQ(Gist(), "5 5517 FadeProbs_bn BaseExperience_bn -1");
  BaseExperience_bn = 1;
  // A row that is not given stays so, until a case is seen in it.
  const statetype no = 1, yes = 0;
  const float row[] = {0.25f, 0.75f, 0};
  DeleteNodeRelation_bn(b);
  SetNodeProbs_bn(b, &no, row);
  FadeProbs_bn(b, 0.5);
  LearnFile(Write("A\tB\nno\tx\n"), {b}, 1);
  EXPECT_LT(GetNodeProbs_bn(b, &yes)[0], 0);
  EXPECT_GT(GetNodeProbs_bn(b, &no)[0], 0.3f);
  LearnFile(Write("A\tB\nyes\tx\n"), {b}, 1);
  EXPECT_FLOAT_EQ(GetNodeProbs_bn(b, &yes)[0], 2.0f / 4);
}

}  // namespace
}  // namespace bravic::testing

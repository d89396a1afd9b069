// Learning links through the interface: rules, limits, undo, threads, bad input.
#include "Basic/Memory.h"
#include "Bn/compiled/CompiledNet.h"
#include "Bn/engine/learn/EntryLimit.h"
#include "Bn/engine/learn/LinkSearch.h"
#include "Win_Face/Interaction.h"
#include "learn/data.h"
#include "support/net_fixture.h"
#include "support/progress.h"

namespace bravic::testing {
namespace {

learn_links_bn Defaults() {
  learn_links_bn how = {};
  how.size = sizeof how;
  return how;
}

class LinksTest : public NetTest {
 protected:
  void TearDown() override {
    for (nodelist_bn list : lists) FreeNodeList_bn(list);
    NetTest::TearDown();
  }
  nodelist_bn Listed(const std::vector<node_bn>& nodes) { return lists.emplace_back(List(nodes)); }
  // A net for the data, without links, nodes made in a drawn order.
  void Build(const Data& drawn, Random& random) {
    data = drawn;
    net.reset(NewNet_bn("Test", env));
    nodes.assign(data.numstates.size(), nullptr);
    std::vector<std::size_t> order(nodes.size());
    std::iota(order.begin(), order.end(), 0);
    for (std::size_t i = order.size(); i > 1; --i) std::swap(order[i - 1], order[std::size_t(random.Below(int(i)))]);
    for (std::size_t i : order) nodes[i] = New(("N" + std::to_string(i)).c_str(), data.numstates[i]);
    all = Listed(nodes);
    std::replace(data.states.begin(), data.states.end(), -1, statetype(UNDEF_STATE));
    SetUndoDepth_bn(10, net.get());
  }
  int Learn(const learn_links_bn* how, double* score = nullptr) {
    return LearnLinksCases_bn(all, data.states.data(), data.weights.empty() ? nullptr : data.weights.data(),
                              long(data.NumCases()), all, how, score);
  }
  double Score(int score, double prior) {
    return ScoreLinksCases_bn(all, data.states.data(), data.weights.empty() ? nullptr : data.weights.data(),
                              long(data.NumCases()), all, score, prior);
  }
  // Of one node's links alone; its parents are not among the nodes asked about.
  double ScoreOf(node_bn node, int score, double prior) {
    return ScoreLinksCases_bn(all, data.states.data(), data.weights.empty() ? nullptr : data.weights.data(),
                              long(data.NumCases()), Listed({node}), score, prior);
  }
  int Place(node_bn node) { return int(std::find(nodes.begin(), nodes.end(), node) - nodes.begin()); }
  std::vector<std::vector<int>> Parents() {
    std::vector<std::vector<int>> parents;
    for (node_bn node : nodes) {
      parents.emplace_back();
      for (node_bn parent : Nodes(GetNodeParents_bn(node))) parents.back().push_back(Place(parent));
    }
    return parents;
  }
  // Of the junction tree, once the net has been written and read again.
  double EntriesOfTree() {
    const Net again = Read(Written(net));
    CompileNet_bn(again.get());
    EXPECT_EQ(Reports(5), "");
    return again->compiled ? again->compiled->tree.totalSize : 0;
  }

  Data data;
  std::vector<node_bn> nodes;
  nodelist_bn all = nullptr;
  std::vector<nodelist_bn> lists;
};

DataOptions Drawn(Random& random) {
  DataOptions options;
  options.nodes = random.Between(1, 9);
  options.cases = random.Between(1, 400);
  if (random.Chance(0.3)) options.missing = 0.15;
  options.broken = random.Chance(0.2);
  return options;
}

// Under rules drawn at random: what is found keeps them, is worth what ScoreLinks says, no less than what there was,
// and one undo takes it back.
TEST_F(LinksTest, FoundKeepTheRules) {
  int numLearned = 0;
  for (std::uint64_t seed = 0; seed < 80; ++seed) {
    Random random(seed);
    Build(DrawData(random, Drawn(random)), random);
    const int n = data.NumNodes();
    learn_links_bn how = Defaults();
    how.score = random.Below(3);
    how.prior = random.Below(3);
    how.seed = int(seed);
    how.restarts = random.Below(4) - 1;
    how.maxparents = random.Below(4);
    std::vector<int> tiers;
    std::vector<node_bn> required[2], forbidden[2];
    for (int i = 0; i < n; ++i) tiers.push_back(random.Below(3));
    if (random.Chance(0.5)) how.tiers = tiers.data();
    for (int k = random.Below(4); k > 0; --k) {
      auto& lists_ = random.Chance(0.3) ? required : forbidden;
      for (auto& list : lists_) list.push_back(random.Pick(nodes));
    }
    how.requiredfrom = Listed(required[0]), how.requiredto = Listed(required[1]);
    how.forbiddenfrom = Listed(forbidden[0]), how.forbiddento = Listed(forbidden[1]);
    const std::string before = Written(net);
    double start = Score(how.score, how.prior), score = 0;
    const int steps = Learn(&how, &score);
    if (steps < 0) {
      EXPECT_EQ(Written(net), before);
      const std::string said = Reports();
      EXPECT_TRUE(said.find("2753") != std::string::npos) << seed << ": " << said;
      continue;
    }
    ++numLearned;
    Reports(0);
    const double again = Score(how.score, how.prior);
    EXPECT_NEAR(score, again, 1e-9 * std::abs(again)) << seed;
    double sum = 0;
    for (node_bn node : nodes) sum += ScoreOf(node, how.score, how.prior);
    EXPECT_NEAR(sum, again, 1e-9 * std::abs(again)) << seed;
    if (required[0].empty()) EXPECT_GE(score, start - 1e-9 * std::abs(start)) << seed;
    const auto parents = Parents();
    const auto has = [&](node_bn from, node_bn to) {
      const auto& list = parents[std::size_t(Place(to))];
      return std::count(list.begin(), list.end(), Place(from)) == 1;
    };
    for (std::size_t k = 0; k < required[0].size(); ++k) EXPECT_TRUE(has(required[0][k], required[1][k])) << seed;
    for (std::size_t k = 0; k < forbidden[0].size(); ++k) EXPECT_FALSE(has(forbidden[0][k], forbidden[1][k])) << seed;
    for (int i = 0; i < n; ++i) {
      const auto& list = parents[std::size_t(i)];
      if (how.maxparents > 0) EXPECT_LE(int(list.size()), how.maxparents) << seed;
      for (int from : list)
        if (how.tiers) EXPECT_LE(tiers[std::size_t(from)], tiers[std::size_t(i)]) << seed;
    }
    const std::string after = Written(net);
    const Net copy = Read(after);
    CompileNet_bn(copy.get());
    EXPECT_EQ(Reports(4), "") << seed;  // no cycle, whole tables
    // From what was found nothing better is found, and nothing lost.
    how.keeplinks = 1;
    how.restarts = -1;
    double kept = 0;
    EXPECT_GE(Learn(&how, &kept), 0) << Reports();
    EXPECT_GE(kept, score - 1e-9 * std::abs(score)) << seed;
    Reports(0);
    EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
    EXPECT_EQ(Written(net), after) << seed;
    EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
    EXPECT_EQ(Written(net), before) << seed;
    EXPECT_EQ(RedoLastChange_bn(net.get()), 1);
    EXPECT_EQ(Written(net), after) << seed;
  }
  EXPECT_GT(numLearned, 40);
}

// A constant is none of the entries, though another node has a link from it and the cases have a column of it.
TEST_F(LinksTest, ConstantsAreNoneOfTheEntries) {
  node_bn a = New("A"), b = New("B"), constant = New("Constant"), child = New("Child", 2, {constant});
  SetNodeKind_bn(constant, ASSUME_NODE);
  nodelist_bn columns = Listed({a, b, child, constant}), learned = Listed({a, b});
  std::vector<statetype> states;
  for (int number = 0; number < 20; ++number) states.insert(states.end(), {number % 2, number % 2, 0, 0});
  learn_links_bn how = Defaults();
  how.maxentries = 5;
  EXPECT_EQ(LearnLinksCases_bn(columns, states.data(), nullptr, 20, learned, &how, nullptr), -1);
  EXPECT_THAT(Reports(), ::testing::HasSubstr("2755"));
  how.maxentries = 6;
  EXPECT_GT(LearnLinksCases_bn(columns, states.data(), nullptr, 20, learned, &how, nullptr), 0) << Reports();
  EXPECT_EQ(LengthNodeList_bn(GetNodeParents_bn(a)) + LengthNodeList_bn(GetNodeParents_bn(b)), 1);
}

// The entries that the search reckons with are those of the net once it is read back.
TEST_F(LinksTest, FoundKeepTheLimitOnEntries) {
  for (std::uint64_t seed = 0; seed < 40; ++seed) {
    Random random(seed);
    DataOptions options;
    options.nodes = random.Between(2, 14);
    Build(DrawData(random, options), random);
    learn_links_bn how = Defaults();
    how.score = random.Below(2) * 2;  // the log likelihood alone wants all links there are
    how.restarts = 2;
    double least = 0;
    for (int states : data.numstates) least += states;
    how.maxentries = std::floor(least * (1 + 3 * random.Share()));
    const std::string before = Written(net);
    ASSERT_GE(Learn(&how), 0) << Reports();
    Reports(0);
    EXPECT_LE(EntriesOfTree(), how.maxentries) << seed;
    how.maxentries = least - 1;
    how.keeplinks = 0;
    const std::string found = Written(net);
    EXPECT_EQ(Learn(&how), -1);
    EXPECT_THAT(Reports(), ::testing::HasSubstr("2755"));
    EXPECT_EQ(Written(net), found);
  }
}

TEST_F(LinksTest, EntriesAreThoseOfTheNetReadBack) {
  for (std::uint64_t seed = 0; seed < 60; ++seed) {
    Random random(seed);
    RandomNetOptions options;
    options.maxNodes = 40;
    options.maxConfigurations = 1e30;
    net = RandomNet(env, random, options);
    nodes = Nodes(net);
    // As it is left by learning links: children in the order of the net.
    std::vector<std::vector<node_bn>> parents;
    for (node_bn node : nodes) parents.push_back(Nodes(GetNodeParents_bn(node)));
    engine::Links links(nodes.size());
    Vector<int> numstates;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      numstates.push_back(NumStates(nodes[i]));
      while (LengthNodeList_bn(GetNodeParents_bn(nodes[i])) > 0) DeleteLink_bn(0, nodes[i]);
    }
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      for (node_bn parent : parents[i]) links[int(i)].push_back(Place(parent));
      std::sort(links[int(i)].begin(), links[int(i)].end());
      for (int parent : links[int(i)]) AddLink_bn(nodes[std::size_t(parent)], nodes[i]);
    }
    for (node_bn node : nodes) RandomTable(node, random, 0);
    EXPECT_EQ(engine::EntryLimit(0, numstates).Entries(links), EntriesOfTree()) << seed;
    Reports(0);
  }
}

TEST_F(LinksTest, SeedsBindOnAnyNumberOfThreads) {
  Random random(5);
  DataOptions options;
  options.nodes = 24;
  options.cases = 60000;
  Build(DrawData(random, options), random);
  learn_links_bn how = Defaults();
  how.restarts = 1;
  std::vector<std::vector<int>> first;
  double firstScore = 0;
  // What was there before makes no difference.
  for (int threads : {1, 3}) {
    how.numthreads = threads;
    double score = 0;
    ASSERT_GE(Learn(&how, &score), 0) << Reports();
    auto found = Parents();
    for (auto& parents : found) std::sort(parents.begin(), parents.end());
    if (threads == 1) first = found, firstScore = score;
    EXPECT_EQ(found, first);
    EXPECT_EQ(score, firstScore);
    Reports(0);
  }
}

TEST_F(LinksTest, BadArgumentsAreRefused) {
  Random random(1);
  DataOptions options;
  options.nodes = 4;
  Build(DrawData(random, options), random);
  Net other(NewNet_bn("Other", env));
  node_bn foreign = NewNode_bn("Foreign", 2, other.get());
  const std::string before = Written(net);
  const auto refuse = [&](const char* number, const std::function<void(learn_links_bn*)>& spoil) {
    learn_links_bn how = Defaults();
    spoil(&how);
    EXPECT_EQ(Learn(&how), -1);
    EXPECT_THAT(Reports(), ::testing::HasSubstr(number));
    EXPECT_EQ(Written(net), before);
  };
  refuse("2740", [](auto* how) { how->size = 0; });
  refuse("2740", [](auto* how) { how->size = 1 << 20; });
  refuse("2741", [](auto* how) { how->score = 3; });
  refuse("2741", [](auto* how) { how->method = -1; });
  refuse("2741", [](auto* how) { how->maxparents = -1; });
  refuse("2741", [](auto* how) { how->numthreads = 100000; });
  refuse("2741", [](auto* how) { how->prior = NAN; });
  refuse("2741", [](auto* how) { how->maxentries = -1; });
  refuse("2741", [](auto* how) { how->maxseconds = INFINITY; });
  refuse("2750", [&](auto* how) { how->requiredfrom = all; });
  refuse("2751", [&](auto* how) { how->target = foreign; });
  refuse("2753", [&](auto* how) {
    how->requiredfrom = Listed({nodes[0], nodes[1]});
    how->requiredto = Listed({nodes[1], nodes[0]});
  });
  const auto fails = [&](const char* number, int answer) {
    EXPECT_EQ(answer, -1);
    EXPECT_THAT(Reports(), ::testing::HasSubstr(number));
    EXPECT_EQ(Written(net), before);
  };
  const statetype* states = data.states.data();
  const std::vector<statetype> bad(4, 9), none(4, statetype(UNDEF_STATE));
  const std::vector<double> weights = {1, -1}, zeros = {0, 0};
  fails("2746", LearnLinksCases_bn(all, bad.data(), nullptr, 1, all, nullptr, nullptr));
  fails("2747", LearnLinksCases_bn(all, states, weights.data(), 2, all, nullptr, nullptr));
  fails("2748", LearnLinksCases_bn(all, states, nullptr, -1, all, nullptr, nullptr));
  fails("2749", LearnLinksCases_bn(all, states, nullptr, 0, all, nullptr, nullptr));
  fails("2749", LearnLinksCases_bn(all, states, zeros.data(), 2, all, nullptr, nullptr));
  fails("2612", LearnLinksCases_bn(all, nullptr, nullptr, 2, all, nullptr, nullptr));
  fails("2745", LearnLinksCases_bn(Listed({nodes[0]}), states, nullptr, 2, all, nullptr, nullptr));
  EXPECT_EQ(ScoreLinksCases_bn(all, states, nullptr, 2, all, 7, 1), undef_dbl_ns);
  EXPECT_THAT(Reports(), ::testing::HasSubstr("2741"));
  // A case that says nothing is one all the same; a column that never changes stays alone.
  EXPECT_GE(LearnLinksCases_bn(all, none.data(), nullptr, 1, all, nullptr, nullptr), 0);
  EXPECT_THAT(Reports(), ::testing::HasSubstr("2759"));
  node_bn outside = New("Outside", 2, {nodes[0]});
  EXPECT_EQ(Learn(nullptr), -1);
  EXPECT_THAT(Reports(), ::testing::HasSubstr("2744"));
  EXPECT_EQ(LengthNodeList_bn(GetNodeParents_bn(outside)), 1);
}

// From a file, with a column of numbers of cases: the same as from arrays with weights.
TEST_F(LinksTest, FilesSayWhatArraysDo) {
  Random random(8);
  DataOptions options;
  options.missing = 0.1;
  options.whole = true;
  Build(DrawData(random, options), random);
  std::string text = "NumCases";
  for (node_bn node : nodes) text += std::string("\t") + GetNodeName_bn(node);
  for (std::size_t number = 0; number < data.NumCases(); ++number) {
    text += "\n" + std::to_string(int(data.Weight(number)));
    for (int i = 0; i < data.NumNodes(); ++i)
      text += "\t" + (data.State(number, i) < 0 ? "*" : "#" + std::to_string(data.State(number, i)));
  }
  const std::string path = directory.Path("cases.cas");
  WriteWhole(path, "// ~->[CASE-1]->~\n\n" + text + "\n");
  filespec_ns file = FileNamed_ns(path.c_str(), env);
  double ofFile = 0, ofArrays = 0;
  EXPECT_GE(LearnLinks_bn(file, all, nullptr, &ofFile), 0) << Reports();
  const std::string found = Written(net);
  EXPECT_EQ(ScoreLinks_bn(file, all, 0, 0), ofFile);
  EXPECT_GE(Learn(nullptr, &ofArrays), 0) << Reports();
  Reports(0);
  EXPECT_EQ(ofFile, ofArrays);
  EXPECT_EQ(Written(net), found);
  FreeFileSpec_ns(file);
}

TEST_F(LinksTest, HaltedItChangesNothing) {
  Random random(2);
  DataOptions options;
  options.nodes = 12;
  options.cases = 40000;
  Build(DrawData(random, options), random);
  const std::string before = Written(net);
  SetWaitClock([] {
    static long seconds = 0;
    return ++seconds;
  });
  char operation = 'L';
  SetProgressCallback_ns(HaltHalfway, &operation, env);
  learn_links_bn how = Defaults();
  how.restarts = 200;
  EXPECT_EQ(Learn(&how), -1);
  SetProgressCallback_ns(nullptr, nullptr, env);
  SetWaitClock(nullptr);
  EXPECT_THAT(Reports(), ::testing::HasSubstr("2450"));
  EXPECT_EQ(Written(net), before);
}

long requestsLeft;

TEST_F(LinksTest, WithoutMemoryItChangesNothing) {
  Random random(4);
  DataOptions options;
  options.nodes = 4;
  Build(DrawData(random, options), random);
  learn_links_bn how = Defaults();
  how.maxentries = 1000;
  how.restarts = 1;
  const std::string before = Written(net);
  int numRefused = 0;
  for (requestsLeft = 0; requestsLeft >= 0;) {
    const long n = requestsLeft;
    SetHeapGate([](std::size_t) { return requestsLeft-- != 0; });
    const int steps = Learn(&how);
    SetHeapGate(nullptr);
    Free(Allocate(1));  // the reserve is taken again
    SetMemoryState(MEMORY_NORMAL);
    if (steps < 0) {
      EXPECT_NE(Reports(5), "") << "request " << n;
      EXPECT_EQ(Written(net), before) << n;
      ++numRefused;
    } else {
      EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
      EXPECT_EQ(Written(net), before) << n;
    }
    Reports(0);
    requestsLeft = requestsLeft < 0 ? n + 1 : -1;
  }
  EXPECT_GT(numRefused, 10);
}

}  // namespace
}  // namespace bravic::testing

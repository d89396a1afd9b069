// Searches for links over small data sets against all nets there are, with rules, limits on entries and missing cells.
#include <bit>

#include "Bn/engine/learn/CandidateSets.h"
#include "support/random.h"
#include "support/test.h"

namespace bravic::testing {
namespace {

using namespace bravic::engine;
using Search = FoundLinks (*)(const LinkSearch&);

// Cases of nodes that depend on some of those before them in a random order, and random rules that can be kept.
struct Task {
  int n;
  std::vector<int> numstates, states;
  Vector<int> columns;
  Owned<CaseColumns> cases;
  Owned<FamilyScores> scores;
  Owned<LinkRules> rules;
  Interrupt interrupt;
  LinkSearch search;

  Task(Random& random, int numNodes, int numCases, double missing, bool hasRules, int numThreads = 1) : n(numNodes) {
    for (int v = 0; v < n; ++v) numstates.push_back(random.Between(2, 4));
    Draw(random, numCases, missing);
    cases = MakeOwned<CaseColumns>(std::span<const int>(numstates));
    columns.resize(n);
    std::iota(columns.begin(), columns.end(), 0);
    EXPECT_TRUE(cases->Add({states.data(), numCases, n, columns, nullptr}) && cases->Finish());
    const auto kind = static_cast<ScoreKind>(random.Below(2));
    scores = MakeOwned<FamilyScores>(*cases, kind, 1.0, numThreads, &interrupt);
    rules = MakeOwned<LinkRules>(n);
    if (hasRules) DrawRules(random);
    search.scores = scores.get();
    search.rules = rules.get();
    search.interrupt = &interrupt;
    search.start.resize(n);
    for (int v = 0; v < n; ++v) search.start[v] = rules->Required(v);
  }

  void Draw(Random& random, int numCases, double missing) {
    std::vector<int> order(std::size_t(n), 0);
    std::iota(order.begin(), order.end(), 0);
    for (std::size_t i = order.size(); i > 1; --i) std::swap(order[i - 1], order[std::size_t(random.Below(int(i)))]);
    std::vector<std::pair<int, int>> parents;
    for (int k = 0; k < n; ++k) parents.push_back({random.Below(k + 1), random.Below(k + 1)});
    for (int number = 0; number < numCases; ++number) {
      std::vector<int> drawn(std::size_t(n), 0);
      for (int k = 0; k < n; ++k) {
        const int v = order[std::size_t(k)], of = numstates[std::size_t(v)];
        const int one = order[std::size_t(parents[std::size_t(k)].first)];
        const int other = order[std::size_t(parents[std::size_t(k)].second)];
        int state = random.Below(of);
        if (one != v && random.Chance(0.7)) state = (drawn[std::size_t(one)] + drawn[std::size_t(other)]) % of;
        drawn[std::size_t(v)] = state;
      }
      for (int v = 0; v < n; ++v) states.push_back(random.Chance(missing) ? -1 : drawn[std::size_t(v)]);
    }
  }

  void DrawRules(Random& random) {
    if (random.Chance(0.5)) {
      Vector<int> tiers(n);
      for (int& tier : tiers) tier = random.Below(3);
      rules->SetTiers(tiers);
    }
    for (int k = 0; k < n; ++k) {
      const NetLink link = {random.Below(n), random.Below(n)};
      if (random.Chance(0.6)) rules->Forbid(link);
    }
    rules->SetMostParents(random.Between(1, 3));
    for (int k = 0; k < 2; ++k) {
      LinkRules more = *rules;
      const NetLink link = {random.Below(n), random.Below(n)};
      NetLink at;
      if (rules->Allows(link.from, link.to)) more.Require(link);
      if (more.FindFault(&at) == LinkRules::Fault::NONE) *rules = more;
    }
  }

  double Best(int most) const {
    // [node] the scores of all sets that it may have, and the sets as bits
    std::vector<std::vector<std::pair<unsigned, double>>> sets;
    sets.resize(std::size_t(n));
    for (int v = 0; v < n; ++v)
      for (unsigned bits = 0; bits < 1u << n; ++bits) {
        const Vector<int> set = SetOf(bits);
        if (Count(set) <= most && rules->AllowsParents(v, set))
          sets[std::size_t(v)].push_back({bits, scores->Score(v, set)});
      }
    // The best net of each set of nodes, all of whose parents are in it: one of them is nobody's parent.
    std::vector<double> best(1u << n, -1e300);
    best[0] = 0;
    for (unsigned nodes = 1; nodes < 1u << n; ++nodes)
      for (int v = 0; v < n; ++v)
        for (const auto& [bits, score] : sets[std::size_t(v)])
          if ((nodes >> v & 1) != 0 && (bits & ~(nodes & ~(1u << v))) == 0)
            best[nodes] = std::max(best[nodes], best[nodes & ~(1u << v)] + score);
    return best.back();
  }
  static Vector<int> SetOf(unsigned bits) {
    Vector<int> set;
    for (; bits != 0; bits &= bits - 1) set.push_back(std::countr_zero(bits));
    return set;
  }

  void ExpectSound(const FoundLinks& found) const {
    ASSERT_EQ(found.status, Status::Done);
    ASSERT_EQ(found.parents.size(), n);
    EXPECT_EQ(ParentsFirst(found.parents).size(), n) << "a cycle";
    for (int v = 0; v < n; ++v) {
      EXPECT_TRUE(std::ranges::is_sorted(found.parents[v]));
      EXPECT_TRUE(rules->AllowsParents(v, found.parents[v])) << "parents of " << v;
    }
    EXPECT_EQ(found.score, scores->Score(found.parents));
    if (search.limit) {
      EXPECT_LE(search.limit->Entries(found.parents), search.limit->MostEntries());
    }
  }
};

constexpr double ROUNDING = 1e-7;

// Calls visit with all links in which every node has its fixed parents and one more at most.
template <class Visit>
void ForEachForest(const Vector<Vector<int>>& fixed, Visit visit) {
  const int n = fixed.size();
  Vector<int> choice(n, -1);
  for (;;) {
    Links links = fixed;
    bool isNew = true;
    for (int v = 0; v < n; ++v) {
      if (choice[v] < 0) continue;
      isNew = isNew && choice[v] != v && std::ranges::find(links[v], choice[v]) == links[v].end();
      links[v].push_back(choice[v]);
      std::ranges::sort(links[v]);
    }
    if (isNew && ParentsFirst(links).size() == n) visit(links);
    int v = n - 1;
    while (v >= 0 && ++choice[v] == n) choice[v--] = -1;
    if (v < 0) return;
  }
}

TEST(Searches, ExactFindsTheBestOfAllNets) {
  for (int seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    Random random(static_cast<std::uint64_t>(seed));
    Task task(random, random.Between(1, 6), random.Between(20, 400), seed % 3 == 0 ? 0.1 : 0, seed % 2 == 0);
    const FoundLinks found = SearchExact(task.search);
    task.ExpectSound(found);
    EXPECT_TRUE(found.isBest);
    EXPECT_NEAR(found.score, task.Best(task.n), ROUNDING);
  }
}

TEST(Searches, TreesAreTheBestThereAre) {
  for (int seed = 0; seed < 80; ++seed) {
    SCOPED_TRACE(seed);
    Random random(static_cast<std::uint64_t>(seed));
    Task task(random, random.Between(2, 5), random.Between(20, 400), seed % 5 == 0 ? 0.1 : 0, seed % 2 == 0);
    const bool isClassifier = seed % 4 >= 2;
    task.search.target = seed % 3 > 0 || isClassifier ? random.Below(task.n) : -1;
    const int target = task.search.target;
    LinkRules& rules = *task.rules;
    rules.SetMostParents(isClassifier ? 2 : 1);
    for (int v = 0; v < task.n && target >= 0; ++v) rules.Forbid({v, target});
    NetLink link;
    if (rules.FindFault(&link) != LinkRules::Fault::NONE) continue;
    const FoundLinks found = (isClassifier ? SearchTan : SearchTree)(task.search);
    task.ExpectSound(found);

    Vector<Vector<int>> fixed(task.n);
    for (int v = 0; v < task.n; ++v)
      if (isClassifier && rules.Allows(target, v)) fixed[v].push_back(target);
    double best = -1e300;
    ForEachForest(fixed, [&](const Links& links) {
      for (int v = 0; v < task.n; ++v)
        if (!rules.AllowsParents(v, links[v])) return;
      if (isClassifier)
        for (int v = 0; v < task.n; ++v)
          if (links[v].size() > 1 && fixed[v].empty()) return;
      best = std::max(best, task.scores->Score(links));
    });
    if (best > -1e300) {
      EXPECT_NEAR(found.score, best, ROUNDING);
    }
    for (int v = 0; v < task.n; ++v)
      for (int parent : fixed[v]) EXPECT_TRUE(std::ranges::binary_search(found.parents[v], parent));
  }
}

TEST(Searches, OrdersComeNearTheBestAndNeverBelowTheirStart) {
  int numBest = 0;
  for (int seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    Random random(static_cast<std::uint64_t>(seed));
    Task task(random, random.Between(1, 8), random.Between(20, 400), seed % 4 == 0 ? 0.1 : 0, seed % 2 == 0);
    LinkSearch changed = task.search;
    const FoundLinks found = SearchOrders(task.search), best = SearchExact(task.search);
    task.ExpectSound(found);
    EXPECT_LE(found.score, best.score + ROUNDING);
    EXPECT_GE(found.score, task.scores->Score(task.search.start));
    numBest += found.score > best.score - ROUNDING;
    changed.start = best.parents;
    EXPECT_NEAR(SearchOrders(changed).score, best.score, ROUNDING);
  }
  EXPECT_GE(numBest, 38);
}

// The sets that a short list may have are those of the nodes that gain most alone; what is begun with stays.
TEST(Searches, ListsKeepTheBestCandidates) {
  for (int seed = 0; seed < 20; ++seed) {
    SCOPED_TRACE(seed);
    Random random(static_cast<std::uint64_t>(seed));
    Task task(random, 8, 300, seed % 4 == 0 ? 0.1 : 0, seed % 2 == 0);
    const int node = random.Below(task.n), most = random.Below(task.n);
    const Vector<int>& required = task.rules->Required(node);
    std::vector<std::pair<double, int>> alone;
    for (int other = 0; other < task.n; ++other) {
      Vector<int> set = required;
      set.push_back(other);
      std::ranges::sort(set);
      if (task.rules->Allows(other, node) && !task.rules->Requires(other, node) && task.rules->AllowsParents(node, set))
        alone.push_back({-task.scores->Score(node, set), other});
    }
    std::ranges::stable_sort(alone);
    const Vector<Vector<int>> begun = {required};
    ParentSetList expected;
    for (unsigned bits = 0; bits < 1u << task.n; ++bits) {
      const Vector<int> set = Task::SetOf(bits);
      if (!task.rules->AllowsParents(node, set) || set.size() > required.size() + 2) continue;
      int numKept = 0;
      for (std::size_t k = 0; k < alone.size() && int(k) < most; ++k)
        numKept += std::ranges::count(set, alone[k].second) > 0;
      const bool isSingle = set.size() <= required.size() + 1;
      if (isSingle || numKept == set.size() - required.size()) expected.Add(set, task.scores->Score(node, set));
    }
    const ParentSets listed = BestParentSets(*task.scores, *task.rules, node, {most, 2, 0}, begun),
                     all = expected.Sorted();
    ASSERT_EQ(listed.NumSets(), all.NumSets());
    for (int k = 0; k < all.NumSets(); ++k) EXPECT_TRUE(std::ranges::equal(listed.Set(k), all.Set(k)));
    EXPECT_EQ(listed.scores, all.scores);
    // Looked at one by one, sets of any size come before those that score less.
    const ParentSets more = BestParentSets(*task.scores, *task.rules, node, {task.n, 1, 40}, begun);
    for (int k = 0; k < more.NumSets(); ++k) {
      const Vector<int> set(more.Set(k).begin(), more.Set(k).end());
      EXPECT_TRUE(task.rules->AllowsParents(node, set));
      EXPECT_EQ(more.scores[k], task.scores->Score(node, set));
    }
  }
  // As many candidates as let all their pairs be scored, but fifteen in any case.
  for (const auto& [setsPerNode, numNodes] : {std::pair{7500.0, 200}, {50.0, 40}, {1e6, 20}}) {
    const int n = ChooseSetSearch(setsPerNode, numNodes).mostCandidates;
    const auto numSets = [](double of) { return 1 + of + of * (of - 1) / 2; };
    EXPECT_TRUE(n == numNodes || n == 15 || numSets(n + 1) > setsPerNode);
    EXPECT_TRUE(n == 15 || numSets(n) <= setsPerNode);
  }
}

TEST(Searches, KeepTheLimitOnEntries) {
  for (int seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    Random random(static_cast<std::uint64_t>(seed));
    Task task(random, random.Between(4, 9), 500, 0, seed % 2 == 0);
    EntryLimit unlimited(1e300, task.numstates);
    const double least = unlimited.Entries(task.search.start);
    EntryLimit limit(least * (1 + random.Share()), task.numstates);
    task.search.limit = &limit;
    for (const Search search : {SearchTree, SearchExact, SearchOrders}) {
      const FoundLinks found = search(task.search);
      if (search == SearchTree && task.rules->MostParents() > 1) continue;
      task.ExpectSound(found);
      EXPECT_GE(found.score, task.scores->Score(task.search.start) - ROUNDING);
    }
    limit = EntryLimit(unlimited.Entries(SearchExact(task.search).parents), task.numstates);
    EXPECT_TRUE(SearchExact(task.search).status == Status::Done);
  }
}

TEST(Searches, AreTheSameForAnyNumberOfThreadsAndBoundByTheirSeed) {
  for (const Search search : {SearchTree, SearchExact, SearchOrders}) {
    FoundLinks first;
    for (int numThreads : {1, 2, 3}) {
      Random random(7);
      Task task(random, 12, 3000, 0.01, true, numThreads);
      task.rules->SetMostParents(3);
      task.search.seed = 5;
      task.search.restarts = 1;
      const FoundLinks found = search(task.search);
      if (numThreads == 1) first = found;
      EXPECT_EQ(found.parents, first.parents);
      EXPECT_EQ(found.score, first.score);
      EXPECT_EQ(found.steps, first.steps);
    }
  }
}

TEST(Searches, AreHalted) {
  for (const Search search : {SearchTree, SearchTan, SearchExact, SearchOrders}) {
    for (int after : {0, 1, 3}) {
      Random random(3);
      Task task(random, 14, 20000, 0, false);
      task.search.target = 0;
      for (int v = 1; v < task.n && search == SearchTan; ++v) task.rules->Forbid({v, 0});
      int numAsked = 0;
      task.interrupt.Start([&](double) { return numAsked++ >= after; }, 1);
      EXPECT_EQ(search(task.search).status, Status::Halted);
    }
  }
}

}  // namespace
}  // namespace bravic::testing

// Searches for links by scores alone: forests against all forests, nets from lists of parent sets against all nets.
#include <algorithm>
#include <cmath>
#include <numeric>

#include "Bn/engine/learn/Branching.h"
#include "Bn/engine/learn/OrderWalk.h"
#include "Bn/engine/learn/SubsetSearch.h"
#include "support/random.h"
#include "support/test.h"

namespace bravic::testing {
namespace {

using namespace bravic::engine;

// Whether there is no way round; parents(v) are those of node v.
template <class Parents>
bool IsAcyclic(int n, Parents parents) {
  Vector<char> isDone(n, false);
  for (int numDone = 0; numDone < n; ++numDone) {
    int v = 0;
    while (v < n && (isDone[v] || !std::ranges::all_of(parents(v), [&](int p) { return isDone[p]; }))) ++v;
    if (v == n) return false;
    isDone[v] = true;
  }
  return true;
}

// Counts through all choices of one of limit(v) things for each node v; the last node's fastest.
template <class Limit, class Visit>
void ForEachChoice(int n, Limit limit, Visit visit) {
  Vector<int> choice(n, 0);
  for (;;) {
    visit(choice);
    int v = n - 1;
    while (v >= 0 && ++choice[v] == limit(v)) choice[v--] = 0;
    if (v < 0) return;
  }
}

double ForestGain(std::span<const double> gains, std::span<const double> alone, std::span<const int> parents) {
  const int n = Count(alone);
  double sum = 0;
  for (int v = 0; v < n; ++v) sum += parents[v] < 0 ? alone[v] : gains[static_cast<std::size_t>(v * n + parents[v])];
  return sum;
}

double BestForestGain(std::span<const double> gains, std::span<const double> alone) {
  const int n = Count(alone);
  double best = NO_LINK;
  ForEachChoice(
      n, [&](int) { return n + 1; },
      [&](Vector<int> parents) {
        for (int& parent : parents) --parent;
        for (int v = 0; v < n; ++v)
          if (parents[v] == v) return;
        const auto listed = [&](int v) { return std::span(&parents[v], parents[v] < 0 ? 0 : 1); };
        if (IsAcyclic(n, listed)) best = std::max(best, ForestGain(gains, alone, parents));
      });
  return best;
}

TEST(Branching, FindsTheBestOfAllForests) {
  for (int seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    Random random(static_cast<std::uint64_t>(seed));
    const int n = random.Between(1, 5);
    const bool isSymmetric = random.Chance(0.3), isWhole = random.Chance(0.3);
    Vector<double> gains(n * n), alone(n, 0.0);
    for (int to = 0; to < n; ++to)
      for (int from = 0; from < n; ++from) {
        double gain = random.Share() * 10 - 4;
        if (isWhole) gain = std::floor(gain);
        gains[to * n + from] = random.Chance(0.2) ? NO_LINK : gain;
      }
    if (isSymmetric)
      for (int to = 0; to < n; ++to)
        for (int from = 0; from < to; ++from) gains[from * n + to] = gains[to * n + from];
    // A node that must have a parent, and can have one that needs none.
    if (n > 1 && random.Chance(0.3)) {
      alone[0] = NO_LINK;
      gains[1] = -3;
    }
    Interrupt interrupt;
    const Vector<int> parents = FindBranching(gains, alone, interrupt);
    ASSERT_EQ(parents.size(), n);
    EXPECT_TRUE(IsAcyclic(n, [&](int v) { return std::span(&parents[v], parents[v] < 0 ? 0 : 1); }));
    EXPECT_NEAR(ForestGain(gains, alone, parents), BestForestGain(gains, alone), 1e-9);
    if (isSymmetric && alone[0] == 0) {
      EXPECT_EQ(parents[0], -1) << "a tree begins at its first node";
    }
  }
}

TEST(Branching, OpensCirclesWithinCircles) {
  // 0 and 1 want each other, so do 2 and 3, and then the two pairs; only 3 is worth much by itself.
  const int n = 4;
  Vector<double> gains(n * n, 0.5), alone = {0, 0, 0, 7};
  const auto gain = [&](int from, int to) -> double& { return gains[to * n + from]; };
  gain(0, 1) = gain(1, 0) = 10;
  gain(2, 3) = gain(3, 2) = 9;
  gain(1, 2) = 8;
  gain(2, 0) = 8.5;
  Interrupt interrupt;
  const Vector<int> parents = FindBranching(gains, alone, interrupt);
  EXPECT_EQ(parents, (Vector<int>{2, 0, 3, -1}));
  interrupt.Start([](double) { return true; }, 1);
  interrupt.lookAt = 0;
  EXPECT_TRUE(FindBranching(gains, alone, interrupt).empty());
}

// Every node's lists: some of the sets of other nodes, always the empty one unless it needs a parent.
Vector<ParentSets> RandomSets(int n, Random& random) {
  Vector<ParentSets> sets;
  for (int v = 0; v < n; ++v) {
    ParentSetList list;
    const double share = random.Share();
    for (int mask = 0; mask < 1 << n; ++mask) {
      if ((mask >> v & 1) != 0 || (mask != 0 && !random.Chance(share))) continue;
      Vector<int> members;
      for (int u = 0; u < n; ++u)
        if ((mask >> u & 1) != 0) members.push_back(u);
      list.Add(members, std::floor(random.Share() * 20) - 30 + 3 * Count(members));
    }
    sets.push_back(list.Sorted());
  }
  return sets;
}

double ScoreOf(std::span<const ParentSets> sets, std::span<const int> choice) {
  double sum = 0;
  for (std::size_t v = 0; v < choice.size(); ++v) sum += sets[v].scores[choice[v]];
  return sum;
}

double BestScore(std::span<const ParentSets> sets) {
  const int n = Count(sets);
  double best = IMPOSSIBLE_SCORE;
  ForEachChoice(
      n, [&](int v) { return sets[static_cast<std::size_t>(v)].NumSets(); },
      [&](const Vector<int>& choice) {
        const double score = ScoreOf(sets, choice);
        if (score > best && IsAcyclic(n, [&](int v) { return sets[static_cast<std::size_t>(v)].Set(choice[v]); }))
          best = score;
      });
  return best;
}

Vector<int> BestChoice(std::span<const ParentSets> sets, Interrupt& interrupt) {
  std::vector<double> room(std::size_t{1} << sets.size());
  return FindBestSets(sets, room, interrupt);
}

TEST(ParentSets, KeepNoSetOfWhichAPartScoresAsWell) {
  ParentSetList list;
  const Vector<int> none, a = {1}, b = {65}, ab = {1, 65}, abc = {1, 2, 65};  // 1 and 65 share a bit
  list.Add(abc, -4);
  list.Add(b, -5);
  list.Add(ab, -5);
  list.Add(none, -7);
  list.Add(a, -8);
  const ParentSets sets = list.Sorted();
  ASSERT_EQ(sets.NumSets(), 3);
  EXPECT_EQ(sets.Set(0).size(), 3u);
  EXPECT_EQ(sets.Set(1)[0], 65);
  EXPECT_TRUE(sets.Set(2).empty());
  EXPECT_EQ(sets.scores, (Vector<double>{-4, -5, -7}));
}

TEST(SubsetSearch, FindsTheBestOfAllNets) {
  for (int seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    Random random(static_cast<std::uint64_t>(seed));
    const int n = random.Between(1, 5);
    const Vector<ParentSets> sets = RandomSets(n, random);
    Interrupt interrupt;
    const Vector<int> choice = BestChoice(sets, interrupt);
    ASSERT_EQ(choice.size(), n);
    EXPECT_TRUE(IsAcyclic(n, [&](int v) { return sets[v].Set(choice[v]); }));
    EXPECT_EQ(ScoreOf(sets, choice), BestScore(sets));
  }
}

TEST(SubsetSearch, IsHalted) {
  Random random(1);
  const Vector<ParentSets> sets = RandomSets(3, random);
  Interrupt interrupt;
  interrupt.Start([](double) { return true; }, 1);
  interrupt.lookAt = 0;
  EXPECT_TRUE(BestChoice(sets, interrupt).empty());
}

// The best choice in an order, looked up afresh.
Vector<int> ChoiceIn(std::span<const int> order, std::span<const ParentSets> sets) {
  Vector<int> choice(Count(order), -1);
  for (std::size_t p = 0; p < order.size(); ++p) {
    const int v = order[p];
    const auto isBefore = [&](int u) { return std::ranges::find(order.first(p), u) != order.begin() + long(p); };
    while (!std::ranges::all_of(sets[static_cast<std::size_t>(v)].Set(++choice[v]), isBefore)) {
    }
  }
  return choice;
}

TEST(OrderWalk, KeepsTheBestSetsOfItsOrderAndFindsTheBestNets) {
  int numBest = 0;
  for (int seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    Random random(static_cast<std::uint64_t>(seed));
    const int n = random.Between(2, 9);
    const Vector<ParentSets> sets = RandomSets(n, random);
    Vector<int> order(n);
    std::iota(order.begin(), order.end(), 0);
    Interrupt interrupt;
    OrderWalk walk(sets, order, static_cast<std::uint64_t>(seed), interrupt);
    double score = walk.Score();
    for (int k = 0; k < 30; ++k) {
      if (k == 0) walk.Climb();
      if (k > 0) walk.Leap();
      EXPECT_GE(walk.Score(), score);
      score = walk.Score();
      ASSERT_TRUE(std::ranges::is_permutation(walk.Order(), order));
      ASSERT_TRUE(std::ranges::equal(walk.Choice(), ChoiceIn(walk.Order(), sets)));
    }
    const Vector<int> best = BestChoice(sets, interrupt);
    EXPECT_LE(score, ScoreOf(sets, best));
    numBest += score == ScoreOf(sets, best);
  }
  EXPECT_GE(numBest, 55);
}

TEST(OrderWalk, KeepsParentsThatANodeMustHave) {
  // 3 needs 2, which needs 1, though each scores better by itself; 0 would gain most as a child of 3.
  Vector<ParentSets> sets;
  for (int v = 0; v < 4; ++v) {
    ParentSetList list;
    const Vector<int> none, before = {v - 1}, three = {3};
    if (v < 2) list.Add(none, -2);
    if (v >= 2) list.Add(before, -20);
    if (v == 0) list.Add(three, -1);
    sets.push_back(list.Sorted());
  }
  const Vector<int> order = {0, 1, 2, 3};
  Interrupt interrupt;
  OrderWalk walk(sets, order, 1, interrupt);
  walk.Climb();
  for (int k = 0; k < 20; ++k) walk.Leap();
  EXPECT_TRUE(std::ranges::equal(walk.Order(), Vector<int>{1, 2, 3, 0}));
  EXPECT_EQ(walk.Score(), -43);
}

}  // namespace
}  // namespace bravic::testing

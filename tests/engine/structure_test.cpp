// Orders, triangulation and junction trees against the rules carried out the slow way.

#include "engine/model.h"
#include "support/shapes.h"
#include "support/test.h"

namespace bravic::testing {
namespace {

using engine::Graph;
using engine::JunctionTree;
using NodeSet = std::set<int>;

std::vector<NodeSet> Adjacency(const Graph& graph) {
  std::vector<NodeSet> sets(std::size_t(graph.NumNodes()));
  for (int i = 0; i < graph.NumNodes(); ++i) {
    auto list = graph.Neighbours(i);
    sets[std::size_t(i)] = NodeSet(list.begin(), list.end());
    EXPECT_EQ(sets[std::size_t(i)].size(), list.size()) << "a neighbour listed twice";
  }
  return sets;
}

double Product(const NodeSet& nodes, const Vector<int>& numstates) {
  double size = 1;
  for (int v : nodes) size *= numstates[std::size_t(v)];
  return size;
}

// The greedy search with every cost computed afresh at every step; also joins the fill-in edges.
struct SlowSearch {
  std::vector<int> order;
  double cost = 0;
  std::vector<NodeSet> filled;

  SlowSearch(const Graph& moral, const Vector<int>& numstates) {
    filled = Adjacency(moral);
    std::vector<int> remaining(filled.size());
    std::iota(remaining.begin(), remaining.end(), 0);
    std::vector<NodeSet> recorded;
    NodeSet gone;
    while (!remaining.empty()) {
      double best = 1e308;
      int chosen = -1;
      for (int x : remaining) {
        NodeSet around;
        for (int w : filled[std::size_t(x)])
          if (!gone.count(w)) around.insert(w);
        double price = -1;
        for (const NodeSet& set : recorded)
          if (!filled[std::size_t(x)].empty() && set.size() > around.size() && set.count(x)) price = 0;
        if (price < 0) {
          around.insert(x);
          price = Product(around, numstates);
        }
        if (price < best) best = price, chosen = x;
        if (price == 0) break;
      }
      order.push_back(chosen);
      cost += best;
      remaining.erase(std::find(remaining.begin(), remaining.end(), chosen));
      gone.insert(chosen);
      std::erase_if(recorded, [&](const NodeSet& set) { return set.count(chosen) > 0; });
      NodeSet around;
      for (int w : filled[std::size_t(chosen)])
        if (!gone.count(w)) around.insert(w);
      if (!filled[std::size_t(chosen)].empty()) recorded.push_back(around);
      for (int a : around)
        for (int b : around)
          if (a != b) filled[std::size_t(a)].insert(b);
    }
  }
};

// The cliques that an order makes: the families that lie in no other, whatever the way they are found.
double CostOfMaximalFamilies(const Graph& moral, const Vector<int>& numstates, const Vector<int>& order) {
  std::vector<NodeSet> filled = Adjacency(moral), families;
  for (int v : order) {
    NodeSet later = filled[std::size_t(v)];
    for (int a : later) {
      NodeSet& list = filled[std::size_t(a)];
      list.insert(later.begin(), later.end());
      list.erase(a);
      list.erase(v);
    }
    later.insert(v);
    families.push_back(later);
  }
  double cost = 0;
  for (std::size_t i = 0; i < families.size(); ++i) {
    bool inside = false;
    for (std::size_t j = 0; j < families.size(); ++j)
      inside |= j != i && families[j].size() > families[i].size() &&
                std::includes(families[j].begin(), families[j].end(), families[i].begin(), families[i].end());
    if (!inside) cost += Product(families[i], numstates);
  }
  return cost;
}

const ModelOptions LARGE = {1, 40, 1, 5, 4, 1e18, 0};

template <class Check>
void ForModels(std::uint64_t count, const ModelOptions& options, Check check) {
  for (std::uint64_t seed = 1; seed <= count; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    const Model model = RandomModel(random, options);
    check(model, Compiled(model));
  }
}

TEST(Order, IsTheGreedyOneWithItsTies) {
  ForModels(150, LARGE, [](const Model& model, const Compiled& compiled) {
    const engine::Order& order = compiled.order;
    EXPECT_EQ(order.numFound, model.NumNodes());
    EXPECT_DOUBLE_EQ(order.cost, engine::OrderCost(compiled.moral, model.numstates, order.nodes));
    EXPECT_DOUBLE_EQ(order.cost, CostOfMaximalFamilies(compiled.moral, model.numstates, order.nodes));
    if (model.NumNodes() < 4) return;
    const SlowSearch slow(compiled.moral, model.numstates);
    EXPECT_TRUE(std::equal(slow.order.begin(), slow.order.end(), order.nodes.begin(), order.nodes.end()));
    EXPECT_EQ(slow.cost, order.cost);
  });
}

// Nodes with very many neighbours, whose costs are bounded before they are computed.
TEST(Order, WithHubsIsTheGreedyOne) {
  for (std::uint64_t seed = 1; seed <= 12; ++seed) {
    Random random(seed);
    const int n = random.Between(100, 160), numHubs = random.Between(1, 4);
    Vector<int> numstates;
    Vector<Vector<int>> parents(static_cast<std::size_t>(n)), children(parents.size());
    for (int i = 0; i < n; ++i) {
      // With one state each, or almost, nodes with many neighbours are the cheapest now and then.
      const double share = seed % 3 == 0 ? 1 : seed % 3 == 1 ? 0.98 : 0.2;
      const bool isEmpty = seed % 3 == 2 && random.Chance(0.02);
      numstates.push_back(isEmpty ? 0 : random.Chance(share) ? 1 : random.Between(2, 4));
      auto link = [&](int parent) {
        if (parent < 0 || parent >= i ||
            std::count(parents[std::size_t(i)].begin(), parents[std::size_t(i)].end(), parent))
          return;
        parents[std::size_t(i)].push_back(parent);
        children[std::size_t(parent)].push_back(i);
      };
      for (int k = random.Below(3); k >= 0; --k) link(random.Below(numHubs));
      if (random.Chance(0.5)) link(i - random.Between(1, 5));
      if (i < numHubs) parents[std::size_t(i)].clear();
    }
    for (auto& list : children) std::erase_if(list, [&](int child) { return child < numHubs; });
    const Graph moral = engine::MoralGraph(parents, children);
    const engine::Order order = engine::FindOrder(moral, numstates, nullptr);
    const SlowSearch slow(moral, numstates);
    EXPECT_TRUE(std::equal(slow.order.begin(), slow.order.end(), order.nodes.begin(), order.nodes.end())) << seed;
    EXPECT_EQ(slow.cost, order.cost) << seed;
  }
}

TEST(Order, CostOfAnyOrderCountsEachCliqueOnce) {
  for (std::uint64_t seed = 1; seed <= 60; ++seed) {
    Random random(seed);
    const Model model = RandomModel(random, {1, 16, 2, 4, 3, 1e18, 0});
    const Graph moral = engine::MoralGraph(model.parents, model.children);
    Vector<int> order(model.numstates.size());
    std::iota(order.begin(), order.end(), 0);
    for (std::size_t i = order.size(); i > 1; --i) std::swap(order[i - 1], order[std::size_t(random.Below(int(i)))]);
    EXPECT_EQ(engine::OrderCost(moral, model.numstates, order), CostOfMaximalFamilies(moral, model.numstates, order));
  }
}

TEST(Order, HaltedKeepsWhatItFoundAndTheRestInNodeOrder) {
  Random random(5);
  const Model model = RandomModel(random, {30, 30, 2, 3, 3, 1e18, 0});
  const Graph moral = engine::MoralGraph(model.parents, model.children);
  const engine::Order whole = engine::FindOrder(moral, model.numstates, nullptr);
  const engine::Order order =
      engine::FindOrder(moral, model.numstates, [](double fraction) { return fraction >= 0.3; });
  EXPECT_TRUE(order.halted);
  EXPECT_EQ(order.numFound, 9);
  EXPECT_TRUE(std::equal(order.nodes.begin(), order.nodes.begin() + 9, whole.nodes.begin()));
  EXPECT_TRUE(std::is_sorted(order.nodes.begin() + 9, order.nodes.end()));
  EXPECT_EQ(NodeSet(order.nodes.begin(), order.nodes.end()).size(), 30u);
  EXPECT_EQ(order.cost, engine::OrderCost(moral, model.numstates, order.nodes));
}

TEST(Order, LongerSearchNeverLosesGround) {
  for (std::uint64_t seed = 1; seed <= 6; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const Model model = RandomModel(random, {20, 40, 2, 5, 4, 1e18, 0});
    const Graph moral = engine::MoralGraph(model.parents, model.children);
    const engine::Order greedy = engine::FindOrder(moral, model.numstates, nullptr);
    int asked = 0;
    const engine::Order found =
        engine::SearchOrder(moral, model.numstates, {}, 60, [&](double) { return ++asked > 20; });
    EXPECT_TRUE(found.halted);
    EXPECT_EQ(NodeSet(found.nodes.begin(), found.nodes.end()).size(), model.numstates.size());
    EXPECT_EQ(found.nodes.size(), model.numstates.size());
    EXPECT_LT(found.cost, greedy.cost);
    EXPECT_EQ(found.cost, engine::OrderCost(moral, model.numstates, found.nodes));
    const engine::Order again = engine::SearchOrder(moral, model.numstates, found.nodes, 0, nullptr);
    EXPECT_EQ(again.nodes, found.nodes);
  }
}

TEST(StateSpace, SaturatesInsteadOfOverflowing) {
  const Vector<int> numstates(120, 1000);
  Vector<int> nodes(120);
  std::iota(nodes.begin(), nodes.end(), 0);
  EXPECT_EQ(engine::StateSpace(nodes, numstates), 1.7976931348623156e305);
  EXPECT_EQ(engine::StateSpace(std::span(nodes).first(2), numstates), 1e6);
}

// Every clique is complete in the filled graph and maximal, and together they hold every edge.
TEST(Tree, HasTheCliquesOfTheFilledGraph) {
  ForModels(100, {4, 30, 1, 4, 4, 1e18, 0}, [](const Model& model, const Compiled& compiled) {
    const SlowSearch slow(compiled.moral, model.numstates);
    std::set<std::pair<int, int>> edges;
    double total = 0;
    for (const engine::Clique& clique : compiled.tree.cliques) {
      total += clique.size;
      NodeSet common;
      for (std::size_t i = 0; i < clique.members.size(); ++i) {
        const NodeSet& around = slow.filled[std::size_t(clique.members[i])];
        for (std::size_t j = 0; j < clique.members.size(); ++j)
          if (i != j) edges.insert({clique.members[i], clique.members[j]});
        NodeSet both;
        std::set_intersection(around.begin(), around.end(), common.begin(), common.end(),
                              std::inserter(both, both.end()));
        common = i == 0 ? around : both;
        EXPECT_EQ(compiled.tree.number[std::size_t(clique.members[i])] <=
                      compiled.tree.number[std::size_t(clique.members.back())],
                  true);
      }
      EXPECT_TRUE(common.empty()) << ": a clique could be larger";
    }
    std::set<std::pair<int, int>> filled;
    for (int a = 0; a < model.NumNodes(); ++a)
      for (int b : slow.filled[std::size_t(a)]) filled.insert({a, b});
    EXPECT_EQ(edges, filled);
    EXPECT_EQ(compiled.tree.totalSize, total);
    EXPECT_EQ(total, compiled.order.cost);
  });
}

TEST(Tree, LinksBackwardsToTheNearestCliqueThatHoldsTheSeparator) {
  ForModels(100, LARGE, [](const Model& model, const Compiled& compiled) {
    const JunctionTree& tree = compiled.tree;
    ASSERT_EQ(tree.separators.size() + 1, tree.cliques.size());
    std::vector<NodeSet> sets;
    NodeSet seen;
    int top = -1;
    for (std::size_t c = 0; c < tree.cliques.size(); ++c) {
      const Vector<int>& members = tree.cliques[c].members;
      EXPECT_GT(tree.number[std::size_t(members.back())], top);
      top = tree.number[std::size_t(members.back())];
      Vector<int> shared;
      std::copy_if(members.begin(), members.end(), std::back_inserter(shared), [&](int m) { return seen.count(m); });
      sets.emplace_back(members.begin(), members.end());
      seen.insert(members.begin(), members.end());
      if (c == 0) continue;
      int partner = int(c) - 1;
      while (!std::all_of(shared.begin(), shared.end(), [&](int m) { return sets[std::size_t(partner)].count(m) > 0; }))
        --partner;
      const engine::Separator& separator = tree.separators[c - 1];
      EXPECT_EQ(separator.members, shared);
      EXPECT_EQ(separator.cliques[0], partner);
      EXPECT_EQ(separator.cliques[1], int(c));
      EXPECT_EQ(tree.cliques[c].neighbours[0], partner);
      EXPECT_EQ(tree.cliques[c].separators[0], int(c) - 1);
    }
  });
}

TEST(Tree, HomesAreTheSmallestCliquesThatHoldTheFamily) {
  ForModels(100, LARGE, [](const Model& model, const Compiled& compiled) {
    for (std::size_t i = 0; i < model.numstates.size(); ++i) {
      int home = -1;
      for (int c = int(compiled.tree.cliques.size()) - 1; c >= 0; --c) {
        const engine::Clique& clique = compiled.tree.cliques[std::size_t(c)];
        const NodeSet members(clique.members.begin(), clique.members.end());
        bool holds = members.count(int(i)) > 0;
        for (int p : model.parents[i]) holds &= members.count(p) > 0;
        if (holds && (home < 0 || clique.size <= compiled.tree.cliques[std::size_t(home)].size)) home = c;
      }
      EXPECT_EQ(compiled.tree.home[i], home);
    }
  });
}

TEST(Tree, MergedIsStillAJunctionTree) {
  Random random(12);
  int numMerged = 0;
  for (int round = 0; round < 60; ++round) {
    SCOPED_TRACE(round);
    const Model model = RandomModel(random, {1, 30, 1, 5, 3, 1e12, 0});
    const Compiled compiled(model);
    const JunctionTree merged = engine::MergeSmallCliques(compiled.tree);
    numMerged += int(compiled.tree.cliques.size() - merged.cliques.size());
    ASSERT_EQ(merged.separators.size() + 1, merged.cliques.size());
    double total = 0;
    std::vector<NodeSet> cliques;
    for (const engine::Clique& clique : merged.cliques) {
      cliques.emplace_back(clique.members.begin(), clique.members.end());
      EXPECT_EQ(cliques.back().size(), clique.members.size());
      EXPECT_EQ(clique.size, Product(cliques.back(), model.numstates));
      total += clique.size;
    }
    EXPECT_EQ(merged.totalSize, total);
    EXPECT_LE(total, compiled.tree.totalSize + 200.0 * double(compiled.tree.cliques.size()));
    // As many separators hold a node as cliques do, less one, only if its cliques hang together.
    std::vector<int> surplus(model.numstates.size(), 0);
    for (const NodeSet& clique : cliques)
      for (int v : clique) ++surplus[std::size_t(v)];
    for (std::size_t s = 0; s < merged.separators.size(); ++s) {
      const engine::Separator& separator = merged.separators[s];
      for (int v : separator.members) {
        --surplus[std::size_t(v)];
        for (int side : separator.cliques) EXPECT_TRUE(cliques[std::size_t(side)].count(v));
      }
      for (int side : separator.cliques) {
        const engine::Clique& clique = merged.cliques[std::size_t(side)];
        const auto at = std::find(clique.separators.begin(), clique.separators.end(), int(s));
        ASSERT_NE(at, clique.separators.end());
        const auto k = std::size_t(at - clique.separators.begin());
        EXPECT_EQ(clique.neighbours[k] + side, separator.cliques[0] + separator.cliques[1]);
      }
    }
    for (int left : surplus) EXPECT_EQ(left, 1);
    for (std::size_t i = 0; i < model.parents.size(); ++i) {
      const NodeSet& home = cliques[std::size_t(merged.home[i])];
      EXPECT_TRUE(home.count(int(i)));
      for (int parent : model.parents[i]) EXPECT_TRUE(home.count(parent));
    }
  }
  EXPECT_GT(numMerged, 100);
}

// The greedy order by a measure of the edges that an elimination adds, or of the clique that it makes; the first of
// equals.
double NaiveCost(const Compiled& compiled, const Model& model, bool bySpace, bool weighted) {
  std::vector<NodeSet> filled = Adjacency(compiled.moral);
  NodeSet remaining;
  for (int i = 0; i < model.NumNodes(); ++i) remaining.insert(i);
  Vector<int> order;
  while (!remaining.empty()) {
    double best = 1e308;
    int chosen = -1;
    for (int x : remaining) {
      const NodeSet& around = filled[std::size_t(x)];
      double price = bySpace ? Product(around, model.numstates) * model.numstates[x] : 0;
      for (int a : around)
        for (int b : around)
          if (!bySpace && a < b && !filled[std::size_t(a)].count(b))
            price += weighted ? model.numstates[a] * model.numstates[b] : 1;
      if (price < best) best = price, chosen = x;
    }
    order.push_back(chosen);
    remaining.erase(chosen);
    const NodeSet around = filled[std::size_t(chosen)];
    for (int a : around) {
      filled[std::size_t(a)].erase(chosen);
      for (int b : around)
        if (a != b) filled[std::size_t(a)].insert(b);
    }
  }
  return engine::OrderCost(compiled.moral, model.numstates, order);
}

TEST(Order, QuickOneIsAsGoodAsAnyPlainGreedyOne) {
  int numWorse = 0, numBetter = 0;
  ForModels(300, {6, 40, 2, 6, 4, 1e30, 0}, [&](const Model& model, const Compiled& compiled) {
    const double naive = std::min({NaiveCost(compiled, model, true, false), NaiveCost(compiled, model, false, false),
                                   NaiveCost(compiled, model, false, true)});
    const engine::Order quick =
        engine::QuickOrder(compiled.moral, model.numstates, compiled.order.cost, [](double) { return 0.0; });
    const double cost = quick.nodes.empty() ? compiled.order.cost : quick.cost;
    numWorse += cost > naive;
    numBetter += cost < naive;
  });
  EXPECT_EQ(numWorse, 0);
  EXPECT_GT(numBetter, 20);
}

TEST(Order, LongGridsTakeNoMoreThanTheirWidth) {
  constexpr int NUM_NODES = 800, WIDTH = 8, MOST_ENTRIES = 600;
  const NetShape shape = MakeShape("grid8", NUM_NODES);
  Vector<int> numstates(shape.states.begin(), shape.states.end());
  Vector<Vector<int>> parents(NUM_NODES), children(NUM_NODES);
  for (int i = 0; i < NUM_NODES; ++i) {
    for (int parent : shape.parents[std::size_t(i)]) {
      parents[i].push_back(parent);
      children[parent].push_back(i);
    }
  }
  const Graph moral = engine::MoralGraph(parents, children);
  const engine::Order quick = engine::QuickOrder(moral, numstates, 1e30, [](double) { return 0.0; });
  EXPECT_LE(quick.cost, MOST_ENTRIES * NUM_NODES);
  EXPECT_GE(quick.cost, (1 << WIDTH) * NUM_NODES) << "less than can be";
}

TEST(Order, QuickOneBeatsItsLimitOrIsNone) {
  Random random(13);
  int numBetter = 0;
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE(round);
    const Model model = RandomModel(random, {4, 40, 2, 6, 4, 1e30, 0});
    const Compiled compiled(model);
    const engine::Order quick =
        engine::QuickOrder(compiled.moral, model.numstates, compiled.order.cost, [](double cost) { return cost; });
    if (quick.nodes.empty()) continue;
    ++numBetter;
    EXPECT_EQ(std::set<int>(quick.nodes.begin(), quick.nodes.end()).size(), model.numstates.size());
    EXPECT_EQ(quick.cost, engine::OrderCost(compiled.moral, model.numstates, quick.nodes));
    EXPECT_LT(quick.cost, compiled.order.cost);
  }
  EXPECT_GT(numBetter, 10);
}

}  // namespace
}  // namespace bravic::testing

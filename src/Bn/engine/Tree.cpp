// From an elimination order to a junction tree: fill-in by follower links, maximum cardinality search over the
// filled graph, cliques, links, home cliques (Tarjan & Yannakakis 1984; Lauritzen & Spiegelhalter 1988). The order
// of members and links is visible to hosts and so fixed by these steps.
#include "Bn/engine/Tree.h"

#include <algorithm>
#include <utility>

#include "Bn/engine/Numbers.h"

namespace bravic::engine {

namespace {

struct Edge {
  int a, b;
};

// The neighbours of each node in the order in which edges came.
Graph GraphOf(int n, std::span<const Edge> edges) {
  Graph graph;
  graph.start.assign(n + 1, 0);
  for (const Edge& edge : edges) {
    ++graph.start[edge.a + 1];
    ++graph.start[edge.b + 1];
  }
  for (int i = 0; i < n; ++i) graph.start[i + 1] += graph.start[i];
  graph.list.resize(2 * Count(edges));
  Vector<int> end(graph.start.begin(), graph.start.end() - 1);
  for (const Edge& edge : edges) {
    graph.list[end[edge.a]++] = edge.b;
    graph.list[end[edge.b]++] = edge.a;
  }
  return graph;
}

// The moral graph and its fill-in: a node is joined to every earlier one from which followers lead to it. A node's
// follower is the earliest of its later neighbours in the filled graph (Tarjan & Yannakakis 1984).
Graph FilledGraph(const Graph& moral, std::span<const int> order) {
  const int n = Count(order);
  Vector<Edge> edges;
  edges.reserve(moral.list.size());
  Vector<int> position(n), follower(n), counter(n);
  for (int i = 0; i < n; ++i) position[order[i]] = i;
  for (int i = 0; i < n; ++i) {
    const int v = order[i];
    follower[v] = v;
    counter[v] = i;
    for (int w : moral.Neighbours(v)) {
      if (position[w] >= i) continue;
      int x = w;
      while (counter[x] < i) {
        counter[x] = i;
        edges.push_back({x, v});
        x = follower[x];
      }
      if (follower[x] == x) follower[x] = v;
    }
  }
  return GraphOf(n, edges);
}

// Buckets are doubly linked lists of nodes; a node that gains a numbered neighbour goes to the head of the next.
Vector<int> MaximumCardinalityNumbers(const Graph& filled, Vector<int>* byNumber) {
  const int n = filled.NumNodes();
  Vector<int> number(n, -1), cardinality(n, 0), next(n), previous(n), head(n + 1, -1);
  for (int i = 0; i < n; ++i) {
    next[i] = i + 1 < n ? i + 1 : -1;
    previous[i] = i - 1;
  }
  if (n > 0) head[0] = 0;
  int highest = 0;
  for (int count = 0; count < n; ++count) {
    while (head[highest] < 0) --highest;
    auto unlink = [&](int node) {
      const int before = previous[node], after = next[node];
      if (before >= 0)
        next[before] = after;
      else
        head[cardinality[node]] = after;
      if (after >= 0) previous[after] = before;
    };
    const int taken = head[highest];
    unlink(taken);
    number[taken] = count;
    byNumber->push_back(taken);
    for (int w : filled.Neighbours(taken)) {
      if (number[w] >= 0) continue;
      unlink(w);
      const int bucket = ++cardinality[w];
      previous[w] = -1;
      next[w] = head[bucket];
      if (next[w] >= 0) previous[next[w]] = w;
      head[bucket] = w;
      highest = std::max(highest, bucket);
    }
  }
  return number;
}

// Nodes are gone through from the highest number down. A node and its neighbours of lower numbers make a clique, unless
// the clique of a higher node, whose highest lower neighbour it is, holds them all.
void FormCliques(const Graph& filled, std::span<const int> byNumber, std::span<const int> numstates,
                 JunctionTree* tree) {
  Vector<int> counter(filled.NumNodes(), 0), lower;
  tree->cliques.reserve(filled.NumNodes());
  for (int i = filled.NumNodes(); i-- > 0;) {
    const int v = byNumber[i];
    const auto around = filled.Neighbours(v);
    lower.clear();
    int top = -1;
    for (int w : around) {
      const int number = tree->number[w];
      if (number >= i) continue;
      lower.push_back(w);
      if (top < 0 || number > tree->number[top]) top = w;
    }
    const int size = lower.size();
    if (top >= 0) counter[top] = std::max(counter[top], size - 1);
    if (!around.empty() && counter[v] >= size) continue;
    Clique clique;
    clique.members.reserve(size + 1);
    clique.members = lower;
    clique.members.push_back(v);
    clique.size = StateSpace(clique.members, numstates);
    tree->totalSize += clique.size;
    tree->cliques.push_back(std::move(clique));
  }
  std::reverse(tree->cliques.begin(), tree->cliques.end());
}

// The earlier cliques that hold each node, the latest first.
class EarlierCliques {
 public:
  explicit EarlierCliques(int numNodes) : latest_(numNodes, NONE), count_(numNodes, 0) {}

  int CountOf(int node) const { return count_[node]; }
  void Add(int node, int clique) {
    ++count_[node];
    entries_.push_back({clique, latest_[node]});
    latest_[node] = entries_.size() - 1;
  }
  // The latest that will do; -1 when none will.
  template <class WillDo>
  int Find(int node, WillDo willDo) const {
    for (int e = latest_[node]; e != NONE; e = entries_[e].before)
      if (willDo(entries_[e].clique)) return entries_[e].clique;
    return -1;
  }

 private:
  static constexpr int NONE = -1;
  struct Entry {
    int clique, before;
  };
  Vector<int> latest_, count_;
  Vector<Entry> entries_;
};

// A clique joins the nearest earlier clique that holds all its members seen before. Candidates are the earlier cliques
// of the shared member that has the fewest.
void LinkCliques(std::span<const int> numstates, JunctionTree* tree) {
  EarlierCliques earlier(Count(numstates));
  Vector<int> mark(numstates.size(), -1);
  tree->separators.reserve(tree->cliques.size());
  for (int c = 0; c < tree->cliques.size(); ++c) {
    Clique& clique = tree->cliques[c];
    Separator separator;
    int rarest = -1;
    for (int member : clique.members) {
      const int occurrences = earlier.CountOf(member);
      if (occurrences == 0) continue;
      separator.members.push_back(member);
      mark[member] = c;
      if (rarest < 0 || occurrences < earlier.CountOf(rarest)) rarest = member;
    }
    auto holdsAll = [&](int candidate) {
      const Vector<int>& members = tree->cliques[candidate].members;
      if (members.size() < separator.members.size()) return false;
      return std::count_if(members.begin(), members.end(), [&](int m) { return mark[m] == c; }) >=
             separator.members.size();
    };
    const int found = rarest >= 0 ? earlier.Find(rarest, holdsAll) : -1;
    const int partner = found >= 0 ? found : c - 1;
    for (int member : clique.members) earlier.Add(member, c);
    if (partner < 0) continue;
    separator.size = StateSpace(separator.members, numstates);
    separator.cliques[0] = partner;
    separator.cliques[1] = c;
    const int index = tree->separators.size();
    clique.neighbours.push_back(partner);
    clique.separators.push_back(index);
    tree->cliques[partner].neighbours.push_back(c);
    tree->cliques[partner].separators.push_back(index);
    tree->separators.push_back(std::move(separator));
  }
}

// The smallest clique that holds the family, the first of equals.
void ChooseHomes(std::span<const Vector<int>> parents, JunctionTree* tree) {
  tree->home.assign(parents.size(), -1);
  Vector<int> mark(parents.size(), -1);
  for (int c = 0; c < tree->cliques.size(); ++c) {
    const Clique& clique = tree->cliques[c];
    for (int member : clique.members) mark[member] = c;
    for (int member : clique.members) {
      const Vector<int>& family = parents[member];
      if (!std::all_of(family.begin(), family.end(), [&](int p) { return mark[p] == c; })) continue;
      int& home = tree->home[member];
      if (home < 0 || clique.size < tree->cliques[home].size) home = c;
    }
  }
}

}  // namespace

JunctionTree BuildTree(const Graph& moral, std::span<const int> numstates, std::span<const Vector<int>> parents,
                       std::span<const int> order) {
  JunctionTree tree;
  const Graph filled = FilledGraph(moral, order);
  Vector<int> byNumber;
  byNumber.reserve(order.size());
  tree.number = MaximumCardinalityNumbers(filled, &byNumber);
  FormCliques(filled, byNumber, numstates, &tree);
  LinkCliques(numstates, &tree);
  ChooseHomes(parents, &tree);
  return tree;
}

JunctionTree MergeSmallCliques(JunctionTree tree, double mostAdded) {
  constexpr double STEPS[] = {0, 16, 32, 64, 128, MERGED_ENTRIES};  // entries added, the cheapest mergers first
  const int n = tree.cliques.size();
  Vector<int> into(n);
  Vector<double> size(n);
  for (int c = 0; c < n; ++c) {
    into[c] = c;
    size[c] = tree.cliques[c].size;
  }
  auto find = [&](int c) {
    while (into[c] != c) c = into[c] = into[into[c]];
    return c;
  };
  for (double step : STEPS) {
    if (step > mostAdded) break;
    for (const Separator& separator : tree.separators) {
      const int a = find(separator.cliques[0]), b = find(separator.cliques[1]);
      // What two neighbours share is their separator.
      const double joint = size[a] / separator.size * size[b];
      if (a == b || !(joint - size[a] - size[b] <= step) || !(joint < MAX_TABLE_ENTRIES)) continue;
      into[std::max(a, b)] = std::min(a, b);
      size[std::min(a, b)] = joint;
    }
  }
  // Cliques that are left get new places, in their order, and take the members of those merged into them.
  JunctionTree merged;
  merged.number = std::move(tree.number);
  merged.home = std::move(tree.home);
  merged.cliques.reserve(n);
  merged.separators.reserve(tree.separators.size());
  Vector<int> place(n, -1);
  for (int c = 0; c < n; ++c) {
    if (into[c] != c) continue;
    place[c] = merged.cliques.size();
    merged.cliques.emplace_back();
    merged.cliques.back().members = std::move(tree.cliques[c].members);
    merged.cliques.back().size = size[c];
    merged.totalSize += size[c];
  }
  for (int c = 0; c < n; ++c) {
    if (into[c] == c) continue;
    const int to = place[find(c)];
    for (int member : tree.cliques[c].members) {
      Vector<int>& members = merged.cliques[to].members;
      if (std::find(members.begin(), members.end(), member) == members.end()) members.push_back(member);
    }
  }
  for (int& home : merged.home)
    if (home >= 0) home = place[find(home)];
  for (Separator& separator : tree.separators) {
    const int a = place[find(separator.cliques[0])], b = place[find(separator.cliques[1])];
    if (a == b) continue;
    const int index = merged.separators.size();
    separator.cliques[0] = a;
    separator.cliques[1] = b;
    merged.separators.push_back(std::move(separator));
    merged.cliques[a].neighbours.push_back(b);
    merged.cliques[a].separators.push_back(index);
    merged.cliques[b].neighbours.push_back(a);
    merged.cliques[b].separators.push_back(index);
  }
  return merged;
}

}  // namespace bravic::engine

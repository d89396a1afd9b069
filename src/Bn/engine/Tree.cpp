// From an elimination order to a junction tree: fill-in by follower links, maximum cardinality search over the
// filled graph, cliques, links, home cliques (Tarjan & Yannakakis 1984; Lauritzen & Spiegelhalter 1988). The order
// of members and links is visible to hosts and so fixed by these steps.
#include <algorithm>

#include "Bn/engine/Engine.h"
#include "Bn/engine/Numbers.h"

namespace bravic::engine {

namespace {

Vector<Vector<int>> FilledGraph(const Graph& moral, std::span<const int> order) {
  const std::size_t n = order.size();
  Vector<Vector<int>> filled(n);
  Vector<int> position(n), follower(n), counter(n);
  for (std::size_t i = 0; i < n; ++i) position[At(order[i])] = static_cast<int>(i);
  for (int i = 0; i < static_cast<int>(n); ++i) {
    const int v = order[At(i)];
    follower[At(v)] = v;
    counter[At(v)] = i;
    for (int w : moral.Neighbours(v)) {
      if (position[At(w)] >= i) continue;
      int x = w;
      while (counter[At(x)] < i) {
        counter[At(x)] = i;
        filled[At(x)].push_back(v);
        filled[At(v)].push_back(x);
        x = follower[At(x)];
      }
      if (follower[At(x)] == x) follower[At(x)] = v;
    }
  }
  return filled;
}

// Buckets are doubly linked lists of nodes; a node that gains a numbered neighbour goes to the head of the next.
Vector<int> MaximumCardinalityNumbers(const Vector<Vector<int>>& filled, Vector<int>* byNumber) {
  const int n = static_cast<int>(filled.size());
  Vector<int> number(At(n), -1), cardinality(At(n), 0), next(At(n)), previous(At(n)), head(At(n) + 1, -1);
  for (int i = 0; i < n; ++i) {
    next[At(i)] = i + 1 < n ? i + 1 : -1;
    previous[At(i)] = i - 1;
  }
  if (n > 0) head[0] = 0;
  int highest = 0;
  for (int count = 0; count < n; ++count) {
    while (head[At(highest)] < 0) --highest;
    auto unlink = [&](int node) {
      const int before = previous[At(node)], after = next[At(node)];
      if (before >= 0)
        next[At(before)] = after;
      else
        head[At(cardinality[At(node)])] = after;
      if (after >= 0) previous[At(after)] = before;
    };
    const int taken = head[At(highest)];
    unlink(taken);
    number[At(taken)] = count;
    byNumber->push_back(taken);
    for (int w : filled[At(taken)]) {
      if (number[At(w)] >= 0) continue;
      unlink(w);
      const int bucket = ++cardinality[At(w)];
      previous[At(w)] = -1;
      next[At(w)] = head[At(bucket)];
      if (next[At(w)] >= 0) previous[At(next[At(w)])] = w;
      head[At(bucket)] = w;
      highest = std::max(highest, bucket);
    }
  }
  return number;
}

void FormCliques(const Vector<Vector<int>>& filled, std::span<const int> byNumber, std::span<const int> numstates,
                 JunctionTree* tree) {
  Vector<int> counter(filled.size(), 0);
  for (std::size_t i = filled.size(); i-- > 0;) {
    const int v = byNumber[i];
    Clique clique;
    int top = -1;
    for (int w : filled[At(v)]) {
      const int number = tree->number[At(w)];
      if (number >= static_cast<int>(i)) continue;
      clique.members.push_back(w);
      if (top < 0 || number > tree->number[At(top)]) top = w;
    }
    const int size = static_cast<int>(clique.members.size());
    if (top >= 0) counter[At(top)] = std::max(counter[At(top)], size - 1);
    if (!filled[At(v)].empty() && counter[At(v)] >= size) continue;
    clique.members.push_back(v);
    clique.size = StateSpace(clique.members, numstates);
    tree->totalSize += clique.size;
    tree->cliques.push_back(std::move(clique));
  }
  std::reverse(tree->cliques.begin(), tree->cliques.end());
}

// A clique joins the nearest earlier clique that holds all its members seen before. Candidates come from the list
// of earlier cliques of the shared member that has the fewest.
void LinkCliques(std::span<const int> numstates, JunctionTree* tree) {
  Vector<Vector<int>> cliquesOf(numstates.size());  // [node] earlier cliques that hold it, ascending
  Vector<int> mark(numstates.size(), -1);
  for (int c = 0; c < static_cast<int>(tree->cliques.size()); ++c) {
    Clique& clique = tree->cliques[At(c)];
    Separator separator;
    int rarest = -1;
    for (int member : clique.members) {
      const std::size_t occurrences = cliquesOf[At(member)].size();
      if (occurrences == 0) continue;
      separator.members.push_back(member);
      mark[At(member)] = c;
      if (rarest < 0 || occurrences < cliquesOf[At(rarest)].size()) rarest = member;
    }
    int partner = c - 1;
    if (rarest >= 0) {
      const Vector<int>& candidates = cliquesOf[At(rarest)];
      for (std::size_t k = candidates.size(); k-- > 0;) {
        const Vector<int>& members = tree->cliques[At(candidates[k])].members;
        if (members.size() < separator.members.size()) continue;
        const auto shared = std::count_if(members.begin(), members.end(), [&](int m) { return mark[At(m)] == c; });
        if (static_cast<std::size_t>(shared) < separator.members.size()) continue;
        partner = candidates[k];
        break;
      }
    }
    for (int member : clique.members) cliquesOf[At(member)].push_back(c);
    if (partner < 0) continue;
    separator.size = StateSpace(separator.members, numstates);
    separator.cliques[0] = partner;
    separator.cliques[1] = c;
    const int index = static_cast<int>(tree->separators.size());
    clique.neighbours.push_back(partner);
    clique.separators.push_back(index);
    tree->cliques[At(partner)].neighbours.push_back(c);
    tree->cliques[At(partner)].separators.push_back(index);
    tree->separators.push_back(std::move(separator));
  }
}

void ChooseHomes(std::span<const Vector<int>> parents, JunctionTree* tree) {
  tree->home.assign(parents.size(), -1);
  Vector<int> mark(parents.size(), -1);
  for (int c = 0; c < static_cast<int>(tree->cliques.size()); ++c) {
    const Clique& clique = tree->cliques[At(c)];
    for (int member : clique.members) mark[At(member)] = c;
    for (int member : clique.members) {
      const Vector<int>& family = parents[At(member)];
      if (!std::all_of(family.begin(), family.end(), [&](int p) { return mark[At(p)] == c; })) continue;
      int& home = tree->home[At(member)];
      if (home < 0 || clique.size < tree->cliques[At(home)].size) home = c;
    }
  }
}

}  // namespace

JunctionTree BuildTree(const Graph& moral, std::span<const int> numstates, std::span<const Vector<int>> parents,
                       std::span<const int> order) {
  JunctionTree tree;
  const Vector<Vector<int>> filled = FilledGraph(moral, order);
  Vector<int> byNumber;
  byNumber.reserve(order.size());
  tree.number = MaximumCardinalityNumbers(filled, &byNumber);
  FormCliques(filled, byNumber, numstates, &tree);
  LinkCliques(numstates, &tree);
  ChooseHomes(parents, &tree);
  return tree;
}

JunctionTree MergeSmallCliques(const JunctionTree& tree) {
  constexpr double STEPS[] = {0, 16, 32, 64, 128, 200};  // entries that a merger may add, the cheapest mergers first
  const std::size_t n = tree.cliques.size();
  Vector<int> into(n);
  Vector<double> size(n);
  for (std::size_t c = 0; c < n; ++c) {
    into[c] = static_cast<int>(c);
    size[c] = tree.cliques[c].size;
  }
  auto find = [&](int c) {
    while (into[At(c)] != c) c = into[At(c)] = into[At(into[At(c)])];
    return c;
  };
  for (double step : STEPS) {
    for (const Separator& separator : tree.separators) {
      const int a = find(separator.cliques[0]), b = find(separator.cliques[1]);
      // What two neighbours share is their separator.
      const double joint = size[At(a)] / separator.size * size[At(b)];
      if (a == b || !(joint - size[At(a)] - size[At(b)] <= step) || !(joint < MAX_TABLE_ENTRIES)) continue;
      into[At(std::max(a, b))] = std::min(a, b);
      size[At(std::min(a, b))] = joint;
    }
  }
  JunctionTree merged;
  merged.number = tree.number;
  merged.home = tree.home;
  Vector<int> place(n, -1);
  for (std::size_t c = 0; c < n; ++c) {
    if (into[c] != static_cast<int>(c)) continue;
    place[c] = static_cast<int>(merged.cliques.size());
    merged.cliques.emplace_back();
    merged.cliques.back().size = size[c];
    merged.totalSize += size[c];
  }
  for (std::size_t c = 0; c < n; ++c) {
    const int to = place[At(find(static_cast<int>(c)))];
    for (int member : tree.cliques[c].members) {
      Vector<int>& members = merged.cliques[At(to)].members;
      if (std::find(members.begin(), members.end(), member) == members.end()) members.push_back(member);
    }
  }
  for (int& home : merged.home)
    if (home >= 0) home = place[At(find(home))];
  for (const Separator& separator : tree.separators) {
    const int a = place[At(find(separator.cliques[0]))], b = place[At(find(separator.cliques[1]))];
    if (a == b) continue;
    const int index = static_cast<int>(merged.separators.size());
    merged.separators.push_back(separator);
    merged.separators.back().cliques[0] = a;
    merged.separators.back().cliques[1] = b;
    merged.cliques[At(a)].neighbours.push_back(b);
    merged.cliques[At(a)].separators.push_back(index);
    merged.cliques[At(b)].neighbours.push_back(a);
    merged.cliques[At(b)].separators.push_back(index);
  }
  return merged;
}

}  // namespace bravic::engine

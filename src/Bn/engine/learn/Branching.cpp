// In rounds: each group of nodes, at first every node by itself, takes the best link into it; groups whose links make
// a circle become one group, in which what a node's link is worth is counted from that of the circle's link it would
// replace. At the end the circles are opened where a link enters them, the outermost first. With gains alike in both
// directions a round at least halves the number of groups.
#include "Bn/engine/learn/Branching.h"

#include <cmath>

namespace bravic::engine {
namespace {

constexpr int NOBODY = -1;

struct Entry {
  int from = NOBODY, to = NOBODY;
  double gain = NO_LINK;  // beyond what it replaces
};

struct Group {
  int outer = NOBODY;  // the group it has become part of
  Vector<int> inner;   // the groups of its circle; none: a single node
  Entry entry;         // the best link into it, once it is found
  bool isFound = false;
};

class BranchingSearch {
 public:
  BranchingSearch(std::span<const double> gains, std::span<const double> alone, Interrupt& interrupt)
      : n_(Count(alone)), gains_(gains), alone_(alone), interrupt_(interrupt), groups_(n_), groupOf_(n_), base_(n_, 0) {
    for (int v = 0; v < n_; ++v) groupOf_[v] = v;
  }

  Vector<int> Find() {
    do {
      if (!FindEntries()) return {};
    } while (JoinCircles());
    OpenCircles();
    for (int v = 0; v < n_; ++v)
      if (parents_[v] == NOBODY) TurnTree(v);
    return parents_;
  }

 private:
  double Gain(int from, int to) const { return from == NOBODY ? alone_[to] : gains_[to * n_ + from]; }
  bool IsOutermost(int group) const { return groups_[group].outer == NOBODY; }

  // The best link into each group that has none yet. False when it was halted.
  bool FindEntries() {
    for (int v = 0; v < n_; ++v) {
      const int group = groupOf_[v];
      if (groups_[group].isFound) continue;
      if (interrupt_.Halts(n_)) return false;
      Entry& entry = groups_[group].entry;
      for (int from = NOBODY; from < n_; ++from) {
        if (from != NOBODY && groupOf_[from] == group) continue;
        const double gain = Gain(from, v) - base_[v];
        if (entry.to == NOBODY || gain > entry.gain) entry = {from, v, gain};
      }
    }
    for (Group& group : groups_) group.isFound = true;
    return true;
  }

  int Before(int group) const {
    const int from = groups_[group].entry.from;
    return from == NOBODY ? NOBODY : groupOf_[from];
  }

  // Whether there were any.
  bool JoinCircles() {
    const int numGroups = groups_.size();
    Vector<int> seenFrom(numGroups, NOBODY);
    bool hasCircles = false;
    for (int start = 0; start < numGroups; ++start) {
      if (!IsOutermost(start)) continue;
      int group = start;
      while (group != NOBODY && group < numGroups && seenFrom[group] == NOBODY) {
        seenFrom[group] = start;
        group = Before(group);
      }
      if (group == NOBODY || group >= numGroups || seenFrom[group] != start || !IsOutermost(group)) continue;
      JoinCircle(group);
      hasCircles = true;
    }
    return hasCircles;
  }

  void JoinCircle(int first) {
    Group circle;
    for (int group = first;;) {
      circle.inner.push_back(group);
      group = Before(group);
      if (group == first) break;
    }
    const int joined = groups_.size();
    for (int group : circle.inner) groups_[group].outer = joined;
    for (int v = 0; v < n_; ++v) {
      if (groups_[groupOf_[v]].outer != joined) continue;
      base_[v] += groups_[groupOf_[v]].entry.gain;
      groupOf_[v] = joined;
    }
    groups_.push_back(std::move(circle));
  }

  void OpenCircles() {
    parents_.assign(n_, NOBODY);
    Vector<int> left;
    for (int group = 0; group < groups_.size(); ++group)
      if (IsOutermost(group)) left.push_back(group);
    while (!left.empty()) {
      const int group = left.back();
      left.pop_back();
      const Entry& entry = groups_[group].entry;
      parents_[entry.to] = entry.from;
      for (int inner = entry.to; inner != group; inner = groups_[inner].outer)
        for (int other : groups_[groups_[inner].outer].inner)
          if (other != inner) left.push_back(other);
    }
  }

  // Of the nodes that the tree could as well begin at, the first.
  void TurnTree(int root) {
    constexpr double ROUNDING = 1e-10;
    int best = root;
    for (int v = 0; v < root; ++v) {
      double change = alone_[v], size = std::abs(alone_[root]);
      int at = v;
      for (; parents_[at] != NOBODY; at = parents_[at]) {
        change += Gain(at, parents_[at]) - Gain(parents_[at], at);
        size += std::abs(Gain(parents_[at], at));
      }
      if (at != root || !(change - alone_[root] >= -ROUNDING * size)) continue;
      best = v;
      break;
    }
    for (int at = best, below = NOBODY; at != NOBODY;) {
      const int above = parents_[at];
      parents_[at] = below;
      below = at;
      at = above;
    }
  }

  const int n_;
  std::span<const double> gains_, alone_;
  Interrupt& interrupt_;
  Vector<Group> groups_;
  Vector<int> groupOf_;  // [node]: the outermost group it is in
  Vector<double> base_;  // [node]: what a link into it replaces
  Vector<int> parents_;
};

}  // namespace

Vector<int> FindBranching(std::span<const double> gains, std::span<const double> alone, Interrupt& interrupt) {
  return BranchingSearch(gains, alone, interrupt).Find();
}

}  // namespace bravic::engine

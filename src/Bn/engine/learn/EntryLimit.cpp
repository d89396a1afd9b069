#include "Bn/engine/learn/EntryLimit.h"

#include <algorithm>
#include <numeric>

#include "Bn/engine/Order.h"
#include "Bn/engine/Tree.h"

namespace bravic::engine {

namespace {

// As the model sorts nodes: component by component as breadth-first search reaches them, and in each parents before
// children by depth-first search.
class NodeSorter {
 public:
  NodeSorter(std::span<const Vector<int>> parents, std::span<const Vector<int>> children)
      : parents_(parents), children_(children), reached_(parents.size(), 0), state_(parents.size(), NEW) {}

  Vector<int> Sort() {
    for (int node = 0; node < Count(parents_); ++node) {
      if (reached_[node]) continue;
      const Vector<int> component = Reach(node);
      for (int start : component) PutOut(start);
    }
    return std::move(sorted_);
  }

 private:
  enum : unsigned char { NEW, IN_PROGRESS, DONE };

  Vector<int> Reach(int from) {
    Vector<int> component;
    const auto reach = [&](int node) {
      if (reached_[node]) return;
      reached_[node] = 1;
      component.push_back(node);
    };
    reach(from);
    for (int next = 0; next < component.size(); ++next) {
      const int node = component[next];
      for (int parent : parents_[node]) reach(parent);
      for (int child : children_[node]) reach(child);
    }
    return component;
  }

  void PutOut(int start) {
    if (state_[start] == DONE) return;
    stack_.push_back(start);
    while (!stack_.empty()) {
      const int node = stack_.back();
      if (state_[node] == NEW) {
        state_[node] = IN_PROGRESS;
        for (int i = parents_[node].size(); i-- > 0;)
          if (state_[parents_[node][i]] == NEW) stack_.push_back(parents_[node][i]);
        continue;
      }
      stack_.pop_back();
      if (state_[node] == DONE) continue;
      state_[node] = DONE;
      sorted_.push_back(node);
    }
  }

  std::span<const Vector<int>> parents_, children_;
  Vector<unsigned char> reached_, state_;
  Vector<int> stack_, sorted_;
};

Vector<Vector<int>> ChildrenOf(std::span<const Vector<int>> parents) {
  Vector<Vector<int>> children(parents.size());
  for (int node = 0; node < Count(parents); ++node)
    for (int parent : parents[node]) children[parent].push_back(node);
  return children;
}

double TotalEntries(std::span<const int> numstates, std::span<const Vector<int>> parents) {
  const int n = Count(parents);
  const Vector<int> sorted = NodeSorter(parents, ChildrenOf(parents)).Sort();
  Vector<int> place(n), states(n);
  for (int i = 0; i < n; ++i) place[sorted[i]] = i;
  Vector<Vector<int>> placed(n);
  for (int i = 0; i < n; ++i) {
    states[i] = numstates[sorted[i]];
    for (int parent : parents[sorted[i]]) placed[i].push_back(place[parent]);
  }
  const Graph moral = MoralGraph(placed, ChildrenOf(placed));
  const Order order = FindOrder(moral, states, nullptr);
  return BuildTree(moral, states, placed, order.nodes).totalSize;
}

}  // namespace

EntryLimit::EntryLimit(double mostEntries, std::span<const int> numstates)
    : mostEntries_(mostEntries), numstates_(numstates.begin(), numstates.end()) {
  all_.resize(numstates.size());
  places_.resize(numstates.size());
  std::iota(places_.begin(), places_.end(), 0);
}

EntryLimit::EntryLimit(double mostEntries, std::span<const int> numstates, std::span<const Vector<int>> parents,
                       std::span<const int> places)
    : mostEntries_(mostEntries),
      numstates_(numstates.begin(), numstates.end()),
      all_(parents.begin(), parents.end()),
      places_(places.begin(), places.end()) {}

void EntryLimit::SetFamily(int node, std::span<const int> parents) {
  Vector<int>& list = all_[places_[node]];
  list.clear();
  for (int parent : parents) list.push_back(places_[parent]);
  std::sort(list.begin(), list.end());
}

double EntryLimit::Entries(std::span<const Vector<int>> parents) {
  for (int node = 0; node < Count(parents); ++node) SetFamily(node, parents[node]);
  return TotalEntries(numstates_, all_);
}

bool EntryLimit::AllowsFamily(std::span<const Vector<int>> parents, int node, std::span<const int> family) {
  double entries = numstates_[places_[node]];
  for (int parent : family) entries *= numstates_[places_[parent]];
  if (entries > mostEntries_) return false;
  for (int other = 0; other < Count(parents); ++other) SetFamily(other, parents[other]);
  SetFamily(node, family);
  return TotalEntries(numstates_, all_) <= mostEntries_;
}

}  // namespace bravic::engine

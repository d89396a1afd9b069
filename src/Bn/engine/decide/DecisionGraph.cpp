#include "Bn/engine/decide/DecisionGraph.h"

#include <algorithm>

namespace bravic::engine {

namespace {

Vector<unsigned char> Reach(const Vector<Vector<int>>& next, const Vector<int>& from) {
  Vector<unsigned char> isReached(next.size(), 0);
  Vector<int> open;
  const auto take = [&](int item) {
    if (isReached[item]) return;
    isReached[item] = 1;
    open.push_back(item);
  };
  for (int item : from) take(item);
  while (!open.empty()) {
    const int item = open.back();
    open.pop_back();
    for (int other : next[item]) take(other);
  }
  return isReached;
}

}  // namespace

DecisionGraph::DecisionGraph(const DecisionModel& model)
    : model_(model), parents_(model.items.size()), children_(model.items.size()) {
  for (int i = 0; i < model.items.size(); ++i) {
    parents_[i] = model.items[i].parents;
    for (int parent : parents_[i]) children_[parent].push_back(i);
  }
}

void DecisionGraph::SetKnows(int decision, const Vector<int>& knows) {
  for (int parent : parents_[decision]) {
    Vector<int>& children = children_[parent];
    children.erase(std::find(children.begin(), children.end(), decision));
  }
  parents_[decision] = knows;
  for (int parent : knows) children_[parent].push_back(decision);
}

Vector<unsigned char> DecisionGraph::AncestorsOf(const Vector<int>& targets) const {
  return Reach(parents_, targets);
}

Vector<unsigned char> DecisionGraph::DescendantsOf(int item) const {
  return Reach(children_, {item});
}

DecisionGraph::Requisite DecisionGraph::Matters(const Vector<int>& targets, const Vector<int>& given) const {
  struct Visit {
    int item;
    bool isFromChild;
  };
  const int n = model_.items.size();
  Vector<unsigned char> isGiven(n, 0), wentDown(n, 0);
  for (int i = 0; i < n; ++i) {
    isGiven[i] = model_.items[i].isKnown || model_.items[i].role == DecisionModel::Role::WEIGHT;
  }
  for (int item : given) isGiven[item] = 1;
  Requisite found{Vector<unsigned char>(n, 0), Vector<unsigned char>(n, 0)};
  Vector<Visit> visits;
  const auto goUp = [&](int item) {
    if (found.tables[item]) return;
    found.tables[item] = 1;
    for (int parent : parents_[item]) visits.push_back({parent, true});
  };
  const auto goDown = [&](int item) {
    if (wentDown[item]) return;
    wentDown[item] = 1;
    for (int child : children_[item]) visits.push_back({child, false});
  };
  for (int target : targets) visits.push_back({target, true});
  while (!visits.empty()) {
    const Visit visit = visits.back();
    visits.pop_back();
    found.seen[visit.item] = 1;
    if (isGiven[visit.item]) {
      if (!visit.isFromChild) goUp(visit.item);
    } else {
      if (visit.isFromChild) goUp(visit.item);
      goDown(visit.item);
    }
  }
  return found;
}

}  // namespace bravic::engine

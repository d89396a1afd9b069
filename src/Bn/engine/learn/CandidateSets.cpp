#include "Bn/engine/learn/CandidateSets.h"

#include <algorithm>
#include <functional>
#include <map>
#include <numeric>
#include <queue>

namespace bravic::engine {
namespace {

Vector<int> WithOneMore(std::span<const int> set, int more) {
  Vector<int> whole(set.begin(), set.end());
  whole.insert(std::lower_bound(whole.begin(), whole.end(), more), more);
  return whole;
}

// The nodes that may become parents beside those required.
Vector<int> FreeParents(const LinkRules& rules, int node) {
  Vector<int> parents;
  for (int other = 0; other < rules.NumNodes(); ++other)
    if (rules.Allows(other, node) && !rules.Requires(other, node)) parents.push_back(other);
  return parents;
}

class SetLister {
 public:
  SetLister(FamilyScores& scores, const LinkRules& rules, int node)
      : scores_(scores), rules_(rules), node_(node), free_(FreeParents(rules, node)) {}

  void Begin(std::span<const Vector<int>> begun) {
    const Vector<int>& required = rules_.Required(node_);
    Meet(required, scores_.Score(node_, required));
    for (const Vector<int>& set : begun) Meet(set, scores_.Score(node_, set));
  }

  // Keeps so many of the free parents, those that gain most alone.
  void KeepBestParents(int most) {
    const Vector<int>& required = rules_.Required(node_);
    if (most >= free_.size() || required.size() >= rules_.MostParents()) return;
    Vector<double> found(free_.size());
    scores_.ScoreToggled(node_, required, free_, found.data());
    Vector<int> order(free_.size()), kept;
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return found[a] > found[b]; });
    for (int k = 0; k < order.size(); ++k) {
      if (k < most) kept.push_back(free_[order[k]]);
      Meet(WithOneMore(required, free_[order[k]]), found[order[k]]);
    }
    std::sort(kept.begin(), kept.end());
    free_ = kept;
  }

  // Scores all sets of up to so many parents beside those required.
  void TryAll(int most) {
    const CaseColumns& cases = scores_.Cases();
    const auto hasMissing = [&](int other) { return cases.HasMissing(other); };
    hasBounds_ = !hasMissing(node_) && std::ranges::none_of(free_, hasMissing) &&
                 std::ranges::none_of(rules_.Required(node_), hasMissing);
    const Vector<int>& required = rules_.Required(node_);
    most_ = std::min(required.size() + std::min(most, free_.size()), rules_.MostParents());
    TryLarger(required, 0, scores_.Score(node_, required));
  }

  // Tries the best set with any of the free parents added, so many times.
  void TryBest(int numSteps) {
    std::priority_queue<Open, Vector<Open>> open;
    for (const auto& [set, score] : met_) open.push({score, &set});
    while (numSteps > 0 && !open.empty() && scores_.IsReady()) {
      const Vector<int>& set = *open.top().set;
      open.pop();
      if (set.size() >= rules_.MostParents()) continue;
      Vector<int> more;
      for (int other : free_)
        if (!std::binary_search(set.begin(), set.end(), other) && !met_.contains(WithOneMore(set, other)))
          more.push_back(other);
      if (more.empty()) continue;
      Vector<double> found(more.size());
      scores_.ScoreToggled(node_, set, more, found.data());
      for (int k = 0; k < more.size(); ++k) open.push({found[k], &Meet(WithOneMore(set, more[k]), found[k])});
      --numSteps;
    }
  }

  ParentSets List() const {
    ParentSetList list;
    for (const auto& [set, score] : met_) list.Add(set, score);
    return list.Sorted();
  }

 private:
  struct Open {
    double score;
    const Vector<int>* set;
    bool operator<(const Open& other) const { return score != other.score ? score < other.score : *set > *other.set; }
  };
  using Met = std::map<Vector<int>, double, std::less<>, CountingAllocator<std::pair<const Vector<int>, double>>>;

  const Vector<int>& Meet(const Vector<int>& set, double score) { return met_.emplace(set, score).first->first; }

  // Each set is made from the one without its last free parent.
  void TryLarger(const Vector<int>& set, int firstFree, double score) {
    if (set.size() >= most_) return;
    Vector<int> more, places;
    const double penalty = scores_.Penalty(node_, set);
    for (int k = firstFree; k < free_.size(); ++k) {
      const double added = scores_.Penalty(node_, WithOneMore(set, free_[k])) - penalty;
      if (hasBounds_ && added >= -(score + penalty)) continue;
      more.push_back(free_[k]);
      places.push_back(k);
    }
    if (more.empty() || !scores_.IsReady()) return;
    Vector<double> found(more.size());
    scores_.ScoreToggled(node_, set, more, found.data());
    for (int k = 0; k < more.size(); ++k) TryLarger(Meet(WithOneMore(set, more[k]), found[k]), places[k] + 1, found[k]);
  }

  FamilyScores& scores_;
  const LinkRules& rules_;
  const int node_;
  int most_ = 0;
  Vector<int> free_;
  bool hasBounds_ = false;
  Met met_;
};

// Of up to so many out of n.
double NumSets(int n, int most) {
  double sum = 1, ofSize = 1;
  for (int size = 1; size <= std::min(most, n); ++size) sum += ofSize = ofSize * (n - size + 1) / size;
  return sum;
}

}  // namespace

ParentSets AllParentSets(FamilyScores& scores, const LinkRules& rules, int node) {
  SetLister lister(scores, rules, node);
  lister.Begin({});
  lister.TryAll(rules.MostParents());
  return lister.List();
}

ParentSets BestParentSets(FamilyScores& scores, const LinkRules& rules, int node, const SetSearch& search,
                          std::span<const Vector<int>> begun) {
  SetLister lister(scores, rules, node);
  lister.Begin(begun);
  lister.KeepBestParents(search.mostCandidates);
  lister.TryAll(search.sizeOfAll);
  lister.TryBest(search.mostSteps);
  return lister.List();
}

SetSearch ChooseSetSearch(double setsPerNode, int numNodes) {
  constexpr int LEAST_CANDIDATES = 15, LARGEST_OF_ALL = 4, MOST_STEPS = 150;
  SetSearch search = {numNodes, 2, 0};
  for (int size = LARGEST_OF_ALL; size > 2; --size) {
    if (NumSets(numNodes - 1, size) > setsPerNode) continue;
    search.sizeOfAll = size;
    break;
  }
  while (search.mostCandidates > LEAST_CANDIDATES && NumSets(search.mostCandidates, 2) > setsPerNode)
    --search.mostCandidates;
  const double steps = setsPerNode / std::max(search.mostCandidates, 1);
  search.mostSteps = static_cast<int>(std::min<double>(steps, MOST_STEPS));
  return search;
}

}  // namespace bravic::engine

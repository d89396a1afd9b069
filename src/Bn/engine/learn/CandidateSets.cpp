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

// Sets one parent larger at a time, each made from the one without its last free parent.
class AllSets {
 public:
  AllSets(FamilyScores& scores, const LinkRules& rules, int node)
      : scores_(scores), node_(node), most_(rules.MostParents()), free_(FreeParents(rules, node)) {
    const CaseColumns& cases = scores.Cases();
    hasBounds_ = !cases.HasMissing(node) &&
                 std::ranges::none_of(free_, [&](int other) { return cases.HasMissing(other); }) &&
                 std::ranges::none_of(rules.Required(node), [&](int other) { return cases.HasMissing(other); });
  }

  ParentSets Find(const Vector<int>& required) {
    const double score = scores_.Score(node_, required);
    list_.Add(required, score);
    Extend(required, 0, score);
    return list_.Sorted();
  }

 private:
  void Extend(const Vector<int>& set, int firstFree, double score) {
    if (set.size() >= most_ || firstFree == free_.size()) return;
    Vector<int> more;
    Vector<int> places;
    const double penalty = scores_.Penalty(node_, set);
    for (int k = firstFree; k < free_.size(); ++k) {
      const bool isHopeless =
          hasBounds_ && scores_.Penalty(node_, WithOneMore(set, free_[k])) - penalty >= -(score + penalty);
      if (isHopeless) continue;
      more.push_back(free_[k]);
      places.push_back(k);
    }
    if (more.empty() || !scores_.IsReady()) return;
    Vector<double> found(more.size());
    scores_.ScoreToggled(node_, set, more, found.data());
    for (int k = 0; k < more.size(); ++k) {
      const Vector<int> whole = WithOneMore(set, more[k]);
      list_.Add(whole, found[k]);
      Extend(whole, places[k] + 1, found[k]);
    }
  }

  FamilyScores& scores_;
  const int node_, most_;
  const Vector<int> free_;
  bool hasBounds_ = false;
  ParentSetList list_;
};

class BestSets {
 public:
  BestSets(FamilyScores& scores, int node, int mostParents) : scores_(scores), node_(node), most_(mostParents) {}

  ParentSets Find(const LinkRules& rules, const SetSearch& search, std::span<const Vector<int>> begun) {
    const Vector<int>& required = rules.Required(node_);
    Meet(required, scores_.Score(node_, required));
    for (const Vector<int>& set : begun) Meet(set, scores_.Score(node_, set));
    ChooseCandidates(required, FreeParents(rules, node_), search.mostCandidates);
    for (int step = 0; step < search.mostSteps && !open_.empty() && scores_.IsReady(); ++step) {
      const Vector<int> set = *open_.top().set;
      open_.pop();
      TryMore(set);
    }
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

  void Meet(const Vector<int>& set, double score) {
    const auto [place, isNew] = met_.emplace(set, score);
    if (isNew && set.size() < most_) open_.push({score, &place->first});
  }

  void ChooseCandidates(const Vector<int>& required, Vector<int> free, int most) {
    if (required.size() >= most_) return;
    Vector<double> found(free.size());
    scores_.ScoreToggled(node_, required, free, found.data());
    Vector<int> order(free.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return found[a] > found[b]; });
    for (int k = 0; k < std::min(most, order.size()); ++k) candidates_.push_back(free[order[k]]);
  }

  void TryMore(const Vector<int>& set) {
    Vector<int> more;
    for (int candidate : candidates_)
      if (!std::binary_search(set.begin(), set.end(), candidate)) more.push_back(candidate);
    Vector<double> found(more.size());
    scores_.ScoreToggled(node_, set, more, found.data());
    for (int k = 0; k < more.size(); ++k) Meet(WithOneMore(set, more[k]), found[k]);
  }

  FamilyScores& scores_;
  const int node_, most_;
  Vector<int> candidates_;
  Met met_;
  std::priority_queue<Open, Vector<Open>> open_;
};

}  // namespace

ParentSets AllParentSets(FamilyScores& scores, const LinkRules& rules, int node) {
  return AllSets(scores, rules, node).Find(rules.Required(node));
}

ParentSets BestParentSets(FamilyScores& scores, const LinkRules& rules, int node, const SetSearch& search,
                          std::span<const Vector<int>> begun) {
  return BestSets(scores, node, rules.MostParents()).Find(rules, search, begun);
}

}  // namespace bravic::engine

// Trees and tree-augmented classifiers: each node takes at most one parent, beside the target in a classifier, so that
// the sum of what they gain is largest (Chow & Liu 1968; Friedman, Geiger & Goldszmidt 1997; with gains of a score in
// place of mutual information, so that links that gain nothing are left out). A tree's nodes are linked from the target
// outward, where there is one, else from the first of them that the best tree can begin at. In a classifier every node
// that may be is a child of the target.
//
// Where a limit on the entries refuses the best forest, its links are taken in the order of what they gain, those that
// it refuses left out.
#include <algorithm>

#include "Bn/engine/learn/Branching.h"
#include "Bn/engine/learn/LinkSearch.h"

namespace bravic::engine {
namespace {

class TreeSearch {
 public:
  TreeSearch(const LinkSearch& search, bool isClassifier)
      : search_(search),
        scores_(*search.scores),
        rules_(*search.rules),
        interrupt_(search.interrupt ? *search.interrupt : ownInterrupt_),
        n_(scores_.NumNodes()),
        target_(search.target),
        isClassifier_(isClassifier) {}

  FoundLinks Search() {
    FoundLinks found;
    gains_ = TryMakeBlock<double>(static_cast<std::size_t>(n_) * n_);
    for (int node = 0; node < n_ && !Stops(); ++node) FindGains(node);
    Vector<int> parents;
    if (!Stops())
      parents = FindBranching(std::span(gains_.get(), static_cast<std::size_t>(n_) * n_), alone_, interrupt_);
    if (!Stops()) MakeLinks(parents);
    if (!Stops()) found.score = scores_.Score(links_);
    if (Stops()) found.status = interrupt_.halted ? Status::Halted : Status::NoMemory;
    found.parents = std::move(links_);
    found.steps = steps_;
    return found;
  }

 private:
  struct Gain {
    NetLink link;
    double gain;
  };

  bool Stops() const { return interrupt_.halted || !gains_ || !scores_.IsReady(); }
  // Whether the target becomes its parent, beside those that are required.
  bool IsTold(int node) const {
    return isClassifier_ && rules_.Allows(target_, node) &&
           (rules_.Requires(target_, node) || rules_.Required(node).size() < rules_.MostParents());
  }

  // The parents a node has whatever the tree is.
  Vector<int> FixedParents(int node) const {
    Vector<int> parents = rules_.Required(node);
    const auto at = std::lower_bound(parents.begin(), parents.end(), target_);
    if (IsTold(node) && (at == parents.end() || *at != target_)) parents.insert(at, target_);
    return parents;
  }

  bool MayJoin(int from, int node) const { return rules_.Allows(from, node) && !(isClassifier_ && from == target_); }

  // A required parent is the only one that the tree can give its child.
  void FindGains(int node) {
    double* const row = gains_.get() + static_cast<std::size_t>(node) * n_;
    std::fill_n(row, n_, NO_LINK);
    Vector<int> inTree = rules_.Required(node);
    if (isClassifier_) std::erase(inTree, target_);
    alone_.push_back(inTree.size() == 1 ? NO_LINK : 0.0);
    if (!inTree.empty()) {
      if (inTree.size() == 1) row[inTree[0]] = 0;
      return;
    }
    const Vector<int> fixed = FixedParents(node);
    if (node == target_ || fixed.size() >= rules_.MostParents()) return;
    Vector<int> others;
    for (int from = 0; from < n_; ++from)
      if (MayJoin(from, node)) others.push_back(from);
    Vector<double> found(others.size());
    const double before = scores_.Score(node, fixed);
    scores_.ScoreToggled(node, fixed, others, found.data());
    for (int k = 0; k < others.size(); ++k) row[others[k]] = found[k] - before;
  }

  void MakeLinks(std::span<const int> parents) {
    for (int node = 0; node < n_; ++node) links_.push_back(rules_.Required(node));
    Vector<Gain> told, joined;
    for (int node = 0; node < n_; ++node) {
      if (IsTold(node) && !rules_.Requires(target_, node))
        told.push_back({{target_, node}, scores_.Score(node, std::span(&target_, 1)) - scores_.Score(node, {})});
      const int from = parents[node];
      if (from >= 0 && !rules_.Requires(from, node))
        joined.push_back({{from, node}, gains_[static_cast<std::size_t>(node) * n_ + from]});
    }
    for (Vector<Gain>* gains : {&told, &joined}) {
      std::stable_sort(gains->begin(), gains->end(), [](const Gain& a, const Gain& b) { return a.gain > b.gain; });
      for (const Gain& gain : *gains)
        if (!Stops()) MakeLink(gain.link);
    }
  }

  // Where it makes no circle, as it can with a child of several required parents, and the limit allows it.
  void MakeLink(NetLink link) {
    interrupt_.Halts(n_);
    Vector<int>& parents = links_[link.to];
    const Vector<int> before = parents;
    parents.insert(std::lower_bound(parents.begin(), parents.end(), link.from), link.from);
    if (ParentsFirst(links_).size() == n_ && (!search_.limit || search_.limit->Allows(links_))) {
      ++steps_;
    } else {
      parents = before;
    }
  }

  const LinkSearch& search_;
  FamilyScores& scores_;
  const LinkRules& rules_;
  Interrupt ownInterrupt_, &interrupt_;
  const int n_, target_;
  const bool isClassifier_;
  Block<double> gains_;   // [child x parent], beside the fixed parents
  Vector<double> alone_;  // [node]: NO_LINK where the tree must give it a parent
  Links links_;
  int steps_ = 0;
};

}  // namespace

FoundLinks SearchTree(const LinkSearch& search) {
  return TreeSearch(search, false).Search();
}

FoundLinks SearchTan(const LinkSearch& search) {
  return TreeSearch(search, true).Search();
}

}  // namespace bravic::engine

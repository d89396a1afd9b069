// Which links a search may make: those required and forbidden, tiers of nodes that links do not lead back from, and how
// many parents a node may have.
#pragma once

#include <span>

#include "Bn/engine/BitRows.h"

namespace bravic::engine {

struct NetLink {
  int from, to;
  bool operator==(const NetLink&) const = default;
};

class LinkRules {
 public:
  explicit LinkRules(int numNodes);
  void Require(NetLink link);
  void Forbid(NetLink link) { forbidden_.Set(link.to, link.from); }
  void SetTiers(std::span<const int> tiers) { tiers_.assign(tiers.begin(), tiers.end()); }  // one per node
  void SetMostParents(int most) { mostParents_ = most; }                                    // of every node
  // A node that stays without links, unless they are required.
  void Isolate(int node);

  // What contradicts: a required link that is forbidden, against the tiers, on a cycle of required links, or one too
  // many for its child. NONE: all can be kept.
  enum class Fault { NONE, FORBIDDEN, TIERS, CYCLE, TOO_MANY_PARENTS };
  Fault FindFault(NetLink* link) const;

  int NumNodes() const { return required_.size(); }
  int MostParents() const { return mostParents_; }
  bool Allows(int from, int to) const {
    return from != to && !forbidden_.Has(to, from) && (tiers_.empty() || tiers_[from] <= tiers_[to]);
  }
  bool Requires(int from, int to) const;
  const Vector<int>& Required(int node) const { return required_[node]; }  // its parents, ascending
  // Whether the node may have these parents, as far as they alone go.
  bool AllowsParents(int node, std::span<const int> parents) const;

 private:
  BitRows forbidden_;             // by child
  Vector<Vector<int>> required_;  // [node]
  Vector<int> tiers_;             // [node], or none
  int mostParents_;
};

// Orders nodes so that parents come before their children, each as early as its number allows; fewer than all where
// there is a cycle.
Vector<int> ParentsFirst(std::span<const Vector<int>> parents);

}  // namespace bravic::engine

#include "Bn/engine/learn/LinkRules.h"

#include <algorithm>
#include <limits>
#include <queue>

namespace bravic::engine {

LinkRules::LinkRules(int numNodes) : mostParents_(std::numeric_limits<int>::max()) {
  forbidden_.Reset(numNodes);
  required_.resize(numNodes);
}

void LinkRules::Require(NetLink link) {
  Vector<int>& parents = required_[link.to];
  const auto at = std::lower_bound(parents.begin(), parents.end(), link.from);
  if (at == parents.end() || *at != link.from) parents.insert(at, link.from);
}

void LinkRules::Isolate(int node) {
  for (int other = 0; other < NumNodes(); ++other) {
    if (!Requires(other, node)) Forbid({other, node});
    if (!Requires(node, other)) Forbid({node, other});
  }
}

bool LinkRules::Requires(int from, int to) const {
  return std::binary_search(required_[to].begin(), required_[to].end(), from);
}

bool LinkRules::AllowsParents(int node, std::span<const int> parents) const {
  return Count(parents) <= mostParents_ &&
         std::all_of(parents.begin(), parents.end(), [&](int parent) { return Allows(parent, node); }) &&
         std::all_of(required_[node].begin(), required_[node].end(),
                     [&](int parent) { return std::find(parents.begin(), parents.end(), parent) != parents.end(); });
}

LinkRules::Fault LinkRules::FindFault(NetLink* link) const {
  for (int node = 0; node < NumNodes(); ++node) {
    for (int parent : required_[node]) {
      *link = {parent, node};
      if (parent == node) return Fault::CYCLE;
      if (forbidden_.Has(node, parent)) return Fault::FORBIDDEN;
      if (!Allows(parent, node)) return Fault::TIERS;
    }
    if (required_[node].size() > mostParents_) return Fault::TOO_MANY_PARENTS;
  }
  const Vector<int> order = ParentsFirst(required_);
  if (order.size() == NumNodes()) return Fault::NONE;
  Vector<unsigned char> placed(NumNodes(), 0);
  for (int node : order) placed[node] = 1;
  // Going back from parent to parent among those left comes to one seen before: it lies on a cycle.
  const auto leftParent = [&](int node) {
    return *std::find_if(required_[node].begin(), required_[node].end(), [&](int parent) { return !placed[parent]; });
  };
  int node = static_cast<int>(std::find(placed.begin(), placed.end(), 0) - placed.begin());
  for (int step = 0; step < NumNodes(); ++step) node = leftParent(node);
  *link = {leftParent(node), node};
  return Fault::CYCLE;
}

Vector<int> ParentsFirst(std::span<const Vector<int>> parents) {
  const int n = Count(parents);
  Vector<int> numLeft(n), order;
  Vector<Vector<int>> children(n);
  std::priority_queue<int, Vector<int>, std::greater<int>> ready;
  for (int node = 0; node < n; ++node) {
    numLeft[node] = parents[node].size();
    for (int parent : parents[node]) children[parent].push_back(node);
    if (numLeft[node] == 0) ready.push(node);
  }
  while (!ready.empty()) {
    const int node = ready.top();
    ready.pop();
    order.push_back(node);
    for (int child : children[node])
      if (--numLeft[child] == 0) ready.push(child);
  }
  return order;
}

}  // namespace bravic::engine

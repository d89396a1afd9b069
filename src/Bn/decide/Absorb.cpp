// The order of absorption is chosen step by step by cost. A nature node's children are taken in the net's node order,
// so that reversing a link never closes a cycle in an acyclic net.

#include "Bn/decide/Absorb.h"

#include <algorithm>
#include <cstdio>
#include <limits>

#include "Bn/compiled/Findings.h"
#include "Bn/compiled/Likelihood.h"
#include "Bn/decide/Reverse.h"
#include "Bn/model/Parents.h"
#include "Bn/model/Tables.h"
#include "Bn/model/Undo.h"

namespace bravic {

namespace {

inline constexpr double NEVER = -1, LARGEST = std::numeric_limits<double>::max();
inline constexpr std::size_t REASON_LEN = REVERSAL_REASON_LEN + 80;

struct Candidate {
  node_bn node;
  int position;  // in topological order, from 0
};

bool HasStateFinding(const bnode& node) {
  return node.evidence >= 0;
}

// Without anything downstream that could matter: no utility node, no finding. The net may have cycles.
bool IsBarren(node_bn node) {
  const int mark = NewMark();
  node->mark = mark;
  for (Vector<node_bn> open{node}; !open.empty();) {
    node_bn next = open.back();
    open.pop_back();
    if (next->kind == UTILITY_NODE || HasFinding(*next)) return false;
    for (node_bn child : next->succs) {
      if (child->mark == mark) continue;
      child->mark = mark;
      open.push_back(child);
    }
  }
  return true;
}

Vector<node_bn> ChildrenInOrder(node_bn node) {
  OrderedNodes(node->innet);
  Vector<node_bn> children(node->succs.begin(), node->succs.end());
  std::sort(children.begin(), children.end(), [](node_bn x, node_bn y) { return x->index < y->index; });
  return children;
}

// The one utility child, or NULL with the reason why the decision cannot be absorbed now.
node_bn UtilityToMaximize(node_bn decision, char* reason) {
  auto refuse = [reason](const char* format, const char* name1 = "", const char* name2 = "") -> node_bn {
    if (reason) std::snprintf(reason, REASON_LEN, format, name1, name2);
    return nullptr;
  };
  node_bn utility = nullptr;
  for (node_bn child : decision->succs) {
    if (child->kind == UTILITY_NODE) {
      if (utility) return refuse("it has more than one child utility node ('%s' and '%s')", utility->name, child->name);
      utility = child;
    } else if (!IsBarren(child)) {
      return refuse("it has a nonbarren child ('%s') which is not a utility node", child->name);
    }
  }
  if (!utility) return refuse("it does not have a child utility node");
  for (node_bn child : utility->succs)
    if (!IsBarren(child))
      return refuse("its child utility node '%s' has a nonbarren child ('%s')", utility->name, child->name);
  for (node_bn parent : utility->preds)
    if (parent != decision && IndexIn(decision->preds, parent) < 0)
      return refuse("its child utility node '%s' has parents that it doesn't have", utility->name);
  return utility;
}

// Whether every link to the children can be reversed, one after the other in the net's order. Past the first child no
// cycle can form: what led to the later ones has been turned around by then.
bool CanReverseChildren(node_bn node, char* reason) {
  bool first = true;
  for (node_bn child : ChildrenInOrder(node)) {
    char why[REVERSAL_REASON_LEN];
    int code = TestReversal(node, child, first, why);
    first = false;
    if (code == 0) continue;
    if (reason) {
      if (code < 0)
        std::snprintf(reason, REASON_LEN, "child %s", why);
      else
        std::snprintf(reason, REASON_LEN, "link to '%s' %s", child->name, why);
    }
    return false;
  }
  return true;
}

bool CanReverseParents(node_bn node, char* reason) {
  for (node_bn parent : node->preds) {
    char why[REVERSAL_REASON_LEN];
    int code = TestReversal(parent, node, false, why);
    if (code == 0) continue;
    if (reason) std::snprintf(reason, REASON_LEN, "link from '%s' %s", parent->name, why);
    return false;
  }
  return true;
}

// With a state finding the children keep a slice, so their links need no reversal.
bool CanAbsorbNature(node_bn node, char* reason) {
  if (HasStateFinding(*node)) return CanReverseParents(node, reason);
  if (node->likelihood && !CanReverseParents(node, reason)) return false;
  return CanReverseChildren(node, reason);
}

double CostOf(const Candidate& candidate, int numnodes, double smallest) {
  node_bn node = candidate.node;
  if (node->kind == DECISION_NODE) return HasStateFinding(*node) || UtilityToMaximize(node, nullptr) ? 0 : NEVER;
  if (node->kind != NATURE_NODE) return NEVER;
  double cost;
  if (HasStateFinding(*node) || node->likelihood)
    cost =
        1000.0 * (node->preds.num + (node->likelihood ? node->succs.num : 0)) + 10.0 * (numnodes - candidate.position);
  else if (node->value != UNDEF_DBL)
    cost = 1000000.0 + candidate.position;
  else
    cost = 1000.0 * node->succs.num + 10.0 * (numnodes - candidate.position);
  if (smallest != NEVER && cost > smallest) return LARGEST;
  return CanAbsorbNature(node, nullptr) ? cost : NEVER;
}

// Index of the cheapest candidate that can be absorbed now, -1 when there is none.
int ChooseNext(std::span<const Candidate> candidates, int numnodes) {
  int best = -1;
  double smallest = NEVER;
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    double cost = CostOf(candidates[i], numnodes, smallest);
    if (cost == NEVER || (smallest != NEVER && cost >= smallest)) continue;
    best = static_cast<int>(i);
    smallest = cost;
    if (cost == 0) break;
  }
  return best;
}

// Takes the node out of the net; its children keep the slice of its state.
Failure RemoveWithSlice(node_bn node) {
  while (node->succs.num > 0) {
    node_bn child = node->succs.ar[0];
    DeleteLink(IndexIn(child->preds, node), child);
  }
  node_bn nodes[] = {node};
  return RemoveNodesFromNet(node->innet, nodes, {});
}

Failure ReversalFailure(node_bn parent, node_bn child, int result) {
  if (result == REVERSAL_HALTED) return FailHalted();
  if (result == REVERSAL_NO_MEMORY)
    return Fail(-2143, "ran out of memory (trying to reverse link from '%s' to '%s')", parent->name, child->name);
  return Fail(-2144, "couldn't reverse link from '%s' to '%s' (error %d)", parent->name, child->name, result);
}

// Reverses the links from the node's parents until it has none: each time the first that can be reversed now.
Failure ReverseParents(node_bn node, LongWork& work) {
  while (node->preds.num > 0) {
    node_bn next = nullptr;
    for (node_bn parent : node->preds) {
      char why[REVERSAL_REASON_LEN];
      int code = TestReversal(parent, node, true, why);
      if (code == 0) {
        next = parent;
        break;
      }
      if (code != 1)
        return Fail(-2142, "couldn't reverse link from '%s' to '%s' because %s", parent->name, node->name, why);
    }
    if (!next)
      return Fail(-2142, "couldn't reverse link from '%s' to '%s' because %s", node->preds.ar[0]->name, node->name,
                  "it would form a directed cycle");
    if (int result = ReverseLink(next, node, true, false, work); result != REVERSED)
      return ReversalFailure(next, node, result);
  }
  return nullptr;
}

// The likelihood of a node without parents, taken into its table: the joint of what remains keeps what it says.
Failure AbsorbLikelihood(node_bn node, LongWork& work) {
  if (Failure failure = ReverseParents(node, work)) return failure;
  if (Failure failure = MakeProbs(node)) return failure;
  Relation relation;
  Block<float> row = TryMakeBlock<float>(static_cast<std::size_t>(node->numstates));
  if (!row) return FailMemory(-2183, 0, "to absorb a likelihood finding");
  Vector<engine::WideNumber> weights = LikelihoodWeights(*node);
  engine::WideNumber sum;
  for (int k = 0; k < weights.size(); ++k) {
    weights[k] = weights[k] * engine::ToWide(static_cast<double>(node->probs[k]));
    sum = sum + weights[k];
  }
  for (int k = 0; k < weights.size(); ++k)
    row[k] = sum.mantissa > 0 ? static_cast<float>(engine::ToDouble(weights[k] / sum, 0)) : IMPOS_PROB;
  relation.probs = row.release();
  InstallRelation(node, relation);
  RetractFinding(node);
  return nullptr;
}

Failure AbsorbNature(node_bn node, LongWork& work) {
  if (HasStateFinding(*node)) {
    if (Failure failure = ReverseParents(node, work)) return failure;
    return RemoveWithSlice(node);
  }
  if (node->likelihood)
    if (Failure failure = AbsorbLikelihood(node, work)) return failure;
  for (node_bn child : ChildrenInOrder(node)) {
    char why[REVERSAL_REASON_LEN];
    if (TestReversal(node, child, true, why) != 0)
      return Fail(-2142, "couldn't reverse link from '%s' to '%s' because %s", node->name, child->name, why);
    bool last = node->succs.num == 1;
    if (int result = ReverseLink(node, child, true, last, work); result != REVERSED)
      return ReversalFailure(node, child, result);
  }
  node_bn nodes[] = {node};
  return RemoveNodesFromNet(node->innet, nodes, {});
}

// The candidates that follow from the decision alone, by way of such, the last in the net's order first.
Vector<node_bn> BarrenDescendants(node_bn decision, std::span<const Candidate> candidates) {
  const int candidate = NewMark(), found = NewMark();
  for (const Candidate& c : candidates) c.node->mark = candidate;
  Vector<node_bn> descendants, open{decision};
  while (!open.empty()) {
    node_bn node = open.back();
    open.pop_back();
    for (node_bn child : node->succs) {
      if (child->mark != candidate || child->kind == UTILITY_NODE) continue;
      child->mark = found;
      descendants.push_back(child);
      open.push_back(child);
    }
  }
  std::sort(descendants.begin(), descendants.end(), [](node_bn x, node_bn y) { return x->index > y->index; });
  return descendants;
}

// Leaves that follow from the decision alone tell nothing about its choice.
Failure RemoveBarrenDescendants(node_bn decision, std::span<Candidate> candidates, std::size_t* numLeft) {
  OrderedNodes(decision->innet);
  for (node_bn node : BarrenDescendants(decision, candidates.first(*numLeft))) {
    if (node->succs.num > 0) continue;
    const auto end = candidates.begin() + static_cast<std::ptrdiff_t>(*numLeft);
    *std::find_if(candidates.begin(), end, [node](const Candidate& c) { return c.node == node; }) =
        candidates[*numLeft - 1];
    --*numLeft;
    node_bn nodes[] = {node};
    if (Failure failure = RemoveNodesFromNet(node->innet, nodes, {})) return failure;
  }
  return nullptr;
}

double UtilityOf(float entry) {
  return entry == IMPOS_PROB ? 0.0 : static_cast<double>(entry);
}

// For each configuration of the decision's parents the first state of largest expected utility; the utility node
// takes all of those parents.
Failure MaximizeDecision(node_bn decision, node_bn utility, Vector<Policy>* policies, LongWork& work) {
  const auto parents = Entries(decision->preds);
  char purpose[100];
  std::snprintf(purpose, sizeof purpose, "for decision table of node '%s'", decision->name);
  if (!utility->determinv) return Fail(-2215, "node '%s' doesn't have a deterministic relation table", utility->name);
  long long rows = NumConfigurations(parents);
  if (rows <= 0) return FailMemory(-2183, 0, purpose);
  Policy policy;
  policy.decision = decision;
  policy.parents.assign(parents.begin(), parents.end());
  policy.states = TryMakeBlock<statetype>(static_cast<std::size_t>(rows));
  Block<float> best = TryMakeBlock<float>(static_cast<std::size_t>(rows));
  if (!policy.states || !best) return FailMemory(-2183, static_cast<double>(rows) * 8, purpose);

  const int numparents = decision->preds.num;
  Vector<int> position(static_cast<std::size_t>(utility->preds.num));  // of each utility parent, -1: the decision
  for (int i = 0; i < utility->preds.num; ++i)
    position[i] = utility->preds.ar[i] == decision ? -1 : IndexIn(decision->preds, utility->preds.ar[i]);
  Vector<statetype> states(static_cast<std::size_t>(numparents) + 1, 0);
  Vector<statetype> utilityStates(position.size() + 1, 0);
  statetype firstAllowed = 0;
  while (decision->likelihood && decision->likelihood[firstAllowed] == 0) ++firstAllowed;
  for (long long row = 0; row < rows; ++row) {
    if (work.Halts(10.0 * decision->numstates)) return FailHalted();
    statetype chosen = firstAllowed;
    float chosenEntry = IMPOS_PROB;
    for (statetype d = 0; d < decision->numstates; ++d) {
      if (decision->likelihood && decision->likelihood[d] == 0) continue;  // excluded by a finding
      for (int i = 0; i < position.size(); ++i) utilityStates[i] = position[i] < 0 ? d : states[position[i]];
      float entry = utility->determinv[RowIndex(*utility, utilityStates.data())];
      if (entry == UNDEF_PROB)
        return Fail(-2230, "node '%s' doesn't have a complete relation table (e.g., missing %s)", utility->name,
                    "an expected utility");
      if (entry == IMPOS_PROB) continue;
      if (chosenEntry == IMPOS_PROB || UtilityOf(entry) > UtilityOf(chosenEntry)) {
        chosen = d;
        chosenEntry = entry;
      }
    }
    policy.states[row] = chosen;
    best[row] = chosenEntry;
    NextConfiguration(parents, states.data());
  }

  Vector<node_bn> newparents(parents.begin(), parents.end());
  ChangeParents(utility, newparents, {}, true);
  Relation relation;
  relation.determinv = best.release();
  InstallRelation(utility, relation);
  if (policies) policies->push_back(std::move(policy));
  return nullptr;
}

Failure AbsorbOne(node_bn node, Vector<Policy>* policies, std::span<Candidate> candidates, std::size_t* numLeft,
                  LongWork& work) {
  net_bn net = node->innet;
  UndoGroup group(UNDO_ABSORB, net);
  if (node->kind != DECISION_NODE) return AbsorbNature(node, work);
  if (HasStateFinding(*node)) return RemoveWithSlice(node);
  node_bn utility = UtilityToMaximize(node, nullptr);
  if (Failure failure = RemoveBarrenDescendants(node, candidates, numLeft)) return failure;
  if (Failure failure = MaximizeDecision(node, utility, policies, work)) return failure;
  DisconnectChildren(node);  // barren ones that stay keep a placeholder
  node_bn nodes[] = {node};
  return RemoveNodesFromNet(net, nodes, {});
}

Failure NoneCanBeAbsorbed(node_bn node) {
  char reason[REASON_LEN] = "";
  if (node->kind == DECISION_NODE) {
    UtilityToMaximize(node, reason);
    return Fail(-2058, "can't absorb decision node '%s', because %s", node->name, reason);
  }
  if (node->kind == NATURE_NODE)
    CanAbsorbNature(node, reason);
  else
    std::snprintf(reason, sizeof reason, "'%s' is not a nature node", node->name);
  return Fail(-2059, "can't absorb nature node '%s', because %s", node->name, reason);
}

}  // namespace

Failure AbsorbNodes(net_bn net, std::span<const node_bn> nodes, Vector<Policy>* policies, LongWork& work) {
  UndoGroup group(UNDO_GROUP, net);
  OrderedNodes(net);
  Vector<Candidate> candidates;
  for (node_bn node : nodes)
    if (node->kind != UTILITY_NODE && node->kind != ASSUME_NODE) candidates.push_back({node, 0});
  std::sort(candidates.begin(), candidates.end(),
            [](const Candidate& x, const Candidate& y) { return x.node->index < y.node->index; });
  for (int i = 0; i < candidates.size(); ++i) candidates[i].position = i;

  std::size_t numLeft = candidates.size();
  const double numnodes = static_cast<double>(numLeft);
  while (numLeft > 0) {
    // A choice looks at all that is left, and each of these at its neighbours.
    if (work.Halts(100.0 * static_cast<double>(numLeft))) return FailHalted();
    work.SetShare(1 - static_cast<double>(numLeft) / numnodes);
    int next = ChooseNext({candidates.data(), numLeft}, net->nodes.num);
    if (next < 0) return NoneCanBeAbsorbed(candidates[0].node);
    node_bn node = candidates[next].node;
    candidates[next] = candidates[--numLeft];
    // The record of a removed node may go with the undo record, so its name is kept for the message.
    char name[MAX_ERR_LEN / 2];
    std::snprintf(name, sizeof name, "%s", node->name);
    if (Failure failure = AbsorbOne(node, policies, candidates, &numLeft, work)) {
      if (failure->number == HALTED.number) return failure;
      return Fail(failure->number, "couldn't absorb node '%s' because %s", name, failure->mesg);
    }
  }
  return nullptr;
}

}  // namespace bravic

#include "Bn/decide/Absorb.h"

#include <algorithm>
#include <limits>

#include "Basic/Format.h"
#include "Bn/compiled/Findings.h"
#include "Bn/compiled/Likelihood.h"
#include "Bn/decide/Reverse.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/Parents.h"
#include "Bn/model/Relation.h"
#include "Bn/model/TableForms.h"
#include "Bn/model/Tables.h"
#include "Bn/model/Undo.h"

namespace bravic {
namespace {

// Costs of what cannot be absorbed now, and of what need not be looked at closely since something cheaper is there.
constexpr double NEVER = -1, LARGEST = std::numeric_limits<double>::max();
constexpr std::size_t REASON_LEN = REVERSAL_REASON_LEN + 80;

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

// A copy: reversals change the list of children.
Vector<node_bn> ChildrenInOrder(node_bn node) {
  OrderedNodes(node->innet);
  Vector<node_bn> children(node->succs.begin(), node->succs.end());
  std::sort(children.begin(), children.end(), [](node_bn x, node_bn y) { return x->index < y->index; });
  return children;
}

// The one utility child, or NULL with the reason why the decision cannot be absorbed now.
node_bn UtilityToMaximize(node_bn decision, char* reason) {
  auto refuse = [reason](const char* format, const char* name1 = "", const char* name2 = "") -> node_bn {
    if (reason) FormatText(reason, REASON_LEN, format, name1, name2);
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
  for (node_bn child : utility->succs) {
    if (IsBarren(child)) continue;
    return refuse("its child utility node '%s' has a nonbarren child ('%s')", utility->name, child->name);
  }
  for (node_bn parent : utility->preds) {
    if (parent == decision || IndexIn(decision->preds, parent) >= 0) continue;
    return refuse("its child utility node '%s' has parents that it doesn't have", utility->name);
  }
  return utility;
}

// Whether every link to the children can be reversed, one after the other in the net's order. Past the first child no
// cycle can form: what led to the later ones has been turned around by then.
bool CanReverseChildren(node_bn node, char* reason) {
  CycleTest cycleTest = CycleTest::Made;
  for (node_bn child : ChildrenInOrder(node)) {
    char why[REVERSAL_REASON_LEN];
    const Obstacle obstacle = FindObstacle(node, child, cycleTest, why);
    cycleTest = CycleTest::NotNeeded;
    if (obstacle == Obstacle::None) continue;
    if (!reason) return false;
    if (obstacle == Obstacle::Child) {
      FormatText(reason, REASON_LEN, "child %s", why);
    } else {
      FormatText(reason, REASON_LEN, "link to '%s' %s", child->name, why);
    }
    return false;
  }
  return true;
}

// Cycles are no obstacle: they go away as other parents are turned around first.
bool CanReverseParents(node_bn node, char* reason) {
  for (node_bn parent : node->preds) {
    char why[REVERSAL_REASON_LEN];
    if (FindObstacle(parent, node, CycleTest::NotNeeded, why) == Obstacle::None) continue;
    if (reason) FormatText(reason, REASON_LEN, "link from '%s' %s", parent->name, why);
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

// Links to be reversed count most, then the place in the order: among equals the last node goes first. A node with a
// value but no state is kept to the end.
constexpr double LINK_COST = 1000, PLACE_COST = 10, VALUE_COST = 1000000;

double NatureCost(const Candidate& candidate, int numnodes) {
  const bnode& node = *candidate.node;
  const double place = PLACE_COST * (numnodes - candidate.position);
  if (HasStateFinding(node) || node.likelihood) {
    return LINK_COST * (node.preds.num + (node.likelihood ? node.succs.num : 0)) + place;
  }
  if (node.value != UNDEF_DBL) return VALUE_COST + candidate.position;
  return LINK_COST * node.succs.num + place;
}

// smallest: the least cost so far, or NEVER.
double CostOf(const Candidate& candidate, int numnodes, double smallest) {
  node_bn node = candidate.node;
  if (node->kind == DECISION_NODE) return HasStateFinding(*node) || UtilityToMaximize(node, nullptr) ? 0 : NEVER;
  if (node->kind != NATURE_NODE) return NEVER;
  const double cost = NatureCost(candidate, numnodes);
  if (smallest != NEVER && cost > smallest) return LARGEST;
  return CanAbsorbNature(node, nullptr) ? cost : NEVER;
}

// Index of the cheapest candidate that can be absorbed now, -1 when there is none.
int ChooseNext(std::span<const Candidate> candidates, int numnodes) {
  int best = -1;
  double smallest = NEVER;
  for (int i = 0; i < Count(candidates); ++i) {
    const double cost = CostOf(candidates[i], numnodes, smallest);
    if (cost == NEVER || (smallest != NEVER && cost >= smallest)) continue;
    best = i;
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

Failure ReversalFailure(node_bn parent, node_bn child, ReversalResult result) {
  if (result == REVERSAL_HALTED) return FailHalted();
  if (result == REVERSAL_NO_MEMORY) return Fail(NO_MEMORY_TO_REVERSE, parent->name, child->name);
  return Fail(REVERSAL_FAILED, parent->name, child->name, int{result});
}

Failure ReversalRefused(node_bn parent, node_bn child, const char* why) {
  return Fail(CANT_REVERSE_LINK, parent->name, child->name, why);
}

// Reverses the links from the node's parents until it has none: each time the first that can be reversed now.
Failure ReverseParents(node_bn node, LongWork& work) {
  while (node->preds.num > 0) {
    node_bn next = nullptr;
    for (node_bn parent : node->preds) {
      char why[REVERSAL_REASON_LEN];
      const Obstacle obstacle = FindObstacle(parent, node, CycleTest::Made, why);
      if (obstacle == Obstacle::None) {
        next = parent;
        break;
      }
      if (obstacle != Obstacle::Cycle) return ReversalRefused(parent, node, why);
    }
    if (!next) return Fail(REVERSAL_MAKES_CYCLE, node->preds.ar[0]->name, node->name);
    const ReversalResult result = ReverseLink(next, node, ParentOrder::NodeOrder, ParentTable::Made, work);
    if (result != REVERSED) return ReversalFailure(next, node, result);
  }
  return nullptr;
}

// The likelihood of a node without parents, taken into its table: the joint of what remains keeps what it says.
Failure AbsorbLikelihood(node_bn node, LongWork& work) {
  if (Failure failure = ReverseParents(node, work)) return failure;
  if (Failure failure = MakeProbs(node)) return failure;
  Relation relation;
  Block<float> row = TryMakeBlock<float>(node->numstates);
  if (!row) return FailMemory(NO_MEMORY_TO_ABSORB_LIKELIHOOD, 0);
  Vector<engine::WideNumber> weights = LikelihoodWeights(*node);
  engine::WideNumber sum;
  for (int k = 0; k < weights.size(); ++k) {
    weights[k] = weights[k] * engine::ToWide(node->probs[k]);
    sum = sum + weights[k];
  }
  for (int k = 0; k < weights.size(); ++k) {
    row[k] = sum.mantissa > 0 ? static_cast<float>(engine::ToDouble(weights[k] / sum, 0)) : IMPOS_PROB;
  }
  relation.probs = row.release();
  InstallRelation(node, relation);
  RetractFinding(node);
  return nullptr;
}

// Its children have all of its parents by then, so nothing is lost with it.
Failure AbsorbNature(node_bn node, LongWork& work) {
  if (HasStateFinding(*node)) {
    if (Failure failure = ReverseParents(node, work)) return failure;
    return RemoveWithSlice(node);
  }
  if (node->likelihood) {
    if (Failure failure = AbsorbLikelihood(node, work)) return failure;
  }
  for (node_bn child : ChildrenInOrder(node)) {
    char why[REVERSAL_REASON_LEN];
    if (FindObstacle(node, child, CycleTest::Made, why) != Obstacle::None) return ReversalRefused(node, child, why);
    // After the last reversal the node goes, and its table with it.
    const ParentTable own = node->succs.num == 1 ? ParentTable::Dropped : ParentTable::Made;
    const ReversalResult result = ReverseLink(node, child, ParentOrder::NodeOrder, own, work);
    if (result != REVERSED) return ReversalFailure(node, child, result);
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

void TakeOut(Vector<Candidate>& candidates, std::ptrdiff_t index) {
  candidates[index] = candidates.back();
  candidates.pop_back();
}

// Leaves that follow from the decision alone tell nothing about its choice.
Failure RemoveBarrenDescendants(node_bn decision, Vector<Candidate>& candidates) {
  OrderedNodes(decision->innet);
  for (node_bn node : BarrenDescendants(decision, candidates)) {
    if (node->succs.num > 0) continue;
    const auto isNode = [node](const Candidate& candidate) { return candidate.node == node; };
    TakeOut(candidates, std::find_if(candidates.begin(), candidates.end(), isNode) - candidates.begin());
    node_bn nodes[] = {node};
    if (Failure failure = RemoveNodesFromNet(node->innet, nodes, {})) return failure;
  }
  return nullptr;
}

// What a decision is chosen by: the utility's table at a configuration of the decision's parents.
class Choice {
 public:
  Choice(node_bn decision, node_bn utility)
      : decision_(*decision), utility_(*utility), position_(utility->preds.num), states_(utility->preds.num + 1, 0) {
    for (int i = 0; i < position_.size(); ++i) {
      node_bn parent = utility->preds.ar[i];
      position_[i] = parent == decision ? -1 : IndexIn(decision->preds, parent);
    }
    while (IsExcluded(firstAllowed_)) ++firstAllowed_;
  }
  // The first state of largest utility, and that utility; IMPOS_PROB where every state is impossible. False when the
  // utility of a state is not defined.
  bool Make(const statetype* parentStates, statetype* chosen, float* utility) {
    *chosen = firstAllowed_;
    *utility = IMPOS_PROB;
    for (statetype d = 0; d < decision_.numstates; ++d) {
      if (IsExcluded(d)) continue;
      for (int i = 0; i < position_.size(); ++i) states_[i] = position_[i] < 0 ? d : parentStates[position_[i]];
      const float entry = utility_.determinv[RowIndex(utility_, states_.data())];
      if (entry == UNDEF_PROB) return false;
      if (entry == IMPOS_PROB || (*utility != IMPOS_PROB && !(entry > *utility))) continue;
      *chosen = d;
      *utility = entry;
    }
    return true;
  }

 private:
  // By a finding that is not a state.
  bool IsExcluded(statetype state) const { return decision_.likelihood && decision_.likelihood[state] == 0; }

  const bnode &decision_, &utility_;
  Vector<int> position_;  // of each parent of the utility node among the decision's, -1: the decision itself
  Vector<statetype> states_;
  statetype firstAllowed_ = 0;
};

// For each configuration of the decision's parents the first state of largest expected utility; the utility node
// takes all of those parents.
Failure MaximizeDecision(node_bn decision, node_bn utility, Vector<Policy>* policies, LongWork& work) {
  constexpr double STATE_WORK = 10;  // nanoseconds, about, to look at one
  const auto parents = Entries(decision->preds);
  if (!utility->determinv) return Fail(NO_UTILITY_TABLE, utility->name);
  const long long numrows = NumConfigurations(parents);
  if (numrows <= 0) return FailMemory(NO_MEMORY_FOR_DECISION_TABLE, 0, decision->name);
  const auto rows = static_cast<std::size_t>(numrows);
  Policy policy;
  policy.decision = decision;
  policy.parents.assign(parents.begin(), parents.end());
  policy.states = TryMakeBlock<statetype>(rows);
  Block<float> best = TryMakeBlock<float>(rows);
  if (!policy.states || !best) {
    return FailMemory(NO_MEMORY_FOR_DECISION_TABLE, static_cast<double>(numrows) * (sizeof(statetype) + sizeof(float)),
                      decision->name);
  }

  Choice choice(decision, utility);
  Vector<statetype> states(decision->preds.num + 1, 0);
  for (std::size_t row = 0; row < rows; ++row) {
    if (work.Halts(STATE_WORK * decision->numstates)) return FailHalted();
    if (!choice.Make(states.data(), &policy.states[row], &best[row])) {
      return Fail(UTILITY_MISSING, utility->name);
    }
    NextConfiguration(parents, states.data());
  }

  const Vector<node_bn> newparents(parents.begin(), parents.end());
  ChangeParents(utility, newparents, {}, true);
  Relation relation;
  relation.determinv = best.release();
  InstallRelation(utility, relation);
  if (policies) policies->push_back(std::move(policy));
  return nullptr;
}

// candidates: what is left to be absorbed; a decision takes those along that only it bears on.
Failure AbsorbOne(node_bn node, Vector<Policy>* policies, Vector<Candidate>& candidates, LongWork& work) {
  net_bn net = node->innet;
  UndoGroup group(UNDO_ABSORB, net);
  if (node->kind != DECISION_NODE) return AbsorbNature(node, work);
  if (HasStateFinding(*node)) return RemoveWithSlice(node);
  node_bn utility = UtilityToMaximize(node, nullptr);
  if (Failure failure = RemoveBarrenDescendants(node, candidates)) return failure;
  if (Failure failure = MaximizeDecision(node, utility, policies, work)) return failure;
  // Its choice is known now, so nothing but barren nodes can ask for it.
  DisconnectChildren(node);  // barren ones that stay keep a placeholder
  node_bn nodes[] = {node};
  return RemoveNodesFromNet(net, nodes, {});
}

// The reason is that of the first that is left, found anew.
Failure NoneCanBeAbsorbed(node_bn node) {
  char reason[REASON_LEN] = "";
  if (node->kind == DECISION_NODE) {
    UtilityToMaximize(node, reason);
    return Fail(CANT_ABSORB_DECISION, node->name, reason);
  }
  if (node->kind == NATURE_NODE) {
    CanAbsorbNature(node, reason);
  } else {
    FormatText(reason, sizeof reason, "'%s' is not a nature node", node->name);
  }
  return Fail(CANT_ABSORB_NATURE, node->name, reason);
}

}  // namespace

Failure AbsorbNodes(net_bn net, std::span<const node_bn> nodes, Vector<Policy>* policies, LongWork& work) {
  constexpr double CANDIDATE_WORK = 100;  // nanoseconds, about, to find the cost of one
  UndoGroup group(UNDO_GROUP, net);
  OrderedNodes(net);
  Vector<Candidate> candidates;
  for (node_bn node : nodes) {
    if (node->kind != UTILITY_NODE && node->kind != ASSUME_NODE) candidates.push_back({node, 0});
  }
  std::sort(candidates.begin(), candidates.end(),
            [](const Candidate& x, const Candidate& y) { return x.node->index < y.node->index; });
  for (int i = 0; i < candidates.size(); ++i) candidates[i].position = i;

  const double numnodes = candidates.size();
  while (!candidates.empty()) {
    // A choice looks at all that is left, and each of these at its neighbours.
    if (work.Halts(CANDIDATE_WORK * candidates.size())) return FailHalted();
    work.SetShare(1 - candidates.size() / numnodes);
    const int next = ChooseNext(candidates, net->nodes.num);
    if (next < 0) return NoneCanBeAbsorbed(candidates[0].node);
    node_bn node = candidates[next].node;
    TakeOut(candidates, next);
    // The record of a removed node may go with the undo record, so its name is kept for the message.
    char name[MAX_ERR_LEN / 2];
    FormatText(name, sizeof name, "%s", node->name);
    if (Failure failure = AbsorbOne(node, policies, candidates, work)) {
      if (failure->number == HALTED.number) return failure;
      const char* reason = failure->mesg;
      return Rephrase(std::move(failure), AROUND_ABSORBING, name, reason);
    }
  }
  return nullptr;
}

}  // namespace bravic

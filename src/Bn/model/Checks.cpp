#include "Bn/model/Checks.h"

#include <algorithm>

#include "Basic/Text.h"
#include "Bn/model/Condition.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/TableForms.h"
#include "Bn/model/Tables.h"

namespace bravic {
namespace {

const char* Name(const bnode* node) {
  return OrEmpty(node->name);
}

// Whether the node is of a kind that is compiled, and has every parent, each once.
Failure CheckParents(node_bn node) {
  if (node->kind != NATURE_NODE && node->kind != DECISION_NODE && node->kind != UTILITY_NODE) {
    return Fail(KIND_NOT_COMPILED, Name(node));
  }
  const int mark = NewMark();
  for (node_bn parent : Entries(node->preds)) {
    if (IsStub(*parent)) return Fail(LINK_DISCONNECTED, Name(node));
  }
  for (node_bn parent : Entries(node->preds)) {
    if (parent->mark == mark) {
      return Fail(LINKED_TWICE, Name(node));
    }
    parent->mark = mark;
  }
  return nullptr;
}

// Whether the nodes hold all parents of each of them.
Failure CheckClosed(std::span<const node_bn> nodes) {
  const int mark = NewMark();
  for (node_bn node : nodes) node->mark = mark;
  for (node_bn node : nodes) {
    for (node_bn parent : Entries(node->preds)) {
      if (parent->mark == mark) continue;
      return Fail(PARENT_NOT_INCLUDED, Name(parent), Name(node));
    }
  }
  return nullptr;
}

// Depth first towards the parents; a parent that is still open closes a cycle. No link is time-delayed.
Failure CheckAcyclic(std::span<const node_bn> nodes) {
  struct Visit {
    node_bn node;
    int next;  // parent to be looked at
  };
  const int open = NewMark(), done = NewMark();
  Vector<Visit> stack;
  for (node_bn start : nodes) {
    if (start->mark == done) continue;
    start->mark = open;
    stack.push_back({start, 0});
    while (!stack.empty()) {
      Visit& top = stack.back();
      if (top.next == top.node->preds.num) {
        top.node->mark = done;
        stack.pop_back();
        continue;
      }
      node_bn parent = top.node->preds.ar[top.next++];
      if (parent->mark == open) {
        return Fail(NET_HAS_CYCLE, Name(parent), Name(top.node));
      }
      if (parent->mark == done) continue;
      parent->mark = open;
      stack.push_back({parent, 0});
    }
  }
  return nullptr;
}

Failure IncompleteTable(node_bn node, long long missingRow) {
  if (missingRow < 0) return Fail(TABLE_MISSING, Name(node));
  auto states = MakeBlock<statetype>(node->preds.num);
  RowStates(*node, missingRow, states.get());
  char condition[320];
  ConditionText(*node, states.get(), condition, sizeof condition);
  return Fail(TABLE_INCOMPLETE, Name(node), node->preds.num ? condition : "its only row");
}

// Utilities add up, so that one with utilities among its parents, drawn as their sum, needs no table.
bool HasUtilityParent(const bnode& node) {
  const auto parents = Entries(node.preds);
  return std::any_of(parents.begin(), parents.end(), [](node_bn parent) { return parent->kind == UTILITY_NODE; });
}

Failure CheckTable(node_bn node, Purpose purpose) {
  if (purpose == Purpose::Compile) {
    if (node->kind == DECISION_NODE) return Fail(COMPILING_DECISION_NODE, Name(node));
    if (node->kind == UTILITY_NODE) return Fail(COMPILING_UTILITY_NODE, Name(node));
  }
  if (node->kind == UTILITY_NODE) {
    if (node->determinv || HasUtilityParent(*node)) return nullptr;
    return Fail(NO_UTILITY_TABLE, Name(node));
  }
  if (node->kind == DECISION_NODE) return nullptr;
  long long missingRow = -1;
  if (node->numstates > 0 && IsRelationComplete(node, &missingRow)) return nullptr;
  return IncompleteTable(node, missingRow);
}

}  // namespace

Failure CheckFitness(std::span<const node_bn> nodes, Purpose purpose, Extent extent) {
  for (node_bn node : nodes) {
    if (Failure failure = CheckParents(node)) return failure;
  }
  if (Failure failure = CheckClosed(nodes)) return failure;
  if (Failure failure = CheckAcyclic(nodes)) return failure;
  if (extent == Extent::Structure) return nullptr;
  for (node_bn node : nodes) {
    if (Failure failure = CheckTable(node, purpose)) return failure;
  }
  return nullptr;
}

Failure CheckReadiness(std::span<const node_bn> nodes, Purpose purpose, Extent extent, net_bn net) {
  Failure failure = CheckFitness(nodes, purpose, extent);
  if (!failure) return nullptr;
  const char* reason = failure->mesg;
  return Rephrase(std::move(failure), AROUND_CHECK_OF_NET, purpose == Purpose::Compile ? "compile" : "optimize",
                  OrEmpty(net->name), reason);
}

}  // namespace bravic

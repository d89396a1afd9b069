#include "Bn/model/Consistency.h"

#include <algorithm>

#include "Basic/Text.h"
#include "Bn/model/Fields.h"
#include "Bn/model/Members.h"
#include "Bn/model/NodeNames.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/Tables.h"

namespace bravic {
namespace {

bool HoldsEntries(const void* block, long long count, std::size_t size) {
  return !block || (IsLiveBlock(block) && count >= 0 &&
                    BlockSize(block) / size >= static_cast<std::size_t>(std::max(count, 0LL)));
}

// Whether the list has the block for its nodes, and for those that stand behind them. Nothing else is read of one that
// has not.
bool IsWhole(const nodelist_rec& list, int numBehind) {
  const long long count = list.num + static_cast<long long>(numBehind);
  return list.num >= 0 && (list.ar || count == 0) && HoldsEntries(list.ar, count, sizeof(node_bn));
}

bool HasWholeParents(const bnode& node) {
  return IsWhole(node.preds, 1);
}

// Ranges of the fields that are numbers, for a message of the kind that names field and bounds.
Failure CheckRange(const bnode& node, NodeField field, int value, int last) {
  if (0 <= value && value <= last) return nullptr;
  if (value < 0) {
    return Fail(NODE_FIELD_TOO_SMALL, FieldName(field), OrEmpty(node.name), value, 0);
  }
  return Fail(NODE_FIELD_TOO_LARGE, FieldName(field), OrEmpty(node.name), value, last);
}

Failure CheckNumbers(const bnode& node) {
  if (Failure failure = CheckRange(node, NODE_KIND, node.kind, NUM_KINDS - 1)) return failure;
  if (Failure failure = CheckRange(node, NODE_DISCRETE, node.discrete, NUM_DISCRETES - 1)) return failure;
  if (Failure failure = CheckRange(node, NODE_MEASURE, node.measure, NUM_MEASURES - 1)) return failure;
  if (Failure failure = CheckRange(node, NODE_CHANCE, node.chance, NUM_CHANCES - 1)) return failure;
  constexpr int MAX_STATES = std::numeric_limits<int>::max();
  return CheckRange(node, NODE_NUMSTATES, node.numstates, MAX_STATES);
}

bool IsNodeOrStub(const void* record) {
  return record && (TagOf(record) == BNODE_TAG || TagOf(record) == STUB_TAG);
}

Failure MissingAmongChildren(const bnode& node) {
  return Fail(NOT_AMONG_PARENTS_CHILDREN, OrEmpty(node.name));
}

// inNet: the whole net is checked, its parents' children by CheckChildren.
Failure CheckLinks(node_bn node, bool inNet) {
  if (!HasWholeParents(*node)) return Fail(PARENT_LIST_TOO_SHORT, OrEmpty(node->name));
  if (node->preds.ar[node->preds.num] != node) {
    return Fail(NODE_NOT_AFTER_PARENTS, OrEmpty(node->name));
  }
  for (node_bn parent : Entries(node->preds)) {
    if (!IsNodeOrStub(parent)) return Fail(PARENT_DAMAGED, OrEmpty(node->name));
    if (parent->innet != node->innet) return Fail(PARENT_IN_ANOTHER_NET, OrEmpty(node->name));
    if (inNet || TagOf(node) != BNODE_TAG || TagOf(parent) != BNODE_TAG) continue;
    if (!IsWhole(parent->succs, 0)) return Fail(PARENT_DAMAGED, OrEmpty(node->name));
    if (IndexIn(parent->succs, node) < 0) return MissingAmongChildren(*node);
  }
  if (!IsWhole(node->succs, 0)) return Fail(CHILD_LIST_TOO_SHORT, OrEmpty(node->name));
  if (IsStub(*node) && node->succs.num > 0) {
    return Fail(PLACEHOLDER_WITH_CHILDREN, OrEmpty(node->name));
  }
  const int mark = NewMark();
  for (node_bn child : Entries(node->succs)) {
    if (!child || TagOf(child) != BNODE_TAG || !HasWholeParents(*child)) {
      return Fail(CHILD_DAMAGED, OrEmpty(node->name));
    }
    if (IndexIn(child->preds, node) < 0) {
      return Fail(NOT_AMONG_CHILDS_PARENTS, OrEmpty(node->name));
    }
    if (child->mark == mark) return Fail(CHILD_LISTED_TWICE, OrEmpty(node->name));
    child->mark = mark;
  }
  return nullptr;
}

Failure CheckArrays(const bnode& node) {
  const long long n = node.numstates, rows = NumRows(node);
  const long long numlevels = node.discrete == DISCRETE ? n : std::max(n + 1, 2LL);
  struct Array {
    const void* block;
    long long count;
    std::size_t size;
    const char* fault;
  };
  // Of a table with more rows than can be counted there is no block to be had.
  const long long entries = rows < 0 || (n > 0 && rows > std::numeric_limits<long long>::max() / n) ? -1 : rows * n;
  const Array arrays[] = {
      {node.states, n, sizeof(char*), "its state names are fewer than its states"},
      {node.levels, numlevels, sizeof(double), "its levels are too few for its states"},
      {node.inputs, node.preds.num, sizeof(char*), "its link names are fewer than its parents"},
      {node.probs, entries, sizeof(float), "its probability table is too small for its parents and states"},
      {node.numcases, rows, sizeof(float), "its experience table is too small for its parents"},
      {node.determin, rows, sizeof(statetype), "its table of function states is too small for its parents"},
      {node.determinv, rows, sizeof(float), "its table of function values is too small for its parents"},
      {node.likelihood, n, sizeof(float), "its likelihood finding is too short for its states"},
      {node.belief, n, sizeof(float), "its belief vector is too short for its states"},
  };
  for (const Array& array : arrays) {
    if (!HoldsEntries(array.block, array.count, array.size))
      return Fail(NODE_ARRAY_TOO_SHORT, OrEmpty(node.name), array.fault);
  }
  return nullptr;
}

Failure CheckFindings(const bnode& node) {
  if (node.likelihood && node.evidence != UNDEF_STATE) {
    return Fail(TWO_FINDINGS_AT_NODE, OrEmpty(node.name));
  }
  if (node.evidence != UNDEF_STATE && (node.evidence < 0 || node.evidence >= node.numstates)) {
    return Fail(STATE_FINDING_NO_STATE, OrEmpty(node.name));
  }
  return nullptr;
}

Failure CheckNodeRecord(node_bn node, bool inNet) {
  char reason[NAME_REASON_LEN];
  if (CheckNameText(node->name, reason)) return Fail(NODE_NAME_DAMAGED, OrEmpty(node->name));
  if (Failure failure = CheckNumbers(*node)) return failure;
  if (Failure failure = CheckLinks(node, inNet)) return failure;
  if (Failure failure = CheckArrays(*node)) return failure;
  return CheckFindings(*node);
}

Failure CheckMembers(net_bn net, const nodelist_rec& list, Tag tag) {
  if (!IsWhole(list, 0)) return Fail(LIST_OF_NODES_TOO_SHORT, OrEmpty(net->name));
  for (node_bn node : Entries(list)) {
    if (!node || TagOf(node) != tag) return Fail(NODE_OF_NET_DAMAGED, OrEmpty(net->name));
    if (node->innet != net) return Fail(NODE_OF_ANOTHER_NET, OrEmpty(net->name));
    if (Failure failure = CheckNodeRecord(node, true)) return failure;
    if (tag == BNODE_TAG && FindNode(net, node->name) != node) {
      return Fail(NODE_NOT_FOUND_BY_NAME, OrEmpty(node->name));
    }
  }
  return nullptr;
}

// Every node is among the children of its parents. All that are there belong there, each once, so that it is enough to
// count them.
Failure CheckChildren(net_bn net) {
  for (node_bn node : net->nodes) node->scratch = 0;
  for (node_bn node : net->nodes) {
    const int mark = NewMark();
    for (node_bn parent : Entries(node->preds)) {
      if (parent->mark != mark) ++parent->scratch;
      parent->mark = mark;
    }
  }
  const auto lacksOne = [](node_bn parent) {
    return TagOf(parent) == BNODE_TAG && parent->scratch != parent->succs.num;
  };
  if (std::none_of(net->nodes.begin(), net->nodes.end(), lacksOne)) return nullptr;
  for (node_bn node : net->nodes) {
    for (node_bn parent : Entries(node->preds)) {
      if (lacksOne(parent) && IndexIn(parent->succs, node) < 0) return MissingAmongChildren(*node);
    }
  }
  return nullptr;
}

// There need not be any.
Failure CheckElimOrder(net_bn net) {
  const nodelist_rec& order = net->elimorder;
  const auto isOwn = [&](node_bn node) { return node && TagOf(node) == BNODE_TAG && node->innet == net; };
  if ((order.num < 0 || IsWhole(order, 0)) && std::all_of(order.begin(), order.end(), isOwn)) return nullptr;
  return Fail(STRANGER_IN_ELIM_ORDER, OrEmpty(net->name));
}

Failure CheckCounts(net_bn net) {
  int numEvidence = 0, numLikelihood = 0;
  for (node_bn node : Entries(net->nodes)) {
    if (node->evidence != UNDEF_STATE || node->value != UNDEF_DBL) ++numEvidence;
    if (node->likelihood) ++numLikelihood;
  }
  if (numEvidence == net->numEvidence && numLikelihood == net->numLikelihood) return nullptr;
  return Fail(FINDING_COUNTS_DAMAGED, OrEmpty(net->name));
}

}  // namespace

Failure CheckNodeConsistency(node_bn node) {
  if (!IsNodeOrStub(node)) return Fail(DAMAGED_NODE);
  if (node->innet && TagOf(node->innet) != BNET_TAG) {
    return Fail(NET_OF_NODE_DAMAGED, OrEmpty(node->name));
  }
  return CheckNodeRecord(node, false);
}

Failure CheckNetConsistency(net_bn net) {
  if (!net || TagOf(net) != BNET_TAG) return Fail(DAMAGED_NET);
  char reason[NAME_REASON_LEN];
  if (CheckNameText(net->name, reason)) return Fail(NET_NAME_DAMAGED, OrEmpty(net->name));
  CloseUp(net);
  if (net->findmpe < 0 || net->findmpe > 1 || net->autoupdate < 0 || net->autoupdate > 1) {
    return Fail(NET_FLAG_DAMAGED, OrEmpty(net->name));
  }
  if (Failure failure = CheckMembers(net, net->nodes, BNODE_TAG)) return failure;
  if (Failure failure = CheckMembers(net, net->stubs, STUB_TAG)) return failure;
  if (Failure failure = CheckChildren(net)) return failure;
  if (Failure failure = CheckElimOrder(net)) return failure;
  return CheckCounts(net);
}

}  // namespace bravic

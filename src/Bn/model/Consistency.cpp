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

enum : int {
  BAD_ENUMERATION = -2300,
  BAD_NAME = -2301,
  BAD_PARENTS = -2302,
  BAD_CHILDREN = -2303,
  BAD_LENGTH = -2304,
  BAD_FINDING = -2305,
  BAD_NET = -2306,
  BAD_NODE_LIST = -2307,
  BAD_ELIM_ORDER = -2308,
};

Failure BadNode(int number, const bnode& node, const char* what) {
  return Fail(number, "node '%.40s' is damaged: %s", OrEmpty(node.name), what);
}

bool HoldsEntries(const void* block, long long count, std::size_t size) {
  return !block || (IsLiveBlock(block) && count >= 0 &&
                    BlockSize(block) / size >= static_cast<std::size_t>(std::max(count, 0LL)));
}

// Ranges of the fields that are numbers, for a message of the kind that names field and bounds.
Failure CheckRange(const bnode& node, NodeField field, int value, int last) {
  if (0 <= value && value <= last) return nullptr;
  if (value < 0) {
    return Fail(BAD_ENUMERATION, "`%s` of node '%.40s' is too small (= %d, but minimum is %d)", FieldName(field),
                OrEmpty(node.name), value, 0);
  }
  return Fail(BAD_ENUMERATION, "`%s` of node '%.40s' is too large (= %d, but maximum is %d)", FieldName(field),
              OrEmpty(node.name), value, last);
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
  return BadNode(BAD_PARENTS, node, "a parent doesn't have it among its children");
}

// inNet: the whole net is checked, its parents' children by CheckChildren.
Failure CheckLinks(node_bn node, bool inNet) {
  if (node->preds.num < 0 || !node->preds.ar || !HoldsEntries(node->preds.ar, node->preds.num + 1LL, sizeof(node_bn))) {
    return BadNode(BAD_PARENTS, *node, "its list of parents is too short");
  }
  if (node->preds.ar[node->preds.num] != node) {
    return BadNode(BAD_PARENTS, *node, "it doesn't follow its parents");
  }
  for (node_bn parent : Entries(node->preds)) {
    if (!IsNodeOrStub(parent)) return BadNode(BAD_PARENTS, *node, "a parent is damaged or freed");
    if (parent->innet != node->innet) return BadNode(BAD_PARENTS, *node, "a parent is in another net");
    if (inNet || TagOf(node) != BNODE_TAG || TagOf(parent) != BNODE_TAG) continue;
    if (IndexIn(parent->succs, node) < 0) return MissingAmongChildren(*node);
  }
  if (node->succs.num < 0 || !HoldsEntries(node->succs.ar, node->succs.num, sizeof(node_bn))) {
    return BadNode(BAD_CHILDREN, *node, "its list of children is too short");
  }
  if (IsStub(*node) && node->succs.num > 0) {
    return BadNode(BAD_CHILDREN, *node, "a placeholder has children");
  }
  const int mark = NewMark();
  for (node_bn child : Entries(node->succs)) {
    if (!child || TagOf(child) != BNODE_TAG) return BadNode(BAD_CHILDREN, *node, "a child is damaged or freed");
    if (IndexIn(child->preds, node) < 0) {
      return BadNode(BAD_CHILDREN, *node, "a child doesn't have it among its parents");
    }
    if (child->mark == mark) return BadNode(BAD_CHILDREN, *node, "a child is listed twice");
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
    if (!HoldsEntries(array.block, array.count, array.size)) return BadNode(BAD_LENGTH, node, array.fault);
  }
  return nullptr;
}

Failure CheckFindings(const bnode& node) {
  if (node.likelihood && node.evidence != UNDEF_STATE) {
    return BadNode(BAD_FINDING, node, "it has a state finding beside a likelihood finding");
  }
  if (node.evidence != UNDEF_STATE && (node.evidence < 0 || node.evidence >= node.numstates)) {
    return BadNode(BAD_FINDING, node, "its state finding is none of its states");
  }
  return nullptr;
}

Failure CheckNode(node_bn node, bool inNet) {
  char reason[NAME_REASON_LEN];
  if (CheckNameText(node->name, reason)) return BadNode(BAD_NAME, *node, "its name is not legal");
  if (Failure failure = CheckNumbers(*node)) return failure;
  if (Failure failure = CheckLinks(node, inNet)) return failure;
  if (Failure failure = CheckArrays(*node)) return failure;
  return CheckFindings(*node);
}

Failure BadNet(int number, const bnet& net, const char* what) {
  return Fail(number, "net '%.40s' is damaged: %s", OrEmpty(net.name), what);
}

Failure CheckMembers(net_bn net, const nodelist_rec& list, Tag tag) {
  if (list.num < 0 || !HoldsEntries(list.ar, list.num, sizeof(node_bn))) {
    return BadNet(BAD_NODE_LIST, *net, "its list of nodes is too short");
  }
  for (node_bn node : Entries(list)) {
    if (!node || TagOf(node) != tag) return BadNet(BAD_NODE_LIST, *net, "one of its nodes is damaged or freed");
    if (node->innet != net) return BadNet(BAD_NODE_LIST, *net, "one of its nodes is in another net");
    if (Failure failure = CheckNode(node, true)) return failure;
    if (tag == BNODE_TAG && FindNode(net, node->name) != node) {
      return BadNode(BAD_NAME, *node, "its net doesn't find it by its name");
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

Failure CheckCounts(net_bn net) {
  int numEvidence = 0, numLikelihood = 0;
  for (node_bn node : Entries(net->nodes)) {
    if (node->evidence != UNDEF_STATE || node->value != UNDEF_DBL) numEvidence++;
    if (node->likelihood) numLikelihood++;
  }
  if (numEvidence == net->numEvidence && numLikelihood == net->numLikelihood) return nullptr;
  return BadNet(BAD_FINDING, *net, "its counts of findings don't fit its nodes");
}

}  // namespace

Failure CheckNodeConsistency(node_bn node) {
  if (!IsNodeOrStub(node)) return Fail(-5144, "damaged or freed node_bn passed");
  if (node->innet && TagOf(node->innet) != BNET_TAG) {
    return BadNode(BAD_NET, *node, "its net is damaged or freed");
  }
  return CheckNode(node, false);
}

Failure CheckNetConsistency(net_bn net) {
  if (!net || TagOf(net) != BNET_TAG) return Fail(-5143, "damaged or freed net_bn passed");
  char reason[NAME_REASON_LEN];
  if (CheckNameText(net->name, reason)) return BadNet(BAD_NAME, *net, "its name is not legal");
  CloseUp(net);
  if (net->findmpe < 0 || net->findmpe > 1 || net->autoupdate < 0 || net->autoupdate > 1) {
    return BadNet(BAD_ENUMERATION, *net, "a flag is neither 0 nor 1");
  }
  if (Failure failure = CheckMembers(net, net->nodes, BNODE_TAG)) return failure;
  if (Failure failure = CheckMembers(net, net->stubs, STUB_TAG)) return failure;
  if (Failure failure = CheckChildren(net)) return failure;
  for (node_bn node : Entries(net->elimorder)) {
    if (!node || TagOf(node) != BNODE_TAG || node->innet != net) {
      return BadNet(BAD_ELIM_ORDER, *net, "its elimination order has a node that isn't its own");
    }
  }
  return CheckCounts(net);
}

}  // namespace bravic

#include "Bravic/NetCall.h"

#include "Basic/Text.h"
#include "Basic/TypedObject.h"
#include "Bn/model/Consistency.h"
#include "Bn/model/Members.h"
#include "Bn/model/NodeNames.h"
#include "Bn/model/NodeOrder.h"

namespace bravic {
namespace {

bool Passes(Failure failure) {
  if (!failure) return true;
  Post(std::move(failure));
  return false;
}

// net: of the entries before; the first entry decides it.
bool CheckEntry(const nodelist_rec& list, int index, net_bn* net, bool allowNull) {
  node_bn node = list.ar[index];
  if (!node) {
    if (allowNull) return true;
    Report(NULL_IN_LIST, index);
    return false;
  }
  if (!IsPresentNode(node)) {
    char ordinal[24];
    Report(DAMAGED_NODE_IN_LIST, Ordinal(index, ordinal));
    return false;
  }
  if (!*net) *net = node->innet;
  if (node->innet != *net) {
    Report(LIST_OF_TWO_NETS, (*net)->name, node->innet->name);
    return false;
  }
  return true;
}

bool CheckEntries(const nodelist_rec& list, bool allowNulls, net_bn* net) {
  for (int i = 0; i < list.num; ++i) {
    if (!CheckEntry(list, i, net, allowNulls)) return false;
  }
  return true;
}

// In one walk: every node seen bears a mark that no other walk has written.
bool CheckDistinct(const nodelist_rec& list) {
  const int mark = NewMark();
  for (node_bn node : list) {
    if (!node) continue;
    if (node->mark == mark) {
      Report(DUPLICATE_IN_LIST, node->name);
      return false;
    }
    node->mark = mark;
  }
  return true;
}

// An entry of a vector of parent states that is not allowed there.
struct StateFault {
  const bnode& child;
  const bnode& parent;
  statetype state;
  int position;
};

bool Refuse(ErrorFor<const char*, int, const char*, int> error, const StateFault& fault) {
  Report(error, fault.child.name, fault.state, fault.parent.name, fault.position);
  return false;
}

}  // namespace

bool NetCall::CheckNet(net_bn net) {
  if (IsRefused()) return false;
  if (Basic() && !net) {
    Report(NULL_NET);
    return false;
  }
  if (Basic() && !IsRecord(net, BNET_TAG)) {
    Report(DAMAGED_NET);
    return false;
  }
  if (net) CloseUp(net);
  if (!Basic()) return true;
  return !Deep() || Passes(CheckNetConsistency(net));
}

bool NetCall::CheckAnyNode(node_bn node) {
  if (IsRefused()) return false;
  if (!Basic()) return true;
  if (!node) {
    Report(NULL_NODE);
    return false;
  }
  if (!IsPresentNode(node)) {
    Report(DAMAGED_NODE);
    return false;
  }
  return !Deep() || Passes(CheckNodeConsistency(node));
}

bool NetCall::CheckNode(node_bn node) {
  if (!CheckAnyNode(node)) return false;
  if (!Basic() || !IsStub(*node)) return true;
  Report(PLACEHOLDER_FOR_NODE);
  return false;
}

bool NetCall::CheckList(nodelist_bn list, unsigned allow) {
  if (IsRefused()) return false;
  const ListPlace place = PlaceOf(list);
  if (place.owner == ListPlace::NET) CloseUp(place.net);
  if (!Basic()) return true;
  if (place.owner == ListPlace::NOWHERE) {
    Report(NULL_NODE_LIST);
    return false;
  }
  if (!Lists()) return true;
  if (list->num < 0) {
    Report(NEGATIVE_LIST_LENGTH, list->num);
    return false;
  }
  // Where NULLs are allowed, a host's list that has passed is not looked at again until something happens to it or to a
  // node in it, and a record's is right by itself.
  HostList* hosts = place.owner == ListPlace::HOST ? static_cast<HostList*>(list) : nullptr;
  if (!(allow & ALLOW_NULLS) || (hosts && !HasPassed(*hosts))) {
    net_bn net = nullptr;
    if (!CheckEntries(*list, allow & ALLOW_NULLS, &net)) return false;
    if (hosts) NotePassed(*hosts, net);
  }
  if (!(allow & ALLOW_DUPLICATES) && !CheckDistinct(*list)) return false;
  if (!Deep()) return true;
  for (node_bn node : *list) {
    if (node && !Passes(CheckNodeConsistency(node))) return false;
  }
  return true;
}

bool NetCall::CheckNameUnused(const char* name, net_bn net, node_bn except) {
  if (!Lists()) return true;
  if (!IsNameTaken(net, name) || (except && FindNode(net, name) == except)) return true;
  Report(NAME_ALREADY_USED, name, net->name);
  return false;
}

bool NetCall::CheckSameNet(node_bn parent, node_bn child) {
  if (!Basic() || parent->innet == child->innet) return true;
  Report(PARENTS_OF_ANOTHER_NET);
  return false;
}

bool NetCall::CheckState(node_bn node, statetype state) {
  if (!Basic() || (0 <= state && state < node->numstates)) return true;
  Report(STATE_OUT_OF_RANGE, state, node->name, node->numstates - 1);
  return false;
}

bool NetCall::CheckLevelIndex(node_bn node, int index) {
  const bool discrete = node->discrete == DISCRETE;
  const int last = discrete ? node->numstates - 1 : node->numstates;
  if (!Basic() || (0 <= index && index <= last)) return true;
  if (discrete) {
    Report(LEVEL_OF_DISCRETE_OUT_OF_RANGE, index, node->name, node->numstates, last);
  } else {
    Report(LEVEL_OF_CONTINUOUS_OUT_OF_RANGE, index, node->name, node->numstates, last);
  }
  return false;
}

bool NetCall::CheckLinkIndex(node_bn node, int index) {
  if (!Basic() || (0 <= index && index < node->preds.num)) return true;
  Report(LINK_OUT_OF_RANGE, index, node->name, node->preds.num, node->preds.num - 1);
  return false;
}

bool NetCall::CheckParentStates(node_bn node, const statetype* parentstates, unsigned allow) {
  const int num = node->preds.num;
  if (!Basic() || num == 0) return true;
  if (!parentstates) {
    Report(NULL_PARENT_STATES, node->name);
    return false;
  }
  for (int i = 0; Lists() && i < num; ++i) {
    const bnode& parent = *node->preds.ar[i];
    const statetype state = parentstates[i];
    if (parent.numstates == 0) {
      Report(PARENT_WITHOUT_STATES, node->name, parent.name);
      return false;
    }
    if (0 <= state && state < parent.numstates) continue;
    if (state == EVERY_STATE && (allow & ALLOW_WILDCARDS)) continue;
    if (state >= parent.numstates) {
      Report(PARENT_STATE_TOO_LARGE, node->name, state, i, parent.name, parent.numstates);
      return false;
    }
    const StateFault fault{*node, parent, state, i};
    if (state == UNDEF_STATE) return Refuse(UNDEFINED_PARENT_STATE, fault);
    if (state == IMPOS_STATE) return Refuse(IMPOSSIBLE_PARENT_STATE, fault);
    if (state == EVERY_STATE) return Refuse(WILDCARD_PARENT_STATE, fault);
    return Refuse(NEGATIVE_PARENT_STATE, fault);
  }
  return true;
}

}  // namespace bravic

#include "Bravic/NetCall.h"

#include "Basic/FieldChecks.h"
#include "Basic/Text.h"
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

bool CheckEntry(const nodelist_rec& list, int index, net_bn* net, bool allowNull) {
  node_bn node = list.ar[index];
  if (!node) {
    if (allowNull) return true;
    ReportError(-5120, "node list passed contains a NULL (entry %d)", index);
    return false;
  }
  if (!IsPresentNode(node)) {
    char ordinal[24];
    ReportError(-5145, "node list passed contains a damaged or freed node (the %s one)", Ordinal(index, ordinal));
    return false;
  }
  if (!*net) *net = node->innet;
  if (node->innet != *net) {
    ReportError(-5121, "node list passed contains nodes from 2 different nets ('%s' and '%s')", (*net)->name,
                node->innet->name);
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

bool CheckDistinct(const nodelist_rec& list) {
  const int mark = NewMark();
  for (node_bn node : list) {
    if (!node) continue;
    if (node->mark == mark) {
      ReportError(-5122, "node list passed contains duplicate '%s'", node->name);
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

bool Refuse(int number, const StateFault& fault, const char* what) {
  ReportError(number, "vector of states (for parents of '%s') contains %s (%d) for node '%s' at position %d",
              fault.child.name, what, fault.state, fault.parent.name, fault.position);
  return false;
}

}  // namespace

bool NetCall::CheckNet(net_bn net) {
  if (IsRefused()) return false;
  if (Basic() && !net) {
    ReportError(-5104, "NULL passed for net_bn");
    return false;
  }
  if (Basic() && !IsRecord(net, BNET_TAG)) {
    ReportError(-5143, "damaged or freed net_bn passed");
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
    ReportError(-5105, "NULL passed for node_bn");
    return false;
  }
  if (!IsPresentNode(node)) {
    ReportError(-5144, "damaged or freed node_bn passed");
    return false;
  }
  return !Deep() || Passes(CheckNodeConsistency(node));
}

bool NetCall::CheckNode(node_bn node) {
  if (!CheckAnyNode(node)) return false;
  if (!Basic() || !IsStub(*node)) return true;
  ReportError(-5138, "parent placeholder (disconnected) node passed for node_bn");
  return false;
}

bool NetCall::CheckList(nodelist_bn list, unsigned allow) {
  if (IsRefused()) return false;
  const ListPlace place = PlaceOf(list);
  if (place.owner == ListPlace::NET) CloseUp(place.net);
  if (!Basic()) return true;
  if (place.owner == ListPlace::NOWHERE) {
    ReportError(-5110, "NULL passed for the nodelist_bn");
    return false;
  }
  if (!Lists()) return true;
  if (list->num < 0) {
    ReportError(-5119, "node list passed has a negative number of nodes (%d)", list->num);
    return false;
  }
  // What a record holds is right by itself.
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
  ReportError(-5512, "name '%s' is already used by another node in net '%s'", name, net->name);
  return false;
}

bool NetCall::CheckSameNet(node_bn parent, node_bn child) {
  if (!Basic() || parent->innet == child->innet) return true;
  ReportError(-2016, "New parents are not a list of nodes from node's net");
  return false;
}

bool NetCall::CheckState(node_bn node, statetype state) {
  if (!Basic() || (0 <= state && state < node->numstates)) return true;
  ReportError(-5106, "passed state (=%d) for node '%s' is out of bounds (it must be between 0 and %d inclusive)", state,
              node->name, node->numstates - 1);
  return false;
}

bool NetCall::CheckLevelIndex(node_bn node, int index) {
  const bool discrete = node->discrete == DISCRETE;
  const int last = discrete ? node->numstates - 1 : node->numstates;
  if (!Basic() || (0 <= index && index <= last)) return true;
  if (discrete) {
    ReportError(-5107,
                "passed levels index (=%d) for node '%s' is out of bounds (discrete node has %d states, so it must be "
                "between 0 and %d inclusive)",
                index, node->name, node->numstates, last);
  } else {
    ReportError(-5108,
                "passed levels index (=%d) for node '%s' is out of bounds (continuous node has %d states, so it must "
                "be between 0 and %d inclusive)",
                index, node->name, node->numstates, last);
  }
  return false;
}

bool NetCall::CheckLinkIndex(node_bn node, int index) {
  if (!Basic() || (0 <= index && index < node->preds.num)) return true;
  ReportError(-5109,
              "passed parent_index (=%d) for node '%s' is out of bounds (node has %d parents, so it must be between 0 "
              "and %d inclusive)",
              index, node->name, node->preds.num, node->preds.num - 1);
  return false;
}

bool NetCall::CheckParentStates(node_bn node, const statetype* parentstates, unsigned allow) {
  const int num = node->preds.num;
  if (!Basic() || num == 0) return true;
  if (!parentstates) {
    ReportError(-5112, "NULL passed for the vector of parent states for node '%s'", node->name);
    return false;
  }
  for (int i = 0; Lists() && i < num; ++i) {
    const bnode& parent = *node->preds.ar[i];
    const statetype state = parentstates[i];
    if (parent.numstates == 0) {
      ReportError(-5123,
                  "can't use a vector of states for parents of '%s', because they contain node '%s' which is not "
                  "discrete or discretized",
                  node->name, parent.name);
      return false;
    }
    if (0 <= state && state < parent.numstates) continue;
    if (state == EVERY_STATE && (allow & ALLOW_WILDCARDS)) continue;
    if (state >= parent.numstates) {
      ReportError(-5131,
                  "vector of states (for parents of '%s') contains entry %d (at index %d), which is too large (node "
                  "'%s' has only %d states, and first state is 0)",
                  node->name, state, i, parent.name, parent.numstates);
      return false;
    }
    const StateFault fault{*node, parent, state, i};
    if (state == UNDEF_STATE) return Refuse(-5125, fault, "an undefined entry");
    if (state == IMPOS_STATE) return Refuse(-5127, fault, "an \"impossible condition\" indicator");
    if (state == EVERY_STATE) return Refuse(-5136, fault, "an \"wildcard\" indicator");
    return Refuse(-5129, fault, "a negative entry");
  }
  return true;
}

}  // namespace bravic

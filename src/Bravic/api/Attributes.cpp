// Attributes of nets and nodes: the getters, then the setters.
#include "Bn/model/Attributes.h"

#include <algorithm>
#include <cmath>

#include "Basic/Text.h"
#include "Bn/model/Levels.h"
#include "Bn/model/Members.h"
#include "Bn/model/NodeNames.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/Parents.h"
#include "Bn/model/Tables.h"
#include "Bravic/NetCall.h"

using namespace bravic;

namespace {

// Of user data.
bool CheckKindOfData(ErrorFor<int> error, int kind) {
  if (!ApiCall::Basic() || kind == 0) return true;
  Report(error, kind);
  return false;
}

// An order must hold every node of the net that takes part in compiling.
bool CheckElimOrder(net_bn net, nodelist_bn order) {
  if (!ApiCall::Basic()) return true;
  const int mark = NewMark();
  int num = 0;
  for (node_bn node : Entries(*order)) {
    if (!node || TagOf(node) != BNODE_TAG || node->innet != net) {
      Report(ORDER_HAS_STRANGER, node ? OrEmpty(node->name) : "", OrEmpty(net->name));
      return false;
    }
    if (node->mark == mark) {
      Report(DUPLICATE_IN_LIST, OrEmpty(node->name));
      return false;
    }
    node->mark = mark;
    if (node->kind != ASSUME_NODE) num++;
  }
  for (node_bn node : PresentNodes(net)) {
    if (node->mark == mark || node->kind == ASSUME_NODE) continue;
    Report(ORDER_LACKS_NODE, num, OrEmpty(net->name), OrEmpty(node->name));
    return false;
  }
  return true;
}

// Kinds that a host may give a node.
bool CheckKind(node_bn node, int kind) {
  if (!ApiCall::Basic()) return true;
  if (kind < 0 || kind > ADVERSARY_NODE) {
    Report(KIND_ARGUMENT_OUT_OF_RANGE, OrEmpty(node->name), kind, int{ADVERSARY_NODE});
    return false;
  }
  if (kind == DISCONNECT_NODE) {
    Report(KIND_DISCONNECT_NODE, OrEmpty(node->name));
    return false;
  }
  return true;
}

// Of a discrete node the number of states is settled when it is made.
bool CheckNumStates(node_bn node, int numstates) {
  if (!ApiCall::Basic()) return true;
  if (numstates < 0) {
    Report(NEGATIVE_NUMSTATES, OrEmpty(node->name), numstates);
    return false;
  }
  if (node->discrete == DISCRETE && numstates != node->numstates) {
    Report(STATES_OF_DISCRETE_FIXED, OrEmpty(node->name), node->numstates, numstates);
    return false;
  }
  return true;
}

// Levels are numbers, and those that bound intervals do not fall.
bool CheckLevels(node_bn node, int numstates, const double* levels) {
  if (!ApiCall::Basic() || !levels) return true;
  const bool discrete = node->discrete == DISCRETE;
  const long long n = discrete ? numstates : std::max(numstates, 1) + 1LL;
  for (long long i = 0; i < n; ++i) {
    if (std::isnan(levels[i])) {
      Report(LEVEL_NOT_A_NUMBER, OrEmpty(node->name), i);
      return false;
    }
    if (!discrete && i > 0 && levels[i] < levels[i - 1]) {
      Report(LEVELS_FALL, OrEmpty(node->name), i, levels[i], levels[i - 1]);
      return false;
    }
  }
  return true;
}

}  // namespace

environ_ns BRAVIC_CALL GetNetEnviron_bn(net_bn net) {
  NetCall call("GetNetEnviron_bn");
  if (!call.HasReserve() || !call.CheckNet(net)) return nullptr;
  return net->env;
}

const char* BRAVIC_CALL GetNetName_bn(net_bn net) {
  NetCall call("GetNetName_bn");
  if (!call.HasReserve() || !call.CheckNet(net)) return NO_TEXT;
  return OrEmpty(net->name);
}

nodelist_bn BRAVIC_CALL GetNetNodes_bn(net_bn net) {
  NetCall call("GetNetNodes_bn");
  if (!call.HasReserve() || !call.CheckNet(net)) return nullptr;
  OrderedNodes(net);
  return &net->nodes;
}

node_bn BRAVIC_CALL NodeNamed_bn(const char* name, net_bn net) {
  NetCall call("NodeNamed_bn");
  if (!call.HasReserve() || !call.CheckName(name) || !call.CheckNet(net)) return nullptr;
  return FindNode(net, name);
}

int BRAVIC_CALL GetNetAutoUpdate_bn(net_bn net) {
  NetCall call("GetNetAutoUpdate_bn");
  if (!call.HasReserve() || !call.CheckNet(net)) return 0;
  return net->autoupdate;
}

nodelist_bn BRAVIC_CALL GetNetElimOrder_bn(net_bn net) {
  NetCall call("GetNetElimOrder_bn");
  if (!call.HasReserve() || !call.CheckNet(net)) return nullptr;
  return net->elimorder.num >= 0 ? &net->elimorder : nullptr;
}

const char* BRAVIC_CALL GetNetTitle_bn(net_bn net) {
  NetCall call("GetNetTitle_bn");
  if (!call.HasReserve() || !call.CheckNet(net)) return NO_TEXT;
  return OrEmpty(net->title);
}

const char* BRAVIC_CALL GetNetComment_bn(net_bn net) {
  NetCall call("GetNetComment_bn");
  if (!call.HasReserve() || !call.CheckNet(net)) return NO_TEXT;
  return OrEmpty(net->comment);
}

void* BRAVIC_CALL GetNetUserData_bn(net_bn net, int kind) {
  NetCall call("GetNetUserData_bn");
  if (!call.HasReserve() || !call.CheckNet(net) || !CheckKindOfData(USER_KIND_OF_NET_READ, kind)) return nullptr;
  return net->user;
}

net_bn BRAVIC_CALL GetNodeNet_bn(node_bn node) {
  NetCall call("GetNodeNet_bn");
  if (!call.HasReserve() || !call.CheckAnyNode(node)) return nullptr;
  return node->innet;
}

const char* BRAVIC_CALL GetNodeName_bn(node_bn node) {
  NetCall call("GetNodeName_bn");
  if (!call.HasReserve() || !call.CheckAnyNode(node)) return NO_TEXT;
  return OrEmpty(node->name);
}

int BRAVIC_CALL GetNodeKind_bn(node_bn node) {
  NetCall call("GetNodeKind_bn");
  if (!call.HasReserve() || !call.CheckAnyNode(node)) return UNKNOWN_KIND;
  return node->kind;
}

int BRAVIC_CALL GetNodeDiscrete_bn(node_bn node) {
  NetCall call("GetNodeDiscrete_bn");
  if (!call.HasReserve() || !call.CheckAnyNode(node)) return 0;
  return node->discrete == DISCRETE;
}

int BRAVIC_CALL GetNodeNumberStates_bn(node_bn node) {
  NetCall call("GetNodeNumberStates_bn");
  if (!call.HasReserve() || !call.CheckAnyNode(node)) return 1;
  return node->numstates;
}

const char* BRAVIC_CALL GetNodeStateName_bn(node_bn node, statetype state) {
  NetCall call("GetNodeStateName_bn");
  if (!call.HasReserve() || !call.CheckAnyNode(node) || !call.CheckState(node, state)) return NO_TEXT;
  return node->states ? OrEmpty(node->states[state]) : "";
}

statetype BRAVIC_CALL StateNamed_bn(const char* name, node_bn node) {
  NetCall call("StateNamed_bn");
  if (!call.HasReserve() || !call.CheckName(name) || !call.CheckAnyNode(node)) return UNDEF_STATE;
  const statetype state = FindState(*node, name);
  if (state == UNDEF_STATE) Report(UNKNOWN_STATE_NAME, OrEmpty(node->name), name);
  return state;
}

double BRAVIC_CALL GetNodeLevel_bn(node_bn node, int index) {
  NetCall call("GetNodeLevel_bn");
  if (!call.HasReserve() || !call.CheckAnyNode(node) || !call.CheckLevelIndex(node, index)) return UNDEF_DBL;
  return node->levels ? node->levels[index] : UNDEF_DBL;
}

nodelist_bn BRAVIC_CALL GetNodeParents_bn(node_bn node) {
  NetCall call("GetNodeParents_bn");
  if (!call.HasReserve() || !call.CheckNode(node)) return nullptr;
  return &node->preds;
}

nodelist_bn BRAVIC_CALL GetNodeChildren_bn(node_bn node) {
  NetCall call("GetNodeChildren_bn");
  if (!call.HasReserve() || !call.CheckNode(node)) return nullptr;
  return &node->succs;
}

const char* BRAVIC_CALL GetLinkName_bn(node_bn node, int linkindex) {
  NetCall call("GetLinkName_bn");
  if (!call.HasReserve() || !call.CheckNode(node) || !call.CheckLinkIndex(node, linkindex)) return NO_TEXT;
  static char defaultName[40];  // of a placeholder's link; until the next call
  return LinkName(*node, linkindex, defaultName);
}

int BRAVIC_CALL LinkNamed_bn(const char* name, node_bn node) {
  NetCall call("LinkNamed_bn");
  if (!call.HasReserve() || !call.CheckName(name) || !call.CheckNode(node)) return -1;
  const int index = FindLink(*node, name);
  if (index < 0) Report(UNKNOWN_LINK_NAME, OrEmpty(node->name), name);
  return index;
}

int BRAVIC_CALL HasRelation_bn(node_bn node) {
  NetCall call("HasRelation_bn");
  if (!call.HasReserve() || !call.CheckNode(node)) return 0;
  return HasRelation(*node);
}

const char* BRAVIC_CALL GetNodeTitle_bn(node_bn node) {
  NetCall call("GetNodeTitle_bn");
  if (!call.HasReserve() || !call.CheckNode(node)) return NO_TEXT;
  return OrEmpty(node->title);
}

const char* BRAVIC_CALL GetNodeComment_bn(node_bn node) {
  NetCall call("GetNodeComment_bn");
  if (!call.HasReserve() || !call.CheckNode(node)) return NO_TEXT;
  return OrEmpty(node->comment);
}

void* BRAVIC_CALL GetNodeUserData_bn(node_bn node, int kind) {
  NetCall call("GetNodeUserData_bn");
  if (!call.HasReserve() || !call.CheckNode(node) || !CheckKindOfData(USER_KIND_OF_NODE_READ, kind)) return nullptr;
  return node->user;
}

int BRAVIC_CALL KeepNetOrder_bn(net_bn net) {
  NetCall call("KeepNetOrder_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net)) return -1;
  if (net->orderstate != ORDER_UNKNOWN) return 1;
  KeepPresentOrder(net);
  return 0;
}

int BRAVIC_CALL SetNetName_bn(net_bn net, const char* name) {
  NetCall call("SetNetName_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net) || !call.CheckNameGiven(name)) return -1;
  return SetNetName(net, name);
}

int BRAVIC_CALL SetNetAutoUpdate_bn(net_bn net, int autoupdate) {
  NetCall call("SetNetAutoUpdate_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net)) return -1;
  return SetNetAutoUpdate(net, autoupdate);
}

int BRAVIC_CALL SetNetElimOrder_bn(net_bn net, nodelist_bn order) {
  NetCall call("SetNetElimOrder_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net) || !call.CheckList(order, NetCall::ALLOW_NONE) ||
      !CheckElimOrder(net, order)) {
    return -1;
  }
  return SetNetElimOrder(net, order, OrderFrom::Host);
}

int BRAVIC_CALL SetNetTitle_bn(net_bn net, const char* title) {
  NetCall call("SetNetTitle_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net)) return -1;
  return SetNetTitle(net, title);
}

int BRAVIC_CALL SetNetComment_bn(net_bn net, const char* comment) {
  NetCall call("SetNetComment_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net)) return -1;
  return SetNetComment(net, comment);
}

int BRAVIC_CALL SetNetUserData_bn(net_bn net, int kind, void* data) {
  NetCall call("SetNetUserData_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net) || !CheckKindOfData(USER_KIND_OF_NET_SET, kind))
    return -1;
  return SetNetUser(net, data);
}

int BRAVIC_CALL SetNodeName_bn(node_bn node, const char* name) {
  NetCall call("SetNodeName_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node) || !call.CheckNameGiven(name)) return -1;
  return SetNodeName(node, name);
}

int BRAVIC_CALL SetNodeKind_bn(node_bn node, int kind) {
  NetCall call("SetNodeKind_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node) || !CheckKind(node, kind)) return -1;
  return SetKind(node, kind);
}

int BRAVIC_CALL SetNodeStateName_bn(node_bn node, statetype state, const char* name) {
  NetCall call("SetNodeStateName_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node) || !call.CheckState(node, state) ||
      !call.CheckNameGiven(name)) {
    return -1;
  }
  return SetStateName(node, state, name);
}

int BRAVIC_CALL SetNodeLevels_bn(node_bn node, int numstates, const double* levels) {
  NetCall call("SetNodeLevels_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node) || !CheckNumStates(node, numstates) ||
      !CheckLevels(node, numstates, levels)) {
    return -1;
  }
  return SetNodeLevels(node, numstates, levels);
}

int BRAVIC_CALL SetLinkName_bn(node_bn node, int linkindex, const char* name) {
  NetCall call("SetLinkName_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node) || !call.CheckLinkIndex(node, linkindex) ||
      !call.CheckNameGiven(name)) {
    return -1;
  }
  return SetLinkName(node, linkindex, name);
}

int BRAVIC_CALL SetNodeTitle_bn(node_bn node, const char* title) {
  NetCall call("SetNodeTitle_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node)) return -1;
  return SetNodeTitle(node, title);
}

int BRAVIC_CALL SetNodeComment_bn(node_bn node, const char* comment) {
  NetCall call("SetNodeComment_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node)) return -1;
  return SetNodeComment(node, comment);
}

int BRAVIC_CALL SetNodeUserData_bn(node_bn node, int kind, void* data) {
  NetCall call("SetNodeUserData_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node) || !CheckKindOfData(USER_KIND_OF_NODE_SET, kind))
    return -1;
  return SetNodeUser(node, data);
}

int BRAVIC_CALL SetNetFindMPE_bn(net_bn net, int findmpe) {
  NetCall call("SetNetFindMPE_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net)) return -1;
  return SetNetFindMPE(net, findmpe);
}

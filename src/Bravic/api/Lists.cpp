// Node lists. A failing call that answers a node or a place answers an error code in its stead, since NULL and 0 are
// good answers.
#include "Bn/model/Lists.h"

#include <climits>
#include <cstdint>

#include "Basic/Errors.h"
#include "Basic/Text.h"
#include "Bravic/NetCall.h"

using namespace bravic;

namespace {

constexpr int END_OF_LIST = INT_MAX;
// Every list function allows NULL entries and repeated nodes.
constexpr unsigned ANY_LIST = NetCall::ALLOW_NULLS | NetCall::ALLOW_DUPLICATES;

bool CheckFreeable(nodelist_bn list) {
  if (IsLiveBlock(list) ? TagOf(list) != NODELIST_TAG : static_cast<void*>(list) == currentEnviron) {
    ReportError(-5110, "NULL passed for the nodelist_bn");
    return false;
  }
  if (!IsLiveBlock(list) || (list->ar && !IsLiveBlock(list->ar))) {
    ReportError(-5562, "the passed node list should not be freed (or is already freed)");
    return false;
  }
  if (list->num < 0) {
    ReportError(-5561, "node list passed has a negative number of nodes (%d)", list->num);
    return false;
  }
  if (BlockSize(list) != sizeof(HostList) || BlockSize(list->ar) < list->num * sizeof(node_bn)) {
    ReportError(-5216, "the passed node list should not be freed (or is damaged)");
    return false;
  }
  return true;
}

// Whether the host may change the list, which has passed its checks.
bool CheckChangeable(nodelist_bn list) {
  const ListPlace place = PlaceOf(list);
  if (place.owner == ListPlace::HOST) return true;
  const bool isNets = place.owner == ListPlace::NET;
  ReportError(-2410, "the passed node list belongs to %s '%s'; copy it with DupNodeList_bn to change it",
              isNets ? "net" : "node",
              isNets       ? OrEmpty(place.net->name)
              : place.node ? OrEmpty(place.node->name)
                           : "");
  return false;
}

// The number of the error just reported, as an answer.
int ErrorCode() {
  report_ns newest = currentEnviron ? NewestRecord(currentEnviron) : nullptr;
  return newest ? newest->number : -1;
}

// NULL is a node that may well be added, so a failure answers its code in the handle.
node_bn ErrorCodeAsNode() {
  return reinterpret_cast<node_bn>(static_cast<std::intptr_t>(ErrorCode()));
}

}  // namespace

nodelist_bn BRAVIC_CALL NewNodeList_bn(int length, environ_ns env) {
  NetCall call("NewNodeList_bn");
  if (!call.HasReserve(-5134)) return nullptr;
  if (call.Basic() && length < 0) {
    ReportError(-5204, "argument 'length' is less than 0");
    return nullptr;
  }
  if (!call.CheckEnviron(env)) return nullptr;
  nodelist_bn list = NewList(length);
  if (!list) ReportError(-5205, "out of memory making list of length %d", length);
  return list;
}

node_bn BRAVIC_CALL AddNodeToList_bn(node_bn node, nodelist_bn nodes, int index) {
  NetCall call("AddNodeToList_bn");
  if (!call.HasReserve(-5135) || (node && !call.CheckNode(node)) || !call.CheckList(nodes, ANY_LIST) ||
      !CheckChangeable(nodes)) {
    return ErrorCodeAsNode();
  }
  if (index == END_OF_LIST) index = nodes->num;
  if (call.Basic() && index < 0) {
    ReportError(-5206, "argument 'index' is less than 0 (it is %d)", index);
    return ErrorCodeAsNode();
  }
  if (call.Basic() && index > nodes->num) {
    ReportError(-5207, "argument 'index' is more than the number of nodes (it is %d)", index);
    return ErrorCodeAsNode();
  }
  return InsertAt(static_cast<HostList&>(*nodes), node, index) ? node : ErrorCodeAsNode();
}

node_bn BRAVIC_CALL RemoveNthNode_bn(nodelist_bn nodes, int index) {
  NetCall call("RemoveNthNode_bn");
  if (!call.HasReserve(-5134) || !call.CheckList(nodes, ANY_LIST) || !CheckChangeable(nodes)) return nullptr;
  if (index == END_OF_LIST && nodes->num > 0) index = nodes->num - 1;
  if (call.Basic() && index < 0) {
    ReportError(-5209, "argument 'index' is less than 0 (it is %d)", index);
    return nullptr;
  }
  if (call.Basic() && index >= nodes->num) {
    ReportError(-5210, "argument 'index' is >= the number of nodes (it is %d)", index);
    return nullptr;
  }
  return TakeAt(static_cast<HostList&>(*nodes), index);
}

int BRAVIC_CALL LengthNodeList_bn(nodelist_bn nodes) {
  NetCall call("LengthNodeList_bn");
  if (!call.HasReserve(-5134)) return -1;
  if (!nodes) return 0;
  return call.CheckList(nodes, ANY_LIST) ? nodes->num : -1;
}

node_bn BRAVIC_CALL NthNode_bn(nodelist_bn nodes, int index) {
  NetCall call("NthNode_bn");
  if (!call.HasReserve(-5134) || !call.CheckList(nodes, ANY_LIST)) return nullptr;
  if (call.Basic() && index < 0) {
    ReportError(-5211, "argument 'index' is less than 0 (it is %d)", index);
    return nullptr;
  }
  if (call.Basic() && index >= nodes->num) {
    ReportError(-5212, "argument 'index' (%d) is >= the number of nodes (%d)", index, nodes->num);
    return nullptr;
  }
  return nodes->ar[index];
}

int BRAVIC_CALL SetNthNode_bn(nodelist_bn nodes, int index, node_bn node) {
  NetCall call("SetNthNode_bn");
  if (!call.HasReserve(-5135) || !call.CheckList(nodes, ANY_LIST) || !CheckChangeable(nodes)) return ErrorCode();
  if (call.Basic() && index < 0) {
    ReportError(-5213, "argument 'index' is less than 0 (it is %d)", index);
    return ErrorCode();
  }
  if (call.Basic() && index >= nodes->num) {
    ReportError(-5214, "argument 'index' is >= the number of nodes (it is %d)", index);
    return ErrorCode();
  }
  PutAt(static_cast<HostList&>(*nodes), index, node);
  return index;
}

nodelist_bn BRAVIC_CALL DupNodeList_bn(nodelist_bn nodes) {
  NetCall call("DupNodeList_bn");
  if (!call.HasReserve(-5134) || !nodes || !call.CheckList(nodes, ANY_LIST)) return nullptr;
  nodelist_bn list = DupList(*nodes);
  if (!list) ReportError(-5215, "out of memory duplicating list of length %d", nodes->num);
  return list;
}

void BRAVIC_CALL FreeNodeList_bn(nodelist_bn nodes) {
  NetCall call("FreeNodeList_bn");
  if (!nodes || call.IsRefused() || (call.Basic() && !CheckFreeable(nodes))) return;
  FreeList(nodes);
}

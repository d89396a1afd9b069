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

// Whether the list is a host's own, as far as that can be told of one that may be damaged.
bool CheckFreeable(nodelist_bn list) {
  if (IsLiveBlock(list) ? TagOf(list) != NODELIST_TAG : static_cast<void*>(list) == currentEnviron) {
    Report(NULL_NODE_LIST);
    return false;
  }
  if (!IsLiveBlock(list) || (list->ar && !IsLiveBlock(list->ar))) {
    Report(LIST_NOT_TO_BE_FREED);
    return false;
  }
  if (list->num < 0) {
    Report(NEGATIVE_LENGTH_TO_FREE, list->num);
    return false;
  }
  if (BlockSize(list) != sizeof(HostList) || BlockSize(list->ar) < list->num * sizeof(node_bn)) {
    Report(DAMAGED_LIST_TO_FREE);
    return false;
  }
  return true;
}

// Whether the host may change the list, which has passed its checks.
bool CheckChangeable(nodelist_bn list) {
  const ListPlace place = PlaceOf(list);
  if (place.owner == ListPlace::HOST) return true;
  const bool isNets = place.owner == ListPlace::NET;
  Report(LIST_NOT_YOURS, isNets ? "net" : "node",
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
  if (!call.HasReserve()) return nullptr;
  if (call.Basic() && length < 0) {
    Report(NEGATIVE_NEW_LENGTH);
    return nullptr;
  }
  if (!call.CheckEnviron(env)) return nullptr;
  nodelist_bn list = NewList(length);
  if (!list) Report(NO_MEMORY_FOR_LIST, length);
  return list;
}

node_bn BRAVIC_CALL AddNodeToList_bn(node_bn node, nodelist_bn nodes, int index) {
  NetCall call("AddNodeToList_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || (node && !call.CheckNode(node)) || !call.CheckList(nodes, ANY_LIST) ||
      !CheckChangeable(nodes)) {
    return ErrorCodeAsNode();
  }
  if (index == END_OF_LIST) index = nodes->num;
  if (call.Basic() && index < 0) {
    Report(NEGATIVE_INDEX_TO_ADD, index);
    return ErrorCodeAsNode();
  }
  if (call.Basic() && index > nodes->num) {
    Report(INDEX_TO_ADD_TOO_LARGE, index);
    return ErrorCodeAsNode();
  }
  return InsertAt(static_cast<HostList&>(*nodes), node, index) ? node : ErrorCodeAsNode();
}

node_bn BRAVIC_CALL RemoveNthNode_bn(nodelist_bn nodes, int index) {
  NetCall call("RemoveNthNode_bn");
  if (!call.HasReserve() || !call.CheckList(nodes, ANY_LIST) || !CheckChangeable(nodes)) return nullptr;
  if (index == END_OF_LIST && nodes->num > 0) index = nodes->num - 1;
  if (call.Basic() && index < 0) {
    Report(NEGATIVE_INDEX_TO_REMOVE, index);
    return nullptr;
  }
  if (call.Basic() && index >= nodes->num) {
    Report(INDEX_TO_REMOVE_TOO_LARGE, index);
    return nullptr;
  }
  return TakeAt(static_cast<HostList&>(*nodes), index);
}

int BRAVIC_CALL LengthNodeList_bn(nodelist_bn nodes) {
  NetCall call("LengthNodeList_bn");
  if (!call.HasReserve()) return -1;
  if (!nodes) return 0;
  return call.CheckList(nodes, ANY_LIST) ? nodes->num : -1;
}

node_bn BRAVIC_CALL NthNode_bn(nodelist_bn nodes, int index) {
  NetCall call("NthNode_bn");
  if (!call.HasReserve() || !call.CheckList(nodes, ANY_LIST)) return nullptr;
  if (call.Basic() && index < 0) {
    Report(NEGATIVE_INDEX_TO_GET, index);
    return nullptr;
  }
  if (call.Basic() && index >= nodes->num) {
    Report(INDEX_TO_GET_TOO_LARGE, index, nodes->num);
    return nullptr;
  }
  return nodes->ar[index];
}

int BRAVIC_CALL SetNthNode_bn(nodelist_bn nodes, int index, node_bn node) {
  NetCall call("SetNthNode_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckList(nodes, ANY_LIST) || !CheckChangeable(nodes))
    return ErrorCode();
  if (call.Basic() && index < 0) {
    Report(NEGATIVE_INDEX_TO_SET, index);
    return ErrorCode();
  }
  if (call.Basic() && index >= nodes->num) {
    Report(INDEX_TO_SET_TOO_LARGE, index);
    return ErrorCode();
  }
  PutAt(static_cast<HostList&>(*nodes), index, node);
  return index;
}

nodelist_bn BRAVIC_CALL DupNodeList_bn(nodelist_bn nodes) {
  NetCall call("DupNodeList_bn");
  if (!call.HasReserve() || !nodes || !call.CheckList(nodes, ANY_LIST)) return nullptr;
  nodelist_bn list = DupList(*nodes);
  if (!list) Report(NO_MEMORY_TO_DUPLICATE_LIST, nodes->num);
  return list;
}

void BRAVIC_CALL FreeNodeList_bn(nodelist_bn nodes) {
  NetCall call("FreeNodeList_bn");
  if (!nodes || call.IsRefused() || (call.Basic() && !CheckFreeable(nodes))) return;
  FreeList(nodes);
}

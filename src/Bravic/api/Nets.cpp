// Nets, nodes and links.
#include "Bn/model/Duplicate.h"
#include "Bn/model/Net.h"
#include "Bn/model/Parents.h"
#include "Bravic/NetCall.h"

using namespace bravic;

net_bn BRAVIC_CALL NewNet_bn(const char* name, environ_ns env) {
  NetCall call("NewNet_bn");
  if (!call.HasReserve() || !call.CheckName(name) || !call.CheckEnviron(env)) return nullptr;
  return NewNetRecord(name, env);
}

node_bn BRAVIC_CALL NewNode_bn(const char* name, int numstates, net_bn net) {
  NetCall call("NewNode_bn");
  if (!call.HasReserve() || (name && !call.CheckName(name)) || !call.CheckNet(net)) return nullptr;
  if (name && !call.CheckNameUnused(name, net, nullptr)) return nullptr;
  if (call.Basic() && numstates < 0) {
    Report(NEGATIVE_STATES_OF_NEW_NODE, numstates, net->name);
    return nullptr;
  }
  return NewNode(name, numstates, net);
}

void BRAVIC_CALL DeleteNode_bn(node_bn node) {
  NetCall call("DeleteNode_bn");
  if (!call.CheckNode(node)) return;
  DeleteNode(node);
}

int BRAVIC_CALL AddLink_bn(node_bn parent, node_bn child) {
  NetCall call("AddLink_bn");
  if (!call.HasReserve() || !call.CheckNode(parent) || !call.CheckNode(child) || !call.CheckSameNet(parent, child))
    return -1;
  return AddLink(parent, child);
}

int BRAVIC_CALL DeleteLink_bn(int linkindex, node_bn child) {
  NetCall call("DeleteLink_bn");
  if (!call.CheckNode(child) || !call.CheckLinkIndex(child, linkindex)) return -1;
  return DeleteLink(linkindex, child);
}

void BRAVIC_CALL SwitchNodeParent_bn(int linkindex, node_bn child, node_bn newparent) {
  NetCall call("SwitchNodeParent_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(child) || !call.CheckLinkIndex(child, linkindex))
    return;
  if (!call.CheckNode(newparent) || !call.CheckSameNet(newparent, child)) return;
  if (Failure failure = SwitchParent(linkindex, child, newparent)) Post(std::move(failure));
}

nodelist_bn BRAVIC_CALL DuplicateNodes_bn(nodelist_bn nodes, net_bn destination) {
  NetCall call("DuplicateNodes_bn");
  if (!call.HasReserve() || !call.CheckList(nodes, NetCall::ALLOW_NONE) || !call.CheckNet(destination)) return nullptr;
  nodelist_bn copies = nullptr;
  if (Failure failure = DuplicateNodes(*nodes, destination, &copies)) Post(std::move(failure));
  return copies;
}

void BRAVIC_CALL FreeNet_bn(net_bn net) {
  NetCall call("FreeNet_bn");
  if (!net || !call.CheckNet(net)) return;
  FreeNet(net);
}

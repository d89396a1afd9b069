// Nets and nodes as wholes: making and freeing them, adding nodes to a net and taking them out, finding nodes by
// name and making fresh names.
#pragma once

#include "Basic/Errors.h"
#include "Bn/model/Lists.h"

namespace bravic {

net_bn NewNetRecord(const char* name, environ_ns env);  // must succeed; whenchanged 0
void FreeNet(net_bn net);                               // NULL is accepted
// NATURE_NODE, discrete, 2 states, named freshly from the stem ("Node" when NULL), added to the net.
node_bn NewDefaultNode(const char* stem, net_bn net);
// What NewNode_bn does once its arguments are checked. NULL with an error posted.
node_bn NewNode(const char* name, int numstates, net_bn net);

// Recorded as UNDO_NODES_ADDED and UNDO_NODES_REMOVED. Nodes come named and with their parents (preds) in place, which
// are told of them here. Placeholders keep their names out of the name table.
void AddNodesToNet(net_bn net, std::span<const node_bn> nodes, std::span<const node_bn> stubs);
// Every child of a removed node must be removed with it. The removed nodes belong to the undo record, or are freed.
Failure RemoveNodesFromNet(net_bn net, std::span<const node_bn> nodes, std::span<const node_bn> stubs);
void DeleteNode(node_bn node);  // a group, UNDO_NODE_DELETED; children keep a placeholder

extern node_bn EmptyNode_bn;  // "Empty_Node": belongs to no net and has no links
extern net_bn EmptyNet_bn;
void StartModel();
void StopModel();

}  // namespace bravic

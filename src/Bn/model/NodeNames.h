// Nodes of a net by name, and fresh names.
#pragma once

#include "Bn/model/Records.h"

namespace bravic {

node_bn FindNode(net_bn net, const char* name);   // NULL when there is none
bool IsNameTaken(net_bn net, const char* name);   // by a node or a define-node
void RenameInTable(node_bn node, char* newname);  // takes the new name, frees nothing; keeps the name table right
void EnterNodeName(net_bn net, node_bn node);
void RemoveNodeName(net_bn net, node_bn node);
// A name that no node of the net has; buffer of MAX_NAME_LEN + 1 or more characters (method 9 needs no net).
void FreshName(const char* stem, net_bn net, int method, char* buffer);

}  // namespace bravic

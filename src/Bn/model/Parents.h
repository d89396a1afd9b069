// Changing which nodes are a node's parents: keeps the family slot, the children lists, the link names and the
// four tables of the node consistent, and records it for undo.
#pragma once

#include "Bn/model/Net.h"

namespace bravic {

enum ParentsResult : int { PARENTS_CHANGED = 0, PARENTS_UNCHANGED = 1, PARENTS_REFUSED = -1, PARENTS_TABLES_LOST = -2 };

// map [0 .. old number of parents - 1]: new position of each old parent, -1 for a removed one; empty: computed by
// matching nodes. keepTables: the caller replaces the tables itself, so they are dropped, not reshaped.
int ChangeParents(node_bn node, std::span<const node_bn> newparents, std::span<const int> map, bool dropTables);
int AddLink(node_bn parent, node_bn child);  // the link's index, or -1
int DeleteLink(int index, node_bn child);
Failure SwitchParent(int index, node_bn child, node_bn newparent);
// For each slot named, a placeholder takes the parent's place (5710 or 5720 as the group's code).
void DisconnectChildren(node_bn node);
node_bn NewPlaceholder(node_bn original, net_bn net);  // keeps what the children's tables need
bool IsStubUsed(node_bn stub, node_bn except);         // among the parents of another node of the net

const char* LinkName(const bnode& node, int index, char* buffer);  // stored, else the default; buffer of 40
bool IsAncestor(node_bn ancestor, node_bn node);

}  // namespace bravic

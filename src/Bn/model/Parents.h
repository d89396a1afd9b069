// Changing which nodes are a node's parents: keeps the family slot, the children lists, the link names and the
// four tables of the node consistent, and records it for undo.
#pragma once

#include "Bn/model/Net.h"

namespace bravic {

enum ParentsResult : int { PARENTS_CHANGED = 0, PARENTS_UNCHANGED = 1, PARENTS_REFUSED = -1, PARENTS_TABLES_LOST = -2 };

// map [0 .. old number of parents - 1]: new position of each old parent, -1 for a removed one; empty: computed by
// matching nodes, occurrence by occurrence. Tables keep the entries of what stays: an added parent is ignored, a
// removed one is held at its state39; dropTables leaves the node without tables instead, for a caller that replaces
// them. Placeholders among the new parents must be in the net already; one that no child needs any more leaves it.
int ChangeParents(node_bn node, std::span<const node_bn> newparents, std::span<const int> map, bool dropTables);
int AddLink(node_bn parent, node_bn child);  // the link's index, or -1
int DeleteLink(int index, node_bn child);    // a ParentsResult
Failure SwitchParent(int index, node_bn child, node_bn newparent);
// A placeholder, one for all, takes the node's place among the parents of its children (UNDO_DISCONNECT).
void DisconnectChildren(node_bn node);
// The same for every parent of the node (UNDO_DISCONNECT_ALL).
void DisconnectParents(node_bn node);
// A placeholder, in no net yet, that keeps all of the node but its parents, tables, findings and user data.
node_bn NewPlaceholder(const bnode& original);

const char* LinkName(const bnode& node, int index, char* buffer);  // stored, else the default; buffer of 40
const char* DefaultLinkName(const bnode& parent, int index, char* buffer);
bool IsAncestor(node_bn ancestor, node_bn node);  // or the node itself

}  // namespace bravic

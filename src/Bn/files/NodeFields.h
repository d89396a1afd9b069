// What files do with a field of a node: how its statement is read and printed, whether it is written at all, and what a
// node takes of it from a define-node. The table in NodeFields.cpp has a row for each field of form Own and for those
// of another form whose statement is out of the ordinary; for all others the table of fields (Bn/model/Fields.h) tells.
#pragma once

#include "Bn/files/NetPrinter.h"
#include "Bn/files/NodeBlock.h"

namespace bravic {

// --- Reading

// The value of a statement, behind its "=". False with the error reported.
bool ReadValue(NodeBlock& block, NodeField field);
// The value of a define-node, for a node without one; false when the node cannot take it.
bool InheritValue(const bnode& define, bnode& node, NodeField field);
// The same of tables and link names, for a node whose parents are linked and as many states as the define-node's.
bool InheritRelationValue(const bnode& define, bnode& node, NodeField field);

// --- Writing

bool IsFindingField(NodeField field);
// Whether the node has a table or a list of parents, states or bounds ... : anything but what a new node holds. Of a
// define-node, whose statements hide what others would give, whether there is a statement.
bool HasValue(const bnode& node, NodeField field);
// Whether a statement can say of the field what a new node holds anyway.
bool CanSayNothing(NodeField field);
// Whether two nodes that have a value have the same.
bool IsSameValue(const bnode& a, const bnode& b, NodeField field);
// Whether rules that do not depend on the value let the field be written. inherits: the node's block names
// define-nodes.
bool IsOffered(const NetPrinter& printer, const bnode& node, NodeField field, bool inherits);
// The first of the node's define-nodes that carries the field; a finding is carried whole. NULL when there is none.
const bnode* Carrier(const bnode& node, NodeField field);
bool HasBoundsAlone(const bnode& node);  // two, without an interval between them
void PrintField(NetPrinter& printer, const bnode& node, NodeField field);

}  // namespace bravic

// What a node takes from the define-nodes that it names: each field from the first of them that carries it, unless the
// node has its own.
#pragma once

#include "Bn/files/NodeBlock.h"

namespace bravic {

void InheritField(NodeBlock& block, NodeField field);
void InheritFields(NodeBlock& block);    // but for findings, tables and link names, which come later
void InheritRelation(NodeEntry& entry);  // tables and link names, once all parents are linked

}  // namespace bravic

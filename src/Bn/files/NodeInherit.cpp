#include "Bn/files/NodeInherit.h"

#include "Bn/files/NodeFields.h"

namespace bravic {
namespace {

// The parents' names; the tables follow when all parents are linked.
void InheritParents(NodeBlock& block) {
  if (block.Status(NODE_PARENTS) != FIELD_ABSENT) return;
  for (const bnode* define : Entries(block.node.inherits)) {
    if (define->fields[NODE_PARENTS] == FIELD_ABSENT) continue;
    const NodeEntry& entry = block.reader.entries[define->index];
    block.entry.parents = entry.parents;
    block.entry.parentsAt = entry.parentsAt;
    block.entry.hasParents = true;
    block.Status(NODE_PARENTS) = FIELD_INHERITED;
    return;
  }
}

}  // namespace

void InheritField(NodeBlock& block, NodeField field) {
  if (block.Status(field) != FIELD_ABSENT) return;
  for (const bnode* define : Entries(block.node.inherits)) {
    if (define->fields[field] == FIELD_ABSENT) continue;
    if (InheritValue(*define, block.node, field)) block.Status(field) = FIELD_INHERITED;
    return;
  }
}

void InheritFields(NodeBlock& block) {
  if (!block.node.inherits.num) return;
  for (NodeField field : ALL_NODE_FIELDS) InheritField(block, field);
  InheritParents(block);
}

// What depends on parents becomes the node's own, since a define-node keeps no links into the net.
void InheritRelation(NodeEntry& entry) {
  bnode& node = *entry.node;
  const FieldStatus status = node.preds.num ? FIELD_READ : FIELD_INHERITED;
  for (NodeField field : {NODE_INPUTS, NODE_FUNCTABLE, NODE_PROBS, NODE_NUMCASES}) {
    for (const bnode* define : Entries(node.inherits)) {
      if (node.fields[field] != FIELD_ABSENT || define->fields[field] == FIELD_ABSENT) continue;
      if (InheritRelationValue(*define, node, field)) node.fields[field] = status;
      break;
    }
  }
  if (node.preds.num && node.fields[NODE_PARENTS] == FIELD_INHERITED) node.fields[NODE_PARENTS] = FIELD_READ;
}

}  // namespace bravic

// What a node takes from the define-nodes that it names: the field of the first one that carries it, unless the node
// has its own.

#include <algorithm>
#include <cstring>

#include "Basic/Text.h"
#include "Bn/files/NodeReader.h"

namespace bravic {
namespace {

bool Carries(const bnode& define, NodeField field) {
  return define.fields[field] != FIELD_ABSENT;
}

char* DupOrNull(const char* text) {
  return text ? DupText(text) : nullptr;
}

void CopyStates(bnode& node, const bnode& define) {
  const auto count = static_cast<std::size_t>(define.numstates);
  node.states = static_cast<char**>(AllocateCleared(count, sizeof(char*)));
  for (std::size_t i = 0; i < count; i++) node.states[i] = DupOrNull(define.states[i]);
}

void CopyLevels(bnode& node, const bnode& define) {
  node.levels = static_cast<double*>(Allocate(BlockSize(define.levels)));
  std::memcpy(node.levels, define.levels, BlockSize(define.levels));
}

// Takes the field of the first define-node that carries it. False when it cannot be taken.
bool CopyField(NodeBlock& block, const bnode& define, NodeField field) {
  bnode& node = block.node;
  const bool sameStates = node.numstates == define.numstates;
  switch (field) {
    case NODE_KIND:
      return node.kind = define.kind, true;
    case NODE_DISCRETE:
      return node.discrete = define.discrete, true;
    case NODE_MEASURE:
      return node.measure = define.measure, true;
    case NODE_CHANCE:
      return node.chance = define.chance, true;
    case NODE_NUMSTATES:
      return node.numstates = define.numstates, true;
    case NODE_STATES:
      if (!define.states || !sameStates) return false;
      return CopyStates(node, define), true;
    case NODE_LEVELS:
      if (!define.levels || !sameStates || node.discrete != define.discrete) return false;
      return CopyLevels(node, define), true;
    case NODE_UNITS:
      return SetText(node.units, DupOrNull(define.units)), true;
    case NODE_TITLE:
      return SetText(node.title, DupOrNull(define.title)), true;
    case NODE_COMMENT:
      return SetText(node.comment, DupOrNull(define.comment)), true;
    case NODE_AUTHOR:
      return SetText(node.author, DupOrNull(define.author)), true;
    case NODE_WHOCHANGED:
      return SetText(node.whochanged, DupOrNull(define.whochanged)), true;
    case NODE_WHENCHANGED:
      return node.whenchanged = define.whenchanged, true;
    case NODE_LOCKED:
      return node.locked = define.locked, true;
    default:
      return false;  // findings, tables and link names come later; the rest is not inherited
  }
}

// The parents' names; the tables follow when all parents are linked.
void InheritParents(NodeBlock& block) {
  if (block.Status(NODE_PARENTS) != FIELD_ABSENT) return;
  for (const bnode* define : Entries(block.node.inherits)) {
    if (!Carries(*define, NODE_PARENTS)) continue;
    const NodeEntry& entry = block.reader.entries[define->index];
    block.entry.parents = entry.parents;
    block.entry.parentsAt = entry.parentsAt;
    block.entry.hasParents = true;
    block.Status(NODE_PARENTS) = FIELD_INHERITED;
    return;
  }
}

// Whether a table of one node has the shape of one of the other's.
bool SameRows(const bnode& a, const bnode& b) {
  const auto same = [](const bnode* x, const bnode* y) { return x->numstates == y->numstates; };
  return std::equal(a.preds.begin(), a.preds.end(), b.preds.begin(), b.preds.end(), same);
}

template <class T>
bool CopyTable(T*& to, const T* from) {
  if (!from) return false;
  to = static_cast<T*>(TryAllocate(BlockSize(from)));
  if (to) std::memcpy(to, from, BlockSize(from));
  return to != nullptr;
}

bool CopyRelationField(bnode& node, const bnode& define, NodeField field) {
  if (field != NODE_INPUTS && !FitsTable(node, field)) return false;
  switch (field) {
    case NODE_FUNCTABLE:
      if (node.fields[NODE_PROBS] == FIELD_READ) return false;
      if (node.discrete != DISCRETE) return define.discrete != DISCRETE && CopyTable(node.determinv, define.determinv);
      return node.numstates == define.numstates && CopyTable(node.determin, define.determin);
    case NODE_PROBS:
      if (node.fields[NODE_FUNCTABLE] != FIELD_ABSENT || node.numstates != define.numstates) return false;
      node.probsokay = -1;
      return CopyTable(node.probs, define.probs);
    case NODE_NUMCASES:
      return CopyTable(node.numcases, define.numcases);
    default:
      if (!define.inputs) return false;
      node.inputs = static_cast<char**>(AllocateCleared(static_cast<std::size_t>(node.preds.num), sizeof(char*)));
      for (int i = 0; i < node.preds.num; i++) node.inputs[i] = DupText(define.inputs[i]);
      return true;
  }
}

}  // namespace

void InheritField(NodeBlock& block, NodeField field) {
  if (block.Status(field) != FIELD_ABSENT) return;
  for (const bnode* define : Entries(block.node.inherits)) {
    if (!Carries(*define, field)) continue;
    if (CopyField(block, *define, field)) block.Status(field) = FIELD_INHERITED;
    return;
  }
}

void InheritFields(NodeBlock& block) {
  for (int field = NODE_KIND; field <= NODE_BELIEF; field++) InheritField(block, static_cast<NodeField>(field));
  InheritParents(block);
}

// What depends on parents becomes the node's own, since a define-node keeps no links into the net.
void InheritRelation(NodeEntry& entry) {
  bnode& node = *entry.node;
  const FieldStatus status = node.preds.num ? FIELD_READ : FIELD_INHERITED;
  for (NodeField field : {NODE_INPUTS, NODE_FUNCTABLE, NODE_PROBS, NODE_NUMCASES}) {
    for (const bnode* define : Entries(node.inherits)) {
      if (node.fields[field] != FIELD_ABSENT || define->fields[field] == FIELD_ABSENT) continue;
      if (SameRows(node, *define) && CopyRelationField(node, *define, field)) node.fields[field] = status;
      break;
    }
  }
  if (node.preds.num && node.fields[NODE_PARENTS] == FIELD_INHERITED) node.fields[NODE_PARENTS] = FIELD_READ;
}

}  // namespace bravic

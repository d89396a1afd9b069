// A node block while it is read: what its statements said so far, and what the readers of its values share. Statements
// that depend on others are left where they stand and read later; which depends on which stands here.
#pragma once

#include "Bn/files/NetReader.h"

namespace bravic {

// A node block while it is read.
struct NodeBlock {
  NetReader& reader;
  NodeEntry& entry;
  bnode& node;
  const char* keyword;
  bool inheritLate;                   // fields are inherited at the end of the block, not at its head
  bool stated[NUM_NODE_FIELDS] = {};  // its statement was met, good or bad
  bool failed[NUM_NODE_FIELDS] = {};
  Place word[NUM_NODE_FIELDS] = {};   // of the statement
  Place value[NUM_NODE_FIELDS] = {};  // of a value that waits; 0 when none does
  int statedParents = -1;             // of a `numparents` statement

  Statement At(NodeField field) const { return {FieldName(field), keyword, node.name}; }
  unsigned char& Status(NodeField field) { return node.fields[field]; }
};

inline constexpr NodeField TABLES[] = {NODE_FUNCTABLE, NODE_PROBS, NODE_NUMCASES};
// Read at the end of the block, in this order.
inline constexpr NodeField WAITING[] = {NODE_LEVELS, NODE_BELIEF, NODE_EVIDENCE, NODE_VALUE, NODE_LIKELIHOOD};
inline constexpr NodeField FINDINGS[] = {NODE_EVIDENCE, NODE_VALUE, NODE_LIKELIHOOD};

void DropStates(bnode& node);
void DropLevels(bnode& node);
// A new number of states; what was inherited for another number goes.
void SetNumStates(bnode& node, int numstates, FieldStatus status);

// Whether a statement for one field is understood only behind the one for the other.
bool Needs(const bnode& node, NodeField field, NodeField needed);
// Reports a waiting statement that stands before one it needs.
bool StandsTooEarly(NodeBlock& block, NodeField field);
bool HasStates(NodeBlock& block, NodeField field);         // reports a statement that needs some
bool ReadStateNumbers(NodeBlock& block, NodeField field);  // one for each state or none, into reader.numbers
bool BadValue(NodeBlock& block, NodeField field, const char* reason);
// What follows the value of a statement that was read late.
void CheckStatementEnd(NodeBlock& block, NodeField field);

}  // namespace bravic

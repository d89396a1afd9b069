// Inside the reader of node blocks. NodeReader.cpp reads a block and the statements that can be understood where they
// stand, NodeWaiting.cpp the values that are read at its end, NodeInherit.cpp takes fields from define-nodes.
#pragma once

#include "Bn/services/NetReader.h"

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

  Statement At(NodeField field) const { return {NODE_FIELD_NAMES[field], keyword, node.name}; }
  unsigned char& Status(NodeField field) { return node.fields[field]; }
};

inline constexpr NodeField TABLES[] = {NODE_FUNCTABLE, NODE_PROBS, NODE_NUMCASES};
// Read at the end of the block, in this order.
inline constexpr NodeField WAITING[] = {NODE_LEVELS, NODE_BELIEF, NODE_EVIDENCE, NODE_VALUE, NODE_LIKELIHOOD};

inline int QuoteLength(std::string_view word) {
  return static_cast<int>(word.size() < MAX_ERROR_WORD ? word.size() : MAX_ERROR_WORD);
}
void SetText(char*& field, char* text);  // takes the text
void DropStates(bnode& node);
void DropLevels(bnode& node);
// A new number of states; what was inherited for another number goes.
void SetNumStates(bnode& node, int numstates, FieldStatus status);

// NodeWaiting.cpp
// Whether a statement for one field is understood only behind the one for the other.
bool Needs(const bnode& node, NodeField field, NodeField needed);
void FinishNode(NodeBlock& block);

// NodeInherit.cpp
void InheritField(NodeBlock& block, NodeField field);
void InheritFields(NodeBlock& block);

}  // namespace bravic

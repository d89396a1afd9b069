// Inside the reader of node blocks. NodeReader.cpp reads a block and the statements that can be understood where they
// stand, NodeWaiting.cpp the values that are read at its end, NodeInherit.cpp takes fields from define-nodes.
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

  Statement At(NodeField field) const { return {NODE_FIELD_NAMES[field], keyword, node.name}; }
  unsigned char& Status(NodeField field) { return node.fields[field]; }
};

inline constexpr NodeField TABLES[] = {NODE_FUNCTABLE, NODE_PROBS, NODE_NUMCASES};
// Read at the end of the block, in this order.
inline constexpr NodeField WAITING[] = {NODE_LEVELS, NODE_BELIEF, NODE_EVIDENCE, NODE_VALUE, NODE_LIKELIHOOD};
inline constexpr NodeField FINDINGS[] = {NODE_EVIDENCE, NODE_VALUE, NODE_LIKELIHOOD};

void SetText(char*& field, char* text);  // takes the text
void DropStates(bnode& node);
void DropLevels(bnode& node);
// A new number of states; what was inherited for another number goes.
void SetNumStates(bnode& node, int numstates, FieldStatus status);

// A finding as a node's statement, or a define-node, gives it.
struct FindingRead {
  statetype evidence = UNDEF_STATE;
  double value = UNDEF_DBL;
  Block<float> likelihood;  // [numstates], or none
  bool IsNone() const { return evidence == UNDEF_STATE && value == UNDEF_DBL && !likelihood; }
};

// NodeFindings.cpp
void ReadFindings(NodeBlock& block);  // the node's own, else those that it inherits
// NodeWaiting.cpp
bool ReadVector(NodeBlock& block, NodeField field);  // over the states, into reader.numbers
float* MakeVector(const Vector<double>& numbers);
bool HasStates(NodeBlock& block, NodeField field);  // reports a statement that needs some
// Reports a waiting statement that stands before one it needs.
bool StandsTooEarly(NodeBlock& block, NodeField field);
bool BadValue(NodeBlock& block, NodeField field, const char* reason);
// What follows the value of a statement that was read late.
void CheckStatementEnd(NodeBlock& block, NodeField field);
// Whether a statement for one field is understood only behind the one for the other.
bool Needs(const bnode& node, NodeField field, NodeField needed);
void FinishNode(NodeBlock& block);

// NodeInherit.cpp
void InheritField(NodeBlock& block, NodeField field);
void InheritFields(NodeBlock& block);

}  // namespace bravic

// What the table of fields (FieldList.h) says of each field, and what may be done with the value of any field by its
// row alone.
#pragma once

#include <string_view>

#include "Bn/model/UndoCodes.h"

namespace bravic {

enum class FieldForm : unsigned char {
  Own,      // rules of its own, or never in a file
  Text,     // none and the empty one are the same
  Number,   // 0 or more
  Seconds,  // since 1970; 0: unknown
  Flag,     // 0 or 1
  Word      // an enumeration; its last word says that the value is unknown
};

enum FieldTrait : unsigned char {
  NO_TRAITS = 0,
  COPIED = 1,    // a copy of a node has it, and so has a placeholder in the node's place ...
  OF_NODES = 2,  // ... but for this one, which placeholders lack
  SHAPE = 4,     // what a parent's children need to know for their tables: written even of a placeholder
  DERIVED = 8    // the library itself may find it out: a field that a file left out is left out again
};

// A row of the table. Of the members the one that the form names is set.
template <class Record>
struct FieldRow {
  const char* name;
  FieldForm form = FieldForm::Own;
  unsigned char traits = NO_TRAITS;
  UndoCode undo = UNDO_NONE;
  char* Record::*text = nullptr;
  int Record::*number = nullptr;  // of Flag and Word, too
  unsigned Record::*seconds = nullptr;
  const char* const* words = nullptr;
  int numWords = 0;

  // Whether the record holds anything but what a new one holds. Answers false for the form Own, as do the others.
  bool IsSet(const Record& record) const;
  bool IsSame(const Record& a, const Record& b) const;
  bool Copy(const Record& from, Record& to) const;
};
extern const FieldRow<bnet> NET_FIELD_TABLE[NUM_NET_FIELDS];
extern const FieldRow<bnode> NODE_FIELD_TABLE[NUM_NODE_FIELDS];

#define NET_FIELD(id, name, value, traits, undo) NET_##id,
inline constexpr NetField ALL_NET_FIELDS[] = {BRAVIC_NET_FIELDS(NET_FIELD)};
#undef NET_FIELD
#define NODE_FIELD(id, name, value, traits, undo) NODE_##id,
inline constexpr NodeField ALL_NODE_FIELDS[] = {BRAVIC_NODE_FIELDS(NODE_FIELD)};
#undef NODE_FIELD

// By the name in files; NUM_NET_FIELDS or NUM_NODE_FIELDS when there is none.
NetField FindNetField(std::string_view name);
NodeField FindNodeField(std::string_view name);
inline const char* FieldName(NetField field) {
  return NET_FIELD_TABLE[field].name;
}
inline const char* FieldName(NodeField field) {
  return NODE_FIELD_TABLE[field].name;
}

// All fields that a node hands on, to a copy or (placeholder) to what takes its place. `to` has none of them yet.
enum class CopyFor { Node, Placeholder };
void CopyFields(const bnode& from, CopyFor purpose, node_bn to);

}  // namespace bravic

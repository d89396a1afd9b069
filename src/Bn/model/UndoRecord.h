// What an undo record holds, and how a change fills it in. A change opens a record once it is certain, then puts
// each new value in place through Replace...; the old value goes into the record:
//
//   UndoRecord* undo = BeginChange(node, NODE_TITLE);
//   ReplaceText(undo, node->title, DupText(title));
//
// While nothing is recorded the record is NULL and every Replace... frees the old value at once, so that a change is
// written once for both. Applying a record swaps what it holds with what the net holds; no code needs a swap routine
// of its own. What the codes hold:
//
//   UNDO_NODE_NAME                           ReplaceNodeName
//   UNDO_KIND, UNDO_DISCRETE, UNDO_MEASURE   Replace
//   UNDO_STATE_NAME, UNDO_LINK_NAME          ReplaceTextAt; the array is there, or was put there by ReplaceTexts
//   UNDO_STATE_NAMES, UNDO_LINK_NAMES        ReplaceTexts
//   UNDO_LEVELS, UNDO_NUM_STATES             ReplaceNumStates, ReplaceBlock (levels), ReplaceTexts (states, texts)
//   UNDO_STATES_WITH_TABLES                  a group: those of the node, and an UNDO_RELATION for it and each child
//   UNDO_ROW                                 HoldRow, then the row is written in place
//   UNDO_RELATION                            ReplaceTables
//   UNDO_NODE_TITLE ... UNDO_NET_COMMENT     ReplaceText
//   UNDO_NODE_USER, UNDO_NET_USER            ReplacePointer
//   UNDO_NODE_TEXT, UNDO_NET_TEXT            ReplaceTexts where there is no room, ReplaceTextAt
//   UNDO_FINDING                             ReplaceFinding
//   UNDO_AUTOUPDATE, UNDO_FIND_MPE           Replace
//   UNDO_ELIM_ORDER                          ReplaceList
//   UNDO_NODES_ADDED, UNDO_NODES_REMOVED     nodes in and out of the net (Members.h), and the structure
//   UNDO_PARENTS                             ReplaceList, children, and the structure
//
// Applying restores bit for bit what was held and keeps the name table, the finding counts, the children lists and
// the caches of tables right; it raises the same hooks as the change did.
#pragma once

#include <span>

#include "Bn/model/Members.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/Undo.h"

namespace bravic {

// One value of a net or node that the record exchanges.
struct HeldValue {
  enum Form : unsigned char {
    INT,
    POINTER,  // not owned
    TEXT,
    TEXT_AT,     // entry `index` of the array of texts at *field
    TEXTS,       // array of texts; its length is its block's size
    BLOCK,       // owned plain data
    LIST,        // entries of a list and their count
    NAME,        // the node's, entered in the name table
    NUM_STATES,  // the belief vector follows
    ROW,         // row `index` of the tables that exist, copied into one block
    FINDING
  };
  Form form;
  void* field = nullptr;  // the field in the record; NULL where the form implies it
  void* held = nullptr;   // owned unless POINTER
  long long index = 0;    // INT: the value; TEXT_AT, ROW: see there; FINDING: the state
  double number = 0;      // FINDING: the value
  int count = 0;          // LIST: entries
};

// Mostly one, which takes no block of memory.
class HeldValues {
 public:
  void Reserve(int more) {
    if (count_ + more > 1) many_.reserve(count_ + more);
  }
  HeldValue& Add(const HeldValue& value) {
    if (count_++ == 0) return one_ = value;
    if (many_.empty()) many_.push_back(one_);
    many_.push_back(value);
    return many_.back();
  }
  HeldValue* begin() { return many_.empty() ? &one_ : many_.data(); }
  HeldValue* end() { return begin() + count_; }
  const HeldValue* begin() const { return many_.empty() ? &one_ : many_.data(); }
  const HeldValue* end() const { return begin() + count_; }

 private:
  HeldValue one_ = {};
  int count_ = 0;
  Vector<HeldValue> many_;  // all of them, once they are more than one
};

// A child that went into or out of a parent's children.
struct ChildEdit {
  node_bn parent, child;
  int position;
  bool inserted;
};

// What goes with a change of the graph or of the node set; apart from the record, since most records have none.
struct StructureChange {
  Vector<ChildEdit> edits;      // in the order made
  Vector<Member> nodes, stubs;  // by rising position
  bool membersOut = false;      // the members are outside the net now, and owned
  bool holdsOrder = false;      // and the net is uncompiled when the record is applied
  HeldOrder order;
};

struct UndoRecord {
  TagWord type1 = UNDO_TAG;
  UndoCode code = UNDO_GROUP;
  int sequence = 0;
  UndoRecord* next = nullptr;      // the next older on the stack or in the group
  UndoRecord* children = nullptr;  // of a group, the next to be applied first; owned
  UndoRecord* around = nullptr;    // of a step that a host has begun: the one that it is part of
  net_bn net = nullptr;
  node_bn node = nullptr;
  HeldValues values;
  Owned<StructureChange> structure;  // NULL where graph and node set stay
};

// The memory of a record that was freed, kept for another one.
struct SpareRecord {
  SpareRecord* next;
};
inline constexpr int MOST_SPARE_RECORDS = CUTS_SMALL_BLOCKS ? 16 : 0;

// The record's, made where it has none yet.
StructureChange& StructureOf(UndoRecord* undo);

void Replace(UndoRecord* undo, int& field, int value);
void ReplacePointer(UndoRecord* undo, void*& field, void* value);
// The following take ownership of the new value, which may be NULL.
void ReplaceText(UndoRecord* undo, char*& field, char* text);
void ReplaceTextAt(UndoRecord* undo, char**& field, int index, char* text);
void ReplaceTexts(UndoRecord* undo, char**& field, char** texts);
template <class T>
void ReplaceBlock(UndoRecord* undo, T*& field, T* block);
void ReplaceList(UndoRecord* undo, nodelist_rec& field, node_bn* entries, int num);
void ReplaceNodeName(UndoRecord* undo, node_bn node, char* name);
// Makes the belief vector, when there is one, as long as the new count. The finding must be gone before.
void ReplaceNumStates(UndoRecord* undo, node_bn node, int numstates);
// A table that is the present one stays in place.
void ReplaceTables(UndoRecord* undo, node_bn node, float* probs, float* numcases, statetype* determin, float* determinv,
                   int normalized);
// Copies the row of every table the node has; the caller then writes it in place.
void HoldRow(UndoRecord* undo, node_bn node, long long row);
// Keeps the net's counts right. likelihood is owned, [numstates].
void ReplaceFinding(UndoRecord* undo, node_bn node, statetype state, double value, float* likelihood);

// Undo and redo in one: exchanges all that the record and its children hold, then raises the hooks.
void ApplyUndo(UndoRecord* undo);
// Changes of findings come and go by the million: the net keeps a few records that were freed for the next ones.
UndoRecord* NewUndoRecord(net_bn net);
void FreeUndoRecord(UndoRecord* undo);
void FreeSpareRecords(net_bn net);

// Beneath the operations on structure (Net.h, Parents.h).
void HoldStructure(UndoRecord* undo, net_bn net);  // node order and elimination order (which is none afterwards)
// Among the children of a parent; a placeholder, which has none, counts them.
void InsertChild(UndoRecord* undo, node_bn parent, node_bn child);  // at the end
void RemoveChild(UndoRecord* undo, node_bn parent, node_bn child);
void ReplaceBlockBytes(UndoRecord* undo, void** field, void* block);
template <class T>
void ReplaceBlock(UndoRecord* undo, T*& field, T* block) {
  ReplaceBlockBytes(undo, reinterpret_cast<void**>(&field), block);
}

}  // namespace bravic

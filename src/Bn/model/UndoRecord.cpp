// Applies an undo record: everything that it holds changes places with what the net holds, so that the same record then
// takes the change back again. Values first, then members, links and order, then the records of a group; what became
// stale is collected meanwhile and told once, when the net is whole again.
#include "Bn/model/UndoRecord.h"

#include <algorithm>
#include <cstring>

#include "Bn/model/Changes.h"
#include "Bn/model/NameLists.h"
#include "Bn/model/Node.h"
#include "Bn/model/NodeNames.h"
#include "Bn/model/TableForms.h"

namespace bravic {
namespace {

// A new value of the record, for the caller to fill in; valid until the next one is held.
HeldValue& Hold(UndoRecord* undo, HeldValue::Form form, void* field) {
  return undo->values.Add(HeldValue{.form = form, .field = field});
}

// A row's four parts as they lie in a ROW block.
struct RowBlock {
  int normalized;
  int numstates;
  float experience, value;  // of numcases and determinv, where the node has them
  statetype state;          // of determin
  float probs[1];           // [numstates]
};

void SwapRow(node_bn node, RowBlock* row, long long index) {
  // The table may have been brought into the other form since, for a reader.
  if (row->normalized != node->normalized && node->probs) {
    Failure failure = row->normalized ? NormalizeTable(node) : UnnormalizeTable(node, 1.0);
    if (failure) Post(std::move(failure));
  }
  if (node->numcases) std::swap(row->experience, node->numcases[index]);
  if (node->determin) std::swap(row->state, node->determin[index]);
  if (node->determinv) std::swap(row->value, node->determinv[index]);
  if (node->determin || node->determinv) {
    // What is derived from function tables may have been made since.
    RefreshDerivedRow(node, index);
  } else if (node->probs) {
    std::swap_ranges(row->probs, row->probs + row->numstates, node->probs + index * row->numstates);
  }
}

// A belief vector of the present number of states, which tells nothing yet.
void FitBelief(node_bn node) {
  if (!node->belief) return;
  Free(node->belief);
  node->belief = NewCleared<float>(node->numstates);
  node->beliefStamp = 0;
}

void SwapName(node_bn node, HeldValue& value) {
  char* old = node->name;
  RenameInTable(node, static_cast<char*>(value.held));
  value.held = old;
}

// The node leaves the counts of its net with the old finding and joins them with the new one.
void SwapFinding(node_bn node, HeldValue& value) {
  if (node->innet) CountFinding(node->innet, *node, -1);
  const statetype state = node->evidence;
  node->evidence = static_cast<statetype>(value.index);
  value.index = state;
  std::swap(node->value, value.number);
  void* likelihood = node->likelihood;
  node->likelihood = static_cast<float*>(value.held);
  value.held = likelihood;
  if (node->innet) CountFinding(node->innet, *node, 1);
}

template <class T>
void SwapPointer(T*& field, void*& held) {
  void* old = field;
  field = static_cast<T*>(held);
  held = old;
}

void SwapNumber(int& field, long long& held) {
  const int old = field;
  field = static_cast<int>(held);
  held = old;
}

void SwapValue(UndoRecord* undo, HeldValue& value) {
  switch (value.form) {
    case HeldValue::INT:
      SwapNumber(*static_cast<int*>(value.field), value.index);
      break;
    case HeldValue::POINTER:
    case HeldValue::TEXT:
    case HeldValue::TEXTS:
    case HeldValue::BLOCK:
      SwapPointer(*static_cast<void**>(value.field), value.held);
      break;
    case HeldValue::TEXT_AT:
      SwapPointer((*static_cast<char***>(value.field))[value.index], value.held);
      break;
    case HeldValue::LIST: {
      auto& list = *static_cast<nodelist_rec*>(value.field);
      SwapPointer(list.ar, value.held);
      std::swap(list.num, value.count);
      break;
    }
    case HeldValue::NAME:
      SwapName(undo->node, value);
      break;
    case HeldValue::NUM_STATES:
      SwapNumber(undo->node->numstates, value.index);
      FitBelief(undo->node);
      break;
    case HeldValue::ROW:
      SwapRow(undo->node, static_cast<RowBlock*>(value.held), value.index);
      break;
    case HeldValue::FINDING:
      SwapFinding(undo->node, value);
      break;
  }
}

void FreeValue(HeldValue& value) {
  if (value.form == HeldValue::POINTER) return;  // not owned
  if (value.form == HeldValue::TEXTS) {
    FreeNames(static_cast<char**>(value.held));
  } else {
    Free(value.held);
  }
}

// At its old place among the children, since hosts see their order.
void PutChild(node_bn parent, node_bn child, int position) {
  nodelist_rec& succs = parent->succs;
  if (IsStub(*parent)) {
    ++parent->numUses;
  } else {
    Append(succs, child);
    std::rotate(succs.ar + position, succs.ar + succs.num - 1, succs.ar + succs.num);
  }
}

void TakeChild(node_bn parent, int position) {
  if (IsStub(*parent)) {
    --parent->numUses;
  } else {
    RemoveAt(parent->succs, position);
  }
}

// From both ends, where those are that go one after the other.
int FindChild(const nodelist_rec& children, node_bn child) {
  int low = 0, high = children.num - 1;
  while (children.ar[low] != child && children.ar[high] != child) ++low, --high;
  return children.ar[low] == child ? low : high;
}

// Takes every edit back, last first, and turns the record round.
void SwapEdits(StructureChange& structure) {
  std::reverse(structure.edits.begin(), structure.edits.end());
  for (ChildEdit& edit : structure.edits) {
    if (edit.inserted) {
      TakeChild(edit.parent, edit.position);
    } else {
      PutChild(edit.parent, edit.child, edit.position);
    }
    edit.inserted = !edit.inserted;
  }
}

// What the hooks have to be told once everything is in its place.
struct Effects {
  bool structure = false, propagation = false;
  Vector<node_bn> tables, findings;
};

// What a change of that code, or of what the record holds, makes stale.
void NoteEffects(const UndoRecord* undo, Effects& effects) {
  switch (undo->code) {
    case UNDO_REVERSE:
    case UNDO_KIND:
    case UNDO_DISCRETE:
    case UNDO_ELIM_ORDER:
      effects.structure = true;
      break;
    case UNDO_FIND_MPE:
      effects.propagation = true;
      break;
    default:
      effects.structure = effects.structure || (undo->structure && undo->structure->holdsOrder);
  }
  bool table = false, finding = false;
  for (const HeldValue& value : undo->values) {
    if (value.form == HeldValue::NUM_STATES) effects.structure = true;
    if (value.form == HeldValue::ROW || (undo->node && value.field == &undo->node->normalized)) table = true;
    if (value.form == HeldValue::FINDING) finding = true;
  }
  if (table) {
    undo->node->probsokay = -1;
    effects.tables.push_back(undo->node);
  }
  if (finding) effects.findings.push_back(undo->node);
}

void SwapValues(UndoRecord* undo) {
  // Last made first, since values may share a field (an array put in place, then one of its entries).
  std::reverse(undo->values.begin(), undo->values.end());
  for (HeldValue& value : undo->values) SwapValue(undo, value);
}

void SwapStructure(UndoRecord* undo) {
  StructureChange& structure = *undo->structure;
  net_bn net = undo->net;
  // The order is kept as it stands now and put back last, when all members are in their places.
  HeldOrder present;
  if (structure.holdsOrder) present = KeepOrder(net);
  SwapValues(undo);
  if (!structure.nodes.empty() || !structure.stubs.empty()) {
    // Nodes are in the net while children are told of them.
    if (structure.membersOut) {
      PutMembers(net, structure.nodes, structure.stubs);
      SwapEdits(structure);
    } else {
      SwapEdits(structure);
      TakeMembers(net, structure.nodes, structure.stubs);
      CloseUp(net);
    }
    structure.membersOut = !structure.membersOut;
  } else {
    SwapEdits(structure);
  }
  if (structure.holdsOrder) {
    SetOrder(net, structure.order);
    structure.order = std::move(present);
  }
}

void SwapRecord(UndoRecord* undo, Effects& effects) {
  if (undo->structure) {
    SwapStructure(undo);
  } else {
    SwapValues(undo);
  }
  NoteEffects(undo, effects);
  // The children of a group are applied one after the other and end up the other way round, ready to be applied again.
  UndoRecord* reversed = nullptr;
  while (UndoRecord* child = undo->children) {
    undo->children = child->next;
    SwapRecord(child, effects);
    child->next = reversed;
    reversed = child;
  }
  undo->children = reversed;
}

// Nodes that left the net by the same record are passed over.
void RaiseHooks(net_bn net, const Effects& effects) {
  if (effects.structure) {
    GraphRestored(net);
  } else if (effects.propagation) {
    net->findingsApplied = net->beliefsCurrent = false;
  }
  for (node_bn node : effects.tables) {
    if (node->innet) TableRestored(node);
  }
  // Beliefs are brought up to date once, after the last of several findings.
  const int autoupdate = net->autoupdate;
  for (int i = 0; i < effects.findings.size(); ++i) {
    net->autoupdate = i + 1 == effects.findings.size() ? autoupdate : 0;
    if (effects.findings[i]->innet) FindingChanged(effects.findings[i]);
  }
  net->autoupdate = autoupdate;
}

}  // namespace

void Replace(UndoRecord* undo, int& field, int value) {
  if (undo) Hold(undo, HeldValue::INT, &field).index = field;
  field = value;
}

void ReplacePointer(UndoRecord* undo, void*& field, void* value) {
  if (undo) Hold(undo, HeldValue::POINTER, &field).held = field;
  field = value;
}

void ReplaceText(UndoRecord* undo, char*& field, char* text) {
  if (undo) {
    Hold(undo, HeldValue::TEXT, &field).held = field;
  } else {
    Free(field);
  }
  field = text;
}

void ReplaceTextAt(UndoRecord* undo, char**& field, int index, char* text) {
  if (undo) {
    HeldValue& value = Hold(undo, HeldValue::TEXT_AT, &field);
    value.held = field[index];
    value.index = index;
  } else {
    Free(field[index]);
  }
  field[index] = text;
}

void ReplaceTexts(UndoRecord* undo, char**& field, char** texts) {
  if (undo) {
    Hold(undo, HeldValue::TEXTS, &field).held = field;
  } else {
    FreeNames(field);
  }
  field = texts;
}

void ReplaceBlockBytes(UndoRecord* undo, void** field, void* block) {
  if (undo) {
    Hold(undo, HeldValue::BLOCK, field).held = *field;
  } else {
    Free(*field);
  }
  *field = block;
}

void ReplaceList(UndoRecord* undo, nodelist_rec& field, node_bn* entries, int num) {
  if (undo) {
    HeldValue& value = Hold(undo, HeldValue::LIST, &field);
    value.held = field.ar;
    value.count = field.num;
  } else {
    Free(field.ar);
  }
  field.ar = entries;
  field.num = num;
}

void ReplaceNodeName(UndoRecord* undo, node_bn node, char* name) {
  char* old = node->name;
  RenameInTable(node, name);
  if (undo) {
    undo->node = node;
    Hold(undo, HeldValue::NAME, nullptr).held = old;
  } else {
    Free(old);
  }
}

void ReplaceNumStates(UndoRecord* undo, node_bn node, int numstates) {
  if (undo) {
    undo->node = node;
    Hold(undo, HeldValue::NUM_STATES, nullptr).index = node->numstates;
  }
  node->numstates = numstates;
  FitBelief(node);
}

void ReplaceTables(UndoRecord* undo, node_bn node, float* probs, float* numcases, statetype* determin, float* determinv,
                   int normalized) {
  if (undo) undo->node = node;
  Replace(undo, node->chance, UNKNOWN_CHANCE);
  node->probsokay = -1;
  // Even none for none is held: a table made meanwhile from the others has to go when the record is applied.
  const auto replace = [&](auto*& field, auto* table) {
    if (!table || table != field) ReplaceBlock(undo, field, table);
  };
  replace(node->probs, probs);
  replace(node->numcases, numcases);
  replace(node->determin, determin);
  replace(node->determinv, determinv);
  Replace(undo, node->normalized, normalized);
}

void HoldRow(UndoRecord* undo, node_bn node, long long index) {
  if (!undo) return;
  undo->node = node;
  undo->values.Reserve(2);  // rows are set by the million
  Hold(undo, HeldValue::INT, &node->chance).index = node->chance;
  const int n = node->numstates;
  auto* row = static_cast<RowBlock*>(AllocateCleared(1, sizeof(RowBlock) + n * sizeof(float)));
  row->normalized = node->normalized;
  row->numstates = node->numstates;
  if (node->probs) std::copy_n(node->probs + index * n, n, row->probs);
  if (node->numcases) row->experience = node->numcases[index];
  if (node->determin) row->state = node->determin[index];
  if (node->determinv) row->value = node->determinv[index];
  HeldValue& value = Hold(undo, HeldValue::ROW, nullptr);
  value.held = row;
  value.index = index;
}

void ReplaceFinding(UndoRecord* undo, node_bn node, statetype state, double number, float* likelihood) {
  HeldValue value{.form = HeldValue::FINDING, .held = likelihood, .index = state, .number = number};
  SwapFinding(node, value);
  if (undo) {
    undo->node = node;
    undo->values.Add(value);
  } else {
    Free(value.held);
  }
}

StructureChange& StructureOf(UndoRecord* undo) {
  if (!undo->structure) undo->structure = MakeOwned<StructureChange>();
  return *undo->structure;
}

void HoldStructure(UndoRecord* undo, net_bn net) {
  if (undo) {
    StructureOf(undo).holdsOrder = true;
    StructureOf(undo).order = KeepOrder(net);
  }
  ReplaceList(undo, net->elimorder, nullptr, -1);
  Replace(undo, net->hasHostOrder, 0);
}

void InsertChild(UndoRecord* undo, node_bn parent, node_bn child) {
  const int position = parent->succs.num;
  if (undo) StructureOf(undo).edits.push_back({parent, child, position, true});
  PutChild(parent, child, position);
}

void RemoveChild(UndoRecord* undo, node_bn parent, node_bn child) {
  const int position = IsStub(*parent) ? 0 : FindChild(parent->succs, child);
  if (undo) StructureOf(undo).edits.push_back({parent, child, position, false});
  TakeChild(parent, position);
}

void ApplyUndo(UndoRecord* undo) {
  Effects effects;
  SwapRecord(undo, effects);
  RaiseHooks(undo->net, effects);
}

UndoRecord* NewUndoRecord(net_bn net) {
  UndoRecord* record;
  if (SpareRecord* spare = net->spareRecords) {
    net->spareRecords = spare->next;
    --net->numSpareRecords;
    record = new (spare) UndoRecord;
  } else {
    record = NewObject<UndoRecord>();
  }
  record->net = net;
  return record;
}

void FreeUndoRecord(UndoRecord* undo) {
  while (UndoRecord* child = undo->children) {
    undo->children = child->next;
    FreeUndoRecord(child);
  }
  for (HeldValue& value : undo->values) FreeValue(value);
  if (undo->structure && undo->structure->membersOut) {
    for (const Member& member : undo->structure->nodes) FreeNodeRecord(member.node);
    for (const Member& member : undo->structure->stubs) FreeNodeRecord(member.node);
  }
  net_bn net = undo->net;
  if (net->numSpareRecords == MOST_SPARE_RECORDS) return DeleteObject(undo);
  undo->~UndoRecord();
  net->spareRecords = new (undo) SpareRecord{net->spareRecords};
  ++net->numSpareRecords;
}

void FreeSpareRecords(net_bn net) {
  while (SpareRecord* spare = net->spareRecords) {
    net->spareRecords = spare->next;
    Free(spare);
  }
  net->numSpareRecords = 0;
}

}  // namespace bravic

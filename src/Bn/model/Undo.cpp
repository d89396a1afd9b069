#include "Bn/model/Undo.h"

#include <algorithm>
#include <climits>
#include <utility>

#include "Basic/Errors.h"
#include "Basic/Text.h"
#include "Bn/model/Fields.h"
#include "Bn/model/UndoRecord.h"
#include "Win_Face/Interaction.h"

namespace bravic {
namespace {

constexpr int FIRST_SEQUENCE = 1, WARN_SEQUENCE = 2047483647, LAST_SEQUENCE = 2147483547;

constexpr int DEFAULT_DEPTH = 1;

int depthLimit = DEFAULT_DEPTH;
int undoCounter = FIRST_SEQUENCE;
UndoGroup* innermostGroup = nullptr;
bool takingBack = false;
int numOpenSteps = 0;

int NextSequence() {
  if (undoCounter >= LAST_SEQUENCE) {
    undoCounter = FIRST_SEQUENCE;
  } else if (undoCounter >= WARN_SEQUENCE) {
    Report(UNDO_LABELS_RECYCLED);
  }
  return undoCounter++;
}

void FreeStack(UndoRecord*& top) {
  while (top) {
    UndoRecord* record = top;
    top = record->next;
    FreeUndoRecord(record);
  }
}

// Frees the records from the one at the position (0 the newest) on.
void CutStack(UndoRecord*& top, int position) {
  UndoRecord** link = &top;
  for (int i = 0; i < position && *link; ++i) link = &(*link)->next;
  FreeStack(*link);
}

UndoRecord* MakeRecord(UndoCode code, net_bn net, node_bn node) {
  UndoRecord* record = NewUndoRecord(net);
  record->code = code;
  record->sequence = NextSequence();
  record->node = node;
  record->next = net->undo;
  net->undo = record;
  // Within a group nothing is cut: the group counts as one record, and is cut as one.
  if (net->sublevel == 0) {
    CutStack(net->undo, depthLimit);
    FreeStack(net->redo);
  }
  return record;
}

// Findings and tables come and go while cases are read.
bool LeavesShape(UndoCode code) {
  return code == UNDO_FINDING || code == UNDO_ALL_FINDINGS || code == UNDO_ROW || code == UNDO_RELATION;
}

// Applies the record on top of one stack and moves it to the other.
void MoveTop(UndoRecord*& from, UndoRecord*& to) {
  UndoRecord* record = from;
  from = record->next;
  ApplyUndo(record);
  record->net->shapeEpoch = NewShapeEpoch();
  record->next = to;
  to = record;
}

}  // namespace

UndoRecord* NewUndo(UndoCode code, net_bn net, node_bn node) {
  if (!net) return nullptr;
  if (!LeavesShape(code)) net->shapeEpoch = NewShapeEpoch();
  if (!UndoRecording()) {
    UnrecordedChange(net);
    return nullptr;
  }
  UndoGroup::Begin(net);
  return MakeRecord(code, net, node);
}

UndoRecord* BeginChange(net_bn net, NetField field) {
  return NewUndo(NET_FIELD_TABLE[field].undo, net);
}

UndoRecord* BeginChange(node_bn node, NodeField field) {
  node->fields[field] = FIELD_READ;
  return NewUndo(NODE_FIELD_TABLE[field].undo, node->innet, node);
}

bool UndoRecording() {
  return depthLimit > 0;
}

int UndoDepth() {
  return depthLimit;
}

// A lower limit of 0 keeps what is within the old one; any other lower limit frees the whole stack. Deliberate.
int SetUndoDepth(int depth, net_bn net) {
  const int previous = depthLimit;
  if (depth < 0) return previous;
  if (depth < previous) {
    CutStack(net->undo, depth == 0 ? previous : 0);
    FreeStack(net->redo);
  }
  depthLimit = depth;
  return previous;
}

UndoGroup::UndoGroup(UndoCode code, net_bn net) : net_(net), code_(code), outer_(innermostGroup) {
  innermostGroup = this;
}

// Outer groups are made first, so that this one's record lies above theirs.
void UndoGroup::Make() {
  if (outer_) outer_->MakeFor(net_);
  if (group_) return;
  group_ = MakeRecord(code_, net_, nullptr);
  ++net_->sublevel;
}

void UndoGroup::MakeFor(net_bn net) {
  if (net == net_) {
    Make();
  } else if (outer_) {
    outer_->MakeFor(net);
  }
}

void UndoGroup::Begin(net_bn net) {
  if (innermostGroup) innermostGroup->MakeFor(net);
}

UndoGroup::~UndoGroup() {
  innermostGroup = outer_;
  if (!group_) return;
  // All that lies above the group's own record on the stack was recorded within it and becomes its own.
  BRAVIC_ASSERT_TEXT(net_->sublevel > 0, "bnn->sublevel > 0");
  UndoRecord** last = &net_->undo;
  while (*last != group_) last = &(*last)->next;
  if (last != &net_->undo) {
    group_->children = net_->undo;
    *last = nullptr;
    net_->undo = group_;
  }
  --net_->sublevel;
}

// A sublevel above 0 keeps the private stack from being trimmed.
PrivateUndo::PrivateUndo(net_bn net)
    : net_(net),
      undo_(net->undo),
      redo_(net->redo),
      sublevel_(net->sublevel),
      depth_(depthLimit),
      outer_(innermostGroup) {
  net->undo = net->redo = nullptr;
  net->sublevel = 1;
  depthLimit = std::max(depthLimit, 1);
  innermostGroup = nullptr;
}

PrivateUndo::~PrivateUndo() {
  while (net_->undo) MoveTop(net_->undo, net_->redo);
  FreeStack(net_->redo);
  net_->undo = undo_;
  net_->redo = redo_;
  net_->sublevel = sublevel_;
  depthLimit = depth_;
  innermostGroup = outer_;
}

// A sublevel above 0 keeps the stacks from being trimmed.
TakenBackIfHalted::TakenBackIfHalted(net_bn net)
    : net_(net),
      isWatching_(net->beliefsCurrent || net->autoupdate),
      undo_(net->undo),
      redo_(net->redo),
      depth_(depthLimit),
      halts_(NumHalts()) {
  if (!isWatching_) return;
  net->redo = nullptr;
  ++net->sublevel;
  depthLimit = std::max(depthLimit, 1);
}

TakenBackIfHalted::~TakenBackIfHalted() {
  if (!isWatching_) return;
  --net_->sublevel;
  depthLimit = depth_;
  if (NumHalts() != halts_) TakeBack();
  std::swap(net_->redo, redo_);
  FreeStack(redo_);
  if (net_->undo != undo_) Settle();
}

void TakenBackIfHalted::TakeBack() {
  takingBack = true;
  while (net_->undo != undo_) MoveTop(net_->undo, net_->redo);
  takingBack = false;
}

// What recording the change would have done at once.
void TakenBackIfHalted::Settle() {
  if (net_->sublevel > 0) return;
  if (!UndoRecording()) return UnrecordedChange(net_);
  CutStack(net_->undo, depthLimit);
  FreeStack(net_->redo);
}

// The record lies beneath those of the step from the start. A sublevel above 0 keeps the stacks from being trimmed.
void BeginStep(net_bn net) {
  ++net->sublevel;
  UndoRecord* step = MakeRecord(UNDO_GROUP, net, nullptr);
  step->around = net->step;
  net->step = step;
  ++numOpenSteps;
}

bool EndStep(net_bn net, bool isKept) {
  UndoRecord* step = net->step;
  const bool isEmpty = net->undo == step;
  if (!isKept) {
    UndoRecord* redo = net->redo;
    net->redo = nullptr;
    takingBack = true;
    while (net->undo != step) MoveTop(net->undo, net->redo);
    takingBack = false;
    FreeStack(net->redo);
    net->redo = redo;
  }
  net->step = step->around;
  step->around = nullptr;
  --net->sublevel;
  --numOpenSteps;
  if (isEmpty || !isKept) {
    net->undo = step->next;
    FreeUndoRecord(step);
    return !isEmpty;
  }
  UndoRecord** last = &net->undo;
  while (*last != step) last = &(*last)->next;
  step->children = net->undo;
  *last = nullptr;
  net->undo = step;
  if (net->sublevel == 0) {
    CutStack(net->undo, depthLimit);
    FreeStack(net->redo);
  }
  return true;
}

bool AnyStepOpen() {
  return numOpenSteps > 0;
}

bool IsTakingBack() {
  return takingBack;
}

int UndoSequence(net_bn net) {
  return net->undo ? net->undo->sequence : 0;
}

void UndoTo(net_bn net, int sequence) {
  while (net->undo && net->undo->sequence > sequence) MoveTop(net->undo, net->redo);
}

void RedoTo(net_bn net, int sequence) {
  while (net->redo && net->redo->sequence < sequence) MoveTop(net->redo, net->undo);
}

bool UndoLast(net_bn net) {
  if (!net->undo) return false;
  MoveTop(net->undo, net->redo);
  return true;
}

bool RedoLast(net_bn net) {
  if (!net->redo) return false;
  MoveTop(net->redo, net->undo);
  return true;
}

// Newest first, so that nothing is freed that a record still to be freed speaks of.
void FreeUndo(net_bn net) {
  for (; net->step; net->step = net->step->around) --numOpenSteps;
  FreeStack(net->redo);
  FreeStack(net->undo);
  FreeSpareRecords(net);
}

void UnrecordedChange(net_bn net) {
  FreeUndo(net);
}

void StartUndo() {
  depthLimit = DEFAULT_DEPTH;
  numOpenSteps = 0;
}

namespace {

// A step whose update was halted is taken back.
int StepUnlessHalted(net_bn net, bool (*step)(net_bn), bool (*back)(net_bn)) {
  const unsigned halts = NumHalts();
  const bool done = step(net);
  if (NumHalts() == halts) return done;
  takingBack = true;
  back(net);
  takingBack = false;
  return -1;
}

}  // namespace

int UndoUnlessHalted(net_bn net) {
  return StepUnlessHalted(net, UndoLast, RedoLast);
}

int RedoUnlessHalted(net_bn net) {
  return StepUnlessHalted(net, RedoLast, UndoLast);
}

}  // namespace bravic

// Undo records: every change of a net first writes down what it replaces. A record is applied by swapping what it
// holds with what the net holds, so that undo and redo are one operation.
#pragma once

#include "Bn/model/Records.h"

namespace bravic {

enum UndoCode : int {
  UNDO_NONE = 0,
  UNDO_DECISION = 1455,
  UNDO_NODE_NAME = 4100,
  UNDO_KIND = 4105,
  UNDO_DISCRETE = 4108,
  UNDO_MEASURE = 4110,
  UNDO_NUM_STATES = 4112,
  UNDO_STATE_NAME = 4125,
  UNDO_STATE_NAMES = 4130,
  UNDO_LEVELS = 4135,
  UNDO_LINK_NAME = 4150,
  UNDO_LINK_NAMES = 4155,
  UNDO_ROW = 4210,
  UNDO_RELATION = 4222,
  UNDO_NODE_TITLE = 4300,
  UNDO_NODE_COMMENT = 4310,
  UNDO_NODE_USER = 4360,
  UNDO_FINDING = 4400,
  UNDO_ALL_FINDINGS = 4410,
  UNDO_NET_NAME = 4700,
  UNDO_AUTOUPDATE = 4710,
  UNDO_FIND_MPE = 4715,
  UNDO_ELIM_ORDER = 4720,
  UNDO_NET_TITLE = 4800,
  UNDO_NET_COMMENT = 4810,
  UNDO_NET_USER = 4860,
  UNDO_NODES_ADDED = 5000,
  UNDO_NODE_DELETED = 5010,
  UNDO_NODES_REMOVED = 5020,
  UNDO_STATES_WITH_TABLES = 5300,
  UNDO_PARENTS = 5600,
  UNDO_SWITCH = 5700,
  UNDO_DISCONNECT = 5710,
  UNDO_DISCONNECT_ALL = 5720,
  UNDO_REVERSE = 5800,
  UNDO_ABSORB = 5900,
  UNDO_GROUP = 5990
};

// A record on the net's undo stack; the redo stack is freed and the undo stack trimmed. NULL when nothing is recorded
// (recording off, or no net).
UndoRecord* NewUndo(UndoCode code, net_bn net, node_bn node = nullptr);
bool UndoRecording();
int UndoDepth();
int SetUndoDepth(int depth, net_bn net);  // previous depth; -1 only asks
// Makes one step of all that is recorded on the net within its scope. The group's own record is made with its first
// member, so that a group in which nothing is changed leaves both stacks as they were. Groups nest.
class UndoGroup {
 public:
  UndoGroup(UndoCode code, net_bn net);
  ~UndoGroup();
  UndoGroup(const UndoGroup&) = delete;
  UndoGroup& operator=(const UndoGroup&) = delete;

  static void Begin(net_bn net);  // makes the records of the net's open groups

 private:
  void Make();
  void MakeFor(net_bn net);

  net_bn net_;
  UndoCode code_;
  UndoGroup* outer_;
  UndoRecord* group_ = nullptr;
};
// Records whatever happens to the net within its scope, whether recording is on or not, apart from the net's own
// stacks; at its end everything is undone and forgotten, and the stacks are as they were.
class PrivateUndo {
 public:
  explicit PrivateUndo(net_bn net);
  ~PrivateUndo();
  PrivateUndo(const PrivateUndo&) = delete;
  PrivateUndo& operator=(const PrivateUndo&) = delete;

 private:
  net_bn net_;
  UndoRecord *undo_, *redo_;
  int sublevel_, depth_;
  UndoGroup* outer_;
};
// Changes of the net within its scope are taken back at its end where something in it was halted; net and stacks are
// then as they were. Not within groups.
class TakenBackIfHalted {
 public:
  explicit TakenBackIfHalted(net_bn net);
  ~TakenBackIfHalted();
  TakenBackIfHalted(const TakenBackIfHalted&) = delete;
  TakenBackIfHalted& operator=(const TakenBackIfHalted&) = delete;

 private:
  void TakeBack();
  void Settle();

  net_bn net_;
  UndoRecord *undo_, *redo_;
  int depth_;
  unsigned halts_;
};
// While changes are taken back nothing is brought up to date after them.
bool IsTakingBack();
int UndoSequence(net_bn net);  // of the newest record, 0 when there is none
void UndoTo(net_bn net, int sequence);
void RedoTo(net_bn net, int sequence);
bool UndoLast(net_bn net);
bool RedoLast(net_bn net);
// The same as 0 or 1. A step whose update of beliefs was halted is taken back: -1.
int UndoUnlessHalted(net_bn net);
int RedoUnlessHalted(net_bn net);
void FreeUndo(net_bn net);
void StartUndo();  // the depth as it is before a host sets it
// A change that is not recorded (recording off): what is kept on both stacks no longer fits and is freed.
void UnrecordedChange(net_bn net);

}  // namespace bravic

// Undo records: every change of a net first writes down what it replaces. A record is applied by swapping what it
// holds with what the net holds, so that undo and redo are one operation.
#pragma once

#include "Bn/model/UndoCodes.h"

namespace bravic {

// A record on the net's undo stack; the redo stack is freed and the undo stack trimmed. NULL when nothing is recorded
// (recording off, or no net).
UndoRecord* NewUndo(UndoCode code, net_bn net, node_bn node = nullptr);
// The record of a change of the field that is certain now. From then on the field is the node's own, whatever its file
// said.
UndoRecord* BeginChange(net_bn net, NetField field);
UndoRecord* BeginChange(node_bn node, NodeField field);
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
  const bool isWatching_;  // nothing takes long where beliefs are neither known nor wanted
  UndoRecord *undo_, *redo_;
  int depth_;
  unsigned halts_;
};
// While changes are taken back nothing is brought up to date after them.
bool IsTakingBack();
// Makes one step of all that is recorded on the net until it is ended, as a group does across calls. Ended without
// being kept, everything since is taken back and the stacks are as they were. Steps nest. While any is open the depth
// stays.
void BeginStep(net_bn net);
bool EndStep(net_bn net, bool isKept);  // whether anything was recorded
bool AnyStepOpen();
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

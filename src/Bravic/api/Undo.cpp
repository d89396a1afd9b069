// Undo.
#include "Bn/model/Undo.h"

#include <climits>

#include "Basic/Errors.h"
#include "Basic/Text.h"
#include "Bravic/NetCall.h"

using namespace bravic;

namespace {

bool CheckNoStep(net_bn net) {
  if (!net->step) return true;
  Report(CHANGES_NOT_ENDED, OrEmpty(net->name));
  return false;
}

}  // namespace

int BRAVIC_CALL BeginChanges_bn(net_bn net) {
  NetCall call("BeginChanges_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net)) return -1;
  if (!UndoRecording()) {
    Report(CHANGES_NOT_RECORDED);
    return -1;
  }
  BeginStep(net);
  return 0;
}

int BRAVIC_CALL EndChanges_bn(net_bn net, int keep) {
  NetCall call("EndChanges_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net)) return -1;
  if (!net->step) {
    Report(NO_CHANGES_BEGUN, OrEmpty(net->name));
    return -1;
  }
  return EndStep(net, keep != 0);
}

int BRAVIC_CALL UndoLastChange_bn(net_bn net) {
  NetCall call("UndoLastChange_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net) || !CheckNoStep(net)) return -1;
  return UndoUnlessHalted(net);
}

int BRAVIC_CALL RedoLastChange_bn(net_bn net) {
  NetCall call("RedoLastChange_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net) || !CheckNoStep(net)) return -1;
  return RedoUnlessHalted(net);
}

int BRAVIC_CALL SetUndoDepth_bn(int depth, net_bn net) {
  NetCall call("SetUndoDepth_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE)) return -1;
  if (call.Basic() && depth < -1) {
    Report(UNDO_DEPTH_OUT_OF_RANGE, depth, -1, 0, INT_MAX);
    return -1;
  }
  if (!call.CheckNet(net)) return -1;
  if (depth >= 0 && depth != UndoDepth() && AnyStepOpen()) {
    Report(DEPTH_WITHIN_CHANGES);
    return -1;
  }
  return SetUndoDepth(depth, net);
}

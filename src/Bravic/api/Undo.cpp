// Undo.
#include "Bn/model/Undo.h"

#include <climits>

#include "Basic/Errors.h"
#include "Bravic/NetCall.h"

using namespace bravic;

int BRAVIC_CALL UndoLastChange_bn(net_bn net) {
  NetCall call("UndoLastChange_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net)) return -1;
  return UndoUnlessHalted(net);
}

int BRAVIC_CALL RedoLastChange_bn(net_bn net) {
  NetCall call("RedoLastChange_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net)) return -1;
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
  return SetUndoDepth(depth, net);
}

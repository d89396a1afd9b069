// Decision networks.
#include "Bn/decide/Absorb.h"
#include "Bn/decide/Optimize.h"
#include "Bn/decide/Reverse.h"
#include "Bn/decide/Solve.h"
#include "Bn/decide/Utility.h"
#include "Bravic/NetCall.h"

using namespace bravic;

int BRAVIC_CALL ReverseLink_bn(node_bn parent, node_bn child) {
  NetCall call("ReverseLink_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(parent) || !call.CheckNode(child) ||
      !call.CheckSameNet(parent, child)) {
    return -1;
  }
  // Goes ahead whatever FindObstacle would say: a host that needs its conditions ensures them itself.
  LongWork work("Reversing a link", 0, Showing::Always);
  const ReversalResult result = ReverseLink(parent, child, ParentOrder::ParentsFirst, ParentTable::Made, work);
  if (result != REVERSAL_HALTED) return result;
  Post(FailHalted());
  return -1;
}

int BRAVIC_CALL OptimizeDecisions_bn(nodelist_bn nodes) {
  NetCall call("OptimizeDecisions_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckList(nodes, NetCall::ALLOW_DUPLICATES)) return -1;
  if (nodes->num <= 0) return 0;
  Failure failure = OptimizeDecisions(nodes->ar[0]->innet);
  if (!failure) return 0;
  int number = failure->number;
  Post(std::move(failure));
  return number;
}

// The list is consumed whatever becomes of the call; one that the library owns was never the caller's to give.
void BRAVIC_CALL AbsorbNodes_bn(nodelist_bn nodes) {
  NetCall call("AbsorbNodes_bn");
  if (call.IsRefused()) return;  // the list may be what the calling operation works on
  const bool callers = PlaceOf(nodes).owner == ListPlace::HOST;
  if (call.HasReserve(NO_RESERVE_TO_CHANGE) && call.CheckList(nodes, NetCall::ALLOW_NONE)) {
    if (!callers) {
      Report(LIST_NOT_TO_BE_FREED);
    } else if (nodes->num > 0) {
      LongWork work("Absorbing nodes", 0, Showing::Always);
      if (Failure failure = AbsorbNodes(nodes->ar[0]->innet, Entries(*nodes), nullptr, work)) Post(std::move(failure));
    }
  }
  if (callers) FreeList(nodes);
}

double BRAVIC_CALL GetExpectedUtility_bn(net_bn net) {
  NetCall call("GetExpectedUtility_bn");
  if (!call.HasReserve() || !call.CheckNet(net)) return UNDEF_DBL;
  double utility = UNDEF_DBL;
  if (Failure failure = ExpectedUtility(net, &utility)) {
    Post(std::move(failure));
    return UNDEF_DBL;
  }
  return utility;
}

double BRAVIC_CALL SolveDecisions_bn(net_bn net, int method) {
  NetCall call("SolveDecisions_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net)) return UNDEF_DBL;
  if (method != 0 && method != 1) {
    Report(UNKNOWN_DECISION_METHOD, method);
    return UNDEF_DBL;
  }
  double utility = UNDEF_DBL;
  if (Failure failure = SolveDecisions(net, method == 0 ? Memory::OfLinks : Memory::OfAll, &utility)) {
    Post(std::move(failure));
    return UNDEF_DBL;
  }
  return utility;
}

double BRAVIC_CALL ValueOfObserving_bn(node_bn node, node_bn decision) {
  NetCall call("ValueOfObserving_bn");
  if (!call.HasReserve() || !call.CheckNode(node) || !call.CheckNode(decision) || !call.CheckSameNet(node, decision)) {
    return UNDEF_DBL;
  }
  double value = UNDEF_DBL;
  if (Failure failure = ValueOfObserving(node, decision, &value)) {
    Post(std::move(failure));
    return UNDEF_DBL;
  }
  return value;
}

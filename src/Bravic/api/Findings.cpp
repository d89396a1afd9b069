// Compiling, findings, beliefs.
#include "Bn/compiled/Findings.h"

#include "Bn/compiled/Beliefs.h"
#include "Bn/compiled/CaseBeliefs.h"
#include "Bn/compiled/Compile.h"
#include "Bn/compiled/ElimOrder.h"
#include "Bn/compiled/Preflight.h"
#include "Bn/compiled/TreeReport.h"
#include "Bn/model/SharedAnswers.h"
#include "Bn/model/Undo.h"
#include "Bravic/NetCall.h"

using namespace bravic;

namespace {

// Whether the node has states; reported under the number otherwise.
bool CheckDiscretized(node_bn node, ErrorFor<const char*> error) {
  if (node->numstates > 0 || !NetCall::Basic()) return true;
  Report(error, node->name);
  return false;
}

}  // namespace

void BRAVIC_CALL CompileNet_bn(net_bn net) {
  NetCall call("CompileNet_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net)) return;
  if (Failure failure = CompileNet(net)) {
    Post(std::move(failure));
    return;
  }
  if (net->autoupdate) UpdateBeliefs(net, Account::ToUser);
}

void BRAVIC_CALL EnterFinding_bn(node_bn node, statetype state) {
  NetCall call("EnterFinding_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node) || !call.CheckState(node, state)) return;
  const TakenBackIfHalted change(node->innet);
  EnterState(node, state, Entry::Adding);
}

void BRAVIC_CALL EnterFindingNot_bn(node_bn node, statetype state) {
  NetCall call("EnterFindingNot_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node) || !call.CheckState(node, state)) return;
  const TakenBackIfHalted change(node->innet);
  EnterNot(node, state);
}

void BRAVIC_CALL EnterNodeLikelihood_bn(node_bn node, const probtype* likelihood) {
  NetCall call("EnterNodeLikelihood_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node)) return;
  if (!likelihood && NetCall::Basic()) {
    Report(NULL_LIKELIHOOD);
    return;
  }
  const TakenBackIfHalted change(node->innet);
  EnterLikelihood(node, likelihood, Entry::Adding);
}

void BRAVIC_CALL EnterNodeValue_bn(node_bn node, double value) {
  NetCall call("EnterNodeValue_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node)) return;
  const TakenBackIfHalted change(node->innet);
  EnterValue(node, value, Entry::Adding);
}

statetype BRAVIC_CALL GetNodeFinding_bn(node_bn node) {
  NetCall call("GetNodeFinding_bn");
  if (!call.HasReserve() || !call.CheckNode(node) || !CheckDiscretized(node, GETTING_FINDING_WITHOUT_STATES))
    return NO_FINDING;
  return FindingOf(*node);
}

const probtype* BRAVIC_CALL GetNodeLikelihood_bn(node_bn node) {
  NetCall call("GetNodeLikelihood_bn");
  if (!call.HasReserve() || !call.CheckNode(node) || !CheckDiscretized(node, GETTING_LIKELIHOOD_WITHOUT_STATES))
    return SharedOnes(1);
  return ShownLikelihood(node);
}

double BRAVIC_CALL GetNodeValue_bn(node_bn node) {
  NetCall call("GetNodeValue_bn");
  if (!call.HasReserve() || !call.CheckNode(node)) return UNDEF_DBL;
  if (NetCall::Basic() && node->discrete == DISCRETE && !node->levels) {
    Report(VALUE_OF_NODE_WITHOUT_LEVELS, node->name);
    return UNDEF_DBL;
  }
  return ValueOf(*node);
}

void BRAVIC_CALL RetractNodeFindings_bn(node_bn node) {
  NetCall call("RetractNodeFindings_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node)) return;
  const TakenBackIfHalted change(node->innet);
  RetractFinding(node);
}

void BRAVIC_CALL RetractAllFindings_bn(net_bn net) {
  NetCall call("RetractAllFindings_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net)) return;
  const TakenBackIfHalted change(net);
  RetractAllFindings(net);
}

const probtype* BRAVIC_CALL GetNodeBeliefs_bn(node_bn node) {
  NetCall call("GetNodeBeliefs_bn");
  if (!call.HasReserve() || !call.CheckNode(node)) return SharedOneThenZeros(1);
  const float* belief = CurrentBelief(node);
  return belief ? belief : SharedOneThenZeros(node->numstates);
}

long BRAVIC_CALL BeliefsOfCases_bn(nodelist_bn observed, const statetype* states, long numcases, nodelist_bn targets,
                                   probtype* beliefs, double* logprobs, int numthreads) {
  NetCall call("BeliefsOfCases_bn");
  if (!call.HasReserve() || !call.CheckList(observed, NetCall::ALLOW_NONE) ||
      !call.CheckList(targets, NetCall::ALLOW_NONE))
    return -1;
  if (numcases < 0) {
    Report(NEGATIVE_CASES_TO_INFER, numcases);
    return -1;
  }
  if (!states && numcases > 0 && observed->num > 0) {
    Report(NULL_CASE_STATES, numcases);
    return -1;
  }
  if (numthreads < 0) {
    Report(NEGATIVE_THREADS, numthreads);
    return -1;
  }
  return BeliefsOfCases(*observed, *targets, {states, numcases, beliefs, logprobs}, numthreads);
}

int BRAVIC_CALL IsBeliefUpdated_bn(node_bn node) {
  NetCall call("IsBeliefUpdated_bn");
  if (!call.HasReserve() || !call.CheckNode(node)) return 0;
  return node->innet->beliefsCurrent;
}

double BRAVIC_CALL CaseProbability_bn(net_bn net) {
  NetCall call("CaseProbability_bn");
  if (!call.HasReserve() || !call.CheckNet(net)) return -1.0;
  return CaseProbability(net);
}

double BRAVIC_CALL CaseLogProbability_bn(net_bn net) {
  NetCall call("CaseLogProbability_bn");
  if (!call.HasReserve() || !call.CheckNet(net)) return UNDEF_DBL;
  return CaseLogProbability(net);
}

statetype BRAVIC_CALL GetNodeMostProbable_bn(node_bn node) {
  NetCall call("GetNodeMostProbable_bn");
  if (!call.HasReserve() || !call.CheckNode(node)) return UNDEF_STATE;
  if (!node->innet->findmpe) {
    Report(FINDMPE_IS_OFF, node->innet->name);
    return UNDEF_STATE;
  }
  return MostProbableState(node);
}

const char* BRAVIC_CALL JunctionTreeReport_bn(net_bn net) {
  NetCall call("JunctionTreeReport_bn");
  if (!call.HasReserve() || !call.CheckNet(net)) return NO_TEXT;
  return JunctionTreeReport(net);
}

int BRAVIC_CALL FindElimOrder_bn(net_bn net, double seconds) {
  NetCall call("FindElimOrder_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net)) return -1;
  return FindElimOrder(net, seconds);
}

int BRAVIC_CALL EstimateCompile_bn(net_bn net, double* entries, double* bytes, double* seconds) {
  NetCall call("EstimateCompile_bn");
  if (!call.HasReserve() || !call.CheckNet(net)) return -1;
  engine::TreeEstimate estimate;
  if (!EstimateCompile(net, &estimate)) return -1;
  if (entries) *entries = estimate.entries;
  if (bytes) *bytes = estimate.bytes;
  if (seconds) *seconds = estimate.seconds;
  return 0;
}

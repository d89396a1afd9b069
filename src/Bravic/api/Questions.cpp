// Questions beyond beliefs.
#include "Bn/questions/Asked.h"
#include "Bn/questions/Configurations.h"
#include "Bn/questions/Explain.h"
#include "Bn/questions/Information.h"
#include "Bn/questions/JointBeliefs.h"
#include "Bn/questions/Sensitivity.h"
#include "Bn/questions/Separation.h"
#include "Bravic/NetCall.h"

using namespace bravic;

namespace {

// Whether there is room for the answer; reported otherwise.
bool CheckRoom(const void* room, const char* argument) {
  if (room || !NetCall::Basic()) return true;
  Report(NULL_ROOM_FOR_ANSWER, argument);
  return false;
}

}  // namespace

int BRAVIC_CALL AreSeparated_bn(nodelist_bn some, nodelist_bn others, nodelist_bn given) {
  NetCall call("AreSeparated_bn");
  if (!call.HasReserve() || !call.CheckList(some, NetCall::ALLOW_NONE) ||
      !call.CheckList(others, NetCall::ALLOW_NONE) || !call.CheckList(given, NetCall::ALLOW_NONE))
    return -1;
  net_bn net;
  if (!FindNetAsked({some, others, given}, &net)) return -1;
  return AreSeparated(net, *some, *others, *given);
}

nodelist_bn BRAVIC_CALL MarkovBlanket_bn(node_bn node) {
  NetCall call("MarkovBlanket_bn");
  if (!call.HasReserve() || !call.CheckNode(node)) return nullptr;
  nodelist_bn blanket = MarkovBlanket(*node);
  if (!blanket) Report(NO_MEMORY_FOR_NODES_FOUND);
  return blanket;
}

int BRAVIC_CALL JointBeliefs_bn(nodelist_bn nodes, double* probs) {
  NetCall call("JointBeliefs_bn");
  if (!call.HasReserve() || !call.CheckList(nodes, NetCall::ALLOW_NONE) || !CheckRoom(probs, "probs")) return -1;
  return JointBeliefs(*nodes, probs) ? 0 : -1;
}

int BRAVIC_CALL InformationGains_bn(node_bn target, nodelist_bn others, double* bits) {
  NetCall call("InformationGains_bn");
  if (!call.HasReserve() || !call.CheckNode(target) || !call.CheckList(others, NetCall::ALLOW_NONE) ||
      !CheckRoom(bits, "bits"))
    return -1;
  return InformationGains(target, *others, bits) ? 0 : -1;
}

int BRAVIC_CALL VarianceReductions_bn(node_bn target, nodelist_bn others, double* reductions) {
  NetCall call("VarianceReductions_bn");
  if (!call.HasReserve() || !call.CheckNode(target) || !call.CheckList(others, NetCall::ALLOW_NONE) ||
      !CheckRoom(reductions, "reductions"))
    return -1;
  return VarianceReductions(target, *others, reductions) ? 0 : -1;
}

nodelist_bn BRAVIC_CALL ConflictingFindings_bn(node_bn node, statetype state) {
  NetCall call("ConflictingFindings_bn");
  if (!call.HasReserve() || !call.CheckNode(node) || (state != EVERY_STATE && !call.CheckState(node, state)))
    return nullptr;
  Vector<node_bn> findings;
  if (FindConflict(node, state, &findings) != Conflict::Found) return nullptr;
  nodelist_bn list = NewListOf(findings);
  if (!list) Report(NO_MEMORY_FOR_NODES_FOUND);
  return list;
}

double BRAVIC_CALL FindingsConflict_bn(net_bn net) {
  NetCall call("FindingsConflict_bn");
  if (!call.HasReserve() || !call.CheckNet(net)) return UNDEF_DBL;
  return FindingsConflict(net);
}

int BRAVIC_CALL FindingImpacts_bn(node_bn target, statetype state, nodelist_bn observed, double* without) {
  NetCall call("FindingImpacts_bn");
  if (!call.HasReserve() || !call.CheckNode(target) || !call.CheckState(target, state) ||
      !call.CheckList(observed, NetCall::ALLOW_NONE) || !CheckRoom(without, "without"))
    return -1;
  return FindingImpacts(target, state, *observed, without) ? 0 : -1;
}

int BRAVIC_CALL BeliefSensitivity_bn(node_bn target, statetype state, node_bn node, const statetype* parentstates,
                                     statetype entry, double coefficients[4]) {
  NetCall call("BeliefSensitivity_bn");
  if (!call.HasReserve() || !call.CheckNode(target) || !call.CheckState(target, state) || !call.CheckNode(node) ||
      !call.CheckSameNet(target, node) || !call.CheckParentStates(node, parentstates, NetCall::ALLOW_NONE) ||
      !call.CheckState(node, entry) || !CheckRoom(coefficients, "coefficients"))
    return -1;
  return BeliefSensitivity(target, state, node, parentstates, entry, coefficients) ? 0 : -1;
}

int BRAVIC_CALL BeliefSensitivities_bn(node_bn target, statetype state, nodelist_bn nodes, double* coefficients) {
  NetCall call("BeliefSensitivities_bn");
  if (!call.HasReserve() || !call.CheckNode(target) || !call.CheckState(target, state) ||
      !call.CheckList(nodes, NetCall::ALLOW_NONE) || !CheckRoom(coefficients, "coefficients"))
    return -1;
  return BeliefSensitivities(target, state, *nodes, coefficients) ? 0 : -1;
}

int BRAVIC_CALL MostProbableConfigs_bn(net_bn net, int count, statetype* states, double* probs) {
  NetCall call("MostProbableConfigs_bn");
  if (!call.HasReserve() || !call.CheckNet(net)) return -1;
  if (count < 0) {
    Report(NEGATIVE_CONFIGS, count);
    return -1;
  }
  if (!states && count > 0) {
    Report(NULL_CONFIG_STATES);
    return -1;
  }
  return MostProbableConfigs(net, count, states, probs);
}

int BRAVIC_CALL MostProbableStates_bn(nodelist_bn nodes, statetype* states, double* prob) {
  NetCall call("MostProbableStates_bn");
  if (!call.HasReserve() || !call.CheckList(nodes, NetCall::ALLOW_NONE)) return -1;
  if (!states) {
    Report(NULL_CONFIG_STATES);
    return -1;
  }
  return MostProbableStates(*nodes, states, prob);
}

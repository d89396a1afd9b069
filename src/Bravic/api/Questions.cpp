// Questions beyond beliefs.
#include "Bn/questions/Asked.h"
#include "Bn/questions/Configurations.h"
#include "Bn/questions/Separation.h"
#include "Bravic/NetCall.h"

using namespace bravic;

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
  if (!blanket) Report(NO_MEMORY_FOR_BLANKET);
  return blanket;
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

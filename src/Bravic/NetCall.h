// Argument checks of exported functions that need the model: nets, nodes, node lists, states, state vectors.
#pragma once

#include "Bn/model/Records.h"
#include "Bravic/ApiCall.h"

namespace bravic {

class NetCall : public ApiCall {
 public:
  using ApiCall::ApiCall;
  bool CheckNet(net_bn net);        // NULL_NET, DAMAGED_NET; deep: its consistency
  bool CheckNode(node_bn node);     // NULL_NODE, DAMAGED_NODE, PLACEHOLDER_FOR_NODE
  bool CheckAnyNode(node_bn node);  // placeholders too
  enum Allow : unsigned { ALLOW_NONE = 0, ALLOW_NULLS = 1, ALLOW_DUPLICATES = 2, ALLOW_WILDCARDS = 4 };
  bool CheckList(nodelist_bn list, unsigned allow);                    // NULL: NULL_NODE_LIST
  bool CheckNameUnused(const char* name, net_bn net, node_bn except);  // NAME_ALREADY_USED, lists level
  bool CheckSameNet(node_bn parent, node_bn child);                    // PARENTS_OF_ANOTHER_NET
  bool CheckState(node_bn node, statetype state);                      // STATE_OUT_OF_RANGE
  bool CheckLevelIndex(node_bn node, int index);  // LEVEL_OF_DISCRETE_OUT_OF_RANGE, LEVEL_OF_CONTINUOUS_OUT_OF_RANGE
  bool CheckLinkIndex(node_bn node, int index);   // LINK_OUT_OF_RANGE
  // NULL is fit only for a node without parents; UNDEF_STATE and IMPOS_STATE are refused, wildcards as allowed.
  bool CheckParentStates(node_bn node, const statetype* parentstates, unsigned allow);
};

}  // namespace bravic

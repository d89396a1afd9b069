// Argument checks of exported functions that need the model: nets, nodes, node lists, states, state vectors.
#pragma once

#include "Bn/model/Records.h"
#include "Bravic/ApiCall.h"

namespace bravic {

class NetCall : public ApiCall {
 public:
  using ApiCall::ApiCall;
  bool CheckNet(net_bn net);        // -5104, -5143; deep: its consistency
  bool CheckNode(node_bn node);     // -5105, -5144, -5138 for a placeholder
  bool CheckAnyNode(node_bn node);  // placeholders too
  enum Allow : unsigned { ALLOW_NONE = 0, ALLOW_NULLS = 1, ALLOW_DUPLICATES = 2, ALLOW_WILDCARDS = 4 };
  bool CheckList(nodelist_bn list, unsigned allow);                    // NULL: -5110
  bool CheckNameUnused(const char* name, net_bn net, node_bn except);  // -5512, lists level
  bool CheckSameNet(node_bn parent, node_bn child);                    // -2016
  bool CheckState(node_bn node, statetype state);                      // -5106
  bool CheckLevelIndex(node_bn node, int index);                       // -5107, -5108
  bool CheckLinkIndex(node_bn node, int index);                        // -5109
  // NULL is fit only for a node without parents; UNDEF_STATE and IMPOS_STATE are refused, wildcards as allowed.
  bool CheckParentStates(node_bn node, const statetype* parentstates, unsigned allow);
};

}  // namespace bravic

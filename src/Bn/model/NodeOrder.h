// The order in which a net hands out its nodes: connected components in the order of their first member, and within
// each every node after its parents. Worked out when it is asked for; breadth-first for the components, depth-first
// with an explicit stack for the order, both in time linear in nodes and links.
#pragma once

#include "Bn/model/Lists.h"

namespace bravic {

const nodelist_rec& OrderedNodes(net_bn net);  // brings the node order up to date first
// Takes the present order as it stands when every node comes after its parents but for those on a cycle with it.
void KeepPresentOrder(net_bn net);
int NewMark();  // a fresh visit label

// A node order as it stood while it was valid; ORDER_UNKNOWN holds nothing.
struct HeldOrder {
  int orderstate = ORDER_UNKNOWN, numcycles = 0;
  Vector<node_bn> nodes;
  Vector<Subnet> subnets;
};

HeldOrder KeepOrder(net_bn net);
void SetOrder(net_bn net, const HeldOrder& order);  // of the same nodes

}  // namespace bravic

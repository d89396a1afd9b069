// What the engine has to know of a net before there is a junction tree: its nodes by number, their links, and
// elimination orders by number.
#pragma once

#include "Bn/engine/Order.h"
#include "Bn/model/Net.h"

namespace bravic {

struct CompileGraph {
  Vector<node_bn> nodes;
  Vector<int> numstates;
  Vector<Vector<int>> parents, children;
};

// Every node of the net except those of kind ASSUME_NODE, in node order.
Vector<node_bn> CompileNodes(net_bn net);
// Whether there is room for what MoralGraph makes of their links.
Failure CheckGraphSize(const Vector<node_bn>& nodes);
// The list must have passed the checks of structure. Numbers its nodes (compiledIndex).
CompileGraph MakeGraph(Vector<node_bn> nodes);
// The net's stored order by number; what it lacks follows in list order.
Vector<int> StoredOrder(net_bn net, const CompileGraph& graph);
void StoreOrder(nodelist_rec& list, const CompileGraph& graph, const Vector<int>& order);
// The warning that is due when the search was halted before it had placed every node.
void WarnHalted(const engine::Order& order);

}  // namespace bravic

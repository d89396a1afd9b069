// Elimination orders: a greedy search by state space, with the ties that hosts rely on, and the cost of a given order.
// Others, for computing with, stand in SearchOrder.h.
#pragma once

#include "Bn/engine/Graph.h"
#include "Bn/engine/Interrupt.h"

namespace bravic::engine {

struct Order {
  Vector<int> nodes;  // every node once, first eliminated first
  double cost = 0;    // total state space
  int numFound = 0;   // fewer than all when the search was halted; the rest follow in node order
  bool halted = false;
};
// Greedy: at each step the remaining node, in node order, whose elimination makes the smallest clique; a node whose
// remaining neighbours lie in a recorded larger set costs 0.
Order FindOrder(const Graph& moral, std::span<const int> numstates, const ProgressFunction& progress);
double OrderCost(const Graph& moral, std::span<const int> numstates, std::span<const int> order);

}  // namespace bravic::engine

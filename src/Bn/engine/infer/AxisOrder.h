// The order of variables in potentials and messages. Passes are quick where neighbouring axes can be joined and rows
// are long, so cliques try orders and keep the one that the cost of a plan favours: variables that are in the same
// separators are best kept together, so first orders of such groups, then moves of single variables.
#pragma once

#include "Bn/engine/infer/Structure.h"

namespace bravic::engine {

// Sorts the variables of all cliques and separators.
void ChooseAxisOrders(Structure* structure);

}  // namespace bravic::engine

// Optimal decisions of nets with any number of utility nodes, which add up: what the engine finds (Bn/engine/decide),
// set as the decisions' function tables.
#pragma once

#include "Basic/Errors.h"
#include "Bn/model/Records.h"

namespace bravic {

enum class Memory { OfLinks, OfAll };  // a decision knows its parents, or also all that earlier ones knew and chose
// Sets the tables of all decisions that are not made, in one change, and answers what they are worth.
Failure SolveDecisions(net_bn net, Memory memory, double* utility);
// How much more is to be expected where the node is known at the decision and later, nothing being forgotten.
Failure ValueOfObserving(node_bn node, node_bn decision, double* value);

}  // namespace bravic

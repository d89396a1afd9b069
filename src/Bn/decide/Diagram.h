// A net as the engine sees it when decisions are its subject (Bn/engine/decide): items in node order, then the weights
// that likelihoods and impossible rows put on their families. Findings are cut out of the tables.
#pragma once

#include <span>

#include "Basic/Errors.h"
#include "Bn/engine/decide/DecisionModel.h"
#include "Bn/model/Records.h"

namespace bravic {

// What is taken for a decision that is not made: free to be chosen, its present table, or another function table.
enum class DecisionsAre { Open, AsTheyStand };
struct ChosenTable {
  node_bn decision;
  Block<statetype> states;  // [parent configuration]
};

// The nodes, which have passed the checks for optimizing, are all of the net's but those of kind ASSUME_NODE, in node
// order; item i is nodes[i]. Numbers them (scratch). chosen: tables that stand in for the decisions' own.
Failure MakeDiagram(std::span<const node_bn> nodes, DecisionsAre decisions, std::span<const ChosenTable> chosen,
                    engine::DecisionModel* model);

}  // namespace bravic

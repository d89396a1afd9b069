// What is expected of the utility nodes of a decision network, which add up, under given decision tables and the
// present findings.
#pragma once

#include <span>

#include "Basic/Errors.h"
#include "Bn/decide/Diagram.h"
#include "Bn/engine/decide/ValueElimination.h"
#include "Win_Face/Interaction.h"

namespace bravic {

// The one utility node.
Failure FindUtility(std::span<const node_bn> nodes, node_bn* utility);
// Whether the nodes, all of a net's, can be decided about: at least one of them is a utility.
Failure CheckDecisions(std::span<const node_bn> nodes);
// chosen: tables that stand in for the decisions' own.
Failure ExpectedUtility(std::span<const node_bn> nodes, std::span<const ChosenTable> chosen, double* utility);
Failure ExpectedUtility(net_bn net, double* utility);

// Tells the work how far the engine is, and the engine whether to go on.
inline engine::ProgressFunction ProgressOf(LongWork& work) {
  return [&work](double share) {
    work.SetShare(share);
    return work.Halts(LongWork::BETWEEN_LOOKS);
  };
}
// What an outcome of the engine comes to, of which bytes is what memory did not suffice for.
Failure FailureOf(engine::ValueOutcome outcome, double bytes, std::span<const node_bn> nodes);

}  // namespace bravic

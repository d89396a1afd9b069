// The utility of a decision network: which node holds it, and what is expected of it under the present decision tables
// and findings. The expectation is found by the engine (Bn/engine/infer): decisions are nodes whose table is their
// policy, and the utility node's parents have a marginal to weigh its table with.
#pragma once

#include <span>

#include "Basic/Errors.h"
#include "Bn/model/Records.h"

namespace bravic {

// The one utility node.
Failure FindUtility(std::span<const node_bn> nodes, node_bn* utility);
Failure ExpectedUtility(net_bn net, double* utility);

}  // namespace bravic

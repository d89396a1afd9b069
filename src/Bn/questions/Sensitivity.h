// How a belief depends on single entries of tables: as a quotient of two linear functions of the entry (Castillo,
// Gutierrez & Hadi 1997), the other entries of its row keeping their proportions.
#pragma once

#include "Bn/model/Records.h"

namespace bravic {

// The belief in the target's state is (c0 x + c1) / (c2 x + c3) when the entry is x; the divisor is 1 for the entry
// that there is.
inline constexpr int NUM_COEFFICIENTS = 4;
// Of every entry of the nodes' tables, node by node: coefficients [entries x 4]. False with an error posted.
bool BeliefSensitivities(node_bn target, statetype state, const nodelist_rec& nodes, double* coefficients);
// Of one entry: [4]. parentstates: in range.
bool BeliefSensitivity(node_bn target, statetype state, node_bn node, const statetype* parentstates, statetype entry,
                       double* coefficients);

}  // namespace bravic

// What findings do: to each other, and to a belief.
#pragma once

#include "Bn/model/Records.h"

namespace bravic {

// The binary logarithm of the product of the findings' own probabilities over that of all together (Jensen,
// Chamberlain, Nordahl & Jensen 1991); INF_DBL for a contradiction, UNDEF_DBL with an error posted.
double FindingsConflict(net_bn net);
// The belief in the target's state without the findings of each of the nodes; false with an error posted.
bool FindingImpacts(node_bn target, statetype state, const nodelist_rec& observed, double* without);

// The findings that rule the state out, or with EVERY_STATE each other: no set of fewer does where at most 20 matter,
// else none of them can be spared. Decided by which entries are 0, never by small numbers.
enum class Conflict { Found, NotThere, Failed };  // the last with an error posted
Conflict FindConflict(node_bn node, statetype state, Vector<node_bn>* findings);

}  // namespace bravic

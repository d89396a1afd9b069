// The invariants that hold between calls: every record that a net reaches is alive and of its type, lists and links
// agree in both directions, and arrays are as long as what they are indexed by. Contents of tables are not looked at,
// so that the check of a node stays cheap.
#pragma once

#include "Basic/Errors.h"
#include "Bn/model/Records.h"

namespace bravic {

// Asked by deep argument checks, before saving and after reading.
Failure CheckNodeConsistency(node_bn node);
Failure CheckNetConsistency(net_bn net);

}  // namespace bravic

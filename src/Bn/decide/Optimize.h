// Solving a decision network as a whole: the net is absorbed under a private undo, the policies are kept, everything
// is put back and each decision gets its policy as its function table.
#pragma once

#include "Basic/Errors.h"
#include "Bn/model/Records.h"

namespace bravic {

// Gives every decision node of the net its optimal table and leaves the rest as it was; on failure all of it.
Failure OptimizeDecisions(net_bn net);

}  // namespace bravic

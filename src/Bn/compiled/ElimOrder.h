// The search for an elimination order on demand, beyond the one that compiling makes.
#pragma once

#include "Bn/model/Records.h"

namespace bravic {

// Stores the best order found, as a change that can be undone. 0, or -1 with an error posted.
int FindElimOrder(net_bn net, double seconds);

}  // namespace bravic

// The junction tree of a net as a text.
#pragma once

#include "Bn/model/Records.h"

namespace bravic {

// Belongs to the net, until the next one.
const char* JunctionTreeReport(net_bn net);

}  // namespace bravic

// The junction tree of a net as a text.
#pragma once

#include "Bn/model/Records.h"

namespace bravic {

// Newly allocated, owned by the caller.
char* JunctionTreeReport(net_bn net);

}  // namespace bravic

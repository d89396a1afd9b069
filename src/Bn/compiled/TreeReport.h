// The junction tree of a net as a text: a line a clique with its neighbours, its size and its members, and the size of
// all. It is the tree of the net's elimination order, not the one that is computed with.
#pragma once

#include "Bn/model/Records.h"

namespace bravic {

// Belongs to the net, until the next one.
const char* JunctionTreeReport(net_bn net);

}  // namespace bravic

// The record of a node or placeholder outside of any net: made, copied, freed.
#pragma once

#include "Bn/model/Records.h"

namespace bravic {

// A node outside any net; as a copy of source: its tag, what nodes hand on (Fields.h) and its tables, but no name,
// links and findings. NULL when its tables cannot be copied.
node_bn NewNodeRecord(const bnode* source);
void FreeNodeRecord(node_bn node);

}  // namespace bravic

// The finding of a node being read: what its own statements say, else what its define-nodes do. `evidence` and `value`
// may say the same thing together; of other statements the last one holds.
#pragma once

#include "Bn/files/NodeBlock.h"

namespace bravic {

void ReadFindings(NodeBlock& block);

}  // namespace bravic

// The end of a node block: the values that were left where they stand (levels, beliefs, findings) are read, when the
// number of states is known, and what was left unsaid is settled. Tables and link names wait for the parents.
#pragma once

#include "Bn/files/NodeBlock.h"

namespace bravic {

void FinishNode(NodeBlock& block);

}  // namespace bravic

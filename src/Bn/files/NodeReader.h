// Node blocks: nodes, define-nodes and placeholders, statement by statement. Statements whose values stand on their own
// are read where they stand (NodeStatements.h); values that depend on others are read at the end of the block
// (NodeWaiting.h) or, when their parents come later in the file, at the end of the net (NetBlock.h).
#pragma once

#include "Bn/files/NetReader.h"

namespace bravic {

// Reads from behind the keyword to the closing "}" and ";".
void ReadNodeBlock(NetReader& reader, bool isparam, bool isdefine);

}  // namespace bravic

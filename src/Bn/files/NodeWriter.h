// The block of a node, a define-node or a placeholder: which of its fields are written (NodeFields.h says how), given
// what it inherits.
#pragma once

#include "Bn/files/NetPrinter.h"

namespace bravic {

void PrintNode(NetPrinter& printer, const bnode& node);

}  // namespace bravic

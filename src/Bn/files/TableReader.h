// Reading the tables of nodes.
#pragma once

#include "Bn/files/NetReader.h"

namespace bravic {

// The channel stands behind the "=", the node's parents are linked. On success the node owns the table and the channel
// stands before the statement's ";".
bool ReadTable(NetReader& reader, node_bn node, NodeField field);
// Whether the node and its parents have the states that a table asks for.
bool FitsTable(const bnode& node, NodeField field);

}  // namespace bravic

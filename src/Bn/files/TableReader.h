// Reading the tables of nodes. A table is nested lists, one level per parent (the first outermost) and, in a
// probability table, a row over the node's own states innermost. Reading is a loop over elements with a counter per
// level, so that the nesting of a file costs no stack. Entries go straight into the node's table:
//
//   element   a row of a probability table, or an entry of another table, at whatever level it stands; it is copied
//             to all the rows below the configuration of the levels that are open
//   list      closed after one element, it stands for all states of its parent; else it must have them all
//   flat      a single list with an entry for every cell
#pragma once

#include "Bn/files/NetReader.h"

namespace bravic {

// The channel stands behind the "=", the node's parents are linked. On success the node owns the table and the channel
// stands before the statement's ";".
bool ReadTable(NetReader& reader, node_bn node, NodeField field);
// Whether the node and its parents have the states that a table asks for.
bool FitsTable(const bnode& node, NodeField field);

}  // namespace bravic

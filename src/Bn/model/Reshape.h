// Carrying the tables of a node over to other parents.
#pragma once

#include <span>

#include "Bn/model/UndoRecord.h"

namespace bravic {

// Replaces each table of the node that exists by one over the new parents. inverse [number of new parents]: the old
// position of each, -1 for an added one. Every state of an added parent gets the old entry; a removed parent is held at
// its state39. Where either table has no rows (a parent without states) nothing is left. Called while the node still
// has its old parents. On shortage the table that cannot be had and those after it (probs, numcases, determin,
// determinv) are left absent, and the answer is false.
bool ReshapeTables(UndoRecord* undo, node_bn node, std::span<const node_bn> newparents, std::span<const int> inverse);

}  // namespace bravic

// Link reversal: turns a link A -> B around so that B becomes a parent of A while the joint distribution of the two
// tables stays the same (Shachter 1986). The working step of node absorption.
#pragma once

#include "Bn/model/Net.h"
#include "Win_Face/Interaction.h"

namespace bravic {

inline constexpr std::size_t REVERSAL_REASON_LEN = 200;

// Whether the link can be reversed: 0, or a code whose sign tells what stands in the way (negative: the child;
// positive: the parent or the link; 1: a directed cycle would form). The reason goes to the buffer, if one is given.
int TestReversal(node_bn parent, node_bn child, bool testCycle, char* reason);

enum ReversalResult : int { REVERSED = 0, REVERSAL_NO_MEMORY = -2, REVERSAL_HALTED = -3 };
// Reverses whatever TestReversal says. One undo step; on failure nothing is changed. sortParents: new
// parents in the net's node order. dropParentTable: the parent gets no table.
int ReverseLink(node_bn parent, node_bn child, bool sortParents, bool dropParentTable, LongWork& work);

}  // namespace bravic

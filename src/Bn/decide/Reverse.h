// Link reversal: turns a link A -> B around so that B becomes a parent of A while the joint distribution of the two
// tables stays the same (Shachter 1986). The working step of node absorption. The new tables are made in one walk over
// the configurations of the united parents: for each, the rows of both tables are combined in double precision. A
// parent that stands twice in a family is one axis whose stride is the sum of its places' strides, so that double links
// need no reduced copies.
#pragma once

#include "Bn/model/Net.h"
#include "Win_Face/Interaction.h"

namespace bravic {

inline constexpr std::size_t REVERSAL_REASON_LEN = 200;

// What stands in the way of a reversal. Only a cycle may go away when other links are reversed first.
enum class Obstacle { None, Cycle, Child, ParentOrLink };
enum class CycleTest { Made, NotNeeded };
// The reason goes to the buffer of REVERSAL_REASON_LEN, if one is given.
Obstacle FindObstacle(node_bn parent, node_bn child, CycleTest cycleTest, char* reason);

// New parents are those of both, the parent's first, or all in the net's node order.
enum class ParentOrder { ParentsFirst, NodeOrder };
enum class ParentTable { Made, Dropped };
enum ReversalResult : int { REVERSED = 0, REVERSAL_NO_MEMORY = -2, REVERSAL_HALTED = -3 };
// Reverses whatever FindObstacle says. One undo step; on failure nothing is changed.
ReversalResult ReverseLink(node_bn parent, node_bn child, ParentOrder order, ParentTable parentTable, LongWork& work);

}  // namespace bravic

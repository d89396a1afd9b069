// Levels and the number of states: what discretizes a node, which state a value stands for, and what a new
// discretization does to everything that is indexed by the node's states.
//
// The levels of a discrete node are the values of its states. Those of another node bound its intervals, which are its
// states: one level more than states, and two where there is no interval.
#pragma once

#include <algorithm>

#include "Bn/model/Records.h"

namespace bravic {

inline int NumLevels(int discrete, int numstates) {
  return discrete == DISCRETE ? numstates : std::max(numstates, 1) + 1;
}
inline int NumLevels(const bnode& node) {  // of a node that has levels
  return NumLevels(node.discrete, node.numstates);
}

// A value this near a level of a discrete node stands for that level's state.
inline constexpr double LEVEL_TOLERANCE = 1e-5;

// The state of a value by the node's levels: interval of a continuous node, nearest level of a discrete one
// (within tolerance). UNDEF_STATE outside.
statetype StateOfValue(const bnode& node, double value, double tolerance);
// Whether the bounds of a continuous node, if it has any, hold the value; true of any other node.
bool IsWithinBounds(const bnode& node, double value);

// The same for an entry of determinv, markers included, with a tolerance of its own.
statetype FunctionStateOfValue(const bnode& node, float value);

// The setters answer as those of Attributes.h do.
int SetDiscrete(node_bn node, int discrete);
// Levels alone: [numstates] of a discrete node, [max (numstates + 1, 2)] of another, or NULL for none. A value finding
// is placed anew among them, and is retracted where no state holds it.
int SetLevels(node_bn node, const double* levels);
// Levels, names and the number of states as one step (UNDO_STATES_WITH_TABLES). Another number of states means another
// discretization: what was indexed by the old states goes (probabilities, function states and experience of the node,
// all tables of its children, state and likelihood findings, names unless given anew); function values of the node
// stay.
int SetStatesAndLevels(node_bn node, int numstates, const double* levels, const char* const* names);
int SetNodeLevels(node_bn node, int numstates, const double* levels);  // whichever of the two is called for

}  // namespace bravic

// Whether a node can take the place of a parent, which may be a placeholder: it must look like what the child's tables
// were built for, in number of states, discreteness, measure, units and levels.
#pragma once

#include "Basic/Errors.h"
#include "Bn/model/Records.h"

namespace bravic {

// Why a node cannot take the place of an old parent of the child; empty when it can.
Failure CheckConnection(int index, const bnode& child, const bnode& newparent);

}  // namespace bravic

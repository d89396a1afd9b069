// The tables of a node replaced as a whole.
#pragma once

#include "Bn/model/Records.h"

namespace bravic {

// The four tables at once, undoable (UNDO_RELATION); takes ownership of the arrays, which may be NULL. An array that is
// the node's present one stays where it is. Installing what is there already does nothing.
struct Relation {
  float* probs = nullptr;
  float* numcases = nullptr;
  statetype* determin = nullptr;
  float* determinv = nullptr;
  int normalized = 1;
};
void InstallRelation(node_bn node, const Relation& relation);

}  // namespace bravic

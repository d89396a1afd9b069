// What compiling a net would take, before any of it is had, and what is said where that is too much.
#pragma once

#include "Basic/Errors.h"
#include "Bn/engine/Preflight.h"
#include "Bn/model/Records.h"

namespace bravic {

// Of the tables that are really computed with; a net that is not compiled stays so. Warns, with advice, of a net whose
// tables are too large. False, with an error posted, where it cannot be compiled at all.
bool EstimateCompile(net_bn net, engine::TreeEstimate* estimate);

// A tree that was found for a net, whose nodes it knows by number.
struct NetTree {
  std::span<const node_bn> nodes;
  std::span<const int> numstates;
  std::span<const Vector<int>> parents;
  const engine::JunctionTree& tree;
};
// The clique whose table could not be had, -1 when it is not known.
Failure FailPotential(const NetTree& found, int clique);
// Of a tree with a clique too large for any table; the advice takes a second to find.
Failure FailTree(const NetTree& found, bool hasHostOrder);

}  // namespace bravic

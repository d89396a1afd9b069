// What a tree takes before any of it is had, and what would make it smaller.
#pragma once

#include "Bn/engine/Interrupt.h"
#include "Bn/engine/Tree.h"

namespace bravic::engine {

struct TreeEstimate {
  double entries = 0;  // of all potentials
  double bytes = 0;    // of potentials, and of messages both ways
  double seconds = 0;  // to fill the potentials, and for all beliefs
};
TreeEstimate EstimateTree(const JunctionTree& tree);

// What a tree too large could be changed to, in entries of all potentials.
struct TreeAdvice {
  double searched = 0;          // by the order that a search of some time finds
  int parent = -1, child = -1;  // the link whose loss makes it smallest, or -1
  double withoutLink = 0;       //   and what it is then
};
TreeAdvice Advise(std::span<const int> numstates, std::span<const Vector<int>> parents, const JunctionTree& tree,
                  double seconds, const ProgressFunction& progress);

}  // namespace bravic::engine

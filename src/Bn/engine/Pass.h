// One pass over a clique's potential: every entry is multiplied by the entries of other tables that agree with it,
// and the products are summed (or maximized) onto tables over some of the clique's variables. Nothing of the
// clique's size is stored.
#pragma once

#include <cstdint>

#include "Basic/Memory.h"

namespace bravic::engine {

// A pass is described over the axes that vary: the clique's variables without those whose state is known. Strides
// are in entries, 0 for an axis that the table does not have.
struct PassTable {
  Vector<int> strides;  // [axis]
};
struct PassShape {
  Vector<int> sizes;  // [axis], slowest first; each at least 2
  Vector<int> potentialStrides;
  Vector<PassTable> factors;
  Vector<PassTable> targets;  // dense over their axes

  int NumAxes() const { return static_cast<int>(sizes.size()); }
};
struct PassData {
  const float* potential;
  Vector<const float*> factors;
  Vector<double*> targets;  // cleared by the caller
};

// Plainly, in double precision, entry by entry.
void RunPlainly(const PassShape& shape, const PassData& data, bool maximize);

}  // namespace bravic::engine

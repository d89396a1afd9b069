#include "Bn/engine/Pass.h"

#include <algorithm>

namespace bravic::engine {

void RunPlainly(const PassShape& shape, const PassData& data, bool maximize) {
  const std::size_t axes = shape.sizes.size(), numFactors = shape.factors.size(), numTargets = shape.targets.size();
  Vector<int> at(axes, 0), factorAt(numFactors, 0), targetAt(numTargets, 0);
  int potentialAt = 0;
  for (;;) {
    double product = data.potential[potentialAt];
    for (std::size_t f = 0; f < numFactors && product != 0; ++f) product *= data.factors[f][factorAt[f]];
    if (product != 0) {
      for (std::size_t t = 0; t < numTargets; ++t) {
        double& sum = data.targets[t][targetAt[t]];
        sum = maximize ? std::max(sum, product) : sum + product;
      }
    }
    std::size_t axis = axes;
    for (;;) {
      if (axis == 0) return;
      --axis;
      const int back = ++at[axis] == shape.sizes[axis] ? shape.sizes[axis] - 1 : 0;
      const int steps = back ? -back : 1;
      if (back) at[axis] = 0;
      potentialAt += steps * shape.potentialStrides[axis];
      for (std::size_t f = 0; f < numFactors; ++f) factorAt[f] += steps * shape.factors[f].strides[axis];
      for (std::size_t t = 0; t < numTargets; ++t) targetAt[t] += steps * shape.targets[t].strides[axis];
      if (!back) break;
    }
  }
}

}  // namespace bravic::engine

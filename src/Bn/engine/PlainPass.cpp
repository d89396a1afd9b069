#include "Bn/engine/PlainPass.h"

#include <algorithm>

namespace bravic::engine {

template <class Entry, class Factor>
void RunPlainly(const PassShape& shape, const Entry* potential, const Factor* const* factors, const PassTarget* targets,
                bool maximize) {
  constexpr int RUN = 32;
  const int numFactors = shape.numFactors, tables = shape.NumTables();
  const int numAxes = shape.numAxes;
  const int* const strides = shape.strides.data();  // [table][axis]
  // The fastest axis is run through a table at a time, the others entry by entry.
  const int inner = numAxes - 1, length = inner >= 0 ? shape.sizes[inner] : 1;
  int at[MAX_AXES] = {}, few[2 * MOST_PLAIN_TABLES];
  Vector<int> many(tables > MOST_PLAIN_TABLES ? 2 * tables : 0, 0);
  int* const offsets = many.empty() ? few : many.data();
  if (many.empty()) std::fill_n(few, 2 * tables, 0);
  int* const steps = offsets + tables;
  for (int t = 0; t < tables && inner >= 0; ++t) steps[t] = strides[t * numAxes + inner];
  double products[RUN];
  do {
    double scale = 1;
    for (int f = 1; f <= numFactors; ++f)
      if (steps[f] == 0) scale *= factors[f - 1][offsets[f]];
    for (int begin = 0; begin < length && scale != 0; begin += RUN) {
      const int count = std::min(RUN, length - begin);
      const Entry* entries = potential + offsets[0] + begin * steps[0];
      for (int i = 0; i < count; ++i) products[i] = scale * entries[i * steps[0]];
      for (int f = 1; f <= numFactors; ++f) {
        if (steps[f] == 0) continue;
        const Factor* factor = factors[f - 1] + offsets[f] + begin * steps[f];
        for (int i = 0; i < count; ++i) products[i] *= factor[i * steps[f]];
      }
      double whole = 0;
      for (int i = 0; i < count; ++i) whole = maximize ? std::max(whole, products[i]) : whole + products[i];
      for (int t = 1 + numFactors; t < tables; ++t) {
        const PassTarget& target = targets[t - 1 - numFactors];
        const int step = steps[t], first = offsets[t] + begin * step;
        for (int i = 0; i < (step == 0 ? 1 : count); ++i) {
          const double product = step == 0 ? whole : products[i];
          if (target.wide) {
            double& sum = target.wide[first + i * step];
            sum = maximize ? std::max(sum, product) : sum + product;
          } else {
            float& sum = target.narrow[first + i * step];
            sum = static_cast<float>(maximize ? std::max<double>(sum, product) : sum + product);
          }
        }
      }
    }
  } while (StepOn(inner, shape.sizes.data(), at, [&](int axis, int moves) {
             for (int t = 0; t < tables; ++t) offsets[t] += moves * strides[t * numAxes + axis];
           }) >= 0);
}

template void RunPlainly(const PassShape&, const float*, const float* const*, const PassTarget*, bool);
template void RunPlainly(const PassShape&, const float*, const double* const*, const PassTarget*, bool);
template void RunPlainly(const PassShape&, const double*, const double* const*, const PassTarget*, bool);

}  // namespace bravic::engine

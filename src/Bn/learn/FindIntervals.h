// Intervals of numbers as hosts ask for them.
#pragma once

#include <span>

namespace bravic {

// method: 0 equal width, 1 equal counts, 2 by the information about the classes. bounds [mostbins + 1]. The number of
// intervals; -1 with a failure posted.
long FindIntervals(std::span<const double> values, const int* classes, int method, int mostbins, double* bounds);

}  // namespace bravic

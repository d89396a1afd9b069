// Units of measurement in which levels are given, as far as one is worth a multiple of another.
#pragma once

namespace bravic {

// How many of the second unit one of the first is worth: 1 where either is unknown or both are the same, 0 where they
// are not equivalent.
double UnitConversion(const char* from, const char* to);

}  // namespace bravic

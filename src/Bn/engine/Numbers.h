// Small things that several parts of the engine count with.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace bravic::engine {

inline std::size_t At(int i) {
  return static_cast<std::size_t>(i);
}

// Floats below 2^-126 lose bits or vanish.
inline constexpr int SMALLEST_EXPONENT = -126;
// Of a table whose entries are exact but for rounding, as binary logarithm of what they may have lost.
inline constexpr double NO_LOSS = -1e9;

// Whether sums hold, are all 0, or may be wrong for want of range.
enum class Outcome { GOOD, ZERO, DOUBTFUL };

// Of a positive number: the e with x in [2^(e-1), 2^e).
inline int Exponent(double x) {
  const int field = static_cast<int>(std::bit_cast<std::uint64_t>(x) >> 52);
  if (field > 0) return field - 1022;
  int exponent;
  std::frexp(x, &exponent);
  return exponent;
}

// For exponents of normal numbers.
inline double PowerOfTwo(int exponent) {
  return std::bit_cast<double>(static_cast<std::uint64_t>(exponent + 1023) << 52);
}

// The largest of numbers none of which is negative, and the smallest that is not 0.
template <class Number>
void FindRange(const Number* numbers, std::size_t size, Number* largest, Number* least) {
  constexpr std::size_t LANES = 4;  // that do not wait for each other
  constexpr Number NONE = std::numeric_limits<Number>::max();
  Number high[LANES] = {}, low[LANES] = {NONE, NONE, NONE, NONE};
  std::size_t i = 0;
  auto take = [&](std::size_t lane) {
    const Number x = numbers[i + lane], positive = x > 0 ? x : NONE;
    high[lane] = high[lane] < x ? x : high[lane];
    low[lane] = positive < low[lane] ? positive : low[lane];
  };
  for (; i + LANES <= size; i += LANES)
    for (std::size_t lane = 0; lane < LANES; ++lane) take(lane);
  for (; i < size; ++i) take(0);
  *largest = std::max(std::max(high[0], high[1]), std::max(high[2], high[3]));
  *least = std::min(std::min(low[0], low[1]), std::min(low[2], low[3]));
}

// To about 1e-7. The library's own differ between platforms in the last bit, and what is decided by it must not.
inline double BinaryLogarithm(double x) {
  int exponent;
  const double m = std::frexp(x, &exponent);
  // By the series of the area tangent in [0.5, 1).
  const double t = (m - 0.70710678118654752) / (m + 0.70710678118654752), u = t * t;
  return exponent - 0.5 +
         t * (2.8853900817779268 + u * (0.96179669392597560 + u * (0.57707801635558536 + u * 0.4121985831111324)));
}

}  // namespace bravic::engine

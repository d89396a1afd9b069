#include "Basic/Logarithm.h"

#include <bit>
#include <cstdint>

namespace bravic {

// x = 2^e m with m about 1, and log m = 2 artanh t with t = (m - 1) / (m + 1), at most 0.172 in size.
double NaturalLog(double x) {
  constexpr double LOG_2_HIGH = 0x1.62e42fee00000p-1, LOG_2_LOW = 0x1.a39ef35793c76p-33;
  constexpr std::uint64_t MANTISSA = 0x000FFFFFFFFFFFFFu, ONE = 0x3FF0000000000000u, HALF = 0x3FE0000000000000u;
  constexpr double SQUARE_ROOT_2 = 1.4142135623730951;
  const auto bits = std::bit_cast<std::uint64_t>(x);
  int exponent = static_cast<int>(bits >> 52) - 1023;
  double m = std::bit_cast<double>((bits & MANTISSA) | ONE);
  if (m > SQUARE_ROOT_2) {
    m = std::bit_cast<double>((bits & MANTISSA) | HALF);
    ++exponent;
  }
  const double t = (m - 1) / (m + 1), u = t * t;
  constexpr int LAST_TERM = 21;
  double series = 0;
  for (int k = LAST_TERM; k > 1; k -= 2) series = (series + 1.0 / k) * u;
  return exponent * LOG_2_HIGH + (exponent * LOG_2_LOW + (2 * t + 2 * t * series));
}

// Stirling's series where its terms are small; there by the recurrence.
double LogGammaFunction(double x) {
  constexpr double HALF_LOG_2_PI = 0.91893853320467274178, LARGE = 12;
  double product = 1;
  for (; x < LARGE; ++x) product *= x;
  const double inverse = 1 / x, square = inverse * inverse;
  const double series =
      inverse *
      (1.0 / 12 +
       square * (-1.0 / 360 +
                 square * (1.0 / 1260 + square * (-1.0 / 1680 + square * (1.0 / 1188 - square * 691 / 360360)))));
  const double value = (x - 0.5) * NaturalLog(x) - x + HALF_LOG_2_PI + series;
  return product == 1 ? value : value - NaturalLog(product);
}

}  // namespace bravic

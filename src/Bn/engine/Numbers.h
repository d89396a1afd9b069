// What several parts of the engine compute with: exponents, numbers of unlimited range, the range of a table, and a
// logarithm that is the same on every platform.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

namespace bravic::engine {

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

// The nearest exponent that normal doubles have.
inline int NormalExponent(int exponent) {
  return std::clamp(exponent, -1022, 1023);
}

// Of value * 2^exponent.
inline double NaturalLogarithm(double value, long long exponent) {
  constexpr double LOG_2 = 0.69314718055994530942;
  return std::log(value) + static_cast<double>(exponent) * LOG_2;
}

// value * 2^exponent: a probability however small.
struct ScaledNumber {
  double value = 0;
  long long exponent = 0;
};

// mantissa * 2^exponent, of unlimited range and never negative.
struct WideNumber {
  double mantissa = 0;  // 0, or in [0.5, 1)
  long long exponent = 0;

  bool operator==(const WideNumber&) const = default;
};

inline WideNumber ToWide(double value, long long exponent = 0) {
  if (!(value > 0)) return {};
  int shift;
  const double mantissa = std::frexp(value, &shift);
  return {mantissa, exponent + shift};
}

inline WideNumber operator*(WideNumber a, WideNumber b) {
  const double product = a.mantissa * b.mantissa;
  if (!(product > 0)) return {};
  if (product < 0.5) return {2 * product, a.exponent + b.exponent - 1};
  return {product, a.exponent + b.exponent};
}

inline WideNumber operator/(WideNumber a, WideNumber b) {
  return ToWide(a.mantissa / b.mantissa, a.exponent - b.exponent);
}

inline bool operator<(WideNumber a, WideNumber b) {
  if (a.mantissa == 0 || b.mantissa == 0) return b.mantissa > 0;
  return a.exponent != b.exponent ? a.exponent < b.exponent : a.mantissa < b.mantissa;
}

inline WideNumber operator+(WideNumber a, WideNumber b) {
  if (a < b) std::swap(a, b);
  if (b.mantissa == 0 || a.exponent - b.exponent > 100) return a;
  const double sum = a.mantissa + b.mantissa * PowerOfTwo(static_cast<int>(b.exponent - a.exponent));
  if (sum < 1) return {sum, a.exponent};
  return {sum / 2, a.exponent + 1};
}

// Times 2^exponent, 0 or infinity beyond the range of doubles.
inline double ToDouble(WideNumber x, long long exponent) {
  return std::ldexp(x.mantissa, static_cast<int>(std::clamp(x.exponent + exponent, -100000LL, 100000LL)));
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

// Factors spread over [0.5, 1) by the golden ratio: those of neighbouring numbers are far apart.
inline double SpreadFactor(int i) {
  const double turns = 0.6180339887498949 * (i + 1);
  return 0.5 + 0.5 * (turns - std::floor(turns));
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

// Most numbers are shares between 0.0001 and 1, and logarithms: six digits of these are the nearest whole number to a
// value times a power of ten. Where the product, which is rounded, does not make the last digit certain, and outside of
// that range, the standard function is asked.
#include "Numbers.h"

#include <charconv>
#include <cmath>
#include <cstring>

namespace {

constexpr int DIGITS = 6;
constexpr double SMALLEST = 1e-4, LARGEST = 999999;
constexpr double POWERS[] = {1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9};

char* PutSlowly(double value, char* at) {
  if (std::isinf(value)) {
    const char* text = value < 0 ? "-inf" : "inf";
    std::memcpy(at, text, std::strlen(text));
    return at + std::strlen(text);
  }
  return std::to_chars(at, at + 16, value, std::chars_format::general, DIGITS).ptr;
}

}  // namespace

char* PutNumber(double value, char* at) {
  if (value == 0 && !std::signbit(value)) {
    *at = '0';
    return at + 1;
  }
  const double size = std::fabs(value);
  if (!(size >= SMALLEST && size < LARGEST)) return PutSlowly(value, at);
  int decimals = 0;  // behind the point, so that there are six digits
  while (size * POWERS[decimals] < 1e5) ++decimals;
  const double scaled = size * POWERS[decimals];
  auto number = static_cast<long>(scaled);
  const double rest = scaled - static_cast<double>(number);
  if (std::fabs(rest - 0.5) < 1e-6) return PutSlowly(value, at);
  number += rest > 0.5;
  if (value < 0) *at++ = '-';
  while (decimals > 0 && number % 10 == 0) {
    number /= 10;
    --decimals;
  }
  char digits[16];
  char* const end = digits + sizeof digits;
  char* first = end;
  for (int i = 0; number > 0 || i <= decimals; ++i) {
    if (i == decimals && i > 0) *--first = '.';
    *--first = static_cast<char>('0' + number % 10);
    number /= 10;
  }
  std::memcpy(at, first, static_cast<std::size_t>(end - first));
  return at + (end - first);
}

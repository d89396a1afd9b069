// Six digits are the whole number nearest to the value times a power of ten. Up to the 22nd these powers are exact, so
// that the product has one rounding error, of a part in 10^15. Where that does not make the last digit certain, and for
// numbers too small or too large for it, the standard function is asked.
#include "Numbers.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace {

constexpr int DIGITS = 6, MOST_LEADING_ZEROS = 3;
constexpr double SMALLEST = 1e-16, LARGEST = 999999;
constexpr double POWERS[] = {1,    1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                             1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

char* PutSlowly(double value, char* at) {
  if (std::isinf(value)) {
    const char* text = value < 0 ? "-inf" : "inf";
    std::memcpy(at, text, std::strlen(text));
    return at + std::strlen(text);
  }
  return std::to_chars(at, at + 16, value, std::chars_format::general, DIGITS).ptr;
}

// The power of ten that gives the value six digits before the point.
int PowerFor(double size) {
  const int binary = static_cast<int>(std::bit_cast<std::uint64_t>(size) >> 52) - 1023;
  const int power = DIGITS - 1 - ((binary * 1233) >> 12);  // 1233 / 4096: the logarithm of 2, a little too small
  return power > 0 && size * POWERS[power] >= 1e6 ? power - 1 : power;
}

void PutThree(unsigned number, char* at) {
  at[0] = static_cast<char>('0' + number / 100);
  at[1] = static_cast<char>('0' + number / 10 % 10);
  at[2] = static_cast<char>('0' + number % 10);
}

char* Copy(const char* from, int count, char* to) {
  std::memcpy(to, from, DIGITS);  // there is room for all
  return to + count;
}

}  // namespace

char* PutNumber(double value, char* at) {
  const double size = std::fabs(value);
  if (!(size >= SMALLEST && size < LARGEST)) {
    if (value != 0 || std::signbit(value)) return PutSlowly(value, at);
    *at = '0';
    return at + 1;
  }
  const int power = PowerFor(size);
  const double scaled = size * POWERS[power];
  auto number = static_cast<unsigned>(scaled);
  const double rest = scaled - static_cast<double>(number);
  if (std::fabs(rest - 0.5) < 1e-6) return PutSlowly(value, at);
  number += rest > 0.5;
  if (number < 100000 || number > 999999) return PutSlowly(value, at);
  char digits[DIGITS];
  PutThree(number / 1000, digits);
  PutThree(number % 1000, digits + 3);
  int count = DIGITS;
  while (digits[count - 1] == '0') --count;

  if (value < 0) *at++ = '-';
  const int whole = DIGITS - power;  // digits before the point; below 0, zeros behind it
  if (whole >= count) {
    at = Copy(digits, count, at);
    for (int i = count; i < whole; ++i) *at++ = '0';
    return at;
  }
  if (whole > 0) {
    at = Copy(digits, whole, at);
    *at++ = '.';
    std::memcpy(at, digits + whole, static_cast<std::size_t>(DIGITS - whole));
    return at + (count - whole);
  }
  if (whole >= -MOST_LEADING_ZEROS) {
    std::memcpy(at, "0.000", 5);
    return Copy(digits, count, at + 2 - whole);
  }
  *at++ = digits[0];
  if (count > 1) {
    *at++ = '.';
    std::memcpy(at, digits + 1, DIGITS - 1);
    at += count - 1;
  }
  const int exponent = 1 - whole;
  std::memcpy(at, "e-", 2);
  at[2] = static_cast<char>('0' + exponent / 10);
  at[3] = static_cast<char>('0' + exponent % 10);
  return at + 4;
}

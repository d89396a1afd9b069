#include "Basic/Portable.h"

#if !defined(__cpp_lib_to_chars)

#include <algorithm>
#include <cstdlib>

namespace bravic {
namespace {

// A float or double is decided by its first 768 digits and whether anything follows them.
constexpr int DIGITS_THAT_COUNT = 780;
constexpr int BEYOND_EXPONENTS = 100000;

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// The number as digits and an exponent, without a decimal point, which strtod takes from the host's locale.
struct Decimal {
  char text[DIGITS_THAT_COUNT + 16];
  int length = 0;
  int exponent = 0;
  bool isNonzero = false;

  void Add(char digit, bool isFraction) {
    if (digit != '0') isNonzero = true;
    if (length < DIGITS_THAT_COUNT) {
      if (isNonzero) text[length++] = digit;
      if (isFraction) --exponent;
    } else {
      if (digit != '0') text[DIGITS_THAT_COUNT - 1] = std::max(text[DIGITS_THAT_COUNT - 1], '1');
      if (!isFraction) ++exponent;
    }
  }
};

// The exponent behind "e", where there is one whole; else what comes before it is the number.
const char* ReadExponent(const char* at, const char* last, int* exponent) {
  if (at == last || (*at != 'e' && *at != 'E')) return at;
  const char* digit = at + 1;
  const bool isNegative = digit < last && *digit == '-';
  if (digit < last && (*digit == '-' || *digit == '+')) ++digit;
  if (digit == last || !IsDigit(*digit)) return at;
  int size = 0;
  for (; digit < last && IsDigit(*digit); ++digit) size = std::min(10 * size + (*digit - '0'), BEYOND_EXPONENTS);
  *exponent += isNegative ? -size : size;
  return digit;
}

float Convert(const char* text, float) {
  return std::strtof(text, nullptr);
}

double Convert(const char* text, double) {
  return std::strtod(text, nullptr);
}

template <class T>
std::from_chars_result Read(const char* first, const char* last, T& value) {
  Decimal decimal;
  const bool isNegative = first < last && *first == '-';
  const char* at = first + isNegative;
  bool hasDigits = false;
  for (; at < last && IsDigit(*at); ++at) decimal.Add(*at, false), hasDigits = true;
  if (at < last && *at == '.' && (hasDigits || (at + 1 < last && IsDigit(at[1]))))
    for (++at; at < last && IsDigit(*at); ++at) decimal.Add(*at, true), hasDigits = true;
  if (!hasDigits) return {first, std::errc::invalid_argument};
  at = ReadExponent(at, last, &decimal.exponent);
  if (decimal.length == 0) decimal.text[decimal.length++] = '0';
  decimal.text[decimal.length++] = 'e';
  *std::to_chars(decimal.text + decimal.length, decimal.text + sizeof decimal.text, decimal.exponent).ptr = 0;
  const T size = Convert(decimal.text, T());
  if (size - size != 0 || (size == 0 && decimal.isNonzero)) return {at, std::errc::result_out_of_range};
  value = isNegative ? -size : size;
  return {at, std::errc()};
}

}  // namespace

std::from_chars_result ReadDecimal(const char* first, const char* last, double& value) {
  return Read(first, last, value);
}

std::from_chars_result ReadDecimal(const char* first, const char* last, float& value) {
  return Read(first, last, value);
}

}  // namespace bravic

#endif

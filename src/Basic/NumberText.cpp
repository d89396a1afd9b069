#include "Basic/NumberText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace bravic {
namespace {

constexpr int GENERAL_DIGITS = 6;  // of "%g"
constexpr int DECIMALS = 6;        // of the quick form of small numbers
constexpr double DECIMAL_SCALE = 1e6;

char* PrintWord(const char* word, char* to) {
  const std::size_t length = std::strlen(word);
  std::memcpy(to, word, length);
  return to + length;
}

char* PrintSpecial(double value, char* to) {
  if (std::isnan(value)) return PrintWord("nan", to);
  return PrintWord(value < 0 ? "-inf" : "inf", to);
}

// A number of millionths as a decimal fraction, without zeros at its end.
char* PrintMillionths(unsigned millionths, char* to) {
  constexpr unsigned ONE = 1000000;
  unsigned fraction = millionths % ONE;
  to = PrintInteger(millionths / ONE, to);
  if (fraction == 0) return to;
  *to++ = '.';
  char* const last = to + DECIMALS - 1;
  for (char* at = last; at >= to; --at) {
    *at = static_cast<char>('0' + fraction % 10);
    fraction /= 10;
  }
  char* end = last + 1;
  while (end[-1] == '0') end--;
  return end;
}

// The shortest digits, taken from the scientific form "d.ddde-dd" and laid out anew.
template <class T>
char* PrintShortestDigits(T value, char* to) {
  char text[NUMBER_TEXT_LEN];
  const char* const end = std::to_chars(text, text + sizeof text, value, std::chars_format::scientific).ptr;
  const char* at = text;
  if (*at == '-') *to++ = *at++;
  char digits[24];
  int count = 0;
  for (; *at != 'e'; ++at) {
    if (*at != '.') digits[count++] = *at;
  }
  ++at;
  if (*at == '+') at++;
  int exponent = 0;
  std::from_chars(at, end, exponent);

  if (exponent < -4 || exponent >= std::max(count, GENERAL_DIGITS)) {
    *to++ = digits[0];
    if (count > 1) *to++ = '.';
    for (int i = 1; i < count; ++i) *to++ = digits[i];
    *to++ = 'e';
    *to++ = exponent < 0 ? '-' : '+';
    const int size = std::abs(exponent);
    if (size < 10) *to++ = '0';
    return PrintInteger(size, to);
  }
  if (exponent < 0) {
    *to++ = '0';
    *to++ = '.';
    for (int i = -1; i > exponent; --i) *to++ = '0';
    for (int i = 0; i < count; ++i) *to++ = digits[i];
    return to;
  }
  for (int i = 0; i <= exponent || i < count; ++i) {
    if (i == exponent + 1) *to++ = '.';
    *to++ = i < count ? digits[i] : '0';
  }
  return to;
}

}  // namespace

char* PrintInteger(long long value, char* to, int base) {
  return std::to_chars(to, to + NUMBER_TEXT_LEN, value, base).ptr;
}

char* PrintGeneral(double value, int digits, char* to) {
  if (!std::isfinite(value)) return PrintSpecial(value, to);
  constexpr double SAFE = 1e5;  // below 10 to the power of the digits for all but few digits
  if (digits > 5 && value < SAFE && value > -SAFE) {
    const int whole = static_cast<int>(value);
    if (whole == value && (whole != 0 || !std::signbit(value))) return PrintInteger(whole, to);
  }
  return std::to_chars(to, to + NUMBER_TEXT_LEN, value, std::chars_format::general, digits).ptr;
}

char* PrintShortest(float value, char* to) {
  if (!std::isfinite(value)) return PrintSpecial(value, to);
  // Most entries of tables have a handful of decimals. Up to six of them, seven digits in all, name a float alone.
  if (value >= 1e-4f && value < 8.0f) {
    const unsigned millionths = static_cast<unsigned>(double{value} * DECIMAL_SCALE + 0.5);
    if (static_cast<float>(millionths / DECIMAL_SCALE) == value) return PrintMillionths(millionths, to);
  } else if (value == 0 && !std::signbit(value)) {
    *to = '0';
    return to + 1;
  }
  return PrintShortestDigits(value, to);
}

char* PrintShortest(double value, char* to) {
  if (!std::isfinite(value)) return PrintSpecial(value, to);
  return PrintShortestDigits(value, to);
}

}  // namespace bravic

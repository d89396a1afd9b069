#include "formats/NumberText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace formats {
namespace {

constexpr int LEN = 40;  // of any number that is printed

// Powers of ten that a double holds exactly; a whole number below 2^53 times or over one of them is rounded once, so
// that it is the nearest double (Clinger, How to read floating point numbers accurately, 1990).
constexpr double POWERS[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
constexpr int MAX_DIGITS = 15;

// Answers whether the text is digits with perhaps a point among them, few enough for the short way.
bool ReadShort(const char* at, const char* end, double* value) {
  const bool negative = at < end && *at == '-';
  at += negative;
  long long digits = 0;
  int count = 0, decimals = 0;
  bool point = false;
  if (end - at > MAX_DIGITS + 1) return false;
  for (; at < end; ++at) {
    const unsigned digit = static_cast<unsigned>(*at - '0');
    if (digit <= 9) {
      digits = digits * 10 + digit;
      ++count;
      decimals += point;
    } else if (*at == '.' && !point) {
      point = true;
    } else {
      return false;
    }
  }
  if (count == 0 || count > MAX_DIGITS) return false;
  *value = static_cast<double>(digits) / POWERS[decimals];
  if (negative) *value = -*value;
  return true;
}

// Of any range and length: what is too small is 0, what is too large infinite. As digits and an exponent without a
// point, which strtod would take from the host's locale.
bool ReadAnyDecimal(const char* first, const char* last, double* value) {
  constexpr long FARTHEST = 1'000'000'000;  // beyond the digits of any text
  std::string digits;
  long exponent = 0;
  bool point = false, any = false;
  const char* at = first;
  if (at < last && *at == '-') digits += *at++;
  for (; at < last && (('0' <= *at && *at <= '9') || (*at == '.' && !point)); ++at) {
    if (*at == '.') {
      point = true;
    } else {
      digits += *at;
      exponent -= point;
      any = true;
    }
  }
  if (!any) return false;
  if (at < last && (*at == 'e' || *at == 'E')) {
    long given = 0;
    ++at;
    if (at < last && *at == '+') at++;
    const auto [end, fault] = std::from_chars(at, last, given);
    if (end == at || (fault != std::errc() && fault != std::errc::result_out_of_range)) return false;
    if (fault != std::errc()) given = *at == '-' ? -FARTHEST : FARTHEST;
    at = end;
    exponent += std::clamp(given, -FARTHEST, FARTHEST);
  }
  if (at != last) return false;
  *value = std::strtod((digits + "e" + std::to_string(exponent)).c_str(), nullptr);
  return true;
}

bool ReadDecimal(const char* first, const char* last, double* value) {
#ifdef __cpp_lib_to_chars
  const auto [end, fault] = std::from_chars(first, last, *value);
  if (fault != std::errc::result_out_of_range) return fault == std::errc() && end == last;
#endif
  return ReadAnyDecimal(first, last, value);
}

bool EqualsWithoutCase(std::string_view text, std::string_view lower) {
  if (text.size() != lower.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if ((text[i] | 0x20) != lower[i]) return false;
  }
  return true;
}

}  // namespace

std::optional<double> ReadNumber(std::string_view text) {
  const char* first = text.data();
  const char* const last = first + text.size();
  double value = 0;
  if (ReadShort(first, last, &value)) return value;
  const bool plus = first < last && *first == '+';
  if (plus) first++;
  const char* digits = first;
  if (digits < last && *digits == '-') digits++;
  if (digits == last || (plus && digits != first)) return std::nullopt;
  if (('0' <= *digits && *digits <= '9') || *digits == '.') {
    if (ReadDecimal(first, last, &value)) return value;
    return std::nullopt;
  }
  const std::string_view word(digits, static_cast<std::size_t>(last - digits));
  if (!EqualsWithoutCase(word, "inf") && !EqualsWithoutCase(word, "infinity")) return std::nullopt;
  value = std::numeric_limits<double>::infinity();
  return digits > first ? -value : value;
}

std::optional<int> ReadCount(std::string_view text) {
  int value = 0;
  const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (fault != std::errc() || end != text.data() + text.size() || value < 0) return std::nullopt;
  return value;
}

void AppendFloat(double value, std::string* text) {
  char digits[LEN];
  text->append(digits, std::to_chars(digits, digits + LEN, static_cast<float>(value)).ptr);
}

void AppendDouble(double value, std::string* text) {
  char digits[LEN];
  text->append(digits, std::to_chars(digits, digits + LEN, value).ptr);
}

std::string NumberText(double value) {
  char digits[LEN];
  return {digits, std::to_chars(digits, digits + LEN, value, std::chars_format::general, 6).ptr};
}

}  // namespace formats

// Formatted text, made piece by piece: the run up to the next "%" is copied, the specification behind it read into a
// Spec, and the argument printed by the conversion's letter. Digits come from std::to_chars, which knows no locale;
// signs and padding are put around them here.
#include "Basic/Format.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace bravic {
namespace {

// Counts all characters, and keeps those for which there is room: the answer tells how long the text would have been.
struct Output {
  char* buffer;
  std::size_t size;
  std::size_t length;

  void Put(char c) {
    if (length + 1 < size) buffer[length] = c;
    ++length;
  }
  void Put(std::string_view text) {
    if (length + 1 < size) std::memcpy(buffer + length, text.data(), std::min(text.size(), size - 1 - length));
    length += text.size();
  }
  void Fill(char c, int count) {
    while (count-- > 0) Put(c);
  }
};

// What stands between "%" and the conversion's letter.
struct Spec {
  bool left = false, zeros = false, plus = false, space = false;
  int width = 0;
  int precision = -1;  // negative: none
  int longs = 0;       // 1 for l, 2 for ll
  bool sizeType = false;
};

void PutPadded(Output* out, const Spec& spec, std::string_view sign, std::string_view body, bool zeros) {
  const int pad = spec.width - static_cast<int>(sign.size() + body.size());
  // Blanks stand before the sign, zeros between sign and digits.
  if (!spec.left && !zeros) out->Fill(' ', pad);
  out->Put(sign);
  if (!spec.left && zeros) out->Fill('0', pad);
  out->Put(body);
  if (spec.left) out->Fill(' ', pad);
}

std::string_view SignText(const Spec& spec, bool negative) {
  return negative ? "-" : spec.plus ? "+" : spec.space ? " " : "";
}

void PutReal(Output* out, const Spec& spec, char conversion, double value) {
  char text[400];  // the largest double has 309 digits before the point, and at most 60 follow
  const std::chars_format form = conversion == 'f'   ? std::chars_format::fixed
                                 : conversion == 'e' ? std::chars_format::scientific
                                                     : std::chars_format::general;
  const int precision = std::min(spec.precision < 0 ? 6 : spec.precision, 60);
  const auto end = std::to_chars(text, text + sizeof text, std::fabs(value), form, precision).ptr;
  const std::string_view body(text, end - text);
  PutPadded(out, spec, SignText(spec, std::signbit(value)), body, spec.zeros && std::isfinite(value));
}

void PutInteger(Output* out, const Spec& spec, bool negative, std::uint64_t magnitude, int base) {
  char text[70];
  const auto end = std::to_chars(text, text + sizeof text, magnitude, base).ptr;
  const std::string_view body(text, end - text);
  PutPadded(out, spec, SignText(spec, negative), body, spec.zeros);
}

// Bounded, so that a long row of digits does not overflow.
int ReadCount(const char** at) {
  int count = 0;
  for (; **at >= '0' && **at <= '9'; ++*at) count = std::min(count * 10 + (**at - '0'), 100000);
  return count;
}

// The arguments not yet taken; a record, since a list as a parameter may decay to a pointer.
struct Arguments {
  std::va_list list;
};

// Flags, width, precision and length; *at then stands at the conversion's letter.
Spec ReadSpec(const char** at, Arguments* arguments) {
  Spec spec;
  for (;; ++*at) {
    if (**at == '-') {
      spec.left = true;
    } else if (**at == '0') {
      spec.zeros = true;
    } else if (**at == '+') {
      spec.plus = true;
    } else if (**at == ' ') {
      spec.space = true;
    } else {
      break;
    }
  }
  const auto readNumber = [&] {
    if (**at != '*') return ReadCount(at);
    ++*at;
    return va_arg(arguments->list, int);
  };
  spec.width = readNumber();
  if (**at == '.') {
    ++*at;
    spec.precision = readNumber();
  }
  for (; **at == 'l' || **at == 'h' || **at == 'z'; ++*at) {
    spec.longs += **at == 'l';
    spec.sizeType |= **at == 'z';
  }
  return spec;
}

long long TakeSigned(const Spec& spec, Arguments* arguments) {
  if (spec.longs > 1) return va_arg(arguments->list, long long);
  if (spec.longs) return va_arg(arguments->list, long);
  if (spec.sizeType) return va_arg(arguments->list, std::ptrdiff_t);
  return va_arg(arguments->list, int);
}

unsigned long long TakeUnsigned(const Spec& spec, Arguments* arguments) {
  if (spec.longs > 1) return va_arg(arguments->list, unsigned long long);
  if (spec.longs) return va_arg(arguments->list, unsigned long);
  if (spec.sizeType) return va_arg(arguments->list, std::size_t);
  return va_arg(arguments->list, unsigned);
}

// A text without a precision ends at its terminator; one with a precision need not have any.
void PutText(Output* out, const Spec& spec, const char* text) {
  if (!text) text = "(null)";
  std::size_t length = 0;
  if (spec.precision < 0) {
    length = std::strlen(text);
  } else {
    const std::size_t limit = spec.precision;
    while (length < limit && text[length]) ++length;
  }
  PutPadded(out, spec, "", {text, length}, false);
}

void PutConversion(Output* out, const Spec& spec, char conversion, Arguments* arguments) {
  switch (conversion) {
    case 'd':
    case 'i': {
      const long long value = TakeSigned(spec, arguments);
      // Negated without a sign, since the least number has no positive counterpart.
      const std::uint64_t magnitude = value;
      return PutInteger(out, spec, value < 0, value < 0 ? 0 - magnitude : magnitude, 10);
    }
    case 'u':
    case 'x':
      return PutInteger(out, spec, false, TakeUnsigned(spec, arguments), conversion == 'u' ? 10 : 16);
    case 'p':
      return PutInteger(out, spec, false, reinterpret_cast<std::uintptr_t>(va_arg(arguments->list, void*)), 16);
    case 'c': {
      const char c = static_cast<char>(va_arg(arguments->list, int));
      return PutPadded(out, spec, "", {&c, 1}, false);
    }
    case 's':
      return PutText(out, spec, va_arg(arguments->list, const char*));
    case 'f':
    case 'e':
    case 'g':
      return PutReal(out, spec, conversion, va_arg(arguments->list, double));
    default:
      return out->Put(conversion);
  }
}

}  // namespace

std::size_t FormatTextV(char* buffer, std::size_t size, const char* format, std::va_list passed) {
  Output out{buffer, size, 0};
  Arguments arguments;
  va_copy(arguments.list, passed);
  for (const char* at = format; *at; ++at) {
    if (*at != '%') {
      const std::size_t run = std::strcspn(at, "%");
      out.Put({at, run});
      at += run - 1;
      continue;
    }
    ++at;
    const Spec spec = ReadSpec(&at, &arguments);
    if (!*at) break;
    PutConversion(&out, spec, *at, &arguments);
  }
  va_end(arguments.list);
  if (size) buffer[std::min(out.length, size - 1)] = 0;
  return out.length;
}

std::size_t FormatText(char* buffer, std::size_t size, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const std::size_t length = FormatTextV(buffer, size, format, arguments);
  va_end(arguments);
  return length;
}

}  // namespace bravic

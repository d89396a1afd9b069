#include "Basic/Format.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace bravic {
namespace {

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

struct Spec {
  bool left = false, zeros = false, plus = false, space = false;
  int width = 0;
  int precision = -1;
  int longs = 0;  // 1 for l, 2 for ll
  bool sizeType = false;
};

void PutPadded(Output* out, const Spec& spec, std::string_view sign, std::string_view body, bool zeros) {
  const int pad = spec.width - static_cast<int>(sign.size() + body.size());
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
  char text[400];
  const std::chars_format form = conversion == 'f'   ? std::chars_format::fixed
                                 : conversion == 'e' ? std::chars_format::scientific
                                                     : std::chars_format::general;
  const int precision = std::min(spec.precision < 0 ? 6 : spec.precision, 60);
  const auto end = std::to_chars(text, text + sizeof text, std::fabs(value), form, precision).ptr;
  const std::string_view body(text, static_cast<std::size_t>(end - text));
  PutPadded(out, spec, SignText(spec, std::signbit(value)), body, spec.zeros && std::isfinite(value));
}

void PutInteger(Output* out, const Spec& spec, bool negative, std::uint64_t magnitude, int base) {
  char text[70];
  const auto end = std::to_chars(text, text + sizeof text, magnitude, base).ptr;
  const std::string_view body(text, static_cast<std::size_t>(end - text));
  PutPadded(out, spec, SignText(spec, negative), body, spec.zeros);
}

int ReadCount(const char** at) {
  int count = 0;
  for (; **at >= '0' && **at <= '9'; ++*at) count = std::min(count * 10 + (**at - '0'), 100000);
  return count;
}

}  // namespace

std::size_t FormatTextV(char* buffer, std::size_t size, const char* format, std::va_list passed) {
  Output out{buffer, size, 0};
  std::va_list arguments;
  va_copy(arguments, passed);
  for (const char* at = format; *at; ++at) {
    if (*at != '%') {
      const std::size_t run = std::strcspn(at, "%");
      out.Put({at, run});
      at += run - 1;
      continue;
    }
    Spec spec;
    for (++at;; ++at) {
      if (*at == '-') {
        spec.left = true;
      } else if (*at == '0') {
        spec.zeros = true;
      } else if (*at == '+') {
        spec.plus = true;
      } else if (*at == ' ') {
        spec.space = true;
      } else {
        break;
      }
    }
    if (*at == '*') {
      spec.width = va_arg(arguments, int);
      ++at;
    } else {
      spec.width = ReadCount(&at);
    }
    if (*at == '.') {
      ++at;
      if (*at == '*') {
        spec.precision = va_arg(arguments, int);
        ++at;
      } else {
        spec.precision = ReadCount(&at);
      }
    }
    for (; *at == 'l' || *at == 'h' || *at == 'z'; ++at) {
      spec.longs += *at == 'l';
      spec.sizeType |= *at == 'z';
    }
    if (!*at) break;
    switch (*at) {
      case 'd':
      case 'i': {
        const long long value = spec.longs > 1  ? va_arg(arguments, long long)
                                : spec.longs    ? va_arg(arguments, long)
                                : spec.sizeType ? static_cast<long long>(va_arg(arguments, std::ptrdiff_t))
                                                : va_arg(arguments, int);
        const auto magnitude = static_cast<std::uint64_t>(value);
        PutInteger(&out, spec, value < 0, value < 0 ? 0 - magnitude : magnitude, 10);
        break;
      }
      case 'u':
      case 'x': {
        const unsigned long long value = spec.longs > 1  ? va_arg(arguments, unsigned long long)
                                         : spec.longs    ? va_arg(arguments, unsigned long)
                                         : spec.sizeType ? va_arg(arguments, std::size_t)
                                                         : va_arg(arguments, unsigned);
        PutInteger(&out, spec, false, value, *at == 'u' ? 10 : 16);
        break;
      }
      case 'p':
        PutInteger(&out, spec, false, reinterpret_cast<std::uintptr_t>(va_arg(arguments, void*)), 16);
        break;
      case 'c': {
        const char c = static_cast<char>(va_arg(arguments, int));
        PutPadded(&out, spec, "", {&c, 1}, false);
        break;
      }
      case 's': {
        const char* text = va_arg(arguments, const char*);
        if (!text) text = "(null)";
        const void* stop =
            spec.precision < 0 ? nullptr : std::memchr(text, 0, static_cast<std::size_t>(spec.precision));
        const std::size_t length = spec.precision < 0 ? std::strlen(text)
                                   : stop             ? static_cast<std::size_t>(static_cast<const char*>(stop) - text)
                                                      : static_cast<std::size_t>(spec.precision);
        PutPadded(&out, spec, "", {text, length}, false);
        break;
      }
      case 'f':
      case 'e':
      case 'g':
        PutReal(&out, spec, *at, va_arg(arguments, double));
        break;
      default:
        out.Put(*at);
        break;
    }
  }
  va_end(arguments);
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

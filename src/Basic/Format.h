// Formatted text for messages and printed lines: the standard printing conventions as far as the library uses
// them (flags - + 0 and space, width, precision, h l ll z, conversions d i u x c s p f e g %), with a point as the
// decimal sign whatever the host's locale.
#pragma once

#include <cstdarg>
#include <cstddef>

#if defined(__MINGW32__) && !defined(__clang__)
#define BRAVIC_PRINTF(text, first) __attribute__((format(gnu_printf, text, first)))
#elif defined(__GNUC__)
#define BRAVIC_PRINTF(text, first) __attribute__((format(printf, text, first)))
#else
#define BRAVIC_PRINTF(text, first)
#endif

namespace bravic {

// Writes at most size - 1 characters and a terminator; the answer is the length of the whole text.
std::size_t FormatText(char* buffer, std::size_t size, const char* format, ...) BRAVIC_PRINTF(3, 4);
std::size_t FormatTextV(char* buffer, std::size_t size, const char* format, std::va_list arguments) BRAVIC_PRINTF(3, 0);

}  // namespace bravic

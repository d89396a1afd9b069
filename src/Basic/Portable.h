// What some standard libraries still lack: reading decimals by std::from_chars (clang's libc++ has it for integers
// alone).
#pragma once

#include <charconv>

namespace bravic {

#if defined(__cpp_lib_to_chars)
inline std::from_chars_result ReadDecimal(const char* first, const char* last, double& value) {
  return std::from_chars(first, last, value);
}
inline std::from_chars_result ReadDecimal(const char* first, const char* last, float& value) {
  return std::from_chars(first, last, value);
}
#else
// As std::from_chars in its general form, but for "inf" and "nan", which are no numbers here.
std::from_chars_result ReadDecimal(const char* first, const char* last, double& value);
std::from_chars_result ReadDecimal(const char* first, const char* last, float& value);
#endif

}  // namespace bravic

// Numbers as text, the same in every locale: a point, no grouping. Each function writes at the pointer, ends nothing
// with a zero character and answers the end of what it wrote; NUMBER_TEXT_LEN characters hold any of them.
#pragma once

#include <cstddef>

namespace bravic {

// What the special number words stand for.
extern const double UNDEF_DBL, INF_DBL, IMPOS_DBL, ANY_DBL;

inline constexpr std::size_t NUMBER_TEXT_LEN = 40;

char* PrintInteger(long long value, char* to, int base = 10);
// As "%.*g" prints it, with 1 to 17 digits; not-a-number and the infinities print as "nan", "inf" and "-inf".
char* PrintGeneral(double value, int digits, char* to);
// As "%g" prints it, or the first of "%.7g", "%.8g" ... that reads back to the same number; of a number too small to
// be normal as many digits as that takes.
char* PrintShortest(float value, char* to);
char* PrintShortest(double value, char* to);

}  // namespace bravic

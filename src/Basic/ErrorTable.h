// The rows of ErrorTable.inc as constants, and the check made while compiling that what a site passes fits the text of
// its row: a conversion for each argument, of the argument's type.
#pragma once

#include <type_traits>

namespace bravic {

// How bad it is. Those below 0 are no dangers of records: a text put around that of another error; one whose danger the
// site tells; one that is written to the standard error stream, since it cannot be recorded.
enum Danger {
  AROUND_ERR = -3,
  ANY_ERR,
  FRAMED_ERR,
  NOTHING_ERR,
  FALSE_ALERT,
  REPORT_ERR,
  NOTICE_ERR,
  WARNING_ERR,
  ERROR_ERR,
  INTERNAL_ERR
};

struct ErrorRow {
  int number;  // negative; 0 where it is that of another error
  Danger danger;
  const char* text;  // a format
};

#define TABLE_PLACE "%s"
#define CHAPTER(title, remark)
#define ROW(name, number, danger, text, meaning) inline constexpr ErrorRow name{number, danger, text};
#include "Basic/ErrorTable.inc"
#undef ROW
#undef CHAPTER
#undef TABLE_PLACE

enum class Argument { Int, Long, LongLong, Real, Text, Other };

template <class T>
consteval Argument KindOf() {
  if (std::is_same_v<T, long>) return Argument::Long;
  if (std::is_same_v<T, long long>) return Argument::LongLong;
  if (std::is_floating_point_v<T> && sizeof(T) <= sizeof(double)) return Argument::Real;
  if (std::is_same_v<T, char*> || std::is_same_v<T, const char*>) return Argument::Text;
  // An enumeration without a scope is passed as an int, like everything that is shorter than one.
  if (std::is_convertible_v<T, int> && !std::is_class_v<T> && sizeof(T) <= sizeof(int)) return Argument::Int;
  return Argument::Other;
}

// Whether the conversions of a format are those of the arguments, in their order. A width or precision of "*" takes an
// int of its own.
consteval bool TakesArguments(const char* at, const Argument* argument, int count) {
  const auto take = [&](Argument kind) { return count-- > 0 && *argument++ == kind; };
  for (; *at; ++at) {
    if (*at != '%') continue;
    if (*++at == '%') continue;
    int longs = 0;
    for (;
         *at == '-' || *at == '+' || *at == ' ' || *at == '.' || *at == '*' || *at == 'l' || ('0' <= *at && *at <= '9');
         ++at) {
      if (*at == '*' && !take(Argument::Int)) return false;
      longs += *at == 'l';
    }
    const Argument whole = longs == 0 ? Argument::Int : longs == 1 ? Argument::Long : Argument::LongLong;
    const Argument kind = *at == 'd'                 ? whole
                          : *at == 'c'               ? Argument::Int
                          : *at == 's'               ? Argument::Text
                          : *at == 'g' || *at == 'f' ? Argument::Real
                                                     : Argument::Other;
    if (kind == Argument::Other || !take(kind)) return false;
  }
  return count == 0;
}

// A row whose text takes just arguments of these kinds. Anything else does not compile.
template <Argument... KINDS>
class ErrorTaking {
 public:
  consteval ErrorTaking(const ErrorRow& row) : row_(&row) {
    const Argument arguments[] = {KINDS..., Argument::Other};
    if (!TakesArguments(row.text, arguments, sizeof...(KINDS))) ArgumentsDontFitTheText();
  }
  const ErrorRow* Row() const { return row_; }

 private:
  static void ArgumentsDontFitTheText() {}  // no constant expression, so that a call of it ends the compilation

  const ErrorRow* row_;
};

template <class T>
inline constexpr Argument ARGUMENT_KIND = KindOf<T>();
template <class... Args>
using ErrorFor = ErrorTaking<ARGUMENT_KIND<Args>...>;

}  // namespace bravic

// Names and strings: the one judge of legal names, and the string utilities of the library. Character classes
// are those of the C locale whatever the host has set.
#pragma once

#include <cstddef>
#include <string_view>

#include "Basic/Memory.h"

namespace bravic {

inline constexpr int MAX_NAME_LEN = 30;
enum NameProblem : int {
  NAME_MISSING = 1,
  NAME_UNDEFINED = 2,
  NAME_EMPTY = 4,
  NAME_TOO_LONG = 8,
  NAME_BAD_CHARACTER = 16,
  NAME_BAD_START = 32,
  NAME_ALL_CHECKS = 63,
};
inline constexpr std::size_t NAME_REASON_LEN = 128;

// The problems found among those asked for; 0 when the name is legal. With a reason buffer (NAME_REASON_LEN
// characters) the first problem's text is written there; with repair the name is mended in place.
int CheckNameText(char* name, int checks, char* reason, bool repair);
inline int CheckNameText(const char* name, char* reason = nullptr) {
  return CheckNameText(const_cast<char*>(name), NAME_ALL_CHECKS, reason, false);
}
// Empty and NULL entries of an array of names (mode 1 .. 4); see Text.cpp for the answer's codes.
int CheckNameList(char** names, int length, int mode);

bool IsAsciiLetter(int c);
bool IsAsciiDigit(int c);
bool IsAsciiSpace(int c);
int AsciiUpper(int c);
int AsciiLower(int c);

char* DupText(const char* text);  // NULL gives NULL; must succeed
char* DupText(std::string_view text);
char* TryDupText(const char* text);             // reports -2285 on shortage
bool EqualText(const char* a, const char* b);   // both NULL is equal
int CompareText(const char* a, const char* b);  // NULL counts as empty
bool EqualTextNoCase(const char* a, const char* b);
int CompareTextNoCase(const char* a, const char* b);
int CompareTextNoCase(const char* a, const char* b, std::size_t max);
bool StartsWith(const char* text, const char* prefix);
bool StartsWithNoCase(const char* text, const char* prefix);
bool EndsWith(const char* text, const char* suffix);
// The value of the digits at the end of the text and where they begin; -1 when there are none.
long TrailingNumber(const char* text, const char** start);
// "zeroth", "first" ... "tenth", then "11th", "21st", ...; the buffer holds at least 24 characters.
const char* Ordinal(long n, char* buffer);
inline const char* OrEmpty(const char* text) {
  return text ? text : "";
}

}  // namespace bravic

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

constexpr bool IsAsciiLetter(int c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
constexpr bool IsAsciiDigit(int c) {
  return c >= '0' && c <= '9';
}
constexpr bool IsAsciiSpace(int c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}
constexpr int AsciiUpper(int c) {
  return c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c;
}
constexpr int AsciiLower(int c) {
  return c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c;
}

char* DupText(const char* text);  // NULL gives NULL; must succeed
char* DupText(std::string_view text);
char* TryDupText(const char* text);  // reports NO_MEMORY_FOR_TEXT on shortage
// At most max characters and a terminator; answer the end of the copy. The marked form ends a text that was cut with
// three points (fewer when max is below 3).
char* CopyText(char* destination, const char* source, std::size_t max);
char* CopyTextMarked(char* destination, const char* source, std::size_t max);
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
// A path as messages show it: cut in its middle, never within a character, when it is longer than the room.
struct ShownPath {
  static constexpr std::size_t ROOM = 200, MAX_ROOM = 400;  // two paths fit a message, or one long one
  explicit ShownPath(const char* path, std::size_t room = ROOM);
  char text[MAX_ROOM + 1];
};
inline const char* OrEmpty(const char* text) {
  return text ? text : "";
}

}  // namespace bravic

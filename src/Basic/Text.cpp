#include "Basic/Text.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

#include "Basic/Errors.h"
#include "Basic/Format.h"

namespace bravic {
namespace {

// Keeps the first reason of a name check.
struct Reason {
  char* buffer;
  bool written = false;

  void Write(const char* format, ...) BRAVIC_PRINTF(2, 3) {
    if (!buffer || written) return;
    written = true;
    std::va_list arguments;
    va_start(arguments, format);
    FormatTextV(buffer, NAME_REASON_LEN, format, arguments);
    va_end(arguments);
  }
};

bool IsNameCharacter(int c) {
  return IsAsciiLetter(c) || IsAsciiDigit(c) || c == '_';
}

void ExplainBadCharacter(Reason* reason, const char* name, unsigned char c) {
  if (c == ' ') {
    reason->Write("'%.30s' contains a space", name);
  } else if (c > ' ' && c < 127) {
    reason->Write("'%.30s' contains the illegal character '%c'", name, c);
  } else if (c == '\t') {
    reason->Write("'%.30s' contains a tab", name);
  } else if (c == '\r') {
    reason->Write("'%.30s' contains a 'return' character", name);
  } else if (c == '\n') {
    reason->Write("'%.30s' contains a 'new-line' character", name);
  } else {
    reason->Write("'%.30s' contains an illegal character (ascii code %u)", name, static_cast<unsigned>(c));
  }
}

unsigned char At(const char* text, std::size_t i) {
  return static_cast<unsigned char>(text[i]);
}

}  // namespace

int CheckNameText(char* name, int checks, char* buffer, bool repair) {
  Reason reason{buffer};
  if (!name) {
    if (!(checks & NAME_MISSING)) return 0;
    reason.Write("is missing");
    return NAME_MISSING;
  }
  if (name == UndefPtr()) {
    if (!(checks & NAME_UNDEFINED)) return 0;
    reason.Write("is undefined");
    return NAME_UNDEFINED;
  }
  int problems = 0;
  if (checks & NAME_BAD_CHARACTER) {
    for (std::size_t i = 0; name[i]; ++i) {
      if (IsNameCharacter(At(name, i))) continue;
      ExplainBadCharacter(&reason, name, At(name, i));
      problems |= NAME_BAD_CHARACTER;
      if (!repair) break;
      name[i] = '_';
    }
  }
  const std::size_t length = std::strlen(name);
  if ((checks & NAME_TOO_LONG) && length > MAX_NAME_LEN) {
    reason.Write("'%.31s...' is too long (%d characters, maximum is %d)", name,
                 static_cast<int>(std::min<std::size_t>(length, INT_MAX)), MAX_NAME_LEN);
    problems |= NAME_TOO_LONG;
    if (repair) name[MAX_NAME_LEN] = 0;
  }
  if (!length) {
    if (!(checks & NAME_EMPTY)) return problems;
    reason.Write("is empty (contains no characters)");
    return problems | NAME_EMPTY;
  }
  if ((checks & NAME_BAD_START) && !IsAsciiLetter(At(name, 0))) {
    reason.Write("'%.30s' starts with non-alphabetic character '%c'", name, name[0]);
    problems |= NAME_BAD_START;
    if (repair) name[0] = 'x';
  }
  return problems;
}

// 5 for no array, 4 when no entry is a name that is not empty; else 0, plus 1 for an empty entry found, plus 2 for a
// NULL one. Mode 2 turns NULL entries into empty strings, 3 frees empty strings, 4 drops them without freeing.
int CheckNameList(char** names, int length, int mode) {
  if (!BRAVIC_ASSERT_TEXT(1 <= mode && mode <= 4, "1 <= hownull && hownull <= 4")) return 0;
  if (!names) return 5;
  bool anyName = false, anyEmpty = false, anyNull = false;
  for (int i = 0; i < length; ++i) {
    if (!names[i]) {
      anyNull = true;
      if (mode == 2) names[i] = DupText("");
    } else if (!names[i][0]) {
      anyEmpty = true;
      if (mode == 3) Free(names[i]);
      if (mode >= 3) names[i] = nullptr;
    } else {
      anyName = true;
    }
  }
  return anyName ? anyEmpty + 2 * anyNull : 4;
}

char* DupText(const char* text) {
  if (!text) return nullptr;
  if (!BRAVIC_ASSERT_TEXT(text != Naddr() && text != UndefPtr(), "str != NADDR && str != UNDEF_PTR")) return nullptr;
  return DupText(std::string_view(text));
}

char* DupText(std::string_view text) {
  char* copy = static_cast<char*>(Allocate(text.size() + 1));
  if (!text.empty()) std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = 0;
  return copy;
}

char* TryDupText(const char* text) {
  if (!text) return nullptr;
  if (!BRAVIC_ASSERT_TEXT(text != Naddr() && text != UndefPtr(), "str != NADDR && str != UNDEF_PTR")) return nullptr;
  const std::size_t size = std::strlen(text) + 1;
  char* copy = static_cast<char*>(TryAllocate(size));
  if (!copy) {
    Post(FailMemory(NO_MEMORY_FOR_TEXT, 0, text));
    return nullptr;
  }
  std::memcpy(copy, text, size);
  return copy;
}

char* CopyText(char* destination, const char* source, std::size_t max) {
  if (!BRAVIC_ASSERT_TEXT(destination != nullptr, "deststr") || !BRAVIC_ASSERT_TEXT(source != nullptr, "srcstr") ||
      !BRAVIC_ASSERT_TEXT(destination != source, "deststr != srcstr")) {
    return destination;
  }
  const void* stop = std::memchr(source, 0, max);
  const std::size_t length = stop ? static_cast<std::size_t>(static_cast<const char*>(stop) - source) : max;
  std::memcpy(destination, source, length);
  destination[length] = 0;
  return destination + length;
}

char* CopyTextMarked(char* destination, const char* source, std::size_t max) {
  char* end = CopyText(destination, source, max);
  const std::size_t length = end - destination;
  if (source && length == max && source[length])
    std::memset(end - std::min<std::size_t>(3, max), '.', std::min<std::size_t>(3, max));
  return end;
}

bool EqualText(const char* a, const char* b) {
  return a == b || (a && b && std::strcmp(a, b) == 0);
}

int CompareText(const char* a, const char* b) {
  return a == b ? 0 : std::strcmp(OrEmpty(a), OrEmpty(b));
}

bool EqualTextNoCase(const char* a, const char* b) {
  return a == b || (a && b && CompareTextNoCase(a, b) == 0);
}

int CompareTextNoCase(const char* a, const char* b) {
  return a == b ? 0 : CompareTextNoCase(OrEmpty(a), OrEmpty(b), SIZE_MAX);
}

int CompareTextNoCase(const char* a, const char* b, std::size_t max) {
  if (!BRAVIC_ASSERT_TEXT(a != nullptr, "str1") || !BRAVIC_ASSERT_TEXT(b != nullptr, "str2")) return 0;
  for (std::size_t i = 0; i < max; ++i) {
    const int ca = AsciiUpper(At(a, i)), cb = AsciiUpper(At(b, i));
    if (ca != cb) return ca < cb ? -1 : 1;
    if (!ca) break;
  }
  return 0;
}

bool StartsWith(const char* text, const char* prefix) {
  return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

bool StartsWithNoCase(const char* text, const char* prefix) {
  return CompareTextNoCase(text, prefix, std::strlen(prefix)) == 0;
}

bool EndsWith(const char* text, const char* suffix) {
  return std::string_view(text).ends_with(suffix);
}

// Values past the range of long count as its greatest.
long TrailingNumber(const char* text, const char** start) {
  const char* end = text + std::strlen(text);
  const char* first = end;
  while (first > text && IsAsciiDigit(static_cast<unsigned char>(first[-1]))) --first;
  if (start) *start = first;
  if (first == end) return -1;
  long value = 0;
  for (const char* at = first; at < end; ++at) {
    const int digit = *at - '0';
    if (value > (LONG_MAX - digit) / 10) return LONG_MAX;
    value = value * 10 + digit;
  }
  return value;
}

ShownPath::ShownPath(const char* path, std::size_t room) {
  constexpr std::string_view GAP = "...";
  const std::size_t length = std::strlen(path);
  if (length <= room) {
    std::memcpy(text, path, length + 1);
    return;
  }
  const auto isWithinCharacter = [&](std::size_t i) { return (At(path, i) & 0xC0) == 0x80; };
  std::size_t head = (room - GAP.size()) / 2, tail = length - (room - GAP.size() - head);
  while (head > 0 && isWithinCharacter(head)) --head;
  while (isWithinCharacter(tail)) ++tail;
  char* at = std::copy_n(path, head, text);
  at = std::copy(GAP.begin(), GAP.end(), at);
  std::memcpy(at, path + tail, length - tail + 1);
}

const char* Ordinal(long n, char* buffer) {
  static constexpr const char* WORDS[] = {"zeroth", "first",   "second", "third", "fourth", "fifth",
                                          "sixth",  "seventh", "eighth", "ninth", "tenth"};
  if (0 <= n && n <= 10) {
    return std::strcpy(buffer, WORDS[n]);
  }
  const long tens = n % 100 / 10, ones = n % 10;
  const char* suffix = tens == 1 || tens == -1 ? "th" : ones == 1 ? "st" : ones == 2 ? "nd" : ones == 3 ? "rd" : "th";
  FormatText(buffer, 24, "%ld%s", n, suffix);
  return buffer;
}

}  // namespace bravic

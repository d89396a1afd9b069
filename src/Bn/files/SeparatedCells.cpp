#include "Bn/files/SeparatedCells.h"

#include <algorithm>
#include <cstring>

namespace bravic {
namespace {

constexpr std::size_t SLACK = 8;  // readable bytes behind the text of an entry

const char* SkipBlanks(const char* at, const char* end) {
  while (at < end && *at == ' ') ++at;
  return at;
}

const char* FindCharacter(const char* at, const char* end, char c) {
  const void* found = std::memchr(at, c, end - at);
  return found ? static_cast<const char*>(found) : end;
}

}  // namespace

char FindSeparator(std::string_view line, std::string_view among) {
  constexpr std::size_t MOST = 3;
  int counts[MOST] = {};
  char first = 0;
  bool isQuoted = false;
  for (char c : line) {
    if (c == '"') isQuoted = !isQuoted;
    const std::size_t which = isQuoted ? among.npos : among.find(c);
    if (which == among.npos) continue;
    ++counts[which];
    if (!first) first = c;
  }
  if (!first) return 0;
  const std::size_t best = std::max_element(counts, counts + among.size()) - counts;
  return counts[best] == counts[among.find(first)] ? first : among[best];
}

CellCutter::Fault CellCutter::CutQuoted(const char** at, const char* end, char separator, EntryText* cell) {
  const char* const start = *at + 1;
  const char* close = FindCharacter(start, end, '"');
  const bool isDoubled = close + 1 < end && close[1] == '"';
  if (isDoubled) {
    unquoted_.clear();
    const char* from = start;
    for (; close + 1 < end && close[1] == '"'; close = FindCharacter(from, end, '"')) {
      unquoted_.insert(unquoted_.end(), from, close + 1);
      from = close + 2;
    }
    unquoted_.insert(unquoted_.end(), from, close);
    const std::size_t length = unquoted_.size();
    unquoted_.resize(length + SLACK);
    *cell = EntryText(unquoted_.data(), length);
  } else {
    *cell = EntryText(start, close - start);
  }
  if (close == end) return Fault::OpenQuote;
  *at = SkipBlanks(close + 1, end);
  return *at == end || **at == separator ? Fault::None : Fault::TextAfterQuote;
}

CellCutter::Fault CellCutter::Cut(const char** at, const char* end, char separator, EntryText* cell) {
  *at = SkipBlanks(*at, end);
  if (*at < end && **at == '"') return CutQuoted(at, end, separator, cell);
  const char* const start = *at;
  *at = FindCharacter(start, end, separator);
  const char* last = *at;
  while (last > start && last[-1] == ' ') --last;
  *cell = EntryText(start, last - start);
  return Fault::None;
}

}  // namespace bravic

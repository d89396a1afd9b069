// The cells of a line of separated values, as spreadsheets write them (RFC 4180): a separator between two, quotes
// around a cell that holds one, quotes doubled within. Blanks around a cell do not count. A quote is closed on the line
// that opens it.
#pragma once

#include <cstdint>
#include <string_view>

#include "Basic/Memory.h"
#include "Bn/files/StateNames.h"

namespace bravic {

// Which character separates the columns that the line names: the most frequent one of those in `among` outside of
// quotes, of equally frequent ones that which comes first; 0 when there is none.
char FindSeparator(std::string_view line, std::string_view among);

class CellCutter {
 public:
  enum class Fault { None, OpenQuote, TextAfterQuote };
  // The cell that begins at *at, which goes on to the separator behind it or to the end. There are eight readable bytes
  // after the end. The cell holds until the next is cut.
  Fault Cut(const char** at, const char* end, char separator, EntryText* cell);

 private:
  Fault CutQuoted(const char** at, const char* end, char separator, EntryText* cell);

  Vector<char> unquoted_;  // of a cell with quotes in it, and eight bytes
};

// One that may be of up to eight bytes without a blank before it, in quotes or not.
struct ShortCell {
  static constexpr std::uint64_t EACH = 0x0101010101010101;

  std::size_t length;
  std::uint64_t key;           // as an EntryText's
  const char* next = nullptr;  // the separator after it; NULL where it is no such cell

  ShortCell(const char* at, char separator) {
    const bool isQuoted = *at == '"';
    const char* const text = at + isQuoted;
    const char last = isQuoted ? '"' : separator;
    const std::uint64_t word = EntryText::Word(text), hits = word ^ EACH * static_cast<unsigned char>(last);
    // Its lowest bit is that of the first byte that ends the cell, or of a control character before that.
    const std::uint64_t ends = (((hits - EACH) & ~hits) | ((word - EACH * ' ') & ~word)) & EACH * 0x80;
    const std::uint64_t end = ends & (~ends + 1);
    length = static_cast<std::size_t>(std::countr_zero(end)) / 8;
    key = word & EntryText::BitsBefore(end);
    if (text[length] == last && text[length + isQuoted] == separator) next = text + length + isQuoted;
  }
};

}  // namespace bravic

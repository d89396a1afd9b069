// The states of a node by the bytes of their names and spellings as a case file has them in place: a small
// open-addressing table over the first eight bytes and the length of each name, so that most entries are found by one
// comparison of integers.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "Bn/model/Records.h"

namespace bravic {

// An entry of a row where it stands, with eight readable bytes after its end, which is at a blank or control character.
struct EntryText {
  const char* text;
  std::size_t length;
  std::uint64_t key;  // the first eight bytes of it, the first one lowest

  explicit EntryText(const char* start) : text(start) {
    const std::uint64_t word = Word(start), end = FirstEnd(word);
    length = static_cast<std::size_t>(std::countr_zero(end)) / 8;
    key = word & BitsBefore(end);
    while (end == 0 && static_cast<unsigned char>(text[length]) > ' ') ++length;
  }
  EntryText(const char* start, std::size_t size) : text(start), length(size), key(Word(start)) {
    if (size < 8) key &= (std::uint64_t{1} << (8 * size)) - 1;
  }
  const char* End() const { return text + length; }

  static std::uint64_t Word(const char* text) {
    std::uint64_t word;
    std::memcpy(&word, text, 8);
    if constexpr (std::endian::native == std::endian::big) {
      word = (word & 0x00FF00FF00FF00FF) << 8 | (word >> 8 & 0x00FF00FF00FF00FF);
      word = (word & 0x0000FFFF0000FFFF) << 16 | (word >> 16 & 0x0000FFFF0000FFFF);
      word = word << 32 | word >> 32;
    }
    return word;
  }
  // The highest bit of the first byte up to ' '; 0 where none of the eight is.
  static std::uint64_t FirstEnd(std::uint64_t word) {
    constexpr std::uint64_t EACH = 0x0101010101010101;
    const std::uint64_t ends = (word - EACH * (' ' + 1)) & ~word & EACH * 0x80;  // bytes after it may be marked wrongly
    return ends & (~ends + 1);
  }
  static std::uint64_t BitsBefore(std::uint64_t end) { return end == 0 ? ~end : (end - 1) >> 7; }
};

// One that may be of up to eight bytes.
struct ShortEntry {
  std::size_t length;
  std::uint64_t key;  // as an EntryText's
  bool endsInTab;     // and so is as short

  explicit ShortEntry(const char* text) {
    const std::uint64_t word = EntryText::Word(text), end = EntryText::FirstEnd(word);
    length = static_cast<std::size_t>(std::countr_zero(end)) / 8;
    key = word & EntryText::BitsBefore(end);
    endsInTab = text[length] == '\t';
  }
};

class StateNames {
 public:
  enum : statetype { NO_NAME = -1 };

  void Fill(const bnode& node);
  // UNDEF_STATE for a mark of a missing entry.
  statetype Find(const EntryText& entry) const {
    const std::size_t at = Slot(entry.key);
    const Name& name = slots_[at];
    if (name.key == entry.key && name.length == entry.length && entry.length <= 8) return name.state;
    return name.length == 0 ? static_cast<statetype>(NO_NAME) : FindFrom(at, entry);
  }
  // NO_NAME also where the slot is another's. entry: a ShortEntry or its like.
  template <class Short>
  statetype FindShort(const Short& entry) const {
    const Name& name = slots_[Slot(entry.key)];
    return name.key == entry.key && name.length == entry.length ? name.state : static_cast<statetype>(NO_NAME);
  }

 private:
  struct Name {
    std::uint64_t key = 0;
    std::size_t length = 0;      // 0: a free slot
    const char* name = nullptr;  // the node's
    statetype state = NO_NAME;
  };
  bool Add(const char* name, statetype state);  // whether its own slot was free
  bool Place(const bnode& node);                // the same of all names
  statetype FindFrom(std::size_t at, const EntryText& entry) const;
  std::size_t Slot(std::uint64_t key) const { return static_cast<std::size_t>((key * multiplier_) >> 40) & mask_; }
  Vector<Name> slots_;
  std::size_t mask_ = 0;
  std::uint64_t multiplier_ = 0x9E3779B97F4A7C15;
};

}  // namespace bravic

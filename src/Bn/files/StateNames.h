// The states of a node by the bytes of their names as a case file has them in place: a small open-addressing table over
// the first eight bytes and the length of each name, so that most entries are found by one comparison of integers.
#pragma once

#include <cstdint>
#include <cstring>

#include "Bn/model/Records.h"

namespace bravic {

class StateNames {
 public:
  void Fill(const bnode& node);
  // text must have eight readable bytes after its start.
  int Find(const char* text, std::size_t length) const {
    if (slots_.empty()) return -1;
    std::uint64_t key = FirstBytes(text, length);
    for (std::size_t at = Slot(key, length);; at = (at + 1) & mask_) {
      const Entry& entry = slots_[at];
      if (entry.state < 0) return -1;
      if (entry.key == key && entry.length == length && (length <= 8 || SameTail(entry, text))) return entry.state;
    }
  }

 private:
  struct Entry {
    std::uint64_t key = 0;
    std::size_t length = 0;
    const char* name = nullptr;  // the node's
    int state = -1;
  };
  static std::uint64_t FirstBytes(const char* text, std::size_t length) {
    unsigned char bytes[8];
    std::memcpy(bytes, text, 8);
    std::uint64_t key = 0;
    for (int i = 7; i >= 0; --i) key = key << 8 | bytes[i];
    return length >= 8 ? key : key & ((std::uint64_t{1} << (8 * length)) - 1);
  }
  static bool SameTail(const Entry& entry, const char* text) {
    return std::memcmp(entry.name + 8, text + 8, entry.length - 8) == 0;
  }
  std::size_t Slot(std::uint64_t key, std::size_t length) const {
    return static_cast<std::size_t>(((key + length) * 0x9E3779B97F4A7C15ULL) >> 40) & mask_;
  }
  Vector<Entry> slots_;
  std::size_t mask_ = 0;
};

}  // namespace bravic

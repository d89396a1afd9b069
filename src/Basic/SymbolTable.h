// Symbol tables: from a name to the record that bears it, for the nodes of a net, of a file being read, and for the
// names that a file being written needs. Open addressing with linear probing, and deletion that leaves no tombstones
// (Knuth, The Art of Computer Programming, volume 3, section 6.4, algorithms L and R). A table knows nothing of what
// its records are but that they have a `name`.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "Basic/Errors.h"
#include "Basic/Memory.h"

namespace bravic {

// FNV-1a, with its upper half folded into the lower one: a table of 2^k slots looks at the last k bits alone.
inline unsigned HashName(std::string_view name) {
  std::uint32_t hash = 2166136261u;
  for (char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
  return hash ^ (hash >> 15);
}

// Records are not owned. While one is in the table its name must stay as it is: who renames it takes it out first.
template <class Record>
class SymbolTable {
 public:
  SymbolTable() = default;
  SymbolTable(const SymbolTable&) = delete;
  SymbolTable& operator=(const SymbolTable&) = delete;
  ~SymbolTable() { Free(slots_); }

  int Size() const { return static_cast<int>(num_); }

  // NULL when no record bears the name; a name of NULL is nobody's.
  Record* Find(const char* name) const {
    return name && numSlots_ ? slots_[SlotOf(name, HashName(name))].record : nullptr;
  }

  // No other record of the table may bear its name.
  void Enter(Record* record) {
    if (2 * (num_ + 1) > numSlots_) Grow();
    const unsigned hash = HashName(record->name);
    Slot& slot = slots_[SlotOf(record->name, hash)];
    if (!BRAVIC_ASSERT_TEXT(!slot.record, "nn != -1")) return;
    slot = {hash, record};
    ++num_;
  }

  // Whether the record was in the table.
  bool Remove(const Record* record) {
    if (Find(record->name) != record) return false;
    // A search ends at the first empty slot. So each later record of the same run comes back into the hole, unless its
    // search begins behind it; then the hole is where that record was.
    unsigned hole = SlotOf(record->name, HashName(record->name));
    const unsigned mask = numSlots_ - 1;
    for (unsigned i = (hole + 1) & mask; slots_[i].record; i = (i + 1) & mask) {
      const unsigned fromHome = (i - slots_[i].hash) & mask, fromHole = (i - hole) & mask;
      if (fromHome < fromHole) continue;
      slots_[hole] = slots_[i];
      hole = i;
    }
    slots_[hole].record = nullptr;
    --num_;
    return true;
  }

  void Clear() {
    Free(slots_);
    slots_ = nullptr;
    numSlots_ = num_ = 0;
  }

 private:
  struct Slot {
    unsigned hash;   // of the record's name: unequal hashes spare the comparison of texts
    Record* record;  // NULL in an empty slot
  };

  static constexpr unsigned FIRST_SIZE = 64;

  Slot* slots_ = nullptr;  // [numSlots_] owned
  unsigned numSlots_ = 0;  // 0 or a power of 2
  unsigned num_ = 0;       // at most half of the slots, so that every search meets an empty one soon

  // Where the name is, or the empty slot where it would go. There must be slots.
  unsigned SlotOf(const char* name, unsigned hash) const {
    unsigned i = hash & (numSlots_ - 1);
    while (slots_[i].record && (slots_[i].hash != hash || std::strcmp(slots_[i].record->name, name) != 0)) {
      i = (i + 1) & (numSlots_ - 1);
    }
    return i;
  }

  void Grow() {
    Slot* const old = slots_;
    const unsigned oldSize = numSlots_;
    numSlots_ = oldSize ? 2 * oldSize : FIRST_SIZE;
    slots_ = NewCleared<Slot>(numSlots_);
    for (const Slot* slot = old; slot != old + oldSize; ++slot) {
      if (slot->record) slots_[SlotOf(slot->record->name, slot->hash)] = *slot;
    }
    Free(old);
  }
};

}  // namespace bravic

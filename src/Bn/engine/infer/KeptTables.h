// Tables that steps of earlier questions left, under what they were made of.
#pragma once

#include <cstdint>
#include <span>

#include "Basic/Memory.h"
#include "Bn/engine/infer/Range.h"

namespace bravic::engine {

// Stands for the numbers of a table: equal keys, equal numbers.
struct TableKey {
  std::uint64_t high = 0, low = 0;

  bool operator==(const TableKey&) const = default;
  void Mix(std::uint64_t value) {
    high = Scramble(high ^ value);
    low = Scramble(low + high + 0x9E3779B97F4A7C15u);
  }
  // In whatever order they come.
  void Add(const TableKey& other) {
    high += other.high;
    low += other.low;
  }

 private:
  static std::uint64_t Scramble(std::uint64_t x) {
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9u;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBu;
    return x ^ (x >> 31);
  }
};

class KeptTables {
 public:
  // A table over axes, the slowest first.
  struct Table {
    TableKey key;
    int begin = 0;  // in the entries
    int size = 0;   // 0: a free place; 1: a positive number that need not be known
    int firstAxis = 0, numAxes = 0;
    Range range;
  };

  // Room in entries; none to begin with.
  void SetCapacity(std::size_t entries) { capacity_ = entries; }
  void Forget();
  // Whether something had to be left out. What is kept may still be in use then.
  bool IsFull() const { return isFull_; }

  // The place of what is kept under the key, or the free one for it; NULL when there is none.
  Table* PlaceFor(const TableKey& key);
  const float* EntriesOf(const Table& table) const { return entries_.get() + table.begin; }
  std::span<const int> AxesOf(const Table& table) const {
    return std::span(axes_.data() + table.firstAxis, table.numAxes);
  }
  // Room for a table of so many entries, slack included, which may be 0; NULL when it is full.
  float* MakeRoom(std::size_t room);
  // Keeps a table whose entries stand in the room made last; its axes are added one by one.
  void Keep(Table* place, const TableKey& key, const float* entries, int size, const Range& range);
  void AddAxis(Table* table, int id);
  // Keeps a table of one entry.
  void KeepPositive(Table* place, const TableKey& key);

 private:
  std::size_t capacity_ = 0;
  int numEntries_ = 0, numTables_ = 0;
  bool isFull_ = false;
  Block<float> entries_;
  Vector<Table> places_;  // found by key
  Vector<int> axes_;      // ids
};

}  // namespace bravic::engine

// Scores of families, kept under the node and its parents.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Basic/Memory.h"

namespace bravic::engine {

class FamilyCache {
 public:
  // parents: ascending.
  bool Find(int node, std::span<const int> parents, double* score) const;
  // Forgets all when it has become too large, or is short of memory.
  void Add(int node, std::span<const int> parents, double score);

 private:
  struct Entry {
    std::uint64_t hash;
    double score;
    std::ptrdiff_t start;  // of its key in the pool; less than 0: none
  };

  std::ptrdiff_t Place(std::uint64_t hash, int node, std::span<const int> parents) const;
  bool Grow();
  void Forget();

  Block<Entry> entries_;  // [size] a power of two
  Block<int> pool_;       // [poolRoom] keys: number of parents, node, parents
  std::ptrdiff_t size_ = 0, numUsed_ = 0, poolUsed_ = 0, poolRoom_ = 0;
};

}  // namespace bravic::engine

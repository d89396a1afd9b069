// A graph as bits: for each node a row of the nodes that it is joined to.
#pragma once

#include <bit>
#include <cstdint>

#include "Basic/Memory.h"

namespace bravic::engine {

class BitRows {
 public:
  void Reset(int numNodes) {
    words_ = (numNodes + WORD_BITS - 1) / WORD_BITS;
    bits_.assign(numNodes * words_, 0);
  }
  bool Has(int i, int j) const { return Row(i)[WordOf(j)] >> (j & LOW) & 1; }
  void Set(int i, int j) { Row(i)[WordOf(j)] |= Bit(j); }
  void Clear(int i, int j) { Row(i)[WordOf(j)] &= ~Bit(j); }
  // Joins all that j is joined to with i.
  void SetAll(int i, int j) {
    for (int w = 0; w < words_; ++w) Row(i)[w] |= Row(j)[w];
  }
  template <class Visit>
  void ForEach(int i, Visit visit) const {
    for (int w = 0; w < words_; ++w) ForEachBit(w, Row(i)[w], visit);
  }
  // Those that both are joined to.
  template <class Visit>
  void ForEachCommon(int i, int j, Visit visit) const {
    for (int w = 0; w < words_; ++w) ForEachBit(w, Row(i)[w] & Row(j)[w], visit);
  }
  // Those that i is joined to and j is not.
  template <class Visit>
  void ForEachBeyond(int i, int j, Visit visit) const {
    for (int w = 0; w < words_; ++w) ForEachBit(w, Row(i)[w] & ~Row(j)[w], visit);
  }

 private:
  static constexpr int WORD_BITS = 64, LOW = WORD_BITS - 1;

  static int WordOf(int j) { return j >> 6; }
  static std::uint64_t Bit(int j) { return std::uint64_t{1} << (j & LOW); }
  std::uint64_t* Row(int i) { return bits_.data() + i * words_; }
  const std::uint64_t* Row(int i) const { return bits_.data() + i * words_; }
  template <class Visit>
  static void ForEachBit(int word, std::uint64_t bits, Visit visit) {
    for (; bits != 0; bits &= bits - 1) visit(word * WORD_BITS + std::countr_zero(bits));
  }

  int words_ = 0;
  Vector<std::uint64_t> bits_;
};

}  // namespace bravic::engine

// Which of many cases are the same: each kind is computed once.
#pragma once

#include <cstddef>
#include <span>

#include "Basic/Memory.h"

namespace bravic::engine {

class DistinctCases {
 public:
  // states [numCases x width]. isThorough: they are compared whatever a look at some of them promises. Where little is
  // to be gained, or memory is short, each case counts as of its own kind.
  DistinctCases(const int* states, std::ptrdiff_t numCases, int width, bool isThorough);

  // How many kinds there are, and the first case of each.
  std::ptrdiff_t NumKinds() const { return first_ ? numKinds_ : numCases_; }
  std::ptrdiff_t FirstOf(std::ptrdiff_t kind) const { return first_ ? first_[kind] : kind; }
  // The first cases, to be put into another order; empty where every case is of its own kind.
  std::span<std::ptrdiff_t> Firsts() { return {first_.get(), first_ ? static_cast<std::size_t>(numKinds_) : 0}; }
  // The first case of the case's kind.
  std::ptrdiff_t SameAs(std::ptrdiff_t number) const { return same_ ? same_[number] : number; }
  bool HasSame() const { return NumKinds() < numCases_; }

 private:
  bool Find(std::ptrdiff_t numCases);

  const int* states_;
  std::ptrdiff_t numCases_, numKinds_ = 0;
  int width_;
  Block<std::ptrdiff_t> first_, same_;
};

}  // namespace bravic::engine

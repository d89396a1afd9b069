#include "Bn/engine/learn/CommonBits.h"

#include <bit>

namespace bravic::engine {

std::int64_t CountCommonBits(const std::uint64_t* a, const std::uint64_t* b, std::ptrdiff_t numWords) {
  std::int64_t count = 0;
  for (std::ptrdiff_t w = 0; w < numWords; ++w) count += std::popcount(a[w] & b[w]);
  return count;
}

}  // namespace bravic::engine

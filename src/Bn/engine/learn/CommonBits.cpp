#include "Bn/engine/learn/CommonBits.h"

#include <cstring>

#include "Bn/engine/InstructionSets.h"

namespace bravic::engine {

namespace {

namespace sse2 {
constexpr int WORDS = 2;
using Words __attribute__((vector_size(16))) = std::uint64_t;
#include "Bn/engine/learn/CommonBitsLoops.inc"
}  // namespace sse2
#if BRAVIC_WIDE_KERNELS
BRAVIC_BEGIN_AVX2
namespace avx2 {
constexpr int WORDS = 4;
using Words __attribute__((vector_size(32))) = std::uint64_t;
#include "Bn/engine/learn/CommonBitsLoops.inc"
}  // namespace avx2
BRAVIC_END_TARGET
BRAVIC_BEGIN_AVX512
namespace avx512 {
constexpr int WORDS = 8;
using Words __attribute__((vector_size(64))) = std::uint64_t;
#include "Bn/engine/learn/CommonBitsLoops.inc"
}  // namespace avx512
BRAVIC_END_TARGET
#endif

constexpr CommonBitsCounter COUNTERS[] = {sse2::Count,
#if BRAVIC_WIDE_KERNELS
                                          avx2::Count, avx512::Count
#endif
};

}  // namespace

int NumCommonBitsCounters() {
  return 1 + NumWideSets();
}

CommonBitsCounter CommonBitsCounterNumber(int i) {
  return COUNTERS[i];
}

CommonBitsCounter BestCommonBitsCounter() {
  return COUNTERS[NumCommonBitsCounters() - 1];
}

}  // namespace bravic::engine

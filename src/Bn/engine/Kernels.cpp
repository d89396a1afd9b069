#include "Bn/engine/Kernels.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "Bn/engine/InstructionSets.h"

namespace bravic::engine {

namespace {

namespace scalar {
using Lanes = float;
using Doubles = double;
constexpr int LANES = 1;
#include "Bn/engine/KernelLoops.inc"
}  // namespace scalar

namespace sse2 {
using Lanes __attribute__((vector_size(16))) = float;
using Doubles __attribute__((vector_size(16))) = double;
constexpr int LANES = 4;
#include "Bn/engine/KernelLoops.inc"
}  // namespace sse2

#if BRAVIC_WIDE_KERNELS

BRAVIC_BEGIN_AVX2
namespace avx2 {
using Lanes __attribute__((vector_size(32))) = float;
using Doubles __attribute__((vector_size(32))) = double;
constexpr int LANES = 8;
#include "Bn/engine/KernelLoops.inc"
}  // namespace avx2
BRAVIC_END_TARGET
BRAVIC_BEGIN_AVX512
namespace avx512 {
using Lanes __attribute__((vector_size(64))) = float;
using Doubles __attribute__((vector_size(64))) = double;
constexpr int LANES = 16;
#include "Bn/engine/KernelLoops.inc"
}  // namespace avx512
BRAVIC_END_TARGET

#endif  // BRAVIC_WIDE_KERNELS

constexpr Kernels VERSIONS[] = {
    {"scalar", scalar::LANES, scalar::Multiply, scalar::Gather<false>, scalar::Gather<true>, scalar::Fold<double>,
     scalar::Fold<float>, scalar::FoldLanes<double>, scalar::FoldLanes<float>, scalar::FindRange, scalar::Divide,
     scalar::Scale},
    {"sse2", sse2::LANES, sse2::Multiply, sse2::Gather<false>, sse2::Gather<true>, sse2::Fold<double>,
     sse2::Fold<float>, sse2::FoldLanes<double>, sse2::FoldLanes<float>, sse2::FindRange, sse2::Divide, sse2::Scale},
#if BRAVIC_WIDE_KERNELS
    {"avx2", avx2::LANES, avx2::Multiply, avx2::Gather<false>, avx2::Gather<true>, avx2::Fold<double>,
     avx2::Fold<float>, avx2::FoldLanes<double>, avx2::FoldLanes<float>, avx2::FindRange, avx2::Divide, avx2::Scale},
    {"avx512", avx512::LANES, avx512::Multiply, avx512::Gather<false>, avx512::Gather<true>, avx512::Fold<double>,
     avx512::Fold<float>, avx512::FoldLanes<double>, avx512::FoldLanes<float>, avx512::FindRange, avx512::Divide,
     avx512::Scale},
#endif
};

}  // namespace

int NumKernels() {
  return 2 + NumWideSets();
}

const Kernels& KernelsNumber(int i) {
  return VERSIONS[i];
}

const Kernels& BestKernels() {
  static const Kernels& best = VERSIONS[NumKernels() - 1];
  return best;
}

}  // namespace bravic::engine

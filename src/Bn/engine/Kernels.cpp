#include "Bn/engine/Kernels.h"

#include <algorithm>
#include <cstring>
#include <limits>

// Vector types are the compilers' own; what they cannot do in one instruction they split, so the portable version
// serves every machine. The wider ones are left out for 32-bit and Windows targets, where spilled vectors may not
// be aligned.
#if defined(__x86_64__) && !defined(_WIN32)
#define BRAVIC_WIDE_KERNELS 1
#else
#define BRAVIC_WIDE_KERNELS 0
#endif

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wpsabi"
#endif

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

#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif
namespace avx2 {
using Lanes __attribute__((vector_size(32))) = float;
using Doubles __attribute__((vector_size(32))) = double;
constexpr int LANES = 8;
#include "Bn/engine/KernelLoops.inc"
}  // namespace avx2
#if defined(__clang__)
#pragma clang attribute pop
#pragma clang attribute push(__attribute__((target("avx512f,avx512vl,avx512dq"))), apply_to = function)
#else
#pragma GCC pop_options
#pragma GCC push_options
#pragma GCC target("avx512f,avx512vl,avx512dq")
#endif
namespace avx512 {
using Lanes __attribute__((vector_size(64))) = float;
using Doubles __attribute__((vector_size(64))) = double;
constexpr int LANES = 16;
#include "Bn/engine/KernelLoops.inc"
}  // namespace avx512
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

#endif  // BRAVIC_WIDE_KERNELS

constexpr Kernels VERSIONS[] = {
    {"scalar", scalar::LANES, scalar::Multiply, scalar::Gather<false>, scalar::Gather<true>, scalar::Fold<double>,
     scalar::Fold<float>, scalar::FindRange, scalar::Scale},
    {"sse2", sse2::LANES, sse2::Multiply, sse2::Gather<false>, sse2::Gather<true>, sse2::Fold<double>,
     sse2::Fold<float>, sse2::FindRange, sse2::Scale},
#if BRAVIC_WIDE_KERNELS
    {"avx2", avx2::LANES, avx2::Multiply, avx2::Gather<false>, avx2::Gather<true>, avx2::Fold<double>,
     avx2::Fold<float>, avx2::FindRange, avx2::Scale},
    {"avx512", avx512::LANES, avx512::Multiply, avx512::Gather<false>, avx512::Gather<true>, avx512::Fold<double>,
     avx512::Fold<float>, avx512::FindRange, avx512::Scale},
#endif
};

}  // namespace

int NumKernels() {
  int count = 2;
#if BRAVIC_WIDE_KERNELS
  if (__builtin_cpu_supports("avx2")) ++count;
  if (count == 3 && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
      __builtin_cpu_supports("avx512dq"))
    ++count;
#endif
  return count;
}

const Kernels& KernelsNumber(int i) {
  return VERSIONS[i];
}

const Kernels& BestKernels() {
  static const Kernels& best = VERSIONS[NumKernels() - 1];
  return best;
}

}  // namespace bravic::engine

// What the sources with vector loops share: which instruction sets they are compiled for, and how. Vector types are the
// compilers' own; what they cannot do in one instruction they split, so the portable version serves every machine. The
// wider ones are left out for 32-bit and Windows targets, where spilled vectors may not be aligned.
#pragma once

#if defined(__x86_64__) && !defined(_WIN32)
#define BRAVIC_WIDE_KERNELS 1
#else
#define BRAVIC_WIDE_KERNELS 0
#endif

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wpsabi"
#endif

// Around functions that are compiled for a target.
#if defined(__clang__)
#define BRAVIC_BEGIN_AVX2 _Pragma("clang attribute push(__attribute__((target(\"avx2\"))), apply_to = function)")
#define BRAVIC_BEGIN_AVX512 \
  _Pragma("clang attribute push(__attribute__((target(\"avx512f,avx512vl,avx512dq\"))), apply_to = function)")
#define BRAVIC_END_TARGET _Pragma("clang attribute pop")
#else
#define BRAVIC_BEGIN_AVX2 _Pragma("GCC push_options") _Pragma("GCC target(\"avx2\")")
#define BRAVIC_BEGIN_AVX512 _Pragma("GCC push_options") _Pragma("GCC target(\"avx512f,avx512vl,avx512dq\")")
#define BRAVIC_END_TARGET _Pragma("GCC pop_options")
#endif

namespace bravic::engine {

// How many of the wider ones this machine and its system run: AVX2, and AVX-512 beyond it.
int NumWideSets();

}  // namespace bravic::engine

// Which wider instruction sets there are, by the processor's own answer. The compilers' __builtin_cpu_supports does as
// much where their run-time library has it; those that build for old systems answer no to everything.
#include "Bn/engine/InstructionSets.h"

#if BRAVIC_WIDE_KERNELS
#include <cpuid.h>
#endif

namespace bravic::engine {

#if BRAVIC_WIDE_KERNELS
namespace {

bool HasAll(unsigned bits, unsigned wanted) {
  return (bits & wanted) == wanted;
}

// The registers that the system keeps for each thread: a bit for each kind of them.
unsigned KeptRegisters() {
  unsigned low = 0, high = 0;
  asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return low;
}

int FindWideSets() {
  constexpr unsigned YMM_REGISTERS = 0x06, ZMM_REGISTERS = 0xe6;
  unsigned a = 0, b = 0, c = 0, d = 0;
  if (!__get_cpuid(1, &a, &b, &c, &d) || !HasAll(c, bit_OSXSAVE | bit_AVX)) return 0;
  const unsigned kept = KeptRegisters();
  if (!__get_cpuid_count(7, 0, &a, &b, &c, &d) || !HasAll(kept, YMM_REGISTERS) || !HasAll(b, bit_AVX2)) return 0;
  return HasAll(kept, ZMM_REGISTERS) && HasAll(b, bit_AVX512F | bit_AVX512VL | bit_AVX512DQ) ? 2 : 1;
}

}  // namespace

int NumWideSets() {
  static const int num = FindWideSets();
  return num;
}
#else
int NumWideSets() {
  return 0;
}
#endif

}  // namespace bravic::engine

#include "Bn/engine/cases/Lanes.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#include "Bn/engine/InstructionSets.h"

namespace bravic::engine {

namespace {

using Four __attribute__((vector_size(16))) = float;

namespace narrow {
using Number = float;
using Integer = std::int32_t;
constexpr int MANTISSA_BITS = 23, EXPONENT_BIAS = 127;
constexpr Integer RECIPROCAL_BITS = 0x7EF311C3;  // twice those of 1, less what halves the largest error
constexpr int RECIPROCAL_STEPS = 3;
constexpr Number FLOOR = 2 * std::numeric_limits<Number>::min();
inline const Number* Potentials(const CaseProgram& program) {
  return program.floats.data();
}
}  // namespace narrow

namespace sse2 {
using namespace narrow;
constexpr int LANES = 4;
constexpr bool HAS_MANY_LOOPS = false;
using Lanes __attribute__((vector_size(16))) = float;
using Ints __attribute__((vector_size(16))) = std::int32_t;
using UnsignedInts __attribute__((vector_size(16))) = std::uint32_t;
#include "Bn/engine/cases/LaneLoops.inc"
}  // namespace sse2

namespace doubles {
using Number = double;
using Integer = std::int64_t;
constexpr int MANTISSA_BITS = 52, EXPONENT_BIAS = 1023, LANES = 2;
constexpr Integer RECIPROCAL_BITS = 0x7FDE6238502484BA;
constexpr int RECIPROCAL_STEPS = 5;
constexpr bool HAS_MANY_LOOPS = false;
constexpr Number FLOOR = 2 * std::numeric_limits<Number>::min();
inline const Number* Potentials(const CaseProgram& program) {
  return program.potentials.data();
}
using Lanes __attribute__((vector_size(16))) = double;
using Ints __attribute__((vector_size(16))) = std::int64_t;
using UnsignedInts __attribute__((vector_size(16))) = std::uint64_t;
#include "Bn/engine/cases/LaneLoops.inc"
}  // namespace doubles

#if BRAVIC_WIDE_KERNELS
BRAVIC_BEGIN_AVX2
namespace avx2 {
using namespace narrow;
constexpr int LANES = 8;
constexpr bool HAS_MANY_LOOPS = true;
using Lanes __attribute__((vector_size(32))) = float;
using Ints __attribute__((vector_size(32))) = std::int32_t;
using UnsignedInts __attribute__((vector_size(32))) = std::uint32_t;
#include "Bn/engine/cases/LaneLoops.inc"
}  // namespace avx2
BRAVIC_END_TARGET
BRAVIC_BEGIN_AVX512
namespace avx512 {
using namespace narrow;
constexpr int LANES = 16;
constexpr bool HAS_MANY_LOOPS = true;
using Lanes __attribute__((vector_size(64))) = float;
using Ints __attribute__((vector_size(64))) = std::int32_t;
using UnsignedInts __attribute__((vector_size(64))) = std::uint32_t;
#include "Bn/engine/cases/LaneLoops.inc"
}  // namespace avx512
BRAVIC_END_TARGET
#endif

constexpr LaneRunner<float> RUNNERS[] = {{"sse2", sse2::LANES, sse2::Run, sse2::Write},
#if BRAVIC_WIDE_KERNELS
                                         {"avx2", avx2::LANES, avx2::Run, avx2::Write},
                                         {"avx512", avx512::LANES, avx512::Run, avx512::Write}
#endif
};
constexpr LaneRunner<double> DOUBLE_RUNNER = {"doubles", doubles::LANES, doubles::Run, doubles::Write};

}  // namespace

int NumLaneRunners() {
  return 1 + NumWideSets();
}

const LaneRunner<float>& LaneRunnerNumber(int i) {
  return RUNNERS[i];
}

const LaneRunner<float>& BestLaneRunner() {
  static const LaneRunner<float>& best = RUNNERS[NumLaneRunners() - 1];
  return best;
}

const LaneRunner<double>& DoubleLaneRunner() {
  return DOUBLE_RUNNER;
}

}  // namespace bravic::engine

#include "Basic/Random.h"

#include <cstdlib>
#include <ctime>
#include <limits>
#include <utility>

#include "Basic/Errors.h"
#include "Basic/Memory.h"

namespace bravic {
namespace {

constexpr std::int32_t M1 = 259200, A1 = 7141, C1 = 54773;
constexpr std::int32_t M2 = 134456, A2 = 8121, C2 = 28411;
constexpr std::int32_t M3 = 243000, A3 = 4561, C3 = 51349;
constexpr double PER_M1 = 3.858024691358025e-6, PER_M2 = 7.437377283274826e-6;
constexpr std::int32_t M = NUM_INTEGER_DRAWS, A = 1366, C = 150889;

RandomState* libraryState = nullptr;

// The reals: the first generator gives the high part, the second the low part.
void StepFirstTwo(RandomState* state) {
  state->ix1 = (A1 * state->ix1 + C1) % M1;
  state->ix2 = (A2 * state->ix2 + C2) % M2;
}

// The quotient itself can round to 0 or, as a float, to 1; neither end belongs to the draws.
float Mixed(const RandomState& state) {
  const auto value = static_cast<float>((state.ix1 + state.ix2 * PER_M2) * PER_M1);
  if (value >= 1.0f) return 1.0f - std::numeric_limits<float>::epsilon() / 2;
  return value > 0.0f ? value : std::numeric_limits<float>::min();
}

void StartReals(RandomState* state) {
  const std::int64_t seed = std::llabs(state->seed1);
  state->seed1 = static_cast<std::int32_t>(seed > INT32_MAX ? INT32_MAX : seed);
  state->ix1 = static_cast<std::int32_t>((seed + C1) % M1);
  state->ix1 = (A1 * state->ix1 + C1) % M1;
  state->ix2 = state->ix1 % M2;
  state->ix1 = (A1 * state->ix1 + C1) % M1;
  state->ix3 = state->ix1 % M3;
  for (int j = 1; j <= RANDOM_TABLE_LEN; ++j) {
    StepFirstTwo(state);
    state->r[j] = Mixed(*state);
  }
}

std::int32_t StepInteger(RandomState* state) {
  return state->seed2 = (A * state->seed2 + C) % M;
}

void StartIntegers(RandomState* state) {
  state->seed2 = static_cast<std::int32_t>((C - static_cast<std::int64_t>(state->seed2)) % M);
  if (state->seed2 < 0) state->seed2 = -state->seed2;
  for (std::int32_t& entry : state->ir) entry = StepInteger(state);
  state->iy = StepInteger(state);
}

}  // namespace

RandomState* NewRandomState(int seed) {
  auto* state = NewCleared<RandomState>(1);
  SeedRandomState(state, seed);
  return state;
}

void FreeRandomState(RandomState* state) {
  Free(state);
}

// A negative seed in a state says that its table is still to be filled, which the first draw does; that draw is not
// used.
void SeedRandomState(RandomState* state, int seed) {
  if (!seed) seed = static_cast<int>(static_cast<std::uint32_t>(std::time(nullptr)));
  const std::int64_t magnitude = std::llabs(seed) + 1;
  const auto negative = static_cast<std::int32_t>(magnitude > INT32_MAX ? INT32_MIN : -magnitude);
  state->seed1 = negative;
  DrawReal(state);
  state->seed2 = negative;
  DrawInteger(state);
}

// The third generator picks the place of the table that is drawn from, and a new number takes it.
float DrawReal(RandomState* state) {
  if (state->seed1 < 0) StartReals(state);
  StepFirstTwo(state);
  state->ix3 = (A3 * state->ix3 + C3) % M3;
  const int j = 1 + RANDOM_TABLE_LEN * state->ix3 / M3;
  if (!BRAVIC_ASSERT_TEXT(1 <= j && j <= RANDOM_TABLE_LEN, "1 <= j && j <= 97")) return 0.5f;
  return std::exchange(state->r[j], Mixed(*state));
}

// The number drawn last picks the place of the table that is drawn from next.
int DrawInteger(RandomState* state) {
  if (state->seed2 < 0) StartIntegers(state);
  const int j = RANDOM_TABLE_LEN * state->iy / M;
  if (!BRAVIC_ASSERT_TEXT(0 <= j && j < RANDOM_TABLE_LEN, "0 <= j && j < 97")) return 0;
  state->iy = state->ir[j];
  state->ir[j] = StepInteger(state);
  return state->iy;
}

void SeedRandom(int seed) {
  SeedRandomState(libraryState, seed);
}

float DrawReal() {
  return DrawReal(libraryState);
}

int DrawInteger() {
  return DrawInteger(libraryState);
}

double DrawUniform(double a, double b) {
  return a + (b - a) * static_cast<double>(DrawReal());
}

void StartRandom() {
  libraryState = NewRandomState(0);
}

void StopRandom() {
  FreeRandomState(libraryState);
  libraryState = nullptr;
}

}  // namespace bravic

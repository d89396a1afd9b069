// The library's own random numbers, the same on every platform: a real generator of three congruential generators
// with a shuffle table and an integer generator of one (ran1 and ran2 of Press, Flannery, Teukolsky & Vetterling,
// Numerical Recipes, first edition). One state serves the whole library; it starts from the calendar time.
#pragma once

#include <cstdint>

namespace bravic {

inline constexpr int RANDOM_TABLE_LEN = 97;
inline constexpr int NUM_INTEGER_DRAWS = 714025;

struct RandomState {
  std::int32_t seed1;  // of the real generator; negative: the next draw initialises it
  std::int32_t ix1, ix2, ix3;
  std::int32_t spare;
  float r[RANDOM_TABLE_LEN + 1];  // entries 1 .. 97
  std::int32_t iy;                // the integer generator's last output
  std::int32_t ir[RANDOM_TABLE_LEN];
  std::int32_t seed2;  // of the integer generator, likewise
  std::int32_t word;
};

RandomState* NewRandomState(int seed);  // a seed of 0 is the calendar time; must succeed
void FreeRandomState(RandomState* state);
void SeedRandomState(RandomState* state, int seed);
float DrawReal(RandomState* state);   // in (0, 1)
int DrawInteger(RandomState* state);  // 0 .. NUM_INTEGER_DRAWS - 1

// On the library's state.
void SeedRandom(int seed);
float DrawReal();
int DrawInteger();
double DrawUniform(double a, double b);  // [a, b)

void StartRandom();
void StopRandom();

}  // namespace bravic

// The library's own random numbers, the same on every platform: a real generator of three congruential generators
// with a shuffle table and an integer generator of one (ran1 and ran2 of Press, Flannery, Teukolsky & Vetterling,
// Numerical Recipes, first edition). One state serves the whole library; it starts from the calendar time.
#pragma once

#include <cstdint>

namespace bravic {

inline constexpr int RANDOM_TABLE_LEN = 97;

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
int DrawInteger(RandomState* state);  // 0 .. 714024

// On the library's state.
void SeedRandom(int seed);
float DrawReal();
int DrawInteger();
double DrawUniform(double a, double b);  // [a, b)
int UniformBelow(int n);                 // 0 .. n - 1, with real draws for n of 32767 and more
int UniformBelowByInteger(int n);        // with integer draws for every n
double DrawExponential();                // of mean 1
// Puts a random selection of that many entries, in random order, at the front.
void RandomSubset(int* array, int length, int subsetSize);
void RandomSubset(void** array, int length, int subsetSize);
// Exactly so many ones at random places; fills the buffer [length], or one that it allocates.
char* RandomPattern(int length, int numOnes, char* buffer);

void StartRandom();
void StopRandom();

}  // namespace bravic

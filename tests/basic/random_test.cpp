#include "Basic/Random.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <map>
#include <numeric>
#include <utility>
#include <vector>

#include "Basic/Memory.h"
#include "Basic/uncalled/RandomDraws.h"
#include "support/library.h"

namespace bravic::testing {
namespace {

using RandomTest = LibraryTest;

// The generators once more, written apart from the library's, in 64-bit arithmetic.
struct TwinReals {
  long long ix1, ix2, ix3;
  float table[98] = {};

  float Next() { return static_cast<float>((static_cast<double>(ix1) + static_cast<double>(ix2) / 134456) / 259200); }
  void Step() {
    ix1 = (7141 * ix1 + 54773) % 259200;
    ix2 = (8121 * ix2 + 28411) % 134456;
  }
  explicit TwinReals(long long seed) {
    ix1 = (7141 * ((std::llabs(seed) + 1 + 54773) % 259200) + 54773) % 259200;
    ix2 = ix1 % 134456;
    ix1 = (7141 * ix1 + 54773) % 259200;
    ix3 = ix1 % 243000;
    for (int j = 1; j < 98; ++j) {
      Step();
      table[j] = Next();
    }
    Draw();
  }
  float Draw() {
    Step();
    ix3 = (4561 * ix3 + 51349) % 243000;
    float& entry = table[1 + 97 * ix3 / 243000];
    const float drawn = entry;
    entry = Next();
    return drawn;
  }
};

struct TwinIntegers {
  long long state, last, table[97];

  long long Step() { return state = (1366 * state + 150889) % 714025; }
  explicit TwinIntegers(long long seed) : state((150889 + std::llabs(seed) + 1) % 714025) {
    for (long long& entry : table) entry = Step();
    last = Step();
    Draw();
  }
  long long Draw() {
    const long long j = 97 * last / 714025;
    last = table[j];
    table[j] = Step();
    return last;
  }
};

TEST_F(RandomTest, DrawsFollowTheTwoGenerators) {
  for (const int seed : {1, -1, 42, 714024, 1900000000, INT_MAX - 1}) {
    SeedRandom_ns(seed, env);
    TwinReals reals(seed);
    TwinIntegers integers(seed);
    for (int i = 0; i < 20000; ++i) {
      ASSERT_EQ(DrawReal(), reals.Draw()) << "seed " << seed << ", draw " << i;
      ASSERT_EQ(DrawInteger(), integers.Draw()) << "seed " << seed << ", draw " << i;
    }
  }
}

TEST_F(RandomTest, BoundedIntegersFollowThreeRules) {
  for (const int n : {1, 2, 10, 2999, 3000, 3001, 32766, 32767, 100000}) {
    RandomState* twin = NewRandomState(7);
    SeedRandom(7);
    for (int i = 0; i < 20000; ++i) {
      const int drawn = UniformBelow(n);
      ASSERT_TRUE(0 <= drawn && drawn < n) << n;
      if (n < 32767) {
        ASSERT_EQ(drawn, static_cast<long long>(DrawInteger(twin)) * n / 714025) << n;
      } else {
        ASSERT_EQ(drawn, static_cast<int>(static_cast<double>(DrawReal(twin)) * n)) << n;
      }
    }
    FreeRandomState(twin);
  }
  for (int i = 0; i < 1000; ++i) EXPECT_LT(UniformBelowByInteger(INT_MAX), INT_MAX);
}

TEST_F(RandomTest, SubsetsAndPatternsAreFair) {
  SeedRandom(3);
  std::map<std::pair<int, int>, int> pairs;
  std::vector<int> hits(9);
  for (int i = 0; i < 5000; ++i) {
    int array[5];
    std::iota(array, array + 5, 0);
    RandomSubset(array, 5, 2);
    ++pairs[{array[0], array[1]}];
    std::sort(array, array + 5);
    for (int k = 0; k < 5; ++k) ASSERT_EQ(array[k], k);
    char pattern[9];
    EXPECT_EQ(RandomPattern(9, i % 10, pattern), pattern);
    ASSERT_EQ(std::count(pattern, pattern + 9, 1), i % 10);
    for (int k = 0; k < 9; ++k) hits[static_cast<std::size_t>(k)] += pattern[k];
  }
  EXPECT_EQ(pairs.size(), 20u);
  for (const auto& [pair, count] : pairs) EXPECT_NEAR(count, 250, 75) << pair.first << pair.second;
  for (const int count : hits) EXPECT_NEAR(count, 2500, 150);
  Free(RandomPattern(4, 1, nullptr));
}

TEST_F(RandomTest, PointersAndExponentialsAreDrawnByTheSameNumbers) {
  int numbers[50];
  void* pointers[50];
  std::iota(numbers, numbers + 50, 0);
  for (int i = 0; i < 50; ++i) pointers[i] = &numbers[i];
  SeedRandom(9);
  RandomSubset(pointers, 50, 20);
  int order[50];
  std::iota(order, order + 50, 0);
  SeedRandom(9);
  RandomSubset(order, 50, 20);
  for (int i = 0; i < 50; ++i) EXPECT_EQ(pointers[i], &numbers[order[i]]);
  RandomState* twin = NewRandomState(9);
  SeedRandom(9);
  double sum = 0;
  for (int i = 0; i < 20000; ++i) {
    const double drawn = DrawExponential();
    ASSERT_NEAR(std::exp(-drawn), static_cast<double>(DrawReal(twin)), 1e-12);
    sum += drawn;
  }
  FreeRandomState(twin);
  EXPECT_NEAR(sum / 20000, 1, 0.03);
}

}  // namespace
}  // namespace bravic::testing

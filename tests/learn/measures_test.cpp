// The measures of validation by hand-computed numbers.
#include "../tools/bravic/Measures.h"

#include <array>
#include <cmath>

#include "support/test.h"

namespace bravic::testing {
namespace {

using Beliefs = std::array<float, 2>;

TEST(Measures, AreThoseComputedByHand) {
  Judged judged(2);
  judged.Add(Beliefs{0.8f, 0.2f}, 0, 1);
  judged.Add(Beliefs{0.4f, 0.6f}, 1, 1);
  EXPECT_NEAR(judged.ErrorRate(), 0, 1e-7);
  EXPECT_NEAR(judged.RocArea(), 1, 1e-7);
  Judged more(2);
  more.Add(Beliefs{0.3f, 0.7f}, 0, 1);
  more.Add(Beliefs{0.5f, 0.5f}, 1, 1);
  judged.Add(more);
  EXPECT_EQ(judged.NumCases(), 4u);
  EXPECT_NEAR(judged.LogLoss(), -std::log(0.8 * 0.6 * 0.3 * 0.5) / 4, 1e-6);
  EXPECT_NEAR(judged.Brier(), (0.08 + 0.32 + 0.98 + 0.5) / 4, 1e-6);
  EXPECT_NEAR(judged.ErrorRate(), 0.5, 1e-7);
  // 0.8 is above 0.4 and 0.5, 0.3 above neither.
  EXPECT_NEAR(judged.RocArea(), 0.5, 1e-7);
  judged.Add(Beliefs{0.8f, 0.2f}, 0, 2);  // so often once more
  EXPECT_NEAR(judged.RocArea(), 6.0 / 8, 1e-7);
  EXPECT_NEAR(judged.ErrorRate(), 2.0 / 6, 1e-7);
  const auto bins = judged.Calibration();
  EXPECT_NEAR(bins[8].count, 3, 1e-7);
  EXPECT_NEAR(bins[8].came, 3, 1e-7);
  EXPECT_NEAR(bins[5].count, 2, 1e-7);
  EXPECT_NEAR(bins[5].came, 1, 1e-7);
  EXPECT_NEAR(bins[6].belief, 0.6 + 0.7, 1e-6);  // as floats 0.7 is a little less, 0.6 a little more
}

// Ties count half; of more states each against the rest, by how often it occurs.
TEST(Measures, RankTiesAndSeveralStates) {
  Judged judged(3);
  EXPECT_LT(judged.RocArea(), 0);
  judged.Add(std::array<float, 3>{0.6f, 0.2f, 0.2f}, 0, 1);
  EXPECT_LT(judged.RocArea(), 0);
  judged.Add(std::array<float, 3>{0.6f, 0.3f, 0.1f}, 1, 1);
  judged.Add(std::array<float, 3>{0.0f, 0.3f, 0.7f}, 0, 1);
  // State 0: 0.6 ties with 0.6, 0 loses: 0.25, weight 2. State 1: 0.3 above 0.2, ties with 0.3: 0.75.
  EXPECT_NEAR(judged.RocArea(), (2 * 0.25 + 0.75) / 3, 1e-7);
  judged.Add(std::array<float, 3>{1, 0, 0}, 2, 1);
  EXPECT_NEAR(judged.LogLoss(), -(std::log(0.6 * 0.3) + 2 * std::log(1e-38)) / 4, 1e-5);
}

}  // namespace
}  // namespace bravic::testing

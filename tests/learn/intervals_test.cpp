// Intervals: by hand, by the definition on random numbers, and what is refused.
#include <cmath>
#include <map>

#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

using Numbers = std::vector<double>;

class Intervals : public NetTest {
 protected:
  // The inner bounds.
  static Numbers Cuts(const Numbers& values, int method, int mostbins, const std::vector<int>& classes = {}) {
    Numbers bounds(static_cast<std::size_t>(mostbins) + 1, 77);
    const long count = FindIntervals_bn(values.data(), classes.data(), static_cast<long>(values.size()), method,
                                        mostbins, bounds.data());
    if (count < 1) return {-1};
    EXPECT_EQ(bounds[0], -inf_dbl_ns);
    EXPECT_EQ(bounds[static_cast<std::size_t>(count)], inf_dbl_ns);
    return Numbers(bounds.begin() + 1, bounds.begin() + count);
  }
};

TEST_F(Intervals, AreThoseOfHandComputedExamples) {
  const double nan = std::nan("");
  EXPECT_EQ(Cuts({0, 10, undef_dbl_ns, 4, nan, inf_dbl_ns}, 0, 4), (Numbers{2.5, 5, 7.5}));
  EXPECT_EQ(Cuts({3, 3, 3}, 0, 4), Numbers());
  EXPECT_EQ(Cuts({-1e308, 1e308}, 0, 2), (Numbers{0}));
  EXPECT_EQ(Cuts({6, 1, 2, 5, 4, 3}, 1, 3), (Numbers{2.5, 4.5}));
  EXPECT_EQ(Cuts({1, 1, 1, 1, 1, 2}, 1, 3), (Numbers{1.5}));
  EXPECT_EQ(Cuts({1, 2, 2, 2, 2, 3}, 1, 2), (Numbers{1.5}));
  EXPECT_EQ(Cuts({1}, 1, 9), Numbers());
  // Two classes apart: the cut saves 8 nats times ln 2, and costs ln 7 + ln 7 - 2 ln 2.
  EXPECT_EQ(Cuts({1, 2, 3, 4, 6, 7, 8, 9}, 2, 9, {0, 0, 0, 0, 1, 1, 1, 1}), (Numbers{5}));
  // Of four values it saves 4 ln 2 = 2.77, and costs ln 3 + ln 7 - 2 ln 2 = 1.66; mixed ones save less.
  EXPECT_EQ(Cuts({1, 2, 3, 4}, 2, 9, {0, 0, 5, 5}), (Numbers{2.5}));
  EXPECT_EQ(Cuts({1, 2, 3, 4}, 2, 9, {0, 5, 0, 5}), Numbers());
  EXPECT_EQ(Cuts({1, 2, 3, 4}, 2, 1, {0, 0, 5, 5}), Numbers());
  EXPECT_EQ(Cuts({1, 2, 9, 3, 4}, 2, 9, {0, 0, -1, 1, 1}), (Numbers{2.5}));
}

// The cuts by information against the definition, counted anew for every candidate.
class ByDefinition {
 public:
  ByDefinition(Numbers values, std::vector<int> classes) {
    for (std::size_t i = 0; i < values.size(); ++i) all_.emplace_back(values[i], classes[i]);
    std::sort(all_.begin(), all_.end());
    Split(0, all_.size());
    std::sort(cuts.begin(), cuts.end());
  }
  Numbers cuts;

 private:
  double Entropy(std::size_t from, std::size_t to, int* numclasses) const {
    std::map<int, double> counts;
    for (std::size_t i = from; i < to; ++i) ++counts[all_[i].second];
    *numclasses = static_cast<int>(counts.size());
    double sum = 0;
    for (const auto& [which, count] : counts)
      sum -= count / static_cast<double>(to - from) * std::log2(count / static_cast<double>(to - from));
    return sum;
  }
  void Split(std::size_t from, std::size_t to) {
    const auto n = static_cast<double>(to - from);
    int k = 0, k1 = 0, k2 = 0;
    const double entropy = Entropy(from, to, &k);
    double best = 1e9;
    std::size_t cut = 0;
    for (std::size_t i = from + 1; i < to; ++i) {
      if (all_[i - 1].first == all_[i].first) continue;
      const double left = static_cast<double>(i - from) / n * Entropy(from, i, &k1) +
                          static_cast<double>(to - i) / n * Entropy(i, to, &k2);
      if (left < best - 1e-12) best = left, cut = i;
    }
    if (cut == 0) return;
    const double below = Entropy(from, cut, &k1), above = Entropy(cut, to, &k2);
    const double delta = std::log2(std::pow(3, k) - 2) - (k * entropy - k1 * below - k2 * above);
    if (entropy - best <= (std::log2(n - 1) + delta) / n) return;
    cuts.push_back((all_[cut - 1].first + all_[cut].first) / 2);
    Split(from, cut);
    Split(cut, to);
  }
  std::vector<std::pair<double, int>> all_;
};

TEST_F(Intervals, ByInformationAreThoseOfTheDefinition) {
  int numCuts = 0;
  for (std::uint64_t seed = 1; seed <= 60; ++seed) {
    Random random(seed);
    Numbers values;
    std::vector<int> classes;
    const int numvalues = random.Between(2, 150), range = random.Between(2, 100), numclasses = random.Between(2, 4);
    for (int i = 0; i < numvalues; ++i) {
      const int value = random.Below(range);
      values.push_back(value / 8.0);
      classes.push_back(random.Chance(0.25) ? random.Below(numclasses) : value * 7 / range % numclasses);
    }
    const ByDefinition expected(values, classes);
    numCuts += static_cast<int>(expected.cuts.size());
    EXPECT_EQ(Cuts(values, 2, 200, classes), expected.cuts) << "seed " << seed;
    // With fewer intervals allowed some of the same cuts.
    for (double cut : Cuts(values, 2, 3, classes))
      EXPECT_EQ(std::count(expected.cuts.begin(), expected.cuts.end(), cut), 1) << "seed " << seed;
  }
  EXPECT_GT(numCuts, 60);
}

TEST_F(Intervals, AreRefusedForWrongArguments) {
  const double values[] = {undef_dbl_ns, 2};
  const int classes[] = {0, -1};
  double bounds[9];
  EXPECT_EQ(FindIntervals_bn(nullptr, nullptr, 2, 0, 3, bounds), -1);
  EXPECT_EQ(FindIntervals_bn(values, nullptr, 2, 2, 3, bounds), -1);
  EXPECT_EQ(FindIntervals_bn(values, nullptr, 2, 0, 3, nullptr), -1);
  EXPECT_EQ(FindIntervals_bn(values, nullptr, -1, 0, 3, bounds), -1);
  EXPECT_EQ(FindIntervals_bn(values, nullptr, 2, 3, 3, bounds), -1);
  EXPECT_EQ(FindIntervals_bn(values, nullptr, 2, 0, 0, bounds), -1);
  EXPECT_EQ(FindIntervals_bn(values, nullptr, 1, 0, 3, bounds), -1);
  EXPECT_EQ(FindIntervals_bn(values, classes, 2, 2, 3, bounds), -1);
  const std::string name = " FindIntervals_bn";
  EXPECT_EQ(Gist(), "5 2515" + name + " NULL values; 5 2515" + name + " NULL classes; 5 2515" + name +
                        " NULL bounds; 5 2514" + name + " numvalues -1 0; 5 2513" + name + " method 3 0 2; 5 2514" +
                        name + " mostbins 0 1; 5 2512" + name + "; 5 2512" + name);
}

}  // namespace
}  // namespace bravic::testing

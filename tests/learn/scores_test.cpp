// Scores of families against the formulas, however the cases are counted.
#include "Basic/Logarithm.h"
#include "Bn/engine/learn/FamilyScores.h"
#include "learn/data.h"
#include "support/library.h"

namespace bravic::testing {

Owned<engine::CaseColumns> Data::Columns() const {
  auto columns = MakeOwned<engine::CaseColumns>(numstates);
  std::vector<int> all(numstates.size());
  std::iota(all.begin(), all.end(), 0);
  // In two parts.
  const std::size_t half = NumCases() / 2, width = numstates.size();
  const auto add = [&](std::size_t from, std::size_t count) {
    const double* partWeights = weights.empty() ? nullptr : weights.data() + from;
    return columns->Add({states.data() + from * width, std::ptrdiff_t(count), int(width), all, partWeights});
  };
  EXPECT_TRUE(add(0, half) && add(half, NumCases() - half) && columns->Finish());
  return columns;
}

Data DrawData(Random& random, const DataOptions& options) {
  Data data;
  for (int i = 0; i < options.nodes; ++i) data.numstates.push_back(random.Between(1, options.mostStates));
  for (int number = 0; number < options.cases; ++number) {
    const std::size_t row = data.states.size();
    for (int i = 0; i < options.nodes; ++i) {
      const int told = i == 0 ? 0 : data.states[row + std::size_t(i - 1)] + (i > 2 ? data.states[row + 1] : 0);
      const int states = data.numstates[std::size_t(i)];
      data.states.push_back(random.Chance(0.7) ? told % states : random.Below(states));
    }
    if (options.whole) data.weights.push_back(random.Below(4));
    if (options.broken) data.weights.push_back(random.Share() * 3);
  }
  for (int& state : data.states)
    if (random.Chance(options.missing)) state = -1;
  return data;
}

namespace {

using engine::FamilyCounter;
using engine::FamilyScores;
using engine::ScoreKind;
using ScoresTest = LibraryTest;
constexpr ScoreKind KINDS[] = {ScoreKind::BIC, ScoreKind::BDEU, ScoreKind::LOG_LIKELIHOOD};

double Total(const Data& data) {
  double total = 0;
  for (std::size_t number = 0; number < data.NumCases(); ++number) total += data.Weight(number);
  return total;
}

// Of the cases in which all of those are known.
double ScoreOfComplete(const Data& data, ScoreKind kind, double prior, int node, const std::vector<int>& parents,
                       const std::vector<int>& known, double* weight) {
  std::map<std::vector<int>, std::map<int, double>> counts;
  *weight = 0;
  for (std::size_t number = 0; number < data.NumCases(); ++number) {
    if (data.State(number, node) < 0 ||
        std::any_of(known.begin(), known.end(), [&](int k) { return data.State(number, k) < 0; }))
      continue;
    std::vector<int> config;
    for (int parent : parents) config.push_back(data.State(number, parent));
    counts[config][data.State(number, node)] += data.Weight(number);
    *weight += data.Weight(number);
  }
  double configs = 1, score = 0;
  for (int parent : parents) configs *= data.numstates[std::size_t(parent)];
  const double states = data.numstates[std::size_t(node)];
  for (const auto& [config, ofStates] : counts) {
    double sum = 0;
    for (const auto& [state, count] : ofStates) {
      sum += count;
      if (kind == ScoreKind::BDEU)
        score += std::lgamma(prior / configs / states + count) - std::lgamma(prior / configs / states);
      else if (count > 0)
        score += count * std::log(count);
    }
    if (kind == ScoreKind::BDEU)
      score += std::lgamma(prior / configs) - std::lgamma(prior / configs + sum);
    else if (sum > 0)
      score -= sum * std::log(sum);
  }
  if (kind == ScoreKind::BIC) score -= std::log(std::max(1.0, Total(data))) / 2 * configs * (states - 1);
  return score;
}

}  // namespace

double PlainScore(const Data& data, ScoreKind kind, double prior, int node, const std::vector<int>& parents) {
  double weight;
  double score = ScoreOfComplete(data, kind, prior, node, {}, {}, &weight);
  if (weight == 0) return 0;
  score *= Total(data) / weight;
  std::vector<std::pair<double, int>> order;  // by what they gain alone
  for (int parent : parents)
    order.emplace_back(parents.size() > 1 ? -PlainScore(data, kind, prior, node, {parent}) : 0, parent);
  std::sort(order.begin(), order.end());
  std::vector<int> before;
  for (const auto& [gain, parent] : order) {
    std::vector<int> with = before;
    with.push_back(parent);
    double gained = ScoreOfComplete(data, kind, prior, node, with, with, &weight);
    gained -= ScoreOfComplete(data, kind, prior, node, before, with, &weight);
    if (weight > 0) score += gained * Total(data) / weight;
    before = with;
  }
  return score;
}

namespace {

TEST_F(ScoresTest, LogarithmsAreThoseOfTheLibrary) {
  Random random(3);
  for (int k = 0; k < 20000; ++k) {
    const double x = std::ldexp(0.5 + random.Share() / 2, random.Between(-900, 900));
    EXPECT_NEAR(NaturalLog(x), std::log(x), 4e-16 * std::max(1.0, std::abs(std::log(x)))) << x;
    const double y = std::ldexp(0.5 + random.Share() / 2, random.Between(-60, 30));
    EXPECT_NEAR(LogGammaFunction(y), std::lgamma(y), 1e-14 * std::max(1.0, std::abs(std::lgamma(y)))) << y;
  }
  EXPECT_EQ(NaturalLog(1), 0);
}

// So many that the node's cells are no bytes or pairs of them any more, nor what may occur of a family a table.
void SpreadStates(Data* data, int node, int numStates, int apart) {
  for (std::size_t number = 0; number < data->NumCases(); ++number) {
    int& state = data->states[number * data->numstates.size() + std::size_t(node)];
    if (state > 0) state *= apart;
  }
  data->numstates[std::size_t(node)] = numStates;
}

// Weights, missing cells, few rows and merged ones, many parents, every way of counting and several threads.
TEST_F(ScoresTest, AreThoseOfTheFormulas) {
  constexpr FamilyCounter::Way WAYS[] = {FamilyCounter::Way::CHEAPEST, FamilyCounter::Way::WALK,
                                         FamilyCounter::Way::BITS, FamilyCounter::Way::SORT};
  for (std::uint64_t seed = 0; seed < 23; ++seed) {
    Random random(seed);
    DataOptions options;
    options.cases = std::vector{1, 2, 30, 200, 1000}[std::size_t(random.Below(5))];
    options.mostStates = seed % 8 == 7 ? 300 : 4;
    if (seed % 3 == 1) options.missing = 0.2;
    options.whole = seed % 4 == 1;
    options.broken = seed % 4 == 3;
    Data data = DrawData(random, options);
    if (Total(data) == 0) continue;
    if (seed % 5 == 2 && options.mostStates == 4) SpreadStates(&data, 1, 70000, 23000), SpreadStates(&data, 3, 300, 90);
    const auto columns = data.Columns();
    EXPECT_NEAR(columns->TotalWeight(), Total(data), 1e-9 * Total(data));
    for (ScoreKind kind : KINDS) {
      const double prior = std::vector{0.5, 1.0, 10.0}[std::size_t(random.Below(3))];
      std::vector<Owned<FamilyScores>> scores;
      for (FamilyCounter::Way way : WAYS) {
        scores.push_back(MakeOwned<FamilyScores>(*columns, kind, prior, 2));
        scores.back()->SetWay(way);
      }
      for (int k = 0; k < 4; ++k) {
        const int node = random.Below(data.NumNodes());
        std::vector<int> parents, others;
        for (int i = 0; i < data.NumNodes(); ++i) {
          if (i != node) others.push_back(i);
          if (i != node && random.Chance(0.4)) parents.push_back(i);
        }
        const double expected = PlainScore(data, kind, prior, node, parents);
        const double score = scores[0]->Score(node, parents);
        EXPECT_NEAR(score, expected, 1e-7 * std::max(1.0, std::abs(expected))) << seed << " node " << node;
        std::vector<double> toggled(others.size()), one(others.size());
        for (std::size_t i = 0; i < others.size(); ++i) {
          std::vector<int> family;
          std::set_symmetric_difference(parents.begin(), parents.end(), &others[i], &others[i] + 1,
                                        std::back_inserter(family));
          one[i] = scores[0]->Score(node, family);
        }
        for (auto& each : scores) {
          EXPECT_EQ(each->Score(node, parents), score) << seed;
          each->ScoreToggled(node, parents, others, toggled.data());
          EXPECT_EQ(toggled, one) << seed;
        }
      }
    }
  }
}

}  // namespace
}  // namespace bravic::testing

// Variable elimination against the product of all tables, summed entry by entry.
#include "Bn/engine/infer/Elimination.h"

#include "support/joint.h"
#include "support/library.h"
#include "support/random.h"

namespace bravic::testing {
namespace {

using engine::Elimination;
using engine::Outcome;
using EliminationTest = LibraryTest;

struct Table {
  std::vector<int> variables, strides;
  std::vector<float> entries;
  int first = 0, low = 0;
};

struct Problem {
  std::vector<int> sizes;
  std::vector<Table> tables;
};

// Tables as the engine hands them over: axes in any order, some of the axes of the table left out at one state.
Problem RandomProblem(Random& random, double zeros, double smallest) {
  Problem problem;
  const int n = 1 + random.Below(8);
  double configurations = 1;
  for (int v = 0; v < n; ++v) {
    problem.sizes.push_back(configurations > 4e4 ? 2 : 2 + random.Below(9));
    configurations *= problem.sizes.back();
  }
  for (int t = 0; t <= n; ++t) {
    Table table;
    int size = 1;
    for (int k = random.Below(7); k > 0; --k) {
      const int v = random.Below(n);
      if (std::find(table.variables.begin(), table.variables.end(), v) != table.variables.end()) continue;
      const int states = problem.sizes[std::size_t(v)];
      if (random.Below(6) == 0) {
        table.first += random.Below(states) * size;
      } else {
        table.variables.push_back(v);
        table.strides.push_back(size);
      }
      size *= states;
    }
    for (int i = 0; i < size; ++i) {
      const double entry = random.Share() < zeros ? 0 : std::pow(smallest, random.Share());
      table.entries.push_back(float(entry));
    }
    table.low = int(std::floor(std::log2(smallest))) - 1;
    problem.tables.push_back(table);
  }
  return problem;
}

std::vector<double> SumOnto(const Problem& problem, int keep) {
  std::vector<Factor> factors;
  for (const Table& table : problem.tables)
    factors.push_back({table.variables, table.strides, {table.entries.begin(), table.entries.end()}, table.first});
  return EnumerateOnto(keep < 0 ? std::vector<int>() : std::vector<int>{keep}, problem.sizes, factors);
}

TEST_F(EliminationTest, SumsAsTheWholeProduct) {
  Random random(5);
  Elimination elimination;
  int planned = 0, doubtful = 0;
  for (int round = 0; round < 200; ++round) {
    SCOPED_TRACE(round);
    const double smallest = round % 3 ? 0.01 : round % 2 ? 1e-12 : 1e-30;
    const Problem problem = RandomProblem(random, round % 4 ? 0 : 0.3, smallest);
    elimination.Clear();
    for (int v = 0; v < int(problem.sizes.size()); ++v) elimination.AddVariable(v, problem.sizes[std::size_t(v)]);
    for (const Table& table : problem.tables) {
      elimination.AddFactor(table.entries.data(), table.first, int(table.entries.size()), {table.low, engine::NO_LOSS},
                            {});
      for (std::size_t k = 0; k < table.variables.size(); ++k)
        elimination.AddAxis(table.variables[k], table.strides[k]);
    }
    const int keep = random.Below(int(problem.sizes.size()) + 1) - 1;
    const double cost = elimination.Plan(keep, 1e12);
    ASSERT_LT(cost, 1e12);
    planned += cost > 6000;
    const std::vector<double> expected = SumOnto(problem, keep);
    double whole = 0, got = 0;
    for (double sum : expected) whole += sum;
    std::vector<double> sums(expected.size(), -1);
    const Outcome outcome = elimination.Run(engine::KernelsNumber(random.Below(engine::NumKernels())), sums.data());
    doubtful += outcome == Outcome::DOUBTFUL;
    if (outcome == Outcome::DOUBTFUL) continue;
    ASSERT_EQ(outcome == Outcome::GOOD, whole > 0);
    if (whole == 0 || keep < 0) continue;
    for (double sum : sums) got += sum;
    for (std::size_t s = 0; s < sums.size(); ++s) EXPECT_NEAR(sums[s] / got, expected[s] / whole, 2e-6);
  }
  EXPECT_GT(planned, 30) << "large passes among them";
  EXPECT_LT(doubtful, 100);
}

// Long rows of questions about much the same tables, by one that keeps what it makes and by a new one each time.
TEST_F(EliminationTest, AnswersTheSameFromWhatItKept) {
  constexpr int NUM = 40;
  Random random(7);
  std::vector<int> sizes;
  std::vector<Table> tables;
  for (int v = 0; v < NUM; ++v) {
    sizes.push_back(2 + random.Below(3));
    Table table;
    int size = 1;
    for (int w = v; w >= 0 && w > v - 6; w -= 1 + random.Below(3)) {
      table.variables.push_back(w);
      table.strides.push_back(size);
      size *= sizes[std::size_t(w)];
    }
    for (int i = 0; i < size; ++i) table.entries.push_back(float(random.Below(8) ? random.Share() : 0));
    table.low = -40;
    tables.push_back(table);
  }
  for (std::size_t capacity : {500, 100000}) {
    Elimination keeping;
    keeping.Keep(capacity);
    for (int question = 0; question < 300; ++question) {
      SCOPED_TRACE(question);
      // Now and then a variable is known, and a table left out.
      const int known = random.Below(2 * NUM), left = random.Below(2 * NUM);
      int keep = random.Below(NUM);
      if (keep == known) keep = (keep + 1) % NUM;
      Elimination fresh;
      double sums[2][4] = {};
      Outcome outcomes[2];
      for (Elimination* elimination : {&keeping, &fresh}) {
        elimination->Clear();
        std::vector<int> numbers(NUM, -1);
        for (int v = 0; v < NUM; ++v)
          if (v != known) numbers[std::size_t(v)] = elimination->AddVariable(v, sizes[std::size_t(v)]);
        for (int t = 0; t < NUM; ++t) {
          if (t == left) continue;
          const Table& table = tables[std::size_t(t)];
          const auto at = std::find(table.variables.begin(), table.variables.end(), known);
          const int first = at == table.variables.end() ? 0 : table.strides[std::size_t(at - table.variables.begin())];
          engine::TableKey key;
          key.Mix(static_cast<std::uint64_t>(t));
          key.Mix(static_cast<std::uint64_t>(at == table.variables.end() ? -1 : known));
          elimination->AddFactor(table.entries.data(), first, int(table.entries.size()), {table.low, engine::NO_LOSS},
                                 key);
          for (std::size_t k = 0; k < table.variables.size(); ++k)
            if (table.variables[k] != known)
              elimination->AddAxis(numbers[std::size_t(table.variables[k])], table.strides[k]);
        }
        const int which = elimination == &fresh;
        ASSERT_LT(elimination->Plan(numbers[std::size_t(keep)], 1e12), 1e12);
        outcomes[which] = elimination->Run(engine::BestKernels(), sums[which]);
      }
      ASSERT_EQ(outcomes[0], outcomes[1]);
      if (outcomes[0] != Outcome::GOOD) continue;
      const double whole = std::accumulate(sums[0], sums[0] + 4, 0.0),
                   other = std::accumulate(sums[1], sums[1] + 4, 0.0);
      for (int s = 0; s < 4; ++s) EXPECT_NEAR(sums[0][s] / whole, sums[1][s] / other, 2e-6);
    }
  }
}

// What a table that was left has lost beside its largest entry may be all that counts in the end.
TEST_F(EliminationTest, DoubtsWhatRestsOnLostEntries) {
  const std::vector<float> rare = {1, 1e-25f, 1, 1e-25f}, contrary = {0, 0, 1, 1}, mild = {1, 1, 1, 1};
  for (const auto& last : {contrary, mild}) {
    Elimination elimination;
    for (int v = 0; v < 3; ++v) elimination.AddVariable(v, 2);
    for (int k = 0; k < 2; ++k) {
      elimination.AddFactor(rare.data(), 0, 4, {-84, engine::NO_LOSS}, {});
      elimination.AddAxis(0, 2);
      elimination.AddAxis(1, 1);
    }
    elimination.AddFactor(last.data(), 0, 4, {}, {});
    elimination.AddAxis(1, 2);
    elimination.AddAxis(2, 1);
    ASSERT_TRUE(std::isfinite(elimination.Plan(2, 1e12)));
    double sums[2];
    EXPECT_EQ(elimination.Run(engine::BestKernels(), sums), last[0] > 0 ? Outcome::GOOD : Outcome::DOUBTFUL);
  }
}

TEST_F(EliminationTest, RefusesWhatHasNoRoom) {
  Elimination elimination;
  const std::vector<float> ones(64, 1.0f);
  for (int v = 0; v < 40; ++v) elimination.AddVariable(v, 8);
  for (int a = 0; a < 40; ++a) {
    for (int b = 0; b < a; ++b) {
      elimination.AddFactor(ones.data(), 0, 64, {}, {});
      elimination.AddAxis(a, 8);
      elimination.AddAxis(b, 1);
    }
  }
  EXPECT_FALSE(std::isfinite(elimination.Plan(0, 1e30)));
}

}  // namespace
}  // namespace bravic::testing

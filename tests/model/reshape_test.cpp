// A change of parents against a row-by-row model of what becomes of the tables.

#include "Bn/model/Parents.h"
#include "Bn/model/Tables.h"
#include "Bn/model/UndoRecord.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

struct Rows {
  std::vector<float> probs, numcases, determinv;
  std::vector<statetype> determin;
  bool operator==(const Rows&) const = default;
};

template <class T>
std::vector<T> Contents(const T* table) {
  return table ? std::vector<T>(table, table + BlockSize(table) / sizeof(T)) : std::vector<T>();
}

Rows RowsOf(node_bn node) {
  return {Contents(node->probs), Contents(node->numcases), Contents(node->determinv), Contents(node->determin)};
}

template <class T>
T* Filled(std::size_t num, float first) {
  auto* table = static_cast<T*>(Allocate(num * sizeof(T)));
  for (std::size_t i = 0; i < num; ++i) table[i] = static_cast<T>(first + float(i));
  return table;
}

std::size_t NumRowsOver(const std::vector<node_bn>& parents) {
  std::size_t num = 1;
  for (node_bn parent : parents) num *= std::size_t(NumStates(parent));
  return num;
}

// The state of a parent before in a row of the parents after: its own there, or the one held for a parent removed.
statetype StateBefore(const std::vector<node_bn>& before, std::size_t i, const std::vector<node_bn>& after,
                      const std::vector<statetype>& states) {
  auto occurrence = std::count(before.begin(), before.begin() + static_cast<std::ptrdiff_t>(i), before[i]);
  for (std::size_t k = 0; k < after.size(); ++k) {
    if (after[k] == before[i] && occurrence-- == 0) return states[k];
  }
  return before[i]->state39;
}

Rows Expected(const Rows& old, const std::vector<node_bn>& before, const std::vector<node_bn>& after, int numstates) {
  Rows rows;
  std::vector<statetype> states(after.size(), 0);
  do {
    std::size_t row = 0;
    for (std::size_t i = 0; i < before.size(); ++i) {
      row = row * std::size_t(NumStates(before[i])) + std::size_t(StateBefore(before, i, after, states));
    }
    const std::size_t n = std::size_t(numstates);
    rows.probs.insert(rows.probs.end(), old.probs.data() + row * n, old.probs.data() + (row + 1) * n);
    if (!old.numcases.empty()) rows.numcases.push_back(old.numcases[row]);
    if (!old.determin.empty()) rows.determin.push_back(old.determin[row]);
    if (!old.determinv.empty()) rows.determinv.push_back(old.determinv[row]);
  } while (NextConfiguration(after, states));
  return rows;
}

using ReshapeTest = NetTest;

TEST_F(ReshapeTest, TablesFollowAnyChangeOfParents) {
  Random random(20250101);
  for (int round = 0; round < 300; ++round) {
    net.reset(NewNet_bn("Test", env));
    std::vector<node_bn> pool;
    for (int i = 0; i < 6; ++i) {
      pool.push_back(New(nullptr, random.Between(1, 4)));
      pool.back()->state39 = random.Below(NumStates(pool.back()));
    }
    node_bn node = New("Node", random.Between(1, 3));
    const auto draw = [&] {
      std::vector<node_bn> parents;
      for (node_bn parent : pool) {
        if (random.Chance(0.5)) parents.insert(parents.begin() + random.Below(int(parents.size()) + 1), parent);
      }
      if (!parents.empty() && random.Chance(0.1)) parents.push_back(parents[0]);
      return parents;
    };
    const auto before = draw(), after = draw();
    ChangeParents(node, before, {}, false);
    const std::size_t numrows = NumRowsOver(before);
    ReplaceTables(nullptr, node, Filled<float>(numrows * std::size_t(NumStates(node)), 0.5f),
                  random.Chance(0.5) ? Filled<float>(numrows, 1000) : nullptr,
                  random.Chance(0.5) ? Filled<statetype>(numrows, 2000) : nullptr,
                  random.Chance(0.5) ? Filled<float>(numrows, 3000) : nullptr, 1);
    const Rows old = RowsOf(node);
    const int result = ChangeParents(node, after, {}, false);
    EXPECT_EQ(result, before == after ? PARENTS_UNCHANGED : PARENTS_CHANGED);
    ASSERT_EQ(RowsOf(node), Expected(old, before, after, NumStates(node))) << "in round " << round;
    Reports();  // double links
  }
}

TEST_F(ReshapeTest, TablesThatCannotBeHadAreLeftAbsent) {
  node_bn node = New("Child");
  std::vector<node_bn> parents;
  for (int i = 0; i < 3; ++i) parents.push_back(New(nullptr, 1 << 30));
  ReplaceTables(nullptr, node, Filled<float>(2, 0), Filled<float>(1, 7), nullptr, nullptr, 1);
  EXPECT_EQ(ChangeParents(node, parents, {}, false), PARENTS_TABLES_LOST);
  EXPECT_EQ(GetNodeParents_bn(node)->num, 3);
  EXPECT_EQ(node->probs, nullptr);
  EXPECT_EQ(node->numcases, nullptr);
  EXPECT_NE(Reports().find("5582"), std::string::npos);
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  EXPECT_EQ(Contents(node->probs), (std::vector<float>{0, 1}));
  EXPECT_EQ(Contents(node->numcases), std::vector<float>{7});
}

}  // namespace
}  // namespace bravic::testing

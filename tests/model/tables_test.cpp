// Tables through the public interface, against a plain model of what each row holds.
#include "Bn/model/Tables.h"

#include <optional>

#include "Basic/Memory.h"
#include "Bn/model/Relation.h"
#include "Bn/model/SharedAnswers.h"
#include "Bn/model/TableForms.h"
#include "Bn/model/TableRows.h"
#include "Bn/model/Undo.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

using Row = std::vector<float>;
using States = std::vector<statetype>;

class TablesTest : public NetTest {
 protected:
  Row RowOf(node_bn node, const States& states) {
    const probtype* row = GetNodeProbs_bn(node, states.data());
    return row ? Row(row, row + NumStates(node)) : Row{};
  }
};

float* NewFloats(std::initializer_list<float> values) {
  float* block = static_cast<float*>(Allocate(values.size() * sizeof(float)));
  std::copy(values.begin(), values.end(), block);
  return block;
}

// What a discrete node's relation is said to be: rows by configuration, absent tables empty.
struct PlainTables {
  std::vector<Row> probs;
  std::vector<double> experience;
  std::vector<double> function;  // state numbers; -3 where none is given
  bool operator==(const PlainTables&) const = default;
};

struct PlainModel {
  node_bn node;
  PlainTables tables;

  std::size_t NumRows() const {
    std::size_t n = 0;
    ForEachRow(node, [&](const statetype*) { n++; });
    return n;
  }
  template <class Change>
  void AtAgreeing(const States& states, Change change) {
    std::size_t row = 0;
    ForEachRow(node, [&](const statetype* here) {
      bool agrees = true;
      for (std::size_t i = 0; i + 1 < states.size(); ++i)
        agrees = agrees && (states[i] == EVERY_STATE || states[i] == here[i]);
      if (agrees) change(row);
      ++row;
    });
  }
  Row OneHot(double state) const {
    Row row(std::size_t(NumStates(node)), state < 0 ? UNDEF_PROB : 0.0f);
    if (state >= 0) row[std::size_t(state)] = 1;
    return row;
  }
  void SetProbs(const States& states, const Row& row) {
    std::vector<Row> probs = tables.probs;
    if (probs.empty()) {
      probs.assign(NumRows(), OneHot(UNDEF_STATE));
      for (std::size_t r = 0; r < tables.function.size(); ++r) probs[r] = OneHot(tables.function[r]);
    }
    const std::vector<Row> before = probs;
    AtAgreeing(states, [&](std::size_t r) { probs[r] = row; });
    // A function table that says the same stays the relation.
    if (!tables.function.empty() && probs == before) return;
    tables.probs = probs;
    tables.function.clear();
  }
  void SetExperience(const States& states, double experience) {
    if (tables.experience.empty()) tables.experience.assign(NumRows(), UNDEF_DBL);
    AtAgreeing(states, [&](std::size_t r) { tables.experience[r] = experience; });
  }
  void SetFunction(const States& states, int state) {
    if (!tables.probs.empty()) {
      SetProbs(states, OneHot(state));
      return;
    }
    if (tables.function.empty()) tables = {{}, {}, std::vector<double>(NumRows(), UNDEF_STATE)};
    AtAgreeing(states, [&](std::size_t r) { tables.function[r] = state; });
  }
};

void ExpectSame(const PlainModel& model) {
  const PlainTables& tables = model.tables;
  const node_bn node = model.node;
  ASSERT_EQ(HasRelation_bn(node), !tables.probs.empty() || !tables.function.empty());
  std::size_t row = 0;
  ForEachRow(node, [&](const statetype* states) {
    SCOPED_TRACE("row " + std::to_string(row));
    if (!tables.function.empty()) ASSERT_EQ(GetNodeFuncValue_bn(node, states), tables.function[row]);
    ASSERT_EQ(GetNodeExperience_bn(node, states), tables.experience.empty() ? UNDEF_DBL : tables.experience[row]);
    const probtype* probs = GetNodeProbs_bn(node, states);
    ASSERT_EQ(probs != nullptr, HasRelation_bn(node) != 0);
    if (probs) {
      const Row expected = tables.probs.empty() ? model.OneHot(tables.function[row]) : tables.probs[row];
      ASSERT_EQ(Row(probs, probs + NumStates(node)), expected);
    }
    ++row;
  });
}

TEST_F(TablesTest, AnyMixOfSettersUndoAndRedoAgreesWithAPlainModel) {
  SetUndoDepth_bn(1000, net.get());
  for (std::uint64_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    net.reset(NewNet_bn("Test", env));
    node_bn node = New("Child", random.Between(1, 4));
    for (int i = random.Below(4); i-- > 0;) AddLink_bn(New(nullptr, random.Between(1, 4)), node);
    PlainModel model{node, {}};
    std::vector<std::pair<int, PlainTables>> history;  // undo sequence and what held then
    for (int step = 0; step < 120; ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      const PlainTables before = model.tables;
      const int sequence = UndoSequence(net.get());
      States states;
      for (node_bn parent : Nodes(GetNodeParents_bn(node))) {
        states.push_back(random.Chance(0.25) ? EVERY_STATE : random.Below(NumStates(parent)));
      }
      states.push_back(0);
      const int what = random.Below(10);
      if (what < 4) {
        const Row row = RandomRow(random, NumStates(node), 0.3);
        SetNodeProbs_bn(node, states.data(), row.data());
        model.SetProbs(states, row);
      } else if (what < 6) {
        const double experience = random.Below(3);
        SetNodeExperience_bn(node, states.data(), experience);
        model.SetExperience(states, experience);
      } else if (what < 9) {
        const int state = random.Below(NumStates(node));
        SetNodeFuncValue_bn(node, states.data(), state);
        model.SetFunction(states, state);
      } else if (random.Chance(0.5)) {
        DeleteNodeRelation_bn(node);
        model.tables = {};
      }
      ASSERT_EQ(Reports(0), "");
      // Reading derives tables, which must make no difference to what follows.
      if (random.Chance(0.5)) ExpectSame(model);
      ASSERT_EQ(UndoSequence(net.get()) != sequence, model.tables != before) << "one record exactly when it changed";
      if (model.tables != before) history.push_back({sequence, before});
      if (random.Chance(0.3) && !history.empty()) {
        const auto [at, tables] = random.Pick(history);
        const PlainTables now = std::exchange(model.tables, tables);
        const int newest = UndoSequence(net.get());
        UndoTo(net.get(), at);
        ExpectSame(model);
        model.tables = now;
        RedoTo(net.get(), newest + 1);
      }
      ExpectSame(model);
      if (HasFatalFailure()) return;
    }
  }
  SetUndoDepth_bn(1, net.get());
}

TEST_F(TablesTest, FunctionValuesBecomeStatesByLevels) {
  const float X = IMPOS_PROB;
  const Row none(3, UNDEF_PROB);
  const struct {
    bool discrete;
    float value;
    Row row;
    const char* warning = "";
  } cases[] = {
      {false, 0, {1, 0, 0}},
      {false, 0.99f, {1, 0, 0}},
      {false, 1, {0, 1, 0}},
      {false, 4, {0, 0, 1}},
      {false, 4.1f, none, "4 2283 GetNodeProbs_bn 4.1 N1"},
      {false, -0.1f, none, "4 2283 GetNodeProbs_bn -0.1 N1"},
      {false, UNDEF_PROB, none},
      {false, X, {X, X, X}},
      {true, 1, {0, 1, 0}},
      {true, 1.00009f, {0, 1, 0}},
      {true, 1.0002f, none, "4 2283 GetNodeProbs_bn 1.0002 N1"},
      {true, 5, none, "4 2283 GetNodeProbs_bn 5 N1"},
  };
  const double levels[] = {0, 1, 2, 4};
  for (const auto& c : cases) {
    SCOPED_TRACE((c.discrete ? "discrete " : "continuous ") + std::to_string(c.value));
    node_bn node = New(nullptr, c.discrete ? 3 : 0);
    ASSERT_EQ(SetNodeLevels_bn(node, 3, levels), 0);
    ASSERT_EQ(SetFunctionValue(node, nullptr, c.value), 0);
    EXPECT_EQ(RowOf(node, {}), c.row);
    EXPECT_EQ(Gist(), c.warning);
    EXPECT_EQ(GetNodeFuncValue_bn(node, nullptr), double(c.value));
    DeleteNode_bn(node);
  }
}

TEST_F(TablesTest, DerivedProbabilitiesFollowFunctionsLevelsAndUndo) {
  const double narrow[] = {0, 1, 2}, wide[] = {0, 1.6, 2};
  node_bn node = New("Dose", 0, {New("P", 3)});
  ASSERT_EQ(SetNodeLevels_bn(node, 2, narrow), 0);
  for (statetype state : {0, 1, 2}) SetNodeFuncValue_bn(node, &state, 0.5);
  EXPECT_EQ(RowOf(node, {2}), (Row{1, 0}));
  SetNodeFuncValue_bn(node, States{EVERY_STATE}.data(), 1.5);
  EXPECT_EQ(RowOf(node, {2}), (Row{0, 1}));
  ASSERT_EQ(SetNodeLevels_bn(node, 2, wide), 0);
  EXPECT_EQ(RowOf(node, {2}), (Row{1, 0}));
  UndoLastChange_bn(net.get());
  EXPECT_EQ(RowOf(node, {2}), (Row{0, 1}));
  RedoLastChange_bn(net.get());
  EXPECT_EQ(RowOf(node, {2}), (Row{1, 0}));
}

TEST_F(TablesTest, DerivedTablesOfFilesAndCopiesAreComplete) {
  net = Read(
      "// ~->[DNET-1]->~\nbnet F { node A { kind = NATURE; discrete = TRUE; states = (x, y); functable = y; };"
      "node B { kind = NATURE; discrete = FALSE; levels = (0, 1, 2); functable = 1.5; }; };");
  nodelist_bn copies = DuplicateNodes_bn(GetNetNodes_bn(net.get()), net.get());
  FreeNodeList_bn(copies);
  for (node_bn node : Nodes(net)) EXPECT_EQ(RowOf(node, {}), (Row{0, 1})) << node->name;
  CompileNet_bn(net.get());
  EXPECT_EQ(Reports(), "");
}

TEST_F(TablesTest, CountsAndProbabilities) {
  node_bn parent = New("A", 4), node = New("B", 2, {parent});
  const float U = UNDEF_PROB, X = IMPOS_PROB;
  InstallRelation(node, {NewFloats({1, 3, 0, 0, U, 2, X, X}), nullptr, nullptr, nullptr, 0});
  EXPECT_EQ(GetNodeExperience_bn(node, States{0}.data()), 4);
  EXPECT_EQ(GetNodeExperience_bn(node, States{1}.data()), 0);
  EXPECT_EQ(GetNodeExperience_bn(node, States{2}.data()), UNDEF_DBL);
  EXPECT_EQ(RowOf(node, {0}), (Row{0.25f, 0.75f}));
  EXPECT_EQ(RowOf(node, {1}), (Row{U, U}));
  EXPECT_EQ(RowOf(node, {2}), (Row{U, 2}));
  EXPECT_EQ(RowOf(node, {3}), (Row{X, X}));
  ASSERT_EQ(UnnormalizeTable(node, 10.0), nullptr);
  EXPECT_EQ(Row(node->probs, node->probs + 8), (Row{1, 3, U, U, U, 20, X, X})) << "10 where there is no experience";
  // A row in the form asked for, on a table in the other.
  const float half[] = {0.5f, 0.5f};
  SetNodeProbs_bn(node, States{0}.data(), half);
  EXPECT_EQ(RowOf(node, {0}), (Row{0.5f, 0.5f}));
  EXPECT_EQ(GetNodeExperience_bn(node, States{0}.data()), 4);
}

TEST_F(TablesTest, SeveralTablesOfARowChangeTogether) {
  const double levels[] = {0, 1, 2, 4};
  node_bn parent = New("A", 2), node = New("R", 0, {parent});
  SetNodeLevels_bn(node, 3, levels);
  RowChange change;
  change.state = 2, change.value = 3, change.hasValue = true, change.experience = 9;
  for (const statetype row : {statetype{1}, statetype{EVERY_STATE}}) {
    auto* states = static_cast<statetype*>(AllocateCleared(2, sizeof(statetype)));
    InstallRelation(node, {nullptr, NewFloats({5, 6}), states, NewFloats({0.5f, 0.5f}), 1});
    EXPECT_EQ(RowOf(node, {1}), (Row{1, 0, 0}));
    const auto tables = [&] {
      return Row{node->numcases[0],  node->numcases[1],        node->determinv[0],
                 node->determinv[1], float(node->determin[0]), float(node->determin[1])};
    };
    const Row before = tables(), after = row == 1 ? Row{5, 9, 0.5f, 3, 0, 2} : Row{9, 9, 3, 3, 2, 2};
    EXPECT_EQ(SetRow(node, States{row, 0}.data(), change), 0);
    EXPECT_EQ(tables(), after);
    EXPECT_EQ(RowOf(node, {1}), (Row{0, 0, 1}));
    const int sequence = UndoSequence(net.get());
    EXPECT_EQ(SetRow(node, States{row, 0}.data(), change), 0);
    EXPECT_EQ(UndoSequence(net.get()), sequence) << "no change";
    UndoLastChange_bn(net.get());
    EXPECT_EQ(tables(), before);
    EXPECT_EQ(RowOf(node, {1}), (Row{1, 0, 0}));
    RedoLastChange_bn(net.get());
    EXPECT_EQ(tables(), after);
  }
}

// A row given as counts brings its table into that form, in which a reader does not leave it.
TEST_F(TablesTest, RowsOfCountsAreTakenBackInEitherForm) {
  node_bn parent = New("A", 2), node = New("B", 2, {parent});
  const float good[] = {3, 1}, bad[] = {3, -1};
  for (const bool isRead : {false, true}) {
    InstallRelation(node, {NewFloats({0.25f, 0.75f, 0.5f, 0.5f}), NewFloats({4, -1}), nullptr, nullptr, 1});
    RowChange counts;
    counts.normalized = false;
    counts.probs = bad;
    EXPECT_EQ(SetRow(node, States{1, 0}.data(), counts), -1);
    EXPECT_EQ(node->normalized, 1) << "a refused change leaves the form";
    EXPECT_NE(Reports(5), "");
    counts.probs = good;
    ASSERT_EQ(SetRow(node, States{1, 0}.data(), counts), 0);
    EXPECT_EQ(node->normalized, 0);
    EXPECT_EQ(Row(node->probs, node->probs + 4), (Row{1, 3, 3, 1}));
    counts.probs = bad;
    EXPECT_EQ(SetRow(node, States{1, 0}.data(), counts), -1);
    EXPECT_NE(Reports(5), "");
    if (isRead) EXPECT_EQ(RowOf(node, {1}), (Row{0.75f, 0.25f}));
    UndoLastChange_bn(net.get());
    EXPECT_EQ(GetTable(node), (Row{0.25f, 0.75f, 0.5f, 0.5f})) << isRead;
    RedoLastChange_bn(net.get());
    EXPECT_EQ(GetTable(node), (Row{0.25f, 0.75f, 0.75f, 0.25f})) << isRead;
    EXPECT_EQ(GetNodeExperience_bn(node, States{1}.data()), 4);
  }
}

TEST_F(TablesTest, AMissingEntryIsFoundWhereverItIs) {
  node_bn parent = New("A", 300), node = New("B", 3, {parent});
  SetNodeProbs_bn(node, States{EVERY_STATE, 0}.data(), Row{0.5f, 0.25f, 0.25f}.data());
  long long row;
  EXPECT_TRUE(IsRelationComplete(node, &row));
  for (const int gap : {0, 1, 255, 256, 511, 512, 600, 767, 768, 898, 899}) {
    const float before = std::exchange(node->probs[gap], UNDEF_PROB);
    node->probsokay = -1;
    EXPECT_FALSE(IsRelationComplete(node, &row));
    EXPECT_EQ(row, gap / 3);
    EXPECT_FALSE(IsRelationComplete(node, nullptr));
    node->probs[gap] = before;
  }
  node_bn gain = New("gain", 0, {parent});
  for (statetype state = 0; state < 300; ++state) {
    EXPECT_EQ(state > 0 && IsRelationComplete(gain, &row), false);
    if (state > 0) EXPECT_EQ(row, state);
    SetNodeFuncValue_bn(gain, &state, 1);
  }
  EXPECT_TRUE(IsRelationComplete(gain, &row));
}

// Counts without a table for their sums, and no memory to be had for it.
TEST_F(TablesTest, TablesThatCannotBeBroughtIntoFormStayAsTheyAre) {
  constexpr int ROWS = 1500;
  node_bn parent = New("A", ROWS), node = New("B", 2, {parent});
  float* counts = static_cast<float*>(Allocate(2 * ROWS * sizeof(float)));
  std::fill_n(counts, 2 * ROWS, 2.0f);
  InstallRelation(node, {counts, nullptr, nullptr, nullptr, 0});
  const States first = {0, 0};
  const std::pair<std::function<bool()>, const char*> calls[] = {
      {[&] { return GetNodeExperience_bn(node, first.data()) == UNDEF_DBL; }, "experience"},
      {[&] { return SetExperienceRow(node, first.data(), 3) == -1; }, "another experience"},
      {[&] {
         return SetProbsRow(node, first.data(), Row{1, 0}.data()) == -1;
       },
       "probabilities"},
      {[&] { return SetFunctionState(node, first.data(), 1) == -1; }, "a function"},
      {[&] { return GetNodeProbs_bn(node, first.data())[0] == 1; }, "reading"},
      {[&] { return GetNodeFuncValue_bn(node, first.data()) == UNDEF_DBL; }, "reading a function"},
      {[&] { return CompileNet_bn(net.get()), CaseProbability_bn(net.get()) < 0; }, "compiling"},
  };
  for (const auto& [call, name] : calls) {
    SetHeapGate([](std::size_t nbytes) { return nbytes < ROWS * sizeof(float) || nbytes == RESERVE_SIZE; });
    EXPECT_TRUE(call()) << name;
    SetHeapGate(nullptr);
    if (std::string(name) != "reading a function") EXPECT_NE(Reports(5), "") << name;
    Reports(0);
    EXPECT_EQ(node->probs, counts) << name;
    EXPECT_TRUE(node->normalized == 0 && !node->numcases) << name;
    EXPECT_EQ(std::count(counts, counts + 2 * ROWS, 2.0f), 2 * ROWS) << name;
  }
  EXPECT_EQ(GetNodeExperience_bn(node, first.data()), 4);
  EXPECT_EQ(RowOf(node, first), (Row{0.5f, 0.5f}));
}

TEST_F(TablesTest, DeterminismLooksAtAsManyEntriesAsThereAreRows) {
  node_bn parent = New("A", 2), node = New("B", 3, {parent});
  EXPECT_EQ(IsNodeDeterministic_bn(node), 0) << "without a table";
  SetTable(node, {1, 0, 0, 0.5f, 0.5f, 0});
  EXPECT_EQ(IsNodeDeterministic_bn(node), 1) << "the first two entries are 1 and 0";
  EXPECT_EQ(GetNodeFuncValue_bn(node, States{0}.data()), 0);
  EXPECT_EQ(GetNodeFuncValue_bn(node, States{1}.data()), UNDEF_DBL);
  const float half[] = {0.5f, 0.5f, 0};
  SetNodeProbs_bn(node, States{0}.data(), half);
  EXPECT_EQ(IsNodeDeterministic_bn(node), 0);
  EXPECT_EQ(SetNodeKind_bn(node, DECISION_NODE), 0);
  EXPECT_EQ(IsNodeDeterministic_bn(node), 1);
  EXPECT_EQ(SetNodeKind_bn(node, NATURE_NODE), 0);
  EXPECT_EQ(IsNodeDeterministic_bn(node), 0);
  DeleteNodeRelation_bn(node);
  SetNodeFuncValue_bn(node, States{0}.data(), 2);
  EXPECT_EQ(IsNodeDeterministic_bn(node), 1);
  EXPECT_EQ(GetNodeFuncValue_bn(node, States{1}.data()), UNDEF_STATE) << "not given yet";
}

TEST_F(TablesTest, TablesThatCannotBeBuiltAnswerOnes) {
  node_bn node = New("A", 3);
  SetNodeFuncValue_bn(node, nullptr, 1);
  const statetype* before = node->determin;
  node_bn real = New("R", 0);
  SetNodeFuncValue_bn(real, nullptr, 2.5);
  EXPECT_EQ(GetNodeProbs_bn(real, nullptr)[0], 1.0f);
  EXPECT_EQ(Reports(), "5 2282 GetNodeProbs_bn: Node 'R' is missing ranges list\n");
  EXPECT_EQ(GetNodeFuncValue_bn(real, nullptr), 2.5);
  EXPECT_EQ(MakeProbs(New("E", 2))->number, -2281);
  EXPECT_EQ(node->determin, before);
}

TEST_F(TablesTest, RowsOfTablesThatAreNotThere) {
  const float half[] = {0.5f, 0.5f};
  RowChange probs, experience, negative, state, value;
  probs.probs = half;
  experience.experience = 3;
  negative.experience = -3;
  state.state = 1;
  value.value = 1, value.hasValue = true;
  const std::pair<RowChange*, const char*> cases[] = {
      {&probs, "5 3071 A"}, {&negative, "5 3073 A -3"}, {&experience, "5 3074 A"},
      {&state, "5 3075 A"}, {&value, "5 3076 A"},
  };
  node_bn node = New("A");
  for (const auto& [change, gist] : cases) {
    EXPECT_EQ(SetRow(node, nullptr, *change), -1);
    EXPECT_EQ(Gist(), gist);
  }
  EXPECT_EQ(HasRelation_bn(node), 0);
}

TEST_F(TablesTest, ATableBeyondAllMemoryIsRefused) {
  node_bn huge = New("Huge", 1000);
  for (int i = 0; i < 8; ++i) AddLink_bn(New(nullptr, 1000), huge);
  const States first(8, 0);
  SetNodeProbs_bn(huge, first.data(), Row(1000, 0.001f).data());
  EXPECT_EQ(Gist(), "5 2286 SetNodeProbs_bn Huge 3.90625e+24");
  SetNodeFuncValue_bn(huge, first.data(), 1);
  EXPECT_EQ(Gist(), "5 2286 SetNodeFuncValue_bn Huge 3.90625e+21");
  EXPECT_EQ(HasRelation_bn(huge), 0);
}

TEST_F(TablesTest, SharedAnswersOutliveLargerOnes) {
  const float* ones = SharedOnes(1024);
  const float* zeros = SharedOneThenZeros(5);
  const float* large = SharedOnes(1025);
  EXPECT_NE(large, ones);
  EXPECT_EQ(Row(ones, ones + 1024), Row(1024, 1.0f));
  EXPECT_EQ(SharedOnes(3 * 1024), large) << "grown to three times its size";
  EXPECT_EQ(Row(large, large + 3 * 1024), Row(3 * 1024, 1.0f));
  EXPECT_EQ(Row(zeros, zeros + 5), (Row{1, 0, 0, 0, 0}));
  FreeSharedAnswers();
  SharedOnes(1024);
  SharedOneThenZeros(1024);
}

}  // namespace
}  // namespace bravic::testing

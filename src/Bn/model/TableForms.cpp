#include "Bn/model/TableForms.h"

#include <algorithm>

#include "Basic/Text.h"
#include "Bn/model/Levels.h"
#include "Bn/model/Tables.h"
#include "Bn/model/VectorCheck.h"

namespace bravic {
namespace {

// The state that the function tables give for a row. A value that is no state's is warned of once.
statetype FunctionState(const bnode& node, long long row, bool* warned) {
  if (node.determin) return node.determin[row];
  const float value = node.determinv[row];
  const statetype state = FunctionStateOfValue(node, value);
  if (state == UNDEF_STATE && value != UNDEF_PROB && !*warned) {
    *warned = true;
    Report(FUNCTION_VALUE_NO_STATE, value, OrEmpty(node.name));
  }
  return state;
}

// The first missing entry of a table, NULL when there is none. Blocks without one are passed over by vectors.
const float* FindMissing(const float* table, long long num) {
  constexpr int BLOCK = 256;
  const float* const end = table + num;
  for (; end - table >= BLOCK; table += BLOCK) {
    int any = 0;
    for (int k = 0; k < BLOCK; ++k) any |= table[k] == UNDEF_PROB;
    if (any) break;
  }
  const float* found = std::find(table, end, UNDEF_PROB);
  return found == end ? nullptr : found;
}

}  // namespace

void FillFunctionRow(float* row, int numstates, statetype state) {
  const float fill = state == IMPOS_STATE ? IMPOS_PROB : state >= 0 && state < numstates ? 0.0f : UNDEF_PROB;
  std::fill_n(row, numstates, fill);
  if (state >= 0 && state < numstates) row[state] = 1.0f;
}

Failure MakeProbs(node_bn node) {
  if (node->probs) return node->normalized ? nullptr : NormalizeTable(node);
  if (!HasRelation(*node)) return Fail(NO_TABLE, OrEmpty(node->name));
  const int n = node->numstates;
  if (!node->determin && (!node->levels || n <= 0)) {
    return Fail(NO_LEVELS_FOR_FUNCTION, OrEmpty(node->name));
  }
  const long long rows = NumRows(*node);
  Block<float> probs(static_cast<float*>(TryTableMemory(*node, n)));
  if (!probs) return NoMemoryForTable(*node, n);
  bool warned = false;
  for (long long r = 0; r < rows; ++r) FillFunctionRow(probs.get() + r * n, n, FunctionState(*node, r, &warned));
  node->probs = probs.release();
  node->probsokay = -1;
  node->normalized = 1;
  return nullptr;
}

void RefreshDerivedRow(node_bn node, long long row) {
  if (node->determinv && node->determin) node->determin[row] = FunctionStateOfValue(*node, node->determinv[row]);
  if (!node->probs || !(node->determin || node->determinv)) return;
  bool warned = false;
  FillFunctionRow(node->probs + row * node->numstates, node->numstates, FunctionState(*node, row, &warned));
}

Failure NormalizeTable(node_bn node) {
  if (node->normalized || !node->probs) {
    node->normalized = 1;
    return nullptr;
  }
  const long long rows = NumRows(*node);
  const int n = node->numstates;
  if (!node->numcases) {
    node->numcases = static_cast<float*>(TryTableMemory(*node, 1));
    if (!node->numcases) return NoMemoryForTable(*node, 1);
  }
  for (long long r = 0; r < rows; ++r) {
    float* row = node->probs + r * n;
    double sum;
    const RowForm form = NormalizeRow(row, n, &sum);
    // A row of zero counts says nothing about its probabilities.
    if (form == RowForm::ZeroSum) std::fill_n(row, n, UNDEF_PROB);
    node->numcases[r] = form == RowForm::Fine      ? static_cast<float>(sum)
                        : form == RowForm::ZeroSum ? 0.0f
                                                   : NO_EXPERIENCE;
  }
  node->normalized = 1;
  node->probsokay = -1;
  return nullptr;
}

Failure UnnormalizeTable(node_bn node, double experience) {
  if (!node->normalized || !node->probs) {
    node->normalized = 0;
    return nullptr;
  }
  const long long rows = NumRows(*node);
  const int n = node->numstates;
  for (long long r = 0; r < rows; ++r) {
    // A row without experience is taken to stand for as many cases as asked for.
    double weight = node->numcases ? node->numcases[r] : experience;
    if (weight < 0 && weight != UNDEF_DBL) weight = experience;
    if (!BRAVIC_ASSERT_TEXT(weight != UNDEF_DBL, "numcas != UNDEF_DBL")) weight = 1;
    float* row = node->probs + r * n;
    for (int k = 0; k < n; ++k) {
      if (row[k] >= 0) row[k] = static_cast<float>(row[k] * weight);
    }
  }
  node->normalized = 0;
  return nullptr;
}

bool IsProbsComplete(node_bn node) {
  // A table that is derived from others may be missing although it was complete.
  if (node->probsokay < 0 || (!node->probs && HasRelation(*node))) {
    const Failure failure = MakeProbs(node);
    if (failure) {
      node->probsokay = 0;
    } else {
      node->probsokay = !FindMissing(node->probs, NumRows(*node) * node->numstates);
    }
  }
  return node->probsokay == 1;
}

bool IsRelationComplete(node_bn node, long long* missingRow) {
  long long nowhere;
  if (!missingRow) missingRow = &nowhere;
  *missingRow = -1;
  const long long rows = NumRows(*node);
  if (!node->probs && !node->determin && node->determinv && node->numstates == 0) {
    const float* gap = FindMissing(node->determinv, rows);
    if (gap) *missingRow = gap - node->determinv;
    return !gap;
  }
  if (IsProbsComplete(node)) return true;
  if (!node->probs) return false;
  const float* gap = FindMissing(node->probs, rows * node->numstates);
  if (!gap) return true;
  *missingRow = (gap - node->probs) / node->numstates;
  return false;
}

namespace {

bool TestDeterminism(node_bn node) {
  if (node->kind == DECISION_NODE || node->kind == UTILITY_NODE || node->determin || node->determinv) return true;
  if (!node->probs) return false;
  if (Failure failure = NormalizeTable(node)) return false;
  // As many entries as there are configurations, not whole rows: kept so on purpose.
  const long long num = std::min(NumRows(*node), NumRows(*node) * node->numstates);
  return std::all_of(node->probs, node->probs + num, [](float p) { return p == 0 || p == 1; });
}

}  // namespace

bool IsDeterministic(node_bn node) {
  if (node->chance == UNKNOWN_CHANCE) node->chance = TestDeterminism(node) ? DETERMIN : CHANCE;
  return node->chance == DETERMIN || node->chance == INVERTABLE;
}

}  // namespace bravic

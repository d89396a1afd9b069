#include "Bn/model/TableRows.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "Basic/Text.h"
#include "Bn/model/Changes.h"
#include "Bn/model/Condition.h"
#include "Bn/model/Relation.h"
#include "Bn/model/TableForms.h"
#include "Bn/model/Tables.h"
#include "Bn/model/UndoRecord.h"
#include "Bn/model/VectorCheck.h"

namespace bravic {
namespace {

constexpr unsigned COUNT_FAULTS = VECTOR_NEGATIVE | VECTOR_MIXED_IMPOSSIBLE | VECTOR_SUM_ZERO;

bool SameBits(float a, float b) {
  return std::bit_cast<unsigned>(a) == std::bit_cast<unsigned>(b);
}

bool HasWildcard(const bnode& node, const statetype* parentstates) {
  return std::find(parentstates, parentstates + node.preds.num, EVERY_STATE) != parentstates + node.preds.num;
}

// Calls visit(row) for every row whose configuration agrees with the parent states, until it answers false.
template <class Visit>
bool ForEachRow(const bnode& node, const statetype* parentstates, Visit visit) {
  const int n = node.preds.num;
  if (!n || !HasWildcard(node, parentstates)) return visit(n ? RowIndex(node, parentstates) : 0LL);
  auto states = MakeBlock<statetype>(n);
  for (int i = 0; i < n; ++i) {
    if (node.preds.ar[i]->numstates == 0) return true;
    states[i] = parentstates[i] == EVERY_STATE ? 0 : parentstates[i];
  }
  // An odometer over the parents with wildcards, last one fastest.
  for (;;) {
    if (!visit(RowIndex(node, states.get()))) return false;
    int i = n - 1;
    for (; i >= 0; --i) {
      if (parentstates[i] != EVERY_STATE) continue;
      statetype& state = states[i];
      if (++state < node.preds.ar[i]->numstates) break;
      state = 0;
    }
    if (i < 0) return true;
  }
}

// A change of some agreeing rows, judged: what of it differs from the tables as they are.
struct Difference {
  bool probs = false, experience = false, state = false, value = false;
  bool Any() const { return probs || experience || state || value; }
};

bool RefuseVector(const bnode& node, const statetype* parentstates, const float* probs, bool normalized) {
  unsigned flags = ValidateVector(std::span(probs, node.numstates));
  if (!normalized) flags &= COUNT_FAULTS;
  if (!(flags & VECTOR_FAULTS)) return false;
  char text[320], row[ROW_TEXT_LEN];
  Report(ROW_NO_DISTRIBUTION, OrEmpty(node.name), VectorFaultText(flags, false, text),
         RowText(node, parentstates, probs, row));
  return true;
}

bool JudgeProbs(node_bn node, const statetype* parentstates, const RowChange& change, bool* differs) {
  if (!node->probs) {
    Report(NO_PROBABILITY_TABLE, OrEmpty(node->name));
    return false;
  }
  // A vector of another form than the table's is judged before the table is brought into that form, which a refused
  // change must not do; one of the same form only if it changes anything.
  const bool sameForm = (node->normalized != 0) == change.normalized;
  if (!sameForm && RefuseVector(*node, parentstates, change.probs, change.normalized)) return false;
  Failure failure = change.normalized ? NormalizeTable(node) : UnnormalizeTable(node, 1.0);
  if (failure) {
    Post(std::move(failure));
    return false;
  }
  const std::size_t nbytes = node->numstates * sizeof(float);
  *differs = !ForEachRow(*node, parentstates, [&](long long row) {
    return std::memcmp(node->probs + row * node->numstates, change.probs, nbytes) == 0;
  });
  return !*differs || !sameForm || !RefuseVector(*node, parentstates, change.probs, change.normalized);
}

bool JudgeExperience(node_bn node, const statetype* parentstates, double experience, bool* differs) {
  if (!(experience >= 0)) {
    Report(NEGATIVE_EXPERIENCE, OrEmpty(node->name), experience);
    return false;
  }
  if (!node->numcases) {
    Report(NO_EXPERIENCE_TABLE, OrEmpty(node->name));
    return false;
  }
  const float entry = ToFloat(experience);
  *differs = !ForEachRow(*node, parentstates, [&](long long row) { return node->numcases[row] == entry; });
  return true;
}

bool JudgeFunction(node_bn node, const statetype* parentstates, const RowChange& change, Difference* difference) {
  const bool givesState = change.state != UNDEF_STATE;
  const bool lacksState = givesState && !node->determin;
  if (lacksState || (change.hasValue && !node->determinv)) {
    using TableError = ErrorFor<const char*>;
    Report(lacksState ? TableError(NO_TABLE_OF_FUNCTION_STATES) : TableError(NO_TABLE_OF_FUNCTION_VALUES),
           OrEmpty(node->name));
    return false;
  }
  if (givesState) {
    difference->state =
        !ForEachRow(*node, parentstates, [&](long long row) { return node->determin[row] == change.state; });
  }
  if (change.hasValue) {
    difference->value =
        !ForEachRow(*node, parentstates, [&](long long row) { return SameBits(node->determinv[row], change.value); });
  }
  return true;
}

// Empty, with an error posted, when there is no room for the copy.
template <class T>
Block<T> CopyTable(const bnode& node, const T* table, int width) {
  T* copy;
  if (!TryCopyTable(table, copy)) Post(NoMemoryForTable(node, width));
  return Block<T>(copy);
}

// On copies of the tables concerned, installed as the new relation. Tables that the changed ones make untrue go:
// function tables beside new probabilities, derived tables beside a new state or value.
int ChangeByCopy(node_bn node, const statetype* parentstates, const RowChange& change, const Difference& difference) {
  Relation relation{node->probs, node->numcases, node->determin, node->determinv, node->normalized};
  const int n = node->numstates;
  Block<float> probs, numcases, determinv;
  Block<statetype> determin;
  // Each step takes over what the ones before it have copied, so that several tables can change at once.
  if (difference.value) {
    if (!(determinv = CopyTable(*node, node->determinv, 1))) return -1;
    relation = {nullptr, node->numcases, nullptr, determinv.get(), 1};
  }
  if (difference.state) {
    if (!(determin = CopyTable(*node, node->determin, 1))) return -1;
    relation = {nullptr, relation.numcases, determin.get(), difference.value ? relation.determinv : nullptr, 1};
  }
  if (difference.probs) {
    if (!(probs = CopyTable(*node, node->probs, n))) return -1;
    relation = {probs.get(), relation.numcases, nullptr, nullptr, node->normalized};
  }
  if (difference.experience) {
    if (!(numcases = CopyTable(*node, node->numcases, 1))) return -1;
    relation.numcases = numcases.get();
  }
  ForEachRow(*node, parentstates, [&](long long row) {
    if (probs) std::copy_n(change.probs, n, probs.get() + row * n);
    if (numcases) numcases.get()[row] = ToFloat(change.experience);
    if (determin) determin.get()[row] = change.state;
    if (determinv) determinv.get()[row] = change.value;
    return true;
  });
  // A table made and then left out in favour of another stays with its block.
  if (relation.probs == probs.get()) probs.release();
  if (relation.numcases == numcases.get()) numcases.release();
  if (relation.determin == determin.get()) determin.release();
  if (relation.determinv == determinv.get()) determinv.release();
  InstallRelation(node, relation);
  return 0;
}

// One row in place: function tables derived from the changed one keep up with it.
void ChangeInPlace(node_bn node, long long row, const RowChange& change, const Difference& difference) {
  UndoRecord* undo = NewUndo(UNDO_ROW, node->innet, node);
  HoldRow(undo, node, row);
  const int n = node->numstates;
  if (difference.probs) std::copy_n(change.probs, n, node->probs + row * n);
  if (difference.experience) node->numcases[row] = ToFloat(change.experience);
  if (difference.value) node->determinv[row] = change.value;
  if (difference.state) node->determin[row] = change.state;
  RefreshDerivedRow(node, row);
  TableChanged(node);
}

// A table missing so far, every row as filled except those that agree with the parent states.
template <class T>
Block<T> FreshRows(const bnode& node, const statetype* parentstates, int width, T fill, const T* row) {
  Block<T> table = NewTable(node, width, fill);
  if (!table) return nullptr;
  ForEachRow(node, parentstates, [&](long long r) {
    std::copy_n(row, width, table.get() + r * width);
    return true;
  });
  return table;
}

}  // namespace

double ExperienceOfRow(node_bn node, long long row) {
  if (Failure failure = NormalizeTable(node)) {
    Post(std::move(failure));
    return UNDEF_DBL;
  }
  if (!node->numcases || node->numcases[row] == NO_EXPERIENCE) return UNDEF_DBL;
  return node->numcases[row];
}

double FunctionValueOfRow(node_bn node, long long row) {
  if (node->determin) return node->determin[row];
  if (node->determinv) return node->determinv[row];
  if (!node->probs || !IsDeterministic(node) || MakeProbs(node)) return UNDEF_DBL;
  const float* probs = node->probs + row * node->numstates;
  const float* certain = std::find(probs, probs + node->numstates, 1.0f);
  if (certain != probs + node->numstates) return static_cast<double>(certain - probs);
  return node->numstates > 0 && probs[0] == IMPOS_PROB ? static_cast<double>(IMPOS_STATE) : UNDEF_DBL;
}

int SetRow(node_bn node, const statetype* parentstates, const RowChange& change) {
  Difference difference;
  if (change.probs && !JudgeProbs(node, parentstates, change, &difference.probs)) return -1;
  if (change.experience != NO_EXPERIENCE &&
      !JudgeExperience(node, parentstates, change.experience, &difference.experience)) {
    return -1;
  }
  if (!JudgeFunction(node, parentstates, change, &difference)) return -1;
  if (!difference.Any()) return 0;
  // New probabilities make function tables untrue, a new state makes values untrue that are not set along with it.
  const bool tablesGo = (difference.probs && (node->determin || node->determinv)) ||
                        (difference.state && node->determinv && !difference.value);
  if (tablesGo || (node->preds.num && HasWildcard(*node, parentstates))) {
    return ChangeByCopy(node, parentstates, change, difference);
  }
  ChangeInPlace(node, node->preds.num ? RowIndex(*node, parentstates) : 0, change, difference);
  return 0;
}

int SetProbsRow(node_bn node, const statetype* parentstates, const float* probs) {
  if (!node->probs && !node->determin && !node->determinv) {
    if (RefuseVector(*node, parentstates, probs, true)) return -1;
    Block<float> table = FreshRows(*node, parentstates, node->numstates, UNDEF_PROB, probs);
    if (!table) return -1;
    InstallRelation(node, {table.release(), node->numcases, nullptr, nullptr, 1});
    return 0;
  }
  if (Failure failure = MakeProbs(node)) {
    Post(std::move(failure));
    return -1;
  }
  RowChange change;
  change.probs = probs;
  return SetRow(node, parentstates, change);
}

int SetExperienceRow(node_bn node, const statetype* parentstates, double experience) {
  if (experience == NO_EXPERIENCE) return 0;
  if (Failure failure = NormalizeTable(node)) {
    Post(std::move(failure));
    return -1;
  }
  if (!node->numcases && experience >= 0) {
    const float entry = ToFloat(experience);
    Block<float> table = FreshRows(*node, parentstates, 1, NO_EXPERIENCE, &entry);
    if (!table) return -1;
    InstallRelation(node, {node->probs, table.release(), node->determin, node->determinv, 1});
    return 0;
  }
  RowChange change;
  change.experience = experience;
  return SetRow(node, parentstates, change);
}

int SetFunctionState(node_bn node, const statetype* parentstates, statetype state) {
  RowChange change;
  if (node->determin) {
    change.state = state;
    return SetRow(node, parentstates, change);
  }
  if (node->probs) {
    Block<float> row = TryMakeBlock<float>(node->numstates);
    if (!row) {
      Post(FailMemory(NO_MEMORY_FOR_ROW, 1.0 * sizeof(float) * node->numstates));
      return -1;
    }
    FillFunctionRow(row.get(), node->numstates, state);
    change.probs = row.get();
    return SetRow(node, parentstates, change);
  }
  Block<statetype> table = FreshRows(*node, parentstates, 1, statetype{UNDEF_STATE}, &state);
  if (!table) return -1;
  InstallRelation(node, {nullptr, nullptr, table.release(), nullptr, 1});
  return 0;
}

int SetFunctionValue(node_bn node, const statetype* parentstates, float value) {
  if (node->determinv) {
    RowChange change;
    change.value = value;
    change.hasValue = true;
    return SetRow(node, parentstates, change);
  }
  Block<float> table = FreshRows(*node, parentstates, 1, UNDEF_PROB, &value);
  if (!table) return -1;
  InstallRelation(node, {nullptr, nullptr, nullptr, table.release(), 1});
  return 0;
}

}  // namespace bravic

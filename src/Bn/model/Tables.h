// A node's relation: its probability, experience and function tables. Rows run over the parent configurations,
// first parent slowest; within a row of probs the node's own state runs fastest.
#pragma once

#include <algorithm>
#include <cstring>

#include "Basic/Memory.h"
#include "Bn/model/Levels.h"
#include "Bn/model/Net.h"

namespace bravic {

// Number of configurations of some nodes: the product of their numstates (1 for none); overflow answers -1.
long long NumConfigurations(std::span<const node_bn> nodes);
inline long long NumRows(const bnode& node) {
  return NumConfigurations(Entries(node.preds));
}
// Experience alone is no relation.
inline bool HasRelation(const bnode& node) {
  return node.probs || node.determin || node.determinv;
}
long long RowIndex(const bnode& node, const statetype* parentstates);  // unchecked
// Steps a configuration to the next one, last node fastest; false after the last.
bool NextConfiguration(std::span<const node_bn> nodes, statetype* states);

enum VectorFlag : unsigned {
  VECTOR_NEGATIVE = 1,
  VECTOR_MIXED_IMPOSSIBLE = 2,
  VECTOR_SUM_ZERO = 4,
  VECTOR_ABOVE_ONE = 8,
  VECTOR_SUM_NOT_ONE = 16,
  VECTOR_MISSING = 32,
  VECTOR_IMPOSSIBLE = 64
};
// Every entry is looked at; the sum may miss 1 by 2e-6. A NaN counts as negative.
unsigned ValidateVector(std::span<const float> probs);
// The flags that make a vector unfit to be a row (missing and impossible alone are fit).
inline constexpr unsigned VECTOR_FAULTS =
    VECTOR_NEGATIVE | VECTOR_MIXED_IMPOSSIBLE | VECTOR_SUM_ZERO | VECTOR_ABOVE_ONE | VECTOR_SUM_NOT_ONE;
// The phrases of the flags joined; buffer of 320 characters.
const char* VectorFaultText(unsigned flags, bool firstOnly, char* buffer);

enum class RowForm { Fine, Missing, Impossible, ZeroSum };
// Scales a row to sum 1; a row of another form than Fine is left as it is. The sum before (0 unless Fine) is in *sum.
RowForm NormalizeRow(float* row, int numstates, double* sum);

inline constexpr int NO_MEMORY_FOR_TABLE = -2286;
// A table for all the node's rows, each of width entries; empty, with that number posted, when there is no room for it.
void* NewTableMemory(const bnode& node, int width);
template <class T>
Block<T> NewTable(const bnode& node, int width, T fill) {
  static_assert(sizeof(T) == sizeof(float));
  Block<T> table(static_cast<T*>(NewTableMemory(node, width)));
  if (table) std::fill_n(table.get(), NumRows(node) * width, fill);
  return table;
}

// A copy of a whole table, or NULL of none; false when there is no room for it.
template <class T>
bool TryCopyTable(const T* from, T*& to) {
  to = from ? static_cast<T*>(TryAllocate(BlockSize(from))) : nullptr;
  if (to) std::memcpy(to, from, BlockSize(from));
  return to || !from;
}

// Makes probs exist (from the function tables if need be) and be in probability form. Empty on success. A function
// value that is no state's is warned of (-2283) and leaves its row undefined. A table of probabilities that stands
// beside a function table is always derived from it; so is determin beside determinv, where a file gave both.
Failure MakeProbs(node_bn node);
// Makes a row that was derived from a function table agree with it again.
void RefreshDerivedRow(node_bn node, long long row);
// Writes the row that a function state stands for: one-hot, undefined or impossible.
void FillFunctionRow(float* row, int numstates, statetype state);
Failure NormalizeTable(node_bn node);                       // counts to probabilities and experience
Failure UnnormalizeTable(node_bn node, double experience);  // the other way; experience where there is none
bool IsProbsComplete(node_bn node);                         // the probsokay cache
// missingRow (may be NULL): the first row with a missing entry, or -1 when there is no usable table at all.
bool IsRelationComplete(node_bn node, long long* missingRow);
void RowStates(const bnode& node, long long row, statetype* parentstates);  // the inverse of RowIndex
bool IsDeterministic(node_bn node);                                         // the chance cache

// The four tables at once, undoable (4222); takes ownership of the arrays, which may be NULL. An array that is the
// node's present one stays where it is. Installing what is there already does nothing.
struct Relation {
  float* probs = nullptr;
  float* numcases = nullptr;
  statetype* determin = nullptr;
  float* determinv = nullptr;
  int normalized = 1;
};
void InstallRelation(node_bn node, const Relation& relation);
// One row, several tables at a time; see the no-change values. 0, or -1 with an error posted.
struct RowChange {
  const float* probs = nullptr;       // none
  double experience = NO_EXPERIENCE;  // no change
  bool normalized = true;             // the form of probs
  statetype state = UNDEF_STATE;      // no change
  float value = 0;
  bool hasValue = false;
};
int SetRow(node_bn node, const statetype* parentstates, const RowChange& change);
// The same for a node that may lack the table: it is made in the same step, with every other row missing. Setting
// probabilities drops function tables that the new row makes untrue; setting a state or value of a node without the
// table drops all others. 0, or -1 with an error posted and nothing changed.
int SetProbsRow(node_bn node, const statetype* parentstates, const float* probs);
int SetExperienceRow(node_bn node, const statetype* parentstates, double experience);
int SetFunctionState(node_bn node, const statetype* parentstates, statetype state);
int SetFunctionValue(node_bn node, const statetype* parentstates, float value);

// UNDEF_DBL where there is none, and with an error posted.
double ExperienceOfRow(node_bn node, long long row);
// Without a function table, what a deterministic table of probabilities says: the state of probability 1.
double FunctionValueOfRow(node_bn node, long long row);

// As table entries are stored: UNDEF_DBL becomes UNDEF_PROB, what is too large the largest float.
float ToFloat(double value);

// Shared read-only answers of failing calls, at least numstates long, alive until close.
const float* SharedOnes(int numstates);
const float* SharedOneThenZeros(int numstates);
void StopTables();  // frees them

}  // namespace bravic

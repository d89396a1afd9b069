// A node's relation: its probability, experience and function tables. Rows run over the parent configurations,
// first parent slowest; within a row of probs the node's own state runs fastest.
#pragma once

#include "Bn/model/Net.h"

namespace bravic {

// Number of configurations of some nodes: the product of their numstates (1 for none); overflow answers -1.
long long NumConfigurations(std::span<const node_bn> nodes);
inline long long NumRows(const bnode& node) {
  return NumConfigurations(Entries(node.preds));
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
unsigned ValidateVector(std::span<const float> probs);
// The flags that make a vector unfit to be a row (missing and impossible alone are fit).
inline constexpr unsigned VECTOR_FAULTS =
    VECTOR_NEGATIVE | VECTOR_MIXED_IMPOSSIBLE | VECTOR_SUM_ZERO | VECTOR_ABOVE_ONE | VECTOR_SUM_NOT_ONE;
// The phrases of the flags joined; buffer of 320 characters.
const char* VectorFaultText(unsigned flags, bool firstOnly, char* buffer);

enum class RowForm { Fine, Missing, Impossible, ZeroSum };
RowForm NormalizeRow(float* row, int numstates, double* sum);

// Makes probs exist (from the function tables if need be) and be in probability form. Empty on success.
Failure MakeProbs(node_bn node);
Failure NormalizeTable(node_bn node);                       // counts to probabilities and experience
Failure UnnormalizeTable(node_bn node, double experience);  // the other way; experience where there is none
bool IsProbsComplete(node_bn node);                         // the probsokay cache
bool IsRelationComplete(node_bn node, long long* missingRow);
bool IsDeterministic(node_bn node);  // the chance cache

// The four tables at once, undoable (4222); takes ownership of the arrays, which may be NULL.
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

// The state of a value by the node's levels: interval of a continuous node, nearest level of a discrete one
// (within tolerance). UNDEF_STATE outside.
statetype StateOfValue(const bnode& node, double value, double tolerance);

// Shared read-only answers of failing calls, at least numstates long, alive until close.
const float* SharedOnes(int numstates);
const float* SharedOneThenZeros(int numstates);

}  // namespace bravic

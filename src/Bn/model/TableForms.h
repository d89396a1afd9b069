// The forms a relation can take and the ways from one to another: counts and probabilities, function tables and
// one-hot rows, values and states. Derived tables are made when they are first needed and dropped when what they
// were made from changes.
#pragma once

#include "Basic/Errors.h"
#include "Bn/model/Records.h"

namespace bravic {

// Makes probs exist (from the function tables if need be) and be in probability form. Empty on success. A function
// value that is no state's is warned of (FUNCTION_VALUE_NO_STATE) and leaves its row undefined. A table of
// probabilities that stands beside a function table is always derived from it; so is determin beside determinv, where a
// file gave both.
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
bool IsDeterministic(node_bn node);  // the chance cache

}  // namespace bravic

// Rows of a node's tables, one or (with wildcards among the parent states) several: set and asked for.
//
// A row is written in place where that leaves all tables true. Where the change takes tables away, or touches many
// rows, it is made on copies that replace the tables as a whole.
#pragma once

#include "Bn/model/Records.h"

namespace bravic {

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

}  // namespace bravic

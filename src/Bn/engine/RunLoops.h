// Loops over runs of entries in double precision: a table over many variables is multiplied by a table over some of
// them, or summed onto one. A run is what stands together in the large table and agrees with the findings; where it
// meets the small table is looked up in a list made once. For small tables, where plans are not worth their beginning
// (PassPlan.h). Sums run in one order on every machine.
#pragma once

#include "Basic/Memory.h"

namespace bravic::engine {

// One run of the large table. Rows are as long as runs are that no finding has shortened.
struct Run {
  int row;
  int begin;  // entry of the large table
  int skip;   // entries of the row before the run
};

// All runs of a large table, of one length.
struct Runs {
  const Run* all;
  int count, length;
};

// How a small table stands to the rows of a large one.
struct RowPlaces {
  const int* offsets;  // [row] where it begins in the small table
  bool runsAlong;      // the small table has an entry for each of the row, and not one for all of it
};

// to = from * table, in each run; to may be from.
void MultiplyRuns(const Runs& runs, const double* from, const double* table, const RowPlaces& places, double* to);
// Each entry is added to its counterpart of the table, or takes its place where it is larger.
void SumRuns(const Runs& runs, const double* from, const RowPlaces& places, bool maximize, double* table);
// The sum of all entries, or the largest.
double SumAll(const Runs& runs, const double* from, bool maximize);

}  // namespace bravic::engine

// Counts: what a row of probabilities p with experience n stands for is the counts n p, and learning adds to these
// (Spiegelhalter & Lauritzen 1990). While a file is read they stand in double precision beside the node's tables, so
// that a million cases of weight 1 lose nothing; the tables are made of them once at the end. Which cases are counted
// is for others to say (Learn.h).
#pragma once

#include <span>

#include "Basic/Errors.h"
#include "Bn/model/Records.h"
#include "Win_Face/Interaction.h"

namespace bravic {

// The rows to learn from and to revise; NULL without any. Those that follow from a function are none.
const float* OwnRows(const bnode& node);
// The number of cases that the row stands for: without experience, BaseExperience_bn for every state.
double RowExperience(const bnode& node, long long row);
// A row not given yet starts as a node without a table does.
bool IsUndefinedRow(const float* row, int numstates);
// Whether a row may lose so much of one count: the count stays, and the row keeps its states' shares of the base, but
// for what rounding may have taken. experience: what the row stood for when it was last rounded to floats.
bool MayLose(const double* counts, int numstates, statetype state, double loss, double experience);
// Gives the node, for a single case to revise, the table it lacks: uniform rows, or experience beside those there are.
Failure MakeLearnable(node_bn node);

inline constexpr double IMPOSSIBLE_COUNT = -1e300;

// The counts of one node while a file is read.
struct Counter {
  node_bn node = nullptr;
  Vector<int> members;            // of the family, node last: indices into a case's states; given by the user
  Vector<std::size_t> strides;    // of each parent in rows
  Block<double> counts;           // [rows x numstates]; IMPOSSIBLE_COUNT throughout an impossible row
  Vector<unsigned char> changed;  // [rows]
  std::size_t size = 0;           // of counts
  Block<float> probs, numcases;   // the tables made of the counts; NULL where they stay as they are
};

// Fills the counts from the node's tables. Halted or without memory it leaves the counter unfit for use.
Failure StartCounter(node_bn node, Counter& counter, LongWork& work);
// Counts a case in all of the counters. False, with nothing counted, when it takes away more than was there: *failed is
// the counter where. states: of the nodes wanted, UNDEF_STATE where missing; a family with a missing state is passed
// over.
bool CountCase(std::span<Counter> counters, const statetype* states, double weight, const Counter** failed);
// Makes the tables of the counts, which are freed. Rows that nothing was counted in keep their probabilities to the
// bit, and a function is not given up for nothing. work: NULL where it is not to be halted.
Failure MakeTables(Counter& counter, LongWork* work);
void InstallTables(Counter& counter);

}  // namespace bravic

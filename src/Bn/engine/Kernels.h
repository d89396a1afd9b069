// Vector loops over rows of floats, in versions for the instruction sets of the machine, chosen at run time. Rows
// are processed a whole number of vectors at a time: lanes beyond a row's end are read and written too, so that
// every table that takes part must be followed by KERNEL_SLACK readable entries. No version adds lanes together or
// contracts a product into a sum, so all give the same bits.
#pragma once

#include <cstddef>

namespace bravic::engine {

inline constexpr int KERNEL_SLACK = 16;

// A table seen by rows: row r begins at data + offsets[r].
struct Rows {
  const float* data;
  const int* offsets;
};

// Rows of which several lanes add to one entry of a table.
struct LaneFold {
  const int* bases;  // [row] offset in the table
  int rows, length, paddedLength;
  const int *lanes, *order;  // [lane] sorted by entry: offset in the table, and the lane
  int perEntry, step, run;   // as those of PassPlan::Table; step not 0
};

struct Kernels {
  const char* name;
  int lanes;  // rows are padded to a multiple of it

  // to[r * length + i] = from(r, i) * scale[r] * factors(r, i) ...; scale may be NULL; at most 3 factors.
  void (*multiply)(float* to, int rows, int length, Rows from, const float* scale, const Rows* factors, int numFactors);
  // sums[offsets[r] + i] += from(r, i), rows in order.
  void (*add)(float* sums, const int* offsets, int rows, int length, Rows from);
  void (*maximize)(float* sums, const int* offsets, int rows, int length, Rows from);
  // to[bases[r] + i] += from(r, i), of exactly length entries.
  void (*foldWide)(double* to, const int* bases, int rows, int length, Rows from);
  void (*foldNarrow)(float* to, const int* bases, int rows, int length, Rows from);
  // Adds up the lanes of each entry, four sums side by side, and then adds them to the entry.
  void (*foldLanesWide)(double* to, const LaneFold& fold, const float* from);
  void (*foldLanesNarrow)(float* to, const LaneFold& fold, const float* from);
  // As FindRange of Numbers.h.
  void (*findRange)(const double* numbers, std::size_t size, double* largest, double* least);
  // numbers[i] /= divisors[i], or 0 where that is 0; whether any was.
  bool (*divide)(double* numbers, const double* divisors, std::size_t size);
  // to[i] = from[i] * scale, which may be the same place; floats[i] = from[i] * floatScale, unless floats is NULL. No
  // more than size is touched.
  void (*scale)(const double* from, std::size_t size, double scale, double* to, double floatScale, float* floats);
};

// The fastest that the machine runs. Tests choose among all of them; the first is plain scalar code.
const Kernels& BestKernels();
int NumKernels();
const Kernels& KernelsNumber(int i);  // those that this machine runs, one array in order of width

}  // namespace bravic::engine

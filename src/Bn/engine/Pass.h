// One pass over a clique's potential: every entry is multiplied by the entries of other tables that agree with it,
// and the products are summed (or maximized) onto tables over some of the clique's variables. Nothing of the
// clique's size is stored.
//
// A pass is run by a plan made once for the strides of the tables that take part. The fastest axes make rows of
// some dozens of entries, further axes make blocks of rows that fit the first-level cache, the slowest are stepped
// through. Over a block every table is one vector operation: a factor that has all row axes is read in place, one
// that has none is a scale per row, one that has some is spread out over whole rows first; a target gathers whole
// rows, which are folded onto its own entries in double precision when the stepping leaves them. Sums of rows run in
// one order on every machine, so that results are the same bits.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Basic/Memory.h"
#include "Bn/engine/Kernels.h"
#include "Bn/engine/Numbers.h"

namespace bravic::engine {

// Potentials that fit memory have fewer variables of two states or more.
inline constexpr int MAX_PASS_AXES = 64;

// Strides are in entries, 0 for an axis that the table does not have. Tables are numbered: the factors, then the
// targets; table 0 is the potential, factor and target alike being kept as rows of strides.
struct PassShape {
  int numAxes = 0;
  int numFactors = 0, numTargets = 0;
  Vector<int> sizes;    // [axis], slowest first; each at least 2
  Vector<int> strides;  // [potential, factors, targets][axis]

  void Clear(int axes) {
    numAxes = axes;
    numFactors = numTargets = 0;
    sizes.resize(static_cast<std::size_t>(axes));
    strides.assign(static_cast<std::size_t>(axes), 0);
  }
  int* Strides(int table) { return strides.data() + table * numAxes; }
  const int* Strides(int table) const { return strides.data() + table * numAxes; }
  // Targets are added after the last factor. Strides of 0 to be filled in.
  int* AddFactor() {
    ++numFactors;
    strides.resize(strides.size() + static_cast<std::size_t>(numAxes), 0);
    return Strides(numFactors);
  }
  int* AddTarget() {
    ++numTargets;
    strides.resize(strides.size() + static_cast<std::size_t>(numAxes), 0);
    return Strides(numFactors + numTargets);
  }
};

// The entries of a target: double or, for large tables, float; cleared by the caller.
struct PassTarget {
  double* wide = nullptr;
  float* narrow = nullptr;
};

struct PassPlan {
  bool made = false;
  int rowLength = 0, paddedLength = 0, numRows = 0;  // entries in a row, with padding; rows in a block
  int tailRows = 0;  // rows of the last block along the fastest prefix axis, where that cuts an axis into unequal parts
  int numFactors = 0, numPrefix = 0;
  Vector<int> prefixSizes;  // slowest first
  struct Table {
    enum Kind : unsigned char { WHOLE_ROWS, SCALES, BLOCK_SCALE, SPREAD, LANES };
    Kind kind = WHOLE_ROWS;
    int lastPrefix = -1;   // the fastest prefix axis that the table has
    bool direct = false;   // (target) rows go straight to its entries: none gathers twice
    int numDistinct = 0;   // rows of the block that the table tells apart
    int tailDistinct = 0;  // as many in a last block
    int offsets = 0;       // index into pool: [row] where its entries begin, in the table or its spread rows
    int bases = 0;         // index into pool: [distinct row] offset in the table
    int lanes = 0;         // index into pool: [lane] offset in the table; for a target sorted by that, then
    int order = 0;         //   [lane] the lane; parallel
    int perEntry = 1;      // (target) lanes that fold onto one entry
    int perFold = 1;       // (target) block rows that gather on one distinct row
    int room = 0;          // index into the arena of its rows
  };
  Vector<Table> tables;       // as in the shape
  Vector<int> prefixStrides;  // [table][prefix axis]
  Vector<int> pool;
  std::size_t arena = 0;  // floats of scratch that a run needs: products, scales, rows of tables
  std::size_t scales = 0;
  Vector<int> at;        // [prefix axis] while it runs
  Vector<int> tableAt;   // [table] offset of the block
  Vector<int> foldAt;    // [table] offset where its rows gathered
  Vector<int> foldRows;  // [table] how many did
  Vector<int> pending;   // [table] additions not yet folded
  double cost = 0;       // estimated, in nanoseconds
};

void MakePlan(const PassShape& shape, PassPlan* plan);
// What MakePlan's plan would cost, without making it.
double PlanCost(const PassShape& shape);

// Without a potential (NULL, strides 0) the factors alone are multiplied. All products are computed, and stand in the
// targets, times the lift.
void RunPlan(PassPlan& plan, const Kernels& kernels, const float* potential, const float* const* factors,
             const PassTarget* targets, float* arena, bool maximize, float lift = 1);
// The product alone: to takes the place of the potential, which is not read; its rows must be dense.
void RunProduct(PassPlan& plan, const Kernels& kernels, float* to, const float* const* factors, float* arena);

// Entry by entry in double precision, for small tables and as what a plan must agree with.
template <class Entry, class Factor>
void RunPlainly(const PassShape& shape, const Entry* potential, const Factor* const* factors, const PassTarget* targets,
                bool maximize);

}  // namespace bravic::engine

// Plans of passes: how the axes of a shape are divided up so that the work is done a vector at a time.
//
// Neighbouring axes that every table steps through alike are joined. The fastest axes make rows of some dozens of
// entries, further axes make blocks of rows that fit the first-level cache, the slowest - the prefix - are stepped
// through. Of all such divisions the cheapest is taken, by the costs of CostModel.h.
//
// Over a block every table is one vector operation: a factor that has all row axes is read in place, one that has none
// is a scale per row, one that has some is spread out over whole rows first; a target gathers whole rows, which are
// folded onto its own entries in double precision when the stepping leaves them.
#pragma once

#include "Bn/engine/PassShape.h"

namespace bravic::engine {

inline constexpr int ADDS_BETWEEN_FOLDS = 64;  // floats added up before they go into a double

struct PassPlan {
  int rowLength = 0, paddedLength = 0, numRows = 0;  // entries in a row, with padding; rows in a block
  int tailRows = 0;  // rows of the last block along the fastest prefix axis, where that cuts an axis into unequal parts
  int numFactors = 0, numPrefix = 0;
  Vector<int> prefixSizes;  // slowest first
  struct Table {
    enum Kind : unsigned char {
      WHOLE_ROWS,   // has all row axes, in their order
      SCALES,       // has no row axis: one factor a row
      BLOCK_SCALE,  // nor an axis of the block: one factor a block
      SPREAD,       // a factor with some of the row axes
      LANES         // a target with some of the row axes, or in another order
    };
    Kind kind = WHOLE_ROWS;
    int lastPrefix = -1;   // the fastest prefix axis that the table has
    bool direct = false;   // (target) rows go straight to its entries: none gathers twice
    int numDistinct = 0;   // rows of the block that the table tells apart
    int tailDistinct = 0;  // as many in a last block
    int offsets = 0;       // index into pool: [row] where its entries begin, in the table or its spread rows
    int bases = 0;         // index into pool: [distinct row] offset in the table
    int lanes = 0;         // index into pool: [lane] offset in the table; for a target sorted by that, then
    int order = 0;         //   [lane] the lane; parallel
    int perEntry = 1;      // (target) lanes that fold onto one entry,
    int step = 0;          //   so far apart, or 0 where they are not evenly apart;
    int run = 1;           //   and so many entries in turn whose lanes begin next to each other
    int perFold = 1;       // (target) block rows that gather on one distinct row
    int room = 0;          // index into the arena of its rows
    int apart = -1;        // (target) index into the room's sums where it lacks the axis that is sliced
  };
  Vector<Table> tables;       // as in the shape
  Vector<int> prefixStrides;  // [table][prefix axis]
  Vector<int> pool;           // begins with [row] where its products begin in the arena
  int arena = 0;              // floats of scratch that a run needs: products, scales, rows of tables
  int scales = 0;             // index into the arena
  // A large pass is run in slices along one prefix axis, which several threads may share. Most targets have that axis,
  // and no two slices touch the same entry; what slices add to the others is summed apart, and added in their order.
  int slicedAxis = -1, numSlices = 1, sliceLength = 0;
  int sumsApart = 0;  // doubles that the sums of one slice take which are apart
};

// What a run works in. Room for several plans is room for each; several threads run one plan, each in a room of its
// own.
struct PassRoom {
  Vector<float> arena;
  // What is known of a table while it runs.
  struct Run {
    int at;        // offset of the block
    int foldAt;    // offset where its rows gathered
    int foldRows;  // how many did
    int pending;   // additions not yet folded
  };
  Vector<Run> tables;
  Vector<double> sums;  // of one slice, where they are apart

  void GrowFor(const PassPlan& plan) {
    arena.GrowTo(plan.arena);
    tables.GrowTo(plan.tables.size());
    sums.GrowTo(plan.sumsApart);
  }
};

void MakePlan(const PassShape& shape, PassPlan* plan);
// What a pass would cost that has, beside the shape's factors, a target like each of them; at most the limit.
double SweepCost(const PassShape& shape, double limit);

}  // namespace bravic::engine

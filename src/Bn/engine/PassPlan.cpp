#include "Bn/engine/PassPlan.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "Bn/engine/CostModel.h"

namespace bravic::engine {

namespace {

constexpr int MAX_ROW = 512;         // merged rows grow no longer
constexpr int BLOCK_ENTRIES = 2048;  // 8 KB of products
constexpr int WIDEST_VECTOR = 16;    // floats
constexpr int SHORTEST_ROW = 6;      // shorter rows are not worth a vector

// The axes with neighbours joined that every table steps through alike.
struct Merged {
  int numAxes = 0, numTables = 0;
  int sizes[MAX_AXES];
  Vector<int> strides;  // [table][axis], numAxes apart from each other

  const int* Strides(int table) const { return strides.data() + table * numAxes; }
};

// An axis is joined to the one before it when every table's stride there is that of a whole run through this one.
void Merge(const PassShape& shape, Merged* merged) {
  const int tables = shape.NumTables();
  int from[MAX_AXES];  // the fastest original axis of each merged one
  int count = 0;
  for (int a = 0; a < shape.numAxes; ++a) {
    const int size = shape.sizes[a];
    bool join = count > 0 && merged->sizes[count - 1] * size <= MAX_ROW;
    for (int t = 0; join && t < tables; ++t) join = shape.Strides(t)[a - 1] == shape.Strides(t)[a] * size;
    if (join) {
      merged->sizes[count - 1] *= size;
      from[count - 1] = a;
    } else {
      merged->sizes[count] = size;
      from[count++] = a;
    }
  }
  merged->numAxes = count;
  merged->numTables = tables;
  merged->strides.resize(tables * count);
  for (int t = 0; t < tables; ++t)
    for (int a = 0; a < count; ++a) merged->strides[t * count + a] = shape.Strides(t)[from[a]];
}

// Axes [0, block) are the prefix, [block, row) step through the rows of a block, [row, numAxes) make a row.
struct Split {
  int block = 0, row = 0;
  int cut = 0;  // 0, or axis [block - 1] is cut into parts of that size, the slowest axis of the block
  int parts = 1;
  int rowLength = 1, paddedLength = 1, numRows = 1;
  double cost = 0;
};

using Kind = PassPlan::Table::Kind;

// How the table stands to the rows of the split: whether it has all of their axes in order, none, or some.
Kind KindOf(const Merged& merged, int table, const Split& split, bool target) {
  const int* strides = merged.Strides(table);
  bool dense = true, none = true;
  int expected = 1;
  for (int a = merged.numAxes; a-- > split.row;) {
    dense &= strides[a] == expected;
    none &= strides[a] == 0;
    expected *= merged.sizes[a];
  }
  if (dense) return Kind::WHOLE_ROWS;
  if (target) return Kind::LANES;
  if (!none) return Kind::SPREAD;
  for (int a = split.block; a < split.row; ++a)
    if (strides[a] != 0) return Kind::SCALES;
  return Kind::BLOCK_SCALE;
}

// Makes two axes of the last one before the block, the slower of which counts the parts.
void CutAxis(Split* split, Merged* merged) {
  const int a = split->block - 1, axes = merged->numAxes;
  Vector<int> strides;
  for (int t = 0; t < merged->numTables; ++t) {
    for (int k = 0; k < axes; ++k) {
      if (k == a) strides.push_back(merged->Strides(t)[k] * split->cut);
      strides.push_back(merged->Strides(t)[k]);
    }
  }
  for (int k = axes; k > a; --k) merged->sizes[k] = merged->sizes[k - 1];
  merged->sizes[a] = split->parts;
  merged->sizes[a + 1] = split->cut;
  merged->strides = std::move(strides);
  ++merged->numAxes;
  ++split->row;
}

int RoundUp(int count, int unit) {
  return (count + unit - 1) / unit * unit;
}

// Short rows are padded to vectors of 8, longer ones to the widest.
int PaddedLength(int length) {
  constexpr int SHORT = 48;
  return RoundUp(length, length > SHORT ? WIDEST_VECTOR : 8);
}

// What the blocks of a split come to.
struct Blocks {
  int cutAxis = -1;        // a prefix axis: it counts once for its parts and once, within the block, for what is in one
  double count = 1;        // of all, a last one in proportion to its rows
  double perRow = 0;       // cost of a vector operation over a row
  double steps[MAX_AXES];  // [prefix axis] parts or states

  Blocks(const Merged& merged, const Split& split)
      : cutAxis(split.cut ? split.block - 1 : -1), perRow(cost::ROW + cost::ROW_ENTRY * split.paddedLength) {
    for (int a = 0; a < split.block; ++a) count *= steps[a] = a == cutAxis ? split.parts : merged.sizes[a];
    if (split.cut) count *= static_cast<double>(merged.sizes[cutAxis]) / (split.parts * split.cut);
  }
};

// How a table stands to the blocks of a split.
struct Standing {
  bool isDense = true, isApart = true;  // whether it has all axes of a row in order, or none of them
  double distinct = 1;                  // rows of the block that it tells apart
  double changes = 1;                   // how often its part in a block changes

  Standing(const Merged& merged, const Split& split, const Blocks& blocks, const int* strides) {
    int expected = 1;
    for (int a = merged.numAxes; a-- > split.row;) {
      isDense &= strides[a] == expected;
      isApart &= strides[a] == 0;
      expected *= merged.sizes[a];
    }
    for (int a = split.block; a < split.row; ++a)
      if (strides[a] != 0) distinct *= merged.sizes[a];
    double before = 1;
    for (int a = 0; a < split.block; ++a) {
      before *= blocks.steps[a];
      if (strides[a] != 0) changes = before;
    }
    if (split.cut && strides[blocks.cutAxis] != 0) distinct *= split.cut;
  }
};

double FactorCost(const Standing& at, const Split& split, const Blocks& blocks, bool isPotential) {
  const double allRows = blocks.count * split.numRows * blocks.perRow;
  if (at.isDense) return isPotential ? 0 : allRows;
  if (at.isApart) return isPotential ? 0 : blocks.count * (cost::FACTOR_OF_BLOCK + split.numRows);
  return (isPotential ? 0 : allRows) +
         at.changes * at.distinct * (cost::SPREAD_ROW + cost::SPREAD_ENTRY * split.rowLength);
}

double TargetCost(const Standing& at, const Split& split, const Blocks& blocks) {
  constexpr double ALMOST_ALL = 0.999;
  const double length = split.rowLength, rows = split.numRows;
  if (at.isDense && at.distinct == rows && at.changes >= blocks.count * ALMOST_ALL)
    return blocks.count * (cost::TABLE_OF_BLOCK + rows * (cost::WHOLE_ROW + cost::DIRECT_ROW_ENTRY * length));
  const double folds = std::max(at.changes, blocks.count * rows / at.distinct / ADDS_BETWEEN_FOLDS);
  const double perFold =
      at.isDense ? cost::WHOLE_ROW + cost::WHOLE_ROW_ENTRY * length : cost::LANE_ROW + cost::LANE_ENTRY * length;
  return blocks.count * (cost::TABLE_OF_BLOCK + rows * blocks.perRow) + folds * (cost::FOLD + at.distinct * perFold);
}

// Tables [0, numFactors] are factors and [firstTarget, numTables) targets; some may be both. What comes to the limit is
// not added up to the end.
double Estimate(const Merged& merged, int numFactors, int firstTarget, const Split& split, double limit) {
  const Blocks blocks(merged, split);
  double cost = cost::PLAN_RUN + blocks.count * (cost::BLOCK + split.numRows * blocks.perRow);
  for (int t = 0; t < merged.numTables && cost < limit; ++t) {
    const Standing at(merged, split, blocks, merged.Strides(t));
    if (t <= numFactors) cost += FactorCost(at, split, blocks, t == 0);
    if (t >= firstTarget) cost += TargetCost(at, split, blocks);
  }
  return cost;
}

// Takes as many axes into a block as fit it, and cuts the next one if that still fills it better.
template <class Consider>
void ConsiderBlocks(const Merged& merged, Split split, Consider consider) {
  const int maxRows = std::clamp(BLOCK_ENTRIES / split.paddedLength, 1, ADDS_BETWEEN_FOLDS);
  while (split.block > 0 && split.numRows * merged.sizes[split.block - 1] <= maxRows)
    split.numRows *= merged.sizes[--split.block];
  consider(split);
  if (split.block == 0 || maxRows < 2 * split.numRows) return;
  const int size = merged.sizes[split.block - 1], most = maxRows / split.numRows;
  split.parts = (size + most - 1) / most;
  split.cut = (size + split.parts - 1) / split.parts;
  split.parts = (size + split.cut - 1) / split.cut;
  split.numRows *= split.cut;
  consider(split);
}

// Tries every number of axes that makes rows long enough, and keeps the cheapest, which costs the limit when all come
// to that.
Split ChooseSplit(const Merged& merged, int numFactors, int firstTarget, double limit) {
  Split best;
  best.cost = limit;
  bool isFirst = true;
  auto consider = [&](Split split) {
    split.cost = Estimate(merged, numFactors, firstTarget, split, best.cost);
    if (split.cost < best.cost) best = split;
    isFirst = false;
  };
  int length = 1;
  for (int row = merged.numAxes; row >= 0; --row) {
    if (row < merged.numAxes) length *= merged.sizes[row];
    if (length < SHORTEST_ROW && row > 0) continue;
    if (length > MAX_ROW && !isFirst) break;
    Split split;
    split.row = split.block = row;
    split.rowLength = length;
    split.paddedLength = PaddedLength(length);
    ConsiderBlocks(merged, split, consider);
  }
  return best;
}

// The part of a plan that is about one table.
class TableMaker {
 public:
  TableMaker(const Merged& merged, const Split& split, int number, bool isTarget, PassPlan* plan)
      : merged_(merged),
        split_(split),
        number_(number),
        isTarget_(isTarget),
        plan_(plan),
        table_(plan->tables[number]) {}

  void Make() {
    table_ = {};
    table_.kind = KindOf(merged_, number_, split_, isTarget_);
    for (int a = 0; a < split_.block; ++a) {
      plan_->prefixStrides.push_back(Stride(a));
      if (Stride(a) != 0) table_.lastPrefix = a;
    }
    const bool hasRoom = isTarget_ || table_.kind == Kind::SPREAD;
    DescribeRows(hasRoom);
    if (!hasRoom) return;
    DescribeBases();
    table_.room = plan_->arena;
    plan_->arena += table_.numDistinct * plan_->paddedLength;
    if (table_.kind != Kind::WHOLE_ROWS) DescribeLanes();
  }

 private:
  int Stride(int axis) const { return merged_.Strides(number_)[axis]; }

  // Adds the offsets of all configurations of the axes to the pool; answers where they begin.
  int AddOffsets(int numAxes, const int* axes, const int* strides) {
    int sizes[MAX_AXES], count = 1;
    for (int k = 0; k < numAxes; ++k) count *= sizes[k] = merged_.sizes[axes[k]];
    Vector<int>& pool = plan_->pool;
    const int begin = pool.size();
    pool.resize(begin + count);
    ListOffsets(numAxes, sizes, strides, pool.data() + begin);
    return begin;
  }

  // Where each row of the block begins, and how many are told apart.
  void DescribeRows(bool hasRoom) {
    int axes[MAX_AXES], strides[MAX_AXES], distinct = 1;
    for (int a = split_.row; a-- > split_.block;) {
      axes[a - split_.block] = a;
      strides[a - split_.block] = !hasRoom ? Stride(a) : Stride(a) != 0 ? distinct * plan_->paddedLength : 0;
      if (Stride(a) != 0) distinct *= merged_.sizes[a];
    }
    table_.numDistinct = distinct;
    table_.perFold = plan_->numRows / distinct;
    const bool isCut = split_.cut && Stride(split_.block) != 0;
    table_.tailDistinct = isCut ? distinct / split_.cut * (plan_->tailRows / (plan_->numRows / split_.cut)) : distinct;
    table_.direct = isTarget_ && table_.kind == Kind::WHOLE_ROWS && table_.perFold == 1 && table_.lastPrefix >= 0 &&
                    table_.lastPrefix == split_.block - 1;
    table_.offsets = AddOffsets(split_.row - split_.block, axes, strides);
  }

  // Where the rows that are told apart begin in the table.
  void DescribeBases() {
    int axes[MAX_AXES], strides[MAX_AXES], count = 0;
    for (int a = split_.block; a < split_.row; ++a) {
      if (Stride(a) == 0) continue;
      axes[count] = a;
      strides[count++] = Stride(a);
    }
    table_.bases = AddOffsets(count, axes, strides);
  }

  // Where the lanes of a row belong in the table: for a factor in their order, for a target those of one entry
  // together.
  void DescribeLanes() {
    int axes[MAX_AXES], rest[MAX_AXES], lane[MAX_AXES], strides[MAX_AXES], count = 0, numRest = 0, step = 1;
    for (int a = merged_.numAxes; a-- > split_.row;) {
      lane[a] = step;
      step *= merged_.sizes[a];
    }
    for (int a = split_.row; a < merged_.numAxes; ++a)
      (isTarget_ && Stride(a) == 0 ? rest[numRest++] : axes[count++]) = a;
    for (int k = 0; k < numRest; ++k) {
      axes[count++] = rest[k];
      table_.perEntry *= merged_.sizes[rest[k]];
    }
    for (int k = 0; k < count; ++k) strides[k] = Stride(axes[k]);
    table_.lanes = AddOffsets(count, axes, strides);
    if (!isTarget_) return;
    for (int k = 0; k < count; ++k) strides[k] = lane[axes[k]];
    table_.order = AddOffsets(count, axes, strides);
    // Axes whose lanes follow each other's like those of one: of an entry they make even steps, of entries a run.
    const int numOwn = count - numRest;
    int steps = 1;
    table_.step = numRest > 0 ? strides[count - 1] : 1;
    for (int k = count; k-- > numOwn; steps *= merged_.sizes[axes[k]])
      if (strides[k] != steps * table_.step) table_.step = 0;
    for (int k = numOwn; k-- > 0 && strides[k] == table_.run;) table_.run *= merged_.sizes[axes[k]];
  }

  const Merged& merged_;
  const Split& split_;
  const int number_;
  const bool isTarget_;
  PassPlan* plan_;
  PassPlan::Table& table_;
};

// The axis along which a large pass is sliced: one that gives many slices and that the large targets have.
void ChooseSlices(const PassShape& shape, const Merged& merged, PassPlan* plan) {
  constexpr double SLICE_ENTRIES = 32768, SMALL_SHARE = 1.0 / 32;
  double entries = 1;
  for (int a = 0; a < merged.numAxes; ++a) entries *= merged.sizes[a];
  plan->slicedAxis = -1;
  plan->numSlices = 1;
  plan->sumsApart = 0;
  if (entries < 2 * SLICE_ENTRIES) return;
  const int wanted = static_cast<int>(std::min(entries / SLICE_ENTRIES, 1e6)), first = plan->numFactors + 1;
  // An axis that is cut has more places here than the table has entries along it.
  auto sizeOf = [&](int t) {
    double size = 1;
    for (int a = 0; a < shape.numAxes; ++a)
      if (shape.Strides(t)[a] != 0) size *= shape.sizes[a];
    return size;
  };
  for (int a = 0; a < plan->numPrefix; ++a) {
    const int length = (plan->prefixSizes[a] + wanted - 1) / wanted;
    const int slices = (plan->prefixSizes[a] + length - 1) / length;
    if (slices <= plan->numSlices) continue;
    double apart = 0;
    for (int t = first; t < merged.numTables; ++t) apart += merged.Strides(t)[a] == 0 ? sizeOf(t) : 0;
    if (apart * slices > SMALL_SHARE * entries) continue;
    plan->slicedAxis = a;
    plan->numSlices = slices;
    plan->sliceLength = length;
  }
  for (int t = first; t < merged.numTables && plan->numSlices > 1; ++t) {
    if (merged.Strides(t)[plan->slicedAxis] != 0) continue;
    plan->tables[t].apart = plan->sumsApart;
    plan->sumsApart += static_cast<int>(sizeOf(t));
  }
}

}  // namespace

double SweepCost(const PassShape& shape, double limit) {
  Merged merged;
  Merge(shape, &merged);
  return ChooseSplit(merged, shape.numFactors, 1, limit).cost;
}

void MakePlan(const PassShape& shape, PassPlan* plan) {
  Merged merged;
  Merge(shape, &merged);
  Split split = ChooseSplit(merged, shape.numFactors, shape.numFactors + 1, std::numeric_limits<double>::infinity());
  plan->tailRows = split.numRows;
  if (split.cut) {
    const int rest = merged.sizes[split.block - 1] - (split.parts - 1) * split.cut;
    plan->tailRows = split.numRows / split.cut * rest;
    CutAxis(&split, &merged);
  }
  plan->rowLength = split.rowLength;
  plan->paddedLength = split.paddedLength;
  plan->numRows = split.numRows;
  plan->numPrefix = split.block;
  plan->numFactors = shape.numFactors;
  plan->prefixSizes.assign(merged.sizes, merged.sizes + split.block);
  plan->tables.resize(merged.numTables);
  plan->prefixStrides.clear();
  plan->pool.clear();
  // The products come first in the arena, then the scales, then each table's rows.
  plan->scales = split.numRows * split.paddedLength;
  plan->arena = plan->scales + RoundUp(split.numRows, WIDEST_VECTOR);
  for (int r = 0; r < split.numRows; ++r) plan->pool.push_back(r * split.paddedLength);
  for (int t = 0; t < merged.numTables; ++t) TableMaker(merged, split, t, t > shape.numFactors, plan).Make();
  ChooseSlices(shape, merged, plan);
}

}  // namespace bravic::engine

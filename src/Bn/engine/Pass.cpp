#include "Bn/engine/Pass.h"

#include <algorithm>
#include <cstring>

namespace bravic::engine {

namespace {

constexpr int MAX_ROW = 512;            // merged rows grow no longer
constexpr int BLOCK_ENTRIES = 2048;     // 8 KB of products
constexpr int ADDS_BETWEEN_FOLDS = 64;  // floats added up before they go into a double

// The axes with neighbours joined that every table steps through alike.
struct Merged {
  int numAxes = 0, numTables = 0;
  int sizes[MAX_PASS_AXES];
  Vector<int> strides;  // [table][axis], numAxes apart from each other

  int Stride(int table, int axis) const { return strides[table * numAxes + axis]; }
};

void Merge(const PassShape& shape, Merged* merged) {
  const int tables = 1 + shape.numFactors + shape.numTargets;
  int from[MAX_PASS_AXES];  // the fastest original axis of each merged one
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
  merged->strides.resize(At(tables * count));
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

Kind KindOf(const Merged& merged, int table, const Split& split, bool target) {
  bool dense = true, none = true;
  int expected = 1;
  for (int a = merged.numAxes; a-- > split.row;) {
    const int stride = merged.Stride(table, a);
    dense &= stride == expected;
    none &= stride == 0;
    expected *= merged.sizes[a];
  }
  if (dense) return Kind::WHOLE_ROWS;
  if (target) return Kind::LANES;
  if (!none) return Kind::SPREAD;
  for (int a = split.block; a < split.row; ++a)
    if (merged.Stride(table, a) != 0) return Kind::SCALES;
  return Kind::BLOCK_SCALE;
}

// Makes two axes of the last one before the block, the slower of which counts the parts.
void CutAxis(Split* split, Merged* merged) {
  const int a = split->block - 1, axes = merged->numAxes;
  Vector<int> strides;
  for (int t = 0; t < merged->numTables; ++t) {
    for (int k = 0; k < axes; ++k) {
      if (k == a) strides.push_back(merged->Stride(t, k) * split->cut);
      strides.push_back(merged->Stride(t, k));
    }
  }
  for (int k = axes; k > a; --k) merged->sizes[k] = merged->sizes[k - 1];
  merged->sizes[a] = split->parts;
  merged->sizes[a + 1] = split->cut;
  merged->strides = std::move(strides);
  ++merged->numAxes;
  ++split->row;
}

int PaddedLength(int length) {
  return length > 48 ? (length + 15) / 16 * 16 : (length + 7) / 8 * 8;
}

// In nanoseconds, from measurements on one machine; only the proportions matter.
double Estimate(const Merged& merged, int numFactors, const Split& split) {
  const double length = split.rowLength, padded = split.paddedLength;
  const int cutAxis = split.cut ? split.block - 1 : -1;
  const double rows = split.numRows;
  // A cut axis counts once for its parts and once, within the block, for what is in a part.
  auto steps = [&](int a) { return static_cast<double>(a == cutAxis ? split.parts : merged.sizes[a]); };
  double blocks = 1;
  for (int a = 0; a < split.block; ++a) blocks *= steps(a);
  if (split.cut) blocks *= static_cast<double>(merged.sizes[cutAxis]) / (split.parts * split.cut);
  const double perRow = 0.7 + 0.035 * padded;
  double cost = 40 + blocks * (12 + rows * perRow);
  for (int t = 0; t < merged.numTables; ++t) {
    const bool target = t > numFactors;
    Kind kind = KindOf(merged, t, split, target);
    double distinct = 1, changes = 1, before = 1;
    for (int a = split.block; a < split.row; ++a)
      if (merged.Stride(t, a) != 0) distinct *= merged.sizes[a];
    for (int a = 0; a < split.block; ++a) {
      before *= steps(a);
      if (merged.Stride(t, a) != 0) changes = before;
    }
    if (split.cut && merged.Stride(t, cutAxis) != 0) {
      distinct *= split.cut;
      if (kind == Kind::BLOCK_SCALE) kind = Kind::SCALES;
    }
    if (target) {
      if (kind == Kind::WHOLE_ROWS && distinct == rows && changes >= blocks * 0.999) {
        cost += blocks * (8 + rows * (2 + 0.15 * length));
        continue;
      }
      changes = std::max(changes, blocks * rows / distinct / ADDS_BETWEEN_FOLDS);
      cost += blocks * (8 + rows * perRow);
      cost += changes * (15 + distinct * (kind == Kind::WHOLE_ROWS ? 2 + 0.12 * length : 5 + 1.2 * length));
    } else if (kind == Kind::SPREAD) {
      if (t > 0) cost += blocks * rows * perRow;
      cost += changes * distinct * (4 + 0.8 * length);
    } else if (t > 0) {
      cost += kind == Kind::WHOLE_ROWS ? blocks * rows * perRow : blocks * (4 + rows);
    }
  }
  return cost;
}

Split ChooseSplit(const Merged& merged, int numFactors) {
  Split best;
  best.cost = -1;
  auto consider = [&](Split split) {
    split.cost = Estimate(merged, numFactors, split);
    if (best.cost < 0 || split.cost < best.cost) best = split;
  };
  int length = 1;
  for (int row = merged.numAxes; row >= 0; --row) {
    if (row < merged.numAxes) length *= merged.sizes[row];
    if (length < 6 && row > 0) continue;
    if (length > MAX_ROW && best.cost >= 0) break;
    Split split;
    split.row = split.block = row;
    split.rowLength = length;
    split.paddedLength = PaddedLength(length);
    const int maxRows = std::clamp(BLOCK_ENTRIES / split.paddedLength, 1, ADDS_BETWEEN_FOLDS);
    while (split.block > 0 && split.numRows * merged.sizes[split.block - 1] <= maxRows)
      split.numRows *= merged.sizes[--split.block];
    consider(split);
    if (split.block == 0 || maxRows < 2 * split.numRows) continue;
    const int size = merged.sizes[split.block - 1], most = maxRows / split.numRows;
    split.parts = (size + most - 1) / most;
    split.cut = (size + split.parts - 1) / split.parts;
    split.parts = (size + split.cut - 1) / split.cut;
    split.numRows *= split.cut;
    consider(split);
  }
  return best;
}

// Steps through the states of some axes, the last fastest, keeping an offset.
template <class Visit>
void StepThrough(const Merged& merged, const int* axes, const int* strides, int count, Visit visit) {
  int at[MAX_PASS_AXES] = {};
  int offset = 0;
  for (;;) {
    visit(offset);
    int k = count;
    for (;;) {
      if (k == 0) return;
      --k;
      offset += strides[k];
      if (++at[k] < merged.sizes[axes[k]]) break;
      offset -= at[k] * strides[k];
      at[k] = 0;
    }
  }
}

void DescribeTable(const Merged& merged, const Split& split, int t, bool target, PassPlan* plan) {
  PassPlan::Table& table = plan->tables[t];
  table = {};
  table.kind = KindOf(merged, t, split, target);
  for (int a = 0; a < split.block; ++a) {
    plan->prefixStrides.push_back(merged.Stride(t, a));
    if (merged.Stride(t, a) != 0) table.lastPrefix = a;
  }
  int axes[MAX_PASS_AXES], strides[MAX_PASS_AXES];
  // Rows: where each begins, and which are told apart.
  const bool byDistinct = target || table.kind == Kind::SPREAD;
  int numBlockAxes = 0, distinct = 1;
  for (int a = split.row; a-- > split.block;) {
    const int stride = merged.Stride(t, a);
    strides[a - split.block] = !byDistinct ? stride : stride != 0 ? distinct * plan->paddedLength : 0;
    if (stride != 0) distinct *= merged.sizes[a];
  }
  for (int a = split.block; a < split.row; ++a) axes[numBlockAxes++] = a;
  table.numDistinct = distinct;
  table.perFold = plan->numRows / distinct;
  const bool cut = split.cut && merged.Stride(t, split.block) != 0;
  table.tailDistinct = cut ? distinct / split.cut * (plan->tailRows / (plan->numRows / split.cut)) : distinct;
  table.direct = target && table.kind == Kind::WHOLE_ROWS && table.perFold == 1 && table.lastPrefix >= 0 &&
                 table.lastPrefix == split.block - 1;
  table.offsets = plan->pool.size();
  StepThrough(merged, axes, strides, numBlockAxes, [&](int offset) { plan->pool.push_back(offset); });
  if (!byDistinct) return;
  table.bases = plan->pool.size();
  int numOwn = 0;
  for (int a = split.block; a < split.row; ++a) {
    if (merged.Stride(t, a) == 0) continue;
    axes[numOwn] = a;
    strides[numOwn++] = merged.Stride(t, a);
  }
  StepThrough(merged, axes, strides, numOwn, [&](int offset) { plan->pool.push_back(offset); });
  table.room = static_cast<int>(plan->arena);
  plan->arena += At(distinct) * At(plan->paddedLength);
  if (table.kind == Kind::WHOLE_ROWS) return;
  // Lanes: for a factor in their order, for a target those of one entry together.
  int own[MAX_PASS_AXES], rest[MAX_PASS_AXES], numRest = 0, lane[MAX_PASS_AXES], step = 1;
  numOwn = 0;
  for (int a = merged.numAxes; a-- > split.row;) {
    lane[a] = step;
    step *= merged.sizes[a];
  }
  for (int a = split.row; a < merged.numAxes; ++a)
    (target && merged.Stride(t, a) == 0 ? rest[numRest++] : own[numOwn++]) = a;
  for (int k = 0; k < numRest; ++k) {
    own[numOwn + k] = rest[k];
    table.perEntry *= merged.sizes[rest[k]];
  }
  for (int pass = 0; pass < (target ? 2 : 1); ++pass) {
    (pass == 0 ? table.lanes : table.order) = plan->pool.size();
    for (int k = 0; k < numOwn + numRest; ++k) strides[k] = pass == 0 ? merged.Stride(t, own[k]) : lane[own[k]];
    StepThrough(merged, own, strides, numOwn + numRest, [&](int offset) { plan->pool.push_back(offset); });
  }
}

}  // namespace

double PlanCost(const PassShape& shape) {
  Merged merged;
  Merge(shape, &merged);
  return ChooseSplit(merged, shape.numFactors).cost;
}

void MakePlan(const PassShape& shape, PassPlan* plan) {
  Merged merged;
  Merge(shape, &merged);
  Split split = ChooseSplit(merged, shape.numFactors);
  plan->tailRows = split.numRows;
  if (split.cut) {
    const int rest = merged.sizes[split.block - 1] - (split.parts - 1) * split.cut;
    plan->tailRows = split.numRows / split.cut * rest;
    CutAxis(&split, &merged);
  }
  plan->made = true;
  plan->cost = split.cost;
  plan->rowLength = split.rowLength;
  plan->paddedLength = split.paddedLength;
  plan->numRows = split.numRows;
  plan->numPrefix = split.block;
  plan->numFactors = shape.numFactors;
  plan->prefixSizes.assign(merged.sizes, merged.sizes + split.block);
  plan->tables.resize(At(merged.numTables));
  plan->prefixStrides.clear();
  plan->pool.clear();
  // The products come first in the arena, then the scales, then each table's rows.
  plan->arena = At(split.numRows * split.paddedLength);
  plan->scales = plan->arena;
  plan->arena += At((split.numRows + 15) / 16 * 16);
  for (int r = 0; r < split.numRows; ++r) plan->pool.push_back(r * split.paddedLength);
  for (int t = 0; t < merged.numTables; ++t) DescribeTable(merged, split, t, t > shape.numFactors, plan);
  plan->at.resize(At(split.block));
  plan->tableAt.resize(At(merged.numTables));
  plan->foldRows.resize(At(merged.numTables));
  plan->foldAt.resize(At(merged.numTables));
  plan->pending.resize(At(merged.numTables));
}

namespace {

template <class Number>
void FoldMaxima(const PassPlan& plan, int rows, const int* bases, Rows from, Number* to) {
  for (int r = 0; r < rows; ++r) {
    const float* room = from.data + from.offsets[r];
    Number* entries = to + bases[r];
    for (int i = 0; i < plan.rowLength; ++i) entries[i] = std::max(entries[i], static_cast<Number>(room[i]));
  }
}

void FoldWholeRows(const PassPlan& plan, const Kernels& kernels, int rows, const int* bases, Rows from,
                   const PassTarget& target, int offset, bool maximize) {
  if (target.wide) {
    if (maximize)
      FoldMaxima(plan, rows, bases, from, target.wide + offset);
    else
      kernels.foldWide(target.wide + offset, bases, rows, plan.rowLength, from);
  } else {
    if (maximize)
      FoldMaxima(plan, rows, bases, from, target.narrow + offset);
    else
      kernels.foldNarrow(target.narrow + offset, bases, rows, plan.rowLength, from);
  }
}

template <class Number>
void FoldLanes(const PassPlan& plan, const PassPlan::Table& table, int rows, const float* room, Number* to,
               bool maximize) {
  const int* bases = plan.pool.data() + table.bases;
  const int* lanes = plan.pool.data() + table.lanes;
  const int* order = plan.pool.data() + table.order;
  for (int d = 0; d < rows; ++d, room += plan.paddedLength) {
    Number* entries = to + bases[d];
    for (int i = 0; i < plan.rowLength; i += table.perEntry) {
      Number& entry = entries[lanes[i]];
      if (maximize) {
        for (int k = 0; k < table.perEntry; ++k) entry = std::max(entry, static_cast<Number>(room[order[i + k]]));
        continue;
      }
      // Four sums side by side, in a fixed order.
      double sums[4] = {};
      int k = 0;
      for (; k + 4 <= table.perEntry; k += 4)
        for (int j = 0; j < 4; ++j) sums[j] += room[order[i + k + j]];
      for (; k < table.perEntry; ++k) sums[0] += room[order[i + k]];
      entry += static_cast<Number>((sums[0] + sums[1]) + (sums[2] + sums[3]));
    }
  }
}

void Fold(const PassPlan& plan, const Kernels& kernels, int t, const PassTarget& target, float* arena, bool maximize) {
  const PassPlan::Table& table = plan.tables[t];
  float* room = arena + table.room;
  const int offset = plan.foldAt[t], rows = plan.foldRows[t];
  if (table.kind == Kind::WHOLE_ROWS)
    FoldWholeRows(plan, kernels, rows, plan.pool.data() + table.bases, {room, plan.pool.data()}, target, offset,
                  maximize);
  else if (target.wide)
    FoldLanes(plan, table, rows, room, target.wide + offset, maximize);
  else
    FoldLanes(plan, table, rows, room, target.narrow + offset, maximize);
  std::memset(room, 0, At(rows) * At(plan.paddedLength) * sizeof(float));
}

void Spread(const PassPlan& plan, const PassPlan::Table& table, int rows, const float* data, float* arena) {
  const int* bases = plan.pool.data() + table.bases;
  const int* lanes = plan.pool.data() + table.lanes;
  float* room = arena + table.room;
  for (int d = 0; d < rows; ++d, room += plan.paddedLength) {
    const float* entries = data + bases[d];
    for (int i = 0; i < plan.rowLength; ++i) room[i] = entries[lanes[i]];
  }
}

// Whether the block stands at the end of a cut axis.
bool IsLast(const PassPlan& plan) {
  return plan.tailRows != plan.numRows && plan.at.back() == plan.prefixSizes.back() - 1;
}

// The widest version, up to the given one, whose vectors fill the padded rows.
const Kernels& Fitting(const Kernels& best, int paddedLength) {
  const Kernels* kernels = &best;
  while (paddedLength % kernels->lanes != 0) --kernels;
  return *kernels;
}

// Steps the prefix on; answers the slowest axis that moved, -1 at the end.
int Advance(PassPlan& plan) {
  int axis = plan.numPrefix;
  const int tables = plan.tables.size();
  while (axis > 0) {
    --axis;
    const bool wraps = ++plan.at[axis] == plan.prefixSizes[axis];
    const int steps = wraps ? 1 - plan.prefixSizes[axis] : 1;
    for (int t = 0; t < tables; ++t) plan.tableAt[t] += steps * plan.prefixStrides[t * plan.numPrefix + axis];
    if (!wraps) return axis;
    plan.at[axis] = 0;
  }
  return -1;
}

struct Product {
  Rows rows;
  bool zero = false;  // the block is 0 throughout
};

// The products of one block, in the potential itself when nothing multiplies it.
Product MultiplyBlock(const PassPlan& plan, const Kernels& kernels, const float* potential, const float* const* factors,
                      float* arena, int moved, bool last, float lift) {
  const int numBlockRows = last ? plan.tailRows : plan.numRows;
  const int* pool = plan.pool.data();
  float* scales = arena + plan.scales;
  Product product;
  float whole = lift;
  for (int f = 1; f <= plan.numFactors; ++f)
    if (plan.tables[f].kind == Kind::BLOCK_SCALE) whole *= factors[f - 1][plan.tableAt[f]];
  if (whole == 0) {
    product.zero = true;
    return product;
  }
  bool scaled = whole != 1;
  if (scaled) std::fill_n(scales, numBlockRows, whole);
  Rows rows[3];
  int numRows = 0, numDone = 0;
  Rows from = {};
  auto rowsOf = [&](int t, const float* data) {
    const PassPlan::Table& table = plan.tables[t];
    if (table.kind != Kind::SPREAD) return Rows{data + plan.tableAt[t], pool + table.offsets};
    if (moved <= table.lastPrefix)
      Spread(plan, table, last ? table.tailDistinct : table.numDistinct, data + plan.tableAt[t], arena);
    return Rows{arena + table.room, pool + table.offsets};
  };
  if (potential) from = rowsOf(0, potential);
  for (int f = 1; f <= plan.numFactors; ++f) {
    const PassPlan::Table& table = plan.tables[f];
    if (table.kind != Kind::SCALES) continue;
    const float* data = factors[f - 1] + plan.tableAt[f];
    const int* offsets = pool + table.offsets;
    if (scaled)
      for (int r = 0; r < numBlockRows; ++r) scales[r] *= data[offsets[r]];
    else
      for (int r = 0; r < numBlockRows; ++r) scales[r] = data[offsets[r]];
    scaled = true;
  }
  auto flush = [&] {
    kernels.multiply(arena, numBlockRows, plan.paddedLength, from, numDone == 0 && scaled ? scales : nullptr, rows,
                     numRows);
    from = {arena, pool};
    numRows = 0;
    ++numDone;
  };
  for (int f = 1; f <= plan.numFactors; ++f) {
    const Kind kind = plan.tables[f].kind;
    if (kind == Kind::SCALES || kind == Kind::BLOCK_SCALE) continue;
    const Rows factor = rowsOf(f, factors[f - 1]);
    if (!from.data) {
      from = factor;
      continue;
    }
    if (numRows == 3) flush();
    rows[numRows++] = factor;
  }
  if (!from.data) {
    std::fill_n(arena, plan.numRows * plan.paddedLength, 1.0f);
    from = {arena, pool};
  }
  if (numRows > 0 || (scaled && numDone == 0)) flush();
  product.rows = from;
  return product;
}

}  // namespace

void RunPlan(PassPlan& plan, const Kernels& best, const float* potential, const float* const* factors,
             const PassTarget* targets, float* arena, bool maximize, float lift) {
  const Kernels& kernels = Fitting(best, plan.paddedLength);
  const int first = plan.numFactors + 1, tables = plan.tables.size();
  std::fill(plan.at.begin(), plan.at.end(), 0);
  std::fill(plan.tableAt.begin(), plan.tableAt.end(), 0);
  for (int t = first; t < tables; ++t) {
    const PassPlan::Table& table = plan.tables[t];
    plan.pending[t] = plan.foldRows[t] = 0;
    std::memset(arena + table.room, 0, At(table.numDistinct) * At(plan.paddedLength) * sizeof(float));
  }
  for (int moved = -1, stale = -1;;) {
    // Where a block was left out, what should have been spread for it is still to do.
    stale = std::min(stale, moved);
    const bool last = IsLast(plan);
    const int rows = last ? plan.tailRows : plan.numRows;
    const Product product = MultiplyBlock(plan, kernels, potential, factors, arena, stale, last, lift);
    if (!product.zero) {
      stale = plan.numPrefix;
      for (int t = first; t < tables; ++t) {
        const PassPlan::Table& table = plan.tables[t];
        if (table.direct) {
          FoldWholeRows(plan, kernels, rows, plan.pool.data() + table.bases, product.rows, targets[t - first],
                        plan.tableAt[t], maximize);
          continue;
        }
        (maximize ? kernels.maximize : kernels.add)(arena + table.room, plan.pool.data() + table.offsets, rows,
                                                    plan.paddedLength, product.rows);
        plan.pending[t] += table.perFold;
        plan.foldRows[t] = std::max(plan.foldRows[t], last ? table.tailDistinct : table.numDistinct);
      }
    }
    // Offsets move with the prefix, so what has gathered is folded first where they are about to change.
    for (int t = first; t < tables; ++t) plan.foldAt[t] = plan.tableAt[t];
    moved = Advance(plan);
    for (int t = first; t < tables; ++t) {
      const PassPlan::Table& table = plan.tables[t];
      int& pending = plan.pending[t];
      if (pending == 0) continue;
      if (moved >= 0 && moved > table.lastPrefix && pending + table.perFold <= ADDS_BETWEEN_FOLDS) continue;
      Fold(plan, kernels, t, targets[t - first], arena, maximize);
      pending = plan.foldRows[t] = 0;
    }
    if (moved < 0) return;
  }
}

void RunProduct(PassPlan& plan, const Kernels& best, float* to, const float* const* factors, float* arena) {
  const Kernels& kernels = Fitting(best, plan.paddedLength);
  std::fill(plan.at.begin(), plan.at.end(), 0);
  std::fill(plan.tableAt.begin(), plan.tableAt.end(), 0);
  const int* offsets = plan.pool.data() + plan.tables[0].offsets;
  for (int moved = -1, stale = -1;;) {
    stale = std::min(stale, moved);
    const bool last = IsLast(plan);
    const int rows = last ? plan.tailRows : plan.numRows;
    const Product product = MultiplyBlock(plan, kernels, nullptr, factors, arena, stale, last, 1);
    if (!product.zero) stale = plan.numPrefix;
    float* block = to + plan.tableAt[0];
    for (int r = 0; r < rows; ++r) {
      if (product.zero)
        std::fill_n(block + offsets[r], plan.rowLength, 0.0f);
      else
        std::memcpy(block + offsets[r], product.rows.data + product.rows.offsets[r],
                    At(plan.rowLength) * sizeof(float));
    }
    moved = Advance(plan);
    if (moved < 0) return;
  }
}

template <class Entry, class Factor>
void RunPlainly(const PassShape& shape, const Entry* potential, const Factor* const* factors, const PassTarget* targets,
                bool maximize) {
  constexpr int FEW_TABLES = 32, RUN = 32;
  const int numFactors = shape.numFactors, numTargets = shape.numTargets, tables = 1 + numFactors + numTargets;
  // The fastest axis is run through a table at a time, the others entry by entry.
  const int inner = shape.numAxes - 1, length = inner >= 0 ? shape.sizes[inner] : 1;
  int at[MAX_PASS_AXES] = {}, few[2 * FEW_TABLES] = {};
  Vector<int> many(tables > FEW_TABLES ? At(2 * tables) : 0, 0);
  int* const offsets = many.empty() ? few : many.data();
  int* const steps = offsets + tables;
  for (int t = 0; t < tables && inner >= 0; ++t) steps[t] = shape.Strides(t)[inner];
  double products[RUN];
  for (;;) {
    double scale = 1;
    for (int f = 1; f <= numFactors; ++f)
      if (steps[f] == 0) scale *= static_cast<double>(factors[f - 1][offsets[f]]);
    for (int begin = 0; begin < length && scale != 0; begin += RUN) {
      const int count = std::min(RUN, length - begin);
      const Entry* entries = potential + offsets[0] + begin * steps[0];
      for (int i = 0; i < count; ++i) products[i] = scale * static_cast<double>(entries[i * steps[0]]);
      for (int f = 1; f <= numFactors; ++f) {
        if (steps[f] == 0) continue;
        const Factor* factor = factors[f - 1] + offsets[f] + begin * steps[f];
        for (int i = 0; i < count; ++i) products[i] *= static_cast<double>(factor[i * steps[f]]);
      }
      double whole = 0;
      for (int i = 0; i < count; ++i) whole = maximize ? std::max(whole, products[i]) : whole + products[i];
      for (int t = 1 + numFactors; t < tables; ++t) {
        const PassTarget& target = targets[t - 1 - numFactors];
        const int step = steps[t], first = offsets[t] + begin * step;
        for (int i = 0; i < (step == 0 ? 1 : count); ++i) {
          const double product = step == 0 ? whole : products[i];
          if (target.wide) {
            double& sum = target.wide[first + i * step];
            sum = maximize ? std::max(sum, product) : sum + product;
          } else {
            float& sum = target.narrow[first + i * step];
            sum = static_cast<float>(maximize ? std::max<double>(sum, product) : sum + product);
          }
        }
      }
    }
    int axis = inner;
    for (;;) {
      if (axis <= 0) return;
      --axis;
      const bool wraps = ++at[axis] == shape.sizes[axis];
      const int moves = wraps ? 1 - shape.sizes[axis] : 1;
      for (int t = 0; t < tables; ++t) offsets[t] += moves * shape.Strides(t)[axis];
      if (!wraps) break;
      at[axis] = 0;
    }
  }
}

template void RunPlainly(const PassShape&, const float*, const float* const*, const PassTarget*, bool);
template void RunPlainly(const PassShape&, const float*, const double* const*, const PassTarget*, bool);
template void RunPlainly(const PassShape&, const double*, const double* const*, const PassTarget*, bool);

}  // namespace bravic::engine

#include "Bn/engine/Pass.h"

#include <algorithm>
#include <type_traits>

namespace bravic::engine {

namespace {

using Kind = PassPlan::Table::Kind;

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

// The largest of the lanes of each entry, or their sum where they are not evenly apart.
template <class Number>
void FoldUnevenLanes(const LaneFold& fold, const float* from, Number* to, bool maximize) {
  for (int r = 0; r < fold.rows; ++r, from += fold.paddedLength) {
    Number* const entries = to + fold.bases[r];
    for (int i = 0; i < fold.length; i += fold.perEntry) {
      Number& entry = entries[fold.lanes[i]];
      const int* const order = fold.order + i;
      if (maximize) {
        for (int k = 0; k < fold.perEntry; ++k) entry = std::max(entry, static_cast<Number>(from[order[k]]));
        continue;
      }
      // Four sums side by side, in a fixed order.
      double sums[4] = {};
      int k = 0;
      for (; k + 4 <= fold.perEntry; k += 4)
        for (int j = 0; j < 4; ++j) sums[j] += from[order[k + j]];
      for (; k < fold.perEntry; ++k) sums[0] += from[order[k]];
      entry += static_cast<Number>((sums[0] + sums[1]) + (sums[2] + sums[3]));
    }
  }
}

void FoldLanes(const PassPlan& plan, const Kernels& kernels, const PassPlan::Table& table, int rows, const float* from,
               const PassTarget& target, int offset, bool maximize) {
  const int* const pool = plan.pool.data();
  const LaneFold fold{pool + table.bases, rows,           plan.rowLength, plan.paddedLength, pool + table.lanes,
                      pool + table.order, table.perEntry, table.step,     table.run};
  const bool isEven = table.step != 0 && !maximize;
  if (target.wide && isEven)
    kernels.foldLanesWide(target.wide + offset, fold, from);
  else if (target.wide)
    FoldUnevenLanes(fold, from, target.wide + offset, maximize);
  else if (isEven)
    kernels.foldLanesNarrow(target.narrow + offset, fold, from);
  else
    FoldUnevenLanes(fold, from, target.narrow + offset, maximize);
}

void Fold(const PassPlan& plan, const Kernels& kernels, int t, const PassTarget& target, const PassRoom::Run& run,
          float* arena, bool maximize) {
  const PassPlan::Table& table = plan.tables[t];
  float* room = arena + table.room;
  const int offset = run.foldAt, rows = run.foldRows;
  if (table.kind == Kind::WHOLE_ROWS)
    FoldWholeRows(plan, kernels, rows, plan.pool.data() + table.bases, {room, plan.pool.data()}, target, offset,
                  maximize);
  else
    FoldLanes(plan, kernels, table, rows, room, target, offset, maximize);
  std::fill_n(room, rows * plan.paddedLength, 0.0f);
}

void Spread(const PassPlan& plan, const PassPlan::Table& table, int rows, const float* data, float* arena) {
  const int* bases = plan.pool.data() + table.bases;
  const int* lanes = plan.pool.data() + table.lanes;
  float* room = arena + table.room;
  for (int d = 0; d < rows; ++d, room += plan.paddedLength) {
    const float* const entries = data + bases[d];
    int i = 0;
    // All four are read before any is written, as the compiler may not do by itself.
    for (; i + 4 <= plan.rowLength; i += 4) {
      const float four[] = {entries[lanes[i]], entries[lanes[i + 1]], entries[lanes[i + 2]], entries[lanes[i + 3]]};
      std::copy_n(four, 4, room + i);
    }
    for (; i < plan.rowLength; ++i) room[i] = entries[lanes[i]];
  }
}

// The widest version, up to the given one, whose vectors fill the padded rows.
const Kernels& Fitting(const Kernels& best, int paddedLength) {
  const Kernels* kernels = &best;
  while (paddedLength % kernels->lanes != 0) --kernels;
  return *kernels;
}

// The blocks of a plan, or of a slice of it (-1: all), one after another.
class BlockWalk {
 public:
  BlockWalk(const PassPlan& plan, int slice, PassRoom::Run* runs) : plan_(plan), runs_(runs) {
    for (int t = 0; t < plan.tables.size(); ++t) runs[t] = {};
    std::copy(plan.prefixSizes.begin(), plan.prefixSizes.end(), sizes_);
    if (slice < 0) return;
    const int axis = plan.slicedAxis, begin = slice * plan.sliceLength;
    sizes_[axis] = std::min(plan.sliceLength, plan.prefixSizes[axis] - begin);
    if (axis == plan.numPrefix - 1) begin_ = begin;
    for (int t = 0; t < plan.tables.size(); ++t) runs[t].at = begin * plan.prefixStrides[t * plan.numPrefix + axis];
  }
  // Whether the block stands at the end of a cut axis.
  bool IsLast() const {
    return plan_.tailRows != plan_.numRows && begin_ + states_[plan_.numPrefix - 1] == plan_.prefixSizes.back() - 1;
  }
  // Steps on; answers the slowest prefix axis that moved, -1 at the end.
  int Advance() {
    const int tables = plan_.tables.size();
    return StepOn(plan_.numPrefix, sizes_, states_, [&](int axis, int steps) {
      for (int t = 0; t < tables; ++t) runs_[t].at += steps * plan_.prefixStrides[t * plan_.numPrefix + axis];
    });
  }

 private:
  const PassPlan& plan_;
  PassRoom::Run* const runs_;
  int begin_ = 0;  // of the slice, along the fastest prefix axis
  int sizes_[MAX_AXES], states_[MAX_AXES] = {};
};

// The products of one block.
class BlockProduct {
 public:
  // moved: the slowest prefix axis that has moved since the tables were last spread.
  BlockProduct(const PassPlan& plan, const Kernels& kernels, const float* const* factors, PassRoom* room, int moved,
               bool isLast)
      : plan_(plan),
        kernels_(kernels),
        factors_(factors),
        arena_(room->arena.data()),
        runs_(room->tables.data()),
        moved_(moved),
        isLast_(isLast),
        numBlockRows_(isLast ? plan.tailRows : plan.numRows) {}

  // Where the products are: in the potential itself when nothing multiplies it. No data: all are 0.
  Rows Multiply(const float* potential, float lift) {
    float whole = lift;
    for (int f = 1; f <= plan_.numFactors; ++f)
      if (plan_.tables[f].kind == Kind::BLOCK_SCALE) whole *= factors_[f - 1][runs_[f].at];
    if (whole == 0) return {};
    if (potential) from_ = RowsOf(0, potential);
    MultiplyScales(whole);
    MultiplyRows();
    return from_;
  }

 private:
  static constexpr int MAX_FACTORS = 3;  // of a kernel's call

  // The table's rows, spread out anew where its part in the block has changed.
  Rows RowsOf(int t, const float* data) const {
    const PassPlan::Table& table = plan_.tables[t];
    const int* offsets = plan_.pool.data() + table.offsets;
    if (table.kind != Kind::SPREAD) return {data + runs_[t].at, offsets};
    if (moved_ <= table.lastPrefix)
      Spread(plan_, table, isLast_ ? table.tailDistinct : table.numDistinct, data + runs_[t].at, arena_);
    return {arena_ + table.room, offsets};
  }

  // One factor a row, of all tables that have no row axis.
  void MultiplyScales(float whole) {
    float* const scales = arena_ + plan_.scales;
    isScaled_ = whole != 1;
    if (isScaled_) std::fill_n(scales, numBlockRows_, whole);
    for (int f = 1; f <= plan_.numFactors; ++f) {
      const PassPlan::Table& table = plan_.tables[f];
      if (table.kind != Kind::SCALES) continue;
      const float* data = factors_[f - 1] + runs_[f].at;
      const int* offsets = plan_.pool.data() + table.offsets;
      if (isScaled_)
        for (int r = 0; r < numBlockRows_; ++r) scales[r] *= data[offsets[r]];
      else
        for (int r = 0; r < numBlockRows_; ++r) scales[r] = data[offsets[r]];
      isScaled_ = true;
    }
  }

  void MultiplyRows() {
    for (int f = 1; f <= plan_.numFactors; ++f) {
      const Kind kind = plan_.tables[f].kind;
      if (kind == Kind::SCALES || kind == Kind::BLOCK_SCALE) continue;
      const Rows factor = RowsOf(f, factors_[f - 1]);
      if (!from_.data) {
        from_ = factor;
        continue;
      }
      if (numWaiting_ == MAX_FACTORS) Flush();
      waiting_[numWaiting_++] = factor;
    }
    if (!from_.data) {
      std::fill_n(arena_, plan_.numRows * plan_.paddedLength, 1.0f);
      from_ = {arena_, plan_.pool.data()};
    }
    if (numWaiting_ > 0 || isScaled_) Flush();
  }

  void Flush() {
    kernels_.multiply(arena_, numBlockRows_, plan_.paddedLength, from_, isScaled_ ? arena_ + plan_.scales : nullptr,
                      waiting_, numWaiting_);
    from_ = {arena_, plan_.pool.data()};
    numWaiting_ = 0;
    isScaled_ = false;
  }

  const PassPlan& plan_;
  const Kernels& kernels_;
  const float* const* factors_;
  float* const arena_;
  const PassRoom::Run* const runs_;
  const int moved_;
  const bool isLast_;
  const int numBlockRows_;
  bool isScaled_ = false;  // the scales are still to be multiplied in
  Rows from_ = {};
  Rows waiting_[MAX_FACTORS];
  int numWaiting_ = 0;
};

// Runs the blocks of a slice (-1: all). Sums apart go there where they are not NULL.
void RunBlocks(const PassPlan& plan, int slice, const Kernels& best, const float* potential,
               const float* const* factors, const PassTarget* targets, double* sumsApart, PassRoom* room, bool maximize,
               float lift) {
  const Kernels& kernels = Fitting(best, plan.paddedLength);
  const int first = plan.numFactors + 1, tables = plan.tables.size();
  float* const arena = room->arena.data();
  PassRoom::Run* const runs = room->tables.data();
  BlockWalk walk(plan, slice, runs);
  auto targetOf = [&](int t) {
    const int apart = sumsApart ? plan.tables[t].apart : -1;
    return apart < 0 ? targets[t - first] : PassTarget{sumsApart + apart, nullptr};
  };
  // Rows gather from 0.
  for (int t = first; t < tables; ++t) {
    const PassPlan::Table& table = plan.tables[t];
    std::fill_n(arena + table.room, table.numDistinct * plan.paddedLength, 0.0f);
  }
  // Block after block: its products, then what they add to each target, then the step to the next block.
  for (int moved = -1, stale = -1;;) {
    // Where a block was left out, what should have been spread for it is still to do.
    stale = std::min(stale, moved);
    const bool last = walk.IsLast();
    const int rows = last ? plan.tailRows : plan.numRows;
    const Rows products = BlockProduct(plan, kernels, factors, room, stale, last).Multiply(potential, lift);
    if (products.data) {
      stale = plan.numPrefix;
      for (int t = first; t < tables; ++t) {
        const PassPlan::Table& table = plan.tables[t];
        if (table.direct) {
          FoldWholeRows(plan, kernels, rows, plan.pool.data() + table.bases, products, targetOf(t), runs[t].at,
                        maximize);
          continue;
        }
        (maximize ? kernels.maximize : kernels.add)(arena + table.room, plan.pool.data() + table.offsets, rows,
                                                    plan.paddedLength, products);
        runs[t].pending += table.perFold;
        runs[t].foldRows = std::max(runs[t].foldRows, last ? table.tailDistinct : table.numDistinct);
      }
    }
    // Offsets move with the prefix, so what has gathered is folded first where they are about to change.
    for (int t = first; t < tables; ++t) runs[t].foldAt = runs[t].at;
    moved = walk.Advance();
    for (int t = first; t < tables; ++t) {
      const PassPlan::Table& table = plan.tables[t];
      int& pending = runs[t].pending;
      if (pending == 0) continue;
      if (moved >= 0 && moved > table.lastPrefix && pending + table.perFold <= ADDS_BETWEEN_FOLDS) continue;
      Fold(plan, kernels, t, targetOf(t), runs[t], arena, maximize);
      pending = runs[t].foldRows = 0;
    }
    if (moved < 0) return;
  }
}

}  // namespace

void RunSlice(const PassPlan& plan, int slice, const Kernels& kernels, const float* potential,
              const float* const* factors, const PassTarget* targets, double* sumsApart, PassRoom* room, bool maximize,
              float lift) {
  if (slice > 0) std::fill_n(sumsApart, plan.sumsApart, 0.0);
  RunBlocks(plan, slice, kernels, potential, factors, targets, slice > 0 ? sumsApart : nullptr, room, maximize, lift);
}

void AddSumsApart(const PassPlan& plan, const double* sumsApart, const PassTarget* targets, bool maximize) {
  const int first = plan.numFactors + 1, tables = plan.tables.size();
  for (int t = first; t < tables; ++t) {
    const int begin = plan.tables[t].apart;
    if (begin < 0) continue;
    int end = plan.sumsApart;
    for (int u = t + 1; u < tables && end == plan.sumsApart; ++u)
      if (plan.tables[u].apart >= 0) end = plan.tables[u].apart;
    auto addTo = [&](auto* to) {
      using Number = std::remove_pointer_t<decltype(to)>;
      for (int i = begin; i < end; ++i, ++to)
        *to = maximize ? std::max(*to, static_cast<Number>(sumsApart[i])) : static_cast<Number>(*to + sumsApart[i]);
    };
    const PassTarget& target = targets[t - first];
    target.wide ? addTo(target.wide) : addTo(target.narrow);
  }
}

void RunPlan(const PassPlan& plan, const Kernels& kernels, const float* potential, const float* const* factors,
             const PassTarget* targets, PassRoom* room, bool maximize, float lift) {
  if (plan.numSlices == 1)
    return RunBlocks(plan, -1, kernels, potential, factors, targets, nullptr, room, maximize, lift);
  for (int slice = 0; slice < plan.numSlices; ++slice) {
    RunSlice(plan, slice, kernels, potential, factors, targets, room->sums.data(), room, maximize, lift);
    if (slice > 0) AddSumsApart(plan, room->sums.data(), targets, maximize);
  }
}

void RunProduct(const PassPlan& plan, int slice, const Kernels& best, float* to, const float* const* factors,
                PassRoom* room) {
  const Kernels& kernels = Fitting(best, plan.paddedLength);
  PassRoom::Run* const runs = room->tables.data();
  BlockWalk walk(plan, slice, runs);
  const int* offsets = plan.pool.data() + plan.tables[0].offsets;
  for (int moved = -1, stale = -1;;) {
    stale = std::min(stale, moved);
    const bool last = walk.IsLast();
    const int rows = last ? plan.tailRows : plan.numRows;
    const Rows products = BlockProduct(plan, kernels, factors, room, stale, last).Multiply(nullptr, 1);
    if (products.data) stale = plan.numPrefix;
    float* block = to + runs[0].at;
    for (int r = 0; r < rows; ++r) {
      if (products.data)
        std::copy_n(products.data + products.offsets[r], plan.rowLength, block + offsets[r]);
      else
        std::fill_n(block + offsets[r], plan.rowLength, 0.0f);
    }
    moved = walk.Advance();
    if (moved < 0) return;
  }
}

}  // namespace bravic::engine

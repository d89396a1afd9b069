#include "Bn/model/Reshape.h"

#include <algorithm>

#include "Bn/model/Tables.h"

namespace bravic {
namespace {

// The new table's dimensions from the slowest to the fastest, each with the step that its next state makes in the old
// table (0: added parents), in rows. Blocks of `run` rows are contiguous in both.
struct Plan {
  struct Dimension {
    int numstates;
    long long step;
  };
  Vector<Dimension> dimensions;
  long long start = 0;    // old row of the first new row: where the removed parents are held
  long long run = 1;      // rows
  long long numrows = 1;  // of the new table; -1 when there are more than can be counted
};

Plan MakePlan(const bnode& node, std::span<const node_bn> newparents, std::span<const int> inverse) {
  const auto oldparents = Entries(node.preds);
  Vector<long long> steps(oldparents.size());
  Vector<unsigned char> kept(oldparents.size(), 0);
  // Steps in the old table, first parent slowest.
  long long step = 1;
  for (int i = Count(oldparents); i-- > 0;) {
    steps[i] = step;
    step *= oldparents[i]->numstates;
  }
  Plan plan;
  plan.numrows = NumConfigurations(newparents);
  for (int k = 0; k < Count(newparents); ++k) {
    const bool added = inverse[k] < 0;
    if (!added) kept[inverse[k]] = true;
    plan.dimensions.push_back({newparents[k]->numstates, added ? 0 : steps[inverse[k]]});
  }
  for (int i = 0; i < Count(oldparents); ++i) {
    const node_bn parent = oldparents[i];
    if (!kept[i]) plan.start += steps[i] * (parent->state39 < parent->numstates ? parent->state39 : 0);
  }
  // Trailing dimensions that lie in the old table as in the new one go in one piece.
  while (!plan.dimensions.empty() && plan.dimensions.back().step == plan.run) {
    plan.run *= plan.dimensions.back().numstates;
    plan.dimensions.pop_back();
  }
  return plan;
}

// Calls copy(old row, new row) for every run.
template <class Copy>
void ForEachRun(const Plan& plan, Copy copy) {
  Vector<int> states(plan.dimensions.size(), 0);
  long long from = plan.start;
  for (long long to = 0; to < plan.numrows; to += plan.run) {
    copy(from, to);
    for (int k = states.size(); k-- > 0;) {
      // The next state of this dimension, or back to its first state and on to the next slower dimension.
      from += plan.dimensions[k].step;
      if (++states[k] < plan.dimensions[k].numstates) break;
      from -= plan.dimensions[k].step * states[k];
      states[k] = 0;
    }
  }
}

// NULL on shortage. width: entries of a row.
template <class T>
T* Reshape(const T* old, const Plan& plan, int width) {
  const auto w = static_cast<unsigned long long>(width);
  const auto numrows = static_cast<unsigned long long>(plan.numrows);
  if (plan.numrows < 0 || (w && numrows > SIZE_MAX / sizeof(T) / w)) return nullptr;
  auto* table = static_cast<T*>(TryAllocate(static_cast<std::size_t>(numrows * w) * sizeof(T)));
  if (!table) return nullptr;
  const long long length = plan.run * width;
  ForEachRun(plan, [&](long long from, long long to) { std::copy_n(old + from * width, length, table + to * width); });
  return table;
}

}  // namespace

bool ReshapeTables(UndoRecord* undo, node_bn node, std::span<const node_bn> newparents, std::span<const int> inverse) {
  if (!node->probs && !node->numcases && !node->determin && !node->determinv) return true;
  const Plan plan = MakePlan(*node, newparents, inverse);
  bool fine = true;
  // A parent without states leaves no row to carry over.
  const bool anyRow = plan.numrows != 0 && NumRows(*node) != 0;
  const auto reshape = [&](auto* old, int width) {
    if (!old || !anyRow || !fine) return decltype(old){nullptr};
    auto* table = Reshape(old, plan, width);
    fine = table != nullptr;
    return table;
  };
  float* probs = reshape(node->probs, node->numstates);
  float* numcases = reshape(node->numcases, 1);
  statetype* determin = reshape(node->determin, 1);
  float* determinv = reshape(node->determinv, 1);
  ReplaceTables(undo, node, probs, numcases, determin, determinv, node->normalized);
  return fine;
}

}  // namespace bravic

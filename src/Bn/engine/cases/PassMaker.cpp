#include "Bn/engine/cases/PassMaker.h"

#include <algorithm>

#include "Bn/engine/Axes.h"
#include "Bn/engine/CostModel.h"
#include "Bn/engine/cases/Lanes.h"

namespace bravic::engine {

void PassMaker::Begin(std::span<const int> variables) {
  const int n = Count(variables);
  variables_.assign(variables.begin(), variables.end());
  sizes_.resize(n);
  potentialStrides_.resize(n);
  for (int a = 0; a < n; ++a) sizes_[a] = numstates_[variables_[a]];
  ForEachStride(
      variables_, numstates_, [](int) { return true; }, [&](int a, int stride) { potentialStrides_[a] = stride; });
  tables_.clear();
}

PassMaker::Table PassMaker::MakeTable(int slot, std::span<const int> variables, bool isTarget) const {
  Table table{slot, 1, isTarget, Vector<int>(variables_.size(), 0)};
  table.size = ForEachStride(
      variables, numstates_, [](int) { return true; },
      [&](int k, int stride) {
        const auto axis = std::find(variables_.begin(), variables_.end(), variables[k]);
        table.strides[axis - variables_.begin()] = stride;
      });
  return table;
}

void PassMaker::AddFactor(int slot, std::span<const int> variables) {
  tables_.push_back(MakeTable(slot, variables, false));
}

void PassMaker::AddTarget(int slot, std::span<const int> variables) {
  tables_.push_back(MakeTable(slot, variables, true));
}

PassMaker::Met PassMaker::MetAt(const Table& table, const Layout& layout) const {
  if (layout.rowAxis >= 0 && table.strides[layout.rowAxis] != 0) return Met::ENTRY;
  for (int a = 0; a < variables_.size(); ++a)
    if (table.strides[a] != 0 && !layout.ofGroup[a]) return Met::ROW;
  return Met::GROUP;
}

// False where there are no loops for so many tables.
bool PassMaker::FindCost(Layout* layout) const {
  double groups = 1, rows = 1, entries = 1;
  for (int a = 0; a < variables_.size(); ++a) {
    entries *= sizes_[a];
    if (a == layout->rowAxis) continue;
    rows *= sizes_[a];
    if (layout->ofGroup[a]) groups *= sizes_[a];
  }
  double perGroup = cost::CASE_GROUP, perRow = cost::CASE_ROW, perEntry = cost::CASE_ENTRY;
  int factors = 0, targets = 0;
  for (const Table& table : tables_) {
    const double each = table.isTarget ? cost::CASE_TARGET : cost::CASE_FACTOR;
    switch (MetAt(table, *layout)) {
      case Met::GROUP:
        perGroup += each + cost::CASE_OFFSET;
        break;
      case Met::ROW:
        perRow += each + cost::CASE_OFFSET;
        break;
      default:
        perEntry += each;
        perRow += cost::CASE_OFFSET;
        ++(table.isTarget ? targets : factors);
    }
  }
  layout->cost = groups * perGroup + rows * perRow + entries * perEntry;
  return factors <= MOST_ENTRY_FACTORS && targets <= MOST_ENTRY_TARGETS;
}

// Every variable is tried for rows, and for groups the variables of each table, or none.
PassMaker::Layout PassMaker::ChooseLayout() const {
  const int n = variables_.size();
  Layout best;
  auto consider = [&](Layout layout) {
    if (layout.rowAxis >= 0) layout.ofGroup[layout.rowAxis] = 0;
    if (FindCost(&layout) && (best.cost < 0 || layout.cost < best.cost)) best = std::move(layout);
  };
  for (int axis = -1; axis < n; ++axis) {
    consider({axis, Vector<unsigned char>(n, 0), 0});
    for (const Table& table : tables_) {
      Vector<unsigned char> ofGroup(n, 0);
      for (int a = 0; a < n; ++a) ofGroup[a] = table.strides[a] != 0;
      consider({axis, std::move(ofGroup), 0});
    }
  }
  return best;
}

// Whether some row of the layout has no positive entry.
bool PassMaker::HasZeroRow(const Layout& layout, std::span<const double> potential) const {
  const int length = layout.rowAxis < 0 ? 1 : sizes_[layout.rowAxis];
  const int stride = layout.rowAxis < 0 ? 1 : potentialStrides_[layout.rowAxis];
  Vector<unsigned char> isPositive(potential.size() / length, 0);
  for (int k = 0; k < Count(potential); ++k)
    if (potential[k] > 0) isPositive[k / (stride * length) * stride + k % stride] = 1;
  return std::find(isPositive.begin(), isPositive.end(), 0) != isPositive.end();
}

// A target with an entry for every group, or for every row, is met once at each. Rows of zeros are left out.
void PassMaker::FindStored(const Layout& layout, std::span<const double> potential) {
  double groups = 1, rows = 1;
  for (int a = 0; a < variables_.size(); ++a) {
    if (a == layout.rowAxis) continue;
    rows *= sizes_[a];
    if (layout.ofGroup[a]) groups *= sizes_[a];
  }
  const bool hasZeroRow = HasZeroRow(layout, potential);
  for (Table& table : tables_) {
    const Met met = MetAt(table, layout);
    table.isStored = table.isTarget && ((met == Met::GROUP && table.size == groups) ||
                                        (met == Met::ROW && table.size == rows && !hasZeroRow));
  }
}

// Rows without a positive entry are left out.
void PassMaker::WriteRows(const Layout& layout, std::span<const double> potential, CasePass* pass) {
  Vector<int>& pool = program_.pool;
  Vector<int> rows;
  int outer[MAX_AXES], inner[MAX_AXES], numOuter = 0, numInner = 0;
  for (int a = 0; a < variables_.size(); ++a)
    if (a != layout.rowAxis) (layout.ofGroup[a] ? outer[numOuter++] : inner[numInner++]) = a;
  // What most targets have goes fastest: a sum waits for the one before it in the same place.
  auto numTargets = [&](int a) {
    return std::count_if(tables_.begin(), tables_.end(),
                         [&](const Table& t) { return t.isTarget && t.strides[a] != 0; });
  };
  std::sort(inner, inner + numInner, [&](int a, int b) {
    const auto ofA = numTargets(a), ofB = numTargets(b);
    return ofA != ofB ? ofA < ofB : a < b;
  });
  const int rowStride = layout.rowAxis < 0 ? 0 : potentialStrides_[layout.rowAxis];
  auto offset = [&](std::span<const int> strides, const int* states) {
    int sum = 0;
    for (int a = 0; a < variables_.size(); ++a) sum += states[a] * strides[a];
    return sum;
  };
  // Targets that are stored come first.
  auto write = [&](Met met, bool isTarget, const int* states, Vector<int>* to) {
    for (const bool isStored : {true, false})
      for (const Table& table : tables_)
        if (table.isTarget == isTarget && table.isStored == isStored && MetAt(table, layout) == met)
          to->push_back((table.slot + offset(table.strides, states)) * program_.slotBytes);
  };
  // Calls visit for all states of some axes.
  auto forAll = [&](int count, const int* axes, int* states, auto visit) {
    int sizes[MAX_AXES], at[MAX_AXES] = {};
    for (int k = 0; k < count; ++k) sizes[k] = sizes_[axes[k]];
    do visit();
    while (StepOn(count, sizes, at, [&](int k, int steps) { states[axes[k]] += steps; }) >= 0);
  };
  int states[MAX_AXES] = {};
  pass->groups = pool.size();
  pass->potential = program_.potentials.size();
  forAll(numOuter, outer, states, [&] {
    const int numRows = pool.size();
    pool.push_back(0);
    forAll(numInner, inner, states, [&] {
      const double* entries = potential.data() + offset(potentialStrides_, states);
      bool isZero = true;
      for (int k = 0; k < pass->rowLength; ++k) isZero &= !(entries[k * rowStride] > 0);
      if (isZero) return;
      for (int k = 0; k < pass->rowLength; ++k) program_.potentials.push_back(entries[k * rowStride]);
      ++pool[numRows];
      write(Met::ROW, false, states, &rows);
      write(Met::ROW, true, states, &rows);
      write(Met::ENTRY, false, states, &rows);
      write(Met::ENTRY, true, states, &rows);
    });
    ++pass->numGroups;
    write(Met::GROUP, false, states, &pool);
    write(Met::GROUP, true, states, &pool);
  });
  pass->rows = pool.size();
  pool.insert(pool.end(), rows.begin(), rows.end());
}

// How often each is met, the steps of those met at every entry, and what is to be cleared.
void PassMaker::WriteTables(const Layout& layout, CasePass* pass) {
  Vector<int>& pool = program_.pool;
  pass->steps = pool.size();
  for (const Table& table : tables_) {
    CasePass::Numbers& numbers = table.isTarget ? pass->targets : pass->factors;
    switch (MetAt(table, layout)) {
      case Met::GROUP:
        ++numbers.ofGroup;
        pass->stored.ofGroup += table.isStored;
        break;
      case Met::ROW:
        ++numbers.ofRow;
        pass->stored.ofRow += table.isStored;
        break;
      default:
        ++numbers.ofEntry;
        pool.push_back(table.strides[layout.rowAxis] * program_.slotBytes);
    }
  }
  pass->cleared = pool.size();
  for (const Table& table : tables_) {
    if (!table.isTarget || table.isStored) continue;
    pool.push_back(table.slot);
    pool.push_back(table.size);
    ++pass->numCleared;
  }
}

int PassMaker::Make(std::span<const double> potential) {
  const Layout layout = ChooseLayout();
  FindStored(layout, potential);
  CasePass pass;
  if (layout.rowAxis >= 0) pass.rowLength = sizes_[layout.rowAxis];
  WriteTables(layout, &pass);
  WriteRows(layout, potential, &pass);
  program_.passes.push_back(pass);
  return program_.passes.size() - 1;
}

}  // namespace bravic::engine

#include "Bn/engine/learn/FamilyTally.h"

#include <algorithm>

namespace bravic::engine {

FamilyTally::FamilyTally(std::span<const TalliedFamily> families) : families_(families) {
  constexpr std::uint32_t SMALL = 4096;  // entries
  for (const TalliedFamily& family : families_) {
    Table table{numSums_, numIntegers_, family.size <= SMALL ? COPIES : 1U};
    numSums_ += family.size + 1;
    numIntegers_ += static_cast<std::size_t>(family.size + 1) * table.numCopies;
    tables_.push_back(table);
    for (int column : family.columns) {
      if (column >= placeOf_.size()) placeOf_.resize(column + 1, -1);
      if (placeOf_[column] >= 0) continue;
      placeOf_[column] = wanted_.size();
      wanted_.push_back(column);
    }
  }
  sums_ = TryMakeBlock<double>(numSums_);
  integers_ = TryMakeBlock<std::uint32_t>(numIntegers_);
  turned_ = TryMakeBlock<std::int32_t>(static_cast<std::size_t>(wanted_.size()) * PADDED_ROWS);
  isMade_ = sums_ && integers_ && turned_;
  if (!isMade_) return;
  std::fill_n(sums_.get(), numSums_, 0.0);
  std::fill_n(integers_.get(), numIntegers_, 0U);
}

// Rows into columns, a few cache lines of each at a time.
void FamilyTally::TurnRows(const int* states, int width, int numRows) {
  const int numWanted = wanted_.size();
  const int* const wanted = wanted_.data();
  for (int row = 0; row < numRows; ++row, states += width) {
    std::int32_t* to = turned_.get() + row;
    for (int k = 0; k < numWanted; ++k, to += PADDED_ROWS) *to = states[wanted[k]];
  }
}

// A case with a missing member has the place behind the last.
void FamilyTally::FindPlaces(const TalliedFamily& family, int numRows) {
  const auto column = [&](int member) {
    return turned_.get() + static_cast<std::size_t>(placeOf_[family.columns[member]]) * PADDED_ROWS;
  };
  std::int32_t missing[ROWS];  // less than 0 where a member is
  std::copy_n(column(0), numRows, missing);
  std::copy_n(column(0), numRows, places_);
  for (int member = 1; member < family.columns.size(); ++member) {
    const std::int32_t* const states = column(member);
    const auto size = static_cast<std::uint32_t>(family.sizes[member]);
    for (int row = 0; row < numRows; ++row) {
      missing[row] |= states[row];
      places_[row] = places_[row] * size + static_cast<std::uint32_t>(states[row]);
    }
  }
  for (int row = 0; row < numRows; ++row) places_[row] = missing[row] < 0 ? family.size : places_[row];
}

void FamilyTally::CountBlock(const double* weights, int numRows) {
  for (int f = 0; f < Count(families_); ++f) {
    FindPlaces(families_[f], numRows);
    const Table& table = tables_[f];
    if (weights) {
      double* const sums = sums_.get() + table.sums;
      for (int row = 0; row < numRows; ++row) sums[places_[row]] += weights[row];
      continue;
    }
    std::uint32_t* const counts = integers_.get() + table.integers;
    int row = 0;
    if (table.numCopies == COPIES) {
      const std::size_t size = families_[f].size + 1;
      for (; row + COPIES <= numRows; row += COPIES)
        for (std::size_t copy = 0; copy < COPIES; ++copy) ++counts[copy * size + places_[row + copy]];
    }
    for (; row < numRows; ++row) ++counts[places_[row]];
  }
}

bool FamilyTally::Add(const int* states, int width, const double* weights, std::ptrdiff_t numCases,
                      const ProgressFunction& progress) {
  constexpr std::ptrdiff_t BLOCKS_BETWEEN_LOOKS = 16, MOST_TAKEN = 0x7FFFFFFF;
  for (std::ptrdiff_t first = 0; first < numCases; first += ROWS) {
    if (first / ROWS % BLOCKS_BETWEEN_LOOKS == 0 && progress &&
        progress(static_cast<double>(first) / static_cast<double>(numCases)))
      return false;
    const int numRows = static_cast<int>(std::min<std::ptrdiff_t>(ROWS, numCases - first));
    TurnRows(states + first * width, width, numRows);
    CountBlock(weights ? weights + first : nullptr, numRows);
    if (weights) continue;
    numTaken_ += numRows;
    if (numTaken_ > MOST_TAKEN) TakeIntegers();
  }
  TakeIntegers();
  return true;
}

// Before they grow too large.
void FamilyTally::TakeIntegers() {
  for (int f = 0; f < Count(families_); ++f) {
    const std::size_t size = families_[f].size + 1;
    const std::uint32_t* counts = integers_.get() + tables_[f].integers;
    double* const sums = sums_.get() + tables_[f].sums;
    for (std::uint32_t copy = 0; copy < tables_[f].numCopies; ++copy, counts += size)
      for (std::size_t i = 0; i < size; ++i) sums[i] += counts[i];
  }
  std::fill_n(integers_.get(), numIntegers_, 0U);
  numTaken_ = 0;
}

void FamilyTally::AddTo(double* counts, double most) const {
  for (int f = 0; f < Count(families_); ++f) {
    const double* const sums = sums_.get() + tables_[f].sums;
    double* const to = counts + families_[f].first;
    for (std::uint32_t i = 0; i < families_[f].size; ++i) to[i] = std::min(to[i] + sums[i], most);
  }
}

}  // namespace bravic::engine

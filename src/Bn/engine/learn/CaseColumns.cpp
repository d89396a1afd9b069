#include "Bn/engine/learn/CaseColumns.h"

#include <algorithm>
#include <cmath>

namespace bravic::engine {

namespace {

// Merged if that leaves at most one row of so many.
constexpr std::ptrdiff_t WORTH_MERGING = 8;

int BytesFor(int numStates) {
  if (numStates < 0xFF) return 1;
  return numStates < 0xFFFF ? 2 : 4;
}

}  // namespace

CaseColumns::CaseColumns(std::span<const int> numstates) {
  columns_.resize(numstates.size());
  for (int i = 0; i < columns_.size(); ++i) {
    columns_[i].numStates = numstates[i];
    columns_[i].bytes = BytesFor(numstates[i]);
  }
}

bool CaseColumns::MakeRoom(std::ptrdiff_t numRows) {
  constexpr std::ptrdiff_t LEAST = 64;
  if (numRows <= room_) return true;
  const std::ptrdiff_t room = std::max({numRows, 2 * room_, LEAST});
  for (Column& column : columns_) {
    Block<unsigned char> cells = TryMakeBlock<unsigned char>(static_cast<std::size_t>(room) * column.bytes);
    if (!cells) return false;
    if (numRows_ > 0) std::memcpy(cells.get(), column.cells.get(), static_cast<std::size_t>(numRows_) * column.bytes);
    column.cells = std::move(cells);
  }
  Block<double> given = TryMakeBlock<double>(room);
  if (!given) return false;
  std::copy_n(given_.get(), numRows_, given.get());
  given_ = std::move(given);
  room_ = room;
  return true;
}

bool CaseColumns::Add(const CaseRows& rows) {
  if (rows.numCases == 0) return true;  // their states may be nowhere
  std::ptrdiff_t numKept = rows.numCases;
  const double* weights = rows.weights;
  if (weights) numKept -= std::count(weights, weights + rows.numCases, 0.0);
  if (!MakeRoom(numRows_ + numKept)) return false;
  hasWeights_ = hasWeights_ || weights;
  for (int i = 0; i < columns_.size(); ++i) {
    Column& column = columns_[i];
    const int from = rows.columns[i];
    const auto fill = [&](auto* to) {
      using Cell = std::remove_pointer_t<decltype(to)>;
      to += numRows_;
      const int* state = from < 0 ? nullptr : rows.states + from;
      for (std::ptrdiff_t row = 0; row < rows.numCases; ++row) {
        if (weights && weights[row] == 0) continue;
        const int at = state ? state[row * rows.width] : -1;
        column.numMissing += at < 0;
        *to++ = static_cast<Cell>(at < 0 ? column.numStates : at);
      }
    };
    unsigned char* cells = column.cells.get();
    if (column.bytes == 1) {
      fill(reinterpret_cast<std::uint8_t*>(cells));
    } else if (column.bytes == 2) {
      fill(reinterpret_cast<std::uint16_t*>(cells));
    } else {
      fill(reinterpret_cast<std::uint32_t*>(cells));
    }
  }
  for (std::ptrdiff_t row = 0, to = numRows_; row < rows.numCases; ++row)
    if (!weights || weights[row] != 0) given_[to++] = weights ? weights[row] : 1;
  numRows_ += numKept;
  return true;
}

bool CaseColumns::Finish() {
  for (int i = 0; i < columns_.size(); ++i) {
    Column& column = columns_[i];
    column.isConstant = With(i, [&](const auto* cells) {
      const auto missing = static_cast<unsigned>(column.numStates);
      const auto* end = cells + numRows_;
      const auto* first = std::find_if(cells, end, [&](auto cell) { return cell != missing; });
      return std::all_of(first, end, [&](auto cell) { return cell == *first || cell == missing; });
    });
  }
  if (!SetWeights()) return false;
  given_.reset();
  return numRows_ == 0 || MergeEqual();
}

// The unit is 1 where all weights are whole numbers, else so small that their sum still fits into a double.
bool CaseColumns::SetWeights() {
  constexpr int SUM_BITS = 52;
  total_ = numRows_;
  if (!hasWeights_) return true;
  double sum = 0;
  bool areWhole = true;
  for (std::ptrdiff_t row = 0; row < numRows_; ++row) {
    sum += given_[row];
    areWhole = areWhole && given_[row] == std::floor(given_[row]);
  }
  int exponent;
  std::frexp(sum, &exponent);
  if (!areWhole || exponent > SUM_BITS) unit_ = std::ldexp(1.0, std::max(exponent - SUM_BITS, -1000));
  weights_ = TryMakeBlock<std::int64_t>(numRows_ + 1);
  if (!weights_) return false;
  total_ = 0;
  for (std::ptrdiff_t row = 0; row < numRows_; ++row)
    total_ += weights_[row] = static_cast<std::int64_t>(given_[row] / unit_ + 0.5);
  return true;
}

bool CaseColumns::AreEqual(std::ptrdiff_t a, std::ptrdiff_t b) const {
  for (int i = 0; i < columns_.size(); ++i)
    if (State(i, a) != State(i, b)) return false;
  return true;
}

void CaseColumns::Hash(std::uint64_t* hashes) const {
  constexpr std::uint64_t FACTOR = 0x9E3779B97F4A7C15u;
  std::fill_n(hashes, numRows_, std::uint64_t{1});
  for (int i = 0; i < columns_.size(); ++i) {
    With(i, [&](const auto* cells) {
      for (std::ptrdiff_t row = 0; row < numRows_; ++row) {
        const std::uint64_t mixed = (hashes[row] ^ cells[row]) * FACTOR;
        hashes[row] = mixed ^ (mixed >> 29);
      }
    });
  }
}

// Rows move up to where the first of their kinds stand. What is found too different after all is left alone.
bool CaseColumns::MergeEqual() {
  const std::ptrdiff_t most = numRows_ / WORTH_MERGING;
  if (most < 1) return true;
  std::ptrdiff_t size = 1;
  while (size < 2 * most + 2) size *= 2;
  const auto hashes = TryMakeBlock<std::uint64_t>(numRows_);
  const auto table = TryMakeBlock<std::ptrdiff_t>(size);  // places of kinds, less than 0: none
  const auto firsts = TryMakeBlock<std::ptrdiff_t>(most + 1);
  auto merged = TryMakeBlock<std::int64_t>(most + 1);
  if (!hashes || !table || !firsts || !merged) return false;
  Hash(hashes.get());
  std::fill_n(table.get(), size, std::ptrdiff_t{-1});
  std::ptrdiff_t numKinds = 0;
  for (std::ptrdiff_t row = 0; row < numRows_; ++row) {
    auto at = static_cast<std::ptrdiff_t>(hashes[row] >> 11) & (size - 1);
    while (table[at] >= 0 && (hashes[firsts[table[at]]] != hashes[row] || !AreEqual(firsts[table[at]], row)))
      at = (at + 1) & (size - 1);
    if (table[at] < 0) {
      if (numKinds == most) return true;
      table[at] = numKinds;
      firsts[numKinds] = row;
      merged[numKinds++] = 0;
    }
    merged[table[at]] += weights_ ? weights_[row] : 1;
  }
  for (int i = 0; i < columns_.size(); ++i) {
    Column& column = columns_[i];
    for (std::ptrdiff_t kind = 0; kind < numKinds; ++kind)
      std::memmove(column.cells.get() + kind * column.bytes, column.cells.get() + firsts[kind] * column.bytes,
                   static_cast<std::size_t>(column.bytes));
  }
  weights_ = std::move(merged);
  numRows_ = numKinds;
  return true;
}

void CountFamily(const CaseColumns& cases, int node, std::span<const int> parents, double* counts) {
  std::size_t size = static_cast<std::size_t>(cases.NumStates(node));
  for (int parent : parents) size *= static_cast<std::size_t>(cases.NumStates(parent));
  std::fill_n(counts, size, 0.0);
  Vector<int> family(parents.begin(), parents.end());
  family.push_back(node);
  for (std::ptrdiff_t row = 0; row < cases.NumRows(); ++row) {
    std::size_t at = 0;
    bool isComplete = true;
    for (int member : family) {
      const int state = cases.State(member, row), states = cases.NumStates(member);
      isComplete = isComplete && state < states;
      at = at * static_cast<std::size_t>(states) + static_cast<std::size_t>(state);
    }
    if (isComplete) counts[at] += cases.Weights() ? static_cast<double>(cases.Weights()[row]) : 1;
  }
  for (std::size_t k = 0; k < size; ++k) counts[k] *= cases.Unit();
}

}  // namespace bravic::engine

#include "formats/NoisyMax.h"

#include "formats/MemoryLimit.h"

namespace formats {
namespace {

// Turns a column into its sums from the last entry upward: how probable it is that the effect is no stronger.
void SumUpward(double* column, int size) {
  for (int y = size - 2; y >= 0; --y) column[y] += column[y + 1];
}

}  // namespace

std::vector<double> NoisyMaxTable(const NoisyMax& model) {
  const int size = model.numStates;
  std::vector<double> sums = model.parameters;
  for (std::size_t at = 0; at < sums.size(); at += static_cast<std::size_t>(size)) SumUpward(&sums[at], size);
  // Of each parent and state, where its column stands.
  std::vector<std::vector<const double*>> columns;
  const double* column = sums.data();
  std::size_t numRows = 1;
  for (const std::vector<int>& order : model.strengths) {
    numRows *= order.size();
    columns.emplace_back(order.size());
    for (int state : order) {
      columns.back()[static_cast<std::size_t>(state)] = column;
      column += size;
    }
  }
  const double* const leak = column;

  ClaimNumbers(static_cast<double>(numRows) * size);
  std::vector<double> table, product(static_cast<std::size_t>(size) + 1);
  table.reserve(numRows * static_cast<std::size_t>(size));
  std::vector<std::size_t> states(columns.size());
  for (std::size_t row = 0; row < numRows; ++row) {
    product.assign(leak, leak + size);
    product.push_back(0);
    for (std::size_t k = 0; k < columns.size(); ++k) {
      for (int y = 0; y < size; ++y) product[static_cast<std::size_t>(y)] *= columns[k][states[k]][y];
    }
    for (std::size_t y = 0; y + 1 < product.size(); ++y) table.push_back(product[y] - product[y + 1]);
    for (std::size_t k = columns.size(); k-- > 0 && ++states[k] == columns[k].size();) states[k] = 0;
  }
  return table;
}

}  // namespace formats

#include "Bn/engine/infer/NodeTables.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace bravic::engine {

bool IsDistribution(const float* row, int numstates, double* scale) {
  // What misses 1 by more was not meant to sum to it.
  constexpr double UNNORMALIZED = 1e-5;
  // Several sums side by side, in a fixed order, so that long rows do not wait for each step.
  constexpr int LANES = 4;
  double sums[LANES] = {};
  float leasts[LANES] = {};
  int k = 0;
  auto take = [&](int lane, float entry) {
    leasts[lane] = std::min(leasts[lane], entry);
    sums[lane] += static_cast<double>(entry);
  };
  for (; k + LANES <= numstates; k += LANES)
    for (int lane = 0; lane < LANES; ++lane) take(lane, row[k + lane]);
  for (int lane = 0; k < numstates; ++k, ++lane) take(lane, row[k]);
  const double sum = (sums[0] + sums[1]) + (sums[2] + sums[3]);
  const float least = std::min(std::min(leasts[0], leasts[1]), std::min(leasts[2], leasts[3]));
  const bool isProper = least >= 0 && std::abs(sum - 1) < UNNORMALIZED;
  *scale = isProper ? 1 / sum : least < 0 ? 0 : 1;
  return isProper;
}

NodeTables::NodeTables(const Structure& structure) : structure_(structure), facts_(structure.NumNodes()) {}

void NodeTables::Set(TableSource source, const CutTables* cut) {
  source_ = std::move(source);
  cut_ = cut;
  for (TableFacts& facts : facts_) facts.known = false;
}

// What is left of a row after the cut does not tell its sum any more.
bool NodeTables::IsDistributionOf(int node, const float* row, double* scale) const {
  if (!cut_ || !cut_->known[node]) return IsDistribution(row, structure_.numstates[node], scale);
  const double* scales = KeptScales(node);
  *scale = scales ? scales[row - source_(node)] : 1;
  return false;
}

// Of the rows of a table, if they were found before.
const double* NodeTables::KeptScales(int node) const {
  if (!cut_) return facts_[node].known && !facts_[node].scales.empty() ? facts_[node].scales.data() : nullptr;
  return cut_->tables[node].empty() ? cut_->from[node].scales : cut_->scales[node].data();
}

const Vector<double>& NodeTables::ScalesOf(int node) {
  FactsOf(node);
  Vector<double>& scales = facts_[node].scales;
  const float* table = source_(node);
  if (!table || !scales.empty()) return scales;
  const int own = structure_.numstates[node], numRows = structure_.TableSize(node) / own;
  scales.resize(numRows);
  for (int row = 0; row < numRows; ++row) IsDistribution(table + row * own, own, &scales[row]);
  return scales;
}

const TableFacts& NodeTables::FactsOf(int node) {
  TableFacts& facts = facts_[node];
  if (facts.known) return facts;
  facts = {};
  facts.known = true;
  const float* table = source_(node);
  if (!table) return facts;
  if (cut_ && cut_->from[node].serves) {
    facts.informs = cut_->known[node] != 0;
    facts.low = cut_->from[node].low;
    return facts;
  }
  const int own = structure_.numstates[node], size = structure_.TableSize(node);
  // A sum that misses 1 by no more is as near as floats come.
  constexpr double NORMALIZED = 6e-8;
  float least = 1;
  for (int begin = 0; begin < size; begin += own) {
    for (int k = begin; k < begin + own; ++k)
      if (table[k] > 0) least = std::min(least, table[k]);
    double scale;
    facts.informs |= !IsDistributionOf(node, table + begin, &scale);
    if (std::abs(scale - 1) < NORMALIZED) continue;
    if (facts.cleaned.empty()) facts.cleaned.assign(table, table + size);
    for (int k = begin; k < begin + own; ++k) facts.cleaned[k] = scale == 0 ? 0 : static_cast<float>(scale * table[k]);
  }
  // Scaling moves what is small by less than a factor of 2.
  facts.low = std::ilogb(least) - !facts.cleaned.empty();
  return facts;
}

}  // namespace bravic::engine

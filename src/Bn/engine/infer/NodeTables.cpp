#include "Bn/engine/infer/NodeTables.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace bravic::engine {

bool IsDistribution(const float* row, int numstates, double* scale) {
  // What misses 1 by more was not meant to sum to it.
  constexpr double UNNORMALIZED = 1e-5;
  double sum = 0;
  float least = 0;
  for (int s = 0; s < numstates; ++s) {
    least = std::min(least, row[s]);
    sum += row[s];
  }
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
  const Vector<double>& scales = cut_->scales[node];
  *scale = scales.empty() ? 1 : scales[row - cut_->tables[node].data()];
  return false;
}

const TableFacts& NodeTables::FactsOf(int node) {
  TableFacts& facts = facts_[node];
  if (facts.known) return facts;
  facts = {};
  facts.known = true;
  const float* table = source_(node);
  if (!table) return facts;
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

#include "Bn/engine/infer/Marginals.h"

#include <algorithm>

namespace bravic::engine {

bool Marginals::Normalize(const double* from, std::span<float> to) const {
  double whole = 0;
  for (std::size_t i = 0; i < to.size(); ++i) whole = mode_.maximize ? std::max(whole, from[i]) : whole + from[i];
  if (!(whole > 0)) {
    std::fill(to.begin(), to.end(), 0.0f);
    return false;
  }
  for (std::size_t i = 0; i < to.size(); ++i) to[i] = static_cast<float>(from[i] / whole);
  return true;
}

bool Marginals::NormalizeSurely(const double* from, int lost, std::span<float> to) const {
  return (lost == NO_LOSS || JudgeEach(from, to.size(), lost) == Outcome::GOOD) && Normalize(from, to);
}

bool Marginals::Read(const double* table, std::span<const int> variables, int node, int lost, std::span<float> to) {
  // The table as [what comes before the node][the node][what comes after it].
  int outer = 1, inner = 1;
  bool passed = false;
  for (int v : variables) {
    if (v == node)
      passed = true;
    else if (findings_.IsFree(v))
      (passed ? inner : outer) *= structure_.numstates[v];
  }
  if (outer == 1 && inner == 1) return NormalizeSurely(table, lost, to);
  sums_.assign(to.size(), 0.0);
  for (int o = 0; o < outer; ++o) {
    for (std::size_t s = 0; s < to.size(); ++s) {
      double sum = sums_[s];
      for (int i = 0; i < inner; ++i, ++table) sum = mode_.maximize ? std::max(sum, *table) : sum + *table;
      sums_[s] = sum;
    }
  }
  // What many entries lack adds up in their sum.
  if (lost != NO_LOSS && !mode_.maximize) lost += Exponent(outer * inner);
  return NormalizeSurely(sums_.data(), lost, to);
}

Outcome Marginals::ReadAll(const double* table, std::span<const int> variables, int lost, const BeliefPlace& out) {
  for (int node : variables) {
    if (!findings_.IsFree(node)) continue;
    float* belief = out(node);
    if (belief && !Read(table, variables, node, lost, std::span(belief, structure_.numstates[node])))
      return Outcome::DOUBTFUL;
  }
  return Outcome::GOOD;
}

}  // namespace bravic::engine

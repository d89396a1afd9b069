#include "Bn/engine/learn/ScoreTerms.h"

#include <algorithm>
#include <cmath>

#include "Basic/Logarithm.h"

namespace bravic::engine {

ScoreTerms::ScoreTerms(ScoreKind kind, double prior, std::int64_t totalUnits, double unit)
    : kind_(kind), prior_(prior), unit_(unit) {
  const double total = std::max(static_cast<double>(totalUnits) * unit, 1.0);
  // Neither the entries' terms nor the configurations' come to more in any sum.
  constexpr double LARGEST_LOG = 600;
  constexpr int SUM_BITS = 61, MOST_BITS = 40;
  int exponent;
  std::frexp(total * (NaturalLog(total) + LARGEST_LOG), &exponent);
  scale_ = std::ldexp(1.0, std::min(SUM_BITS - exponent, MOST_BITS));
  step_ = 1 / scale_;
  if (kind == ScoreKind::BIC) penalty_ = NaturalLog(total) / 2;
  if (kind == ScoreKind::BDEU) return;
  constexpr std::int64_t MOST_KEPT = 1 << 20;
  const std::int64_t size = std::min(totalUnits + 1, MOST_KEPT);
  table_ = TryMakeBlock<std::int64_t>(static_cast<std::size_t>(size));
  if (!table_) return;
  for (std::int64_t count = 0; count < size; ++count)
    table_[static_cast<std::size_t>(count)] = Rounded(TimesLog(count));
  tableSize_ = size;
}

std::int64_t ScoreTerms::Rounded(double term) const {
  return static_cast<std::int64_t>(std::floor(term * scale_ + 0.5));
}

double ScoreTerms::TimesLog(std::int64_t count) const {
  if (count == 0) return 0;
  const double n = static_cast<double>(count) * unit_;
  return n * NaturalLog(n);
}

// The logarithm of the gamma function at prior + count over that at prior.
double ScoreTerms::LogRising(double prior, std::int64_t count) const {
  constexpr int FEW = 12;
  if (count == 0) return 0;
  const double n = static_cast<double>(count) * unit_;
  if (unit_ != 1 || count > FEW) return LogGammaFunction(prior + n) - LogGammaFunction(prior);
  double product = prior;
  for (int k = 1; k < count; ++k) product *= prior + k;
  return NaturalLog(product);
}

double ScoreTerms::Score(std::int64_t sum, double numConfigs, int numStates) const {
  return static_cast<double>(sum) * step_ - Penalty(numConfigs, numStates);
}

}  // namespace bravic::engine

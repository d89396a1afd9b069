// The terms of which scores of families are made, as whole numbers of a small unit, so that their sums do not depend on
// the order in which they are added.
#pragma once

#include <cstdint>

#include "Basic/Memory.h"

namespace bravic::engine {

enum class ScoreKind { BIC, BDEU, LOG_LIKELIHOOD };

// What a candidate parent makes of a node's score, over the cases in which it, the node and its other parents are
// known: the sum of terms with it and without it, and the weight of those cases in units of the data set.
struct CandidateSums {
  std::int64_t with = 0, without = 0, weight = 0;
};

class ScoreTerms {
 public:
  // totalUnits: weight of all cases, in units.
  ScoreTerms(ScoreKind kind, double prior, std::int64_t totalUnits, double unit);

  // Of a node's number of cases with one state in one configuration of its parents, and of the number in the
  // configuration. prior: what the score expects there (EntryPrior, ConfigPrior).
  std::int64_t OfEntry(std::int64_t count, double prior) const {
    if (count < tableSize_) return table_[static_cast<std::size_t>(count)];
    return kind_ == ScoreKind::BDEU ? Rounded(LogRising(prior, count)) : Rounded(TimesLog(count));
  }
  std::int64_t OfConfig(std::int64_t count, double prior) const { return -OfEntry(count, prior); }
  double ConfigPrior(double numConfigs) const { return std::max(prior_ / numConfigs, LEAST_PRIOR); }
  double EntryPrior(double numConfigs, int numStates) const {
    return std::max(prior_ / numConfigs / numStates, LEAST_PRIOR);
  }
  // The score of a sum of terms. numConfigs: that the parents may have.
  double Score(std::int64_t sum, double numConfigs, int numStates) const;
  // The part of it that BIC takes off.
  double Penalty(double numConfigs, int numStates) const { return penalty_ * (numConfigs * (numStates - 1)); }

 private:
  static constexpr double LEAST_PRIOR = 1e-250;

  std::int64_t Rounded(double term) const;
  double TimesLog(std::int64_t count) const;
  double LogRising(double prior, std::int64_t count) const;

  ScoreKind kind_;
  double prior_, unit_;
  double scale_ = 1, step_ = 1;  // units of terms in 1, and the reverse
  double penalty_ = 0;           // of a free parameter
  Block<std::int64_t> table_;    // [tableSize] terms of small counts
  std::int64_t tableSize_ = 0;
};

}  // namespace bravic::engine

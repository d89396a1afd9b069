// Tables learned from cases with missing cells by expectation and maximization (EM): counts are expected by the tables
// there are, tables made of the counts, and so on. While it goes on the tables are this module's own, so that the net
// stays as it is until the end.
#pragma once

#include "Bn/learn/CountCases.h"
#include "Win_Face/FileSpec.h"

namespace bravic {

struct EmOptions {
  int maxIterations;
  double tolerance;       // share of the log likelihood
  double prior;           // cases a row
  double* logLikelihood;  // or NULL
};

// Answers the number of iterations; -1 with an error posted. The second reads the cases of a file.
int LearnByEm(const WeightedCases& cases, std::span<const node_bn> nodes, const EmOptions& options);
int LearnFileByEm(filespec_ns file, std::span<const node_bn> nodes, const EmOptions& options);

}  // namespace bravic

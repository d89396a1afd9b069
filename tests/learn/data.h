// Data sets for tests of learning, and scores by the plain formulas.
#pragma once

#include "Bn/engine/learn/CaseColumns.h"
#include "Bn/engine/learn/ScoreTerms.h"
#include "support/random.h"
#include "support/test.h"

namespace bravic::testing {

struct Data {
  std::vector<int> numstates;
  std::vector<int> states;  // [case][node], -1 where missing
  std::vector<double> weights;

  int NumNodes() const { return int(numstates.size()); }
  std::size_t NumCases() const { return states.size() / numstates.size(); }
  int State(std::size_t number, int node) const { return states[number * numstates.size() + std::size_t(node)]; }
  double Weight(std::size_t number) const { return weights.empty() ? 1 : weights[number]; }
  Owned<engine::CaseColumns> Columns() const;
};

struct DataOptions {
  int nodes = 5, cases = 300, mostStates = 4;
  double missing = 0;                  // share of cells
  bool whole = false, broken = false;  // weights
};
// Nodes depend on one or two of those before them.
Data DrawData(Random& random, const DataOptions& options);

// By the formulas, from tables kept in maps.
double PlainScore(const Data& data, engine::ScoreKind kind, double prior, int node, const std::vector<int>& parents);

}  // namespace bravic::testing

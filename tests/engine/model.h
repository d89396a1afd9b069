// Small models of bare indices for tests of the engine, and their joint distribution enumerated.
#pragma once

#include <memory>
#include <vector>

#include "Bn/engine/SearchOrder.h"
#include "Bn/engine/infer/Inference.h"
#include "support/random.h"

namespace bravic::testing {

struct Model {
  Vector<int> numstates;
  Vector<Vector<int>> parents, children;
  std::vector<std::vector<float>> tables;

  int NumNodes() const { return static_cast<int>(numstates.size()); }
  std::size_t RowCount(int node) const;
  const float* Table(int node) const { return tables[static_cast<std::size_t>(node)].data(); }
};

struct ModelOptions {
  int minNodes = 2, maxNodes = 12;
  int minStates = 1, maxStates = 4;
  int maxParents = 3;
  double maxConfigurations = 20000;
  double zeros = 0.15;
};
Model RandomModel(Random& random, const ModelOptions& options);
void RandomTable(Model& model, int node, Random& random, double zeros);

using Findings = std::vector<std::vector<double>>;  // [node] a weight per state; empty: none

struct Joint {
  double total = 0, largest = 0;
  std::vector<std::vector<double>> marginals, maxMarginals;  // unnormalized
};
Joint Enumerate(const Model& model, const Findings& findings);
// Marginal over the node's parents and itself, unnormalized.
std::vector<double> EnumerateFamily(const Model& model, const Findings& findings, int node, bool maximize);

// The model compiled: moral graph, searched order, tree (merge: small cliques made one) and engine.
struct Compiled {
  explicit Compiled(const Model& model, bool merge = false);
  engine::Graph moral;
  engine::Order order;
  engine::JunctionTree tree;
  Owned<engine::Inference> inference;
};

}  // namespace bravic::testing

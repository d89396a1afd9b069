// Small models of bare indices for tests of the engine.
#pragma once

#include <memory>
#include <vector>

#include "Bn/engine/SearchOrder.h"
#include "Bn/engine/infer/Inference.h"
#include "support/joint.h"
#include "support/random.h"

namespace bravic::testing {

struct Model {
  Vector<int> numstates;
  Vector<Vector<int>> parents, children;
  std::vector<std::vector<float>> tables;

  int NumNodes() const { return int(numstates.size()); }
  std::vector<int> Family(int node) const;  // the parents, then the node
  std::size_t RowCount(int node) const;
  const float* Table(int node) const { return tables[std::size_t(node)].data(); }
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

// The model's tables and findings for the enumeration of joint.h; a negative entry marks an impossible row.
std::vector<int> SizesOf(const Model& model);
std::vector<Factor> FactorsOf(const Model& model, const Findings& findings);
inline Joint Enumerate(const Model& model, const Findings& findings) {
  return Enumerate(SizesOf(model), FactorsOf(model, findings));
}

// The model compiled: moral graph, searched order, tree (merge: small cliques made one) and engine.
struct Compiled {
  explicit Compiled(const Model& model, bool merge = false);
  engine::Graph moral;
  engine::Order order;
  engine::JunctionTree tree;
  Owned<engine::Inference> inference;
};

}  // namespace bravic::testing

#include "engine/model.h"

#include <algorithm>

namespace bravic::testing {

std::vector<int> Model::Family(int node) const {
  std::vector<int> family(parents[node].begin(), parents[node].end());
  family.push_back(node);
  return family;
}

std::size_t Model::RowCount(int node) const {
  std::size_t rows = 1;
  for (int p : parents[node]) rows *= std::size_t(numstates[p]);
  return rows;
}

void RandomTable(Model& model, int node, Random& random, double zeros) {
  const auto states = std::size_t(model.numstates[node]);
  std::vector<float>& table = model.tables[std::size_t(node)];
  table.assign(model.RowCount(node) * states, 0.0f);
  for (std::size_t row = 0; row < table.size(); row += states) {
    double sum = 0;
    for (std::size_t s = 0; s < states; ++s) {
      table[row + s] = random.Share() < zeros ? 0.0f : float(0.01 + random.Share());
      sum += table[row + s];
    }
    if (sum == 0) table[row] = 1, sum = 1;
    if (random.Share() < zeros / 5) sum = -sum;  // the mark of an impossible row
    for (std::size_t s = 0; s < states; ++s) table[row + s] = float(table[row + s] / sum);
  }
}

Model RandomModel(Random& random, const ModelOptions& options) {
  Model model;
  const int n = options.minNodes + random.Below(options.maxNodes - options.minNodes + 1);
  model.parents.resize(n);
  model.children.resize(n);
  model.tables.resize(std::size_t(n));
  double configurations = 1;
  for (int i = 0; i < n; ++i) {
    int states = options.minStates + random.Below(options.maxStates - options.minStates + 1);
    if (configurations * states > options.maxConfigurations) states = options.minStates;
    configurations *= states;
    model.numstates.push_back(states);
    for (int k = random.Below(options.maxParents + 1); k > 0 && i > 0; --k) {
      const int parent = random.Below(i);
      Vector<int>& list = model.parents[i];
      if (std::find(list.begin(), list.end(), parent) != list.end()) continue;
      list.push_back(parent);
      model.children[parent].push_back(i);
    }
  }
  for (int i = 0; i < n; ++i) RandomTable(model, i, random, options.zeros);
  return model;
}

std::vector<int> SizesOf(const Model& model) {
  return {model.numstates.begin(), model.numstates.end()};
}

std::vector<Factor> FactorsOf(const Model& model, const Findings& findings) {
  const std::vector<int> sizes = SizesOf(model);
  std::vector<Factor> factors;
  for (int i = 0; i < model.NumNodes(); ++i) {
    std::vector<double> entries;
    for (float entry : model.tables[std::size_t(i)]) entries.push_back(std::max(0.0f, entry));
    factors.push_back(TableOf(model.Family(i), sizes, entries));
    const auto& weights = findings[std::size_t(i)];
    if (!weights.empty()) factors.push_back(TableOf({i}, sizes, weights));
  }
  return factors;
}

Compiled::Compiled(const Model& model, bool merge) {
  moral = engine::MoralGraph(model.parents, model.children);
  order = engine::FindOrder(moral, model.numstates, nullptr);
  tree = engine::BuildTree(moral, model.numstates, model.parents, order.nodes);
  if (merge) tree = engine::MergeSmallCliques(tree);
  inference = engine::Inference::Make(tree, model.numstates, model.parents);
}

}  // namespace bravic::testing

#include "engine/model.h"

#include <algorithm>

namespace bravic::testing {

std::size_t Model::RowCount(int node) const {
  std::size_t rows = 1;
  for (int p : parents[static_cast<std::size_t>(node)])
    rows *= static_cast<std::size_t>(numstates[static_cast<std::size_t>(p)]);
  return rows;
}

void RandomTable(Model& model, int node, Random& random, double zeros) {
  const auto i = static_cast<std::size_t>(node);
  const auto states = static_cast<std::size_t>(model.numstates[i]);
  std::vector<float>& table = model.tables[i];
  table.assign(model.RowCount(node) * states, 0.0f);
  for (std::size_t row = 0; row < table.size(); row += states) {
    double sum = 0;
    for (std::size_t s = 0; s < states; ++s) {
      table[row + s] = random.Share() < zeros ? 0.0f : static_cast<float>(0.01 + random.Share());
      sum += table[row + s];
    }
    if (sum == 0) table[row] = 1, sum = 1;
    if (random.Share() < zeros / 5) sum = -sum;  // the mark of an impossible row
    for (std::size_t s = 0; s < states; ++s) table[row + s] = static_cast<float>(table[row + s] / sum);
  }
}

Model RandomModel(Random& random, const ModelOptions& options) {
  Model model;
  const int n = options.minNodes + random.Below(options.maxNodes - options.minNodes + 1);
  model.parents.resize(static_cast<std::size_t>(n));
  model.children.resize(static_cast<std::size_t>(n));
  model.tables.resize(static_cast<std::size_t>(n));
  double configurations = 1;
  for (int i = 0; i < n; ++i) {
    int states = options.minStates + random.Below(options.maxStates - options.minStates + 1);
    if (configurations * states > options.maxConfigurations) states = options.minStates;
    configurations *= states;
    model.numstates.push_back(states);
    for (int k = random.Below(options.maxParents + 1); k > 0 && i > 0; --k) {
      const int parent = random.Below(i);
      Vector<int>& list = model.parents[static_cast<std::size_t>(i)];
      if (std::find(list.begin(), list.end(), parent) != list.end()) continue;
      list.push_back(parent);
      model.children[static_cast<std::size_t>(parent)].push_back(i);
    }
  }
  for (int i = 0; i < n; ++i) RandomTable(model, i, random, options.zeros);
  return model;
}

namespace {

template <class Visit>
void ForEachConfiguration(const Model& model, const Findings& findings, Visit visit) {
  const auto n = static_cast<std::size_t>(model.NumNodes());
  std::vector<int> state(n, 0);
  for (;;) {
    double p = 1;
    for (std::size_t i = 0; i < n && p > 0; ++i) {
      std::size_t row = 0;
      for (int parent : model.parents[i])
        row = row * static_cast<std::size_t>(model.numstates[static_cast<std::size_t>(parent)]) +
              static_cast<std::size_t>(state[static_cast<std::size_t>(parent)]);
      const float entry =
          model.tables[i][row * static_cast<std::size_t>(model.numstates[i]) + static_cast<std::size_t>(state[i])];
      p *= std::max(0.0f, entry);
      if (!findings[i].empty()) p *= findings[i][static_cast<std::size_t>(state[i])];
    }
    visit(state, p);
    std::size_t i = n;
    while (i > 0 && ++state[i - 1] == model.numstates[i - 1]) state[--i] = 0;
    if (i == 0) return;
  }
}

}  // namespace

Joint Enumerate(const Model& model, const Findings& findings) {
  Joint joint;
  for (int states : model.numstates) joint.marginals.emplace_back(static_cast<std::size_t>(states), 0.0);
  joint.maxMarginals = joint.marginals;
  ForEachConfiguration(model, findings, [&](const std::vector<int>& state, double p) {
    joint.total += p;
    joint.largest = std::max(joint.largest, p);
    for (std::size_t i = 0; i < state.size(); ++i) {
      joint.marginals[i][static_cast<std::size_t>(state[i])] += p;
      double& most = joint.maxMarginals[i][static_cast<std::size_t>(state[i])];
      most = std::max(most, p);
    }
  });
  return joint;
}

std::vector<double> EnumerateFamily(const Model& model, const Findings& findings, int node, bool maximize) {
  const auto self = static_cast<std::size_t>(node);
  std::vector<double> table(model.tables[self].size(), 0.0);
  ForEachConfiguration(model, findings, [&](const std::vector<int>& state, double p) {
    std::size_t row = 0;
    for (int parent : model.parents[self])
      row = row * static_cast<std::size_t>(model.numstates[static_cast<std::size_t>(parent)]) +
            static_cast<std::size_t>(state[static_cast<std::size_t>(parent)]);
    double& at = table[row * static_cast<std::size_t>(model.numstates[self]) + static_cast<std::size_t>(state[self])];
    at = maximize ? std::max(at, p) : at + p;
  });
  return table;
}

Compiled::Compiled(const Model& model, bool merge) {
  moral = engine::MoralGraph(model.parents, model.children);
  order = engine::FindOrder(moral, model.numstates, nullptr);
  tree = engine::BuildTree(moral, model.numstates, model.parents, order.nodes);
  if (merge) tree = engine::MergeSmallCliques(tree);
  inference = engine::Inference::Make(tree, model.numstates, model.parents);
}

}  // namespace bravic::testing

#include "support/joint.h"

#include <algorithm>

#include "support/nets.h"

namespace bravic::testing {

namespace {

struct Factor {
  std::vector<std::size_t> parents;  // positions in the list of nodes
  std::vector<double> table;
  std::vector<double> weights;
  std::size_t numstates;
};

Factor MakeFactor(const std::vector<node_bn>& nodes, node_bn node, const Weights& weights) {
  Factor factor;
  factor.numstates = static_cast<std::size_t>(NumStates(node));
  for (node_bn parent : Nodes(GetNodeParents_bn(node))) {
    factor.parents.push_back(static_cast<std::size_t>(std::find(nodes.begin(), nodes.end(), parent) - nodes.begin()));
  }
  for (float entry : GetTable(node)) factor.table.push_back(std::max(static_cast<double>(entry), 0.0));
  auto known = weights.find(node);
  factor.weights = known != weights.end() ? known->second : std::vector<double>(factor.numstates, 1.0);
  return factor;
}

double Weight(const std::vector<Factor>& factors, const std::vector<statetype>& states,
              const std::vector<std::size_t>& numstates) {
  double product = 1;
  for (std::size_t i = 0; i < factors.size() && product > 0; ++i) {
    std::size_t row = 0;
    for (std::size_t parent : factors[i].parents) {
      row = row * numstates[parent] + static_cast<std::size_t>(states[parent]);
    }
    auto state = static_cast<std::size_t>(states[i]);
    product *= factors[i].table[row * factors[i].numstates + state] * factors[i].weights[state];
  }
  return product;
}

}  // namespace

Posterior Enumerate(net_bn net, const Weights& weights) {
  std::vector<node_bn> nodes = Nodes(GetNetNodes_bn(net));
  std::vector<Factor> factors;
  std::vector<std::size_t> numstates;
  Posterior answer;
  for (node_bn node : nodes) {
    factors.push_back(MakeFactor(nodes, node, weights));
    numstates.push_back(factors.back().numstates);
    answer.belief[node].assign(numstates.back(), 0);
    answer.maxBelief[node].assign(numstates.back(), 0);
  }
  std::vector<statetype> states(nodes.size(), 0);
  do {
    double weight = Weight(factors, states, numstates);
    answer.probability += weight;
    bool best = weight > answer.mostProbable;
    if (best) answer.mostProbable = weight;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      auto state = static_cast<std::size_t>(states[i]);
      answer.belief[nodes[i]][state] += weight;
      double& largest = answer.maxBelief[nodes[i]][state];
      largest = std::max(largest, weight);
      if (best) answer.configuration[nodes[i]] = states[i];
    }
  } while (NextConfiguration(nodes, states));
  for (node_bn node : nodes) {
    for (double& entry : answer.belief[node]) entry /= answer.probability > 0 ? answer.probability : 1;
    for (double& entry : answer.maxBelief[node]) entry /= answer.mostProbable > 0 ? answer.mostProbable : 1;
  }
  return answer;
}

}  // namespace bravic::testing

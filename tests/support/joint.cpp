#include "support/joint.h"

#include <algorithm>

namespace bravic::testing {

double Factor::At(const std::vector<int>& states) const {
  int index = first;
  for (std::size_t k = 0; k < variables.size(); ++k) index += states[std::size_t(variables[k])] * strides[k];
  return entries[std::size_t(index)];
}

Factor TableOf(const std::vector<int>& variables, const std::vector<int>& sizes, std::vector<double> entries) {
  std::vector<int> strides(variables.size(), 1);
  for (std::size_t k = variables.size(); k-- > 1;) strides[k - 1] = strides[k] * sizes[std::size_t(variables[k])];
  return {variables, strides, std::move(entries)};
}

Joint Enumerate(const std::vector<int>& sizes, const std::vector<Factor>& factors) {
  Joint joint;
  for (int states : sizes) joint.marginals.emplace_back(std::size_t(states), 0.0);
  joint.maxMarginals = joint.marginals;
  ForEachConfiguration(sizes, factors, [&](const std::vector<int>& states, double product) {
    joint.total += product;
    joint.largest = std::max(joint.largest, product);
    for (std::size_t i = 0; i < states.size(); ++i) {
      joint.marginals[i][std::size_t(states[i])] += product;
      double& most = joint.maxMarginals[i][std::size_t(states[i])];
      most = std::max(most, product);
    }
  });
  return joint;
}

std::vector<double> EnumerateOnto(const std::vector<int>& variables, const std::vector<int>& sizes,
                                  const std::vector<Factor>& factors, bool maximize) {
  std::size_t size = 1;
  for (int variable : variables) size *= std::size_t(sizes[std::size_t(variable)]);
  const Factor place = TableOf(variables, sizes, {});
  std::vector<double> table(size, 0.0);
  ForEachConfiguration(sizes, factors, [&](const std::vector<int>& states, double product) {
    int index = 0;
    for (std::size_t k = 0; k < variables.size(); ++k) index += states[std::size_t(variables[k])] * place.strides[k];
    double& at = table[std::size_t(index)];
    at = maximize ? std::max(at, product) : at + product;
  });
  return table;
}

std::vector<int> SizesOf(net_bn net) {
  std::vector<int> sizes;
  for (node_bn node : Nodes(GetNetNodes_bn(net))) sizes.push_back(NumStates(node));
  return sizes;
}

std::vector<Factor> FactorsOf(net_bn net, const Weights& weights) {
  const auto nodes = Nodes(GetNetNodes_bn(net));
  const auto sizes = SizesOf(net);
  std::vector<Factor> factors;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    std::vector<int> family;
    for (node_bn parent : Nodes(GetNodeParents_bn(nodes[i])))
      family.push_back(int(std::find(nodes.begin(), nodes.end(), parent) - nodes.begin()));
    family.push_back(int(i));
    std::vector<double> entries;
    for (float entry : GetTable(nodes[i])) entries.push_back(std::max(double(entry), 0.0));
    factors.push_back(TableOf(family, sizes, entries));
    const auto known = weights.find(nodes[i]);
    if (known != weights.end()) factors.push_back(TableOf({int(i)}, sizes, known->second));
  }
  return factors;
}

Posterior Enumerate(net_bn net, const Weights& weights) {
  const auto nodes = Nodes(GetNetNodes_bn(net));
  Joint joint = Enumerate(SizesOf(net), FactorsOf(net, weights));
  Posterior answer;
  answer.probability = joint.total;
  answer.mostProbable = joint.largest;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    for (double& entry : joint.marginals[i]) entry /= joint.total > 0 ? joint.total : 1;
    for (double& entry : joint.maxMarginals[i]) entry /= joint.largest > 0 ? joint.largest : 1;
    answer.belief[nodes[i]] = joint.marginals[i];
    answer.maxBelief[nodes[i]] = joint.maxMarginals[i];
  }
  return answer;
}

}  // namespace bravic::testing

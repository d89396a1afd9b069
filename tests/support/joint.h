// The one oracle of inference: the product of tables over a few variables, summed or maximized entry by entry in double
// precision.
#pragma once

#include <map>
#include <vector>

#include "support/nets.h"

namespace bravic::testing {

// A table: the entry of a configuration stands at first plus the states of its variables times their strides.
struct Factor {
  std::vector<int> variables, strides;
  std::vector<double> entries;
  int first = 0;

  double At(const std::vector<int>& states) const;
};

// A table of those variables, the last fastest.
Factor TableOf(const std::vector<int>& variables, const std::vector<int>& sizes, std::vector<double> entries);

// Visits every configuration of the variables, the last fastest, with the product of the tables.
template <class Visit>
void ForEachConfiguration(const std::vector<int>& sizes, const std::vector<Factor>& factors, Visit visit) {
  std::vector<int> states(sizes.size(), 0);
  std::size_t i = 0;
  do {
    double product = 1;
    for (const Factor& factor : factors) product *= product > 0 ? factor.At(states) : 0;
    visit(states, product);
    for (i = sizes.size(); i > 0 && ++states[i - 1] == sizes[i - 1];) states[--i] = 0;
  } while (i > 0);
}

struct Joint {
  double total = 0, largest = 0;
  std::vector<std::vector<double>> marginals, maxMarginals;  // [variable][state], unnormalized
};
Joint Enumerate(const std::vector<int>& sizes, const std::vector<Factor>& factors);
// The marginal of those variables, last fastest, unnormalized.
std::vector<double> EnumerateOnto(const std::vector<int>& variables, const std::vector<int>& sizes,
                                  const std::vector<Factor>& factors, bool maximize = false);

// What is known of a node: a weight per state; a node that is absent has 1 for each.
using Weights = std::map<node_bn, std::vector<double>>;

// The tables of a net and what is known, over its nodes in their order. A row of the impossible marker weighs 0.
std::vector<Factor> FactorsOf(net_bn net, const Weights& weights);
std::vector<int> SizesOf(net_bn net);

struct Posterior {
  double probability = 0;                            // of the findings
  std::map<node_bn, std::vector<double>> belief;     // each sums to 1 (all 0 when the findings are impossible)
  double mostProbable = 0;                           // weight of the most probable configuration
  std::map<node_bn, std::vector<double>> maxBelief;  // max-marginals, the largest entry 1
};
Posterior Enumerate(net_bn net, const Weights& weights = {});

}  // namespace bravic::testing

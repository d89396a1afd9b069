// The joint distribution of a small net, enumerated from its tables in double precision: what inference must agree
// with.
#pragma once

#include <map>
#include <vector>

#include "bravic.h"

namespace bravic::testing {

// What is known of a node: a weight per state; a node that is absent has 1 for each.
using Weights = std::map<node_bn, std::vector<double>>;

struct Posterior {
  double probability = 0;                            // of the findings
  std::map<node_bn, std::vector<double>> belief;     // each sums to 1 (all 0 when the findings are impossible)
  double mostProbable = 0;                           // weight of the most probable configuration
  std::map<node_bn, statetype> configuration;        // that configuration, the first of equals
  std::map<node_bn, std::vector<double>> maxBelief;  // max-marginals, the largest entry 1
};

// A row of the impossible marker weighs 0.
Posterior Enumerate(net_bn net, const Weights& weights = {});

}  // namespace bravic::testing

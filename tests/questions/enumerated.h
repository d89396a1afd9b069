// Random nets with findings of every form, and what enumerating their joint distribution says of questions.
#pragma once

#include "support/joint.h"
#include "support/net_fixture.h"

namespace bravic::testing {

class EnumeratedTest : public NetTest {
 protected:
  // A compiled net with some findings, which are possible together. Some entries are 0, some nodes have one state.
  void MakeNet(std::uint64_t seed, double maxConfigurations = 3000) {
    random = Random(seed);
    RandomNetOptions options;
    options.maxNodes = 9, options.maxConfigurations = maxConfigurations, options.zeros = 0.15;
    net = RandomNet(env, random, options);
    nodes = Nodes(net);
    weights.clear();
    for (node_bn node : nodes)
      if (random.Chance(0.3)) EnterSomething(node);
    CompileNet_bn(net.get());
  }
  // A state, an exclusion or a likelihood, where that is possible with the rest.
  void EnterSomething(node_bn node) {
    const int numstates = NumStates(node), state = random.Below(numstates), form = random.Below(3);
    std::vector<double> known(std::size_t(numstates), form == 0 ? 0.0 : 1.0);
    if (form <= 1) known[std::size_t(state)] = form == 0 ? 1 : 0;
    if (form == 2)
      for (double& weight : known) weight = 0.125 * random.Between(1, 8);
    weights[node] = known;
    if (Enumerate(net.get(), weights).probability <= 0) {
      weights.erase(node);
    } else if (form == 0) {
      EnterFinding_bn(node, state);
    } else {
      EnterNodeLikelihood_bn(node, std::vector<float>(known.begin(), known.end()).data());
    }
  }
  // Over some nodes, last fastest; not normalized.
  std::vector<double> Onto(const std::vector<node_bn>& some, const Weights& given) const {
    std::vector<int> variables;
    for (node_bn node : some) variables.push_back(int(std::find(nodes.begin(), nodes.end(), node) - nodes.begin()));
    return EnumerateOnto(variables, SizesOf(net.get()), FactorsOf(net.get(), given), false);
  }
  // Beliefs, findings and what can be undone are the same after a question as before.
  std::string Look() {
    std::ostringstream text;
    for (node_bn node : nodes) {
      const probtype* belief = GetNodeBeliefs_bn(node);
      for (int s = 0; s < NumStates(node); ++s) text << std::hexfloat << belief[s] << " ";
    }
    text << CaseLogProbability_bn(net.get()) << Written(net);
    return text.str();
  }

  Random random{1};
  std::vector<node_bn> nodes;
  Weights weights;
};

}  // namespace bravic::testing

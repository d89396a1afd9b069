#include "small_nets.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>

namespace bravic::fuzz {
namespace {

using testing::Nodes;
using testing::NumStates;

// The last ones are the tiny ones.
constexpr double WEIGHTS[] = {1, 0, 2, 3, 1, 5, 1e-6, 1e-30};
constexpr int NUM_PLAIN_WEIGHTS = 6;

void FillTables(Bytes& bytes, const Net& net, bool withTinyWeights) {
  for (node_bn node : Nodes(net)) {
    if (GetNodeKind_bn(node) == DECISION_NODE) continue;
    testing::ForEachRow(node, [&](const statetype* states) {
      if (GetNodeKind_bn(node) == UTILITY_NODE)
        SetNodeFuncValue_bn(node, states, bytes.Below(21) - 10);
      else
        SetNodeProbs_bn(node, states, RowOf(bytes, NumStates(node), withTinyWeights).data());
    });
  }
}

void LinkEarlier(Bytes& bytes, const std::vector<node_bn>& earlier, node_bn node, int maxParents) {
  const int mask = bytes.Next();
  int count = 0;
  for (std::size_t k = 0; k < earlier.size() && count < maxParents; ++k) {
    if ((mask >> k & 1) == 0) continue;
    AddLink_bn(earlier[k], node);
    ++count;
  }
}

}  // namespace

bool AreNear(double is, double expected, double tolerance) {
  return std::fabs(is - expected) <= tolerance * std::max(1.0, std::fabs(expected));
}

void FailAt(const std::string& what, double is, double expected, const Net& net) {
  char numbers[100];
  std::snprintf(numbers, sizeof numbers, "%.9g, not %.9g\n", is, expected);
  Fail(what, numbers + Errors() + Look(net));
}

testing::Weights WeightsOf(const std::vector<node_bn>& nodes, const statetype* states) {
  testing::Weights weights;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if (states[i] == UNDEF_STATE) continue;
    weights[nodes[i]].assign(static_cast<std::size_t>(NumStates(nodes[i])), 0);
    weights[nodes[i]][static_cast<std::size_t>(states[i])] = 1;
  }
  return weights;
}

std::vector<float> RowOf(Bytes& bytes, int numstates, bool withTinyWeights) {
  std::vector<double> weights;
  double sum = 0;
  const int numWeights = withTinyWeights ? static_cast<int>(std::size(WEIGHTS)) : NUM_PLAIN_WEIGHTS;
  for (int s = 0; s < numstates; ++s) sum += weights.emplace_back(WEIGHTS[bytes.Below(numWeights)]);
  if (sum == 0) sum = weights[0] = 1;
  std::vector<float> row;
  for (double weight : weights) row.push_back(static_cast<float>(weight / sum));
  return row;
}

Net MakeSmallNet(Bytes& bytes, const SmallNet& kind) {
  Net net(NewNet_bn("Fuzzed", Environment()));
  std::vector<node_bn> earlier;
  double configurations = 1;
  for (int i = 0, count = 1 + bytes.Below(kind.maxNodes); i < count; ++i) {
    const int states = 1 + bytes.Below(kind.maxStates);
    if ((configurations *= states) > kind.maxConfigurations) break;
    const node_bn node = NewNode_bn(nullptr, states, net.get());
    if (kind.withDecisions && bytes.Below(3) == 0) SetNodeKind_bn(node, DECISION_NODE);
    LinkEarlier(bytes, earlier, node, kind.maxParents);
    earlier.push_back(node);
  }
  for (int i = 0, count = kind.withDecisions ? 1 + bytes.Below(2) : 0; i < count; ++i) {
    const node_bn utility = NewNode_bn(nullptr, 0, net.get());
    SetNodeKind_bn(utility, UTILITY_NODE);
    LinkEarlier(bytes, earlier, utility, kind.maxParents);
  }
  FillTables(bytes, net, kind.withTinyWeights);
  return net;
}

}  // namespace bravic::fuzz

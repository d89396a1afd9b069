#include "support/nets.h"

#include <algorithm>

namespace bravic::testing {

std::vector<node_bn> Nodes(nodelist_bn list) {
  std::vector<node_bn> nodes(std::size_t(std::max(LengthNodeList_bn(list), 0)));
  for (std::size_t i = 0; i < nodes.size(); ++i) nodes[i] = NthNode_bn(list, int(i));
  return nodes;
}

node_bn Named(const Net& net, const std::string& name) {
  return NodeNamed_bn(name.c_str(), net.get());
}

int NumStates(node_bn node) {
  return GetNodeNumberStates_bn(node);
}

bool NextConfiguration(const std::vector<node_bn>& nodes, std::vector<statetype>& states) {
  for (std::size_t i = nodes.size(); i-- > 0;) {
    if (++states[i] < NumStates(nodes[i])) return true;
    states[i] = 0;
  }
  return false;
}

void SetTable(node_bn node, const std::vector<float>& rows) {
  const float* row = rows.data();
  ForEachRow(node, [&](const statetype* states) {
    SetNodeProbs_bn(node, states, row);
    row += NumStates(node);
  });
}

std::vector<float> GetTable(node_bn node) {
  std::vector<float> rows;
  ForEachRow(node, [&](const statetype* states) {
    const float* row = GetNodeProbs_bn(node, states);
    rows.insert(rows.end(), row, row + NumStates(node));
  });
  return rows;
}

node_bn AddNode(const Net& net, const char* name, std::initializer_list<const char*> states,
                std::initializer_list<const char*> parents, const std::vector<float>& rows) {
  node_bn node = NewNode_bn(name, int(states.size()), net.get());
  int state = 0;
  for (const char* text : states) SetNodeStateName_bn(node, state++, text);
  for (const char* parent : parents) AddLink_bn(Named(net, parent), node);
  if (!rows.empty()) SetTable(node, rows);
  return node;
}

void Observe(const Net& net, const char* node, const char* state) {
  EnterFinding_bn(Named(net, node), StateNamed_bn(state, Named(net, node)));
}

float Belief(const Net& net, const char* node, const char* state) {
  return GetNodeBeliefs_bn(Named(net, node))[StateNamed_bn(state, Named(net, node))];
}

Net ChestClinic(environ_ns env) {
  Net net(NewNet_bn("ChestClinic", env));
  AddNode(net, "asia", {"yes", "no"}, {}, {0.01f, 0.99f});
  AddNode(net, "tub", {"yes", "no"}, {"asia"}, {0.05f, 0.95f, 0.01f, 0.99f});
  AddNode(net, "smoke", {"yes", "no"}, {}, {0.5f, 0.5f});
  AddNode(net, "lung", {"yes", "no"}, {"smoke"}, {0.1f, 0.9f, 0.01f, 0.99f});
  AddNode(net, "bronc", {"yes", "no"}, {"smoke"}, {0.6f, 0.4f, 0.3f, 0.7f});
  AddNode(net, "either", {"yes", "no"}, {"tub", "lung"}, {1, 0, 1, 0, 1, 0, 0, 1});
  AddNode(net, "xray", {"yes", "no"}, {"either"}, {0.98f, 0.02f, 0.05f, 0.95f});
  AddNode(net, "dysp", {"yes", "no"}, {"either", "bronc"}, {0.9f, 0.1f, 0.7f, 0.3f, 0.8f, 0.2f, 0.1f, 0.9f});
  return net;
}

Net Chain(environ_ns env, int length, int numstates) {
  Net net(NewNet_bn("Chain", env));
  node_bn previous = nullptr;
  for (int i = 0; i < length; ++i) {
    node_bn node = NewNode_bn(("N" + std::to_string(i)).c_str(), numstates, net.get());
    if (previous) AddLink_bn(previous, node);
    std::vector<float> row(static_cast<std::size_t>(numstates));
    for (statetype s = 0; s < (previous ? numstates : 1); ++s) {
      float other = numstates > 1 ? 0.2f / float(numstates - 1) : 0;
      std::fill(row.begin(), row.end(), previous ? other : 1.0f / float(numstates));
      if (previous) row[std::size_t(s)] = numstates > 1 ? 0.8f : 1;
      SetNodeProbs_bn(node, &s, row.data());
    }
    previous = node;
  }
  return net;
}

std::vector<float> RandomRow(Random& random, int numstates, double zeros) {
  std::vector<double> weights(static_cast<std::size_t>(numstates));
  for (double& weight : weights) weight = random.Chance(zeros) ? 0 : 0.02 + random.Share();
  weights[std::size_t(random.Below(numstates))] += 0.02 + random.Share();
  double sum = 0;
  for (double weight : weights) sum += weight;
  std::vector<float> row;
  for (double weight : weights) row.push_back(float(weight / sum));
  return row;
}

void RandomTable(node_bn node, Random& random, double zeros) {
  ForEachRow(node, [&](const statetype* states) {
    SetNodeProbs_bn(node, states, RandomRow(random, NumStates(node), zeros).data());
  });
}

Net RandomNet(environ_ns env, Random& random, const RandomNetOptions& options) {
  Net net(NewNet_bn("RandomNet", env));
  int numnodes = random.Between(options.minNodes, options.maxNodes);
  double configurations = 1;
  std::vector<node_bn> nodes;
  for (int i = 0; i < numnodes; ++i) {
    int numstates = random.Between(options.minStates, options.maxStates);
    if (configurations * numstates > options.maxConfigurations) break;
    configurations *= numstates;
    node_bn node = NewNode_bn(("N" + std::to_string(i)).c_str(), numstates, net.get());
    std::vector<node_bn> candidates = nodes;
    int numparents = std::min(random.Between(0, options.maxParents), int(candidates.size()));
    for (int k = 0; k < numparents; ++k) {
      auto at = candidates.begin() + random.Below(int(candidates.size()));
      AddLink_bn(*at, node);
      candidates.erase(at);
    }
    RandomTable(node, random, options.zeros);
    nodes.insert(nodes.begin() + random.Below(int(nodes.size()) + 1), node);
  }
  return net;
}

}  // namespace bravic::testing

#include "decisions/diagrams.h"

#include "Bn/model/Records.h"

namespace bravic::testing {

void MakeRowsOdd(node_bn node, Random& random) {
  ForEachRow(node, [&](const statetype* states) {
    std::vector<float> row(GetNodeProbs_bn(node, states), GetNodeProbs_bn(node, states) + NumStates(node));
    const int form = random.Below(4);
    for (float& entry : row) entry = form == 0 ? IMPOS_PROB : form == 1 ? 0.5f * entry : entry;
    SetNodeProbs_bn(node, states, row.data());
  });
}

Net RandomDiagram(environ_ns env, Random& random, const DiagramOptions& options) {
  Net net(NewNet_bn("Diagram", env));
  std::vector<node_bn> order, known, late;
  const auto isIn = [](const std::vector<node_bn>& list, node_bn node) {
    return std::find(list.begin(), list.end(), node) != list.end();
  };
  const auto addChance = [&] {
    node_bn node =
        NewNode_bn(("C" + std::to_string(order.size())).c_str(), random.Between(1, 9) == 1 ? 1 : 2, net.get());
    bool isLate = false;
    for (node_bn parent : order) {
      if (LengthNodeList_bn(GetNodeParents_bn(node)) > 2 || !random.Chance(0.5)) continue;
      AddLink_bn(parent, node);
      isLate |= GetNodeKind_bn(parent) == DECISION_NODE || isIn(late, parent);
    }
    if (isLate) late.push_back(node);
    RandomTable(node, random, 0.15);
    if (options.odd) MakeRowsOdd(node, random);
    order.push_back(node);
  };
  for (int i = 0; i < options.numDecisions; ++i) {
    for (int k = random.Between(i == 0, 2); k > 0; --k) addChance();
    node_bn decision = NewNode_bn(("D" + std::to_string(i)).c_str(), random.Between(2, 3), net.get());
    SetNodeKind_bn(decision, DECISION_NODE);
    std::vector<node_bn> told;
    for (node_bn node : order) {
      const bool isKnown = isIn(known, node), isDecision = GetNodeKind_bn(node) == DECISION_NODE;
      const bool isLast = isDecision && node == known.back();
      if (isKnown ? !options.forgets || isLast || random.Chance(0.5) : told.size() < 2 && random.Chance(0.4)) {
        AddLink_bn(node, decision);
        if (!isKnown) told.push_back(node);
      }
    }
    known.insert(known.end(), told.begin(), told.end());
    known.push_back(decision);
    order.push_back(decision);
  }
  for (int k = random.Between(0, 2); k > 0; --k) addChance();
  for (int k = 0, count = random.Between(1, 3); k < count; ++k) {
    node_bn utility = NewNode_bn(("U" + std::to_string(k)).c_str(), 0, net.get());
    SetNodeKind_bn(utility, UTILITY_NODE);
    for (node_bn node : order)
      if (LengthNodeList_bn(GetNodeParents_bn(utility)) < 4 && random.Chance(0.5)) AddLink_bn(node, utility);
    ForEachRow(utility,
               [&](const statetype* states) { SetNodeFuncValue_bn(utility, states, double(random.Between(-20, 20))); });
  }
  for (node_bn node : order) {
    if (!options.findings || !random.Chance(0.25)) continue;
    if (GetNodeKind_bn(node) == DECISION_NODE) {
      random.Chance(0.5) ? EnterFinding_bn(node, 1) : EnterFindingNot_bn(node, random.Below(NumStates(node)));
    } else if (options.late || !isIn(late, node)) {
      const std::vector<float> likelihood = RandomRow(random, NumStates(node), 0.2);
      random.Chance(0.5) ? EnterFinding_bn(node, random.Below(NumStates(node)))
                         : EnterNodeLikelihood_bn(node, likelihood.data());
    }
  }
  return net;
}

}  // namespace bravic::testing

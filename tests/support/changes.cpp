#include "support/changes.h"

#include <algorithm>
#include <utility>

#include "Bn/model/Levels.h"
#include "Bn/model/Parents.h"

namespace bravic::testing {

Changes::Changes(const Net& on, Random& random, const std::string& caseFile, environ_ns env)
    : list_(NewNodeList_bn(0, env)), one_(NewNodeList_bn(1, env)), cases_(FileNamed_ns(caseFile.c_str(), env)) {
  net_bn net = on.get();
  const auto nodes = Nodes(on);
  const auto pick = [&] { return random.Pick(nodes); };
  const node_bn node = pick(), other = pick();
  const nodelist_bn parents = GetNodeParents_bn(node);
  const int numparents = LengthNodeList_bn(parents), numstates = NumStates(node);
  const int index = random.Below(numparents + 1), state = random.Below(numstates + 1), few = random.Below(4);
  const bool small = nodes.size()<16, grown = nodes.size()> 4;
  const std::string name = "x" + std::to_string(random.Below(30));
  std::vector<statetype> row;
  for (node_bn parent : Nodes(parents)) {
    row.push_back(random.Chance(0.3) ? EVERY_STATE : random.Below(std::max(NumStates(parent), 1)));
  }
  row.push_back(0);
  for (node_bn each : nodes) {
    if (random.Chance(0.4)) AddNodeToList_bn(each, list_, 0);
  }
  SetNthNode_bn(one_, 0, node);
  const std::vector<float> probs = numstates > 0 ? RandomRow(random, numstates, 0.3) : std::vector<float>{1};
  const std::vector<double> levels = {1, 2, 3, 4, 5, 6, 7, 8};
  SeedRandom_ns(random.Below(1000), env);
  WriteCase_bn(list_, cases_, -1, -1);
  kinds_ = {
      {"absorb", [this] { AbsorbNodes_bn(std::exchange(list_, nullptr)); }},
      {"absorb one", [this] { AbsorbNodes_bn(std::exchange(one_, nullptr)); }},
      {"learn", [this] { CaseRevisesProbs_bn(list_, 0, 1); }},
      {"learn file", [this] { CaseFileRevisesProbs_bn(cases_, list_, 0, 2); }},
      {"reverse", [=] { numparents > 0 ? ReverseLink_bn(NthNode_bn(parents, 0), node) : 0; }},
      {"reverse last", [=] { numparents > 0 ? ReverseLink_bn(NthNode_bn(parents, numparents - 1), node) : 0; }},
      {"optimize", [=] { OptimizeDecisions_bn(GetNetNodes_bn(net)); }},
      {"solve decisions", [=] { SolveDecisions_bn(net, 0); }},
      {"read case", [this] { ReadCase_bn(nullptr, cases_, list_, nullptr, nullptr); }},
      {"write case", [this] { WriteCase_bn(list_, cases_, 3, 1); }},
      {"draw", [this] { RandomCase_bn(list_, 0, 3); }},
      {"fade", [=] { FadeProbs_bn(node, 0.25); }},
      {"copy", [=, this] { small ? FreeNodeList_bn(DuplicateNodes_bn(list_, net)) : void(); }},
      {"new", [=] { NewNode_bn(few > 1 ? name.c_str() : nullptr, few, net); }},
      {"delete", [=] { grown ? DeleteNode_bn(node) : void(); }},
      {"link", [=] { numparents < 3 ? AddLink_bn(other, node) : 0; }},
      {"link again", [=] { numparents < 4 ? AddLink_bn(other, node) : 0; }},
      {"unlink", [=] { DeleteLink_bn(index, node); }},
      {"switch", [=] { SwitchNodeParent_bn(index, node, other); }},
      {"probs", [=] { SetNodeProbs_bn(node, row.data(), probs.data()); }},
      {"probs again", [=] { SetNodeProbs_bn(node, row.data(), probs.data()); }},
      {"experience", [=] { SetNodeExperience_bn(node, row.data(), few); }},
      {"function", [=] { SetNodeFuncValue_bn(node, row.data(), state); }},
      {"no relation", [=] { DeleteNodeRelation_bn(node); }},
      {"finding", [=] { EnterFinding_bn(node, state); }},
      {"not", [=] { EnterFindingNot_bn(node, state); }},
      {"likelihood", [=] { numstates > 0 ? EnterNodeLikelihood_bn(node, probs.data()) : void(); }},
      {"value", [=] { EnterNodeValue_bn(node, 1.5); }},
      {"retract", [=] { RetractNodeFindings_bn(node); }},
      {"retract all", [=] { RetractAllFindings_bn(net); }},
      {"find order", [=] { FindElimOrder_bn(net, 0); }},
      {"name", [=] { SetNodeName_bn(node, name.c_str()); }},
      {"title", [=] { SetNodeTitle_bn(node, name.c_str()); }},
      {"comment", [=] { SetNodeComment_bn(node, few > 0 ? name.c_str() : nullptr); }},
      {"label", [=] { SetNodeText_bn(node, "label", few > 0 ? name.c_str() : nullptr); }},
      {"state text", [=] { SetNodeText_bn(node, ("state " + std::to_string(state)).c_str(), name.c_str()); }},
      {"user data", [=] { SetNodeUserData_bn(node, 0, few > 0 ? node : nullptr); }},
      {"kind", [=] { SetNodeKind_bn(node, few); }},
      {"state name", [=] { SetNodeStateName_bn(node, state, name.c_str()); }},
      {"link name", [=] { SetLinkName_bn(node, index, name.c_str()); }},
      // No file holds values of a function beside states that have no levels.
      {"discreteness", [=] { numstates > 0 && !node->determinv ? SetDiscrete(node, few % 2) : 0; }},
      {"states, levels and names",
       [=] {
         const char* const names[] = {"some", nullptr, "more", nullptr};
         SetStatesAndLevels(node, few, few > 1 ? levels.data() : nullptr, names);
       }},
      {"disconnect parents", [=] { DisconnectParents(node); }},
      {"levels", [=] { SetNodeLevels_bn(node, GetNodeDiscrete_bn(node) ? numstates : few, levels.data()); }},
      {"order", [=] { SetNetElimOrder_bn(net, GetNetNodes_bn(net)); }},
      {"net name", [=] { SetNetName_bn(net, name.c_str()); }},
      {"net title", [=] { SetNetTitle_bn(net, name.c_str()); }},
      {"net comment", [=] { SetNetComment_bn(net, few > 0 ? name.c_str() : nullptr); }},
      {"auto-update", [=] { SetNetAutoUpdate_bn(net, few % 2); }},
      {"most probable", [=] { SetNetFindMPE_bn(net, few % 2); }},
      {"net text", [=] { SetNetText_bn(net, name.c_str(), few > 0 ? "text" : nullptr); }},
      {"net user data", [=] { SetNetUserData_bn(net, 0, few > 0 ? node : nullptr); }},
  };
}

Changes::~Changes() {
  FreeNodeList_bn(list_);
  FreeNodeList_bn(one_);
  FreeFileSpec_ns(cases_);
}

}  // namespace bravic::testing

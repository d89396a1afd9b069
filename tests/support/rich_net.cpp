#include "support/rich_net.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Basic/Text.h"
#include "Bn/model/Attributes.h"
#include "Bn/model/Tables.h"

namespace bravic::testing {
namespace {

std::string RandomName(Random& random) {
  std::string name(1, static_cast<char>('a' + random.Below(26)));
  for (int length = random.Chance(0.1) ? 29 : random.Below(9); length > 0; --length) {
    name += "abcXYZ019_"[random.Below(10)];
  }
  return name;
}

float RandomNumber(Random& random) {
  switch (random.Below(5)) {
    case 0:
      return static_cast<float>(random.Between(-100, 100));
    case 1:
      return static_cast<float>(random.Share());
    case 2:
      return static_cast<float>((random.Share() - 0.5) * std::pow(10.0, random.Between(-36, 37)));
    case 3:
      return random.Chance(0.5) ? 0 : std::numeric_limits<float>::max();
    default:
      return static_cast<float>(random.Between(-10000, 10000)) / 64;
  }
}

void Replace(char*& field, const std::string& text) {
  Free(field);
  field = DupText(text.c_str());
}

void NameStates(node_bn node, Random& random) {
  const double share = random.Chance(0.3) ? 0.5 : 1;
  for (statetype state = 0; state < node->numstates; state++) {
    // A number at its end keeps the names of a node apart.
    if (random.Chance(share)) SetNodeStateName_bn(node, state, ("s" + std::to_string(state)).c_str());
  }
}

// A discrete node becomes a discretized one, or gets a level for each state.
void GiveLevels(node_bn node, Random& random) {
  if (node->numstates == 0) return;
  if (random.Chance(0.5)) SetDiscrete(node, CONTINUOUS);
  std::vector<double> levels;
  double level = random.Between(-5, 5);
  const int count = node->discrete == DISCRETE ? node->numstates : std::max(node->numstates + 1, 2);
  for (int i = 0; i < count; i++) {
    levels.push_back(level);
    level += random.Chance(0.1) ? 0 : 0.25 * random.Between(1, 20);
  }
  if (node->discrete != DISCRETE && random.Chance(0.3)) levels.front() = -inf_dbl_ns;
  if (node->discrete != DISCRETE && random.Chance(0.3)) levels.back() = inf_dbl_ns;
  SetLevels(node, levels.data());
}

template <class Change>
void ForSomeRows(node_bn node, Random& random, double share, Change change) {
  auto parents = Nodes(GetNodeParents_bn(node));
  std::vector<statetype> states(parents.size() + 1, 0);
  do {
    if (random.Chance(share)) change(states.data());
  } while (NextConfiguration(parents, states));
}

void ChangeTables(node_bn node, Random& random) {
  switch (random.Below(5)) {
    case 0:  // a function in place of probabilities
      DeleteNodeRelation_bn(node);
      ForSomeRows(node, random, random.Chance(0.5) ? 1 : 0.7, [&](const statetype* row) {
        SetNodeFuncValue_bn(node, row,
                            node->discrete == DISCRETE ? random.Below(node->numstates) : RandomNumber(random));
      });
      break;
    case 1:
      DeleteNodeRelation_bn(node);
      break;
    case 2: {  // rows that are missing or impossible
      for (const float marker : {UNDEF_PROB, IMPOS_PROB}) {
        const std::vector<float> markers(static_cast<std::size_t>(node->numstates), marker);
        ForSomeRows(node, random, 0.3, [&](const statetype* row) { SetNodeProbs_bn(node, row, markers.data()); });
      }
      break;
    }
    default:
      break;
  }
  switch (random.Below(4)) {
    case 0: {
      const double experience = random.Between(1, 1000);
      ForSomeRows(node, random, 1, [&](const statetype* row) { SetNodeExperience_bn(node, row, experience); });
      break;
    }
    case 1:
      ForSomeRows(node, random, 0.8, [&](const statetype* row) {
        SetNodeExperience_bn(node, row, std::fabs(static_cast<double>(RandomNumber(random))));
      });
      break;
    default:
      break;
  }
  if (random.Chance(0.2)) IsNodeDeterministic_bn(node);
}

void EnterSomething(node_bn node, Random& random) {
  if (node->numstates == 0) return;
  switch (random.Below(6)) {
    case 0:
      EnterFinding_bn(node, random.Below(node->numstates));
      break;
    case 1: {
      std::vector<float> likelihood = RandomRow(random, node->numstates, 0.2);
      EnterNodeLikelihood_bn(node, likelihood.data());
      break;
    }
    case 2:
      if (node->levels) EnterNodeValue_bn(node, node->levels[0] + 0.125);
      break;
    default:
      break;
  }
}

void AddRealNode(const Net& net, Random& random, int number) {
  node_bn node = NewNode_bn(("Real" + std::to_string(number)).c_str(), 0, net.get());
  if (random.Chance(0.5)) SetNodeKind_bn(node, UTILITY_NODE);
  auto nodes = Nodes(net);
  for (int k = random.Below(3); k > 0; k--) {
    node_bn parent = nodes[static_cast<std::size_t>(random.Below(static_cast<int>(nodes.size())))];
    if (parent->numstates > 0 && IndexIn(node->preds, parent) < 0) AddLink_bn(parent, node);
  }
  if (random.Chance(0.8)) {
    ForSomeRows(node, random, random.Chance(0.5) ? 1 : 0.8,
                [&](const statetype* row) { SetNodeFuncValue_bn(node, row, RandomNumber(random)); });
  }
}

}  // namespace

std::string RandomText(Random& random) {
  std::string text;
  for (int words = random.Below(random.Chance(0.3) ? 60 : 6); words >= 0; --words) {
    switch (random.Below(14)) {
      case 0:
        text += "\"quoted\" \\ ";
        break;
      case 1:
        text += "\n  \t";
        break;
      case 2:
        text += "\r\n";
        break;
      case 3:
        text +=
            "gr\xC3\xBC\xC3\x9F"
            "e \xE2\x82\xAC ";
        break;
      case 4:
        text += std::string(static_cast<std::size_t>(random.Below(150)), random.Chance(0.5) ? ' ' : 'x');
        break;
      case 5:
        text += "// not /* a comment; } ( ";
        break;
      default:
        text += RandomName(random) + ' ';
    }
  }
  return text;
}

Net RandomRichNet(environ_ns env, Random& random) {
  RandomNetOptions options;
  options.maxNodes = 8;
  Net net = RandomNet(env, random, options);
  for (int i = random.Below(3); i > 0; i--) AddRealNode(net, random, i);
  for (const node_bn node : Nodes(net)) {
    if (random.Chance(0.7)) NameStates(node, random);
    if (random.Chance(0.4)) GiveLevels(node, random);
    if (random.Chance(0.3)) SetNodeUnits(node, random.Chance(0.5) ? "mg" : RandomText(random).c_str());
    if (random.Chance(0.3)) SetMeasure(node, random.Between(ORDINAL, RATIO));
    if (random.Chance(0.2) && node->kind == NATURE_NODE && node->discrete == DISCRETE) {
      SetNodeKind_bn(node, random.Chance(0.5) ? DECISION_NODE : random.Chance(0.5) ? ASSUME_NODE : ADVERSARY_NODE);
    }
    if (node->numstates > 0) ChangeTables(node, random);
    for (int i = 0; i < node->preds.num; i++) {
      if (random.Chance(0.2)) SetLinkName_bn(node, i, ("in" + std::to_string(i)).c_str());
    }
    if (random.Chance(0.3)) SetNodeTitle_bn(node, RandomText(random).c_str());
    if (random.Chance(0.3)) SetNodeComment_bn(node, RandomText(random).c_str());
    if (random.Chance(0.2)) Replace(node->author, RandomText(random));
    if (random.Chance(0.2)) Replace(node->whochanged, RandomText(random));
    node->locked = random.Chance(0.1);
    EnterSomething(node, random);
  }
  auto nodes = Nodes(net);
  while (nodes.size() > 1 && random.Chance(0.4)) {  // its children keep a placeholder; the name may be used again
    const auto at = nodes.begin() + random.Below(static_cast<int>(nodes.size()));
    const std::string name = GetNodeName_bn(*at);
    DeleteNode_bn(*at);
    nodes.erase(at);
    if (random.Chance(0.5)) nodes.push_back(NewNode_bn(name.c_str(), random.Between(1, 3), net.get()));
  }
  if (random.Chance(0.4)) SetNetTitle_bn(net.get(), RandomText(random).c_str());
  if (random.Chance(0.4)) SetNetComment_bn(net.get(), RandomText(random).c_str());
  if (random.Chance(0.2)) Replace(net->author, RandomText(random));
  if (random.Chance(0.2)) Replace(net->whochanged, RandomText(random));
  if (random.Chance(0.2)) net->whenchanged = static_cast<unsigned>(random.Bits() % 4000000000u);
  if (random.Chance(0.2)) net->numdimensions = random.Between(1, 4);
  if (random.Chance(0.2)) Replace(net->backcomments, "(one, two)");
  net->locked = random.Chance(0.1);
  if (random.Chance(0.5)) {
    nodelist_bn order = DupNodeList_bn(GetNetNodes_bn(net.get()));
    SetNetElimOrder_bn(net.get(), order);
    FreeNodeList_bn(order);
  }
  ClearErrors_ns(env, 6);
  return net;
}

}  // namespace bravic::testing

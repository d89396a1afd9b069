#include "support/rich_net.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

#include "Basic/Text.h"
#include "Bn/model/Attributes.h"
#include "Bn/model/Levels.h"

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
  const double numbers[] = {double(random.Between(-100, 100)), random.Share(),
                            (random.Share() - 0.5) * std::pow(10.0, random.Between(-36, 37)),
                            random.Chance(0.5) ? 0 : double(std::numeric_limits<float>::max()),
                            random.Between(-10000, 10000) / 64.0};
  return float(numbers[random.Below(5)]);
}

void Replace(char*& field, const std::string& text) {
  Free(field);
  field = DupText(text.c_str());
}

void NameStates(node_bn node, Random& random) {
  const double share = random.Chance(0.3) ? 0.5 : 1;
  for (statetype state = 0; state < node->numstates; ++state) {
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
  for (int i = 0; i < count; ++i) {
    levels.push_back(level);
    level += random.Chance(0.1) ? 0 : 0.25 * random.Between(1, 20);
  }
  if (node->discrete != DISCRETE && random.Chance(0.3)) levels.front() = -inf_dbl_ns;
  if (node->discrete != DISCRETE && random.Chance(0.3)) levels.back() = inf_dbl_ns;
  SetLevels(node, levels.data());
}

template <class Change>
void ForSomeRows(node_bn node, Random& random, double share, Change change) {
  ForEachRow(node, [&](const statetype* states) {
    if (random.Chance(share)) change(states);
  });
}

void ChangeTables(node_bn node, Random& random) {
  const int what = random.Below(5);
  if (what < 2) DeleteNodeRelation_bn(node);
  if (what == 0) {  // a function in place of probabilities
    ForSomeRows(node, random, random.Chance(0.5) ? 1 : 0.7, [&](const statetype* row) {
      SetNodeFuncValue_bn(node, row, node->discrete == DISCRETE ? random.Below(node->numstates) : RandomNumber(random));
    });
  } else if (what == 2) {  // rows that are missing or impossible
    for (const float marker : {UNDEF_PROB, IMPOS_PROB}) {
      const std::vector<float> markers(std::size_t(node->numstates), marker);
      ForSomeRows(node, random, 0.3, [&](const statetype* row) { SetNodeProbs_bn(node, row, markers.data()); });
    }
  }
  if (random.Chance(0.5)) {
    const double experience = random.Chance(0.5) ? random.Between(1, 1000) : 0;
    ForSomeRows(node, random, experience > 0 ? 1 : 0.8, [&](const statetype* row) {
      SetNodeExperience_bn(node, row, experience > 0 ? experience : std::fabs(double(RandomNumber(random))));
    });
  }
  if (random.Chance(0.2)) IsNodeDeterministic_bn(node);
}

void EnterSomething(node_bn node, Random& random) {
  if (node->numstates == 0) return;
  const int what = random.Below(6);
  if (what == 0) EnterFinding_bn(node, random.Below(node->numstates));
  if (what == 1) EnterNodeLikelihood_bn(node, RandomRow(random, node->numstates, 0.2).data());
  if (what == 2 && node->levels) EnterNodeValue_bn(node, node->levels[0] + (node->discrete == DISCRETE ? 1e-6 : 0.125));
}

void AddRealNode(const Net& net, Random& random, int number) {
  node_bn node = NewNode_bn(("Real" + std::to_string(number)).c_str(), 0, net.get());
  if (random.Chance(0.5)) SetNodeKind_bn(node, UTILITY_NODE);
  auto nodes = Nodes(net);
  for (int k = random.Below(3); k > 0; --k) {
    node_bn parent = random.Pick(nodes);
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
    const std::string pieces[] = {
        "\"quoted\" \\ ",
        "\n  \t",
        "\r\n",
        "gr\xC3\xBC\xC3\x9F\x65 \xE2\x82\xAC ",
        std::string(std::size_t(random.Below(150)), random.Chance(0.5) ? ' ' : 'x'),
        "// not /* a comment; } ( ",
    };
    const auto piece = std::size_t(random.Below(14));
    text += piece < std::size(pieces) ? pieces[piece] : RandomName(random) + ' ';
  }
  return text;
}

Net RandomRichNet(environ_ns env, Random& random) {
  RandomNetOptions options;
  options.maxNodes = 8;
  Net net = RandomNet(env, random, options);
  for (int i = random.Below(3); i > 0; --i) AddRealNode(net, random, i);
  for (const node_bn node : Nodes(net)) {
    if (random.Chance(0.7)) NameStates(node, random);
    if (random.Chance(0.4)) GiveLevels(node, random);
    if (random.Chance(0.3)) SetNodeUnits(node, random.Chance(0.5) ? "mg" : RandomText(random).c_str());
    if (random.Chance(0.3)) SetMeasure(node, random.Between(ORDINAL, RATIO));
    if (random.Chance(0.2) && node->kind == NATURE_NODE && node->discrete == DISCRETE) {
      SetNodeKind_bn(node, random.Chance(0.5) ? DECISION_NODE : random.Chance(0.5) ? ASSUME_NODE : ADVERSARY_NODE);
    }
    if (node->numstates > 0) ChangeTables(node, random);
    if (random.Chance(0.3)) node->chance = random.Chance(0.5) ? INVERTABLE : GAUSSIAN;
    for (int i = 0; i < node->preds.num; ++i) {
      if (random.Chance(0.2)) SetLinkName_bn(node, i, ("in" + std::to_string(i)).c_str());
    }
    if (random.Chance(0.3)) SetNodeTitle_bn(node, RandomText(random).c_str());
    if (random.Chance(0.3)) SetNodeComment_bn(node, RandomText(random).c_str());
    for (int texts = random.Below(4); texts > 1; --texts) {
      SetNodeText_bn(node, (RandomName(random) + "\"\n key").c_str(), RandomText(random).c_str());
    }
    if (random.Chance(0.2)) Replace(node->author, RandomText(random));
    if (random.Chance(0.2)) Replace(node->whochanged, RandomText(random));
    node->locked = random.Chance(0.1);
    EnterSomething(node, random);
  }
  auto nodes = Nodes(net);
  while (nodes.size() > 1 && random.Chance(0.4)) {  // its children keep a placeholder; the name may be used again
    const auto at = nodes.begin() + random.Below(int(nodes.size()));
    const std::string name = GetNodeName_bn(*at);
    DeleteNode_bn(*at);
    nodes.erase(at);
    if (random.Chance(0.5)) nodes.push_back(NewNode_bn(name.c_str(), random.Between(1, 3), net.get()));
  }
  if (random.Chance(0.4)) SetNetTitle_bn(net.get(), RandomText(random).c_str());
  if (random.Chance(0.4)) SetNetComment_bn(net.get(), RandomText(random).c_str());
  if (random.Chance(0.2)) SetNetText_bn(net.get(), "label", RandomText(random).c_str());
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

// Questions about links alone, against the moral graph of the ancestors (Lauritzen et al. 1990).

#include "support/net_fixture.h"
#include "support/nets.h"

namespace bravic::testing {
namespace {

class Separation : public NetTest {
 protected:
  int Ask(const std::vector<node_bn>& some, const std::vector<node_bn>& others, const std::vector<node_bn>& given) {
    nodelist_bn lists[] = {List(some), List(others), List(given)};
    const int answer = AreSeparated_bn(lists[0], lists[1], lists[2]);
    for (nodelist_bn list : lists) FreeNodeList_bn(list);
    return answer;
  }
};

// Ancestors of all that is named, parents of a common child married, what is given taken out: is there no path left?
bool AreSeparatedMorally(const std::vector<node_bn>& some, const std::vector<node_bn>& others,
                         const std::vector<node_bn>& given) {
  std::set<node_bn> ancestors;
  std::vector<node_bn> open = some;
  for (const auto* more : {&others, &given}) open.insert(open.end(), more->begin(), more->end());
  std::map<node_bn, std::set<node_bn>> joined;
  while (!open.empty()) {
    node_bn node = open.back();
    open.pop_back();
    if (!ancestors.insert(node).second) continue;
    std::vector<node_bn> family = Nodes(GetNodeParents_bn(node));
    open.insert(open.end(), family.begin(), family.end());
    family.push_back(node);
    for (node_bn a : family)
      for (node_bn b : family) joined[a].insert(b);
  }
  const auto isGiven = [&](node_bn node) { return std::find(given.begin(), given.end(), node) != given.end(); };
  std::set<node_bn> reached;
  open = some;
  while (!open.empty()) {
    node_bn node = open.back();
    open.pop_back();
    if (isGiven(node) || !reached.insert(node).second) continue;
    open.insert(open.end(), joined[node].begin(), joined[node].end());
  }
  return std::none_of(others.begin(), others.end(), [&](node_bn node) { return reached.count(node) > 0; });
}

TEST_F(Separation, IsThatOfTheMoralGraphOfTheAncestors) {
  int numSeparated = 0, numAsked = 0;
  for (std::uint64_t seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    RandomNetOptions options;
    options.minNodes = 4, options.maxNodes = 14, options.maxStates = 2, options.maxParents = 2;
    net = RandomNet(env, random, options);
    const std::vector<node_bn> nodes = Nodes(net);
    for (int round = 0; round < 10; ++round) {
      std::vector<node_bn> sets[3];
      for (node_bn node : nodes)
        for (auto& set : sets)
          if (random.Chance(&set == &sets[2] ? 0.3 : 0.12)) set.push_back(node);
      const bool expected = AreSeparatedMorally(sets[0], sets[1], sets[2]);
      ASSERT_EQ(Ask(sets[0], sets[1], sets[2]), expected) << "round " << round;
      ++numAsked;
      if (!sets[0].empty() && !sets[1].empty()) numSeparated += expected;
    }
    // The blanket separates the node from all others, and does without none of its members.
    node_bn node = random.Pick(nodes);
    nodelist_bn list = MarkovBlanket_bn(node);
    const std::vector<node_bn> blanket = Nodes(list);
    FreeNodeList_bn(list);
    std::vector<node_bn> rest = nodes;
    rest.erase(std::find(rest.begin(), rest.end(), node));
    ASSERT_EQ(Ask({node}, rest, blanket), 1);
    for (node_bn member : blanket) {
      std::vector<node_bn> fewer = blanket;
      fewer.erase(std::find(fewer.begin(), fewer.end(), member));
      ASSERT_EQ(Ask({node}, rest, fewer), 0) << GetNodeName_bn(member);
    }
  }
  EXPECT_GT(numSeparated, numAsked / 10);
}

TEST_F(Separation, OfPlaceholdersAndWhatIsRefused) {
  net = ChestClinic(env);
  DeleteNode_bn(At("either"));  // leaves placeholders with xray and dysp
  nodelist_bn list = MarkovBlanket_bn(At("dysp"));
  EXPECT_THAT(Nodes(list), ::testing::ElementsAre(At("bronc")));
  FreeNodeList_bn(list);
  EXPECT_EQ(Ask({At("xray")}, {At("dysp")}, {}), 1);
  EXPECT_EQ(Ask({At("xray")}, {At("xray")}, {}), 0);
  EXPECT_EQ(Ask({At("xray")}, {At("xray")}, {At("xray")}), 1);
  EXPECT_EQ(Ask({}, {}, {}), 1);
  EXPECT_EQ(Ask({At("asia")}, {}, Nodes(GetNodeParents_bn(At("xray")))), -1);
  Net other = Chain(env, 2);
  EXPECT_EQ(Ask({At("asia")}, {Named(other, "N1")}, {}), -1);
  EXPECT_EQ(Gist(), "5 5138 AreSeparated_bn node_bn; 5 2610 AreSeparated_bn N1 asia");
}

}  // namespace
}  // namespace bravic::testing

// Nets built and taken apart through the interface: links, placeholders, names, the node order, copies.
#include <cstring>
#include <map>

#include "Basic/Text.h"
#include "Bn/model/Net.h"
#include "Bn/model/Parents.h"
#include "Bn/model/Undo.h"
#include "support/library.h"
#include "support/nets.h"

namespace bravic::testing {
namespace {

class BuildingTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    net.reset(NewNet_bn("Test", env));
  }
  void TearDown() override {
    net.reset();
    LibraryTest::TearDown();
  }

  node_bn New(const char* name, int numstates = 2) { return NewNode_bn(name, numstates, net.get()); }
  // "A B" makes A a parent of B.
  void Link(std::initializer_list<const char*> pairs) {
    for (const char* pair : pairs) {
      const std::string text(pair);
      const auto blank = text.find(' ');
      EXPECT_GE(AddLink_bn(Named(net, text.substr(0, blank)), Named(net, text.substr(blank + 1))), 0) << pair;
    }
  }

  Net net;
};

std::string Names(const std::vector<node_bn>& nodes) {
  std::string names;
  for (node_bn node : nodes) names += std::string(names.empty() ? "" : " ") + GetNodeName_bn(node);
  return names;
}

std::string Names(nodelist_bn list) {
  return Names(Nodes(list));
}

TEST_F(BuildingTest, NewNodesAreLinkedInTheOrderAsked) {
  node_bn a = New("A"), b = New("B", 0), c = New("C", 3);
  EXPECT_EQ(a->preds.ar[0], a);
  EXPECT_EQ(GetNodeDiscrete_bn(b), 0);
  EXPECT_EQ(GetNodeDiscrete_bn(c), 1);
  EXPECT_STREQ(GetNodeStateName_bn(c, 2), "");
  EXPECT_EQ(AddLink_bn(a, c), 0);
  EXPECT_EQ(AddLink_bn(b, c), 1);
  EXPECT_EQ(Names(GetNodeParents_bn(c)), "A B");
  EXPECT_EQ(Names(GetNodeChildren_bn(a)), "C");
  EXPECT_EQ(DeleteLink_bn(0, c), 0);
  EXPECT_EQ(Names(GetNodeParents_bn(c)), "B");
  EXPECT_EQ(Names(GetNodeChildren_bn(a)), "");
  EXPECT_EQ(c->preds.ar[1], c);
}

TEST_F(BuildingTest, UnnamedNodesTakeTheFirstFreeNumber) {
  New("N1");
  New("N3");
  EXPECT_STREQ(GetNodeName_bn(New(nullptr)), "N2");
  EXPECT_STREQ(GetNodeName_bn(New(nullptr)), "N4");
  DeleteNode_bn(Named(net, "N2"));
  EXPECT_STREQ(GetNodeName_bn(New(nullptr)), "N2");
  EXPECT_STREQ(GetNodeName_bn(New(nullptr)), "N5");
}

TEST_F(BuildingTest, FreshNamesByMethod) {
  for (const char* name : {"Same", "H", "z", "A", "B", "C7", "C8", "Node1", "Node2"}) New(name);
  const struct {
    const char* stem;
    int method;
    const char* expected;
  } rows[] = {
      {"Free", 0, "Free"},  {"Same", 0, "Same1"}, {"H", 1, "J"},          {"z", 1, "a"},   {"I", 1, "J"},
      {"Same", 1, "Same1"}, {"H", 2, "H1"},       {"C7", 5, "C9"},        {"C7", 6, "C9"}, {"C1", 6, "C1"},
      {"C1", 5, "C2"},      {"Node", 2, "Node3"}, {"Param", 2, "Param1"},
  };
  for (const auto& row : rows) {
    char name[32];
    FreshName(row.stem, net.get(), row.method, name);
    EXPECT_STREQ(name, row.expected) << row.stem << " by method " << row.method;
  }
  for (char letter = 'A'; letter <= 'Z'; ++letter) {
    const char name[] = {letter, 0};
    if (!Named(net, name)) New(name);
  }
  char name[32];
  FreshName("A", net.get(), 1, name);
  EXPECT_STREQ(name, "A1") << "every letter is in use";
}

TEST_F(BuildingTest, EveryNameIsFoundAmongMany) {
  Random random(3);
  std::map<std::string, node_bn> named;
  for (int step = 0; step < 3000; ++step) {
    const std::string name = "n" + std::to_string(random.Below(900));
    const auto at = named.find(name);
    ASSERT_EQ(Named(net, name), at == named.end() ? nullptr : at->second) << name << " in step " << step;
    if (at == named.end()) {
      named[name] = New(name.c_str());
    } else if (random.Chance(0.5)) {
      DeleteNode_bn(at->second);
      named.erase(at);
    } else {
      const std::string other = name + "x" + std::to_string(step);
      EXPECT_EQ(SetNodeName_bn(at->second, other.c_str()), 0);
      named[other] = at->second;
      named.erase(at);
    }
  }
  for (const auto& [name, node] : named) EXPECT_EQ(Named(net, name), node) << name;
  EXPECT_EQ(Nodes(net).size(), named.size());
}

TEST_F(BuildingTest, ALongStemIsCutToFit) {
  const std::string longest(30, 'x');
  New(longest.c_str());
  char name[32];
  FreshName(longest.c_str(), net.get(), 0, name);
  EXPECT_EQ(name, std::string(29, 'x') + "1");
}

TEST_F(BuildingTest, NodesAreHandedOutParentsFirstByComponent) {
  for (const char* name : {"W", "X", "Y", "Z"}) New(name);
  Link({"Y X"});
  EXPECT_EQ(Names(net ? GetNetNodes_bn(net.get()) : nullptr), "W Y X Z");
  Link({"Z W", "X Z"});
  EXPECT_EQ(Names(Nodes(net)), "Y X Z W");
}

TEST_F(BuildingTest, ANetWithCyclesHandsOutAllItsNodes) {
  for (const char* name : {"A", "B", "C"}) New(name);
  Link({"A B", "B C"});
  EXPECT_EQ(AddLink_bn(Named(net, "C"), Named(net, "A")), 0);
  EXPECT_EQ(Reports(), "4 3200 AddLink_bn: Connecting node 'C' to node 'A' results in a cycle (with no time delays)\n");
  EXPECT_EQ(AddLink_bn(Named(net, "B"), Named(net, "B")), 1);
  EXPECT_EQ(Reports(), "4 3200 AddLink_bn: Connecting node 'B' to node 'B' results in a cycle (with no time delays)\n");
  EXPECT_EQ(Nodes(net).size(), 3u);
  EXPECT_EQ(net->numcycles, 2);
}

TEST_F(BuildingTest, ADoubleLinkIsAllowedWithAWarning) {
  New("A");
  New("B");
  Link({"A B"});
  EXPECT_EQ(AddLink_bn(Named(net, "A"), Named(net, "B")), 1);
  EXPECT_EQ(
      Reports(),
      "4 3208 AddLink_bn: Connecting node 'A' to node 'B' results in multiple links between the same two nodes\n");
  EXPECT_EQ(Names(GetNodeChildren_bn(Named(net, "A"))), "B");
  DeleteLink_bn(0, Named(net, "B"));
  EXPECT_EQ(Names(GetNodeChildren_bn(Named(net, "A"))), "B");
  DeleteLink_bn(0, Named(net, "B"));
  EXPECT_EQ(Names(GetNodeChildren_bn(Named(net, "A"))), "");
}

TEST_F(BuildingTest, ADeletedParentLeavesAPlaceholder) {
  node_bn a = New("A", 2), b = New("B", 3), c = New("C", 2);
  Link({"A C", "B C"});
  SetTable(c, {0.1f, 0.9f, 0.2f, 0.8f, 0.3f, 0.7f, 0.4f, 0.6f, 0.5f, 0.5f, 0.6f, 0.4f});
  const auto table = GetTable(c);
  DeleteNode_bn(a);
  ASSERT_EQ(Names(GetNodeParents_bn(c)), "A B");
  node_bn stub = Nodes(GetNodeParents_bn(c))[0];
  EXPECT_EQ(GetNodeNumberStates_bn(stub), 2);
  EXPECT_EQ(GetTable(c), table);
  EXPECT_EQ(Named(net, "A"), nullptr);
  EXPECT_EQ(Names(Nodes(net)), "B C");

  EXPECT_EQ(AddLink_bn(stub, b), -1);
  EXPECT_EQ(Reports(), "5 5138 AddLink_bn: Parent placeholder (disconnected) node passed for node_bn\n");
  EXPECT_STREQ(GetLinkName_bn(c, 0), "Arg0");

  SwitchNodeParent_bn(0, c, New("A", 2));
  EXPECT_EQ(Names(GetNodeChildren_bn(Named(net, "A"))), "C");
  EXPECT_EQ(GetTable(c), table);
  EXPECT_EQ(net->stubs.num, 0) << "nothing needs the placeholder any more";
}

TEST_F(BuildingTest, APlaceholderGoesWithTheLastChildThatNeedsIt) {
  New("A");
  New("B");
  New("C");
  Link({"A B", "A C"});
  DeleteNode_bn(Named(net, "A"));
  DeleteLink_bn(0, Named(net, "B"));
  EXPECT_EQ(net->stubs.num, 1);
  DeleteNode_bn(Named(net, "C"));
  EXPECT_EQ(net->stubs.num, 0);
}

TEST_F(BuildingTest, ALinkDeletedKeepsTheSliceOfTheFinding) {
  for (const bool found : {false, true}) {
    Net local(NewNet_bn("Local", env));
    node_bn a = NewNode_bn("A", 2, local.get()), b = NewNode_bn("B", 2, local.get());
    AddLink_bn(a, b);
    SetTable(b, {0.1f, 0.9f, 0.2f, 0.8f});
    if (found) EnterFinding_bn(a, 1);
    DeleteLink_bn(0, b);
    EXPECT_EQ(GetTable(b), (found ? std::vector<float>{0.2f, 0.8f} : std::vector<float>{0.1f, 0.9f}));
  }
}

TEST_F(BuildingTest, LinkNamesFollowTheirParents) {
  for (const char* name : {"A", "B", "C", "D"}) New(name);
  Link({"A D", "B D"});
  SetLinkName_bn(Named(net, "D"), 1, "second");
  Link({"C D"});
  DeleteLink_bn(0, Named(net, "D"));
  EXPECT_STREQ(GetLinkName_bn(Named(net, "D"), 0), "second");
  EXPECT_STREQ(GetLinkName_bn(Named(net, "D"), 1), "C");
}

TEST_F(BuildingTest, ASwitchChecksWhatTheTablesWereBuiltFor) {
  const double levels[] = {1, 2}, others[] = {1, 2.5};
  node_bn child = New("Child"), old = New("Old");
  AddLink_bn(old, child);
  SetNodeLevels_bn(old, 2, levels);
  node_bn wide = New("Wide", 3), continuous = New("Cont", 0), off = New("Off"), fit = New("Fit");
  SetNodeLevels_bn(continuous, 2, (const double[]){0, 1, 2});
  SetNodeLevels_bn(off, 2, others);
  const struct {
    node_bn parent;
    const char* reason;
  } rows[] = {
      {wide, "node 'Wide' has 3 states, but the 'Old' parent of 'Child' must have 2 states"},
      {continuous, "node 'Cont' is a CONTINUOUS variable, but the 'Old' parent of 'Child' must be a DISCRETE variable"},
      {off, "level 1 of node 'Off' is 2.5, but that level of the 'Old' parent of 'Child' must be 2"},
  };
  for (const auto& row : rows) {
    SwitchNodeParent_bn(0, child, row.parent);
    EXPECT_EQ(Reports(), std::string("5 3201 SwitchNodeParent_bn: Can't connect, because ") + row.reason + "\n");
    EXPECT_EQ(Names(GetNodeParents_bn(child)), "Old");
  }
  SwitchNodeParent_bn(0, child, fit);
  EXPECT_EQ(Names(GetNodeParents_bn(child)), "Fit");
  EXPECT_EQ(Names(GetNodeChildren_bn(old)), "");
  EXPECT_EQ(Names(GetNodeChildren_bn(fit)), "Child");
}

TEST_F(BuildingTest, UnitsAndMeasuresOfASwitch) {
  node_bn child = New("Child"), old = New("Old"), parent = New("New");
  AddLink_bn(old, child);
  const double centimetres[] = {100, 200}, metres[] = {1, 2}, wrong[] = {1, 3};
  old->units = DupText("cm");
  old->measure = INTERVAL;
  SetNodeLevels_bn(old, 2, centimetres);
  parent->units = DupText("kg");
  parent->measure = ORDINAL;
  SwitchNodeParent_bn(0, child, parent);
  EXPECT_EQ(Reports(),
            "5 3201 SwitchNodeParent_bn: Can't connect, because node 'New' is a ORDINAL variable, but the 'Old' parent "
            "of 'Child' must be at least a INTERVAL variable\n");
  parent->measure = RATIO;
  SwitchNodeParent_bn(0, child, parent);
  EXPECT_EQ(Reports(),
            "5 3201 SwitchNodeParent_bn: Can't connect, because node 'New' is in kg units, but the 'Old' parent of "
            "'Child' must be in cm (or equivalent) units\n");
  std::strcpy(parent->units, "m");
  SetNodeLevels_bn(parent, 2, wrong);
  SwitchNodeParent_bn(0, child, parent);
  EXPECT_EQ(
      Reports(),
      "5 3201 SwitchNodeParent_bn: Can't connect, because level 1 of node 'New' is 300 (converted for units), but "
      "that level of the 'Old' parent of 'Child' must be 200\n");
  SetNodeLevels_bn(parent, 2, metres);
  SwitchNodeParent_bn(0, child, parent);
  EXPECT_EQ(Names(GetNodeParents_bn(child)), "New");
}

TEST_F(BuildingTest, ASwitchMayCloseACycleOrDoubleALink) {
  for (const char* name : {"A", "B", "C"}) New(name);
  Link({"A B", "B C", "A C"});
  SwitchNodeParent_bn(0, Named(net, "B"), Named(net, "C"));
  EXPECT_EQ(Reports(),
            "4 3202 SwitchNodeParent_bn: Connecting node 'C' to node 'B' results in a directed cycle (with no time "
            "delays)\n");
  SwitchNodeParent_bn(1, Named(net, "C"), Named(net, "B"));
  EXPECT_NE(Reports().find("4 3210 SwitchNodeParent_bn: Connecting node 'B' to node 'C' results in multiple links"),
            std::string::npos);
}

TEST_F(BuildingTest, CopiesWithinANetKeepTheirOtherParents) {
  node_bn a = New("A"), b = New("B2"), c = New("C");
  Link({"A B2", "B2 C", "A C"});
  SetTable(c, {0.1f, 0.9f, 0.2f, 0.8f, 0.3f, 0.7f, 0.4f, 0.6f});
  SetNodeTitle_bn(c, "a title");
  nodelist_bn list = NewNodeList_bn(2, env);
  SetNthNode_bn(list, 0, c);
  SetNthNode_bn(list, 1, b);
  nodelist_bn copies = DuplicateNodes_bn(list, net.get());
  EXPECT_EQ(Names(copies), "C1 B3");
  node_bn copy = NthNode_bn(copies, 0);
  EXPECT_EQ(Names(GetNodeParents_bn(copy)), "B3 A");
  EXPECT_EQ(Names(GetNodeChildren_bn(a)), "B2 C C1 B3");
  EXPECT_EQ(GetTable(copy), GetTable(c));
  EXPECT_STREQ(GetNodeTitle_bn(copy), "a title");

  Net other(NewNet_bn("Other", env));
  nodelist_bn moved = DuplicateNodes_bn(list, other.get());
  EXPECT_EQ(Names(moved), "C B2");
  EXPECT_EQ(Names(GetNodeParents_bn(NthNode_bn(moved, 0))), "B2 A");
  EXPECT_EQ(Named(other, "A"), nullptr) << "a placeholder, found by no name";
  EXPECT_EQ(GetTable(NthNode_bn(moved, 0)), GetTable(c));
  for (nodelist_bn made : {list, copies, moved}) FreeNodeList_bn(made);
}

TEST_F(BuildingTest, CopiesThatDoNotFitLeaveTheNetAsItWas) {
  node_bn a = New("A"), b = New("B", 500);
  SetNodeProbs_bn(b, nullptr, std::vector<float>(500, 0.002f).data());
  nodelist_bn list = NewNodeList_bn(2, env);
  SetNthNode_bn(list, 0, a);
  SetNthNode_bn(list, 1, b);
  const auto used = MemoryUsed();
  SetHeapGate([](std::size_t nbytes) { return nbytes < 500 * sizeof(float); });
  EXPECT_EQ(DuplicateNodes_bn(list, net.get()), nullptr);
  SetHeapGate(nullptr);
  EXPECT_EQ(Reports(), "5 5509 DuplicateNodes_bn: Out of memory duplicating list of length 2\n");
  EXPECT_EQ(MemoryUsed(), used);
  EXPECT_EQ(Names(Nodes(net)), "A B");
  FreeNodeList_bn(list);
}

TEST_F(BuildingTest, NodesOfAnotherNetAreNoParents) {
  Net other(NewNet_bn("Other", env));
  node_bn foreign = NewNode_bn("F", 2, other.get()), child = New("Child");
  EXPECT_EQ(AddLink_bn(foreign, child), -1);
  EXPECT_EQ(Reports(), "5 2016 AddLink_bn: New parents are not a list of nodes from node's net\n");
}

TEST_F(BuildingTest, RefusedRemovalsChangeNothing) {
  node_bn a = New("A"), b = New("B");
  Link({"A B"});
  Net other(NewNet_bn("Other", env));
  node_bn foreign = NewNode_bn("F", 2, other.get());
  const struct {
    std::vector<node_bn> nodes, stubs;
    int number;
    const char* reason;
  } rows[] = {
      {{a}, {}, -3204, "node 'A' to be removed has child 'B' which is not being removed"},
      {{a, b, foreign}, {}, -3205, "trying to remove nodes that aren't in the net"},
      {{}, {b}, -3206, "trying to remove stubs that aren't in the net"},
  };
  const int sequence = UndoSequence(net.get());
  for (const auto& row : rows) {
    Failure failure = RemoveNodesFromNet(net.get(), row.nodes, row.stubs);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->number, row.number);
    EXPECT_EQ(failure->mesg, std::string("Couldn't remove nodes from net 'Test', because ") + row.reason);
  }
  EXPECT_EQ(Names(Nodes(net)), "A B");
  EXPECT_EQ(UndoSequence(net.get()), sequence);
}

TEST_F(BuildingTest, ArgumentErrors) {
  node_bn a = New("A"), b = New("B");
  Link({"A B"});
  const struct {
    const char* what;
    void (*call)(net_bn net, node_bn node);
    const char* reports;
  } rows[] = {
      {"no name", [](net_bn n, node_bn) { EXPECT_EQ(NewNet_bn(nullptr, n->env), nullptr); },
       "5 5114 NewNet_bn: NULL passed for name\n"},
      {"empty name", [](net_bn n, node_bn) { EXPECT_EQ(NewNet_bn("", n->env), nullptr); },
       "5 5142 NewNet_bn: Empty string passed for name\n"},
      {"bad name", [](net_bn n, node_bn) { EXPECT_EQ(NewNode_bn("a b", 2, n), nullptr); },
       "5 5118 NewNode_bn: Name string passed is bad because 'a b' contains a space\n"},
      {"used name", [](net_bn n, node_bn) { EXPECT_EQ(NewNode_bn("A", 2, n), nullptr); },
       "5 5512 NewNode_bn: Name 'A' is already used by another node in net 'Test'\n"},
      {"negative states", [](net_bn n, node_bn) { EXPECT_EQ(NewNode_bn("Z", -1, n), nullptr); },
       "5 5513 NewNode_bn: Argument 'num_states' is negative (=-1), adding node to net 'Test'\n"},
      {"NULL net", [](net_bn, node_bn) { EXPECT_EQ(NewNode_bn("Z", 2, nullptr), nullptr); },
       "5 5104 NewNode_bn: NULL passed for net_bn\n"},
      {"a node as a net",
       [](net_bn, node_bn n) { EXPECT_EQ(NewNode_bn("Z", 2, reinterpret_cast<net_bn>(n)), nullptr); },
       "5 5143 NewNode_bn: Damaged or freed net_bn passed\n"},
      {"NULL node", [](net_bn, node_bn n) { EXPECT_EQ(AddLink_bn(n, nullptr), -1); },
       "5 5105 AddLink_bn: NULL passed for node_bn\n"},
      {"a net as a node", [](net_bn n, node_bn) { DeleteNode_bn(reinterpret_cast<node_bn>(n)); },
       "5 5144 DeleteNode_bn: Damaged or freed node_bn passed\n"},
      {"link index", [](net_bn, node_bn n) { EXPECT_LT(DeleteLink_bn(1, n), 0); },
       "5 5109 DeleteLink_bn: Passed parent_index (=1) for node 'B' is out of bounds (node has 1 parents, so it must "
       "be "
       "between 0 and 0 inclusive)\n"},
      {"switched index", [](net_bn, node_bn n) { SwitchNodeParent_bn(-1, n, n); },
       "5 5109 SwitchNodeParent_bn: Passed parent_index (=-1) for node 'B' is out of bounds (node has 1 parents, so "
       "it "
       "must be between 0 and 0 inclusive)\n"},
      {"no list", [](net_bn n, node_bn) { EXPECT_EQ(DuplicateNodes_bn(nullptr, n), nullptr); },
       "5 5110 DuplicateNodes_bn: NULL passed for the nodelist_bn\n"},
  };
  for (const auto& row : rows) {
    row.call(net.get(), b);
    EXPECT_EQ(Reports(), row.reports) << row.what;
  }
  EXPECT_EQ(Names(Nodes(net)), "A B");
  EXPECT_EQ(Names(GetNodeChildren_bn(a)), "B");
  FreeNet_bn(nullptr);
}

TEST_F(BuildingTest, ALargeNetIsNamedAndOrdered) {
  constexpr int NUM = 5000;
  std::vector<node_bn> nodes;
  for (int i = 0; i < NUM; ++i) nodes.push_back(New(nullptr));
  for (int i = 1; i < NUM; ++i) AddLink_bn(nodes[static_cast<std::size_t>(i / 2)], nodes[static_cast<std::size_t>(i)]);
  EXPECT_STREQ(GetNodeName_bn(nodes.back()), "N5000");
  const auto ordered = Nodes(net);
  ASSERT_EQ(ordered.size(), nodes.size());
  for (node_bn node : ordered) {
    for (node_bn parent : Nodes(GetNodeParents_bn(node))) ASSERT_LT(parent->index, node->index);
  }
}

}  // namespace
}  // namespace bravic::testing

// Nets built and taken apart through the interface: links, placeholders, names, the node order, copies.

#include "Basic/Text.h"
#include "Bn/model/Net.h"
#include "Bn/model/NodeNames.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

class BuildingTest : public NetTest {
 protected:
  // "A B" makes A a parent of B.
  void Link(std::initializer_list<const char*> pairs) {
    for (const char* pair : pairs) {
      const std::string text(pair);
      const auto blank = text.find(' ');
      EXPECT_GE(AddLink_bn(Named(net, text.substr(0, blank)), Named(net, text.substr(blank + 1))), 0) << pair;
    }
  }
};

TEST_F(BuildingTest, NodesThatTheLibraryMakesHaveTwoStatesAndNamesOfTheirOwn) {
  SetUndoDepth_bn(9, net.get());
  std::set<std::string> names;
  for (const char* stem :
       {static_cast<const char*>(nullptr), static_cast<const char*>(nullptr), "cause", "cause", "Param"}) {
    node_bn node = NewDefaultNode(stem, net.get());
    const std::string name = GetNodeName_bn(node);
    EXPECT_EQ(name.find(stem ? stem : "Node"), 0u) << name;
    EXPECT_TRUE(names.insert(name).second) << name;
    EXPECT_EQ(NodeNamed_bn(name.c_str(), net.get()), node);
    EXPECT_EQ(GetNodeKind_bn(node), NATURE_NODE);
    EXPECT_EQ(GetNodeNumberStates_bn(node) + GetNodeDiscrete_bn(node), 3);
  }
  const std::size_t before = Nodes(net).size();
  EXPECT_EQ(NewNode(names.begin()->c_str(), 2, net.get()), nullptr) << "a name that is taken";
  EXPECT_THAT(Reports(), ::testing::HasSubstr("(nn != -1)"));
  EXPECT_EQ(Nodes(net).size(), before);
  for (std::size_t left = names.size(); left-- > 0;) {
    EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
    EXPECT_EQ(Nodes(net).size(), before - names.size() + left);
  }
  SetUndoDepth_bn(1, net.get());
}

TEST_F(BuildingTest, FreshNamesByMethod) {
  const std::string longest(30, 'x');
  for (const char* name : {"Same", "H", "z", "A", "B", "C7", "C8", "Node1", "Node2", "N1", "N3"}) New(name);
  New(longest.c_str());
  EXPECT_STREQ(GetNodeName_bn(New(nullptr)), "N2");
  EXPECT_STREQ(GetNodeName_bn(New(nullptr)), "N4");
  DeleteNode_bn(At("N2"));
  EXPECT_STREQ(GetNodeName_bn(New(nullptr)), "N2") << "the first free number";
  const struct {
    std::string stem;
    int method;
    std::string expected;
  } rows[] = {
      {"Free", 0, "Free"},  {"Same", 0, "Same1"}, {longest, 0, std::string(29, 'x') + "1"},
      {"H", 1, "J"},        {"z", 1, "a"},        {"I", 1, "J"},
      {"Same", 1, "Same1"}, {"H", 2, "H1"},       {"C7", 5, "C9"},
      {"C7", 6, "C9"},      {"C1", 6, "C1"},      {"C1", 5, "C2"},
      {"Node", 2, "Node3"},
  };
  char name[32];
  for (const auto& row : rows) {
    FreshName(row.stem.c_str(), net.get(), row.method, name);
    EXPECT_EQ(name, row.expected) << row.stem << " by method " << row.method;
  }
  for (char letter = 'A'; letter <= 'Z'; ++letter) {
    if (const char only[] = {letter, 0}; !At(only)) New(only);
  }
  FreshName("A", net.get(), 1, name);
  EXPECT_STREQ(name, "A1") << "every letter is in use";
}

// Names are the first free ones whatever is remembered of the numbers in use.
TEST_F(BuildingTest, FreshNamesOfManyCopies) {
  for (const char* name : {"X1", "X2", "Y2", "X4"}) New(name);
  const auto copies = [&](std::initializer_list<const char*> names) {
    std::string fresh;
    for (const char* name : names) {
      nodelist_bn one = List({At(name)}), made = DuplicateNodes_bn(one, net.get());
      fresh += Names(made);
      FreeNodeList_bn(one);
      FreeNodeList_bn(made);
    }
    return fresh;
  };
  EXPECT_EQ(copies({"X1", "X4", "X1", "Y2", "X3"}), "X3X5X6Y3X7");
  DeleteNode_bn(At("X5"));
  EXPECT_EQ(copies({"X7", "X2", "X6"}), "X8X5X9");
}

TEST_F(BuildingTest, NodesAreHandedOutParentsFirstByComponent) {
  for (const char* name : {"W", "X", "Y", "Z"}) New(name);
  Link({"Y X"});
  EXPECT_EQ(Names(Nodes(net)), "W Y X Z");
  Link({"Z W", "X Z"});
  EXPECT_EQ(Names(Nodes(net)), "Y X Z W");
}

// Cycles and double links are allowed, with a warning.
TEST_F(BuildingTest, LinksToBeWaryOf) {
  node_bn a = New("A"), b = New("B", 2, {a}), c = New("C", 2, {b});
  EXPECT_EQ(AddLink_bn(c, a), 0);
  EXPECT_EQ(AddLink_bn(b, b), 1);
  EXPECT_EQ(Gist(), "4 3200 AddLink_bn C A; 4 3200 AddLink_bn B B");
  EXPECT_EQ(Nodes(net).size(), 3u);
  EXPECT_EQ(net->numcycles, 2);
  DeleteLink_bn(0, a);
  DeleteLink_bn(1, b);
  EXPECT_EQ(AddLink_bn(a, b), 1);
  EXPECT_EQ(Gist(), "4 3208 AddLink_bn A B");
  EXPECT_EQ(Names(GetNodeChildren_bn(a)), "B");
  DeleteLink_bn(0, b);
  EXPECT_EQ(Names(GetNodeChildren_bn(a)), "B");
  SwitchNodeParent_bn(0, b, c);
  EXPECT_EQ(Gist(), "4 3202 SwitchNodeParent_bn C B");
  EXPECT_EQ(Names(GetNodeChildren_bn(a)), "");
  AddLink_bn(a, c);
  SwitchNodeParent_bn(1, c, b);
  EXPECT_EQ(Gist(), "4 3202 SwitchNodeParent_bn B C; 4 3210 SwitchNodeParent_bn B C");
}

TEST_F(BuildingTest, ADeletedParentLeavesAPlaceholder) {
  node_bn a = New("A"), b = New("B", 3), c = New("C", 2, {a, b}), d = New("D", 2, {a});
  SetTable(c, {0.1f, 0.9f, 0.2f, 0.8f, 0.3f, 0.7f, 0.4f, 0.6f, 0.5f, 0.5f, 0.6f, 0.4f});
  const auto table = GetTable(c);
  const double levels[] = {1, 2};
  SetNodeStateName_bn(a, 1, "last");
  SetNodeLevels_bn(a, 2, levels);
  DeleteNode_bn(a);
  ASSERT_EQ(Names(GetNodeParents_bn(c)), "A B");
  node_bn stub = NthNode_bn(GetNodeParents_bn(c), 0);
  EXPECT_EQ(GetNodeNumberStates_bn(stub), 2);
  EXPECT_STREQ(GetNodeStateName_bn(stub, 1), "last");
  EXPECT_EQ(GetNodeLevel_bn(stub, 1), 2);
  EXPECT_EQ(GetTable(c), table);
  EXPECT_EQ(At("A"), nullptr);
  EXPECT_EQ(Names(Nodes(net)), "B C D");
  EXPECT_STREQ(GetLinkName_bn(c, 0), "Arg0");

  SetNodeLevels_bn(New("A"), 2, levels);
  SwitchNodeParent_bn(0, c, At("A"));
  EXPECT_EQ(Names(GetNodeChildren_bn(At("A"))), "C");
  EXPECT_EQ(GetTable(c), table);
  EXPECT_EQ(net->stubs.num, 1);
  DeleteNode_bn(d);
  EXPECT_EQ(net->stubs.num, 0) << "nothing needs the placeholder any more";
}

TEST_F(BuildingTest, ALinkDeletedKeepsTheSliceOfTheFinding) {
  for (const bool found : {false, true}) {
    node_bn a = New(nullptr), b = New(nullptr, 2, {a, New(nullptr)});
    SetTable(b, {0.1f, 0.9f, 0.2f, 0.8f, 0.3f, 0.7f, 0.4f, 0.6f});
    SetLinkName_bn(b, 1, "second");
    if (found) EnterFinding_bn(a, 1);
    DeleteLink_bn(0, b);
    EXPECT_STREQ(GetLinkName_bn(b, 0), "second");
    EXPECT_EQ(GetTable(b),
              (found ? std::vector<float>{0.3f, 0.7f, 0.4f, 0.6f} : std::vector<float>{0.1f, 0.9f, 0.2f, 0.8f}));
  }
}

TEST_F(BuildingTest, ASwitchChecksWhatTheTablesWereBuiltFor) {
  const double levels[] = {100, 200}, others[] = {100, 250}, bounds[] = {0, 1, 2}, metres[] = {1, 2}, wrong[] = {1, 3};
  node_bn old = New("Old"), child = New("Child", 2, {old}), wide = New("Wide", 3), continuous = New("Cont", 0),
          off = New("Off"), fit = New("Fit"), measured = New("New");
  SetNodeLevels_bn(old, 2, levels);
  SetNodeLevels_bn(continuous, 2, bounds);
  SetNodeLevels_bn(off, 2, others);
  const auto refused = [&](node_bn parent) {
    SwitchNodeParent_bn(0, child, parent);
    EXPECT_EQ(Names(GetNodeParents_bn(child)), "Old");
    return Gist();
  };
  const std::string begin = "5 3201 SwitchNodeParent_bn ";
  EXPECT_EQ(refused(wide), begin + "Wide 3 Old Child 2");
  EXPECT_EQ(refused(continuous), begin + "Cont CONTINUOUS Old Child DISCRETE");
  EXPECT_EQ(refused(off), begin + "1 Off 250 Old Child 200");
  old->units = DupText("cm");
  old->measure = INTERVAL;
  measured->units = DupText("kg");
  measured->measure = ORDINAL;
  EXPECT_EQ(refused(measured), begin + "New ORDINAL Old Child INTERVAL");
  measured->measure = RATIO;
  EXPECT_EQ(refused(measured), begin + "New Old Child");
  Free(std::exchange(old->units, DupText(std::string(600, 'c'))));
  EXPECT_EQ(refused(measured), begin + "New Old Child");
  Free(std::exchange(old->units, DupText("cm")));
  std::strcpy(measured->units, "m");
  SetNodeLevels_bn(measured, 2, wrong);
  EXPECT_EQ(refused(measured), begin + "1 New 300 Old Child 200");
  SetNodeLevels_bn(measured, 2, metres);
  SwitchNodeParent_bn(0, child, measured);
  EXPECT_EQ(Names(GetNodeParents_bn(child)), "New");
  SwitchNodeParent_bn(0, child, fit);
  EXPECT_EQ(Names(GetNodeParents_bn(child)), "Fit") << "of what New has, its children ask for nothing but levels";
  EXPECT_EQ(Names(GetNodeChildren_bn(old)) + Names(GetNodeChildren_bn(fit)), "Child");
}

TEST_F(BuildingTest, CopiesWithinANetKeepTheirOtherParents) {
  node_bn a = New("A"), b = New("B2", 2, {a}), c = New("C", 2, {b, a});
  SetTable(c, {0.1f, 0.9f, 0.2f, 0.8f, 0.3f, 0.7f, 0.4f, 0.6f});
  SetNodeTitle_bn(c, "a title");
  c->measure = ORDINAL;
  SetNodeStateName_bn(c, 1, "last");
  nodelist_bn list = List({c, b});
  nodelist_bn copies = DuplicateNodes_bn(list, net.get());
  EXPECT_EQ(Names(copies), "C1 B3");
  node_bn copy = NthNode_bn(copies, 0);
  EXPECT_EQ(Names(GetNodeParents_bn(copy)), "B3 A");
  EXPECT_EQ(Names(GetNodeChildren_bn(a)), "B2 C C1 B3");
  EXPECT_EQ(GetTable(copy), GetTable(c));
  EXPECT_STREQ(GetNodeTitle_bn(copy), "a title");
  EXPECT_STREQ(GetNodeStateName_bn(copy, 1), "last");
  EXPECT_EQ(copy->measure, ORDINAL);

  Net other(NewNet_bn("Other", env));
  nodelist_bn moved = DuplicateNodes_bn(list, other.get());
  EXPECT_EQ(Names(moved), "C B2");
  EXPECT_EQ(Names(GetNodeParents_bn(NthNode_bn(moved, 0))), "B2 A");
  EXPECT_EQ(Named(other, "A"), nullptr) << "a placeholder, found by no name";
  EXPECT_EQ(GetTable(NthNode_bn(moved, 0)), GetTable(c));
  node_bn big = New("Big", 500);
  SetNodeProbs_bn(big, nullptr, std::vector<float>(500, 0.002f).data());
  AddNodeToList_bn(big, list, 0);
  SetHeapGate([](std::size_t nbytes) { return nbytes < 500 * sizeof(float); });
  EXPECT_EQ(DuplicateNodes_bn(list, other.get()), nullptr);
  SetHeapGate(nullptr);
  EXPECT_EQ(Gist(), "5 5509 DuplicateNodes_bn 3");
  EXPECT_EQ(Nodes(other).size(), 2u);
  for (nodelist_bn made : {list, copies, moved}) FreeNodeList_bn(made);
}

}  // namespace
}  // namespace bravic::testing

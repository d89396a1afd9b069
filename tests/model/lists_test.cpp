// Node lists of hosts: filled, read, changed and refused.
#include "Bn/model/Lists.h"

#include <climits>

#include "support/library.h"
#include "support/nets.h"

namespace bravic::testing {
namespace {

class ListsTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    net.reset(NewNet_bn("Test", env));
    for (const char* name : {"A", "B", "C"}) NewNode_bn(name, 2, net.get());
    list = NewNodeList_bn(0, env);
  }
  void TearDown() override {
    FreeNodeList_bn(list);
    net.reset();
    LibraryTest::TearDown();
  }
  void Add(const char* name, int index) {
    EXPECT_EQ(AddNodeToList_bn(Named(net, name), list, index), Named(net, name));
  }
  std::string Text() {
    std::string text;
    for (node_bn node : Nodes(list)) text += node ? GetNodeName_bn(node) : "-";
    return text;
  }

  Net net;
  nodelist_bn list = nullptr;
};

TEST_F(ListsTest, NodesGoInAndOutAnywhere) {
  Add("A", 0);
  Add("B", INT_MAX);
  Add("C", 1);
  Add("A", 3);
  EXPECT_EQ(AddNodeToList_bn(nullptr, list, 0), nullptr);
  EXPECT_EQ(Text(), "-ACBA");
  EXPECT_EQ(RemoveNthNode_bn(list, 2), Named(net, "C"));
  EXPECT_EQ(RemoveNthNode_bn(list, INT_MAX), Named(net, "A"));
  EXPECT_EQ(SetNthNode_bn(list, 0, Named(net, "C")), 0);
  EXPECT_EQ(Text(), "CAB");
  nodelist_bn copy = DupNodeList_bn(list);
  EXPECT_EQ(Nodes(copy), Nodes(list));
  FreeNodeList_bn(copy);
}

TEST_F(ListsTest, ALongListShrinksAndBecomesEmpty) {
  for (int i = 0; i < 1000; ++i) Add("A", INT_MAX);
  for (int i = 0; i < 1000; ++i) {
    ASSERT_NE(RemoveNthNode_bn(list, 0), nullptr);
    ASSERT_LE(BlockSize(list->ar), (4 * static_cast<std::size_t>(list->num) + 1) * sizeof(node_bn) + 20000 * (i < 750));
  }
  EXPECT_EQ(list->ar, nullptr);
  Add("B", INT_MAX);
  EXPECT_EQ(Text(), "B");
}

TEST_F(ListsTest, ANewListIsFullOfNothing) {
  nodelist_bn made = NewNodeList_bn(3, env);
  EXPECT_EQ(LengthNodeList_bn(made), 3);
  EXPECT_EQ(NthNode_bn(made, 2), nullptr);
  FreeNodeList_bn(made);
  EXPECT_EQ(LengthNodeList_bn(nullptr), 0);
  EXPECT_EQ(DupNodeList_bn(nullptr), nullptr);
  FreeNodeList_bn(nullptr);
}

TEST_F(ListsTest, OnlyAHostsListCanBeFreed) {
  AddLink_bn(Named(net, "A"), Named(net, "B"));
  nodelist_bn freed = NewNodeList_bn(2, env);
  FreeNodeList_bn(freed);
  for (nodelist_bn wrong : {GetNetNodes_bn(net.get()), GetNodeParents_bn(Named(net, "B")), freed}) {
    FreeNodeList_bn(wrong);
    EXPECT_EQ(Reports(), "5 5562 FreeNodeList_bn: The passed node list should not be freed (or is already freed)\n");
  }
  list->num = -1;
  FreeNodeList_bn(list);
  EXPECT_EQ(Reports(), "5 5561 FreeNodeList_bn: Node list passed has a negative number of nodes (-1)\n");
  list->num = 5;
  FreeNodeList_bn(list);
  EXPECT_EQ(Reports(), "5 5216 FreeNodeList_bn: The passed node list should not be freed (or is damaged)\n");
  list->num = 0;
  EXPECT_EQ(Nodes(net).size(), 3u);
}

TEST_F(ListsTest, ArgumentErrors) {
  Add("A", 0);
  const struct {
    const char* what;
    long long (*call)(nodelist_bn list, environ_ns env);
    long long answer;
    const char* report;
  } rows[] = {
      {"length", [](nodelist_bn, environ_ns env) { return (long long)NewNodeList_bn(-1, env); }, 0,
       "5204 NewNodeList_bn: Argument 'length' is less than 0"},
      {"add below", [](nodelist_bn l, environ_ns) { return (long long)AddNodeToList_bn(nullptr, l, -1); }, -5206,
       "5206 AddNodeToList_bn: Argument 'index' is less than 0 (it is -1)"},
      {"add above", [](nodelist_bn l, environ_ns) { return (long long)AddNodeToList_bn(nullptr, l, 2); }, -5207,
       "5207 AddNodeToList_bn: Argument 'index' is more than the number of nodes (it is 2)"},
      {"remove below", [](nodelist_bn l, environ_ns) { return (long long)RemoveNthNode_bn(l, -1); }, 0,
       "5209 RemoveNthNode_bn: Argument 'index' is less than 0 (it is -1)"},
      {"remove above", [](nodelist_bn l, environ_ns) { return (long long)RemoveNthNode_bn(l, 1); }, 0,
       "5210 RemoveNthNode_bn: Argument 'index' is >= the number of nodes (it is 1)"},
      {"read below", [](nodelist_bn l, environ_ns) { return (long long)NthNode_bn(l, -1); }, 0,
       "5211 NthNode_bn: Argument 'index' is less than 0 (it is -1)"},
      {"read above", [](nodelist_bn l, environ_ns) { return (long long)NthNode_bn(l, 4); }, 0,
       "5212 NthNode_bn: Argument 'index' (4) is >= the number of nodes (1)"},
      {"set below", [](nodelist_bn l, environ_ns) { return (long long)SetNthNode_bn(l, -1, nullptr); }, -5213,
       "5213 SetNthNode_bn: Argument 'index' is less than 0 (it is -1)"},
      {"set above", [](nodelist_bn l, environ_ns) { return (long long)SetNthNode_bn(l, 1, nullptr); }, -5214,
       "5214 SetNthNode_bn: Argument 'index' is >= the number of nodes (it is 1)"},
      {"no list", [](nodelist_bn, environ_ns) { return (long long)AddNodeToList_bn(nullptr, nullptr, 0); }, -5110,
       "5110 AddNodeToList_bn: NULL passed for the nodelist_bn"},
      {"set in no list", [](nodelist_bn, environ_ns) { return (long long)SetNthNode_bn(nullptr, 0, nullptr); }, -5110,
       "5110 SetNthNode_bn: NULL passed for the nodelist_bn"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.call(list, env), row.answer) << row.what;
    EXPECT_EQ(Reports(), std::string("5 ") + row.report + "\n") << row.what;
  }
  EXPECT_EQ(Text(), "A");
}

TEST_F(ListsTest, AListThatCannotBeHadIsReported) {
  constexpr std::size_t LARGE = 1000 * sizeof(node_bn);
  nodelist_bn large = NewNodeList_bn(1000, env);
  SetHeapGate([](std::size_t nbytes) { return nbytes < LARGE; });
  EXPECT_EQ(NewNodeList_bn(1000, env), nullptr);
  EXPECT_EQ(DupNodeList_bn(large), nullptr);
  EXPECT_EQ((long long)AddNodeToList_bn(nullptr, large, 0), -5208);
  EXPECT_EQ(LengthNodeList_bn(large), 1000);
  SetHeapGate(nullptr);
  EXPECT_EQ(Reports(),
            "5 5205 NewNodeList_bn: Out of memory making list of length 1000\n"
            "5 5215 DupNodeList_bn: Out of memory duplicating list of length 1000\n"
            "5 5208 AddNodeToList_bn: Out of memory making list of length " +
                std::to_string(2010 * sizeof(node_bn)) + "\n");
  FreeNodeList_bn(large);
}

TEST_F(ListsTest, ListsAreCheckedFromTheListLevelOn) {
  Net other(NewNet_bn("Other", env));
  NewNode_bn("D", 2, other.get());
  node_bn a = Named(net, "A");
  const struct {
    std::vector<node_bn> nodes;
    const char* report;
  } rows[] = {
      {{a, nullptr}, "5120 DuplicateNodes_bn: Node list passed contains a NULL (entry 1)"},
      {{a, Named(net, "B"), a}, "5122 DuplicateNodes_bn: Node list passed contains duplicate 'A'"},
      {{a, Named(other, "D")},
       "5121 DuplicateNodes_bn: Node list passed contains nodes from 2 different nets ('Test' and 'Other')"},
  };
  for (const auto& row : rows) {
    CopyList(*list, row.nodes);
    EXPECT_EQ(DuplicateNodes_bn(list, net.get()), nullptr);
    EXPECT_EQ(Reports(), std::string("5 ") + row.report + "\n");
  }
  ArgumentChecking_ns(24, env);
  EXPECT_EQ(LengthNodeList_bn(list), 2);
  ArgumentChecking_ns(25, env);
  ClearList(*list);
}

}  // namespace
}  // namespace bravic::testing

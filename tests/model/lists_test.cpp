// Node lists of hosts: filled, read, changed and refused.
#include "Bn/model/Lists.h"

#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

class ListsTest : public NetTest {
 protected:
  void SetUp() override {
    NetTest::SetUp();
    for (const char* name : {"A", "B", "C"}) New(name);
    list = NewNodeList_bn(0, env);
  }
  void TearDown() override {
    FreeNodeList_bn(list);
    NetTest::TearDown();
  }
  void Add(const char* name, int index) { EXPECT_EQ(AddNodeToList_bn(At(name), list, index), At(name)); }
  std::string Text() {
    std::string text;
    for (node_bn node : Nodes(list)) text += node ? GetNodeName_bn(node) : "-";
    return text;
  }

  nodelist_bn list = nullptr;
};

TEST_F(ListsTest, NodesGoInAndOutAnywhere) {
  Add("A", 0);
  Add("B", INT_MAX);
  Add("C", 1);
  Add("A", 3);
  EXPECT_EQ(AddNodeToList_bn(nullptr, list, 0), nullptr);
  EXPECT_EQ(Text(), "-ACBA");
  EXPECT_EQ(RemoveNthNode_bn(list, 2), At("C"));
  EXPECT_EQ(RemoveNthNode_bn(list, INT_MAX), At("A"));
  EXPECT_EQ(SetNthNode_bn(list, 0, At("C")), 0);
  EXPECT_EQ(Text(), "CAB");
  nodelist_bn copy = DupNodeList_bn(list);
  EXPECT_EQ(Nodes(copy), Nodes(list));
  FreeNodeList_bn(copy);
  EXPECT_EQ(LengthNodeList_bn(nullptr), 0);
  EXPECT_EQ(DupNodeList_bn(nullptr), nullptr);
  FreeNodeList_bn(nullptr);
}

TEST_F(ListsTest, ALongListShrinksAndBecomesEmpty) {
  for (int i = 0; i < 1000; ++i) Add("A", INT_MAX);
  for (int i = 0; i < 1000; ++i) {
    ASSERT_NE(RemoveNthNode_bn(list, 0), nullptr);
    ASSERT_LE(BlockSize(list->ar), (4 * std::size_t(list->num) + 1) * sizeof(node_bn) + 20000 * (i < 750));
  }
  EXPECT_EQ(list->ar, nullptr);
  Add("B", INT_MAX);
  EXPECT_EQ(Text(), "B");
}

// What is remembered of a list is what checking it anew would find.
TEST_F(ListsTest, AChangedListIsCheckedAnew) {
  const auto length = [&] { return LengthNodeList_bn(list); };
  Net other(NewNet_bn("Other", env));
  node_bn foreign = NewNode_bn("F", 2, other.get());
  for (const char* name : {"A", "B", "C", "B"}) Add(name, 0);
  EXPECT_EQ(length(), 4);
  EXPECT_EQ(SetNthNode_bn(list, 0, foreign), 0);
  EXPECT_EQ(length(), -1);
  EXPECT_EQ(Gist(), "5 5121 LengthNodeList_bn 2 Other Test");
  list->ar[0] = At("A");
  EXPECT_EQ(length(), 4);
  EXPECT_EQ(AddNodeToList_bn(foreign, list, 0), foreign);
  EXPECT_EQ(length(), -1);
  list->ar[0] = nullptr;
  node_bn c = At("C");
  EXPECT_EQ(length(), 5);
  DeleteNode_bn(c);
  EXPECT_EQ(length(), -1);
  UndoLastChange_bn(net.get());
  EXPECT_EQ(length(), 5);
  EXPECT_EQ(SetNthNode_bn(list, 2, nullptr), 2);
  DeleteNode_bn(c);
  EXPECT_EQ(length(), 5) << "it is in no list any more";
  nodelist_bn copy = DupNodeList_bn(list);
  EXPECT_EQ(LengthNodeList_bn(copy), 5);
  FreeNodeList_bn(list);
  list = copy;
  net.reset();
  EXPECT_EQ(length(), -1);
  Reports();
}

TEST_F(ListsTest, OnlyAHostsListCanBeFreed) {
  AddLink_bn(At("A"), At("B"));
  nodelist_bn freed = NewNodeList_bn(2, env);
  FreeNodeList_bn(freed);
  for (nodelist_bn wrong : {GetNetNodes_bn(net.get()), GetNodeParents_bn(At("B")), freed}) {
    FreeNodeList_bn(wrong);
    EXPECT_EQ(Gist(), "5 5562 FreeNodeList_bn");
  }
  list->num = -1;
  FreeNodeList_bn(list);
  EXPECT_EQ(Gist(), "5 5561 FreeNodeList_bn -1");
  list->num = 5;
  FreeNodeList_bn(list);
  EXPECT_EQ(Gist(), "5 5216 FreeNodeList_bn");
  list->num = 0;
  EXPECT_EQ(Nodes(net).size(), 3u);
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
  EXPECT_EQ(Gist(), "5 5205 NewNodeList_bn 1000; 5 5215 DupNodeList_bn 1000; 5 5208 AddNodeToList_bn " +
                        std::to_string(2010 * sizeof(node_bn)));
  FreeNodeList_bn(large);
}

}  // namespace
}  // namespace bravic::testing

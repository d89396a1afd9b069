// Undo and redo of every change that the interface and the services make, on nets with something in every field: after
// any walk through the steps of a net all that a host can see is as it was. The net writes the same file, bit for bit
// in its tables, and a compiled net answers the same probability.

#include "Basic/Memory.h"
#include "Basic/Text.h"
#include "Bn/model/NodeNames.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/Undo.h"
#include "support/changes.h"
#include "support/net_fixture.h"
#include "support/rich_net.h"

namespace bravic::testing {
namespace {

// Where two looks begin to differ; empty for equal ones.
std::string Difference(const std::string& is, const std::string& was) {
  if (is == was) return "";
  const auto at = std::mismatch(is.begin(), is.end(), was.begin(), was.end());
  const auto from = std::size_t(std::max<std::ptrdiff_t>(at.first - is.begin() - 150, 0));
  return "\n--- is ...\n" + is.substr(from, 400) + "\n--- was ...\n" + was.substr(from, 400);
}

class UndoWalkTest : public NetTest {
 protected:
  std::string Look();
  std::vector<double> Beliefs();
  const char* Change(Random& random);  // answers which kind it was
  void Walk(std::uint64_t seed);

  bool compiles = false;  // now and then, and so finds elimination orders
  int numRecorded = 0;
};

std::string UndoWalkTest::Look() {
  std::string look;
  std::istringstream lines(Written(net));
  bool derived = false;  // within a statement of what is made anew when it is needed
  for (std::string line; std::getline(lines, line);) {
    derived = derived || line.find("chance = CHANCE") != std::string::npos ||
              line.find("chance = DETERMIN") != std::string::npos || line.find("belief = ") != std::string::npos ||
              (compiles && line.find("ElimOrder = ") == 0);
    if (!derived) look += line + "\n";
    if (line.find(';') != std::string::npos) derived = false;
  }
  const auto addBytes = [&](const void* bytes, std::size_t num) {
    look.append(static_cast<const char*>(bytes), num);
    look += "|";
  };
  for (node_bn node : OrderedNodes(net.get())) {
    look += std::string(node->name) + "<" + (FindNode(net.get(), node->name) == node ? "" : " not found by its name ");
    for (node_bn child : node->succs) look += std::string(child->name) + " ";
    for (const void* block : {static_cast<const void*>(node->likelihood), static_cast<const void*>(node->numcases),
                              static_cast<const void*>(node->determin), static_cast<const void*>(node->determinv),
                              // Made from the function tables whenever it is needed.
                              static_cast<const void*>(node->determin || node->determinv ? nullptr : node->probs)}) {
      addBytes(block, BlockSize(block));
    }
    for (int number : {node->index, node->normalized, node->evidence, node->subnetnum})
      addBytes(&number, sizeof number);
    addBytes(&node->user, sizeof node->user);
    addBytes(&node->value, sizeof node->value);
    look += ">\n";
  }
  for (int number : {net->numEvidence, net->numLikelihood, net->stubs.num, net->numcycles, net->findmpe}) {
    look += std::to_string(number) + " ";
  }
  addBytes(&net->user, sizeof net->user);
  return look;
}

// Of all nodes, and the probability of the findings; none while the net is not compiled.
std::vector<double> UndoWalkTest::Beliefs() {
  std::vector<double> all = {CaseProbability_bn(net.get())};
  if (all[0] <= 0) return {};
  for (node_bn node : Nodes(net)) {
    const probtype* belief = GetNodeBeliefs_bn(node);
    for (int state = 0; state < NumStates(node); ++state) all.push_back(double(belief[state]));
  }
  return all;
}

const char* UndoWalkTest::Change(Random& random) {
  if (Nodes(net).size() < 4) return NewNode_bn(nullptr, random.Below(4), net.get()), "a first node";
  const Changes changes(net, random, directory.Path("cases.cas"), env);
  const int kind = random.Below(changes.NumKinds());
  changes.Make(kind);
  if (changes.IsSetting(kind)) {
    const int sequence = UndoSequence(net.get());
    changes.Make(kind);
    EXPECT_EQ(UndoSequence(net.get()), sequence) << changes.Name(kind) << ": a value already there is no change";
  }
  return changes.Name(kind);
}

void UndoWalkTest::Walk(std::uint64_t seed) {
  constexpr std::size_t DEPTH = 12;
  Random random(seed);
  SeedRandom_ns(int(seed), env);
  compiles = seed % 2 != 0;
  net = seed % 3 != 0 ? RandomRichNet(env, random) : Net(NewNet_bn("Empty", env));
  SetUndoDepth_bn(DEPTH + 1, net.get());
  SetUndoDepth_bn(DEPTH, net.get());  // nothing is kept of what made the net
  // Each state that can be reached: seen[at] is the present one.
  std::vector<std::string> seen = {Look()};
  std::size_t at = 0, floor = 0;
  for (int step = 0; step < 100; ++step) {
    std::string kind = "a step back or forth";
    if (random.Chance(0.6)) {
      if (compiles && random.Chance(0.3)) CompileNet_bn(net.get());
      const std::vector<double> beliefs = Beliefs();
      const int before = UndoSequence(net.get());
      kind = Change(random);
      const std::string after = Look();
      std::size_t numRecords = 0;
      for (; UndoSequence(net.get()) > before; ++numRecords) UndoLast(net.get());
      ASSERT_LE(numRecords, 1u) << "one step for one call: " << kind;
      ASSERT_EQ(Difference(Look(), seen[at]), "")
          << "after " << numRecords << " undone in step " << step << ", " << kind;
      if (numRecords > 0 && !beliefs.empty()) {
        if (CaseProbability_bn(net.get()) < 0) CompileNet_bn(net.get());
        const std::vector<double> now = Beliefs();
        ASSERT_EQ(now.size(), beliefs.size()) << "in step " << step << ", " << kind;
        for (std::size_t i = 0; i < now.size(); ++i) ASSERT_NEAR(now[i], beliefs[i], 1e-5) << "after undo of " << kind;
      }
      if (numRecords > 0) seen.resize(at + 1);
      for (std::size_t i = 0; i < numRecords; ++i) {
        RedoLast(net.get());
        seen.push_back(Look());
        ++at, ++numRecorded;
      }
      ASSERT_EQ(Difference(seen[at], after), "") << "after redo in step " << step << ", " << kind;
      floor = std::max(floor, at > DEPTH ? at - DEPTH : 0);
    } else if (random.Chance(0.5)) {
      ASSERT_EQ(UndoLastChange_bn(net.get()), at > floor ? 1 : 0) << "in step " << step;
      if (at > floor) --at;
    } else {
      ASSERT_EQ(RedoLastChange_bn(net.get()), at + 1 < seen.size() ? 1 : 0) << "in step " << step;
      if (at + 1 < seen.size()) ++at;
    }
    ASSERT_EQ(Difference(Look(), seen[at]), "") << "in step " << step << ", " << kind;
    Reports(0);
    if (step % 20 == 0) {
      ArgumentChecking_ns(26, env);
      GetNetName_bn(net.get());
      ArgumentChecking_ns(25, env);
      ASSERT_EQ(Reports(5), "") << "unsound in step " << step << ", " << kind;
    }
  }
}

TEST_F(UndoWalkTest, ComesBackToWhatItSaw) {
  for (std::uint64_t seed = 1; seed <= 18 && !HasFatalFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Walk(seed);
  }
  EXPECT_GT(numRecorded, 400);
}

// Whatever is put together, nested or not, halfway taken back or not, goes and comes as one.
TEST_F(UndoWalkTest, ChangesPutTogetherAreOneStep) {
  const auto used = MemoryUsed();
  for (std::uint64_t seed = 1; seed <= 40 && !HasFatalFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    compiles = seed % 2 != 0;
    net = RandomRichNet(env, random);
    SetUndoDepth_bn(1 + int(seed % 3), net.get());
    const std::string bare = Look();
    SetNetTitle_bn(net.get(), "before");
    SetNetTitle_bn(net.get(), "undone before");
    UndoLastChange_bn(net.get());
    const std::string before = Look();
    ASSERT_EQ(BeginChanges_bn(net.get()), 0);
    for (int i = random.Below(5); i > 0; --i) Change(random);
    const std::string between = Look();
    const bool keepsInner = random.Chance(0.5), keeps = random.Chance(0.6);
    BeginChanges_bn(net.get());
    for (int i = random.Below(5); i > 0; --i) Change(random);
    EndChanges_bn(net.get(), keepsInner);
    if (!keepsInner) ASSERT_EQ(Difference(Look(), between), "");
    if (compiles) CompileNet_bn(net.get());
    const std::string after = Look();
    Reports(0);
    const bool changed = EndChanges_bn(net.get(), keeps) == 1;
    ASSERT_EQ(Difference(Look(), keeps ? after : before), "");
    if (keeps && changed) {
      ASSERT_EQ(UndoLastChange_bn(net.get()), 1);
      ASSERT_EQ(Difference(Look(), before), "");
      ASSERT_EQ(RedoLastChange_bn(net.get()), 1);
      ASSERT_EQ(Difference(Look(), after), "");
      ASSERT_EQ(RedoLastChange_bn(net.get()), 0);
    } else {
      ASSERT_EQ(RedoLastChange_bn(net.get()), 1) << "the stacks are as they were";
      ASSERT_EQ(UndoLastChange_bn(net.get()), 1);
      if (seed % 3 != 0) {
        ASSERT_EQ(UndoLastChange_bn(net.get()), 1);
        ASSERT_EQ(Difference(Look(), bare), "");
      }
    }
  }
  net = Net(NewNet_bn("Test", env));
  EXPECT_EQ(MemoryUsed(), used);
}

TEST_F(UndoWalkTest, WhatIsPutTogetherIsNotUndoneHalfway) {
  net = Net(NewNet_bn("Open", env));
  EXPECT_EQ(EndChanges_bn(net.get(), 1), -1);
  EXPECT_EQ(BeginChanges_bn(net.get()), 0);
  EXPECT_EQ(UndoLastChange_bn(net.get()), -1);
  EXPECT_EQ(RedoLastChange_bn(net.get()), -1);
  EXPECT_EQ(SetUndoDepth_bn(0, net.get()), -1);
  EXPECT_EQ(SetUndoDepth_bn(1, net.get()), 1);
  EXPECT_EQ(SetUndoDepth_bn(-1, net.get()), 1);
  net = Net(NewNet_bn("Test", env));  // the open one is freed
  EXPECT_EQ(SetUndoDepth_bn(0, net.get()), 1);
  EXPECT_EQ(BeginChanges_bn(net.get()), -1);
  EXPECT_THAT(Reports(5), ::testing::AllOf(::testing::HasSubstr("2691"), ::testing::HasSubstr("2692"),
                                           ::testing::HasSubstr("2693"), ::testing::HasSubstr("2690")));
  SetUndoDepth_bn(1, net.get());
}

TEST_F(UndoWalkTest, ByDefaultOneStepIsKept) {
  SetUndoDepth_bn(5, net.get());
  TearDown();
  SetUp();
  New("A");
  New("B");
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  EXPECT_EQ(UndoLastChange_bn(net.get()), 0);
  EXPECT_EQ(Nodes(net).size(), 1u);
  EXPECT_EQ(RedoLastChange_bn(net.get()), 1);
  EXPECT_EQ(RedoLastChange_bn(net.get()), 0);
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  New("C");
  EXPECT_EQ(RedoLastChange_bn(net.get()), 0) << "a new change empties the redo stack";
}

TEST_F(UndoWalkTest, ALowerDepth) {
  int number = 0;
  const auto fill = [&](int depth) {
    SetUndoDepth_bn(depth, net.get());
    for (int i = 0; i < 5; ++i) SetNodeTitle_bn(At("A"), std::to_string(number++).c_str());
  };
  const auto numKept = [&] {
    int num = 0;
    while (UndoLastChange_bn(net.get()) == 1) ++num;
    return num;
  };
  New("A");
  EXPECT_EQ(SetUndoDepth_bn(-1, net.get()), 1);
  fill(4);
  EXPECT_EQ(SetUndoDepth_bn(2, net.get()), 4);
  EXPECT_EQ(numKept(), 0) << "a lower depth above 0 frees every record";
  fill(4);
  EXPECT_EQ(SetUndoDepth_bn(0, net.get()), 4);
  EXPECT_EQ(numKept(), 4) << "at depth 0 the records within the old depth stay";
  EXPECT_EQ(RedoLastChange_bn(net.get()), 1);
  SetNodeTitle_bn(At("A"), "unrecorded");
  EXPECT_EQ(numKept(), 0) << "after an unrecorded change they no longer fit";
  EXPECT_EQ(RedoLastChange_bn(net.get()), 0);
}

// Without recording nothing is kept but the net.
TEST_F(UndoWalkTest, WithoutRecordingNothingIsKept) {
  const auto used = MemoryUsed();
  Random random(7);
  net = Net(NewNet_bn("Unrecorded", env));
  SetUndoDepth_bn(0, net.get());
  for (int step = 0; step < 300; ++step) Change(random);
  EXPECT_EQ(UndoLastChange_bn(net.get()), 0);
  Reports(0);
  net = Net(NewNet_bn("Test", env));
  EXPECT_EQ(MemoryUsed(), used);
}

// Between deletions nothing reads the list of nodes, which is closed up now and then.
TEST_F(UndoWalkTest, NodesDeletedInARowComeBackToTheirPlaces) {
  Random random(5);
  net = RandomNet(env, random, {.minNodes = 200, .maxNodes = 200, .maxConfigurations = 1e300});
  SetUndoDepth_bn(1000, net.get());
  std::vector<node_bn> nodes = Nodes(net);
  std::vector<std::string> seen;
  while (nodes.size() > 10) {
    seen.push_back(Look());
    for (int i = random.Between(1, 9); i > 0; --i) {
      const auto at = nodes.begin() + random.Below(int(nodes.size()));
      DeleteNode_bn(*at);
      nodes.erase(at);
      seen.resize(seen.size() + (i > 1));
    }
  }
  for (std::size_t i = seen.size(); i-- > 0;) {
    ASSERT_EQ(UndoLastChange_bn(net.get()), 1);
    if (!seen[i].empty()) ASSERT_EQ(Difference(Look(), seen[i]), "") << i;
  }
}

// A placeholder that stands in two places of a node is owned once.
TEST_F(UndoWalkTest, ANodeWithOnePlaceholderTwiceIsDeletedOnce) {
  node_bn parent = New("parent"), child = New("child", 2, {parent, parent});
  DeleteNode_bn(parent);
  EXPECT_EQ(NthNode_bn(GetNodeParents_bn(child), 0), NthNode_bn(GetNodeParents_bn(child), 1));
  DeleteNode_bn(child);
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  EXPECT_EQ(LengthNodeList_bn(GetNodeParents_bn(child)), 2);
  DeleteNode_bn(child);
  EXPECT_EQ(Gist(), "4 3208 AddLink_bn parent child");
}

}  // namespace
}  // namespace bravic::testing

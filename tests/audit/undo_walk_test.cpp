// Undo and redo of what the services do to nets (decisions, learning, sampling, reading cases, duplication) among
// changes of structure and findings, on nets with something in every field. After undo the net writes the same file
// as before, bit for bit in its tables, and a compiled net answers the same beliefs; after redo those of afterwards.
#include <algorithm>
#include <sstream>

#include "Basic/Memory.h"
#include "Basic/Text.h"
#include "Bn/model/Net.h"
#include "Bn/model/Undo.h"
#include "support/files.h"
#include "support/library.h"
#include "support/rich_net.h"

namespace bravic::testing {
namespace {

// Where two looks begin to differ; empty for equal ones.
std::string Difference(const std::string& is, const std::string& was) {
  if (is == was) return "";
  const auto at = std::mismatch(is.begin(), is.end(), was.begin(), was.end());
  const auto from = static_cast<std::size_t>(std::max<std::ptrdiff_t>(at.first - is.begin() - 150, 0));
  return "\n--- is ...\n" + is.substr(from, 400) + "\n--- was ...\n" + was.substr(from, 400);
}

class UndoWalkTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    file = FileNamed_ns(directory.Path("look.dne").c_str(), env);
  }
  void TearDown() override {
    FreeFileSpec_ns(file);
    LibraryTest::TearDown();
  }

  std::string Look(net_bn net) {
    WriteNet_bn(net, file);
    std::string look;
    std::istringstream lines(ReadWhole(directory.Path("look.dne")));
    bool derived = false;  // within a statement of what is made anew when it is needed
    for (std::string line; std::getline(lines, line);) {
      derived = derived || line.find("chance = ") != std::string::npos || line.find("belief = ") != std::string::npos;
      if (!derived) look += line + "\n";
      if (line.find(';') != std::string::npos) derived = false;
    }
    for (node_bn node : OrderedNodes(net)) {
      look += node->name;
      look += "<";
      for (node_bn child : node->succs) look += std::string(child->name) + " ";
      for (const void* block : {static_cast<const void*>(node->likelihood), static_cast<const void*>(node->numcases),
                                static_cast<const void*>(node->determin), static_cast<const void*>(node->determinv),
                                // Made from the function tables whenever it is needed.
                                static_cast<const void*>(node->determin || node->determinv ? nullptr : node->probs)}) {
        look.append(static_cast<const char*>(block), BlockSize(block));
        look += "|";
      }
      look += std::to_string(node->normalized) + std::to_string(node->evidence) + " " +
              (node->value == UNDEF_DBL ? "" : std::to_string(node->value));
      look += ">\n";
    }
    return look + std::to_string(net->numEvidence) + "," + std::to_string(net->numLikelihood) + "," +
           std::to_string(net->stubs.num) + "," + std::to_string(net->elimorder.num);
  }

  void Change(net_bn net, Random& random);

  TemporaryDirectory directory;
  filespec_ns file;
  int kind = 0;  // of the last change
};

void UndoWalkTest::Change(net_bn net, Random& random) {
  const auto nodes = Nodes(GetNetNodes_bn(net));
  if (nodes.size() < 4) {
    NewNode_bn(nullptr, 2 + random.Below(2), net);
    return;
  }
  const auto pick = [&] { return nodes[static_cast<std::size_t>(random.Below(static_cast<int>(nodes.size())))]; };
  node_bn node = pick(), other = pick();
  const int numparents = LengthNodeList_bn(GetNodeParents_bn(node)), numstates = NumStates(node);
  nodelist_bn list = NewNodeList_bn(0, env);
  for (node_bn each : nodes) {
    if (random.Chance(0.4)) AddNodeToList_bn(each, list, 0);
  }
  kind = random.Below(18);
  switch (kind) {
    case 0:
      if (numparents) ReverseLink_bn(NthNode_bn(GetNodeParents_bn(node), 0), node);
      break;
    case 1:
      if (numparents) ReverseLink_bn(NthNode_bn(GetNodeParents_bn(node), numparents - 1), node);
      break;
    case 2:
      AbsorbNodes_bn(list);
      return;
    case 3:
      AddNodeToList_bn(node, list, 0);
      while (LengthNodeList_bn(list) > 1) RemoveNthNode_bn(list, 1);
      AbsorbNodes_bn(list);
      return;
    case 4:
      OptimizeDecisions_bn(GetNetNodes_bn(net));
      break;
    case 5:
      CaseRevisesProbs_bn(list, 0, 1);
      break;
    case 6:
      FadeProbs_bn(node, 0.25);
      break;
    case 7:
      RandomCase_bn(list, 0, 3);
      break;
    case 8:
      if (nodes.size() < 16) FreeNodeList_bn(DuplicateNodes_bn(list, net));
      break;
    case 9:
      if (nodes.size() > 5) DeleteNode_bn(node);
      break;
    case 10:
      if (numparents < 3) AddLink_bn(other, node);
      break;
    case 11:
      if (numparents) DeleteLink_bn(random.Below(numparents), node);
      break;
    case 12:
      if (numparents) SwitchNodeParent_bn(random.Below(numparents), node, other);
      break;
    case 13:
      if (numstates) EnterFinding_bn(node, random.Below(numstates));
      break;
    case 14:
      if (numstates) EnterNodeLikelihood_bn(node, RandomRow(random, numstates, 0.3).data());
      break;
    case 15:
      RetractAllFindings_bn(net);
      break;
    case 16: {
      filespec_ns cases = FileNamed_ns(directory.Path("cases.cas").c_str(), env);
      WriteCase_bn(list, cases, -1, -1);
      ReadCase_bn(nullptr, cases, list, nullptr, nullptr);
      CaseFileRevisesProbs_bn(cases, list, 0, 2);
      FreeFileSpec_ns(cases);
      break;
    }
    case 17:
      SetNodeKind_bn(node, random.Below(4));
      break;
  }
  FreeNodeList_bn(list);
}

TEST_F(UndoWalkTest, EveryChangeIsTakenBackAndMadeAgain) {
  int numRecorded = 0;
  for (std::uint64_t seed = 1; seed <= 12; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    SeedRandom_ns(static_cast<int>(seed), env);
    Net net = RandomRichNet(env, random);
    SetUndoDepth_bn(20, net.get());
    for (int step = 0; step < 100; ++step) {
      if (random.Chance(0.2)) CompileNet_bn(net.get());
      const double probability = CaseProbability_bn(net.get());
      const std::string before = Look(net.get());
      const int sequence = UndoSequence(net.get());
      Change(net.get(), random);
      const std::string after = Look(net.get());
      int numSteps = 0;
      for (; UndoSequence(net.get()) > sequence; ++numSteps) ASSERT_EQ(UndoLastChange_bn(net.get()), 1);
      ASSERT_EQ(Difference(Look(net.get()), before), "") << "after undo in step " << step << " of kind " << kind << "\n"
                                                         << Reports(1);
      if (numSteps == 0) {
        ASSERT_EQ(Difference(after, before), "") << "changed without a record in step " << step << " of kind " << kind;
      } else {
        ++numRecorded;
        if (probability >= 0) {
          CompileNet_bn(net.get());
          ASSERT_NEAR(CaseProbability_bn(net.get()), probability, 1e-6)
              << "after undo in step " << step << " of kind " << kind;
        }
        for (int i = 0; i < numSteps; ++i) ASSERT_EQ(RedoLastChange_bn(net.get()), 1);
        ASSERT_EQ(Difference(Look(net.get()), after), "") << "after redo in step " << step << " of kind " << kind;
        if (random.Chance(0.3)) {  // go on from the state before
          for (int i = 0; i < numSteps; ++i) ASSERT_EQ(UndoLastChange_bn(net.get()), 1);
          ASSERT_EQ(Difference(Look(net.get()), before), "")
              << "after a second undo in step " << step << " of kind " << kind;
        }
      }
      Reports(0);
      if (step % 20 == 0) {
        ArgumentChecking_ns(26, env);
        GetNetName_bn(net.get());
        ArgumentChecking_ns(25, env);
        ASSERT_EQ(Reports(5), "") << "unsound in step " << step << " of kind " << kind;
      }
    }
    SetUndoDepth_bn(1, net.get());
  }
  EXPECT_GT(numRecorded, 400);
}

// A placeholder that stands in two places of a node is owned once.
TEST_F(UndoWalkTest, ANodeWithOnePlaceholderTwiceIsDeletedOnce) {
  Net net(NewNet_bn("Twice", env));
  node_bn parent = NewNode_bn("parent", 2, net.get()), child = NewNode_bn("child", 2, net.get());
  AddLink_bn(parent, child);
  AddLink_bn(parent, child);
  DeleteNode_bn(parent);
  EXPECT_EQ(NthNode_bn(GetNodeParents_bn(child), 0), NthNode_bn(GetNodeParents_bn(child), 1));
  DeleteNode_bn(child);
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  EXPECT_EQ(LengthNodeList_bn(GetNodeParents_bn(child)), 2);
  DeleteNode_bn(child);
  net.reset();
  EXPECT_EQ(Reports(),
            "4 3208 AddLink_bn: Connecting node 'parent' to node 'child' results in multiple links between "
            "the same two nodes\n");
}

}  // namespace
}  // namespace bravic::testing

// Undo and redo: after any walk through the steps of a net, everything a host can see is as it was.
#include "Bn/model/Undo.h"

#include <cstring>
#include <functional>

#include "Basic/Text.h"
#include "Bn/model/Attributes.h"
#include "Bn/model/Net.h"
#include "Bn/model/Parents.h"
#include "support/library.h"
#include "support/nets.h"

namespace bravic::testing {
namespace {

class UndoTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    net.reset(NewNet_bn("Test", env));
  }
  void TearDown() override {
    SetUndoDepth_bn(1, net.get());
    net.reset();
    LibraryTest::TearDown();
  }
  node_bn New(const char* name, int numstates = 2) { return NewNode_bn(name, numstates, net.get()); }

  Net net;
};

// All that is to be restored, as text; tables and numbers by their bits.
class Dump {
 public:
  std::string Of(net_bn net) {
    Texts({net->name, net->title, net->comment});
    Raw(net->user);
    Raw(net->autoupdate);
    Raw(net->findmpe);
    Raw(net->numEvidence);
    Raw(net->numLikelihood);
    Raw(net->elimorder.num);
    Handles(net->elimorder);
    Handles(OrderedNodes(net));
    Raw(net->orderstate);
    Raw(net->numcycles);
    Block(net->subnets);
    Handles(net->stubs);
    for (node_bn node : net->nodes) Node(*node);
    for (node_bn stub : net->stubs) Node(*stub);
    for (node_bn node : net->nodes) {
      if (FindNode(net, node->name) != node) text_ += " not found by its name ";
    }
    return text_;
  }

 private:
  void Node(const bnode& node) {
    text_ += "\n" + std::string(node.name) + ":";
    Texts({node.title, node.comment, node.units});
    Raw(node.user);
    for (int number : {node.index, node.kind, node.discrete, node.measure, node.numstates, node.normalized,
                       node.subnetnum, node.evidence, node.preds.num}) {
      Raw(number);
    }
    Raw(node.value);
    for (int i = 0; node.states && i < node.numstates; ++i) Texts({node.states[i]});
    for (int i = 0; node.inputs && i < node.preds.num; ++i) Texts({node.inputs[i]});
    Block(node.levels);
    Handles(node.preds);
    Raw(node.preds.ar[node.preds.num] == &node);
    Handles(node.succs);
    if (!node.determin && !node.determinv) Block(node.probs);  // made from those whenever it is needed
    Block(node.numcases);
    Block(node.determin);
    Block(node.determinv);
    Block(node.likelihood);
  }
  void Texts(std::initializer_list<const char*> texts) {
    for (const char* text : texts) text_ += std::string(" '") + OrEmpty(text) + "'";
  }
  void Handles(const nodelist_rec& list) {
    text_ += " [";
    for (node_bn node : Entries(list)) text_ += std::string(node->name) + (TagOf(node) == STUB_TAG ? "? " : " ");
    text_ += "]";
  }
  template <class T>
  void Raw(const T& value) {
    Bytes(&value, sizeof value);
  }
  void Block(const void* block) { Bytes(block, BlockSize(block)); }
  void Bytes(const void* bytes, std::size_t num) {
    static const char digits[] = "0123456789abcdef";
    text_ += " ";
    for (std::size_t i = 0; i < num; ++i) {
      const auto byte = static_cast<const unsigned char*>(bytes)[i];
      text_ += digits[byte >> 4];
      text_ += digits[byte & 15];
    }
  }

  std::string text_;
};

std::string Look(const Net& net) {
  return Dump().Of(net.get());
}

// One random change through the interface; it may well be refused.
void Change(const Net& net, Random& random, environ_ns env) {
  const auto nodes = Nodes(net);
  if (nodes.size() < 3) {
    NewNode_bn(nullptr, random.Below(4), net.get());
    return;
  }
  const auto pick = [&] { return nodes[static_cast<std::size_t>(random.Below(static_cast<int>(nodes.size())))]; };
  const auto pickStates = [&](node_bn node, bool wild) {
    std::vector<statetype> states;
    for (node_bn parent : Nodes(GetNodeParents_bn(node))) {
      states.push_back(wild && random.Chance(0.3) ? EVERY_STATE : random.Below(std::max(NumStates(parent), 1)));
    }
    states.push_back(0);
    return states;
  };
  const auto name = [&] { return "x" + std::to_string(random.Below(30)); };
  node_bn node = pick(), other = pick();
  const int numstates = NumStates(node), numparents = LengthNodeList_bn(GetNodeParents_bn(node));
  switch (random.Below(30)) {
    case 0:
    case 1:
      NewNode_bn(random.Chance(0.5) ? name().c_str() : nullptr, random.Below(4), net.get());
      break;
    case 2:
      if (nodes.size() > 6) DeleteNode_bn(node);
      break;
    case 3:
    case 4:
    case 5:
    case 6:
      if (numparents < 4) AddLink_bn(other, node);
      break;
    case 7:
    case 8:
      DeleteLink_bn(random.Below(numparents + 1), node);
      break;
    case 9:
      SwitchNodeParent_bn(random.Below(numparents + 1), node, other);
      break;
    case 10: {
      nodelist_bn list = NewNodeList_bn(0, env);
      AddNodeToList_bn(node, list, 0);
      if (other != node) AddNodeToList_bn(other, list, 0);
      if (nodes.size() < 15) FreeNodeList_bn(DuplicateNodes_bn(list, net.get()));
      FreeNodeList_bn(list);
      break;
    }
    case 11:
    case 12:
    case 13:
      if (numstates) {
        SetNodeProbs_bn(node, pickStates(node, true).data(), RandomRow(random, numstates, 0.2).data());
      }
      break;
    case 14:
      SetNodeExperience_bn(node, pickStates(node, true).data(), random.Below(5));
      break;
    case 15:
      SetNodeFuncValue_bn(node, pickStates(node, true).data(), random.Below(std::max(numstates, 1)));
      break;
    case 16:
      if (random.Chance(0.5)) DeleteNodeRelation_bn(node);
      break;
    case 17:
      SetNodeName_bn(node, name().c_str());
      break;
    case 18:
      SetNodeTitle_bn(node, name().c_str());
      SetNodeComment_bn(other, nullptr);
      break;
    case 19:
      SetNodeUserData_bn(node, 0, random.Chance(0.5) ? node : nullptr);
      SetNetUserData_bn(net.get(), 0, node);
      break;
    case 20:
      SetNodeKind_bn(node, random.Chance(0.5) ? DECISION_NODE : NATURE_NODE);
      break;
    case 21:
      SetNodeStateName_bn(node, random.Below(numstates + 1), name().c_str());
      break;
    case 22:
      SetLinkName_bn(node, random.Below(numparents + 1), name().c_str());
      break;
    case 23: {
      const double levels[] = {1.0, 2.0, 3.0, 4.0, 5.0};
      SetNodeLevels_bn(node, GetNodeDiscrete_bn(node) ? numstates : random.Below(4), levels);
      break;
    }
    case 24:
    case 25:
      EnterFinding_bn(node, random.Below(numstates + 1));
      break;
    case 26:
      if (numstates) EnterNodeLikelihood_bn(node, RandomRow(random, numstates, 0.3).data());
      break;
    case 27:
      random.Chance(0.5) ? RetractNodeFindings_bn(node) : RetractAllFindings_bn(net.get());
      break;
    case 28: {
      nodelist_bn order = DupNodeList_bn(GetNetNodes_bn(net.get()));
      SetNetElimOrder_bn(net.get(), order);
      FreeNodeList_bn(order);
      break;
    }
    case 29:
      SetNetTitle_bn(net.get(), name().c_str());
      SetNetAutoUpdate_bn(net.get(), 0);
      break;
  }
}

TEST_F(UndoTest, ARandomWalkComesBackToWhatItSaw) {
  constexpr int DEPTH = 12;
  for (std::uint64_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    Net walked(NewNet_bn("Walk", env));
    SetUndoDepth_bn(DEPTH, walked.get());
    // Each state that can be reached: seen[at] is the present one.
    std::vector<std::string> seen = {Look(walked)};
    std::size_t at = 0, floor = 0;
    for (int step = 0; step < 200; ++step) {
      if (random.Chance(0.6)) {
        const int before = UndoSequence(walked.get());
        Change(walked, random, env);
        const int made = UndoSequence(walked.get());
        if (made == before) {
          ASSERT_EQ(Look(walked), seen[at]) << "changed without a record in step " << step;
        } else {
          seen.resize(at + 1);
          // A change of two setters makes two records; the state between them was not seen.
          std::size_t numRecords = 0;
          for (net_bn net_ = walked.get(); net_ && UndoSequence(net_) > before; ++numRecords) UndoLast(net_);
          ASSERT_EQ(Look(walked), seen[at]) << "in step " << step;
          for (std::size_t i = 0; i < numRecords; ++i) {
            RedoLast(walked.get());
            seen.push_back(Look(walked));
            ++at;
          }
          floor = std::max(floor, at > DEPTH ? at - DEPTH : 0);
        }
      } else if (random.Chance(0.5)) {
        ASSERT_EQ(UndoLastChange_bn(walked.get()), at > floor ? 1 : 0) << "in step " << step;
        if (at > floor) --at;
      } else {
        ASSERT_EQ(RedoLastChange_bn(walked.get()), at + 1 < seen.size() ? 1 : 0) << "in step " << step;
        if (at + 1 < seen.size()) ++at;
      }
      ASSERT_EQ(Look(walked), seen[at]) << "in step " << step;
      Reports(0);
    }
  }
}

TEST_F(UndoTest, ByDefaultOneStepIsKept) {
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

TEST_F(UndoTest, ADeletedNodeComesBackInOneStep) {
  node_bn a = New("A"), b = New("B"), c = New("C"), d = New("D");
  AddLink_bn(a, b);
  AddLink_bn(b, c);
  AddLink_bn(b, d);
  SetNodeProbs_bn(b, (const statetype[]){EVERY_STATE}, (const float[]){0.25f, 0.75f});
  const auto before = Look(net);
  DeleteNode_bn(b);
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  EXPECT_EQ(Look(net), before);
  EXPECT_EQ(Named(net, "B"), b);
  EXPECT_EQ(RedoLastChange_bn(net.get()), 1);
  EXPECT_EQ(Named(net, "B"), nullptr);
  EXPECT_EQ(net->stubs.num, 1);
}

TEST_F(UndoTest, AFirstRowIsOneStep) {
  node_bn a = New("A");
  SetNodeProbs_bn(a, nullptr, (const float[]){0.25f, 0.75f});
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  EXPECT_EQ(HasRelation_bn(a), 0);
}

TEST_F(UndoTest, ChangesThatAreRefusedOrChangeNothingLeaveBothStacks) {
  node_bn a = New("A"), b = New("B", 3);
  AddLink_bn(a, b);
  SetNodeTitle_bn(b, "title");
  UndoLastChange_bn(net.get());
  const int sequence = UndoSequence(net.get());
  NewNode_bn("A", 2, net.get());
  SwitchNodeParent_bn(0, b, b);
  SetNodeProbs_bn(a, nullptr, (const float[]){0.5f, 0.6f});
  EnterFinding_bn(a, 2);
  SetNodeKind_bn(a, UTILITY_NODE);
  EXPECT_NE(Reports(), "");
  ChangeParents(b, {&a, 1}, {}, false);
  SetNodeName_bn(a, "A");
  EXPECT_EQ(UndoSequence(net.get()), sequence);
  EXPECT_EQ(RedoLastChange_bn(net.get()), 1);
  EXPECT_STREQ(GetNodeTitle_bn(b), "title");
}

TEST_F(UndoTest, ALowerDepth) {
  int number = 0;
  const auto fill = [&](int depth) {
    SetUndoDepth_bn(depth, net.get());
    for (int i = 0; i < 5; ++i) SetNodeTitle_bn(Named(net, "A"), std::to_string(number++).c_str());
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
  SetNodeTitle_bn(Named(net, "A"), "unrecorded");
  EXPECT_EQ(numKept(), 0) << "after an unrecorded change they no longer fit";
  EXPECT_EQ(RedoLastChange_bn(net.get()), 0);
  EXPECT_EQ(SetUndoDepth_bn(-2, net.get()), -1);
  EXPECT_NE(Reports().find("Argument 'depth' is -2"), std::string::npos);
}

TEST_F(UndoTest, WithoutRecordingNothingIsKept) {
  SetUndoDepth_bn(0, net.get());
  const auto used = MemoryUsed();
  {
    Net local(NewNet_bn("Local", env));
    Random random(7);
    for (int step = 0; step < 300; ++step) Change(local, random, env);
    EXPECT_EQ(UndoLastChange_bn(local.get()), 0);
    Reports(0);
  }
  EXPECT_EQ(MemoryUsed(), used);
}

TEST_F(UndoTest, GroupsNestAndAnEmptyOneLeavesNoTrace) {
  SetUndoDepth_bn(10, net.get());
  node_bn a = New("A");
  const int sequence = UndoSequence(net.get());
  {
    UndoGroup outer(UNDO_GROUP, net.get());
    { UndoGroup inner(UNDO_GROUP, net.get()); }
    SetNodeTitle(a, "one");
    {
      UndoGroup inner(UNDO_GROUP, net.get());
      SetNodeTitle(a, "two");
      SetNodeComment(a, "comment");
    }
    SetNodeTitle(a, "three");
  }
  for (int i = 0; i < 2; ++i) {
    UndoLast(net.get());
    EXPECT_EQ(a->title, nullptr);
    EXPECT_EQ(a->comment, nullptr);
    EXPECT_EQ(UndoSequence(net.get()), sequence);
    RedoLast(net.get());
    EXPECT_STREQ(a->title, "three");
    EXPECT_STREQ(a->comment, "comment");
  }
  { UndoGroup empty(UNDO_GROUP, net.get()); }
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  EXPECT_EQ(UndoSequence(net.get()), sequence);
}

class UndoBeliefsTest : public LibraryTest {};

std::vector<float> Beliefs(const Net& net) {
  std::vector<float> all;
  for (node_bn node : Nodes(net)) {
    const float* belief = GetNodeBeliefs_bn(node);
    all.insert(all.end(), belief, belief + NumStates(node));
  }
  all.push_back(static_cast<float>(CaseProbability_bn(net.get())));
  return all;
}

enum Left { ALL, TREE, NOTHING };

// What a step has left of the compiled net; the rest is made again.
void ExpectBeliefs(const Net& net, const std::vector<float>& expected, Left left, const char* when) {
  EXPECT_EQ(net->compiled != nullptr, left != NOTHING) << when;
  EXPECT_EQ(net->potentialsMade, left == ALL) << when;
  if (left != ALL) CompileNet_bn(net.get());
  const auto found = Beliefs(net);
  ASSERT_EQ(found.size(), expected.size()) << when;
  for (std::size_t i = 0; i < found.size(); ++i) EXPECT_NEAR(found[i], expected[i], 1e-6) << when << ", " << i;
}

TEST_F(UndoBeliefsTest, BeliefsFollowUndoAndRedo) {
  const struct {
    const char* what;
    void (*change)(const Net& net);
    Left left;
  } rows[] = {
      {"row",
       [](const Net& net) {
         SetNodeProbs_bn(Named(net, "smoke"), nullptr, (const float[]){0.9f, 0.1f});
       },
       TREE},
      {"finding", [](const Net& net) { Observe(net, "dysp", "yes"); }, ALL},
      {"replaced finding", [](const Net& net) { RetractNodeFindings_bn(Named(net, "asia")); }, ALL},
      {"likelihood",
       [](const Net& net) {
         EnterNodeLikelihood_bn(Named(net, "bronc"), (const float[]){0.2f, 0.6f});
       },
       ALL},
      {"all findings", [](const Net& net) { RetractAllFindings_bn(net.get()); }, ALL},
      {"link", [](const Net& net) { DeleteLink_bn(1, Named(net, "dysp")); }, NOTHING},
      {"node", [](const Net& net) { DeleteNode_bn(Named(net, "xray")); }, NOTHING},
  };
  for (const int autoupdate : {0, 1}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string(row.what) + (autoupdate ? " with auto-update" : ""));
      Net net = ChestClinic(env);
      CompileNet_bn(net.get());
      Observe(net, "asia", "yes");
      EnterFindingNot_bn(Named(net, "xray"), 1);
      const auto before = Beliefs(net);
      SetNetAutoUpdate_bn(net.get(), autoupdate);
      row.change(net);
      if (row.left != ALL) CompileNet_bn(net.get());
      const auto after = Beliefs(net);
      EXPECT_NE(before, after);
      EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
      ExpectBeliefs(net, before, row.left, "undone");
      EXPECT_EQ(RedoLastChange_bn(net.get()), 1);
      ExpectBeliefs(net, after, row.left, "redone");
    }
  }
}

}  // namespace
}  // namespace bravic::testing

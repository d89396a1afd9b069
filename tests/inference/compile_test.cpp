// Compiling: the junction tree and its report, what is refused, what a change keeps, elimination orders.

#include <cmath>

#include "Basic/Memory.h"
#include "Win_Face/Interaction.h"
#include "support/library.h"
#include "support/nets.h"
#include "support/shapes.h"

namespace bravic::testing {
namespace {

class Compiling : public LibraryTest {
 protected:
  std::vector<std::string> Order(const Net& net) {
    std::vector<std::string> names;
    if (nodelist_bn order = GetNetElimOrder_bn(net.get())) {
      for (node_bn node : Nodes(order)) names.push_back(GetNodeName_bn(node));
    }
    return names;
  }
  static void Uniform(node_bn node) {
    std::vector<float> row(std::size_t(NumStates(node)), 1.0f / float(NumStates(node)));
    std::vector<statetype> every(Nodes(GetNodeParents_bn(node)).size() + 1, EVERY_STATE);
    SetNodeProbs_bn(node, every.data(), row.data());
  }
  static std::vector<node_bn> Build(const NetShape& shape, const Net& net) {
    std::vector<node_bn> nodes;
    for (int i = 0; i < shape.Count(); ++i) {
      nodes.push_back(NewNode_bn(nullptr, shape.states[std::size_t(i)], net.get()));
      for (int parent : shape.parents[std::size_t(i)]) AddLink_bn(nodes[std::size_t(parent)], nodes.back());
      Uniform(nodes.back());
    }
    return nodes;
  }
};

using Names = std::vector<std::string>;

TEST_F(Compiling, ReportsTheTree) {
  Net net(NewNet_bn("Small", env));
  EXPECT_STREQ(JunctionTreeReport_bn(net.get()), "Net 'Small' has no junction tree\n");
  AddNode(net, "A", {"x", "y"}, {}, {0.5f, 0.5f});
  AddNode(net, "B", {"x", "y", "z"}, {"A"}, {0.2f, 0.3f, 0.5f, 0.2f, 0.3f, 0.5f});
  node_bn c = AddNode(net, "C", {"x", "y", "z", "u"}, {"B"});
  Uniform(c);
  AddNode(net, "Alone", {"x", "y"}, {}, {0.5f, 0.5f});
  CompileNet_bn(net.get());
  EXPECT_STREQ(JunctionTreeReport_bn(net.get()),
               "Clique  [Joined To]  Size   Member nodes (* means home)\n"
               " 0  [1]                 6  (*A, *B)\n"
               " 1  [0 2]              12  (B, *C)\n"
               " 2  [1]                 2  (*Alone)\n"
               "Total state space = 20\n");
}

TEST_F(Compiling, KeepsTheTreeWhenATableChanges) {
  Net net = ChestClinic(env);
  CompileNet_bn(net.get());
  std::string tree = JunctionTreeReport_bn(net.get());
  float before = Belief(net, "dysp", "yes");
  SetTable(Named(net, "smoke"), {0.9f, 0.1f});
  EXPECT_EQ(JunctionTreeReport_bn(net.get()), tree);
  EXPECT_FALSE(IsBeliefUpdated_bn(Named(net, "smoke")));
  GetNodeBeliefs_bn(Named(net, "dysp"));
  EXPECT_EQ(Gist(), "5 2077 GetNodeBeliefs_bn ChestClinic");
  CompileNet_bn(net.get());
  EXPECT_EQ(JunctionTreeReport_bn(net.get()), tree);
  EXPECT_GT(Belief(net, "dysp", "yes"), before + 0.05f);
  EXPECT_NEAR(Belief(net, "bronc", "yes"), 0.9 * 0.6 + 0.1 * 0.3, 1e-6);
  DeleteNodeRelation_bn(Named(net, "smoke"));
  CompileNet_bn(net.get());
  EXPECT_EQ(Gist(), "5 2229 CompileNet_bn ChestClinic smoke");
  EXPECT_EQ(JunctionTreeReport_bn(net.get()), tree);
  DeleteLink_bn(0, Named(net, "bronc"));
  EXPECT_STREQ(JunctionTreeReport_bn(net.get()), "Net 'ChestClinic' has no junction tree\n");
}

TEST_F(Compiling, StoresTheOrderItFound) {
  Net net = Chain(env, 4);
  EXPECT_EQ(GetNetElimOrder_bn(net.get()), nullptr);
  CompileNet_bn(net.get());
  EXPECT_EQ(Order(net), Names({"N0", "N1", "N2", "N3"}));
  // A star whose centre is eliminated first makes one clique of all; the stored order is followed all the same.
  Net star(NewNet_bn("Star", env));
  AddNode(star, "Hub", {"x", "y"}, {}, {0.5f, 0.5f});
  for (const char* name : {"S", "T", "U"}) Uniform(AddNode(star, name, {"x", "y"}, {"Hub"}));
  nodelist_bn order = DupNodeList_bn(GetNetNodes_bn(star.get()));
  SetNetElimOrder_bn(star.get(), order);
  FreeNodeList_bn(order);
  CompileNet_bn(star.get());
  EXPECT_EQ(Order(star), Names({"Hub", "S", "T", "U"}));
  EXPECT_NE(std::string(JunctionTreeReport_bn(star.get())).find("Total state space = 16\n"), std::string::npos);
  // A better one is found on demand, and can be taken back.
  EXPECT_EQ(FindElimOrder_bn(star.get(), 0), 0);
  EXPECT_NE(Order(star)[0], "Hub");
  CompileNet_bn(star.get());
  EXPECT_NE(std::string(JunctionTreeReport_bn(star.get())).find("Total state space = 12\n"), std::string::npos);
  EXPECT_EQ(UndoLastChange_bn(star.get()), 1);
  EXPECT_EQ(Order(star), Names({"Hub", "S", "T", "U"}));
  for (const char* total : {"Total state space = 16\n", "Total state space = 12\n"}) {
    CompileNet_bn(star.get());
    EXPECT_NE(std::string(JunctionTreeReport_bn(star.get())).find(total), std::string::npos);
    RedoLastChange_bn(star.get());
  }
}

int BRAVIC_CALL HaltAlways(void* calls, const char*, double, double) {
  ++*static_cast<int*>(calls);
  return 1;
}

TEST_F(Compiling, HaltsTheSearchWhenTheHostAsks) {
  Random random(7);
  Net net = RandomNet(env, random, {.minNodes = 60, .maxNodes = 60, .minStates = 2, .maxConfigurations = 1e300});
  int calls = 0;
  SetProgressCallback_ns(HaltAlways, &calls, env);
  EXPECT_EQ(FindElimOrder_bn(net.get(), 3600), 0);
  SetProgressCallback_ns(nullptr, nullptr, env);
  EXPECT_GE(calls, 1);
  EXPECT_EQ(Order(net).size(), 60u);
}

long clockNow;

// Halts the operation of that name.
int BRAVIC_CALL HaltNamed(void* name, const char* what, double, double) {
  return std::string(what) == static_cast<const char*>(name);
}

class HaltedCompiling : public Compiling {
 protected:
  void SetUp() override {
    Compiling::SetUp();
    clockNow = 0;
    SetWaitClock([] { return ++clockNow; });
  }
  void TearDown() override {
    SetWaitClock(nullptr);
    Compiling::TearDown();
  }
  void CompileHalting(std::string what, const Net& net) {
    SetProgressCallback_ns(HaltNamed, what.data(), env);
    CompileNet_bn(net.get());
    SetProgressCallback_ns(nullptr, nullptr, env);
  }
};

TEST_F(HaltedCompiling, GoesOnWithTheOrderFoundSoFar) {
  Net net = ChestClinic(env);
  CompileHalting("Finding Elimination Order", net);
  EXPECT_EQ(Gist(), "4 2295 CompileNet_bn 1;");
  EXPECT_EQ(Order(net), Names({"asia", "tub", "smoke", "lung", "either", "xray", "bronc", "dysp"}));
  EXPECT_NEAR(Belief(net, "dysp", "yes"), 0.4359706, 1e-6);
}

TEST_F(HaltedCompiling, LeavesNothingAndCanBeDoneAgain) {
  Net net = ChestClinic(env);
  CompileHalting("Compiling net", net);
  EXPECT_EQ(Reports(), "5 2074 CompileNet_bn: Compiling aborted\n");
  EXPECT_STREQ(JunctionTreeReport_bn(net.get()), "Net 'ChestClinic' has no junction tree\n");
  CompileNet_bn(net.get());
  EXPECT_NEAR(Belief(net, "dysp", "yes"), 0.4359706, 1e-6);
}

TEST_F(Compiling, RefusesWhatIsNoBeliefNet) {
  Net net = ChestClinic(env);
  SetNodeKind_bn(Named(net, "smoke"), DECISION_NODE);
  CompileNet_bn(net.get());
  EXPECT_EQ(Gist(), "5 2007 CompileNet_bn ChestClinic smoke");
  EXPECT_STREQ(JunctionTreeReport_bn(net.get()), "Net 'ChestClinic' has no junction tree\n");
  SetNodeKind_bn(Named(net, "smoke"), NATURE_NODE);
  CompileNet_bn(net.get());
  EXPECT_NEAR(Belief(net, "smoke", "yes"), 0.5, 1e-7);
  CompileNet_bn(nullptr);
  EXPECT_EQ(Reports(), "5 5104 CompileNet_bn: NULL passed for net_bn\n");
}

TEST_F(Compiling, AcceptsNetsWithoutNodesOrWithOneState) {
  Net none(NewNet_bn("None", env));
  CompileNet_bn(none.get());
  EXPECT_EQ(CaseProbability_bn(none.get()), 1);
  Net one(NewNet_bn("One", env));
  AddNode(one, "A", {"only"}, {}, {1});
  AddNode(one, "B", {"x", "y"}, {"A"}, {0.25f, 0.75f});
  CompileNet_bn(one.get());
  EXPECT_FLOAT_EQ(Belief(one, "B", "x"), 0.25f);
  EnterFinding_bn(Named(one, "A"), 0);
  EXPECT_EQ(Belief(one, "A", "only"), 1);
  EXPECT_EQ(CaseProbability_bn(one.get()), 1);
}

// Three roots of 1000 states, each two with a common child: a clique of 10^9 entries.
TEST_F(Compiling, RefusesACliqueTooLargeToHold) {
  Net net(NewNet_bn("Large", env));
  const char* roots[] = {"R1", "R2", "R3"};
  for (const char* root : roots) Uniform(NewNode_bn(root, 1000, net.get()));
  for (int i = 0; i < 3; ++i) Uniform(NewNode_bn(nullptr, 1, net.get()));
  std::vector<node_bn> nodes = Nodes(net);
  for (int i = 0; i < 3; ++i) {
    node_bn child = nodes[std::size_t(3 + i)];
    AddLink_bn(nodes[std::size_t(i)], child);
    AddLink_bn(nodes[std::size_t((i + 1) % 3)], child);
  }
  std::size_t used = MemoryUsed();
  CompileNet_bn(net.get());
  std::string report = Reports();
  EXPECT_EQ(report.rfind("5 2009 CompileNet_bn: Couldn't compile net because not enough memory for the potential "
                         "table of clique [",
                         0),
            0u)
      << report;
  for (const char* root : roots) EXPECT_NE(report.find(root), std::string::npos) << report;
  EXPECT_LT(MemoryUsed(), used + 100000) << "potentials are left";
  EXPECT_NE(std::string(JunctionTreeReport_bn(net.get())).find("1000000000"), std::string::npos);
  DeleteLink_bn(0, nodes[3]);
  CompileNet_bn(net.get());
  EXPECT_NEAR(GetNodeBeliefs_bn(nodes[0])[999], 0.001, 1e-8);
  // By the host's order it counts as well, though another would do.
  Net hub(NewNet_bn("Hub", env));
  node_bn centre = NewNode_bn("Centre", 2, hub.get());
  Uniform(centre);
  for (int i = 0; i < 30; ++i) {
    node_bn leaf = NewNode_bn(nullptr, 2, hub.get());
    AddLink_bn(centre, leaf);
    Uniform(leaf);
  }
  SetNetElimOrder_bn(hub.get(), GetNetNodes_bn(hub.get()));
  CompileNet_bn(hub.get());
  EXPECT_EQ(Reports().rfind("5 2009", 0), 0u);
}

// What is told beforehand is what is then computed with.
TEST_F(Compiling, IsEstimatedBeforehand) {
  for (const NetShape& shape : {MakeShape("grid", 600), MakeShape("pedigree", 300)}) {
    Net net(NewNet_bn("Estimated", env));
    const std::vector<node_bn> nodes = Build(shape, net);
    double entries = 0, bytes = 0, seconds = 0, again = 0;
    EXPECT_EQ(EstimateCompile_bn(net.get(), &entries, &bytes, &seconds), 0) << Reports();
    EXPECT_EQ(GetNetElimOrder_bn(net.get()), nullptr);
    const std::size_t before = MemoryUsed();
    CompileNet_bn(net.get());
    EXPECT_EQ(EstimateCompile_bn(net.get(), &again, nullptr, nullptr), 0);
    EXPECT_EQ(again, entries);
    for (node_bn node : nodes) GetNodeBeliefs_bn(node);
    const auto taken = static_cast<double>(MemoryUsed() - before);
    EXPECT_GT(bytes, 0.5 * taken) << entries << " entries, " << nodes.size() << " nodes";
    EXPECT_LT(bytes, 2 * taken) << entries << " entries";
    EXPECT_GT(seconds, 1e-9 * entries);
    EXPECT_LT(seconds, 1e-7 * entries + 1e-5 * static_cast<double>(nodes.size()));
    EXPECT_EQ(Reports(), "");
  }
  Net clinic = ChestClinic(env);
  SetNodeKind_bn(Nodes(clinic)[0], DECISION_NODE);
  double entries = 7;
  EXPECT_EQ(EstimateCompile_bn(clinic.get(), &entries, nullptr, nullptr), -1);
  EXPECT_EQ(entries, 7);
  EXPECT_EQ(Gist().substr(0, 6), "5 2007");
}

// A net that is too large is told with the link that makes it so.
TEST_F(Compiling, EstimatesComeWithAdvice) {
  Net net(NewNet_bn("Hub", env));
  node_bn hub = NewNode_bn("Hub", 4, net.get());
  for (int i = 0; i < 14; ++i) AddLink_bn(NewNode_bn(nullptr, 4, net.get()), hub);
  AddLink_bn(NewNode_bn("Large", 200, net.get()), hub);
  double entries = 0;
  EXPECT_EQ(EstimateCompile_bn(net.get(), &entries, nullptr, nullptr), 0);
  EXPECT_EQ(entries, 200 * std::pow(4.0, 15));
  const std::string report = Reports();
  EXPECT_EQ(report.rfind("4 2493", 0), 0u) << report;
  EXPECT_NE(report.find("without the link from 'Large' to 'Hub'"), std::string::npos) << report;
}

// A pedigree whose own order makes a clique of 2^30 entries, though a tree of 22 million is found.
TEST_F(Compiling, TakesASmallerTreeWhereItsOwnIsTooLarge) {
  const NetShape shape = MakeShape("pedigree", 724);
  Net net(NewNet_bn("Pedigree", env));
  const std::vector<node_bn> nodes = Build(shape, net);
  const float probs[] = {0.1f, 0.2f, 0.3f, 0.4f};
  SetNodeProbs_bn(nodes[0], nullptr, probs);
  auto compile = [&] {
    CompileNet_bn(net.get());
    return Gist().substr(0, 6);
  };
  const std::size_t used = MemoryUsed();
  EXPECT_EQ(compile(), "3 2492");
  EXPECT_LT(MemoryUsed(), used + 200000000);
  EXPECT_NEAR(GetNodeBeliefs_bn(nodes[0])[3], 0.4, 1e-6);
  EXPECT_NEAR(GetNodeBeliefs_bn(nodes.back())[1], 0.5, 1e-6);
  // So it is when the tree is kept.
  Uniform(nodes[0]);
  EXPECT_EQ(compile(), "3 2492");
  // An order of the host's is not passed over.
  SetNetElimOrder_bn(net.get(), GetNetNodes_bn(net.get()));
  EXPECT_EQ(compile(), "5 2009");
  UndoLastChange_bn(net.get());
  EXPECT_EQ(compile(), "3 2492");
  RedoLastChange_bn(net.get());
  EXPECT_EQ(compile(), "5 2009");
  FindElimOrder_bn(net.get(), 0);
  EXPECT_EQ(compile(), "3 2492");
}

}  // namespace
}  // namespace bravic::testing

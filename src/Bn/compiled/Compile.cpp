#include "Bn/compiled/Compile.h"

#include <algorithm>

#include "Bn/compiled/CompileGraph.h"
#include "Bn/compiled/CompiledNet.h"
#include "Bn/compiled/ComputingTree.h"
#include "Bn/compiled/Preflight.h"
#include "Bn/model/Checks.h"
#include "Bn/model/Members.h"
#include "Bn/model/TableForms.h"
#include "Win_Face/Interaction.h"

namespace bravic {
namespace {

constexpr int NODES_WORTH_SEARCHING = 4;  // of fewer any order is as good

// The order to triangulate along: the stored one, or one searched now. starved: the search ended for want of memory.
Vector<int> EliminationOrder(net_bn net, const CompileGraph& graph, const engine::Graph& moral, bool* starved) {
  *starved = false;
  if (net->elimorder.num >= 0) return StoredOrder(net, graph);
  engine::Order order;
  if (graph.nodes.size() < NODES_WORTH_SEARCHING) {
    for (int i = 0; i < graph.nodes.size(); ++i) order.nodes.push_back(i);
  } else {
    WaitScope wait("Finding Elimination Order");
    order = engine::FindOrder(moral, graph.numstates, [&](double fraction) {
      *starved = !HasReserve();
      return *starved || wait.Progress(fraction);
    });
    if (!*starved) WarnHalted(order);
  }
  return std::move(order.nodes);
}

// Between two steps: whether there is memory left and nobody wants to stop.
Failure CheckGoingOn(WaitScope& wait, double fraction) {
  if (!HasReserve()) return Fail(RESERVE_USED_WHILE_COMPILING);
  if (wait.Progress(fraction)) return Fail(COMPILING_ABORTED);
  return nullptr;
}

Failure FailCompiling(Failure failure) {
  const char* reason = failure->mesg;
  return Rephrase(std::move(failure), AROUND_COMPILING, reason);
}

// The shares of the work that are done by then, as a host is told of them.
constexpr double SHARE_AT_MORAL_GRAPH = 0.1, SHARE_AT_ORDER = 0.4, SHARE_AT_TREE = 0.6;

Failure MakeTree(net_bn net, Vector<node_bn> nodes, WaitScope& wait) {
  if (Failure failure = CheckGraphSize(nodes)) return FailCompiling(std::move(failure));
  CompileGraph graph = MakeGraph(std::move(nodes));
  const engine::Graph moral = engine::MoralGraph(graph.parents, graph.children);
  if (Failure failure = CheckGoingOn(wait, SHARE_AT_MORAL_GRAPH)) return failure;
  bool starved;
  const Vector<int> order = EliminationOrder(net, graph, moral, &starved);
  if (starved) return Fail(RESERVE_USED_WHILE_COMPILING);
  if (Failure failure = CheckGoingOn(wait, SHARE_AT_ORDER)) return failure;
  if (net->elimorder.num < 0) StoreOrder(net->elimorder, graph, order);
  Owned<CompiledNet> compiled = MakeOwned<CompiledNet>();
  compiled->tree = engine::BuildTree(moral, graph.numstates, graph.parents, order);
  compiled->computingTree = ComputingTree(compiled->tree, graph, moral, net->hasHostOrder);
  if (Failure failure = CheckGoingOn(wait, SHARE_AT_TREE)) return failure;
  compiled->nodes = std::move(graph.nodes);
  compiled->numstates = std::move(graph.numstates);
  compiled->parents = std::move(graph.parents);
  net->compiled = compiled.release();
  return nullptr;
}

NetTree TreeOf(const CompiledNet& compiled, const engine::JunctionTree& tree) {
  return {compiled.nodes, compiled.numstates, compiled.parents, tree};
}

// Looks at all sizes before any memory is had. An order that the host has set decides what is refused, whatever tree is
// computed with; in place of any other order one that was searched for will do.
Failure CheckSizes(const CompiledNet& compiled, bool hasHostOrder) {
  const engine::JunctionTree& tree = hasHostOrder ? compiled.tree : compiled.computingTree;
  return FitsInTables(tree) ? nullptr : FailCompiling(FailTree(TreeOf(compiled, tree), hasHostOrder));
}

// Every table in the form in which potentials take it.
Failure PrepareTables(const CompiledNet& compiled) {
  for (node_bn node : compiled.nodes) {
    if (node->kind == UTILITY_NODE) continue;
    if (!IsProbsComplete(node)) {
      return Fail(TABLE_GONE_WHILE_COMPILING, node->name);
    }
    if (Failure failure = NormalizeTable(node)) return FailCompiling(std::move(failure));
  }
  return nullptr;
}

// A new engine, with every table; all findings have to be handed over to it.
Failure FillPotentials(CompiledNet& compiled, bool hasHostOrder) {
  if (Failure failure = CheckSizes(compiled, hasHostOrder)) return failure;
  compiled.inference = engine::Inference::Make(compiled.computingTree, compiled.numstates, compiled.parents);
  int failedClique = -1;
  if (compiled.inference->AllocatePotentials(&failedClique) != engine::Status::Done) {
    return FailCompiling(FailPotential(TreeOf(compiled, compiled.computingTree), failedClique));
  }
  if (Failure failure = PrepareTables(compiled)) return failure;
  compiled.inference->SetTables(TablesOf(compiled));
  compiled.staleFindings.Reset(compiled.nodes.size());
  for (int i = 0; i < compiled.nodes.size(); ++i) {
    bnode& node = *compiled.nodes[i];
    if (node.evidence != UNDEF_STATE || node.likelihood) compiled.staleFindings.Add(i);
    node.beliefStamp = 0;  // a belief kept from another engine bears a stamp that means nothing to this one
  }
  compiled.readStamp = 0;
  return nullptr;
}

// The engine is there: only the tables that changed since are handed over.
Failure RefillPotentials(CompiledNet& compiled) {
  if (Failure failure = PrepareTables(compiled)) return failure;
  for (int i : compiled.staleTables.members) compiled.inference->TableChanged(i);
  return nullptr;
}

Failure MakePotentials(net_bn net) {
  CompiledNet& compiled = *net->compiled;
  if (Failure failure = compiled.filled ? RefillPotentials(compiled) : FillPotentials(compiled, net->hasHostOrder)) {
    DropPotentials(net);
    return failure;
  }
  if (!FitsInTables(compiled.tree))
    Report(COMPUTED_OVER_SMALLER_TREE, compiled.tree.totalSize, compiled.computingTree.totalSize);
  compiled.staleTables.Reset(compiled.nodes.size());
  compiled.filled = true;
  ResetProbability(net);
  net->potentialsMade = true;
  return nullptr;
}

}  // namespace

Failure CompileNet(net_bn net) {
  if (net->potentialsMade) return nullptr;
  WaitScope wait("Compiling net");
  Vector<node_bn> nodes = CompileNodes(net);
  if (Failure failure = CheckReadiness(nodes, Purpose::Compile, Extent::Tables, net)) return failure;
  if (!net->compiled) {
    if (Failure failure = MakeTree(net, std::move(nodes), wait)) return failure;
  }
  if (Failure failure = MakePotentials(net)) return failure;
  HandOverFindings(net);
  net->findingsApplied = true;
  return nullptr;
}

}  // namespace bravic

#include "Bn/compiled/Compile.h"

#include <algorithm>
#include <cstdio>

#include "Basic/Text.h"
#include "Bn/compiled/CompileGraph.h"
#include "Bn/compiled/CompiledNet.h"
#include "Bn/model/Checks.h"
#include "Bn/model/Tables.h"
#include "Win_Face/Interaction.h"

namespace bravic {
namespace {

constexpr int NODES_WORTH_SEARCHING = 4;

// The order to triangulate along: the stored one, or the one searched now, which is stored.
Vector<int> EliminationOrder(net_bn net, const CompileGraph& graph, const engine::Graph& moral) {
  if (net->elimorder.num >= 0) return StoredOrder(net, graph);
  engine::Order order;
  if (graph.nodes.size() < NODES_WORTH_SEARCHING) {
    for (int i = 0; i < graph.nodes.size(); ++i) order.nodes.push_back(i);
  } else {
    WaitScope wait("Finding Elimination Order");
    order = engine::FindOrder(moral, graph.numstates, [&](double fraction) { return wait.Progress(fraction); });
    WarnHalted(order);
  }
  StoreOrder(net->elimorder, graph, order.nodes);
  return std::move(order.nodes);
}

// Between two steps: whether there is memory left and nobody wants to stop.
Failure CheckGoingOn(WaitScope& wait, double fraction) {
  if (!HasReserve()) return Fail(-2073, "compiling aborted due to insufficient memory");
  if (wait.Progress(fraction)) return Fail(-2074, "compiling aborted");
  return nullptr;
}

Failure MakeTree(net_bn net, Vector<node_bn> nodes, WaitScope& wait) {
  CompileGraph graph = MakeGraph(std::move(nodes));
  engine::Graph moral = engine::MoralGraph(graph.parents, graph.children);
  if (Failure failure = CheckGoingOn(wait, 0.1)) return failure;
  Vector<int> order = EliminationOrder(net, graph, moral);
  Owned<CompiledNet> compiled = MakeOwned<CompiledNet>();
  compiled->tree = engine::BuildTree(moral, graph.numstates, graph.parents, order);
  // To compute with: the tree of another order, where one is found whose tables are well smaller.
  constexpr double ENTRIES_WORTH_SEARCHING = 16384;
  engine::Order quick;
  if (compiled->tree.totalSize > ENTRIES_WORTH_SEARCHING) {
    quick = engine::QuickOrder(moral, graph.numstates, 0.97 * compiled->tree.totalSize, 0.25);
  }
  engine::JunctionTree other;
  if (!quick.nodes.empty()) other = engine::BuildTree(moral, graph.numstates, graph.parents, quick.nodes);
  // Smaller altogether, it may still have a clique too large for a table.
  bool serves = !other.cliques.empty() && std::ranges::all_of(other.cliques, [](const engine::Clique& clique) {
    return clique.size < engine::MAX_TABLE_ENTRIES;
  });
  compiled->computingTree = engine::MergeSmallCliques(serves ? other : compiled->tree);
  if (Failure failure = CheckGoingOn(wait, 0.6)) return failure;
  compiled->nodes = std::move(graph.nodes);
  compiled->numstates = std::move(graph.numstates);
  compiled->parents = std::move(graph.parents);
  for (int i = 0; i < compiled->nodes.size(); ++i) {
    compiled->nodes[i]->elim = compiled->tree.number[i];
    compiled->nodes[i]->homecliq = compiled->tree.home[i];
  }
  net->compiled = compiled.release();
  return nullptr;
}

constexpr std::size_t MAX_MEMBERS_TEXT = 100;

Failure FailPotential(const CompiledNet& compiled, const engine::JunctionTree& tree, int clique) {
  char members[MAX_MEMBERS_TEXT + 1] = "";
  double nbytes = 0;
  if (clique >= 0) {
    const engine::Clique& failed = tree.cliques[clique];
    nbytes = failed.size * sizeof(float);
    std::size_t length = 0;
    for (int k = 0; k < failed.members.size(); ++k) {
      if (k > 0 && length < MAX_MEMBERS_TEXT) members[length++] = ',';
      std::string_view name = OrEmpty(compiled.nodes[failed.members[k]]->name);
      length += name.copy(members + length, MAX_MEMBERS_TEXT - length);
    }
    members[length] = '\0';
  }
  char purpose[MAX_MEMBERS_TEXT + 60];
  std::snprintf(purpose, sizeof purpose, "for the potential table of clique [%s]", members);
  Failure failure = FailMemory(-2009, nbytes, purpose);
  const char* reason = failure->mesg;
  return Rephrase(std::move(failure), "couldn't compile net because %s", reason);
}

// Every table in the form in which potentials take it.
Failure PrepareTables(const CompiledNet& compiled) {
  for (node_bn node : compiled.nodes) {
    if (node->kind == UTILITY_NODE) continue;
    if (!IsProbsComplete(node)) {
      return Fail(-2070,
                  "Couldn't generate clique potentials because node '%s' doesn't have a complete probability table",
                  node->name);
    }
    if (Failure failure = NormalizeTable(node)) {
      const char* reason = failure->mesg;
      return Rephrase(std::move(failure), "couldn't compile net because %s", reason);
    }
  }
  return nullptr;
}

// Fills the potentials anew, or only those whose tables changed since they were filled.
Failure FillPotentials(CompiledNet& compiled) {
  const engine::JunctionTree& tree = compiled.computingTree;
  if (!compiled.filled) {
    // What is refused does not depend on the tree that happens to be found.
    for (int c = 0; c < compiled.tree.cliques.size(); ++c) {
      if (!(compiled.tree.cliques[c].size < engine::MAX_TABLE_ENTRIES)) {
        return FailPotential(compiled, compiled.tree, c);
      }
    }
    compiled.inference = engine::Inference::Make(tree, compiled.numstates, compiled.parents);
    int failedClique = -1;
    if (compiled.inference->AllocatePotentials(&failedClique) != engine::Status::Done) {
      return FailPotential(compiled, tree, failedClique);
    }
    if (Failure failure = PrepareTables(compiled)) return failure;
    compiled.inference->SetTables([&compiled](int i) -> const float* {
      const bnode& node = *compiled.nodes[i];
      return node.kind == UTILITY_NODE ? nullptr : node.probs;
    });
    compiled.staleFindings.Reset(compiled.nodes.size());
    for (int i = 0; i < compiled.nodes.size(); ++i) {
      const bnode& node = *compiled.nodes[i];
      if (node.evidence != UNDEF_STATE || node.likelihood) compiled.staleFindings.Add(i);
    }
  } else {
    if (Failure failure = PrepareTables(compiled)) return failure;
    for (int i : compiled.staleTables.members) compiled.inference->TableChanged(i);
  }
  compiled.staleTables.Reset(compiled.nodes.size());
  compiled.filled = true;
  return nullptr;
}

Failure MakePotentials(net_bn net) {
  CompiledNet& compiled = *net->compiled;
  bool anew = !compiled.filled;
  if (Failure failure = FillPotentials(compiled)) {
    DropPotentials(net);
    return failure;
  }
  // Beliefs kept from another engine bear stamps that mean nothing to this one.
  if (anew) {
    for (node_bn node : compiled.nodes) node->beliefStamp = 0;
    compiled.readStamp = 0;
  }
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

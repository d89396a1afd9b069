#include "Bn/compiled/Compile.h"

#include <algorithm>
#include <cstdio>

#include "Basic/Environ.h"
#include "Basic/Text.h"
#include "Bn/compiled/Beliefs.h"
#include "Bn/compiled/CompileGraph.h"
#include "Bn/compiled/Likelihood.h"
#include "Bn/compiled/TreeReport.h"
#include "Bn/model/Changes.h"
#include "Bn/model/Checks.h"
#include "Bn/model/Members.h"
#include "Bn/model/TableForms.h"
#include "Win_Face/Interaction.h"

namespace bravic {

static std::size_t Position(int i) {
  return static_cast<std::size_t>(i);
}

int CompiledIndex(const bnode& node) {
  const CompiledNet* compiled = node.innet ? node.innet->compiled : nullptr;
  if (!compiled || node.compiledIndex < 0 || node.compiledIndex >= compiled->nodes.size()) return -1;
  return compiled->nodes[Position(node.compiledIndex)] == &node ? node.compiledIndex : -1;
}

bool UserOutput() {
  return currentEnviron && currentEnviron->hasUserInteraction == 1;
}

static constexpr int NODES_WORTH_SEARCHING = 4;

// The order to triangulate along: the stored one, or the one searched now, which is stored.
static Vector<int> EliminationOrder(net_bn net, const CompileGraph& graph, const engine::Graph& moral) {
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
static Failure CheckGoingOn(WaitScope& wait, double fraction) {
  if (!HasReserve()) return Fail(-2073, "compiling aborted due to insufficient memory");
  if (wait.Progress(fraction)) return Fail(-2074, "compiling aborted");
  return nullptr;
}

static Failure MakeTree(net_bn net, Vector<node_bn> nodes, WaitScope& wait) {
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

static constexpr std::size_t MAX_MEMBERS_TEXT = 100;

static Failure FailPotential(const CompiledNet& compiled, const engine::JunctionTree& tree, int clique) {
  char members[MAX_MEMBERS_TEXT + 1] = "";
  double nbytes = 0;
  if (clique >= 0) {
    const engine::Clique& failed = tree.cliques[Position(clique)];
    nbytes = failed.size * sizeof(float);
    std::size_t length = 0;
    for (int k = 0; k < failed.members.size(); ++k) {
      if (k > 0 && length < MAX_MEMBERS_TEXT) members[length++] = ',';
      std::string_view name = OrEmpty(compiled.nodes[Position(failed.members[k])]->name);
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
static Failure PrepareTables(const CompiledNet& compiled) {
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
static Failure FillPotentials(CompiledNet& compiled) {
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
      const bnode& node = *compiled.nodes[Position(i)];
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

static Failure MakePotentials(net_bn net) {
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
  net->caseprob = 1.0;
  compiled.logProbability = 0;
  compiled.probabilityKnown = true;
  net->potentialsMade = true;
  return nullptr;
}

Failure CompileNet(net_bn net, bool discardTree, bool makePotentials) {
  if (discardTree) UncompileNet(net);
  if (net->potentialsMade) return nullptr;
  WaitScope wait("Compiling net");
  Vector<node_bn> nodes = CompileNodes(net);
  constexpr int STRUCTURE_ONLY = 2, TABLES_TOO = 0;
  if (!net->compiled || makePotentials) {
    int mode = makePotentials ? TABLES_TOO : STRUCTURE_ONLY;
    if (Failure failure = CheckReadiness(nodes, true, Purpose::Compile, mode, net)) return failure;
  }
  if (!net->compiled) {
    if (Failure failure = MakeTree(net, std::move(nodes), wait)) return failure;
  }
  if (!makePotentials) return nullptr;
  if (Failure failure = MakePotentials(net)) return failure;
  HandOverFindings(net);
  net->findingsApplied = true;
  return nullptr;
}

void UncompileNet(net_bn net) {
  if (net->compiled) {
    for (node_bn node : PresentNodes(net)) node->compiledIndex = node->homecliq = -1;
    DeleteObject(net->compiled);
    net->compiled = nullptr;
  }
  net->potentialsMade = net->findingsApplied = net->beliefsCurrent = false;
}

void DropPotentials(net_bn net) {
  if (net->compiled) {
    net->compiled->inference.reset();
    net->compiled->filled = false;
  }
  net->potentialsMade = net->findingsApplied = net->beliefsCurrent = false;
}

// The hook for a change of one table: the rest of the potentials keeps.
static void TableChangedAlone(node_bn node) {
  net_bn net = node->innet;
  if (!net || !net->compiled) return;
  if (net->compiled->filled) {
    int i = CompiledIndex(*node);
    if (i >= 0) net->compiled->staleTables.Add(i);
  }
  net->potentialsMade = net->findingsApplied = net->beliefsCurrent = false;
}

void NoteFindingChanged(node_bn node, bool strengthened) {
  net_bn net = node->innet;
  net->dirty = true;
  net->beliefsCurrent = false;
  if (!strengthened) net->findingsApplied = false;
  node->beliefStamp = 0;
  int i = CompiledIndex(*node);
  if (i < 0 || !net->compiled->filled) return;
  net->compiled->staleFindings.Add(i);
  net->compiled->allKnown = false;
}

// The hook for a finding that came back by undo or redo.
static void FindingRestored(node_bn node) {
  if (!node->innet) return;
  NoteFindingChanged(node, false);
  AutoUpdate(node->innet);
}

void HandOverFindings(net_bn net) {
  CompiledNet& compiled = *net->compiled;
  for (int i : compiled.staleFindings.members) {
    const bnode& node = *compiled.nodes[Position(i)];
    bool counts = node.kind == NATURE_NODE || node.kind == DECISION_NODE;
    if (counts && node.evidence != UNDEF_STATE) {
      compiled.inference->SetState(i, node.evidence);
    } else if (counts && node.likelihood) {
      compiled.inference->SetLikelihood(i, LikelihoodWeights(node));
    } else {
      compiled.inference->ClearFinding(i);
    }
  }
  compiled.staleFindings.Clear();
}

void StartCompile() {
  inferenceHooks = {UncompileNet, TableChangedAlone, FindingRestored};
}

}  // namespace bravic

#include "Bn/compiled/Preflight.h"

#include <algorithm>

#include "Basic/Text.h"
#include "Bn/compiled/CompileGraph.h"
#include "Bn/compiled/CompiledNet.h"
#include "Bn/compiled/ComputingTree.h"
#include "Bn/model/Checks.h"
#include "Win_Face/Interaction.h"

namespace bravic {
namespace {

constexpr std::size_t MAX_MEMBERS_TEXT = 100, MAX_ADVICE_TEXT = 160;

Failure CheckKinds(std::span<const node_bn> nodes, net_bn net) {
  for (node_bn node : nodes) {
    if (node->kind == NATURE_NODE) continue;
    Failure failure = node->kind == DECISION_NODE ? Fail(COMPILING_DECISION_NODE, OrEmpty(node->name))
                                                  : Fail(COMPILING_UTILITY_NODE, OrEmpty(node->name));
    const char* reason = failure->mesg;
    return Rephrase(std::move(failure), AROUND_CHECK_OF_NET, "compile", OrEmpty(net->name), reason);
  }
  return nullptr;
}

Vector<int> OrderOf(net_bn net, const CompileGraph& graph, const engine::Graph& moral) {
  if (net->elimorder.num >= 0) return StoredOrder(net, graph);
  WaitScope wait("Finding Elimination Order");
  engine::Order order =
      engine::FindOrder(moral, graph.numstates, [&](double fraction) { return wait.Progress(fraction); });
  WarnHalted(order);
  return std::move(order.nodes);
}

void EstimateFound(const NetTree& found, bool hasHostOrder, engine::TreeEstimate* estimate) {
  *estimate = engine::EstimateTree(found.tree);
  if (FitsInTables(found.tree)) return;
  const Failure failure = FailTree(found, hasHostOrder);
  Report(TREE_TOO_LARGE, failure->mesg);
}

}  // namespace

bool EstimateCompile(net_bn net, engine::TreeEstimate* estimate) {
  if (const CompiledNet* compiled = net->compiled) {
    EstimateFound({compiled->nodes, compiled->numstates, compiled->parents, compiled->computingTree}, net->hasHostOrder,
                  estimate);
    return true;
  }
  Vector<node_bn> nodes = CompileNodes(net);
  Failure failure = CheckReadiness(nodes, Purpose::Compile, Extent::Structure, net);
  if (!failure) failure = CheckKinds(nodes, net);
  if (!failure) failure = CheckGraphSize(nodes);
  if (failure) {
    Post(std::move(failure));
    return false;
  }
  const CompileGraph graph = MakeGraph(std::move(nodes));
  const engine::Graph moral = engine::MoralGraph(graph.parents, graph.children);
  const Vector<int> order = OrderOf(net, graph, moral);
  const engine::JunctionTree told = engine::BuildTree(moral, graph.numstates, graph.parents, order);
  const engine::JunctionTree tree = ComputingTree(told, graph, moral, net->hasHostOrder);
  EstimateFound({graph.nodes, graph.numstates, graph.parents, tree}, net->hasHostOrder, estimate);
  return true;
}

Failure FailPotential(const NetTree& found, int clique) {
  char members[MAX_MEMBERS_TEXT + 1] = "";
  double nbytes = 0;
  if (clique >= 0) {
    const engine::Clique& failed = found.tree.cliques[clique];
    nbytes = failed.size * sizeof(float);
    std::size_t length = 0;
    for (int k = 0; k < failed.members.size(); ++k) {
      if (k > 0 && length < MAX_MEMBERS_TEXT) members[length++] = ',';
      const std::string_view name = OrEmpty(found.nodes[failed.members[k]]->name);
      length += name.copy(members + length, MAX_MEMBERS_TEXT - length);
    }
    members[length] = '\0';
  }
  Failure failure = FailMemory(NO_MEMORY_FOR_POTENTIAL, nbytes, members);
  const char* reason = failure->mesg;
  const engine::TreeEstimate all = engine::EstimateTree(found.tree);
  return Rephrase(std::move(failure), AROUND_TREE, reason, all.entries, all.bytes, all.seconds);
}

Failure FailTree(const NetTree& found, bool hasHostOrder) {
  constexpr double SECONDS_OF_SEARCH = 1;
  const auto& cliques = found.tree.cliques;
  const auto largest =
      std::max_element(cliques.begin(), cliques.end(), [](const auto& a, const auto& b) { return a.size < b.size; });
  Failure failure = FailPotential(found, static_cast<int>(largest - cliques.begin()));
  WaitScope wait("Finding Elimination Order");
  const engine::TreeAdvice advice = engine::Advise(found.numstates, found.parents, found.tree, SECONDS_OF_SEARCH,
                                                   [&](double fraction) { return wait.Progress(fraction); });
  char link[MAX_ADVICE_TEXT] = "";
  if (advice.parent >= 0)
    FormatText(link, sizeof link, ", and %g would without the link from '%s' to '%s'", advice.withoutLink,
               OrEmpty(found.nodes[advice.parent]->name), OrEmpty(found.nodes[advice.child]->name));
  const char* reason = failure->mesg;
  return hasHostOrder ? Rephrase(std::move(failure), AROUND_HOST_TREE, reason, advice.searched, link)
                      : Rephrase(std::move(failure), AROUND_FOUND_TREE, reason, advice.searched, link);
}

}  // namespace bravic

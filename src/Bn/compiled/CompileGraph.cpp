#include "Bn/compiled/CompileGraph.h"

#include <algorithm>

#include "Bn/model/NodeOrder.h"

namespace bravic {

Vector<node_bn> CompileNodes(net_bn net) {
  Vector<node_bn> nodes;
  for (node_bn node : OrderedNodes(net)) {
    if (node->kind != ASSUME_NODE) nodes.push_back(node);
  }
  return nodes;
}

Failure CheckGraphSize(const Vector<node_bn>& nodes) {
  constexpr double ROOM_TO_GROW = 2;  // of a list that is filled one by one
  const double most = static_cast<double>(nodes.size()) * nodes.size();
  double links = 0;
  for (node_bn node : nodes) links += static_cast<double>(node->preds.num) * (node->preds.num + 1);
  const double nbytes = std::min(links, most) * ROOM_TO_GROW * sizeof(int);
  return IsWithinLimit(nbytes) ? nullptr : FailMemory(NO_MEMORY_FOR_GRAPH, nbytes);
}

CompileGraph MakeGraph(Vector<node_bn> nodes) {
  CompileGraph graph;
  graph.nodes = std::move(nodes);
  const int n = graph.nodes.size();
  graph.numstates.resize(n);
  graph.parents.resize(n);
  graph.children.resize(n);
  for (int i = 0; i < n; ++i) graph.nodes[i]->compiledIndex = i;
  for (int i = 0; i < n; ++i) {
    const bnode& node = *graph.nodes[i];
    graph.numstates[i] = node.numstates;
    graph.parents[i].reserve(Entries(node.preds).size());
    graph.children[i].reserve(Entries(node.succs).size());
    for (node_bn parent : Entries(node.preds)) graph.parents[i].push_back(parent->compiledIndex);
    for (node_bn child : Entries(node.succs)) {
      // Children of that kind take no part; parents of that kind have been refused by the checks of structure.
      if (child->kind != ASSUME_NODE) graph.children[i].push_back(child->compiledIndex);
    }
  }
  return graph;
}

Vector<int> StoredOrder(net_bn net, const CompileGraph& graph) {
  Vector<int> order;
  Vector<unsigned char> placed(graph.nodes.size(), 0);
  for (node_bn node : Entries(net->elimorder)) {
    // The list is the host's as it was given; a node may have left the net or changed its kind since.
    if (node->innet != net || node->kind == ASSUME_NODE || placed[node->compiledIndex]) continue;
    placed[node->compiledIndex] = 1;
    order.push_back(node->compiledIndex);
  }
  // Nodes that came after the order was given go last.
  for (int i = 0; i < placed.size(); ++i) {
    if (!placed[i]) order.push_back(i);
  }
  return order;
}

void WarnHalted(const engine::Order& order) {
  if (!order.halted || order.numFound >= order.nodes.size()) return;
  Report(ORDER_SEARCH_HALTED, order.numFound);
}

void StoreOrder(nodelist_rec& list, const CompileGraph& graph, const Vector<int>& order) {
  Vector<node_bn> entries;
  for (int i : order) entries.push_back(graph.nodes[i]);
  CopyList(list, entries);
}

}  // namespace bravic

#include "Bn/compiled/ElimOrder.h"

#include "Bn/compiled/CompileGraph.h"
#include "Bn/compiled/CompiledNet.h"
#include "Bn/engine/SearchOrder.h"
#include "Bn/model/Attributes.h"
#include "Bn/model/Checks.h"
#include "Win_Face/Interaction.h"

namespace bravic {

int FindElimOrder(net_bn net, double seconds) {
  Vector<node_bn> nodes = CompileNodes(net);
  Failure failure = CheckReadiness(nodes, Purpose::Compile, Extent::Structure, net);
  if (!failure) failure = CheckGraphSize(nodes);
  if (failure) {
    Post(std::move(failure));
    return -1;
  }
  CompileGraph graph = MakeGraph(std::move(nodes));
  engine::Graph moral = engine::MoralGraph(graph.parents, graph.children);
  Vector<int> start;
  // The search goes on from what is stored, so that repeated calls improve on each other.
  if (net->elimorder.num >= 0) start = StoredOrder(net, graph);
  engine::Order order;
  {
    WaitScope wait("Finding Elimination Order");
    order = engine::SearchOrder(moral, graph.numstates, start, seconds > 0 ? seconds : 0,
                                [&](double fraction) { return wait.Progress(fraction); });
  }
  WarnHalted(order);
  // Numbering the nodes for the search has written over the numbers that the engine knows them by.
  if (const CompiledNet* compiled = net->compiled) {
    for (int i = 0; i < compiled->nodes.size(); ++i) compiled->nodes[i]->compiledIndex = i;
  }
  nodelist_rec list;
  StoreOrder(list, graph, order.nodes);
  int result = SetNetElimOrder(net, &list, OrderFrom::FileOrSearch);
  ClearList(list);
  return result < 0 ? -1 : 0;
}

}  // namespace bravic

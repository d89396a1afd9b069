// The search for an elimination order on demand, beyond the one that compiling makes.
#include "Bn/compiled/Compile.h"
#include "Bn/compiled/CompileGraph.h"
#include "Bn/model/Attributes.h"
#include "Bn/model/Checks.h"
#include "Win_Face/Interaction.h"

namespace bravic {

int FindElimOrder(net_bn net, double seconds) {
  Vector<node_bn> nodes = CompileNodes(net);
  constexpr int STRUCTURE_ONLY = 2;
  if (Failure failure = CheckReadiness(nodes, true, Purpose::Compile, STRUCTURE_ONLY, net)) {
    Post(std::move(failure));
    return -1;
  }
  CompileGraph graph = MakeGraph(std::move(nodes));
  engine::Graph moral = engine::MoralGraph(graph.parents, graph.children);
  Vector<int> start;
  if (net->elimorder.num >= 0) start = StoredOrder(net, graph);
  engine::Order order;
  {
    WaitScope wait("Finding Elimination Order");
    order = engine::SearchOrder(moral, graph.numstates, start, seconds > 0 ? seconds : 0,
                                [&](double fraction) { return wait.Progress(fraction); });
  }
  WarnHalted(order);
  if (const CompiledNet* compiled = net->compiled) {
    for (int i = 0; i < compiled->nodes.size(); ++i) compiled->nodes[i]->compiledIndex = i;
  }
  nodelist_rec list;
  StoreOrder(list, graph, order.nodes);
  int result = SetNetElimOrder(net, &list);
  ClearList(list);
  return result < 0 ? -1 : 0;
}

}  // namespace bravic

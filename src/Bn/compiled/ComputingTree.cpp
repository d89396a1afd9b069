#include "Bn/compiled/ComputingTree.h"

#include <algorithm>
#include <utility>

#include "Bn/engine/CostModel.h"
#include "Bn/engine/SearchOrder.h"

namespace bravic {

bool FitsInTables(const engine::JunctionTree& tree) {
  return std::all_of(tree.cliques.begin(), tree.cliques.end(),
                     [](const engine::Clique& clique) { return clique.size < engine::MAX_TABLE_ENTRIES; });
}

engine::JunctionTree ComputingTree(const engine::JunctionTree& told, const CompileGraph& graph,
                                   const engine::Graph& moral, bool hasHostOrder) {
  constexpr double ENTRIES_WORTH_SEARCHING = 16384;
  const bool isRefused = hasHostOrder && !FitsInTables(told);
  if (told.totalSize > ENTRIES_WORTH_SEARCHING && !isRefused) {
    const engine::Order quick =
        engine::QuickOrder(moral, graph.numstates, told.totalSize, engine::cost::TreeWorthSearching);
    if (!quick.nodes.empty()) {
      engine::JunctionTree other = engine::BuildTree(moral, graph.numstates, graph.parents, quick.nodes);
      // Smaller altogether, it may still have a clique too large for a table.
      if (FitsInTables(other) || !FitsInTables(told)) return engine::MergeSmallCliques(std::move(other));
    }
  }
  return engine::MergeSmallCliques(told);
}

}  // namespace bravic

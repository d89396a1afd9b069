// The tree that a net is computed with. Hosts are told of the tree of the net's elimination order; where its tables are
// large, that of a quickly found order whose tables are smaller takes its place in computing.
#pragma once

#include "Bn/compiled/CompileGraph.h"
#include "Bn/engine/Tree.h"

namespace bravic {

bool FitsInTables(const engine::JunctionTree& tree);
// It may be too large as well; where the host's own order is refused for that, none is looked for.
engine::JunctionTree ComputingTree(const engine::JunctionTree& told, const CompileGraph& graph,
                                   const engine::Graph& moral, bool hasHostOrder);

}  // namespace bravic

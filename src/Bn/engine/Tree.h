// The junction tree of an elimination order: fill-in, maximum cardinality search, cliques, links and homes (Lauritzen &
// Spiegelhalter 1988; Tarjan & Yannakakis 1984).
#pragma once

#include "Bn/engine/Graph.h"

namespace bravic::engine {

struct Clique {
  Vector<int> members;     // first varies slowest in the potential
  double size = 1;         // entries; saturating
  Vector<int> neighbours;  // cliques, in the order linked
  Vector<int> separators;  // parallel to neighbours: indices into JunctionTree::separators
};
struct Separator {
  Vector<int> members;
  double size = 1;
  int cliques[2];
};
struct JunctionTree {
  Vector<Clique> cliques;  // in increasing order of their highest-numbered member
  Vector<Separator> separators;
  Vector<int> home;    // [n] home clique of each node: smallest that holds its family, the first of equals
  Vector<int> number;  // [n] maximum cardinality search number
  double totalSize = 0;
};
JunctionTree BuildTree(const Graph& moral, std::span<const int> numstates, std::span<const Vector<int>> parents,
                       std::span<const int> order);

// The same tree with neighbouring cliques made one where that adds few entries: a message less is worth about a hundred
// of them, or more or less by how it is computed with.
inline constexpr double MERGED_ENTRIES = 200;
JunctionTree MergeSmallCliques(JunctionTree tree, double mostAdded = MERGED_ENTRIES);

// A clique of 2^29 - 1 entries or more is refused.
inline constexpr double MAX_TABLE_ENTRIES = 536870911.0;

}  // namespace bravic::engine

// What questions about configurations are asked of: the tables of a net and what is known of its nodes.
#pragma once

#include <span>

#include "Bn/engine/Numbers.h"
#include "Bn/engine/infer/NodeTables.h"
#include "Bn/engine/infer/Terms.h"

namespace bravic::engine {

// What is known of a node: its state or, where that is FREE, a weight for each state; no weights where all are 1.
struct KnownNode {
  int state = FREE;
  Vector<WideNumber> weights;
};

struct ConfigQuestion {
  std::span<const int> numstates;        // [node]
  std::span<const Vector<int>> parents;  // [node]
  TableSource table;                     // as Inference::SetTables has them
  Vector<KnownNode> known;               // [node]

  int NumNodes() const { return Count(numstates); }
  // Whether the node is an axis of tables: it is not known and has two states or more.
  bool IsAxis(int node) const { return known[node].state == FREE && numstates[node] > 1; }
  // Of a node that is no axis.
  int OnlyState(int node) const { return known[node].state == FREE ? 0 : known[node].state; }
};

// [row] by what each row of the node's table is multiplied to be computed with; empty for a node without a table.
// isInformative: whether a row is no distribution, so that it says something of the parents by itself.
Vector<double> RowScales(const ConfigQuestion& question, int node, bool* isInformative);

// [node] whether its table matters to the joint distribution of those nodes and what is known. What stands below
// them leaves them as they are.
Vector<unsigned char> FindMattering(const ConfigQuestion& question, std::span<const int> asked);

}  // namespace bravic::engine

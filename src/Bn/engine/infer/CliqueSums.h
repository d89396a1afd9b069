// Sums of everything onto nodes of one clique, in absolute terms: each entry is the probability of the findings
// together with the states that it stands for. Read from the messages into the clique or, where these cannot be relied
// on, in wide numbers.
#pragma once

#include "Bn/engine/infer/Propagation.h"

namespace bravic::engine {

// A table over the free ones of some nodes, the last fastest; its entries stand for entries[i] * unscale * 2^exponent.
struct ScaledTable {
  std::span<const double> entries;  // good until the next is read
  double unscale = 1;
  long long exponent = 0;
};

class CliqueSums {
 public:
  CliqueSums(const Structure& structure, const Findings& findings, NodeTables& tables, Potentials& potentials,
             Messages& messages, CliquePasses& passes, WidePropagation& wide, Propagation& propagation,
             const Mode& mode);

  // False without memory, or when halted.
  bool Read(int clique, const NodeSet& nodes, ScaledTable* to);
  // The same onto the node's family, everything multiplied but the node's own table: what each of its entries weighs.
  // Messages that rely on entries of 0 in tables must be gone (BeginWithoutTables).
  bool ReadWithoutTable(int node, ScaledTable* to);
  void BeginWithoutTables() { messages_.InvalidateAll(); }
  // The smallest clique that holds all of the nodes; -1 where there is none.
  int FindClique(std::span<const int> nodes) const;

 private:
  bool ReadNarrowly(int clique, const NodeSet& nodes, ScaledTable* to);
  bool ReadWidely(int clique, const NodeSet& nodes, ScaledTable* to);

  const Structure& structure_;
  const Findings& findings_;
  NodeTables& tables_;
  Potentials& potentials_;
  Messages& messages_;
  CliquePasses& passes_;
  WidePropagation& wide_;
  Propagation& propagation_;
  const Mode& mode_;
  Vector<double> zeros_;
};

}  // namespace bravic::engine

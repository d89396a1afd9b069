// What many cases are computed with: the part of a net that matters to some targets and to the probability of what may
// be known, with an order and a junction tree of its own.
#pragma once

#include <span>

#include "Bn/engine/Tree.h"
#include "Bn/engine/infer/NodeTables.h"
#include "Bn/engine/infer/Terms.h"

namespace bravic::engine {

// The question that is asked of every case.
struct CaseQuestion {
  std::span<const int> numstates;        // [node]
  std::span<const Vector<int>> parents;  // [node]
  TableSource table;                     // as Inference::SetTables has them
  Vector<int> observed, targets;         // nodes; of each case the states of the former are given
  // Nodes of which the joint beliefs of their families are asked for, as tables (first parent slowest, the node's own
  // states fastest), each up to a factor of its own.
  Vector<int> families = {};

  // Of a family's table.
  int FamilySize(int node) const {
    int size = numstates[node];
    for (int parent : parents[node]) size *= numstates[parent];
    return size;
  }
};

struct CaseModel {
  explicit CaseModel(const CaseQuestion& question);

  Vector<int> nodes;     // that matter
  Vector<int> numberOf;  // [node of the net] its place among them, or -1
  Vector<int> numstates;
  Vector<Vector<int>> parents;
  JunctionTree tree;
  TableSource table;  // by place
};

}  // namespace bravic::engine

// A model of its own for what is left of another when the known nodes are cut out: a known node has one state and is
// nobody's parent, and what agrees with the findings is cut out of the tables. Nodes keep their numbers. So is what
// does not matter to a question, without its table.
#pragma once

#include "Bn/engine/Order.h"
#include "Bn/engine/infer/Findings.h"
#include "Bn/engine/infer/Inference.h"
#include "Bn/engine/infer/NodeTables.h"

namespace bravic::engine {

struct CutModel {
  CutTables cut;
  Vector<unsigned char> matters;  // [node] whether it has its table; empty where all do
  Vector<int> numstates;
  Vector<Vector<int>> parents;
  JunctionTree tree;
  Owned<Inference> inference;
  double cost = 0;  // of a sweep
};

class ModelCutter {
 public:
  ModelCutter(const Structure& structure, const Findings& findings, NodeTables& tables, const Mode& mode)
      : structure_(structure), findings_(findings), tables_(tables), mode_(mode) {}

  // The nodes and links that are left; of those that do not matter nothing is.
  Owned<CutModel> Cut(Vector<unsigned char> matters) const;
  // The greedy order, or where a search is little beside what follows one that makes smaller tables.
  static Order FindOrderOf(const CutModel& model, const Graph& moral);
  static Graph GraphOf(const CutModel& model);
  // Tables and likelihoods as they are now, to the model's inference.
  void HandOver(CutModel* model) const;

 private:
  void CutTable(int node, CutTables* cut) const;

  const Structure& structure_;
  const Findings& findings_;
  NodeTables& tables_;
  const Mode& mode_;
};

}  // namespace bravic::engine

// All beliefs by a model without the known nodes. The tree is made for any findings; once some nodes are known, those
// that only they joined need not share tables any more, and an order for what is left often makes far smaller ones.
// Such a model is worth making where a sweep over the tree takes long, and is kept for the next findings about the same
// nodes.
#pragma once

#include "Bn/engine/infer/Costs.h"
#include "Bn/engine/infer/Inference.h"

namespace bravic::engine {

class ReducedModels {
 public:
  ReducedModels(const Structure& structure, Findings& findings, NodeTables& tables, Propagation& propagation,
                const Costs& costs, const Mode& mode);

  void Drop() { models_.clear(); }
  // All beliefs of what is not known, and the probability of the findings; false leaves them to the tree.
  bool Sweep(const BeliefPlace& out);

 private:
  // Nodes have their numbers in it.
  struct Model {
    CutTables cut;
    Vector<int> numstates;
    Vector<Vector<int>> parents;
    JunctionTree tree;
    Owned<Inference> inference;
    double cost = 0;  // of a sweep
  };

  Model* Find(double limit);
  Owned<Model> Cut() const;
  bool MakeTree(Model* model, double limit);
  void MakeRoomFor(const Model& model);
  void CutTable(int node, CutTables* cut);
  void HandOver(Model* model);

  const Structure& structure_;
  Findings& findings_;
  NodeTables& tables_;
  Propagation& propagation_;
  const Costs& costs_;
  const Mode& mode_;
  Vector<Owned<Model>> models_;  // the latest made last
  double patience_ = 1;          // grows with every model that was not worth it
};

}  // namespace bravic::engine

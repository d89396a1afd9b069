// All beliefs by a model without the known nodes. The tree is made for any findings; once some nodes are known, those
// that only they joined need not share tables any more, and an order for what is left often makes far smaller ones.
// Such a model is worth making where a sweep over the tree takes long, and is kept for the next findings about the same
// nodes.
#pragma once

#include "Bn/engine/infer/Costs.h"
#include "Bn/engine/infer/CutModel.h"

namespace bravic::engine {

class ReducedModels {
 public:
  ReducedModels(const Structure& structure, Findings& findings, NodeTables& tables, Propagation& propagation,
                const Costs& costs, const Mode& mode);

  void Drop() {
    models_.clear();
    gone_.clear();
  }
  // All beliefs of what is not known, and the probability of the findings; false leaves them to the tree.
  bool Sweep(const BeliefPlace& out);

 private:
  CutModel* Find(double limit);
  int NumFree() const { return structure_.NumNodes() - findings_.NumKnown(); }
  double CostOfEntry() const;
  double LeastCost() const;
  bool MakeTree(CutModel* model, double limit);
  void MakeRoomFor(const CutModel& model);
  void Miss();
  bool IsKnown(const Vector<unsigned char>& known) const;

  const Structure& structure_;
  Findings& findings_;
  Propagation& propagation_;
  const Costs& costs_;
  const Mode& mode_;
  const ModelCutter cutter_;
  Vector<Owned<CutModel>> models_;      // the latest used last
  Vector<Vector<unsigned char>> gone_;  // what was known for those that went lately
  int numKept_ = 1, numMisses_ = 0;     // models kept at most; made since one was asked for again
  double patience_ = 1;                 // grows with every model that was not worth it
};

}  // namespace bravic::engine

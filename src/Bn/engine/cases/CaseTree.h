// How a question is asked of a junction tree: the clique to which messages are collected, the cliques that are visited
// on the way outward, and where each target is read.
#pragma once

#include "Bn/engine/cases/CaseModel.h"
#include "Bn/engine/infer/Structure.h"

namespace bravic::engine {

class CaseTree {
 public:
  static constexpr int NOWHERE = -1;
  // A clique's potential, its largest entry scaled to [0.5, 1) by 2^-exponent. No positive entry is less than low.
  struct Weights {
    Block<double> entries;
    int size = 0;
    double low = 1;
    int exponent = 0;
  };

  // Both must outlive it. The model must have a clique.
  CaseTree(const CaseModel& model, const CaseQuestion& question);

  bool Multiply(int clique, Weights* weights) const;  // false without memory
  const Vector<int>& VariablesOf(int separator) const { return structure.separators[separator].variables; }
  int SizeOf(std::span<const int> variables) const;
  // The place in the model of a target, and of a node that is observed.
  int NodeOfTarget(int target) const { return model.numberOf[question.targets[target]]; }
  int NodeOfColumn(int column) const { return model.numberOf[question.observed[column]]; }

  const CaseModel& model;
  const CaseQuestion& question;
  Structure structure;
  int root = 0;
  Vector<int> order;                       // cliques, from the root on
  Vector<int> parent, upward;              // [clique] the next towards the root, and the separator to it
  Vector<int> topOf;                       // [node] of the cliques that hold it, the nearest to the root
  Vector<unsigned char> isVisited;         // [clique] on the way outward
  Vector<Vector<int>> readAt, readInside;  // [separator], [clique] targets by number
 private:
  void OrderFrom(int clique);
  void MarkVisited();
  double CostOutward(int clique);
  void ChooseRoot();
  void PlaceReadings();

  NodeTables tables_;
};

}  // namespace bravic::engine

// How a question is asked of a junction tree: the clique to which messages are collected, the cliques that are visited
// on the way outward, and where each target is read.
#pragma once

#include "Basic/Logarithm.h"
#include "Bn/engine/cases/CaseModel.h"
#include "Bn/engine/infer/Structure.h"

namespace bravic::engine {

// Of value * 2^exponent, a normal number above 0: the same bits on every platform, since when learning stops hangs on
// it.
inline double LogOfCase(double value, long long exponent) {
  constexpr double LOG_2 = 0.69314718055994530942;
  return NaturalLog(value) + static_cast<double>(exponent) * LOG_2;
}

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
  void TablesChanged();  // looks at them anew
  // The variables of a node's family.
  Vector<int> FamilyOf(int node) const;
  // The place in the model of a target, and of a node that is observed.
  int NodeOfTarget(int target) const { return model.numberOf[question.targets[target]]; }
  int NodeOfFamily(int family) const { return model.numberOf[question.families[family]]; }
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
  Vector<Vector<int>> familiesAt;          // [clique] families by number: where their tables are at home
  Vector<int> homeOf;                      // [family] that clique
 private:
  void OrderFrom(int clique);
  void MarkVisited();
  double CostOutward(int clique);
  void ChooseRoot();
  void PlaceReadings();
  void PlaceFamilies();

  NodeTables tables_;
};

}  // namespace bravic::engine

// Optimal decisions.
//
// One decision at a time gets the policy that is best given those of the others: everything but what it knows is summed
// out, and in each configuration of that the choice of largest expected utility is taken. Decisions that have no policy
// yet choose all states alike (single policy updating, Lauritzen & Nilsson 2001). Done in an order in which no decision
// needs a policy that is yet to come, one round is exact; where there is no such order, rounds go on until none
// improves. Where nothing is forgotten, the last decision first is such an order.
//
// Findings that depend on a decision make the expectation a quotient, which the policy is to maximize: what it is worth
// is taken off all utilities until nothing is left to be gained (Dinkelbach 1967).
#pragma once

#include <functional>

#include "Bn/engine/decide/DecisionGraph.h"
#include "Bn/engine/decide/Policy.h"

namespace bravic::engine {

class DecisionSolver {
 public:
  // The model must outlive it. progress: asked now and then whether to halt.
  DecisionSolver(const DecisionModel& model, ProgressFunction progress);

  // What the links say is known.
  ValueOutcome SolveLimited();
  // decisions: all of them, in their order; each knows all that those before it knew, and what they chose. Variables
  // that the decision at firstTold is told of (and so all after it) beside what it has links from.
  ValueOutcome SolveFull(const Vector<int>& decisions, int firstTold = -1, int told = -1);
  // What the policies found are worth given the findings.
  ValueOutcome Expect(double* value);

  const Policy& PolicyOf(int decision) const { return policies_[decision]; }
  // After SolveFull, the first decision first: brings the decision's policy onto its parents. missing: an earlier node
  // that it needs for that and that is no parent, or -1.
  ValueOutcome FitToParents(int decision, int* missing);
  // Where memory did not suffice: what was asked for, in bytes, or 0.
  double BytesNeeded() const { return bytesNeeded_; }

 private:
  using Role = DecisionModel::Role;
  // An elimination's tables: those of the items, utilities as they are or with what cannot occur worth nothing.
  struct Task {
    Vector<unsigned char> tables;  // [item]
    Vector<unsigned char> isKept;  // [item]
    bool ignoresImpossible = false;
    bool areUniform = false;  // whether all policies are taken as choosing all states alike
  };
  template <class Number>
  ValueOutcome FillElimination(const Task& task, ValueElimination<Number>* elimination);
  template <class Number, class Use>
  ValueOutcome RunAs(const Task& task, Use use);
  template <class Use>
  ValueOutcome Run(const Task& task, Use use);

  void FindWeighed();
  double LowerBound() const;
  Vector<int> UtilitiesAfter(int decision) const;
  Vector<int> KnownWith(int decision) const;
  Block<double> PolicyTable(int decision, bool isUniform, Vector<int>* variables) const;
  ValueOutcome FindValues(int decision, ChoiceValues* values);
  ValueOutcome Improve(int decision, Policy* policy);
  ValueOutcome ImproveWeighed(const ChoiceValues& values, int decision, Policy* policy);
  Vector<int> RelevanceOrder(Vector<Vector<int>>* needs) const;
  ValueOutcome ImproveFurther(const Vector<int>& order, const Vector<Vector<int>>& needs);
  ValueOutcome ChooseAll(const Vector<int>& decisions, double takenOff, double* value);
  ValueOutcome SolveFullWeighed(const Vector<int>& decisions);
  ValueOutcome FindPossible(int decision, Block<unsigned char>* isPossible);
  ValueOutcome FindOnlyChoice(int decision, int* choice);

  const DecisionModel& model_;
  DecisionGraph graph_;
  Interrupt interrupt_;
  Vector<int> numstates_;
  Vector<int> decisions_, utilities_, bearers_;  // items; bearers: what findings are about
  Vector<unsigned char> isWeighed_;              // [item] a decision on which findings depend
  Vector<Policy> policies_;                      // [item]
  Vector<Block<double>> scratch_;                // tables made for the present elimination
  double bytesNeeded_ = 0;
  int numImproved_ = 0;  // policies found so far
};

}  // namespace bravic::engine

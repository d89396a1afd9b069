// In which order variables are summed out of a product of probabilities and a sum of utilities, and which tables that
// leaves. Nothing is computed yet, so that what would not fit is known beforehand.
//
// The value of a configuration is the product of the probabilities times the sum of the utilities. A variable goes by
// taking the product of the probabilities that hold it, which is summed, and the expectation of the utilities that hold
// it (Jensen, Jensen & Dittmer 1994). Where what is left of a product of distributions sums to 1 whatever the rest
// says, it is left out: tables remember of which variables they are a distribution given their others.
#pragma once

#include <span>

#include "Basic/Memory.h"

namespace bravic::engine {

struct ValuePlan {
  struct Table {
    bool isUtility = false;
    bool isDistribution = false;  // of the heads given its other variables
    Vector<int> variables;
    Vector<int> heads;
  };
  struct Step {
    int variable;
    Vector<int> probabilities, utilities;      // tables that hold it
    Vector<int> condition;                     // the probabilities' other variables, ascending
    int newProbability = -1, newUtility = -1;  // tables it leaves, or none
  };
  Vector<Table> tables;  // those given, then those that the steps leave in their order
  Vector<Step> steps;
  Vector<int> left;    // tables at the end
  double entries = 0;  // that all steps go over
  double largest = 0;  // of one step
  double held = 0;     // entries of the tables there are at one time, at most
};

// Sums out all variables but those kept: at each step the one that goes over the fewest entries, the first of equals.
void PlanElimination(std::span<const int> numstates, std::span<const unsigned char> isKept, ValuePlan* plan);

}  // namespace bravic::engine

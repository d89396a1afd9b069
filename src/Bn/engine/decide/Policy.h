// What a decision is to choose, as a table over those of the nodes it knows that matter; how such a table is chosen
// from what the choices are worth, and how it is brought onto fewer nodes.
#pragma once

#include "Bn/engine/decide/ValueElimination.h"

namespace bravic::engine {

struct Policy {
  Vector<int> domain;            // variables, ascending
  Block<int> choices;            // [configuration of the domain, last fastest] a state; empty: all states alike
  Block<unsigned char> isClose;  // [configuration] whether the other choices are worth as much
  int size = 1;                  // configurations
};

// What each choice is worth in each configuration of what matters to it. A choice weighs relative to the other choices
// of its row where findings depend on it, and the row relative to the other rows.
struct ChoiceValues {
  Vector<int> domain;
  int rows = 1, numstates = 1;
  Block<double> values;      // [row][state]
  Block<double> weights;     // [row][state]; empty: 1
  Block<double> rowWeights;  // [row]; empty: 1
  Block<double> noise;       // [row] values that are no further apart are equal
  double bytes = 0;          // that all of it takes
};

// From the tables that an elimination left. isWeighed: whether the choice bears on the findings, so that the
// probabilities count as well.
template <class Number>
ValueOutcome FindChoiceValues(const ValueElimination<Number>& elimination, int decision, std::span<const int> numstates,
                              bool isWeighed, Interrupt* interrupt, ChoiceValues* values);

// In each row the first of the best choices, where so much is taken off every value.
ValueOutcome ChooseBest(const ChoiceValues& values, std::span<const unsigned char> isAllowed, double takenOff,
                        Interrupt* interrupt, Policy* policy);
// What the policy is worth given the findings; false where it makes them impossible.
bool ValueOfPolicy(const ChoiceValues& values, const Policy& policy, double* value);

// The policy over those of its variables alone that are kept, for the configurations that can occur. only: empty, or of
// each variable of the domain the one state in which it counts, or -1. needed: a variable that is not kept on which the
// choice depends, or -1.
ValueOutcome ProjectPolicy(const Policy& policy, std::span<const int> numstates, std::span<const unsigned char> isKept,
                           std::span<const int> only, const unsigned char* isPossible, Policy* onto, int* needed);

}  // namespace bravic::engine

// A decision problem in numbers: chance variables with their distributions, decisions with what they know, utilities,
// which add up, and weights, by which findings that are no states bear on what they were found of. Items are indices;
// findings are cut out of the tables already.
#pragma once

#include "Basic/Memory.h"
#include "Bn/engine/Numbers.h"

namespace bravic::engine {

// In place of what was not given or cannot occur.
inline constexpr double UNDEFINED_UTILITY = std::numeric_limits<double>::quiet_NaN();
inline constexpr double IMPOSSIBLE_UTILITY = -std::numeric_limits<double>::infinity();

struct DecisionModel {
  enum class Role : unsigned char { CHANCE, DECISION, UTILITY, WEIGHT };
  struct Item {
    Role role = Role::CHANCE;
    bool isKnown = false;  // a variable with a state finding; a decision that is made has no parents
    int numstates = 1;
    Vector<int> parents;  // known ones too; of a decision what it knows
    // The table, the last variable fastest. A variable's rows are distributions.
    Vector<int> variables;            // those of the family that are not known
    Block<double> entries;            // of a chance variable or a utility
    Block<WideNumber> weights;        // of a weight, the largest 1
    int size = 1;                     // entries of the table
    Vector<unsigned char> isAllowed;  // [state] of a decision
  };
  Vector<Item> items;
};

}  // namespace bravic::engine

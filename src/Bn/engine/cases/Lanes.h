// Runs case programs, as many cases at a time as a vector of the machine has lanes, in floats; and in doubles for cases
// that floats do not hold.
#pragma once

#include "Bn/engine/cases/CaseProgram.h"

namespace bravic::engine {

// Entry factors and targets that a pass may have.
inline constexpr int MOST_ENTRY_FACTORS = 3, MOST_ENTRY_TARGETS = 2;

template <class Number>
struct LaneRunner {
  const char* name;
  int lanes;
  // states: of the first case, column by column; stride: from one case to the next. slots: [numSlots x lanes], aligned
  // to LANE_ALIGNMENT, filled with the answers.
  void (*run)(const CaseProgram& program, const int* states, int stride, Number* slots);
};

inline constexpr int MOST_LANES = 16, LANE_ALIGNMENT = 64;

// The fastest that the machine runs, and all that it runs, from the narrowest on.
const LaneRunner<float>& BestLaneRunner();
int NumLaneRunners();
const LaneRunner<float>& LaneRunnerNumber(int i);
const LaneRunner<double>& DoubleLaneRunner();

}  // namespace bravic::engine

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
  // states [observed x lanes]; slots [numSlots x lanes], aligned to LANE_ALIGNMENT, filled with the answers.
  void (*run)(const CaseProgram& program, const int* states, Number* slots);
  // The beliefs of the first so many cases, each to a row of its own.
  void (*write)(const CaseProgram& program, const Number* slots, int count, float* const* rows);
};

inline constexpr int MOST_LANES = 16, LANE_ALIGNMENT = 64;

// The fastest that the machine runs, and all that it runs, from the narrowest on.
const LaneRunner<float>& BestLaneRunner();
int NumLaneRunners();
const LaneRunner<float>& LaneRunnerNumber(int i);
const LaneRunner<double>& DoubleLaneRunner();

}  // namespace bravic::engine

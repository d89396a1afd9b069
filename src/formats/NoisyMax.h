// Tables of nodes whose parents act each for itself, the strongest effect being the one that shows, and a leak for what
// else may act (noisy-or: Pearl 1988; several states: Henrion 1989, Diez 1993).
#pragma once

#include <vector>

namespace formats {

struct NoisyMax {
  int numStates = 0;  // of the node; from the strongest effect to none
  // For each parent its states, strongest first; the last has no effect.
  std::vector<std::vector<int>> strengths;
  // A column over the node's states for each parent and each of its states in the order of strength, then the leak's.
  std::vector<double> parameters;
};

// The whole table, first parent slowest, own states fastest. Columns are distributions, up to rounding.
std::vector<double> NoisyMaxTable(const NoisyMax& model);

}  // namespace formats

// What the parts of inference have in common: the answers to a question, the ways of answering, what holds for all
// computing.
#pragma once

#include <functional>

#include "Bn/engine/Interrupt.h"
#include "Bn/engine/Kernels.h"

namespace bravic::engine {

// In place of a state: the variable is not known.
inline constexpr int FREE = -1;

// Vanished: numbers are 0 throughout although the findings are possible, for want of numbers small enough.
// Halted: by the progress function; what was asked for is unknown.
enum class Status { Done, Inconsistent, Vanished, NoMemory, Halted };

// How beliefs and checks are answered: by whatever promises to be cheapest or, to test and to measure, always by the
// messages of the tree, or always without it where that is possible, or all at once in a straight run where that is.
enum class Way { CHEAPEST, TREE, WITHOUT_TREE, STRAIGHT };

// Where a node's belief goes, or NULL where it is not wanted.
using BeliefPlace = std::function<float*(int node)>;

// How everything is computed.
struct Mode {
  bool maximize = false;  // products are maximized in place of being summed
  Way way = Way::CHEAPEST;
  Interrupt interrupt;
  Interrupt* watch = &interrupt;  // the one that counts: that of the model around this one, where there is one
  const Kernels& kernels = BestKernels();

  Mode() = default;
  Mode(const Mode&) = delete;
  Mode& operator=(const Mode&) = delete;
};

}  // namespace bravic::engine

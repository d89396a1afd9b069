// Axes and strides: how the entries of tables over different variables are found that belong to one configuration.
//
// A table over some variables is dense, its last variable fastest: entry (s0, s1, ...) stands at s0 * stride0 + s1 *
// stride1 + ..., where the stride of a variable is the product of the sizes of those behind it. Walking through all
// configurations of some axes and keeping an offset into each table takes one addition a step (the odometer below).
#pragma once

#include <span>

#include "Basic/Memory.h"

namespace bravic::engine {

// Potentials that fit memory have fewer variables of two states or more.
inline constexpr int MAX_AXES = 64;

// The odometer: goes from one configuration of the axes to the next, the last fastest. Every axis that moves is told of
// by move(axis, steps), steps being how many states it goes on (less than 0 where it goes back to its first). Answers
// the slowest axis that moved, or -1 after the last configuration, when all stand at 0 again.
template <class Move>
inline int StepOn(int numAxes, const int* sizes, int* states, Move move) {
  for (int axis = numAxes; axis-- > 0;) {
    const bool wraps = ++states[axis] == sizes[axis];
    move(axis, wraps ? 1 - sizes[axis] : 1);
    if (!wraps) return axis;
    states[axis] = 0;
  }
  return -1;
}

// Calls visit(offset) for every configuration of the axes, the last fastest.
template <class Visit>
inline void ForEachOffset(int numAxes, const int* sizes, const int* strides, Visit visit) {
  int states[MAX_AXES] = {}, offset = 0;
  do visit(offset);
  while (StepOn(numAxes, sizes, states, [&](int axis, int steps) { offset += steps * strides[axis]; }) >= 0);
}

// Writes down those offsets, and answers how many there are: each axis repeats what those behind it come to.
inline int ListOffsets(int numAxes, const int* sizes, const int* strides, int* to) {
  int count = 1;
  to[0] = 0;
  for (int axis = numAxes; axis-- > 0;) {
    int* next = to + count;
    for (int state = 1; state < sizes[axis]; ++state, next += count) {
      const int step = state * strides[axis];
      for (int i = 0; i < count; ++i) next[i] = to[i] + step;
    }
    count *= sizes[axis];
  }
  return count;
}

// Calls visit(k, stride) for each variables[k] that a dense table has, the fastest first; answers the table's size.
template <class Has, class Visit>
inline int ForEachStride(std::span<const int> variables, std::span<const int> numstates, Has has, Visit visit) {
  int stride = 1;
  for (int k = Count(variables); k-- > 0;) {
    if (!has(k)) continue;
    visit(k, stride);
    stride *= numstates[variables[k]];
  }
  return stride;
}

// Visits the entries of a dense table that agree with what is known, the last variable fastest: visit(index). has(k):
// whether the table has variables[k]; stateOf(v): the state that is known, or less than 0.
template <class Has, class StateOf, class Visit>
inline void ForEachAgreeing(std::span<const int> variables, std::span<const int> numstates, Has has, StateOf stateOf,
                            Visit visit) {
  int sizes[MAX_AXES], strides[MAX_AXES], first = MAX_AXES, known = 0;
  ForEachStride(variables, numstates, has, [&](int k, int stride) {
    const int v = variables[k], state = stateOf(v);
    if (state >= 0) {
      known += state * stride;
    } else if (numstates[v] > 1) {
      sizes[--first] = numstates[v];
      strides[first] = stride;
    }
  });
  ForEachOffset(MAX_AXES - first, sizes + first, strides + first, [&](int offset) { visit(known + offset); });
}

}  // namespace bravic::engine

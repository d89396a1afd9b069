// Cuts numbers into intervals: of equal width, of equal counts, or by what they tell about a target (Fayyad & Irani
// 1993: the cut that leaves the least entropy, again within both parts, as long as it saves more than it costs to
// describe). A cut lies halfway between two numbers that occur, so that equal ones stay together; an interval is closed
// below and open above.
#pragma once

#include <span>

#include "Basic/Memory.h"
#include "Win_Face/Interaction.h"

namespace bravic::engine {

enum class CutMethod { EqualWidth, EqualCounts, Information };

struct ClassedValue {
  double value;  // finite
  int target;    // 0 ..; of any value where the method is another than Information
};

// At most mostbins - 1 cuts, rising. values: one at least; they are sorted. False when it was halted, or without
// memory, which *lacks tells.
bool FindCuts(std::span<ClassedValue> values, CutMethod method, int mostbins, LongWork& work, Vector<double>* cuts,
              bool* lacks);

}  // namespace bravic::engine

#include "Bn/model/Connect.h"

#include <algorithm>
#include <cmath>

#include "Basic/Format.h"
#include "Basic/Text.h"
#include "Bn/model/Levels.h"
#include "Bn/model/NameLists.h"
#include "Bn/model/Units.h"

namespace bravic {
namespace {

constexpr double SAME_LEVEL = 1e-5;  // relative, absolute below 1

}  // namespace

Failure CheckConnection(int index, const bnode& child, const bnode& newparent) {
  const bnode& old = *child.preds.ar[index];
  const char* stored = NameAt(child.inputs, index);
  const char* link = *stored ? stored : OrEmpty(old.name);
  char slot[128], node[64];
  FormatText(node, sizeof node, "node '%s'", newparent.name);
  if (*link) {
    FormatText(slot, sizeof slot, "the '%s' parent of '%s'", link, child.name);
  } else {
    FormatText(slot, sizeof slot, "that parent of '%s'", child.name);
  }

  if (newparent.numstates != old.numstates) {
    return Fail(PARENT_HAS_OTHER_STATES, node, newparent.numstates, slot, old.numstates);
  }
  if (old.discrete != UNKNOWN_DISCRETE && newparent.discrete != old.discrete) {
    return Fail(PARENT_IS_OTHER_VARIABLE, node, DISCRETE_NAMES[newparent.discrete], slot, DISCRETE_NAMES[old.discrete]);
  }
  if (old.measure != UNKNOWN_MEASURE && newparent.measure < old.measure) {
    return Fail(PARENT_HAS_LOWER_MEASURE, node, MEASURE_NAMES[newparent.measure], slot, MEASURE_NAMES[old.measure]);
  }
  const double factor = UnitConversion(newparent.units, old.units);
  if (factor == 0) {
    return Fail(PARENT_HAS_OTHER_UNITS, node, newparent.units, slot, old.units);
  }
  const int numlevels = newparent.levels && old.levels ? std::min(NumLevels(newparent), NumLevels(old)) : 0;
  for (int i = 0; i < numlevels; ++i) {
    const double level = newparent.levels[i] * factor;
    if (std::fabs(level - old.levels[i]) <= SAME_LEVEL * std::max(1.0, std::fabs(old.levels[i]))) continue;
    return Fail(PARENT_HAS_OTHER_LEVEL, i, node, level, factor == 1 ? "" : " (converted for units)", slot,
                old.levels[i]);
  }
  return nullptr;
}

}  // namespace bravic

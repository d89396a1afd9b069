// Whether a node can take the place of a parent, which may be a placeholder: it must look like what the child's tables
// were built for, in number of states, discreteness, measure, units and levels.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string_view>

#include "Basic/Text.h"
#include "Bn/model/Levels.h"
#include "Bn/model/Parents.h"

namespace bravic {
namespace {

constexpr double SAME_LEVEL = 1e-5;  // relative, absolute below 1

// Units of one dimension are equivalent: a value is worth `scale` of the dimension's first unit.
struct Unit {
  std::string_view name;
  int dimension;
  double scale;
};
constexpr Unit UNITS[] = {
    {"m", 0, 1},       {"meter", 0, 1},     {"meters", 0, 1},  {"metre", 0, 1},    {"metres", 0, 1},
    {"mm", 0, 1e-3},   {"cm", 0, 1e-2},     {"km", 0, 1e3},    {"in", 0, 0.0254},  {"inches", 0, 0.0254},
    {"ft", 0, 0.3048}, {"feet", 0, 0.3048}, {"g", 1, 1},       {"gram", 1, 1},     {"grams", 1, 1},
    {"mg", 1, 1e-3},   {"kg", 1, 1e3},      {"s", 2, 1},       {"sec", 2, 1},      {"second", 2, 1},
    {"seconds", 2, 1}, {"ms", 2, 1e-3},     {"min", 2, 60},    {"minutes", 2, 60}, {"h", 2, 3600},
    {"hour", 2, 3600}, {"hours", 2, 3600},  {"day", 2, 86400}, {"days", 2, 86400},
};

const Unit* FindUnit(const char* name) {
  const auto* unit = std::find_if(std::begin(UNITS), std::end(UNITS), [&](const Unit& u) { return u.name == name; });
  return unit == std::end(UNITS) ? nullptr : unit;
}

// The factor from one unit to the other; 0 when they are not equivalent.
double Conversion(const char* from, const char* to) {
  if (!*OrEmpty(from) || !*OrEmpty(to) || EqualTextNoCase(from, to)) return 1;
  const Unit* a = FindUnit(from);
  const Unit* b = FindUnit(to);
  return a && b && a->dimension == b->dimension ? a->scale / b->scale : 0;
}

}  // namespace

Failure CheckConnection(int index, const bnode& child, const bnode& newparent) {
  const bnode& old = *child.preds.ar[index];
  const char* stored = child.inputs ? OrEmpty(child.inputs[index]) : "";
  const char* link = *stored ? stored : OrEmpty(old.name);
  char slot[128], node[64];
  std::snprintf(node, sizeof node, "node '%s'", newparent.name);
  if (*link) {
    std::snprintf(slot, sizeof slot, "the '%s' parent of '%s'", link, child.name);
  } else {
    std::snprintf(slot, sizeof slot, "that parent of '%s'", child.name);
  }

  if (newparent.numstates != old.numstates) {
    return Fail(-3201, "Can't connect, because %s has %d states, but %s must have %d states", node, newparent.numstates,
                slot, old.numstates);
  }
  if (old.discrete != UNKNOWN_DISCRETE && newparent.discrete != old.discrete) {
    return Fail(-3201, "Can't connect, because %s is a %s variable, but %s must be a %s variable", node,
                DISCRETE_NAMES[newparent.discrete], slot, DISCRETE_NAMES[old.discrete]);
  }
  if (old.measure != UNKNOWN_MEASURE && newparent.measure < old.measure) {
    return Fail(-3201, "Can't connect, because %s is a %s variable, but %s must be at least a %s variable", node,
                MEASURE_NAMES[newparent.measure], slot, MEASURE_NAMES[old.measure]);
  }
  const double factor = Conversion(newparent.units, old.units);
  if (factor == 0) {
    return Fail(-3201, "Can't connect, because %s is in %.40s units, but %s must be in %.40s (or equivalent) units",
                node, newparent.units, slot, old.units);
  }
  const int numlevels = newparent.levels && old.levels ? std::min(NumLevels(newparent), NumLevels(old)) : 0;
  for (int i = 0; i < numlevels; ++i) {
    const double level = newparent.levels[i] * factor;
    if (std::fabs(level - old.levels[i]) <= SAME_LEVEL * std::max(1.0, std::fabs(old.levels[i]))) continue;
    return Fail(-3201, "Can't connect, because level %d of %s is %g%s, but that level of %s must be %g", i, node, level,
                factor == 1 ? "" : " (converted for units)", slot, old.levels[i]);
  }
  return nullptr;
}

}  // namespace bravic

#include "Bn/model/Units.h"

#include <algorithm>
#include <string_view>

#include "Basic/Text.h"

namespace bravic {
namespace {

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

}  // namespace

double UnitConversion(const char* from, const char* to) {
  if (!*OrEmpty(from) || !*OrEmpty(to) || EqualTextNoCase(from, to)) return 1;
  const Unit* a = FindUnit(from);
  const Unit* b = FindUnit(to);
  return a && b && a->dimension == b->dimension ? a->scale / b->scale : 0;
}

}  // namespace bravic

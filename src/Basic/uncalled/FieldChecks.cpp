#include "Basic/uncalled/FieldChecks.h"

#include <cstdint>
#include <cstring>
#include <iterator>

#include "Basic/Errors.h"

namespace bravic {
namespace {

constexpr const char* FIELD_NAMES[] = {"HasFileIO",
                                       "HasUserInteraction",
                                       "HasGUI",
                                       "HasUserInterpreter",
                                       "repetition_mode",
                                       "danger",
                                       "display_status",
                                       "fix_status",
                                       "kind",
                                       "chance",
                                       "value",
                                       "center"};
static_assert(std::size(FIELD_NAMES) == NUM_FIELDS);

// How a message names the field of its object: plainly, or as a component of a point.
struct Wording {
  const char* prefix;
  const char* of;
};
constexpr Wording PLAIN{"", "of"}, X_PART{"X component of ", "in"}, Y_PART{"Y component of ", "in"};

enum Fault { TOO_LARGE, TOO_SMALL, NOT_THE_VALUE };
template <class T>
constexpr const char* FORMATS[3] = {};
template <>
constexpr const char* FORMATS<int>[3] = {"%s`%s` %s %s '%s' is too large (= %d, but maximum is %d)",
                                         "%s`%s` %s %s '%s' is too small (= %d, but minimum is %d)",
                                         "%s`%s` %s %s '%s' is %d, but it should be %d"};
template <>
constexpr const char* FORMATS<double>[3] = {"%s`%s` %s %s '%s' is too large (= %g, but maximum is %g)",
                                            "%s`%s` %s %s '%s' is too small (= %g, but minimum is %g)",
                                            "%s`%s` %s %s '%s' is %g, but it should be %g"};

void MarkRepair(const FieldOwner& owner, report_ns report) {
  if (owner.repair && report) report->fixStatus = PATCHED;
}

template <class T>
bool CheckRange(const FieldOwner& owner, T* value, const FieldRange<T>& range, const Wording& wording) {
  if (!BRAVIC_ASSERT_TEXT(range.max >= range.min, "max >= min")) return true;
  if (*value >= range.min && *value <= range.max) return true;
  const Fault fault = range.min == range.max ? NOT_THE_VALUE : *value > range.max ? TOO_LARGE : TOO_SMALL;
  const T bound = fault == TOO_LARGE ? range.max : range.min;
  const char* field = FieldName(range.field);
  const ErrorRow row{range.number, ERROR_ERR, range.format ? range.format : FORMATS<T>[fault]};
  MarkRepair(owner, range.format ? PostRow(&row, DIALOG_DISPLAY, field, owner.kind, owner.name, *value, bound)
                                 : PostRow(&row, DIALOG_DISPLAY, wording.prefix, field, wording.of, owner.kind,
                                           owner.name, *value, bound));
  if (owner.repair) *value = range.byDefault;
  return false;
}

}  // namespace

const char* FieldName(int field) {
  return 0 <= field && field < NUM_FIELDS ? FIELD_NAMES[field] : "???";
}

bool CheckField(const FieldOwner& owner, int* value, const FieldRange<int>& range) {
  return CheckRange(owner, value, range, PLAIN);
}

bool CheckField(const FieldOwner& owner, double* value, const FieldRange<double>& range) {
  return CheckRange(owner, value, range, PLAIN);
}

bool CheckField(const FieldOwner& owner, bool byDefault, unsigned char* value, int number, int field) {
  if (*value <= 1) return true;
  const ErrorRow row{number, ERROR_ERR, "%s '%s' has illegal `%s` (= %d)"};
  MarkRepair(owner, PostRow(&row, DIALOG_DISPLAY, owner.kind, owner.name, FieldName(field), *value));
  if (owner.repair) *value = byDefault;
  return false;
}

bool CheckField(const FieldOwner& owner, IntPoint* value, const FieldRange<IntPoint>& range) {
  const FieldRange<int> x{range.min.x, range.max.x, range.byDefault.x, range.number, range.field, range.format};
  const FieldRange<int> y{range.min.y, range.max.y, range.byDefault.y, range.number, range.field, range.format};
  const bool goodX = CheckRange(owner, &value->x, x, X_PART);
  return CheckRange(owner, &value->y, y, Y_PART) && goodX;
}

bool CheckEnumField(const FieldOwner& owner, void* value, std::size_t size, const FieldRange<int>& range) {
  int wide;
  if (size == 1) {
    std::int8_t narrow;
    std::memcpy(&narrow, value, size);
    wide = narrow;
  } else if (size == 2) {
    std::int16_t narrow;
    std::memcpy(&narrow, value, size);
    wide = narrow;
  } else if (size == 4) {
    std::memcpy(&wide, value, size);
  } else {
    char text[48];
    FormatText(text, sizeof text, "Unsupported checkenum size %d", static_cast<int>(size));
    return AssertFailed(__FILE__, __LINE__, text);
  }
  if (CheckRange(owner, &wide, range, PLAIN)) return true;
  const auto byte = static_cast<std::int8_t>(wide);
  const auto half = static_cast<std::int16_t>(wide);
  std::memcpy(value,
              size == 1   ? static_cast<const void*>(&byte)
              : size == 2 ? static_cast<const void*>(&half)
                          : &wide,
              size);
  return false;
}

}  // namespace bravic

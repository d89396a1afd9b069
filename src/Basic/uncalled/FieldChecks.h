// Without a caller in the library: range checks of the fields of stored objects, for readers of files and for integrity
// checks. A fault is reported; in repair mode the field is also set to its default and the report marked as patched.
#pragma once

#include <cstddef>

namespace bravic {

// Which field a check is about; selects the name shown in its message.
enum Field : int {
  FIELD_HAS_FILE_IO,
  FIELD_HAS_USER_INTERACTION,
  FIELD_HAS_GUI,
  FIELD_HAS_USER_INTERPRETER,
  FIELD_REPETITION_MODE,
  FIELD_DANGER,
  FIELD_DISPLAY_STATUS,
  FIELD_FIX_STATUS,
  FIELD_KIND,
  FIELD_CHANCE,
  FIELD_VALUE,
  FIELD_CENTER,
  NUM_FIELDS,
};
const char* FieldName(int field);

// The object whose fields are checked.
struct FieldOwner {
  const char* kind;  // "node", "net", ...
  const char* name;
  bool repair;
};

// One field's range, its report's number, and what repair puts in. A format of the check's own takes the arguments of
// the message that it stands in for.
template <class T>
struct FieldRange {
  T min, max, byDefault;
  int number;
  int field;
  const char* format = nullptr;
};

struct IntPoint {
  int x, y;
};

// Each answers whether the field was in range.
bool CheckField(const FieldOwner& owner, int* value, const FieldRange<int>& range);
bool CheckField(const FieldOwner& owner, double* value, const FieldRange<double>& range);
bool CheckField(const FieldOwner& owner, bool byDefault, unsigned char* value, int number, int field);  // 0 or 1
bool CheckField(const FieldOwner& owner, IntPoint* value, const FieldRange<IntPoint>& range);
// A field of 1, 2 or 4 bytes that holds a signed number.
bool CheckEnumField(const FieldOwner& owner, void* value, std::size_t size, const FieldRange<int>& range);

}  // namespace bravic

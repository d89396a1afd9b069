// The rows of ErrorTable.inc as constants.
#pragma once

namespace formats {

// The dangers of records, as ReportError_ns takes them.
inline constexpr int NOTICE_ERR = 3, WARNING_ERR = 4, ERROR_ERR = 5;

struct ErrorRow {
  int number;  // negative
  int danger;
  const char* text;  // "%s" where the site's words stand
};

#define CHAPTER(title, remark)
#define ROW(name, number, danger, text, meaning) inline constexpr ErrorRow name{number, danger, text};
#include "formats/ErrorTable.inc"
#undef ROW
#undef CHAPTER

}  // namespace formats

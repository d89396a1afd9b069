// The net file format as the reader and the writer share it: the words and characters that are fixed. Names of
// statements stand in Bn/model/FieldList.h, those of enumerated values in Bn/model/Records.h (KIND_NAMES ...);
// docs/net-format.md describes the whole.
//
// Conventions of the texts between words:
// - A quoted text has its `"` and `\` escaped with a backslash; a line feed is written `\n`, a carriage return
//   `\r`, a tab `\t`. A backslash at the end of a line, with the line end and the blanks and tabs that follow it,
//   stands for nothing: so long texts are broken. `\ ` is a blank, which a continuation line may begin with.
// - A state without a name is written "#" and its number wherever a state is named (evidence, functable); a
//   missing number in `levels` or `value` is `@undef`, infinities are `inf` and `-inf`.
// - A missing entry of `states` or `inputs` is an empty item between its commas; when every entry is missing the
//   statement is not written.
// - The names of the nodes, define-nodes and placeholders of one file are all different: the writer gives a
//   placeholder whose name is taken another name by its trailing number.
#pragma once

#include <string_view>

namespace bravic::format {

// The file-type indicator: "// ~->[DNET-1]->~".
inline constexpr char INDICATOR_START[] = "~->[", INDICATOR_END[] = "]->~";
inline constexpr char NET_TYPE[] = "DNET";
inline constexpr int VERSION_WRITTEN = 1, OLDEST_VERSION = 1, NEWEST_VERSION = 1;
inline constexpr int INDICATOR_LINE_LEN = 256, INDICATOR_LINES = 3, INDICATOR_MIN_LINE = 3;
// Type words by number; number 5 is unused.
inline constexpr const char* TYPE_WORDS[] = {"UNKNOWN", "TEXT", "SCRIPT", "CASE", "DNET", nullptr, "MS_BNET"};

// Block keywords.
inline constexpr char NET_WORD[] = "bnet", NODE_WORD[] = "node", PARAM_WORD[] = "param", DEFINE_WORD[] = "define";
inline constexpr char HEX_WORD[] = "HexNumbers", TRUE_WORD[] = "TRUE", FALSE_WORD[] = "FALSE";

inline constexpr std::string_view PUNCTUATION = "(){}=,;:|";
inline constexpr char UNDEF_ESCAPE[] = "@undef", IMPOS_ESCAPE[] = "@imposs";
inline constexpr int TEXT_LINE_LEN = 64;   // longest piece of a quoted text on one line
inline constexpr int MAX_WORD_LEN = 1024;  // of a top-level word
inline constexpr int NUMBER_WIDTH = 7;     // of an entry of a table
inline constexpr int COLUMN_PADDING = 5;   // added to a width to make a column
inline constexpr int MAX_PADDING = 80, MAX_INDENT = 16;
inline constexpr char NET_EXTENSION[] = ".dne", OTHER_NET_EXTENSION[] = ".dnet";

// How the writer prints, set to these defaults at start.
struct PrintOptions {
  bool inheritanceLists = true;
  bool derivedCounts = false;
  bool tableComments = true;
  bool changeTimes = false;
  bool flatTables = false;
  bool indentClosingBrace = true;
  bool extraNetIndent = false;
  int omitLastProb = 2;  // 0 always, 1 of nodes with fewer than 3 states, 2 never
  bool hexNumbers = false;
  int version = VERSION_WRITTEN;
};

}  // namespace bravic::format

// What stands above the rows of a case file: its kind, how its columns are separated, and what they are.
#pragma once

#include <span>

#include "Basic/Errors.h"
#include "Bn/files/CaseLines.h"
#include "Bn/files/SeparatedCells.h"
#include "Bn/files/StateNames.h"

namespace bravic {

inline constexpr char CASE_TYPE[] = "CASE";
inline constexpr char CASE_VERSION[] = "1";
inline constexpr char ID_COLUMN[] = "IDnum", FREQ_COLUMN[] = "NumCases";
inline constexpr int MAX_COLUMN_NAME = 255;

struct CaseColumn {
  enum Kind : unsigned char { Skipped, Id, Freq, Node, Text } kind = Skipped;  // Text: as it stands
  bool byName = false;  // of a node whose entries are states alone
  int wanted = -1;      // index into the nodes wanted
  node_bn node = nullptr;
  StateNames names;
};

struct CaseHead {
  Vector<CaseColumn> columns;
  bool hasId = false, hasFreq = false;
  char separator = 0;               // of a file of separated values; 0 where white space separates
  bool hasOtherSeparators = false;  // commas or semicolons among the columns
  long line = 0;                    // of the columns, from 1
  long long firstRow = 0;           // offset of what follows the line of the columns
  Vector<Block<char>> names;        // [columns] as they stand there, where the options ask for them
};

struct HeadOptions {
  const char* filename = "";
  net_bn net = nullptr;  // may be NULL when no node is wanted
  std::span<const node_bn> wanted;
  bool warns = true;        // of another version, of columns that come twice and of those that are no node's
  bool takesTexts = false;  // of all columns; without a net
};

// A file of which no column is a node of the net is refused.
Failure ReadCaseHead(CaseLines& lines, const HeadOptions& options, CaseHead* head);
// The failure under the prefix that all messages about a case file have while it is read.
Failure AboutCases(const char* filename, Failure failure);
Failure FailOfQuote(CellCutter::Fault fault, int column, long line, const char* filename);  // columns count from 1
Failure FailOfTwice(std::string_view name, int column, long line, const char* filename);
int ShownLength(std::size_t length);  // of a text quoted in a message

}  // namespace bravic

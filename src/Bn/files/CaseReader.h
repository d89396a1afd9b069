// Reading case files: tab-separated tables of observations, a row a case. The file is read through one buffer that
// does not grow with it; the columns are planned once, and states are found by the bytes of their names in place.
#pragma once

#include <span>
#include <string_view>

#include "Basic/Errors.h"
#include "Bn/files/CaseLines.h"
#include "Bn/files/StateNames.h"
#include "Win_Face/FileSpec.h"

namespace bravic {

inline constexpr char CASE_TYPE[] = "CASE";
inline constexpr char CASE_VERSION[] = "1";
inline constexpr char ID_COLUMN[] = "IDnum", FREQ_COLUMN[] = "NumCases";
inline constexpr int MAX_COLUMN_NAME = 40;

struct CaseColumn {
  enum Kind : unsigned char { Skipped, Id, Freq, Node } kind = Skipped;
  int wanted = -1;  // index into the nodes wanted
  node_bn node = nullptr;
  StateNames names;
};

// One row. Entries of nodes wanted that have no column stay missing.
struct CaseRow {
  Vector<statetype> states;  // [wanted] UNDEF_STATE where missing
  Vector<double> values;     // [wanted] UNDEF_DBL where missing
  bool hasId = false;
  long id = -1;
  double freq = -1;  // -1 without a column
};

class CaseReader {
 public:
  // Opens the file, checks its indicator and reads the column line. net may be NULL when no node is wanted; otherwise
  // a file of which no column is a node of the net is refused, and columns of no node are warned of.
  Failure Open(const char* filename, net_bn net, std::span<const node_bn> wanted);
  void Close() { lines_.Close(); }

  enum class Result { Row, End, Bad };  // Bad: the row was refused and an error posted
  Result Next(CaseRow* row);
  bool Seek(long position) { return lines_.Seek(position, firstRow_); }  // false when no row begins there
  long RowStart() const { return rowStart_; }                            // of the row last read
  long Position() const { return lines_.Position(); }
  double ShareRead() const { return lines_.ShareRead(); }
  long FileSize() const { return lines_.FileSize(); }

  std::span<const CaseColumn> Columns() const { return columns_; }
  bool HasId() const { return hasId_; }
  bool HasFreq() const { return hasFreq_; }
  bool EndsInLine() const { return lines_.EndsInLine(); }          // the file's last byte is not a line end
  bool HasOtherSeparators() const { return hasOtherSeparators_; }  // commas or semicolons among the columns
  const char* Terminator() const { return lines_.Terminator(); }   // of its lines
  long NumUnknown() const { return numUnknown_; }                  // entries so far that name no state
  Failure WarningOfUnknown() const;                                // of those; empty without any
  // The failure under the prefix that all messages about the file have while it is read.
  Failure Prefixed(Failure failure) const;
  bool warnsOfColumns = true;

 private:
  Failure ReadIndicator();
  Failure ReadColumnLine(net_bn net, std::span<const node_bn> wanted);
  Failure ReadColumnNames(net_bn net, int mark);
  void AddColumn(std::string_view name, net_bn net, int mark);
  void NoteStranger(std::string_view name);
  bool IsDoubled(const bnode& node) const;
  Failure JudgeColumns(net_bn net) const;
  Failure ReadEntries(const char* lineEnd, CaseRow* row);
  Failure ReadEntry(const CaseColumn& column, const char* text, std::size_t length, CaseRow* row);
  void ReadState(const CaseColumn& column, const char* text, std::size_t length, statetype* state);
  Failure ReadNumber(const CaseColumn& column, const char* text, std::size_t length, CaseRow* row);
  Failure ReadRow(CaseRow* row);
  void ReportUnfit(Failure failure);                  // of an entry that then counts as missing
  const char* Place(char* buffer, std::size_t size);  // "in case 3 on line 7 of file 'x'"

  CaseLines lines_;
  const char* filename_ = "";
  long firstRow_ = 0;
  long rowStart_ = 0;
  int numUnfit_ = 0;
  long numUnknown_ = 0;
  char firstUnknown_[140] = "";          // "'x' for 'Node' on line 7"
  const CaseColumn* unknown_ = nullptr;  // the row's last column whose entry names no state
  const CaseRow* rowAtHand_ = nullptr;
  Vector<CaseColumn> columns_;
  bool hasId_ = false, hasFreq_ = false, hasOtherSeparators_ = false;
  int numStrangers_ = 0;      // columns that are no node's, and
  char strangers_[180] = "";  // their names, as far as there is room
};

}  // namespace bravic

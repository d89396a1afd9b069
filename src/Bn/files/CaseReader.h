// Reading case files: tables of observations, a row a case, with tabs, commas or semicolons between the columns. The
// file is read through one buffer that does not grow with it; the columns are planned once, and states are found by the
// bytes of their names in place.
#pragma once

#include <span>

#include "Bn/files/CaseHead.h"

namespace bravic {

// One row. Entries of nodes wanted that have no column stay missing.
struct CaseRow {
  statetype* states = nullptr;  // [wanted] UNDEF_STATE where missing
  double* values = nullptr;     // [wanted] UNDEF_DBL where missing; NULL where nobody asks for them
  bool hasId = false;
  long id = -1;
  double freq = -1;  // -1 without a column
};

// Who takes the entries of columns as they stand, where the options ask for their names. A failure refuses the row.
struct EntryTaker {
  Failure (*take)(void* taker, int column, const EntryText& entry) = nullptr;
  void* taker = nullptr;
};

// What an entry says when nothing is known, and it is no state's name.
bool IsMissingMark(const EntryText& entry);
// A finite number; a "+" before it, which the standard functions refuse, is allowed.
bool ParseReal(const EntryText& entry, double* number);

class CaseReader {
 public:
  // To be called once: opens the file, checks its indicator and reads the line of the columns.
  Failure Open(const HeadOptions& options, std::size_t blockSize = CASE_BLOCK);
  void Close() { lines_.Close(); }  // for a while: reading on opens the file again
  bool IsCurrent() const { return lines_.IsCurrent(); }

  // Bad: the row is refused; Lost: no more can be read, for lack of memory or of the file. *failure says why.
  enum class Result { Row, End, Bad, Lost };
  Result Next(CaseRow* row, Failure* failure);
  Result NextEntries(const EntryTaker& taker, Failure* failure);
  const char* ColumnName(int column) const { return head_.names[column].get(); }
  Failure FailOfTwice(int column) const {
    return AboutCases(filename_, bravic::FailOfTwice(ColumnName(column), column + 1, head_.line, filename_));
  }
  static constexpr std::size_t PLACE_LEN = 300;
  const char* Place(char* buffer, std::size_t size);  // "in case 3 on line 7, column 2 of file 'x'"
  bool Seek(long long position) { return lines_.Seek(position, head_.firstRow); }  // false when no row begins there
  bool SeekFirst() { return Seek(head_.firstRow); }
  long long RowStart() const { return rowStart_; }  // of the row last read
  long long Position() const { return lines_.Position(); }
  double ShareRead() const { return lines_.ShareRead(); }
  long long FileSize() const { return lines_.FileSize(); }

  std::span<const CaseColumn> Columns() const { return head_.columns; }
  bool HasId() const { return head_.hasId; }
  bool HasFreq() const { return head_.hasFreq; }
  bool EndsInLine() { return lines_.EndsInLine(); }  // the file's last byte is not a line end
  bool HasOtherSeparators() const { return head_.hasOtherSeparators; }
  const char* Terminator() const { return lines_.Terminator(); }  // of its lines
  // Entries that name no state, since the reading began or they were forgotten: their number, and a warning of them,
  // empty without any.
  long NumUnknown() const { return numUnknown_; }
  Failure WarningOfUnknown() const;
  void ForgetUnfit() { numUnfit_ = 0, numUnknown_ = 0; }

 private:
  const char* ReadShortNames(const char* p, int* count, statetype* states) const;
  const char* ReadShortCells(const char* p, int* count, statetype* states) const;
  Failure ReadEntries(const char* lineEnd, CaseRow* row);
  Failure ReadCells(const char* lineEnd, CaseRow* row);
  Failure TakeEntry(const CaseColumn& column, const EntryText& entry, CaseRow* row);
  Failure ReadEntry(const CaseColumn& column, const EntryText& entry, CaseRow* row);
  void ReadState(const CaseColumn& column, const EntryText& entry, statetype* state);
  Failure ReadNumber(const CaseColumn& column, const EntryText& entry, CaseRow* row);
  Failure ReadRow(CaseRow* row);
  void ReportUnfit(Failure failure);  // of an entry that then counts as missing

  CaseLines lines_;
  CaseHead head_;
  const char* filename_ = "";
  int numWanted_ = 0;
  long long rowStart_ = 0;
  int numUnfit_ = 0;
  long numUnknown_ = 0;
  char firstUnknown_[140] = "";          // "'x' for 'Node' on line 7"
  const CaseColumn* unknown_ = nullptr;  // the row's last column whose entry names no state
  const CaseRow* rowAtHand_ = nullptr;
  int column_ = 0;  // of separated values, the one that is read, from 1
  CellCutter cutter_;
  EntryTaker taker_;
};

}  // namespace bravic

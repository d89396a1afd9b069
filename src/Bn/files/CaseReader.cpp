// The rows of a case file, one for each call of Next. Most entries are the name of a state, which is found by its bytes
// where it stands; what else an entry may be is looked at only when that fails. docs/case-format.md describes the
// format.
#include "Bn/files/CaseReader.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>

#include "Basic/Portable.h"
#include "Basic/Text.h"
#include "Bn/model/Levels.h"

namespace bravic {
namespace {

constexpr int MAX_UNFIT = 100;  // entries reported one by one

}  // namespace

Failure CaseReader::Open(const HeadOptions& options, std::size_t blockSize) {
  filename_ = options.filename;
  numWanted_ = Count(options.wanted);
  if (Failure failure = lines_.Open(filename_, blockSize)) return failure;
  Failure failure = ReadCaseHead(lines_, options, &head_);
  return AboutCases(filename_, lines_.HasTrouble() ? lines_.TakeTrouble() : std::move(failure));
}

// Where reading stands, in words for messages: the case if it has an identification, line and file.
const char* CaseReader::Place(char* buffer, std::size_t size) {
  char caseText[40] = "";
  if (rowAtHand_ && rowAtHand_->hasId) FormatText(caseText, sizeof caseText, "in case %ld ", rowAtHand_->id);
  char columnText[24] = "";
  if (head_.separator) FormatText(columnText, sizeof columnText, ", column %d", column_);
  FormatText(buffer, size, "%son line %ld%s of file '%s'", caseText, lines_.LineNumber(), columnText,
             ShownPath(filename_).text);
  return buffer;
}

// A file full of such entries does not fill the error list.
void CaseReader::ReportUnfit(Failure failure) {
  if (numUnfit_ > MAX_UNFIT) return;
  if (numUnfit_++ < MAX_UNFIT) {
    Post(AboutCases(filename_, std::move(failure)));
    return;
  }
  Failure last = Fail(MORE_UNFIT_ENTRIES);
  last->number = failure->number;
  Post(AboutCases(filename_, std::move(last)));
}

namespace {

// White space and control characters.
bool EndsEntry(char c) {
  return static_cast<unsigned char>(c) <= ' ';
}

template <class T>
bool ParseInteger(const char* text, const char* end, T* number) {
  if (end - text > 1 && text[0] == '+' && text[1] != '-') ++text;
  auto [stop, error] = std::from_chars(text, end, *number);
  return error == std::errc() && stop == end;
}

}  // namespace

bool IsMissingMark(const EntryText& entry) {
  const std::string_view text(entry.text, entry.length);
  return text.empty() || text[0] == '@' || text == "*" || text == "?" || text == "NA";
}

bool ParseReal(const EntryText& entry, double* number) {
  const char *text = entry.text, *const end = entry.End();
  if (entry.length > 1 && text[0] == '+' && text[1] != '-') ++text;
  auto [stop, error] = ReadDecimal(text, end, *number);
  return error == std::errc() && stop == end && *number - *number == 0;
}

void CaseReader::ReadState(const CaseColumn& column, const EntryText& entry, statetype* state) {
  const bnode& node = *column.node;
  const statetype named = column.names.Find(entry);
  if (named != StateNames::NO_NAME) {
    *state = named;
    return;
  }
  // What is no name may be a number: behind "#", or alone where no state has a name.
  const bool byNumber = entry.text[0] == '#';
  statetype number = -1;
  if ((byNumber || !node.states) && ParseInteger(entry.text + byNumber, entry.End(), &number) && number >= 0 &&
      number < node.numstates) {
    *state = number;
    return;
  }
  // Neither name nor number: the entry counts as missing, and one warning at the end tells how many there were.
  unknown_ = &column;
  if (numUnknown_++ == 0) {
    char columnText[24] = "";
    if (head_.separator) FormatText(columnText, sizeof columnText, ", column %d", column_);
    FormatText(firstUnknown_, sizeof firstUnknown_, "'%.*s' for '%s' on line %ld%s", ShownLength(entry.length),
               entry.text, node.name, lines_.LineNumber(), columnText);
  }
}

Failure CaseReader::ReadNumber(const CaseColumn& column, const EntryText& entry, CaseRow* row) {
  const bnode& node = *column.node;
  char place[PLACE_LEN];
  double number;
  if (!ParseReal(entry, &number))
    return Fail(ILLEGAL_NUMBER_OF_CASE, ShownLength(entry.length), entry.text, node.name, Place(place, sizeof place));
  // Levels tell the state that the value lies in. A continuous node keeps the value as well.
  const int wanted = column.wanted;
  if (node.levels) {
    row->states[wanted] = StateOfValue(node, number, LEVEL_TOLERANCE);
    if (row->states[wanted] < 0) {
      ReportUnfit(Fail(VALUE_OF_CASE_OUT_OF_BOUNDS, number, node.name, Place(place, sizeof place)));
      return nullptr;
    }
  }
  if (node.discrete != DISCRETE && row->values) row->values[wanted] = number;
  return nullptr;
}

Failure CaseReader::ReadEntry(const CaseColumn& column, const EntryText& entry, CaseRow* row) {
  const char* const text = entry.text;
  char place[PLACE_LEN];
  switch (column.kind) {
    case CaseColumn::Skipped:
      return nullptr;
    case CaseColumn::Id:
      if (!ParseInteger(text, entry.End(), &row->id)) {
        row->id = -1;
        return Fail(ILLEGAL_ID_OF_CASE, ShownLength(entry.length), entry.text, Place(place, sizeof place));
      }
      row->hasId = row->id != -1;
      return nullptr;
    case CaseColumn::Freq:
      if (ParseReal(entry, &row->freq) && row->freq >= 0) return nullptr;
      return Fail(ILLEGAL_FREQUENCY_OF_CASE, ShownLength(entry.length), entry.text, Place(place, sizeof place));
    case CaseColumn::Text:
      return taker_.take(taker_.taker, static_cast<int>(&column - head_.columns.data()), entry);
    case CaseColumn::Node:
      break;
  }
  if (IsMissingMark(entry)) return nullptr;
  // A node with levels may be given by state or by value: "#2" is always a state, a word one where states have names.
  const bnode& node = *column.node;
  const bool isState = (node.discrete == DISCRETE && !node.levels) || (text[0] == '#' && node.numstates > 0) ||
                       (node.states && IsAsciiLetter(static_cast<unsigned char>(text[0])));
  if (!isState) return ReadNumber(column, entry, row);
  ReadState(column, entry, &row->states[column.wanted]);
  return nullptr;
}

// Nearly every entry is that of a column that nobody asked for, or the name of a state.
inline Failure CaseReader::TakeEntry(const CaseColumn& column, const EntryText& entry, CaseRow* row) {
  const statetype state = column.byName ? column.names.Find(entry) : static_cast<statetype>(StateNames::NO_NAME);
  if (state == StateNames::NO_NAME && column.kind != CaseColumn::Skipped) return ReadEntry(column, entry, row);
  if (column.byName) row->states[column.wanted] = state;
  return nullptr;
}

// Entries with a tab behind each that are names of states of up to eight bytes, or that nobody asked for: nearly all of
// most rows. Goes on from the column and the place as far as there are such, and answers the first place after them.
const char* CaseReader::ReadShortNames(const char* p, int* count, statetype* states) const {
  const CaseColumn* const columns = head_.columns.data();
  const int numcolumns = head_.columns.size();
  int i = *count;
  for (; i < numcolumns; ++i) {
    const CaseColumn& column = columns[i];
    const ShortEntry entry(p);
    if (!entry.endsInTab) break;
    if (column.byName) {
      const statetype state = column.names.FindShort(entry);
      if (state == StateNames::NO_NAME) break;
      states[column.wanted] = state;
    } else if (column.kind != CaseColumn::Skipped) {
      break;
    }
    p += entry.length + 1;
  }
  *count = i;
  return p;
}

// An entry ends at white space; a tab after it leads to the next entry, which may be empty. The line's end is white
// space too, or the 0 behind the file's last byte.
Failure CaseReader::ReadEntries(const char* lineEnd, CaseRow* row) {
  char place[PLACE_LEN];
  const char* p = lines_.Start();
  const int numcolumns = head_.columns.size();
  int count = 0;
  for (bool more = true; more;) {
    p = ReadShortNames(p, &count, row->states);
    // Blanks before an entry do not count, whatever separates the columns.
    while (*p == ' ') ++p;
    const EntryText entry(p);
    p = entry.End();
    if (count == numcolumns) {
      if (p == lineEnd && entry.length == 0) break;  // a tab before the line end
      return Fail(TOO_MANY_ENTRIES_OF_CASE, Place(place, sizeof place));
    }
    if (Failure failure = TakeEntry(head_.columns[count++], entry, row)) return failure;
    // One tab leads on; where blanks alone separate the entries, there is none to be passed over.
    while (*p == ' ') ++p;
    more = p < lineEnd;
    if (more && EndsEntry(*p)) ++p;
  }
  if (count < numcolumns) return Fail(TOO_FEW_ENTRIES_OF_CASE, Place(place, sizeof place));
  return nullptr;
}

// The same for separated values.
const char* CaseReader::ReadShortCells(const char* p, int* count, statetype* states) const {
  const CaseColumn* const columns = head_.columns.data();
  const int numcolumns = head_.columns.size();
  const char separator = head_.separator;
  int i = *count;
  for (; i < numcolumns; ++i) {
    const CaseColumn& column = columns[i];
    const ShortCell cell(p, separator);
    if (!cell.next) break;
    if (column.byName && cell.length > 0) {
      const statetype state = column.names.FindShort(cell);
      if (state == StateNames::NO_NAME) break;
      states[column.wanted] = state;
    } else if (column.kind != CaseColumn::Skipped && cell.length > 0) {
      break;
    }
    p = cell.next + 1;
  }
  *count = i;
  return p;
}

// A cell for each column. The last one ends with the line, and so does an empty one behind a last separator.
Failure CaseReader::ReadCells(const char* lineEnd, CaseRow* row) {
  char place[PLACE_LEN];
  const char* p = lines_.Start();
  const int numcolumns = head_.columns.size();
  int count = 0;
  for (bool more = true; more;) {
    p = ReadShortCells(p, &count, row->states);
    column_ = count + 1;
    if (count == numcolumns) return Fail(TOO_MANY_ENTRIES_OF_CASE, Place(place, sizeof place));
    EntryText cell(p, 0);
    const CellCutter::Fault fault = cutter_.Cut(&p, lineEnd, head_.separator, &cell);
    if (fault != CellCutter::Fault::None) return FailOfQuote(fault, column_, lines_.LineNumber(), filename_);
    if (Failure failure = TakeEntry(head_.columns[count++], cell, row)) return failure;
    more = p < lineEnd;
    if (more) ++p;
  }
  if (count < numcolumns) return Fail(TOO_FEW_ENTRIES_OF_CASE, Place(place, sizeof place));
  return nullptr;
}

// Carriage returns before the line feed belong to the line's end, not to the last entry.
Failure CaseReader::ReadRow(CaseRow* row) {
  const char* lineEnd = lines_.End();
  while (lineEnd > lines_.Start() && lineEnd[-1] == '\r') --lineEnd;
  // Whether a spreadsheet's last row has a line end says nothing.
  if (head_.separator) return ReadCells(lineEnd, row);
  if (Failure failure = ReadEntries(lineEnd, row)) return failure;
  // The row was the last of the file and has no line end: it may have been cut off, which is certain where its last
  // entry names no state.
  if (lines_.IsTerminated()) return nullptr;
  char place[PLACE_LEN];
  if (unknown_ && unknown_ == &head_.columns.back())
    return Fail(LAST_ENTRY_CUT_OFF, unknown_->node->name, Place(place, sizeof place));
  Post(AboutCases(filename_, Fail(LAST_ENTRY_MAY_BE_CUT_OFF, Place(place, sizeof place))));
  return nullptr;
}

CaseReader::Result CaseReader::Next(CaseRow* row, Failure* failure) {
  std::fill_n(row->states, numWanted_, UNDEF_STATE);
  if (row->values) std::fill_n(row->values, numWanted_, UNDEF_DBL);
  row->hasId = false;
  row->id = -1;
  row->freq = -1;
  rowAtHand_ = row;
  unknown_ = nullptr;
  const auto blankOrComment = [this] {
    const char* p = lines_.Start();
    const char* lineEnd = lines_.End();
    while (p < lineEnd && (*p == ' ' || *p == '\r')) ++p;
    return p == lineEnd || (lineEnd - p > 1 && p[0] == '/' && p[1] == '/' && !head_.separator);
  };
  // Blank lines and comments between the rows are passed over.
  bool found;
  while ((found = lines_.NeedLine()) && blankOrComment()) lines_.Consume();
  if (!found && !lines_.HasTrouble()) return Result::End;
  if (!found) {
    *failure = AboutCases(filename_, lines_.TakeTrouble());
    return Result::Lost;
  }
  rowStart_ = Position();
  // A bad row is consumed like a good one: reading goes on with the next.
  *failure = AboutCases(filename_, ReadRow(row));
  lines_.Consume();
  return *failure ? Result::Bad : Result::Row;
}

CaseReader::Result CaseReader::NextEntries(const EntryTaker& taker, Failure* failure) {
  taker_ = taker;
  CaseRow row;
  return Next(&row, failure);
}

Failure CaseReader::WarningOfUnknown() const {
  if (numUnknown_ == 0) return nullptr;
  return AboutCases(filename_, Fail(UNKNOWN_STATES_COUNT_AS_MISSING, numUnknown_, firstUnknown_));
}

}  // namespace bravic

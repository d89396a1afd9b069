// Reads a case file from top to bottom: the indicator that tells its kind, the line of the columns, then a row for each
// call of Next. The columns are matched with nodes once; each keeps its kind and its state names, so that reading a row
// looks no name up in the net. The lines themselves are CaseLines'. docs/case-format.md describes the format.
#include "Bn/files/CaseReader.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>

#include "Basic/Portable.h"
#include "Basic/Text.h"
#include "Bn/files/NetFormat.h"
#include "Bn/model/Levels.h"
#include "Bn/model/NodeNames.h"
#include "Bn/model/NodeOrder.h"

namespace bravic {
namespace {

constexpr std::size_t PLACE_LEN = 300;
constexpr int MAX_UNFIT = 100;  // entries reported one by one

// Of a text quoted in a message.
int Shown(std::size_t length) {
  return static_cast<int>(std::min<std::size_t>(length, 40));
}

// Digits are compared as text, so that a number of any length is the one told.
void JudgeVersion(std::string_view text) {
  std::string_view digits = text.substr(0, std::min(text.size(), text.find_first_not_of("0123456789")));
  digits.remove_prefix(std::min(digits.size(), digits.find_first_not_of('0')));
  if (digits == CASE_VERSION) return;
  const bool isOld = digits.empty();
  if (isOld) digits = "0";
  Report(OTHER_CASE_FILE_VERSION, isOld ? "old" : "new", Shown(digits.size()), digits.data());
}

}  // namespace

Failure CaseReader::Prefixed(Failure failure) const {
  if (!failure) return failure;
  const char* reason = failure->mesg;
  return Rephrase(std::move(failure), AROUND_CASE_FILE, ShownPath(filename_).text, reason);
}

Failure CaseReader::Open(const char* filename, net_bn net, std::span<const node_bn> wanted) {
  filename_ = filename;
  if (Failure failure = lines_.Open(filename_)) return failure;
  Failure failure = ReadIndicator();
  if (!failure) failure = ReadColumnLine(net, wanted);
  return Prefixed(lines_.HasTrouble() ? lines_.TakeTrouble() : std::move(failure));
}

// At most three lines of at least three characters are looked at, as in every file of the library.
Failure CaseReader::ReadIndicator() {
  for (int examined = 0; examined < format::INDICATOR_LINES && lines_.NeedLine();) {
    std::string_view line = lines_.Line();
    std::string_view head = line.substr(0, format::INDICATOR_LINE_LEN);
    std::size_t start = head.find(format::INDICATOR_START);
    std::size_t stop = start == head.npos ? start : head.find(format::INDICATOR_END, start);
    lines_.Consume();
    if (stop == head.npos) {
      if (Count(line) >= format::INDICATOR_MIN_LINE) ++examined;
      continue;
    }
    std::string_view text = head.substr(start + std::strlen(format::INDICATOR_START));
    text = text.substr(0, stop - start - std::strlen(format::INDICATOR_START));
    std::size_t dash = text.find('-');
    std::string_view type = text.substr(0, dash);
    if (type != CASE_TYPE) return Fail(NOT_A_CASE_FILE, CASE_TYPE, Shown(type.size()), type.data());
    JudgeVersion(dash == text.npos ? std::string_view() : text.substr(dash + 1));
    return nullptr;
  }
  return Fail(NO_CASE_FILE_INDICATOR, CASE_TYPE);
}

// Lists the columns that no node of the net has, for one message; three points stand for those without room.
void CaseReader::NoteStranger(std::string_view name) {
  ++numStrangers_;
  const std::size_t used = std::strlen(strangers_);
  const int length = Shown(name.size());
  if (EndsWith(strangers_, "...")) return;
  const bool fits = used + length + sizeof ", , ..." <= sizeof strangers_;
  FormatText(strangers_ + used, sizeof strangers_ - used, "%s%.*s", used > 0 ? ", " : "", fits ? length : 3,
             fits ? name.data() : "...");
}

// Whether an earlier column is the node's.
bool CaseReader::IsDoubled(const bnode& node) const {
  return std::any_of(columns_.begin(), columns_.end(), [&](const CaseColumn& other) { return other.node == &node; });
}

void CaseReader::AddColumn(std::string_view name, net_bn net, int mark) {
  const ShownPath path(filename_);
  CaseColumn column;
  hasOtherSeparators_ = hasOtherSeparators_ || name.find_first_of(",;") != name.npos;
  if (name == ID_COLUMN) {
    if (hasId_) Post(Prefixed(Fail(TWO_ID_COLUMNS, path.text)));
    if (!hasId_) column.kind = CaseColumn::Id;
    hasId_ = true;
  } else if (name == FREQ_COLUMN) {
    if (hasFreq_) Post(Prefixed(Fail(TWO_FREQUENCY_COLUMNS, path.text)));
    if (!hasFreq_) column.kind = CaseColumn::Freq;
    hasFreq_ = true;
  } else if (net) {
    // The name stands within its line; it is looked up as a text of its own.
    char text[MAX_COLUMN_NAME + 1];
    std::size_t length = std::min<std::size_t>(name.size(), MAX_COLUMN_NAME);
    std::memcpy(text, name.data(), length);
    text[length] = '\0';
    column.node = FindNode(net, text);
    // Columns that are nobody's, or that come a second time, keep their place in the rows and are skipped there.
    if (!column.node) {
      NoteStranger(name);
    } else if (IsDoubled(*column.node)) {
      Post(Prefixed(Fail(TWO_COLUMNS_OF_NODE, column.node->name, path.text)));
      column.node = nullptr;
    } else if (column.node->mark == mark) {
      column.kind = CaseColumn::Node;
      column.wanted = column.node->scratch;
      column.names.Fill(*column.node);
    }
  }
  columns_.push_back(std::move(column));
}

// Comments and empty lines may come before the columns, comments also between and after their names.
Failure CaseReader::ReadColumnNames(net_bn net, int mark) {
  const char* blockEnd = nullptr;  // what closes the comment at hand, which may run over lines
  long blockLine = 0;
  while ((columns_.empty() || blockEnd) && lines_.NeedLine()) {
    const char* const lineEnd = lines_.End();
    const auto opensComment = [lineEnd](const char* p) {
      return *p == '/' && p + 1 < lineEnd && (p[1] == '/' || p[1] == '*' || p[1] == '#');
    };
    const char* p = lines_.Start();
    while (p < lineEnd) {
      // Within a comment that is not closed yet, all up to its end is passed over.
      if (blockEnd) {
        std::string_view rest(p, lineEnd);
        const std::size_t close = rest.find(blockEnd);
        if (close == rest.npos) {
          p = lineEnd;
          break;
        }
        p += close + 2;
        blockEnd = nullptr;
      } else if (IsAsciiSpace(*p)) {
        if (*p == '\r' && !columns_.empty()) break;
        ++p;
      } else if (opensComment(p)) {
        if (p[1] == '/') {
          p = lineEnd;
          break;
        }
        blockEnd = p[1] == '*' ? "*/" : "#/";
        blockLine = lines_.LineNumber();
        p += 2;
      } else {
        // A name ends at white space or where a comment begins.
        const char* start = p++;
        while (p < lineEnd && !IsAsciiSpace(*p) && !opensComment(p)) ++p;
        AddColumn({start, p}, net, mark);
      }
    }
    // A carriage return ends the line of the columns too.
    if (p < lineEnd && p + 1 != lineEnd)
      lines_.ConsumePart(p + 1);
    else
      lines_.Consume();
  }
  if (!blockEnd) return nullptr;
  return Fail(UNTERMINATED_CASE_COMMENT, *blockEnd == '*' ? '*' : '#', blockLine);
}

// A table of which nothing fits is one of another net, or has its columns separated in another way.
Failure CaseReader::JudgeColumns(net_bn net) const {
  if (columns_.empty()) return Fail(CASE_FILE_WITHOUT_COLUMNS, ShownPath(filename_).text);
  if (!net) return nullptr;
  const bool anyFits =
      std::any_of(columns_.begin(), columns_.end(), [](const CaseColumn& column) { return column.node != nullptr; });
  if (!anyFits)
    return Fail(NO_COLUMN_FITS, net->name, numStrangers_ > 0 ? strangers_ : "numbers and frequencies alone");
  if (numStrangers_ > 0 && warnsOfColumns) Post(Prefixed(Fail(COLUMNS_SKIPPED, net->name, numStrangers_, strangers_)));
  return nullptr;
}

Failure CaseReader::ReadColumnLine(net_bn net, std::span<const node_bn> wanted) {
  // The wanted nodes are known by the mark, their places in the list by the scratch field.
  int mark = NewMark();
  for (int i = 0; i < Count(wanted); ++i) {
    wanted[i]->mark = mark;
    wanted[i]->scratch = i;
  }
  if (Failure failure = ReadColumnNames(net, mark)) return failure;
  if (lines_.HasTrouble()) return lines_.TakeTrouble();
  firstRow_ = Position();
  return JudgeColumns(net);
}

// Where reading stands, in words for messages: the case if it has an identification, line and file.
const char* CaseReader::Place(char* buffer, std::size_t size) {
  char caseText[40] = "";
  if (rowAtHand_ && rowAtHand_->hasId) FormatText(caseText, sizeof caseText, "in case %ld ", rowAtHand_->id);
  FormatText(buffer, size, "%son line %ld of file '%s'", caseText, lines_.LineNumber(), ShownPath(filename_).text);
  return buffer;
}

// A file full of such entries does not fill the error list.
void CaseReader::ReportUnfit(Failure failure) {
  if (numUnfit_ > MAX_UNFIT) return;
  if (numUnfit_++ < MAX_UNFIT) {
    Post(Prefixed(std::move(failure)));
    return;
  }
  Failure last = Fail(MORE_UNFIT_ENTRIES);
  last->number = failure->number;
  Post(Prefixed(std::move(last)));
}

namespace {

// White space and control characters.
bool EndsEntry(char c) {
  return static_cast<unsigned char>(c) <= ' ';
}

// What an entry says when nothing is known.
bool IsMissingMark(const char* text, std::size_t length) {
  return length == 0 || text[0] == '@' || (length == 1 && text[0] == '*');
}

// A finite number; a "+" before it, which the standard functions refuse, is allowed.
bool ParseReal(const char* text, std::size_t length, double* number) {
  const char* end = text + length;
  if (length > 1 && text[0] == '+' && text[1] != '-') ++text;
  auto [stop, error] = ReadDecimal(text, end, *number);
  return error == std::errc() && stop == end && *number - *number == 0;
}

template <class T>
bool ParseInteger(const char* text, const char* end, T* number) {
  if (end - text > 1 && text[0] == '+' && text[1] != '-') ++text;
  auto [stop, error] = std::from_chars(text, end, *number);
  return error == std::errc() && stop == end;
}

}  // namespace

void CaseReader::ReadState(const CaseColumn& column, const char* text, std::size_t length, statetype* state) {
  const bnode& node = *column.node;
  // Nearly every entry ends here. What is no name may be a number: behind "#", or alone where no state has a name.
  const statetype named = column.names.Find(text, length);
  if (named >= 0) {
    *state = named;
    return;
  }
  const bool byNumber = text[0] == '#';
  statetype number = -1;
  if ((byNumber || !node.states) && ParseInteger(text + byNumber, text + length, &number) && number >= 0 &&
      number < node.numstates) {
    *state = number;
    return;
  }
  // Neither name nor number: the entry counts as missing, and one warning at the end tells how many there were.
  unknown_ = &column;
  if (numUnknown_++ == 0) {
    FormatText(firstUnknown_, sizeof firstUnknown_, "'%.*s' for '%s' on line %ld", Shown(length), text, node.name,
               lines_.LineNumber());
  }
}

Failure CaseReader::ReadNumber(const CaseColumn& column, const char* text, std::size_t length, CaseRow* row) {
  const bnode& node = *column.node;
  char place[PLACE_LEN];
  double number;
  if (!ParseReal(text, length, &number))
    return Fail(ILLEGAL_NUMBER_OF_CASE, Shown(length), text, node.name, Place(place, sizeof place));
  // Levels tell the state that the value lies in. A continuous node keeps the value as well.
  const int wanted = column.wanted;
  if (node.levels) {
    row->states[wanted] = StateOfValue(node, number, LEVEL_TOLERANCE);
    if (row->states[wanted] < 0) {
      ReportUnfit(Fail(VALUE_OF_CASE_OUT_OF_BOUNDS, number, node.name, Place(place, sizeof place)));
      return nullptr;
    }
  }
  if (node.discrete != DISCRETE) row->values[wanted] = number;
  return nullptr;
}

Failure CaseReader::ReadEntry(const CaseColumn& column, const char* text, std::size_t length, CaseRow* row) {
  char place[PLACE_LEN];
  switch (column.kind) {
    case CaseColumn::Skipped:
      return nullptr;
    case CaseColumn::Id:
      if (!ParseInteger(text, text + length, &row->id)) {
        row->id = -1;
        return Fail(ILLEGAL_ID_OF_CASE, Shown(length), text, Place(place, sizeof place));
      }
      row->hasId = row->id != -1;
      return nullptr;
    case CaseColumn::Freq:
      if (ParseReal(text, length, &row->freq) && row->freq >= 0) return nullptr;
      return Fail(ILLEGAL_FREQUENCY_OF_CASE, Shown(length), text, Place(place, sizeof place));
    case CaseColumn::Node:
      break;
  }
  if (IsMissingMark(text, length)) return nullptr;
  // A node with levels may be given by state or by value: "#2" is always a state, a word one where states have names.
  const bnode& node = *column.node;
  const bool isState = (node.discrete == DISCRETE && !node.levels) || (text[0] == '#' && node.numstates > 0) ||
                       (node.states && IsAsciiLetter(static_cast<unsigned char>(text[0])));
  if (!isState) return ReadNumber(column, text, length, row);
  ReadState(column, text, length, &row->states[column.wanted]);
  return nullptr;
}

// An entry ends at white space; a tab after it leads to the next entry, which may be empty.
Failure CaseReader::ReadEntries(const char* lineEnd, CaseRow* row) {
  char place[PLACE_LEN];
  const char* p = lines_.Start();
  int count = 0;
  for (bool more = true; more;) {
    // Blanks before an entry do not count, whatever separates the columns.
    while (p < lineEnd && *p == ' ') ++p;
    const char* start = p;
    while (p < lineEnd && !EndsEntry(*p)) ++p;
    const std::size_t length = p - start;
    if (count == columns_.size()) {
      if (p == lineEnd && length == 0) break;  // a tab before the line end
      return Fail(TOO_MANY_ENTRIES_OF_CASE, Place(place, sizeof place));
    }
    if (Failure failure = ReadEntry(columns_[count++], start, length, row)) return failure;
    // One tab leads on; where blanks alone separate the entries, there is none to be passed over.
    while (p < lineEnd && *p == ' ') ++p;
    more = p < lineEnd;
    if (more && EndsEntry(*p)) ++p;
  }
  if (count < columns_.size()) return Fail(TOO_FEW_ENTRIES_OF_CASE, Place(place, sizeof place));
  return nullptr;
}

// Carriage returns before the line feed belong to the line's end, not to the last entry.
Failure CaseReader::ReadRow(CaseRow* row) {
  const char* lineEnd = lines_.End();
  while (lineEnd > lines_.Start() && lineEnd[-1] == '\r') --lineEnd;
  if (Failure failure = ReadEntries(lineEnd, row)) return failure;
  // The row was the last of the file and has no line end: it may have been cut off, which is certain where its last
  // entry names no state.
  if (lines_.IsTerminated()) return nullptr;
  char place[PLACE_LEN];
  if (unknown_ && unknown_ == &columns_.back())
    return Fail(LAST_ENTRY_CUT_OFF, unknown_->node->name, Place(place, sizeof place));
  Post(Prefixed(Fail(LAST_ENTRY_MAY_BE_CUT_OFF, Place(place, sizeof place))));
  return nullptr;
}

CaseReader::Result CaseReader::Next(CaseRow* row) {
  std::fill(row->states.begin(), row->states.end(), UNDEF_STATE);
  std::fill(row->values.begin(), row->values.end(), UNDEF_DBL);
  row->hasId = false;
  row->id = -1;
  row->freq = -1;
  rowAtHand_ = row;
  unknown_ = nullptr;
  const auto blankOrComment = [this] {
    const char* p = lines_.Start();
    const char* lineEnd = lines_.End();
    while (p < lineEnd && (*p == ' ' || *p == '\r')) ++p;
    return p == lineEnd || (lineEnd - p > 1 && p[0] == '/' && p[1] == '/');
  };
  // Blank lines and comments between the rows are passed over.
  bool found;
  while ((found = lines_.NeedLine()) && blankOrComment()) lines_.Consume();
  if (!found && !lines_.HasTrouble()) return Result::End;
  rowStart_ = Position();
  // A bad row is consumed like a good one: reading goes on with the next.
  Failure failure = found ? ReadRow(row) : lines_.TakeTrouble();
  lines_.Consume();
  if (!failure) return Result::Row;
  Post(Prefixed(std::move(failure)));
  return Result::Bad;
}

Failure CaseReader::WarningOfUnknown() const {
  if (numUnknown_ == 0) return nullptr;
  return Prefixed(Fail(UNKNOWN_STATES_COUNT_AS_MISSING, numUnknown_, firstUnknown_));
}

}  // namespace bravic

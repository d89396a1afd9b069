#include "Bn/services/CaseReader.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>

#include "Basic/Text.h"
#include "Bn/model/Attributes.h"
#include "Bn/model/Net.h"
#include "Bn/model/Tables.h"
#include "Bn/services/NetFormat.h"
#include "Win_Face/Platform.h"

namespace bravic {

namespace {

inline constexpr std::size_t BUFFER_SIZE = 256 * 1024, BUFFER_SLACK = 8;
inline constexpr std::size_t MAX_LINE = std::size_t{1} << 30;
inline constexpr std::size_t PLACE_LEN = 300;
inline constexpr int MAX_UNFIT = 100;  // entries reported one by one
inline constexpr double LEVEL_TOLERANCE = 1e-5;

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

}  // namespace

std::uint64_t StateNames::FirstBytes(const char* text, std::size_t length) {
  unsigned char bytes[8];
  std::memcpy(bytes, text, 8);
  std::uint64_t key = 0;
  for (int i = 7; i >= 0; --i) key = key << 8 | bytes[i];
  return length >= 8 ? key : key & ((std::uint64_t{1} << (8 * length)) - 1);
}

bool StateNames::SameTail(const Entry& entry, const char* text) {
  return std::memcmp(entry.name + 8, text + 8, entry.length - 8) == 0;
}

void StateNames::Fill(const bnode& node) {
  if (!node.states) return;
  std::size_t size = 4;
  while (size < static_cast<std::size_t>(node.numstates) * 2) size *= 2;
  mask_ = size - 1;
  slots_.assign(size, Entry());
  for (int state = 0; state < node.numstates; ++state) {
    const char* name = node.states[state];
    if (!name || !*name) continue;
    Entry entry;
    char padded[40] = {};
    entry.length = std::min(std::strlen(name), sizeof padded - 1);
    std::memcpy(padded, name, entry.length);
    entry.key = FirstBytes(padded, entry.length);
    entry.name = name;
    entry.state = state;
    std::size_t at = Slot(entry.key, entry.length);
    while (slots_[at].state >= 0) at = (at + 1) & mask_;
    slots_[at] = entry;
  }
}

void CaseReader::Close() {
  if (file_) std::fclose(file_);
  file_ = nullptr;
}

bool CaseReader::Refill() {
  if (atEnd_ || !file_) return false;
  const std::size_t kept = static_cast<std::size_t>(end_ - at_);
  bufferStart_ += static_cast<long>(at_ - buffer_.get());
  if (kept * 2 > capacity_) {  // a line longer than the buffer
    Block<char> larger;
    if (capacity_ < MAX_LINE) larger = TryMakeBlock<char>(capacity_ * 2 + BUFFER_SLACK);
    if (!larger) {
      trouble_ = FailMemory(-2116, 2 * static_cast<double>(capacity_), "to read a line of a case file");
      atEnd_ = true;
      bufferStart_ -= static_cast<long>(at_ - buffer_.get());
      return false;
    }
    std::memcpy(larger.get(), at_, kept);
    buffer_ = std::move(larger);
    capacity_ *= 2;
  } else if (kept > 0) {
    std::memmove(buffer_.get(), at_, kept);
  }
  const std::size_t got = std::fread(buffer_.get() + kept, 1, capacity_ - kept, file_);
  at_ = buffer_.get();
  end_ = at_ + kept + got;
  std::memset(buffer_.get() + kept + got, 0, BUFFER_SLACK);
  if (got > 0) return true;
  atEnd_ = true;
  if (std::ferror(file_)) trouble_ = Fail(-2121, "the file couldn't be read at position %ld", Position());
  return false;
}

bool CaseReader::NeedLine() {
  std::size_t seen = 0;
  for (;;) {
    const char* from = at_ + seen;
    const void* feed = std::memchr(from, lineBreak_, static_cast<std::size_t>(end_ - from));
    if (feed) {
      lineEnd_ = static_cast<const char*>(feed);
      return true;
    }
    seen = static_cast<std::size_t>(end_ - at_);
    if (Refill()) continue;
    lineEnd_ = end_;
    return at_ < end_;
  }
}

Failure CaseReader::Prefixed(Failure failure) const {
  if (!failure) return failure;
  auto* fail = failure->danger < ERROR_ERR ? FailWarning : Fail;
  return fail(failure->number, "error reading file '%s':  %s", ShownPath(filename_).text, failure->mesg);
}

Failure CaseReader::Open(const char* filename, net_bn net, std::span<const node_bn> wanted) {
  Close();
  filename_ = filename;
  file_ = std::fopen(filename_, "rb");
  if (!file_) {
    return FileExists(filename_) ? Fail(-2114, "couldn't open file '%s' for reading", ShownPath(filename_).text)
                                 : Fail(-2115, "file '%s' does not exist", ShownPath(filename_).text);
  }
  Failure failure = OpenAndPlan(net, wanted);
  return Prefixed(trouble_ ? std::move(trouble_) : std::move(failure));
}

Failure CaseReader::OpenAndPlan(net_bn net, std::span<const node_bn> wanted) {
  if (std::fseek(file_, 0, SEEK_END) == 0) fileSize_ = std::ftell(file_);
  if (fileSize_ > 0 && std::fseek(file_, -1, SEEK_END) == 0) {
    const int last = std::fgetc(file_);
    endsInLine_ = last != '\n' && last != '\r';
  }
  std::rewind(file_);
  capacity_ = BUFFER_SIZE;
  buffer_ = TryMakeBlock<char>(capacity_ + BUFFER_SLACK);
  if (!buffer_) return FailMemory(-2116, static_cast<double>(capacity_), "to read a case file");
  at_ = end_ = lineEnd_ = buffer_.get();
  atEnd_ = false;
  bufferStart_ = 0;
  knownPosition_ = 0;
  knownLine_ = 1;
  FindLineBreak();
  if (Failure failure = ReadIndicator()) return failure;
  return ReadColumnLine(net, wanted);
}

void CaseReader::FindLineBreak() {
  Refill();
  const char* first = std::find_if(at_, end_, [](char c) { return c == '\n' || c == '\r'; });
  lineBreak_ = first + 1 < end_ && *first == '\r' && first[1] != '\n' ? '\r' : '\n';
}

// At most three lines of at least three characters are looked at, as in every file of the library.
Failure CaseReader::ReadIndicator() {
  for (int examined = 0; examined < format::INDICATOR_LINES && NeedLine();) {
    std::string_view line(at_, static_cast<std::size_t>(lineEnd_ - at_));
    std::string_view head = line.substr(0, format::INDICATOR_LINE_LEN);
    std::size_t start = head.find(format::INDICATOR_START);
    std::size_t stop = start == head.npos ? start : head.find(format::INDICATOR_END, start);
    at_ = std::min(lineEnd_ + 1, end_);
    if (stop == head.npos) {
      if (line.size() >= static_cast<std::size_t>(format::INDICATOR_MIN_LINE)) ++examined;
      continue;
    }
    std::string_view text = head.substr(start + std::strlen(format::INDICATOR_START));
    text = text.substr(0, stop - start - std::strlen(format::INDICATOR_START));
    std::size_t dash = text.find('-');
    std::string_view type = text.substr(0, dash);
    if (type != CASE_TYPE)
      return Fail(-2081, "Not a %s file (it is a %.*s file)", CASE_TYPE,
                  static_cast<int>(std::min<std::size_t>(type.size(), 40)), type.data());
    int version = 0;
    if (dash != text.npos) std::from_chars(text.data() + dash + 1, text.data() + text.size(), version);
    if (version != CASE_VERSION)
      ReportWarning(-2082,
                    "These cases were stored using a %s version of file format (%d). They may not read correctly",
                    version > CASE_VERSION ? "new" : "old", version);
    return nullptr;
  }
  return Fail(-2080, "File does not contain the %s file indicator", CASE_TYPE);
}

void CaseReader::AddColumn(std::string_view name, net_bn net, int mark) {
  CaseColumn column;
  if (name == ID_COLUMN) {
    if (hasId_)
      Post(Prefixed(FailWarning(-2274, "multiple IDnum columns in case file '%s'", ShownPath(filename_).text)));
    if (!hasId_) column.kind = CaseColumn::Id;
    hasId_ = true;
  } else if (name == FREQ_COLUMN) {
    if (hasFreq_)
      Post(Prefixed(FailWarning(-2275, "multiple NumCases columns in case file '%s'", ShownPath(filename_).text)));
    if (!hasFreq_) column.kind = CaseColumn::Freq;
    hasFreq_ = true;
  } else if (net) {
    char text[MAX_COLUMN_NAME + 1];
    std::size_t length = std::min<std::size_t>(name.size(), MAX_COLUMN_NAME);
    std::memcpy(text, name.data(), length);
    text[length] = '\0';
    node_bn node = FindNode(net, text);
    if (node) {
      for (const CaseColumn& other : columns_)
        if (other.node == node) {
          Post(Prefixed(FailWarning(-2277, "more than 1 column for variable '%s' in case file '%s'", node->name,
                                    ShownPath(filename_).text)));
          node = nullptr;
          break;
        }
    }
    column.node = node;
    if (node && node->mark == mark) {
      column.kind = CaseColumn::Node;
      column.wanted = node->scratch;
      column.names.Fill(*node);
    }
  }
  columns_.push_back(std::move(column));
}

Failure CaseReader::ReadColumnLine(net_bn net, std::span<const node_bn> wanted) {
  columns_.clear();
  hasId_ = hasFreq_ = false;
  int mark = NewMark();
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    wanted[i]->mark = mark;
    wanted[i]->scratch = static_cast<int>(i);
  }
  // Leading comments and empty lines come before the columns.
  const auto opensComment = [this](const char* p) {
    return *p == '/' && p + 1 < lineEnd_ && (p[1] == '/' || p[1] == '*' || p[1] == '#');
  };
  const char* blockEnd = nullptr;
  long blockStart = 0;
  while ((columns_.empty() || blockEnd) && NeedLine()) {
    const char* p = at_;
    while (p < lineEnd_) {
      if (blockEnd) {
        std::string_view rest(p, static_cast<std::size_t>(lineEnd_ - p));
        const std::size_t close = rest.find(blockEnd);
        if (close == rest.npos) {
          p = lineEnd_;
          break;
        }
        p += close + 2;
        blockEnd = nullptr;
      } else if (IsBlank(*p)) {
        if (*p == '\r' && !columns_.empty()) break;
        ++p;
      } else if (opensComment(p)) {
        if (p[1] == '/') {
          p = lineEnd_;
          break;
        }
        blockEnd = p[1] == '*' ? "*/" : "#/";
        blockStart = Position() + static_cast<long>(p - at_);
        p += 2;
      } else {
        const char* start = p++;
        while (p < lineEnd_ && !IsBlank(*p) && !opensComment(p)) ++p;
        AddColumn({start, static_cast<std::size_t>(p - start)}, net, mark);
      }
    }
    // A carriage return ends the line of the columns too.
    if (p < lineEnd_ && p + 1 != lineEnd_) lineEnd_ = p;
    at_ = std::min(lineEnd_ + 1, end_);
  }
  if (blockEnd)
    return Fail(-199, "unterminated comment, starting with '/%c', on line %ld", *blockEnd == '*' ? '*' : '#',
                LineOf(blockStart));
  if (columns_.empty()) return Fail(-2117, "case file '%s' has no line of column names", ShownPath(filename_).text);
  firstRow_ = Position();
  return nullptr;
}

// A position between rows, so that nothing is misread from the middle of one.
bool CaseReader::Seek(long position) {
  if (position < firstRow_ || position > fileSize_) return false;
  if (position > firstRow_ && position < fileSize_) {
    if (std::fseek(file_, position - 1, SEEK_SET) != 0) return false;
    const int before = std::fgetc(file_);
    if (before != '\n' && before != '\r') return false;
  }
  if (std::fseek(file_, position, SEEK_SET) != 0) return false;
  bufferStart_ = position;
  at_ = end_ = lineEnd_ = buffer_.get();
  atEnd_ = false;
  return true;
}

long CaseReader::LineOf(long position) {
  std::FILE* file = std::fopen(filename_, "rb");
  if (!file) return 0;
  if (position < knownPosition_ || std::fseek(file, knownPosition_, SEEK_SET) != 0) {
    knownPosition_ = 0;
    knownLine_ = 1;
  }
  char block[4096];
  while (knownPosition_ < position) {
    const std::size_t want = static_cast<std::size_t>(std::min<long>(position - knownPosition_, sizeof block));
    const std::size_t got = std::fread(block, 1, want, file);
    if (got == 0) break;
    knownLine_ += static_cast<long>(std::count(block, block + got, lineBreak_));
    knownPosition_ += static_cast<long>(got);
  }
  std::fclose(file);
  return knownLine_;
}

const char* CaseReader::Place(char* buffer, std::size_t size) {
  char caseText[40] = "";
  if (rowAtHand_ && rowAtHand_->hasId) std::snprintf(caseText, sizeof caseText, "in case %ld ", rowAtHand_->id);
  FormatText(buffer, size, "%son line %ld of file '%s'", caseText, LineOf(rowStart_), ShownPath(filename_).text);
  return buffer;
}

// A file full of such entries does not fill the error list.
void CaseReader::ReportUnfit(Failure failure) {
  if (numUnfit_ > MAX_UNFIT) return;
  if (numUnfit_++ < MAX_UNFIT) {
    Post(Prefixed(std::move(failure)));
    return;
  }
  Post(Prefixed(FailWarning(failure->number, "more entries of this kind are counted as missing without a message")));
}

namespace {

bool IsMissingMark(const char* text, std::size_t length) {
  return length == 0 || text[0] == '@' || (length == 1 && text[0] == '*');
}

bool ParseReal(const char* text, std::size_t length, double* number) {
  const char* end = text + length;
  if (length > 1 && text[0] == '+' && text[1] != '-') ++text;
  auto [stop, error] = std::from_chars(text, end, *number);
  return error == std::errc() && stop == end && *number - *number == 0;
}

template <class T>
bool ParseInteger(const char* text, const char* end, T* number) {
  auto [stop, error] = std::from_chars(text, end, *number);
  return error == std::errc() && stop == end;
}

int Shown(std::size_t length) {
  return static_cast<int>(std::min<std::size_t>(length, 40));
}

}  // namespace

Failure CaseReader::ReadState(const CaseColumn& column, const char* text, std::size_t length, statetype* state) {
  const bnode& node = *column.node;
  const statetype named = column.names.Find(text, length);
  if (named >= 0) {
    *state = named;
    return nullptr;
  }
  const bool byNumber = text[0] == '#';
  statetype number = -1;
  if ((byNumber || !node.states) && ParseInteger(text + byNumber, text + length, &number) && number >= 0 &&
      number < node.numstates) {
    *state = number;
    return nullptr;
  }
  unknown_ = &column;
  if (statesSetting == DONT_ADD_NEW) return nullptr;
  char place[PLACE_LEN];
  ReportUnfit(
      Fail(-2084, "Unknown value '%.*s' for '%s' %s", Shown(length), text, node.name, Place(place, sizeof place)));
  return nullptr;
}

Failure CaseReader::ReadNumber(const CaseColumn& column, const char* text, std::size_t length, CaseRow* row) {
  const bnode& node = *column.node;
  char place[PLACE_LEN];
  double number;
  if (!ParseReal(text, length, &number))
    return Fail(-2085, "Illegal number '%.*s' for '%s' %s", Shown(length), text, node.name, Place(place, sizeof place));
  const std::size_t wanted = static_cast<std::size_t>(column.wanted);
  if (node.levels) {
    row->states[wanted] = StateOfValue(node, number, LEVEL_TOLERANCE);
    if (row->states[wanted] < 0) {
      ReportUnfit(Fail(-2086, "Value %g for '%s' is out of bounds %s", number, node.name, Place(place, sizeof place)));
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
        return Fail(-2185, "Illegal number '%.*s' for IDnum %s", Shown(length), text, Place(place, sizeof place));
      }
      row->hasId = row->id != -1;
      return nullptr;
    case CaseColumn::Freq:
      if (ParseReal(text, length, &row->freq) && row->freq >= 0) return nullptr;
      return Fail(-2083, "Illegal number '%.*s' for NumCases %s", Shown(length), text, Place(place, sizeof place));
    case CaseColumn::Node:
      break;
  }
  if (IsMissingMark(text, length)) return nullptr;
  const bnode& node = *column.node;
  const bool isState = (node.discrete == DISCRETE && !node.levels) || (text[0] == '#' && node.numstates > 0) ||
                       (node.states && IsAsciiLetter(static_cast<unsigned char>(text[0])));
  return isState ? ReadState(column, text, length, &row->states[static_cast<std::size_t>(column.wanted)])
                 : ReadNumber(column, text, length, row);
}

// An entry ends at white space; a tab after it leads to the next entry, which may be empty.
Failure CaseReader::ReadEntries(const char* lineEnd, CaseRow* row) {
  char place[PLACE_LEN];
  const char* p = at_;
  std::size_t count = 0;
  for (bool more = true; more;) {
    while (p < lineEnd && *p == ' ') ++p;
    const char* start = p;
    while (p<lineEnd&& static_cast<unsigned char>(*p)> ' ') ++p;
    const std::size_t length = static_cast<std::size_t>(p - start);
    if (count == columns_.size()) {
      if (p == lineEnd && length == 0) break;  // a tab before the line end
      return Fail(-2087, "Too many entries %s", Place(place, sizeof place));
    }
    if (Failure failure = ReadEntry(columns_[count++], start, length, row)) return failure;
    while (p < lineEnd && *p == ' ') ++p;
    more = p < lineEnd;
    if (more && static_cast<unsigned char>(*p) <= ' ') ++p;
  }
  if (count < columns_.size()) return Fail(-2088, "Too few entries %s", Place(place, sizeof place));
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
    const char* p = at_;
    while (p < lineEnd_ && (*p == ' ' || *p == '\r')) ++p;
    return p == lineEnd_ || (lineEnd_ - p > 1 && p[0] == '/' && p[1] == '/');
  };
  bool found;
  while ((found = NeedLine()) && !trouble_ && blankOrComment()) at_ = std::min(lineEnd_ + 1, end_);
  if (trouble_) {
    Post(Prefixed(std::move(trouble_)));
    return Result::Bad;
  }
  if (!found) return Result::End;

  rowStart_ = Position();
  const bool unterminated = lineEnd_ == end_;
  const char* lineEnd = lineEnd_;
  while (lineEnd > at_ && lineEnd[-1] == '\r') --lineEnd;
  Failure failure = ReadEntries(lineEnd, row);
  at_ = std::min(lineEnd_ + 1, end_);
  char place[PLACE_LEN];
  if (unterminated && !failure) {
    if (unknown_ && unknown_ == &columns_.back())
      failure = Fail(-2118, "the last entry is cut off, for '%s' has no such state and no new-line follows %s",
                     unknown_->node->name, Place(place, sizeof place));
    else
      Post(Prefixed(FailWarning(-2118, "the last entry may be cut off, because no new-line follows it %s",
                                Place(place, sizeof place))));
  }
  if (!failure) return Result::Row;
  Post(Prefixed(std::move(failure)));
  return Result::Bad;
}

}  // namespace bravic

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
  std::size_t kept = static_cast<std::size_t>(end_ - at_);
  std::ptrdiff_t line = lineEnd_ ? lineEnd_ - at_ : 0;
  bufferStart_ += static_cast<long>(at_ - buffer_.get());
  if (kept * 2 > capacity_) {  // a line longer than the buffer
    if (capacity_ >= MAX_LINE) return false;
    Block<char> larger = TryMakeBlock<char>(capacity_ * 2 + BUFFER_SLACK);
    if (!larger) return false;
    std::memcpy(larger.get(), at_, kept);
    buffer_ = std::move(larger);
    capacity_ *= 2;
  } else if (kept > 0) {
    std::memmove(buffer_.get(), at_, kept);
  }
  std::size_t got = std::fread(buffer_.get() + kept, 1, capacity_ - kept, file_);
  at_ = buffer_.get();
  end_ = at_ + kept + got;
  lineEnd_ = at_ + line;
  std::memset(buffer_.get() + kept + got, 0, BUFFER_SLACK);
  if (got == 0) atEnd_ = true;
  return got > 0;
}

bool CaseReader::NeedLine() {
  std::size_t seen = 0;
  for (;;) {
    const char* from = at_ + seen;
    const void* feed = std::memchr(from, '\n', static_cast<std::size_t>(end_ - from));
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

namespace {
Failure Prefixed(Failure failure, const char* filename) {
  if (!failure) return failure;
  return Fail(failure->number, "error reading file '%.200s':  %s", filename, failure->mesg);
}
}  // namespace

Failure CaseReader::Open(const char* filename, net_bn net, std::span<const node_bn> wanted) {
  Close();
  filename_ = filename;
  return Prefixed(OpenAndPlan(net, wanted), filename);
}

Failure CaseReader::OpenAndPlan(net_bn net, std::span<const node_bn> wanted) {
  file_ = std::fopen(filename_, "rb");
  if (!file_)
    return FileExists(filename_) ? Fail(-2114, "couldn't open file '%s' for %s", filename_, "reading")
                                 : Fail(-2115, "file '%s' does not exist", filename_);
  if (std::fseek(file_, 0, SEEK_END) == 0) fileSize_ = std::ftell(file_);
  if (fileSize_ > 0) {
    std::fseek(file_, -1, SEEK_END);
    int last = std::fgetc(file_);
    endsInLine_ = last != '\n' && last != '\r';
  }
  std::rewind(file_);
  capacity_ = BUFFER_SIZE;
  buffer_ = TryMakeBlock<char>(capacity_ + BUFFER_SLACK);
  if (!buffer_) return FailMemory(-2116, static_cast<double>(capacity_), "to read a case file");
  at_ = end_ = lineEnd_ = buffer_.get();
  atEnd_ = false;
  bufferStart_ = 0;
  if (Failure failure = ReadIndicator()) return failure;
  return ReadColumnLine(net, wanted);
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
    if (hasId_) ReportWarning(-2274, "multiple IDnum columns in case file '%s'", filename_);
    if (!hasId_) column.kind = CaseColumn::Id;
    hasId_ = true;
  } else if (name == FREQ_COLUMN) {
    if (hasFreq_) ReportWarning(-2275, "multiple NumCases columns in case file '%s'", filename_);
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
          ReportWarning(-2277, "more than 1 column for variable '%s' in case file '%s'", node->name, filename_);
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
  const char* blockEnd = nullptr;
  while (columns_.empty() && NeedLine()) {
    const char* p = at_;
    while (p < lineEnd_) {
      if (blockEnd) {
        std::string_view rest(p, static_cast<std::size_t>(lineEnd_ - p));
        std::size_t close = rest.find(blockEnd);
        if (close == rest.npos) break;
        p += close + 2;
        blockEnd = nullptr;
        continue;
      }
      if (IsBlank(*p)) {
        if (*p == '\r' && !columns_.empty()) break;
        ++p;
        continue;
      }
      if (*p == '/' && p + 1 < lineEnd_ && (p[1] == '/' || p[1] == '*' || p[1] == '#')) {
        if (p[1] == '/') break;
        blockEnd = p[1] == '*' ? "*/" : "#/";
        p += 2;
        continue;
      }
      const char* start = p++;
      while (p < lineEnd_ && !IsBlank(*p) && *p != '/') ++p;
      AddColumn({start, static_cast<std::size_t>(p - start)}, net, mark);
    }
    at_ = std::min(lineEnd_ + 1, end_);
  }
  if (columns_.empty()) return Fail(-2117, "case file '%s' has no line of column names", filename_);
  return nullptr;
}

bool CaseReader::Seek(long position) {
  if (position < 0 || position > fileSize_ || std::fseek(file_, position, SEEK_SET) != 0) return false;
  bufferStart_ = position;
  at_ = end_ = lineEnd_ = buffer_.get();
  atEnd_ = false;
  return true;
}

long CaseReader::LineOf(long position) {
  std::FILE* file = std::fopen(filename_, "rb");
  if (!file) return 0;
  long line = 1;
  char block[4096];
  while (position > 0) {
    std::size_t want = static_cast<std::size_t>(std::min<long>(position, sizeof block));
    std::size_t got = std::fread(block, 1, want, file);
    if (got == 0) break;
    line += std::count(block, block + got, '\n');
    position -= static_cast<long>(got);
  }
  std::fclose(file);
  return line;
}

const char* CaseReader::Place(char* buffer, std::size_t size) {
  char caseText[40] = "";
  if (rowAtHand_ && rowAtHand_->hasId) std::snprintf(caseText, sizeof caseText, "in case %ld ", rowAtHand_->id);
  std::snprintf(buffer, size, "%son line %ld of file '%.200s'", caseText, LineOf(rowStart_), filename_);
  return buffer;
}

namespace {
inline constexpr std::size_t PLACE_LEN = 300;

bool IsMissingMark(const char* text, std::size_t length) {
  return length == 0 || text[0] == '@' || (length == 1 && text[0] == '*');
}

bool ParseReal(const char* text, std::size_t length, double* number) {
  const char* end = text + length;
  if (length > 1 && text[0] == '+' && text[1] != '-') ++text;
  auto [stop, error] = std::from_chars(text, end, *number);
  return error == std::errc() && stop == end && *number - *number == 0;
}

}  // namespace

Failure CaseReader::ReadEntry(const CaseColumn& column, const char* text, std::size_t length, CaseRow* row) {
  char place[PLACE_LEN];
  const int shown = static_cast<int>(std::min<std::size_t>(length, 40));
  if (column.kind == CaseColumn::Id) {
    auto [stop, error] = std::from_chars(text, text + length, row->id);
    row->hasId = error == std::errc() && stop == text + length;
    return row->hasId ? nullptr
                      : Fail(-2185, "Illegal number '%.*s' for IDnum %s", shown, text, Place(place, sizeof place));
  }
  if (column.kind == CaseColumn::Freq) {
    if (ParseReal(text, length, &row->freq) && row->freq >= 0) return nullptr;
    return Fail(-2083, "Illegal number '%.*s' for NumCases %s", shown, text, Place(place, sizeof place));
  }
  if (IsMissingMark(text, length)) return nullptr;
  node_bn node = column.node;
  statetype& state = row->states[static_cast<std::size_t>(column.wanted)];
  double& value = row->values[static_cast<std::size_t>(column.wanted)];
  const bool byNumber = text[0] == '#' && node->numstates > 0;
  const bool plainStates = node->discrete == DISCRETE && !node->levels;
  if (byNumber || plainStates || (node->states && IsAsciiLetter(static_cast<unsigned char>(text[0])))) {
    state = column.names.Find(text, length);
    if (state >= 0) return nullptr;
    state = UNDEF_STATE;
    if (byNumber || (plainStates && !node->states)) {
      statetype number = -1;
      const char* digits = byNumber ? text + 1 : text;
      auto [stop, error] = std::from_chars(digits, text + length, number);
      if (error == std::errc() && stop == text + length && number >= 0 && number < node->numstates) {
        state = number;
        return nullptr;
      }
    }
    if (statesSetting == DONT_ADD_NEW) return nullptr;
    return Fail(-2084, "Unknown value '%.*s' for '%s' %s", shown, text, node->name, Place(place, sizeof place));
  }
  double number;
  if (!ParseReal(text, length, &number))
    return Fail(-2085, "Illegal number '%.*s' for '%s' %s", shown, text, node->name, Place(place, sizeof place));
  if (node->discrete != DISCRETE) value = number;
  if (!node->levels) return nullptr;
  state = StateOfValue(*node, number, 1e-5);
  if (state >= 0) return nullptr;
  value = UNDEF_DBL;
  Post(Prefixed(Fail(-2086, "Value %g for '%s' is out of bounds %s", number, node->name, Place(place, sizeof place)),
                filename_));
  return nullptr;
}

CaseReader::Result CaseReader::Next(CaseRow* row) {
  std::fill(row->states.begin(), row->states.end(), UNDEF_STATE);
  std::fill(row->values.begin(), row->values.end(), UNDEF_DBL);
  row->hasId = false;
  row->id = -1;
  row->freq = -1;
  rowAtHand_ = row;
  auto blankOrComment = [this] {
    const char* p = at_;
    while (p < lineEnd_ && (*p == ' ' || *p == '\r')) ++p;
    return p == lineEnd_ || (lineEnd_ - p > 1 && p[0] == '/' && p[1] == '/');
  };
  do {
    if (!NeedLine()) return Result::End;
    if (!blankOrComment()) break;
    at_ = std::min(lineEnd_ + 1, end_);
  } while (true);

  rowStart_ = Position();
  char place[PLACE_LEN];
  const bool unterminated = lineEnd_ == end_ && atEnd_;
  const char* lineEnd = lineEnd_;
  while (lineEnd > at_ && lineEnd[-1] == '\r') --lineEnd;
  const char* p = at_;
  Failure failure;
  std::size_t count = 0;
  // An entry ends at white space; a tab after it leads to the next entry, which may be empty.
  for (bool more = true; more && !failure;) {
    while (p < lineEnd && *p == ' ') ++p;
    const char* start = p;
    while (p<lineEnd&& static_cast<unsigned char>(*p)> ' ') ++p;
    const std::size_t length = static_cast<std::size_t>(p - start);
    if (p == lineEnd && length == 0 && count == columns_.size()) break;  // a tab before the line end
    if (count == columns_.size()) {
      failure = Fail(-2087, "Too many entries %s", Place(place, sizeof place));
      break;
    }
    const CaseColumn& column = columns_[count++];
    if (column.kind == CaseColumn::Node || column.kind != CaseColumn::Skipped)
      failure = ReadEntry(column, start, length, row);
    while (p < lineEnd && *p == ' ') ++p;
    more = p < lineEnd;
    if (more && (*p == '\t' || static_cast<unsigned char>(*p) < ' ')) ++p;
  }
  at_ = std::min(lineEnd_ + 1, end_);
  if (!failure && count < columns_.size()) failure = Fail(-2088, "Too few entries %s", Place(place, sizeof place));
  if (failure) {
    Post(Prefixed(std::move(failure), filename_));
    return Result::Bad;
  }
  if (unterminated)
    ReportWarning(-2118, "the last entry may be cut off, because no new-line follows it %s",
                  Place(place, sizeof place));
  return Result::Row;
}

}  // namespace bravic

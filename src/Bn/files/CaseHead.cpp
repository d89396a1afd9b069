// The head of a case file: the indicator that tells its kind, and the line of the columns, which are matched with nodes
// once. Each keeps its kind and its state names, so that reading a row looks no name up in the net. A file without an
// indicator is one of separated values if its first line shows it; with one it is where commas or semicolons, and no
// tabs, stand among its columns.
#include "Bn/files/CaseHead.h"

#include <algorithm>
#include <cstring>

#include "Basic/Portable.h"
#include "Basic/Text.h"
#include "Bn/files/NetFormat.h"
#include "Bn/files/SeparatedCells.h"
#include "Bn/model/NodeNames.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/Texts.h"

namespace bravic {
namespace {

class HeadReader {
 public:
  HeadReader(CaseLines& lines, const HeadOptions& options, CaseHead* head)
      : lines_(lines), options_(options), head_(*head), columns_(head->columns) {}
  Failure ReadIndicator();
  Failure ReadColumnLine();

 private:
  Failure ReadColumnNames();
  Failure ReadSeparatedNames(const char* at);
  Failure AddColumn(std::string_view name);
  node_bn FindColumnNode(const char* name);
  Failure JudgeDoubled(std::string_view name, Failure warning);
  void NoteStranger(std::string_view name);
  bool IsDoubled(const bnode& node) const;
  Failure JudgeColumns() const;
  void Warn(Failure warning) const {
    if (options_.warns) Post(AboutCases(options_.filename, std::move(warning)));
  }

  CaseLines& lines_;
  const HeadOptions& options_;
  CaseHead& head_;
  Vector<CaseColumn>& columns_;
  struct Labelled {
    const char* label;
    node_bn node;
  };
  Vector<Labelled> labels_;  // of the net's nodes, sorted, once a column was looked for among them
  bool hasLabels_ = false;
  int mark_ = 0;              // of the wanted nodes
  int numStrangers_ = 0;      // columns that are no node's, and
  char strangers_[180] = "";  // their names, as far as there is room
};

// Tabs, and a single column, are a spreadsheet's where the file's name says so.
char SeparatorOfSheet(std::string_view line, const char* filename) {
  const char separator = FindSeparator(line, ",;\t");
  if (separator == ',' || separator == ';') return separator;
  const std::size_t length = std::strlen(filename);
  const char* const end = filename + std::max<std::size_t>(length, 4) - 4;
  const bool isSheet = length > 4 && (EqualTextNoCase(end, ".csv") || EqualTextNoCase(end, ".tsv"));
  if (!isSheet && line[0] != '"') return 0;
  return separator ? separator : ',';
}

// Of a line of columns in a file with an indicator, up to a comment.
char SeparatorOfCases(std::string_view line) {
  std::size_t end = std::string_view::npos;
  for (const char* opener : {"//", "/*", "/#"}) end = std::min(end, line.find(opener));
  line = line.substr(0, end);
  return line.find('\t') == line.npos ? FindSeparator(line, ",;") : 0;
}

// Digits are compared as text, so that a number of any length is the one told.
void JudgeVersion(std::string_view text) {
  std::string_view digits = text.substr(0, std::min(text.size(), text.find_first_not_of("0123456789")));
  digits.remove_prefix(std::min(digits.size(), digits.find_first_not_of('0')));
  if (digits == CASE_VERSION) return;
  const bool isOld = digits.empty();
  if (isOld) digits = "0";
  Report(OTHER_CASE_FILE_VERSION, isOld ? "old" : "new", ShownLength(digits.size()), digits.data());
}

}  // namespace

// At most three lines of at least three characters are looked at, as in every file of the library. Without an indicator
// the first line must be that of a spreadsheet.
Failure HeadReader::ReadIndicator() {
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
    if (type != CASE_TYPE) return Fail(NOT_A_CASE_FILE, CASE_TYPE, ShownLength(type.size()), type.data());
    if (options_.warns) JudgeVersion(dash == text.npos ? std::string_view() : text.substr(dash + 1));
    return nullptr;
  }
  if (lines_.HasTrouble()) return lines_.TakeTrouble();
  const auto isBlank = [](std::string_view line) { return line.find_first_not_of(" \r") == line.npos; };
  bool isThere = lines_.Rewind() && lines_.NeedLine();
  for (; isThere && isBlank(lines_.Line()); isThere = lines_.NeedLine()) lines_.Consume();
  if (isThere) head_.separator = SeparatorOfSheet(lines_.Line(), options_.filename);
  return head_.separator ? nullptr : Fail(NO_CASE_FILE_INDICATOR, CASE_TYPE);
}

// Lists the columns that no node of the net has, for one message; three points stand for those without room.
void HeadReader::NoteStranger(std::string_view name) {
  ++numStrangers_;
  const std::size_t used = std::strlen(strangers_);
  const int length = ShownLength(name.size());
  if (EndsWith(strangers_, "...")) return;
  const bool fits = used + length + sizeof ", , ..." <= sizeof strangers_;
  FormatText(strangers_ + used, sizeof strangers_ - used, "%s%.*s", used > 0 ? ", " : "", fits ? length : 3,
             fits ? name.data() : "...");
}

// Whether an earlier column is the node's.
bool HeadReader::IsDoubled(const bnode& node) const {
  return std::any_of(columns_.begin(), columns_.end(), [&](const CaseColumn& other) { return other.node == &node; });
}

// By its name, else the first that has it for a label. The labels are sorted once: a file may have ten thousand
// columns.
node_bn HeadReader::FindColumnNode(const char* name) {
  if (node_bn named = FindNode(options_.net, name)) return named;
  if (!hasLabels_) {
    hasLabels_ = true;
    for (node_bn node : OrderedNodes(options_.net)) {
      const char* label = FindText(node->texts, LABEL_KEY);
      if (*label) labels_.push_back({label, node});
    }
    std::stable_sort(labels_.begin(), labels_.end(),
                     [](const Labelled& a, const Labelled& b) { return std::strcmp(a.label, b.label) < 0; });
  }
  const auto at = std::lower_bound(labels_.begin(), labels_.end(), name, [](const Labelled& one, const char* text) {
    return std::strcmp(one.label, text) < 0;
  });
  return at != labels_.end() && EqualText(at->label, name) ? at->node : nullptr;
}

// Of two equal columns of the library's own form the first counts; nobody means to write such a spreadsheet.
Failure HeadReader::JudgeDoubled(std::string_view name, Failure warning) {
  if (head_.separator) return FailOfTwice(name, columns_.size() + 1, lines_.LineNumber(), options_.filename);
  Warn(std::move(warning));
  return nullptr;
}

Failure HeadReader::AddColumn(std::string_view name) {
  const ShownPath path(options_.filename);
  CaseColumn column;
  Failure failure;
  // The name stands within its line; it is looked up as a text of its own.
  char text[MAX_COLUMN_NAME + 1];
  const std::size_t length = std::min<std::size_t>(name.size(), MAX_COLUMN_NAME);
  std::memcpy(text, name.data(), length);
  text[length] = '\0';
  head_.hasOtherSeparators = head_.hasOtherSeparators || name.find_first_of(",;") != name.npos;
  if (name == ID_COLUMN) {
    if (head_.hasId) failure = JudgeDoubled(name, Fail(TWO_ID_COLUMNS, path.text));
    if (!head_.hasId) column.kind = CaseColumn::Id;
    head_.hasId = true;
  } else if (name == FREQ_COLUMN) {
    if (head_.hasFreq) failure = JudgeDoubled(name, Fail(TWO_FREQUENCY_COLUMNS, path.text));
    if (!head_.hasFreq) column.kind = CaseColumn::Freq;
    head_.hasFreq = true;
  } else if (options_.net) {
    column.node = FindColumnNode(text);
    // Columns that are nobody's, or that come a second time, keep their place in the rows and are skipped there.
    if (!column.node) {
      NoteStranger(name);
    } else if (IsDoubled(*column.node)) {
      failure = JudgeDoubled(name, Fail(TWO_COLUMNS_OF_NODE, column.node->name, path.text));
      column.node = nullptr;
    } else if (column.node->mark == mark_) {
      column.kind = CaseColumn::Node;
      column.wanted = column.node->scratch;
      column.byName = column.node->discrete == DISCRETE && !column.node->levels;
      column.names.Fill(*column.node);
    }
  }
  if (columns_.empty()) head_.line = lines_.LineNumber();
  if (options_.takesTexts) {
    if (column.kind == CaseColumn::Skipped) column.kind = CaseColumn::Text;
    head_.names.push_back(MakeBlock<char>(length + 1));
    std::memcpy(head_.names.back().get(), text, length + 1);
  }
  columns_.push_back(std::move(column));
  return failure;
}

// Columns without a name, which index columns and empty ones of spreadsheets are, are nobody's.
Failure HeadReader::ReadSeparatedNames(const char* at) {
  head_.hasOtherSeparators = true;
  CellCutter cutter;
  const char* end = lines_.End();
  while (end > at && end[-1] == '\r') --end;
  for (;; ++at) {
    EntryText name(at, 0);
    const CellCutter::Fault fault = cutter.Cut(&at, end, head_.separator, &name);
    if (fault != CellCutter::Fault::None)
      return FailOfQuote(fault, columns_.size() + 1, lines_.LineNumber(), options_.filename);
    if (Failure failure = AddColumn({name.text, name.length})) return failure;
    if (at == end) break;
  }
  lines_.Consume();
  return nullptr;
}

// Comments and empty lines may come before the columns, comments also between and after their names.
Failure HeadReader::ReadColumnNames() {
  if (head_.separator) return ReadSeparatedNames(lines_.Start());
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
        if (columns_.empty()) head_.separator = SeparatorOfCases({p, lineEnd});
        if (head_.separator) return ReadSeparatedNames(p);
        // A name ends at white space or where a comment begins.
        const char* start = p++;
        while (p < lineEnd && !IsAsciiSpace(*p) && !opensComment(p)) ++p;
        if (Failure failure = AddColumn({start, p})) return failure;
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
Failure HeadReader::JudgeColumns() const {
  const net_bn net = options_.net;
  if (columns_.empty()) return Fail(CASE_FILE_WITHOUT_COLUMNS, ShownPath(options_.filename).text);
  if (!net) return nullptr;
  const bool anyFits =
      std::any_of(columns_.begin(), columns_.end(), [](const CaseColumn& column) { return column.node != nullptr; });
  if (!anyFits)
    return Fail(NO_COLUMN_FITS, net->name, numStrangers_ > 0 ? strangers_ : "numbers and frequencies alone");
  if (numStrangers_ > 0) Warn(Fail(COLUMNS_SKIPPED, net->name, numStrangers_, strangers_));
  return nullptr;
}

Failure HeadReader::ReadColumnLine() {
  // The wanted nodes are known by the mark, their places in the list by the scratch field, which putting the net's
  // nodes in order would overwrite.
  if (options_.net) OrderedNodes(options_.net);
  mark_ = NewMark();
  for (int i = 0; i < Count(options_.wanted); ++i) {
    options_.wanted[i]->mark = mark_;
    options_.wanted[i]->scratch = i;
  }
  if (Failure failure = ReadColumnNames()) return failure;
  if (lines_.HasTrouble()) return lines_.TakeTrouble();
  head_.firstRow = lines_.Position();
  return JudgeColumns();
}

Failure FailOfQuote(CellCutter::Fault fault, int column, long line, const char* filename) {
  const ShownPath path(filename);
  return fault == CellCutter::Fault::OpenQuote ? Fail(OPEN_QUOTE_OF_CASE, line, column, path.text)
                                               : Fail(TEXT_AFTER_QUOTE_OF_CASE, line, column, path.text);
}

Failure FailOfTwice(std::string_view name, int column, long line, const char* filename) {
  return Fail(COLUMN_TWICE, ShownLength(name.size()), name.data(), column, line, ShownPath(filename).text);
}

int ShownLength(std::size_t length) {
  return static_cast<int>(std::min<std::size_t>(length, 40));
}

Failure AboutCases(const char* filename, Failure failure) {
  if (!failure) return failure;
  const char* reason = failure->mesg;
  return Rephrase(std::move(failure), AROUND_CASE_FILE, ShownPath(filename).text, reason);
}

Failure ReadCaseHead(CaseLines& lines, const HeadOptions& options, CaseHead* head) {
  HeadReader reader(lines, options, head);
  if (Failure failure = reader.ReadIndicator()) return failure;
  return reader.ReadColumnLine();
}

}  // namespace bravic

// Goes over the file once and keeps, of each column, the different entries in the order in which they first occur: what
// is kept grows with their number and not with the file. The net is made when all is known to be well.
#include "Bn/learn/NetOfCases.h"

#include <algorithm>
#include <cstring>

#include "Basic/Environ.h"
#include "Basic/Text.h"
#include "Bn/files/CaseReader.h"
#include "Bn/learn/LegalNames.h"
#include "Bn/model/Net.h"
#include "Bn/model/Texts.h"
#include "Bn/model/Undo.h"
#include "Win_Face/Interaction.h"

namespace bravic {
namespace {

// Different texts, numbered as they come, found by their bytes.
class TextSet {
 public:
  int Size() const { return starts_.size() - 1; }
  std::string_view Text(int i) const {
    return {texts_.data() + starts_[i], static_cast<std::size_t>(starts_[i + 1] - starts_[i])};
  }
  bool IsFullFor(std::string_view text) const { return texts_.size() + text.size() > MOST_BYTES; }
  bool Has(std::string_view text) const { return !slots_.empty() && slots_[SlotOf(text)] >= 0; }
  void Add(std::string_view text) {  // one that it does not have
    if (2 * (Size() + 1) > slots_.size()) Grow();
    slots_[SlotOf(text)] = Size();
    texts_.insert(texts_.end(), text.begin(), text.end());
    starts_.push_back(Count(texts_));
  }

 private:
  int SlotOf(std::string_view text) const {
    const unsigned mask = static_cast<unsigned>(slots_.size()) - 1;
    unsigned at = HashName(text) & mask;
    while (slots_[at] >= 0 && Text(slots_[at]) != text) at = (at + 1) & mask;
    return static_cast<int>(at);
  }
  void Grow() {
    const int size = slots_.empty() ? 8 : 2 * slots_.size();
    slots_.assign(size, -1);
    for (int i = 0; i < Size(); ++i) slots_[SlotOf(Text(i))] = i;
  }

  static constexpr std::size_t MOST_BYTES = std::size_t{1} << 28;
  Vector<char> texts_;
  Vector<int> starts_ = Vector<int>(1), slots_;
};

struct Column {
  bool isWanted = false, isNumber = false, hasEntries = false;
  TextSet states;
};

class NetMaker {
 public:
  NetMaker(const char* filename, const NetOfCases& how) : filename_(filename), how_(how) {}
  Failure Read();
  net_bn Make(const char* name) const;  // a new net

 private:
  Failure PlanColumns();
  Failure MarkNamed(std::span<const char* const> names, bool areNumbers);
  Failure Take(int column, const EntryText& entry);
  Failure JudgeColumns();
  bool IsNode(int i) const { return columns_[i].isWanted && columns_[i].hasEntries; }

  const char* filename_;
  const NetOfCases& how_;
  CaseReader reader_;
  Vector<Column> columns_;
};

Failure NetMaker::MarkNamed(std::span<const char* const> names, bool areNumbers) {
  for (const char* name : names) {
    bool isThere = false;
    for (int i = 0; i < columns_.size(); ++i) {
      if (std::strcmp(reader_.ColumnName(i), name) != 0) continue;
      isThere = true;
      if (areNumbers)
        columns_[i].isNumber = true;
      else
        columns_[i].isWanted = false;
    }
    if (!isThere) return Fail(NO_SUCH_COLUMN, ShownPath(filename_).text, name);
  }
  return nullptr;
}

Failure NetMaker::PlanColumns() {
  TextSet names;
  for (int i = 0; i < Count(reader_.Columns()); ++i) {
    const char* const name = reader_.ColumnName(i);
    const bool isText = reader_.Columns()[i].kind == CaseColumn::Text;
    columns_.emplace_back();
    columns_.back().isWanted = isText && *name;
    if (!isText || !*name) continue;
    if (names.Has(name)) return reader_.FailOfTwice(i);
    names.Add(name);
  }
  if (Failure failure = MarkNamed(how_.omitted, false)) return failure;
  return MarkNamed(how_.numbers, true);
}

Failure NetMaker::Take(int which, const EntryText& entry) {
  Column& column = columns_[which];
  if (!column.isWanted || IsMissingMark(entry)) return nullptr;
  column.hasEntries = true;
  char place[CaseReader::PLACE_LEN];
  double number;
  if (column.isNumber) {
    if (ParseReal(entry, &number)) return nullptr;
    return Fail(COLUMN_NOT_OF_NUMBERS, ShownLength(entry.length), entry.text, reader_.ColumnName(which),
                reader_.Place(place, sizeof place));
  }
  const std::string_view text(entry.text, entry.length);
  if (column.states.Has(text)) return nullptr;
  if (text.find('\0') != text.npos)
    return Fail(ZERO_IN_ENTRY, reader_.ColumnName(which), reader_.Place(place, sizeof place));
  if (column.states.Size() == how_.maxstates || column.states.IsFullFor(text))
    return Fail(TOO_MANY_STATES_OF_COLUMN, reader_.ColumnName(which), how_.maxstates,
                reader_.Place(place, sizeof place));
  column.states.Add(text);
  return nullptr;
}

Failure NetMaker::JudgeColumns() {
  const ShownPath path(filename_);
  int numNodes = 0, numWithout = 0, first = 0;
  for (int i = 0; i < columns_.size(); ++i) {
    if (IsNode(i)) {
      ++numNodes;
    } else if (columns_[i].isWanted || !*reader_.ColumnName(i)) {
      if (numWithout++ == 0) first = i + 1;
    }
  }
  if (numNodes == 0) return Fail(NO_COLUMN_LEFT, path.text);
  if (numWithout > 0) Report(COLUMNS_WITHOUT_NODE, numWithout, first, path.text);
  return nullptr;
}

Failure NetMaker::Read() {
  constexpr int ROWS_BETWEEN_LOOKS = 64;
  constexpr double ENTRY_WORK = 30;  // nanoseconds, about
  HeadOptions options;
  options.filename = filename_;
  options.takesTexts = true;
  if (Failure failure = reader_.Open(options)) return failure;
  if (Failure failure = PlanColumns()) return failure;
  const EntryTaker taker = {[](void* maker, int column, const EntryText& entry) {
                              return static_cast<NetMaker*>(maker)->Take(column, entry);
                            },
                            this};
  LongWork work("Reading columns", 0, Showing::Always);
  Failure failure;
  for (long numrows = 0;; ++numrows) {
    if (numrows % ROWS_BETWEEN_LOOKS == 0) {
      work.SetShare(reader_.ShareRead());
      if (work.Halts(ROWS_BETWEEN_LOOKS * ENTRY_WORK * columns_.size())) return FailHalted();
    }
    if (reader_.NextEntries(taker, &failure) == CaseReader::Result::Row) continue;
    if (failure) return failure;
    return numrows == 0 ? Fail(NO_ROWS, ShownPath(filename_).text) : JudgeColumns();
  }
}

// What nobody can have seen yet is filled in as it stands, and not by setters, which look for the one text of many.
void FillStates(node_bn node, const TextSet& states, const char* name, std::string_view label) {
  Vector<std::string_view> spellings;
  for (int i = 0; i < states.Size(); ++i) spellings.push_back(states.Text(i));
  const Vector<NameText> names = LegalNames(spellings, 's');
  int numTexts = label != name;
  for (int i = 0; i < names.size(); ++i) numTexts += spellings[i] != names[i].text;
  if (numTexts > 0) {
    node->texts = NewCleared<char*>(2 * static_cast<std::size_t>(numTexts));
    node->fields[NODE_USER] = FIELD_READ;
  }
  char** text = node->texts;
  const auto put = [&text](const char* key, std::string_view spelling) {
    *text++ = DupText(key);
    *text++ = DupText(spelling);
  };
  if (label != name) put(LABEL_KEY, label);
  if (names.empty()) return;
  node->states = NewCleared<char*>(names.size());
  for (int i = 0; i < names.size(); ++i) {
    node->states[i] = DupText(names[i].text);
    if (spellings[i] == names[i].text) continue;
    char key[32];
    FormatText(key, sizeof key, "%s%d", STATE_KEY, i);
    put(key, spellings[i]);
  }
}

net_bn NetMaker::Make(const char* name) const {
  Vector<std::string_view> labels;
  Vector<int> sources;  // the columns
  for (int i = 0; i < columns_.size(); ++i) {
    if (!IsNode(i)) continue;
    sources.push_back(i);
    labels.emplace_back(reader_.ColumnName(i));
  }
  const std::string_view reserved[] = {ID_COLUMN, FREQ_COLUMN};
  const Vector<NameText> names = LegalNames(labels, 'n', reserved);
  const net_bn net = NewNetRecord(name, currentEnviron);
  for (int i = 0; i < sources.size(); ++i) {
    const TextSet& states = columns_[sources[i]].states;
    FillStates(NewNode(names[i].text, states.Size(), net), states, names[i].text, labels[i]);
  }
  FreeUndo(net);  // making a net is no change of it
  return net;
}

}  // namespace

net_bn NewNetOfCases(filespec_ns file, const char* name, const NetOfCases& how) {
  NetMaker maker(file->name, how);
  if (Failure failure = maker.Read()) {
    Post(std::move(failure));
    return nullptr;
  }
  return maker.Make(name);
}

}  // namespace bravic

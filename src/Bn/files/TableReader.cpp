// Tables of nodes. A table is nested lists, one level per parent (the first outermost) and, in a probability table, a
// row over the node's own states innermost. Reading is a loop over elements with a counter per level, so that the
// nesting of a file costs no stack. Entries go straight into the node's table:
//
//   element   a row of a probability table, or an entry of another table, at whatever level it stands; it is copied
//             to all the rows below the configuration of the levels that are open
//   list      closed after one element, it stands for all states of its parent; else it must have them all
//   flat      a single list with an entry for every cell
//
// Rows of plain numbers take a short way (ReadPlainRow); everything else (comments between entries, escapes, number
// words, errors) goes the general way from the start of the row.

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "Basic/Format.h"
#include "Basic/Text.h"
#include "Bn/files/NetReader.h"
#include "Bn/model/Condition.h"
#include "Bn/model/Tables.h"

namespace bravic {
namespace {

enum class Form { Probs, Experience, Values, States };

constexpr double BEYOND_FLOATS = 3.4028235677973366e38;  // what is below it rounds to the largest float at most
constexpr std::size_t CELL = 4;                          // bytes of an entry of any table
static_assert(sizeof(float) == CELL && sizeof(statetype) == CELL);
constexpr long long MAX_CELLS = 2147483647;

struct Table {
  NetReader& reader;
  bnode& node;
  NodeField field;
  Form form;
  int numparents;
  int depth;                // levels of parentheses at the most
  int rowLength;            // entries of an element: numstates of probs, else 1
  long long rows;           // parent configurations
  char* cells;              // [rows x rowLength], being filled
  int* index;               // [level 1 .. numparents]: element at hand in the list of that level
  long long* strides;       // [level 1 .. numparents]: rows under one element of that list; [0] all rows
  int open = 0;             // levels open
  bool inRow = false;       // the innermost of them is a row
  long long row = 0;        // first row of the element at hand
  long long flatCell = -1;  // cell at hand of a table with a single level; -1 elsewhere
  bool flat = false;
  int closed = 0;  // parentheses closed since the last element
};

const char* FieldName(const Table& table) {
  return NODE_FIELD_NAMES[table.field];
}

char* Cell(Table& table, long long cell) {
  return table.cells + static_cast<std::size_t>(cell) * CELL;
}

// --- Messages

// The configuration of the element at hand; parents below the open levels show any value.
const char* Condition(Table& table, char* buffer, std::size_t size) {
  auto& states = table.reader.condition;
  const auto parents = Entries(table.node.preds);
  states.assign(parents.size() + 1, EVERY_STATE);
  if (table.flat) {
    long long rest = std::min(table.flatCell / table.rowLength, table.rows - 1);
    for (std::size_t i = parents.size(); i-- > 0; rest /= parents[i]->numstates) {
      states[i] = static_cast<statetype>(rest % parents[i]->numstates);
    }
  } else {
    const int lists = std::min(table.open - (table.inRow ? 1 : 0), table.numparents);
    for (int level = 1; level <= lists; level++) {
      const auto i = static_cast<std::size_t>(level) - 1;
      states[i] = std::min(table.index[level], parents[i]->numstates - 1);
    }
  }
  return ConditionText(table.node, states.data(), buffer, size);
}

constexpr std::size_t CONDITION_LEN = 200;

// "... statement for [condition] of node 'x', line 3": the end of most messages.
const char* Whereabouts(Table& table, char* buffer, std::size_t size) {
  char condition[CONDITION_LEN];
  FormatText(buffer, size, "`%s` statement for [%s] of %s '%s', line %ld", FieldName(table),
             Condition(table, condition, sizeof condition), format::NODE_WORD, table.node.name, LineNow(table.reader));
  return buffer;
}

const char* FlatPrefix(const Table& table) {
  return table.flat ? "FLAT " : "";
}

bool NotEnoughEntries(Table& table) {
  char where[MAX_ERR_LEN];
  ReadError(table.reader, -1049, "not enough entries in %s", Whereabouts(table, where, sizeof where));
  return false;
}

bool TooManyItems(Table& table) {
  char where[MAX_ERR_LEN];
  ReadError(table.reader, -1089, "too many items in list, or missing ')', within %s%s", FlatPrefix(table),
            Whereabouts(table, where, sizeof where));
  return false;
}

bool MissingComma(Table& table) {
  char where[MAX_ERR_LEN];
  ReadError(table.reader, -1050, "missing comma (,) in %s", Whereabouts(table, where, sizeof where));
  return false;
}

bool UnexpectedPunctuation(Table& table, int c) {
  char where[MAX_ERR_LEN];
  ReadError(table.reader, -1040, "unexpected punctuation '%c' in %s%s", c, FlatPrefix(table),
            Whereabouts(table, where, sizeof where));
  return false;
}

bool TooFewClosed(Table& table) {
  char where[MAX_ERR_LEN];
  ReadError(table.reader, -1048, "only %d close parenthesis (but should be %d) within %s%s", table.closed,
            table.closed + table.open, FlatPrefix(table), Whereabouts(table, where, sizeof where));
  return false;
}

bool TooManyOpen(Table& table, int opened, int allowed) {
  char where[MAX_ERR_LEN];
  ReadError(table.reader, -1039, "too many open parenthesis (are %d, but should be %d) within %s%s", opened, allowed,
            FlatPrefix(table), Whereabouts(table, where, sizeof where));
  return false;
}

bool TooManyClosed(Table& table) {
  char where[MAX_ERR_LEN];
  ReadError(table.reader, -1051, "too many close parenthesis (should be %d) within %s%s", table.closed,
            FlatPrefix(table), Whereabouts(table, where, sizeof where));
  return false;
}

bool BadEntry(Table& table, const char* reason) {
  char where[MAX_ERR_LEN];
  ReadError(table.reader, -1042, "%s in %s", reason, Whereabouts(table, where, sizeof where));
  return false;
}

bool EntryFault(Table& table, const ErrorRow& error, std::string_view word) {
  char condition[CONDITION_LEN], context[MAX_ERR_LEN];
  FormatText(context, sizeof context, " in `%s` statement for [%s] of %s '%s'", FieldName(table),
             Condition(table, condition, sizeof condition), format::NODE_WORD, table.node.name);
  table.reader.in.Report(error, word);
  ReportFault(table.reader, context);
  return false;
}

bool IsEnd(int c) {
  return c == END_OF_INPUT || c == ';' || c == '}';
}

// --- Entries

bool BeginsNoCase(std::string_view word, std::string_view prefix) {
  return word.size() >= prefix.size() && CompareTextNoCase(word.data(), prefix.data(), prefix.size()) == 0;
}

void StoreFloat(char* cell, float value) {
  std::memcpy(cell, &value, CELL);
}

void StoreState(char* cell, statetype state) {
  std::memcpy(cell, &state, CELL);
}

void StoreUndefined(const Table& table, char* cell) {
  if (table.form == Form::States) return StoreState(cell, UNDEF_STATE);
  StoreFloat(cell, table.form == Form::Experience ? NO_EXPERIENCE : UNDEF_PROB);
}

void StoreImpossible(const Table& table, char* cell) {
  if (table.form == Form::States) return StoreState(cell, IMPOS_STATE);
  StoreFloat(cell, table.form == Form::Experience ? NO_EXPERIENCE : IMPOS_PROB);
}

bool UnknownWord(Table& table, int number, const char* what, std::string_view word) {
  char where[MAX_ERR_LEN];
  ReadError(table.reader, number, "unknown %s name '%.*s' in %s", what,
            static_cast<int>(std::min<std::size_t>(word.size(), MAX_ERROR_WORD)), word.data(),
            Whereabouts(table, where, sizeof where));
  return false;
}

bool ReadEscape(Table& table, char* cell) {
  std::string_view word = table.reader.in.ReadWord(format::PUNCTUATION, format::MAX_WORD_LEN, nullptr);
  word.remove_prefix(1);
  if (BeginsNoCase(word, "undef")) return StoreUndefined(table, cell), true;
  if (BeginsNoCase(word, "imposs")) return StoreImpossible(table, cell), true;
  return UnknownWord(table, -1087, "escape", word);
}

bool ReadStateEntry(Table& table, char* cell) {
  const std::string_view word = table.reader.in.ReadWord(format::PUNCTUATION, format::MAX_WORD_LEN, nullptr);
  const statetype state = StateOfWord(table.reader, table.node, word);
  if (state == UNDEF_STATE) return UnknownWord(table, -1088, "state", word);
  return StoreState(cell, state), true;
}

// The float nearest to the decimal text itself, not to its double.
float NearestFloat(std::string_view text, double value) {
  float nearest;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), nearest);
  return result.ec == std::errc() && result.ptr == text.data() + text.size() ? nearest : static_cast<float>(value);
}

bool ReadNumberEntry(Table& table, char* cell) {
  const std::string_view text = table.reader.in.ReadNumberText(format::PUNCTUATION);
  double value;
  if (!ParseReal(text, &value) || value == ANY_DBL) return EntryFault(table, ILLEGAL_NUMBER, text);
  if (value == UNDEF_DBL) return StoreUndefined(table, cell), true;
  if (value == IMPOS_DBL) return StoreImpossible(table, cell), true;
  if (value == INF_DBL || value == -INF_DBL) {
    StoreFloat(cell, value > 0 ? HUGE_VALF : -HUGE_VALF);
  } else if (std::abs(value) >= BEYOND_FLOATS) {
    return EntryFault(table, ILLEGAL_NUMBER, text);
  } else {
    StoreFloat(cell, NearestFloat(text, value));
  }
  if (table.form == Form::Experience && value < 0) return BadEntry(table, "negative experience");
  return true;
}

// One entry; the channel may stand before anything.
bool ReadEntry(Table& table, char* cell) {
  const int c = table.reader.in.Peek();
  if (c == ')' || IsEnd(c)) return NotEnoughEntries(table);
  if (IsPunctuation(c)) return UnexpectedPunctuation(table, c);
  if (c == '@') return ReadEscape(table, cell);
  return table.form == Form::States ? ReadStateEntry(table, cell) : ReadNumberEntry(table, cell);
}

// --- Rows of probabilities

constexpr float POWERS_OF_TEN[] = {1e0f, 1e1f, 1e2f, 1e3f, 1e4f, 1e5f, 1e6f, 1e7f, 1e8f, 1e9f, 1e10f};
constexpr unsigned EXACT_LIMIT = 1u << 24;  // integers up to here are floats

bool IsBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// A number that begins with a digit or a point; NULL for anything else. Up to seven digits the quotient of two exact
// floats is the nearest float.
const char* ReadPlainNumber(const char* at, const char* end, float* value) {
  const char* start = at;
  unsigned digits = 0;
  int decimals = 0;
  while (at < end && IsDigit(*at) && digits < EXACT_LIMIT / 10)
    digits = 10 * digits + static_cast<unsigned>(*at++ - '0');
  if (at < end && *at == '.') {
    at++;
    while (at < end && IsDigit(*at) && decimals < 10 && digits < EXACT_LIMIT / 10) {
      digits = 10 * digits + static_cast<unsigned>(*at++ - '0');
      decimals++;
    }
  }
  if (at < end && at > start && (*at == ',' || *at == ')' || IsBlank(*at)) && (decimals > 0 || IsDigit(*start))) {
    *value = static_cast<float>(digits) / POWERS_OF_TEN[decimals];
    return at;
  }
  if (start == end || !(IsDigit(*start) || *start == '.')) return nullptr;
  const auto result = std::from_chars(start, end, *value);
  return result.ec == std::errc() ? result.ptr : nullptr;
}

const char* SkipBlanks(const char* at, const char* end) {
  while (at < end && IsBlank(*at)) at++;
  return at;
}

// A row of plain numbers behind its "(", up to its ")"; NULL when it is anything else.
const char* ReadPlainRow(const char* at, const char* end, char* cells, int length) {
  for (int i = 0; i < length; i++) {
    float value;
    at = ReadPlainNumber(SkipBlanks(at, end), end, &value);
    if (!at) return nullptr;
    StoreFloat(cells + static_cast<std::size_t>(i) * CELL, value);
    at = SkipBlanks(at, end);
    if (at == end || *at != (i + 1 < length ? ',' : ')')) return nullptr;
    if (i + 1 < length) at++;
  }
  return at;
}

bool CheckRow(Table& table, const char* cells) {
  const auto* probs = reinterpret_cast<const float*>(cells);
  const unsigned flags = ValidateVector({probs, static_cast<std::size_t>(table.rowLength)}) & VECTOR_FAULTS;
  if (!flags) return true;
  char reason[320];
  return BadEntry(table, VectorFaultText(flags, false, reason));
}

// A row behind its "(", up to its ")".
bool ReadRow(Table& table, char* cells) {
  InputChannel& in = table.reader.in;
  if (const char* after = ReadPlainRow(in.Cursor(), in.End(), cells, table.rowLength)) {
    in.MoveTo(after);
    return CheckRow(table, cells);
  }
  for (int i = 0; i < table.rowLength; i++) {
    if (!ReadEntry(table, cells + static_cast<std::size_t>(i) * CELL)) return false;
    const int c = in.Peek();
    if (i + 1 == table.rowLength) break;
    if (c == ')' || IsEnd(c)) return NotEnoughEntries(table);
    if (c != ',') return IsPunctuation(c) ? UnexpectedPunctuation(table, c) : MissingComma(table);
    in.Next();
  }
  const int c = in.Peek();
  if (c == ',' || c == '(') return TooManyItems(table);
  if (c != ')' && IsPunctuation(c) && !IsEnd(c)) return UnexpectedPunctuation(table, c);
  if (c != ')' && !IsEnd(c)) return MissingComma(table);
  return CheckRow(table, cells);
}

// --- Nesting

// The first length bytes of a block repeated to fill it.
void Repeat(char* block, std::size_t length, std::size_t total) {
  for (std::size_t filled = length; filled < total;) {
    const std::size_t n = std::min(filled, total - filled);
    std::memcpy(block + filled, block, n);
    filled += n;
  }
}

std::size_t RowBytes(const Table& table, long long rows) {
  return static_cast<std::size_t>(rows) * static_cast<std::size_t>(table.rowLength) * CELL;
}

// The element at hand, one row, copied to all the rows below the lists that are open.
void SpreadElement(Table& table, int lists) {
  Repeat(Cell(table, table.row * table.rowLength), RowBytes(table, 1), RowBytes(table, table.strides[lists]));
}

int CountOpen(Table& table) {
  int opened = 0;
  while (table.reader.in.Peek() == '(') {
    table.reader.in.Next();
    opened++;
  }
  return opened;
}

// Reads the element that begins here. On success every list that is left open waits for a "," or ")".
bool ReadElement(Table& table) {
  InputChannel& in = table.reader.in;
  const int allowed = table.depth - table.open;
  const int opened = CountOpen(table);
  if (opened > allowed) return TooManyOpen(table, opened, allowed);
  for (int level = table.open + 1; level <= table.open + opened; level++) {
    if (level <= table.numparents) table.index[level] = 0;
  }
  table.open += opened;
  table.inRow = table.form == Form::Probs && opened > 0;
  table.closed = 0;
  const int c = in.Peek();
  if (c == ')' || IsEnd(c)) return NotEnoughEntries(table);
  char* cells = Cell(table, table.row * table.rowLength);
  if (table.form != Form::Probs) {
    if (!ReadEntry(table, cells)) return false;
    SpreadElement(table, table.open);
    return true;
  }
  if (opened == 0) return IsPunctuation(c) ? UnexpectedPunctuation(table, c) : EntryFault(table, MISSING_OPEN, {});
  if (!ReadRow(table, cells)) return false;
  if (in.Peek() != ')') return TooFewClosed(table);
  in.Next();
  table.inRow = false;
  table.closed = 1;
  table.open--;
  SpreadElement(table, table.open);
  return true;
}

// Closes the innermost list, whose ")" has been read.
bool CloseList(Table& table) {
  const int level = table.open, last = table.index[level];
  const int length = table.node.preds.ar[level - 1]->numstates;
  const long long stride = table.strides[level];
  if (last + 1 < length) {
    if (last > 0) {
      if (level > 1) return TooManyClosed(table);
      table.index[level]++;
      return NotEnoughEntries(table);
    }
    Repeat(Cell(table, table.row * table.rowLength), RowBytes(table, stride),
           RowBytes(table, stride) * static_cast<std::size_t>(length));
  }
  table.row -= last * stride;
  table.open--;
  table.closed++;
  return true;
}

// Reads what follows an element up to where the next one begins; *more is false when the table is whole.
bool FinishElement(Table& table, bool* more) {
  InputChannel& in = table.reader.in;
  *more = true;
  while (table.open > 0) {
    const int c = in.Peek();
    if (IsEnd(c)) return TooFewClosed(table);
    if (c != ',' && c != ')')
      return c == '(' || !IsPunctuation(c) ? MissingComma(table) : UnexpectedPunctuation(table, c);
    in.Next();
    if (c == ',') {
      const int level = table.open;
      if (table.index[level] + 1 >= table.node.preds.ar[level - 1]->numstates) return TooManyItems(table);
      table.index[level]++;
      table.row += table.strides[level];
      return true;
    }
    if (!CloseList(table)) return false;
  }
  *more = false;
  return true;
}

constexpr long long BETWEEN_LOOKS = 16384;  // entries

bool ReadNested(Table& table) {
  long long sinceLook = 0;
  for (bool more = true; more;) {
    if ((sinceLook += table.rowLength) > BETWEEN_LOOKS) {
      sinceLook = 0;
      if (IsHalted(table.reader)) return false;
    }
    if (!ReadElement(table) || !FinishElement(table, &more)) return false;
  }
  return true;
}

// --- A single level

// Entries of a list over the first parent moved to the first rows of their states, from the last backwards.
void SpreadOverFirstParent(Table& table, int count) {
  const long long stride = table.strides[1];
  for (long long i = count - 1; i >= 0; i--) {
    std::memmove(Cell(table, i * stride), Cell(table, i), CELL);
    Repeat(Cell(table, i * stride), CELL, RowBytes(table, stride));
  }
}

// Behind the only "(" of a table that could have more: a row or a list over the first parent, which stand for all
// configurations below them, or the whole table flat.
bool ReadSingleLevel(Table& table) {
  InputChannel& in = table.reader.in;
  const long long total = table.rows * table.rowLength;
  const bool probs = table.form == Form::Probs;
  const int shortLength = probs ? table.rowLength : table.node.preds.ar[0]->numstates;
  table.open = 1;
  table.inRow = probs;
  for (long long count = 0;; count++) {
    table.flatCell = count;
    table.flat = count >= shortLength;
    if (!probs && !table.flat) table.index[1] = static_cast<int>(count);
    if (!probs && !table.flat && count > 0 && in.Peek() == '(') {
      // A list over the first parent after all, some of whose elements go deeper.
      SpreadOverFirstParent(table, static_cast<int>(count));
      table.row = count * table.strides[1];
      table.flatCell = -1;
      return ReadNested(table);
    }
    if (count == total) return TooManyItems(table);
    if (count % BETWEEN_LOOKS == BETWEEN_LOOKS - 1 && IsHalted(table.reader)) return false;
    if (!ReadEntry(table, Cell(table, count))) return false;
    if (probs && (count + 1) % table.rowLength == 0 && !CheckRow(table, Cell(table, count + 1 - table.rowLength))) {
      return false;
    }
    const int c = in.Peek();
    if (c == ',') {
      in.Next();
      continue;
    }
    if (IsEnd(c)) return count + 1 == total || count + 1 == shortLength ? TooFewClosed(table) : NotEnoughEntries(table);
    if (c != ')') return IsPunctuation(c) ? UnexpectedPunctuation(table, c) : MissingComma(table);
    in.Next();
    table.open = 0;
    const long long read = count + 1;
    if (read == total) return true;
    if (probs ? read == shortLength : read == 1) {
      SpreadElement(table, 0);
      return true;
    }
    if (!probs && read == shortLength) {
      SpreadOverFirstParent(table, shortLength);
      return true;
    }
    table.open = 1;
    table.flatCell = read;
    return NotEnoughEntries(table);
  }
}

// --- The table as a whole

// A table of one entry takes it with or without parentheses.
bool ReadSingleEntry(Table& table) {
  InputChannel& in = table.reader.in;
  const int opened = CountOpen(table);
  if (opened > 1) return TooManyOpen(table, opened, 1);
  if (!ReadEntry(table, table.cells)) return false;
  if (!opened) return true;
  table.open = 1;
  const int c = in.Peek();
  if (c == ',') return TooManyItems(table);
  if (IsEnd(c)) return TooFewClosed(table);
  if (c != ')') return IsPunctuation(c) ? UnexpectedPunctuation(table, c) : MissingComma(table);
  in.Next();
  table.open = 0;
  return true;
}

bool ReadCells(Table& table) {
  InputChannel& in = table.reader.in;
  if (table.depth == 0) return ReadSingleEntry(table);
  const int c = in.Peek();
  if (c != '(') {
    if (IsPunctuation(c)) return IsEnd(c) ? NotEnoughEntries(table) : UnexpectedPunctuation(table, c);
    if (table.form == Form::Probs) return EntryFault(table, MISSING_OPEN, {});
    if (!ReadEntry(table, table.cells)) return false;
    SpreadElement(table, 0);
    return true;
  }
  if (table.depth > 1) {
    const char* start = in.Cursor();
    in.Next();
    if (in.Peek() != '(') return ReadSingleLevel(table);
    in.MoveTo(start);
  }
  return ReadNested(table);
}

bool ReadWhole(Table& table) {
  if (!ReadCells(table)) return false;
  const int c = table.reader.in.Peek();
  if (!IsPunctuation(c) || IsEnd(c)) return true;  // what else there may be is another statement
  if (c == ',' && table.closed > 1) {
    table.closed--;
    return TooManyClosed(table);
  }
  if (c != ')') return UnexpectedPunctuation(table, c);
  ReadError(table.reader, -1052, "extra close parenthesis at end of %s`%s` statement for %s '%s', line %ld",
            FlatPrefix(table), FieldName(table), format::NODE_WORD, table.node.name, LineNow(table.reader));
  return false;
}

bool CheckVariables(NetReader& reader, const bnode& node, NodeField field) {
  const char* name = NODE_FIELD_NAMES[field];
  if (field != NODE_FUNCTABLE && !IsDiscretized(node) && node.discrete == CONTINUOUS) {
    ReadError(reader, -1092,
              "%s '%s' has a `%s` statement, but it shouldn't because it is not a discrete or discretized variable, "
              "line %ld",
              format::NODE_WORD, node.name, name, LineNow(reader));
    return false;
  }
  for (const bnode* parent : Entries(node.preds)) {
    if (IsDiscretized(*parent)) continue;
    ReadError(
        reader, -1091,
        "%s '%s' has a `%s` statement, but it shouldn't because it has a parent ('%s') which is not a discrete or "
        "discretized variable, line %ld",
        format::NODE_WORD, node.name, name, parent->name, LineNow(reader));
    return false;
  }
  const bool needsStates = field != NODE_FUNCTABLE || node.discrete == DISCRETE;
  if (needsStates && node.numstates <= 0) {
    ReadError(reader, -1074, "can't read `%s` statement, because there is no `%s` statement in %s '%s', line %ld", name,
              NODE_FIELD_NAMES[NODE_STATES], format::NODE_WORD, node.name, LineNow(reader));
    return false;
  }
  return true;
}

Form FormOf(const bnode& node, NodeField field) {
  if (field == NODE_PROBS) return Form::Probs;
  if (field == NODE_NUMCASES) return Form::Experience;
  return node.discrete == DISCRETE ? Form::States : Form::Values;
}

void Install(bnode& node, Form form, char* cells) {
  switch (form) {
    case Form::Probs:
      node.probs = reinterpret_cast<float*>(cells);
      node.probsokay = -1;
      break;
    case Form::Experience:
      node.numcases = reinterpret_cast<float*>(cells);
      break;
    case Form::Values:
      node.determinv = reinterpret_cast<float*>(cells);
      break;
    case Form::States:
      node.determin = reinterpret_cast<statetype*>(cells);
      break;
  }
}

// Space for the whole table; empty with the shortage reported.
Block<char> MakeCells(NetReader& reader, const bnode& node, long long rows, int rowLength) {
  const bool countable = rows > 0 && rows <= MAX_CELLS / rowLength;
  const double nbytes = (rows > 0 ? static_cast<double>(rows) : 0) * rowLength * CELL;
  Block<char> cells;
  if (countable)
    cells = TryMakeBlock<char>(static_cast<std::size_t>(rows) * static_cast<std::size_t>(rowLength) * CELL);
  if (!cells) {
    char purpose[120];
    FormatText(purpose, sizeof purpose, "to read table of node '%s'", node.name);
    ReadMemoryError(reader, FailMemory(-1094, nbytes, purpose));
  }
  return cells;
}

}  // namespace

statetype StateOfWord(const NetReader& reader, const bnode& node, std::string_view word) {
  if (!word.empty() && word[0] == '#') {
    long long number;
    if (word.size() < 2 || !ParseInteger(word.substr(1), reader.in.base, &number)) return UNDEF_STATE;
    return number >= 0 && number < node.numstates ? static_cast<statetype>(number) : UNDEF_STATE;
  }
  for (int i = 0; node.states && !word.empty() && i < node.numstates; i++) {
    if (node.states[i] && word.substr(0, MAX_NAME_LEN) == node.states[i]) return i;
  }
  return UNDEF_STATE;
}

bool FitsTable(const bnode& node, NodeField field) {
  const bool ofValues = field == NODE_FUNCTABLE && node.discrete != DISCRETE;
  return (ofValues || IsDiscretized(node)) &&
         std::all_of(node.preds.begin(), node.preds.end(), [](const bnode* parent) { return IsDiscretized(*parent); });
}

bool ReadTable(NetReader& reader, node_bn node, NodeField field) {
  if (!CheckVariables(reader, *node, field)) return false;
  const Form form = FormOf(*node, field);
  const int rowLength = form == Form::Probs ? node->numstates : 1;
  const long long rows = NumRows(*node);
  Block<char> cells = MakeCells(reader, *node, rows, rowLength);
  if (!cells) return false;
  const int numparents = node->preds.num;
  reader.indices.assign(static_cast<std::size_t>(numparents) + 1, 0);
  reader.strides.assign(static_cast<std::size_t>(numparents) + 1, 1);
  for (int level = numparents; level > 0; level--) {
    const auto at = static_cast<std::size_t>(level);
    reader.strides[at - 1] = reader.strides[at] * node->preds.ar[level - 1]->numstates;
  }
  Table table{reader,
              *node,
              field,
              form,
              numparents,
              numparents + (form == Form::Probs),
              rowLength,
              rows,
              cells.get(),
              reader.indices.data(),
              reader.strides.data()};
  if (!ReadWhole(table)) return false;
  Install(*node, form, cells.release());
  return true;
}

}  // namespace bravic

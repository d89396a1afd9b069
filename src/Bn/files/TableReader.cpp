#include "Bn/files/TableReader.h"

#include <algorithm>
#include <cstring>

#include "Basic/Format.h"
#include "Bn/files/NetValues.h"
#include "Bn/files/TableEntries.h"
#include "Bn/model/Tables.h"

namespace bravic {
namespace {

constexpr long long MAX_CELLS = 2147483647;

// --- Nesting

// The first length bytes of a block repeated to fill it.
void Repeat(char* block, std::size_t length, std::size_t total) {
  for (std::size_t filled = length; filled < total;) {
    const std::size_t n = std::min(filled, total - filled);
    std::memcpy(block + filled, block, n);
    filled += n;
  }
}

std::size_t RowBytes(const OpenTable& table, long long rows) {
  return static_cast<std::size_t>(rows) * table.rowLength * CELL;
}

// The element at hand, one row, copied to all the rows below the lists that are open.
void SpreadElement(OpenTable& table, int lists) {
  Repeat(Cell(table, table.row * table.rowLength), RowBytes(table, 1), RowBytes(table, table.strides[lists]));
}

int CountOpen(OpenTable& table) {
  int opened = 0;
  while (table.reader.in.Peek() == '(') {
    table.reader.in.Next();
    ++opened;
  }
  return opened;
}

// Reads the element that begins here. On success every list that is left open waits for a "," or ")".
bool ReadElement(OpenTable& table) {
  InputChannel& in = table.reader.in;
  // Every parenthesis that opens here opens one more level, at its first state.
  const int allowed = table.depth - table.open;
  const int opened = CountOpen(table);
  if (opened > allowed) return TooManyOpen(table, opened, allowed);
  for (int level = table.open + 1; level <= table.open + opened; ++level) {
    if (level <= table.numparents) table.index[level] = 0;
  }
  table.open += opened;
  table.inRow = table.form == TableForm::Probs && opened > 0;
  table.closed = 0;
  const int c = in.Peek();
  if (c == ')' || IsEnd(c)) return NotEnoughEntries(table);
  char* cells = Cell(table, table.row * table.rowLength);
  // The entry or row is read to where its first copy belongs, then copied to all the configurations it stands for.
  if (table.form != TableForm::Probs) {
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
  --table.open;
  SpreadElement(table, table.open);
  return true;
}

// Closes the innermost list, whose ")" has been read.
bool CloseList(OpenTable& table) {
  const int level = table.open, last = table.index[level];
  const int length = table.node.preds.ar[level - 1]->numstates;
  const long long stride = table.strides[level];
  // A list that is not full stands for all states of its parent if it has a single element; else it is too short.
  if (last + 1 < length) {
    if (last > 0) {
      if (level > 1) return TooManyClosed(table);
      table.index[level]++;
      return NotEnoughEntries(table);
    }
    Repeat(Cell(table, table.row * table.rowLength), RowBytes(table, stride), RowBytes(table, stride) * length);
  }
  table.row -= last * stride;
  --table.open;
  ++table.closed;
  return true;
}

// Reads what follows an element up to where the next one begins; *more is false when the table is whole.
bool FinishElement(OpenTable& table, bool* more) {
  InputChannel& in = table.reader.in;
  *more = true;
  while (table.open > 0) {
    const int c = in.Peek();
    if (IsEnd(c)) return TooFewClosed(table);
    if (c != ',' && c != ')')
      return c == '(' || !IsPunctuation(c) ? MissingComma(table) : UnexpectedPunctuation(table, c);
    in.Next();
    // A comma leads to the next state of the innermost parent that is open, a parenthesis one level out.
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

constexpr long long BETWEEN_LOOKS = 16384;  // entries read between two looks whether reading is to be halted

bool ReadNested(OpenTable& table) {
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
void SpreadOverFirstParent(OpenTable& table, int count) {
  const long long stride = table.strides[1];
  for (long long i = count - 1; i >= 0; --i) {
    std::memmove(Cell(table, i * stride), Cell(table, i), CELL);
    Repeat(Cell(table, i * stride), CELL, RowBytes(table, stride));
  }
}

// Behind the only "(" of a table that could have more: a row or a list over the first parent, which stand for all
// configurations below them, or the whole table flat.
bool ReadSingleLevel(OpenTable& table) {
  InputChannel& in = table.reader.in;
  const long long total = table.rows * table.rowLength;
  const bool probs = table.form == TableForm::Probs;
  const int shortLength = probs ? table.rowLength : table.node.preds.ar[0]->numstates;
  table.open = 1;
  table.inRow = probs;
  // Which of the three it is shows only at its end. Entries go to the cells that they have in a flat table, and are
  // moved from there when the list turns out to be short.
  for (long long count = 0;; ++count) {
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
    // The list is closed: flat and full, a single element for all configurations, or one element per state.
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
bool ReadSingleEntry(OpenTable& table) {
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

bool ReadCells(OpenTable& table) {
  InputChannel& in = table.reader.in;
  if (table.depth == 0) return ReadSingleEntry(table);
  const int c = in.Peek();
  if (c != '(') {
    if (IsPunctuation(c)) return IsEnd(c) ? NotEnoughEntries(table) : UnexpectedPunctuation(table, c);
    if (table.form == TableForm::Probs) return EntryFault(table, MISSING_OPEN, {});
    if (!ReadEntry(table, table.cells)) return false;
    SpreadElement(table, 0);
    return true;
  }
  // A table that could have more levels but opens only one is told by what follows its parenthesis.
  if (table.depth > 1) {
    const char* start = in.Cursor();
    in.Next();
    if (in.Peek() != '(') return ReadSingleLevel(table);
    in.MoveTo(start);
  }
  return ReadNested(table);
}

bool ReadWhole(OpenTable& table) {
  if (!ReadCells(table)) return false;
  const int c = table.reader.in.Peek();
  if (!IsPunctuation(c) || IsEnd(c)) return true;  // what else there may be is another statement
  if (c == ',' && table.closed > 1) {
    --table.closed;
    return TooManyClosed(table);
  }
  if (c != ')') return UnexpectedPunctuation(table, c);
  ReadError(table.reader, EXTRA_CLOSE_AFTER_TABLE, FlatPrefix(table), FieldName(table.field), format::NODE_WORD,
            table.node.name, LineNow(table.reader));
  return false;
}

bool CheckVariables(NetReader& reader, const bnode& node, NodeField field) {
  const char* name = FieldName(field);
  if (field != NODE_FUNCTABLE && !IsDiscretized(node) && node.discrete == CONTINUOUS) {
    ReadError(reader, TABLE_OF_STATELESS_NODE, format::NODE_WORD, node.name, name, LineNow(reader));
    return false;
  }
  for (const bnode* parent : Entries(node.preds)) {
    if (IsDiscretized(*parent)) continue;
    ReadError(reader, TABLE_WITH_STATELESS_PARENT, format::NODE_WORD, node.name, name, parent->name, LineNow(reader));
    return false;
  }
  const bool needsStates = field != NODE_FUNCTABLE || node.discrete == DISCRETE;
  if (needsStates && node.numstates <= 0) {
    ReadError(reader, NO_STATEMENT_TO_READ_BY, name, FieldName(NODE_STATES), format::NODE_WORD, node.name,
              LineNow(reader));
    return false;
  }
  return true;
}

TableForm FormOf(const bnode& node, NodeField field) {
  if (field == NODE_PROBS) return TableForm::Probs;
  if (field == NODE_NUMCASES) return TableForm::Experience;
  return node.discrete == DISCRETE ? TableForm::States : TableForm::Values;
}

void Install(bnode& node, TableForm form, char* cells) {
  switch (form) {
    case TableForm::Probs:
      node.probs = reinterpret_cast<float*>(cells);
      node.probsokay = -1;
      break;
    case TableForm::Experience:
      node.numcases = reinterpret_cast<float*>(cells);
      break;
    case TableForm::Values:
      node.determinv = reinterpret_cast<float*>(cells);
      break;
    case TableForm::States:
      node.determin = reinterpret_cast<statetype*>(cells);
      break;
  }
}

// Space for the whole table; empty with the shortage reported.
Block<char> MakeCells(NetReader& reader, const bnode& node, long long rows, int rowLength) {
  const bool countable = rows > 0 && rows <= MAX_CELLS / rowLength;
  const double nbytes = (rows > 0 ? static_cast<double>(rows) : 0) * rowLength * CELL;
  Block<char> cells;
  if (countable) cells = TryMakeBlock<char>(static_cast<std::size_t>(rows) * rowLength * CELL);
  if (!cells) {
    ReadMemoryError(reader, FailMemory(NO_MEMORY_TO_READ_TABLE, nbytes, node.name));
  }
  return cells;
}

}  // namespace

bool FitsTable(const bnode& node, NodeField field) {
  const bool ofValues = field == NODE_FUNCTABLE && node.discrete != DISCRETE;
  return (ofValues || IsDiscretized(node)) &&
         std::all_of(node.preds.begin(), node.preds.end(), [](const bnode* parent) { return IsDiscretized(*parent); });
}

bool ReadTable(NetReader& reader, node_bn node, NodeField field) {
  if (!CheckVariables(reader, *node, field)) return false;
  const TableForm form = FormOf(*node, field);
  const int rowLength = form == TableForm::Probs ? node->numstates : 1;
  const long long rows = NumRows(*node);
  Block<char> cells = MakeCells(reader, *node, rows, rowLength);
  if (!cells) return false;
  const int numparents = node->preds.num;
  reader.indices.assign(numparents + 1, 0);
  reader.strides.assign(numparents + 1, 1);
  for (int level = numparents; level > 0; --level) {
    reader.strides[level - 1] = reader.strides[level] * node->preds.ar[level - 1]->numstates;
  }
  OpenTable table{reader,
                  *node,
                  field,
                  form,
                  numparents,
                  numparents + (form == TableForm::Probs),
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

// A table while it is read: what it is to be, where the reader stands in it, and the messages about it.
#pragma once

#include "Bn/files/NetReader.h"

namespace bravic {

// Probabilities, experience, and functions of real values or of states.
enum class TableForm { Probs, Experience, Values, States };

inline constexpr int CELL = 4;  // bytes of an entry of any table
static_assert(sizeof(float) == CELL && sizeof(statetype) == CELL);

struct OpenTable {
  NetReader& reader;
  bnode& node;
  NodeField field;
  TableForm form;
  int numparents;
  int depth;                // levels of parentheses at the most
  int rowLength;            // entries of an element: numstates of probs, else 1
  long long rows;           // parent configurations
  char* cells;              // [rows x rowLength] entries of CELL bytes, being filled
  int* index;               // [level 1 .. numparents]: element at hand in the list of that level
  long long* strides;       // [level 1 .. numparents]: rows under one element of that list; [0] all rows
  int open = 0;             // levels open
  bool inRow = false;       // the innermost of them is a row
  long long row = 0;        // first row of the element at hand
  long long flatCell = -1;  // cell at hand of a table with a single level; -1 elsewhere
  bool flat = false;
  int closed = 0;  // parentheses closed since the last element
};

inline char* Cell(OpenTable& table, long long cell) {
  return table.cells + cell * CELL;
}
inline bool IsEnd(int c) {  // of a statement, if need be without its ";"
  return c == END_OF_INPUT || c == ';' || c == '}';
}

const char* FlatPrefix(const OpenTable& table);  // of messages about a table in a single list

// What is wrong with the table, reported with the place of the element at hand. All answer false.
bool NotEnoughEntries(OpenTable& table);
bool TooManyItems(OpenTable& table);
bool MissingComma(OpenTable& table);
bool UnexpectedPunctuation(OpenTable& table, int c);
bool TooFewClosed(OpenTable& table);
bool TooManyOpen(OpenTable& table, int opened, int allowed);
bool TooManyClosed(OpenTable& table);
bool BadEntry(OpenTable& table, const char* reason);
bool UnknownEscape(OpenTable& table, std::string_view word);
bool UnknownState(OpenTable& table, std::string_view word);
bool EntryFault(OpenTable& table, const ErrorRow& error, std::string_view word);

}  // namespace bravic

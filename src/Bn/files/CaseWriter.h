// Writing case files: the indicator, the column line and one row a case. docs/case-format.md describes the format.
#pragma once

#include <span>

#include "Basic/Errors.h"
#include "Basic/OutputChannel.h"
#include "Bn/model/Records.h"

namespace bravic {

// A column to be written.
struct PlannedColumn {
  enum Kind : unsigned char { Node, Id, Freq } kind = Node;
  node_bn node = nullptr;  // NULL: no node of ours; written "*"
};

// What is to be written where: the columns of an existing case file as they stand, or those of a new one.
struct CasePlan {
  bool append = false;
  long long position = 0;  // where the first row goes then
  Vector<PlannedColumn> columns;
  const char* terminator = "\n";  // of the file's lines
};
// Of an argument of a call: refuses infinity.
bool CheckFinite(const char* argument, double value);
// With append, adds to the case file that is there. One whose last row is cut off or whose columns are not separated
// by white space is refused, and so is another file that is not empty. nodes, withId, withFreq: the columns of a new
// file, which a device or pipe always is.
Failure PlanCases(const char* filename, std::span<const node_bn> nodes, bool append, bool withId, bool withFreq,
                  CasePlan* plan);

// Rows over a fixed set of columns, with every state's text ready; no allocation per row.
class CaseWriter {
 public:
  bool Open(const char* filename, const CasePlan& plan);  // writes the head of a new file
  // states [columns], values [columns]: UNDEF_STATE, UNDEF_DBL where missing.
  void Row(const statetype* states, const double* values, long id, double freq);
  bool Close() { return out_.Close(); }
  long HeaderLength() const { return headerLength_; }  // bytes before the first row of a new file
  bool HasFailed() const { return out_.HasFailed(); }

 private:
  struct Column {
    PlannedColumn::Kind kind = PlannedColumn::Node;
    bool byValue = false;  // of a continuous node
    int numstates = 0;     // 0 without a node
    int firstEntry = 0;    // into entries_
  };
  struct Entry {
    int start = 0, length = 0;  // in texts_, with the tab after it
  };
  void SetColumns(std::span<const PlannedColumn> columns);
  void PutHead(std::span<const PlannedColumn> columns);
  void PutHeader(std::string_view text) {
    out_.Put(text);
    headerLength_ += static_cast<long>(text.size());
  }

  OutputChannel out_;
  long headerLength_ = 0;
  const char* terminator_ = "\n";
  Vector<Column> columns_;
  Vector<Entry> entries_;  // the states of each column in turn
  Vector<char> texts_;
};

// How a state is written: its name; a node without state names writes the bare number, or "#" and the number where a
// bare number would be read as a value. Buffer of 16.
std::string_view StateEntry(const bnode& node, statetype state, char* buffer);

}  // namespace bravic

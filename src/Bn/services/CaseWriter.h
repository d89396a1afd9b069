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

// Rows over a fixed set of columns, with every state's text ready; no allocation per row.
class CaseWriter {
 public:
  // A new file with these columns, each node's with its name.
  bool Create(const char* filename, std::span<const PlannedColumn> columns);
  // The end of an existing case file, which has these columns.
  bool Append(const char* filename, std::span<const PlannedColumn> columns);
  // states [columns], values [columns]: UNDEF_STATE, UNDEF_DBL where missing.
  void Row(const statetype* states, const double* values, long id, double freq);
  bool Close() { return out_.Close(); }
  long HeaderLength() const { return headerLength_; }  // bytes before the first row, after Create
  bool HasFailed() const { return out_.HasFailed(); }

 private:
  struct Column {
    PlannedColumn::Kind kind = PlannedColumn::Node;
    bool byValue = false;        // of a continuous node
    int numstates = 0;           // 0 without a node
    std::size_t firstEntry = 0;  // into entries_
  };
  struct Entry {
    std::size_t start = 0, length = 0;  // in texts_, with the tab after it
  };
  void SetColumns(std::span<const PlannedColumn> columns);
  void PutHeader(std::string_view text) {
    out_.Put(text);
    headerLength_ += static_cast<long>(text.size());
  }

  OutputChannel out_;
  long headerLength_ = 0;
  Vector<Column> columns_;
  Vector<Entry> entries_;  // the states of each column in turn
  Vector<char> texts_;
};

// How a state is written: its name; a node without state names writes the bare number, or "#" and the number where a
// bare number would be read as a value. Buffer of 16.
std::string_view StateEntry(const bnode& node, statetype state, char* buffer);

// The columns of an existing case file as they stand. A file of another type, or none, is left to be made anew; one
// whose last row is cut off is refused.
struct AppendPlan {
  bool isCaseFile = false;
  Vector<PlannedColumn> columns;
};
Failure PlanAppend(const char* filename, net_bn net, std::span<const node_bn> nodes, AppendPlan* plan);
// Those of a new file.
Vector<PlannedColumn> NewColumns(std::span<const node_bn> nodes, bool withId, bool withFreq);

}  // namespace bravic

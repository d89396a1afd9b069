// Writing case files: the indicator, the column line and one row a case. docs/case-format.md describes the format.
#pragma once

#include <span>

#include "Basic/Errors.h"
#include "Basic/OutputChannel.h"
#include "Bn/model/Records.h"

namespace bravic {

// Rows over a fixed set of columns, with every state's text ready; no allocation per row.
class CaseWriter {
 public:
  // A new file with these columns in this order.
  bool Create(const char* filename, std::span<const node_bn> nodes, bool withId, bool withFreq);
  // The end of an existing case file, whose columns are kept: a column names its node, or NULL (written "*").
  bool Append(const char* filename, std::span<const node_bn> columns, bool withId, bool withFreq);
  // states [columns], values [columns]: UNDEF_STATE, UNDEF_DBL where missing.
  void Row(const statetype* states, const double* values, long id, double freq);
  bool Close() { return out_.Close(); }
  long HeaderLength() const { return headerLength_; }  // bytes before the first row, after Create
  bool HasFailed() const { return out_.HasFailed(); }

 private:
  struct Column {
    node_bn node = nullptr;
    Vector<std::string_view> names;  // [numstates] into texts_ or the node's names
  };
  void SetColumns(std::span<const node_bn> nodes, bool withId, bool withFreq);
  void PutEntry(const Column& column, statetype state, double value);

  void PutHeader(std::string_view text) {
    out_.Put(text);
    headerLength_ += static_cast<long>(text.size());
  }

  OutputChannel out_;
  long headerLength_ = 0;
  Vector<Column> columns_;
  Vector<char> numbers_;  // "#0", "#1" ... where states have no names
  bool withId_ = false, withFreq_ = false;
};

// How a state is written: its name; a node without state names writes the bare number, or "#" and the number where a
// bare number would be read as a value. Buffer of 16.
std::string_view StateEntry(const bnode& node, statetype state, char* buffer);

// The columns of an existing case file as they stand, NULL where the node is not among those given. A file of another
// type, or none, is left to be made anew; one whose last row is cut off is refused.
struct AppendPlan {
  bool isCaseFile = false;
  Vector<node_bn> columns;
  bool withId = false, withFreq = false;
};
Failure PlanAppend(const char* filename, net_bn net, std::span<const node_bn> nodes, AppendPlan* plan);

}  // namespace bravic

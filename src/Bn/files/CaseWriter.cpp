// Writes rows of cases. Each state's entry is made once, with the tab behind it, so that most of a row is copied from
// one run of text. A file that is added to keeps its own columns, separators and line ends, which CaseReader finds out
// first.
#include "Bn/files/CaseWriter.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "Basic/Text.h"
#include "Bn/files/CaseReader.h"
#include "Bn/files/NetFormat.h"
#include "Win_Face/Platform.h"

namespace bravic {

// A name, or else the number, behind "#" where it could be taken for a value or a name.
std::string_view StateEntry(const bnode& node, statetype state, char* buffer) {
  if (node.states && node.states[state] && *node.states[state]) return node.states[state];
  char* at = buffer;
  if (node.states || node.levels) *at++ = '#';
  at = std::to_chars(at, buffer + 16, state).ptr;
  return {buffer, at};
}

void CaseWriter::SetColumns(std::span<const PlannedColumn> columns) {
  columns_.clear();
  entries_.clear();
  texts_.clear();
  char buffer[16];
  for (const PlannedColumn& planned : columns) {
    Column column;
    column.kind = planned.kind;
    column.firstEntry = entries_.size();
    if (const node_bn node = planned.node) {
      column.byValue = node->discrete != DISCRETE;
      column.numstates = column.byValue ? 0 : node->numstates;
      for (int state = 0; state < column.numstates; ++state) {
        const std::string_view text = StateEntry(*node, state, buffer);
        entries_.push_back({Count(texts_), Count(text) + 1});
        texts_.insert(texts_.end(), text.begin(), text.end());
        texts_.push_back('\t');
      }
    }
    columns_.push_back(column);
  }
}

void CaseWriter::PutHead(std::span<const PlannedColumn> columns) {
  for (const char* piece :
       {"// ", format::INDICATOR_START, CASE_TYPE, "-", CASE_VERSION, format::INDICATOR_END, "\n\n"})
    PutHeader(piece);
  bool first = true;
  for (const PlannedColumn& column : columns) {
    if (!first) PutHeader("\t");
    first = false;
    PutHeader(column.kind == PlannedColumn::Id     ? ID_COLUMN
              : column.kind == PlannedColumn::Freq ? FREQ_COLUMN
                                                   : column.node->name);
  }
  PutHeader("\n");
}

bool CaseWriter::Open(const char* filename, const CasePlan& plan) {
  using Mode = OutputChannel::Mode;
  if (!out_.OpenFile(filename, plan.append ? Mode::Append : Mode::Replace)) return false;
  SetColumns(plan.columns);
  terminator_ = plan.terminator;
  headerLength_ = 0;
  if (!plan.append) PutHead(plan.columns);
  return !out_.HasFailed();
}

void CaseWriter::Row(const statetype* states, const double* values, long id, double freq) {
  static_assert(OutputChannel::MAX_ROOM > 2 * NUMBER_TEXT_LEN);
  const Entry* entries = entries_.data();
  const char* texts = texts_.data();
  char* at = out_.Room(OutputChannel::MAX_ROOM);
  for (int i = 0; i < columns_.size(); ++i) {
    const Column& column = columns_[i];
    out_.Advance(at);
    at = out_.Room(NUMBER_TEXT_LEN + 3);  // with a tab, or a line end in its place
    // As unsigned numbers, so that the markers, which are negative, fail the one comparison too.
    if (static_cast<unsigned>(states[i]) < static_cast<unsigned>(column.numstates)) {
      const Entry& entry = entries[column.firstEntry + states[i]];
      std::memcpy(at, texts + entry.start, entry.length);
      at += entry.length;
      continue;
    }
    if (column.kind == PlannedColumn::Id)
      at = PrintInteger(id, at);
    else if (column.kind == PlannedColumn::Freq)
      at = PrintGeneral(freq, 6, at);
    else if (column.byValue && values[i] != UNDEF_DBL)
      at = PrintGeneral(values[i], 6, at);
    else
      *at++ = '*';
    *at++ = '\t';
  }
  if (!columns_.empty()) --at;  // the last tab
  for (const char* c = terminator_; *c; ++c) *at++ = *c;
  out_.Advance(at);
}

namespace {

Failure PlanNewFile(std::span<const node_bn> nodes, bool withId, bool withFreq, CasePlan* plan) {
  if (withId) plan->columns.push_back({PlannedColumn::Id, nullptr});
  if (withFreq) plan->columns.push_back({PlannedColumn::Freq, nullptr});
  for (node_bn node : nodes) {
    for (const char* taken : {ID_COLUMN, FREQ_COLUMN})
      if (EqualText(node->name, taken)) return Fail(NODE_NAMED_AS_COLUMN, node->name);
    plan->columns.push_back({PlannedColumn::Node, node});
  }
  return nullptr;
}

// An empty file has no columns to be kept: it is written like a new one.
bool IsEmptyFile(const char* filename) {
  std::FILE* file = std::fopen(filename, "rb");
  const bool isEmpty = file && std::fgetc(file) == EOF;
  if (file) std::fclose(file);
  return isEmpty;
}

Failure PlanAppend(const char* filename, std::span<const node_bn> nodes, CasePlan* plan) {
  const ShownPath path(filename);
  CaseReader reader;
  if (Failure failure = reader.Open({filename, nodes.empty() ? nullptr : nodes[0]->innet, nodes})) {
    if (failure->number != NO_CASE_FILE_INDICATOR.number && failure->number != NOT_A_CASE_FILE.number) return failure;
    return Fail(NO_CASES_TO_ADD_TO, path.text);
  }
  if (reader.EndsInLine()) return Fail(LAST_CASE_NOT_ENDED, path.text);
  if (reader.HasOtherSeparators()) return Fail(COLUMNS_NOT_BY_TABS, path.text);
  plan->append = true;
  plan->position = reader.FileSize();
  plan->terminator = reader.Terminator();
  for (const CaseColumn& column : reader.Columns()) {
    const bool isNode = column.kind == CaseColumn::Node;
    plan->columns.push_back({column.kind == CaseColumn::Id     ? PlannedColumn::Id
                             : column.kind == CaseColumn::Freq ? PlannedColumn::Freq
                                                               : PlannedColumn::Node,
                             isNode ? column.node : nullptr});
  }
  return nullptr;
}

}  // namespace

bool CheckFinite(const char* argument, double value) {
  if (std::fabs(value) < INF_DBL) return true;
  Report(ARGUMENT_NOT_FINITE, argument, value);
  return false;
}

Failure PlanCases(const char* filename, std::span<const node_bn> nodes, bool append, bool withId, bool withFreq,
                  CasePlan* plan) {
  if (append && KindOfFile(filename) == FileKind::Regular && !IsEmptyFile(filename))
    return PlanAppend(filename, nodes, plan);
  return PlanNewFile(nodes, withId, withFreq, plan);
}

}  // namespace bravic

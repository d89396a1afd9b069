#include "Bn/services/CaseWriter.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "Basic/Text.h"
#include "Bn/services/CaseReader.h"
#include "Bn/services/NetFormat.h"
#include "Win_Face/Platform.h"

namespace bravic {

std::string_view StateEntry(const bnode& node, statetype state, char* buffer) {
  if (node.states && node.states[state] && *node.states[state]) return node.states[state];
  char* at = buffer;
  if (node.states || node.levels) *at++ = '#';
  at = std::to_chars(at, buffer + 16, state).ptr;
  return {buffer, static_cast<std::size_t>(at - buffer)};
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
        entries_.push_back({texts_.size(), text.size() + 1});
        texts_.insert(texts_.end(), text.begin(), text.end());
        texts_.push_back('\t');
      }
    }
    columns_.push_back(column);
  }
}

bool CaseWriter::Create(const char* filename, std::span<const PlannedColumn> columns) {
  if (!out_.OpenFile(filename, OutputChannel::Mode::Replace)) return false;
  SetColumns(columns);
  headerLength_ = 0;
  char version[16];
  auto versionEnd = std::to_chars(version, version + sizeof version, CASE_VERSION).ptr;
  for (std::string_view piece :
       {std::string_view("// "), std::string_view(format::INDICATOR_START), std::string_view(CASE_TYPE),
        std::string_view("-"), std::string_view(version, static_cast<std::size_t>(versionEnd - version)),
        std::string_view(format::INDICATOR_END), std::string_view("\n\n")})
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
  return !out_.HasFailed();
}

bool CaseWriter::Append(const char* filename, std::span<const PlannedColumn> columns) {
  if (!out_.OpenFile(filename, OutputChannel::Mode::Append)) return false;
  SetColumns(columns);
  return true;
}

void CaseWriter::Row(const statetype* states, const double* values, long id, double freq) {
  static_assert(OutputChannel::MAX_ROOM > 2 * NUMBER_TEXT_LEN);
  const Entry* entries = entries_.data();
  const char* texts = texts_.data();
  char* at = out_.Room(OutputChannel::MAX_ROOM);
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const Column& column = columns_[i];
    out_.Advance(at);
    at = out_.Room(NUMBER_TEXT_LEN + 1);
    if (static_cast<unsigned>(states[i]) < static_cast<unsigned>(column.numstates)) {
      const Entry& entry = entries[column.firstEntry + static_cast<std::size_t>(states[i])];
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
  *at++ = '\n';
  out_.Advance(at);
}

Vector<PlannedColumn> NewColumns(std::span<const node_bn> nodes, bool withId, bool withFreq) {
  Vector<PlannedColumn> columns;
  if (withId) columns.push_back({PlannedColumn::Id, nullptr});
  if (withFreq) columns.push_back({PlannedColumn::Freq, nullptr});
  for (node_bn node : nodes) columns.push_back({PlannedColumn::Node, node});
  return columns;
}

Failure PlanAppend(const char* filename, net_bn net, std::span<const node_bn> nodes, AppendPlan* plan) {
  if (!FileExists(filename)) return nullptr;
  CaseReader reader;
  if (Failure failure = reader.Open(filename, net, nodes)) {
    bool otherType = failure->number == -2080 || failure->number == -2081;
    return otherType ? nullptr : std::move(failure);
  }
  plan->isCaseFile = true;
  if (reader.EndsInLine())
    return Fail(-2119,
                "couldn't add a case to file '%s', because its last line is not ended by a new-line (it may have "
                "been cut off)",
                ShownPath(filename).text);
  for (const CaseColumn& column : reader.Columns()) {
    const bool isNode = column.kind == CaseColumn::Node;
    plan->columns.push_back({column.kind == CaseColumn::Id     ? PlannedColumn::Id
                             : column.kind == CaseColumn::Freq ? PlannedColumn::Freq
                                                               : PlannedColumn::Node,
                             isNode ? column.node : nullptr});
  }
  return nullptr;
}

}  // namespace bravic

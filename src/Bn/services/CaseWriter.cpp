#include "Bn/services/CaseWriter.h"

#include <algorithm>
#include <charconv>
#include <cstring>

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

void CaseWriter::SetColumns(std::span<const node_bn> nodes, bool withId, bool withFreq) {
  withId_ = withId;
  withFreq_ = withFreq;
  columns_.clear();
  numbers_.clear();
  char buffer[16];
  std::size_t total = 0;
  for (node_bn node : nodes)
    for (int state = 0; node && state < node->numstates; ++state) total += StateEntry(*node, state, buffer).size();
  numbers_.reserve(total);
  for (node_bn node : nodes) {
    Column column;
    column.node = node;
    for (int state = 0; node && state < node->numstates; ++state) {
      std::string_view text = StateEntry(*node, state, buffer);
      std::size_t start = numbers_.size();
      numbers_.insert(numbers_.end(), text.begin(), text.end());
      column.names.push_back({numbers_.data() + start, text.size()});
    }
    columns_.push_back(std::move(column));
  }
}

bool CaseWriter::Create(const char* filename, std::span<const node_bn> nodes, bool withId, bool withFreq) {
  if (!out_.OpenFile(filename, OutputChannel::Mode::Replace)) return false;
  SetColumns(nodes, withId, withFreq);
  headerLength_ = 0;
  char version[16];
  auto versionEnd = std::to_chars(version, version + sizeof version, CASE_VERSION).ptr;
  for (std::string_view piece :
       {std::string_view("// "), std::string_view(format::INDICATOR_START), std::string_view(CASE_TYPE),
        std::string_view("-"), std::string_view(version, static_cast<std::size_t>(versionEnd - version)),
        std::string_view(format::INDICATOR_END), std::string_view("\n\n")})
    PutHeader(piece);
  bool first = true;
  auto putName = [&](std::string_view name) {
    if (!first) PutHeader("\t");
    first = false;
    PutHeader(name);
  };
  if (withId) putName(ID_COLUMN);
  if (withFreq) putName(FREQ_COLUMN);
  for (node_bn node : nodes) putName(node->name);
  PutHeader("\n");
  return !out_.HasFailed();
}

bool CaseWriter::Append(const char* filename, std::span<const node_bn> columns, bool withId, bool withFreq) {
  if (!out_.OpenFile(filename, OutputChannel::Mode::Append)) return false;
  SetColumns(columns, withId, withFreq);
  return true;
}

void CaseWriter::PutEntry(const Column& column, statetype state, double value) {
  if (!column.node) {
    out_.Put('*');
  } else if (column.node->discrete != DISCRETE && value != UNDEF_DBL) {
    out_.PutGeneral(value, 6);
  } else if (state >= 0 && static_cast<std::size_t>(state) < column.names.size()) {
    out_.Put(column.names[static_cast<std::size_t>(state)]);
  } else {
    out_.Put('*');
  }
}

void CaseWriter::Row(const statetype* states, const double* values, long id, double freq) {
  bool first = true;
  if (withId_) {
    out_.PutInteger(id);
    first = false;
  }
  if (withFreq_) {
    if (!first) out_.Put('\t');
    out_.PutGeneral(freq, 6);
    first = false;
  }
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (!first) out_.Put('\t');
    first = false;
    PutEntry(columns_[i], states[i], values[i]);
  }
  out_.Put('\n');
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
                "couldn't add a case to file '%.200s', because its last line is not ended by a new-line (it may have "
                "been cut off)",
                filename);
  for (const CaseColumn& column : reader.Columns()) {
    if (column.kind == CaseColumn::Id || column.kind == CaseColumn::Freq) continue;
    plan->columns.push_back(column.kind == CaseColumn::Node ? column.node : nullptr);
  }
  plan->withId = reader.HasId();
  plan->withFreq = reader.HasFreq();
  return nullptr;
}

}  // namespace bravic

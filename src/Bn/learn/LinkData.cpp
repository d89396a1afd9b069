#include "Bn/learn/LinkData.h"

#include <algorithm>
#include <cmath>

#include "Bn/files/CaseReader.h"
#include "Win_Face/Interaction.h"

namespace bravic {
namespace {

using engine::CaseColumns;

Failure NoMemoryForCases(const CaseColumns& data) {
  return FailMemory(NO_MEMORY_FOR_LINK_CASES, 0, data.NumNodes());
}

Failure Finish(CaseColumns* data) {
  if (!data->Finish()) return NoMemoryForCases(*data);
  return data->TotalWeight() > 0 ? nullptr : Fail(NO_CASES_TO_LEARN_LINKS);
}

// For each node the place of its column; reported where there is none.
Failure MatchColumns(std::span<const node_bn> nodes, std::span<const node_bn> columns, Vector<int>* places) {
  for (node_bn node : nodes) node->scratch = -1;
  for (int k = 0; k < Count(columns); ++k) columns[k]->scratch = k;
  for (node_bn node : nodes) {
    const int at = node->scratch;
    if (at < 0 || at >= Count(columns) || columns[at] != node) return Fail(NO_COLUMN_FOR_LINKS, node->name);
    places->push_back(at);
  }
  return nullptr;
}

Failure CheckStates(const LinkCases& cases) {
  const statetype* state = cases.states;
  for (long number = 0; number < cases.numCases; ++number) {
    for (node_bn node : cases.columns) {
      if ((*state < 0 || *state >= node->numstates) && *state != UNDEF_STATE)
        return Fail(STATE_OF_LINK_CASE, *state, number, node->name, node->numstates - 1);
      ++state;
    }
    const double weight = cases.weights ? cases.weights[number] : 1;
    if (!(weight >= 0 && std::isfinite(weight))) return Fail(WEIGHT_OF_LINK_CASE, number, weight);
  }
  return nullptr;
}

}  // namespace

Failure TakeCases(const LinkCases& cases, std::span<const node_bn> nodes, CaseColumns* data) {
  Vector<int> places;
  if (Failure failure = MatchColumns(nodes, cases.columns, &places)) return failure;
  if (Failure failure = CheckStates(cases)) return failure;
  if (!data->Add({cases.states, cases.numCases, Count(cases.columns), places, cases.weights}))
    return NoMemoryForCases(*data);
  return Finish(data);
}

Failure ReadCases(filespec_ns file, std::span<const node_bn> nodes, CaseColumns* data) {
  constexpr int ROWS_AT_ONCE = 1024;
  CaseReader reader;
  if (Failure failure = reader.Open({file->name, nodes[0]->innet, nodes})) return failure;
  Vector<unsigned char> hasColumn(nodes.size(), 0);
  for (const CaseColumn& column : reader.Columns())
    if (column.wanted >= 0) hasColumn[column.wanted] = 1;
  for (int i = 0; i < Count(nodes); ++i)
    if (!hasColumn[i]) return AboutCases(file->name, Fail(NO_COLUMN_FOR_LINKS, nodes[i]->name));

  const Block<statetype> states = TryMakeBlock<statetype>(static_cast<std::size_t>(ROWS_AT_ONCE) * nodes.size());
  if (!states) return NoMemoryForCases(*data);
  Vector<double> weights(ROWS_AT_ONCE, 1.0);
  Vector<int> places;
  for (int i = 0; i < Count(nodes); ++i) places.push_back(i);
  WaitScope wait("Reading cases");
  for (auto result = CaseReader::Result::Row; result == CaseReader::Result::Row;) {
    int num = 0;
    while (num < ROWS_AT_ONCE) {
      CaseRow row = {states.get() + static_cast<std::size_t>(num) * nodes.size()};
      Failure failure;
      result = reader.Next(&row, &failure);
      if (failure) return failure;
      if (result != CaseReader::Result::Row) break;
      if (reader.HasFreq()) weights[num] = std::max(row.freq, 0.0);
      if (!std::isfinite(weights[num])) return Fail(WEIGHT_OF_LINK_CASE, row.hasId ? row.id : num, weights[num]);
      ++num;
    }
    if (!data->Add({states.get(), num, Count(nodes), places, reader.HasFreq() ? weights.data() : nullptr}))
      return NoMemoryForCases(*data);
    if (wait.Progress(reader.ShareRead())) return FailHalted();
  }
  if (reader.NumUnknown() > 0) Post(reader.WarningOfUnknown());
  return Finish(data);
}

}  // namespace bravic

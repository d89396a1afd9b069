// A node's relation: its probability, experience and function tables. Rows run over the parent configurations,
// first parent slowest; within a row of probs the node's own state runs fastest.
#pragma once

#include <algorithm>
#include <cstring>

#include "Basic/Errors.h"
#include "Bn/model/Lists.h"

namespace bravic {

// Number of configurations of some nodes: the product of their numstates (1 for none); overflow answers -1.
long long NumConfigurations(std::span<const node_bn> nodes);
inline long long NumRows(const bnode& node) {
  return NumConfigurations(Entries(node.preds));
}
// Experience alone is no relation.
inline bool HasRelation(const bnode& node) {
  return node.probs || node.determin || node.determinv;
}
long long RowIndex(const bnode& node, const statetype* parentstates);       // unchecked
void RowStates(const bnode& node, long long row, statetype* parentstates);  // the inverse of RowIndex
// Steps a configuration to the next one, last node fastest; false after the last.
bool NextConfiguration(std::span<const node_bn> nodes, statetype* states);

// A table for all the node's rows, each of width entries; empty, with that number posted, when there is no room for it.
void* NewTableMemory(const bnode& node, int width);
void* TryTableMemory(const bnode& node, int width);  // NULL when there is no room
Failure NoMemoryForTable(const bnode& node, int width);
template <class T>
Block<T> NewTable(const bnode& node, int width, T fill) {
  static_assert(sizeof(T) == sizeof(float));
  Block<T> table(static_cast<T*>(NewTableMemory(node, width)));
  if (table) std::fill_n(table.get(), NumRows(node) * width, fill);
  return table;
}

// A copy of a whole table, or NULL of none; false when there is no room for it.
template <class T>
bool TryCopyTable(const T* from, T*& to) {
  to = from ? static_cast<T*>(TryAllocate(BlockSize(from))) : nullptr;
  if (to) std::memcpy(to, from, BlockSize(from));
  return to || !from;
}

// As table entries are stored: UNDEF_DBL becomes UNDEF_PROB, what is too large the largest float.
float ToFloat(double value);

}  // namespace bravic

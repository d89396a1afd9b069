#include "Bn/model/Tables.h"

#include <limits>

#include "Basic/Format.h"
#include "Basic/Text.h"

namespace bravic {

float ToFloat(double value) {
  if (value == UNDEF_DBL) return UNDEF_PROB;
  constexpr double MAX = std::numeric_limits<float>::max();
  return static_cast<float>(std::clamp(value, -MAX, MAX));
}

long long NumConfigurations(std::span<const node_bn> nodes) {
  long long product = 1;
  bool overflow = false;
  for (node_bn node : nodes) {
    if (node->numstates == 0) return 0;
    overflow = overflow || product > std::numeric_limits<long long>::max() / node->numstates;
    if (!overflow) product *= node->numstates;
  }
  return overflow ? -1 : product;
}

long long RowIndex(const bnode& node, const statetype* parentstates) {
  long long row = 0;
  for (int i = 0; i < node.preds.num; i++) row = row * node.preds.ar[i]->numstates + parentstates[i];
  return row;
}

void RowStates(const bnode& node, long long row, statetype* parentstates) {
  for (int i = node.preds.num; i-- > 0;) {
    const int n = node.preds.ar[i]->numstates;
    parentstates[i] = static_cast<statetype>(row % n);
    row /= n;
  }
}

bool NextConfiguration(std::span<const node_bn> nodes, statetype* states) {
  for (std::size_t i = nodes.size(); i-- > 0;) {
    if (++states[i] < nodes[i]->numstates) return true;
    states[i] = 0;
  }
  return false;
}

void* TryTableMemory(const bnode& node, int width) {
  constexpr long long MAX_ENTRIES = std::numeric_limits<std::ptrdiff_t>::max() / sizeof(float);
  const long long rows = NumRows(node);
  if (rows < 0 || (width > 0 && rows > MAX_ENTRIES / width)) return nullptr;
  return TryAllocate(static_cast<std::size_t>(rows * width) * sizeof(float));
}

Failure NoMemoryForTable(const bnode& node, int width) {
  double nbytes = width * static_cast<double>(sizeof(float));
  for (node_bn parent : Entries(node.preds)) nbytes *= parent->numstates;
  return FailMemory(NO_MEMORY_FOR_TABLE, nbytes, OrEmpty(node.name));
}

void* NewTableMemory(const bnode& node, int width) {
  void* table = TryTableMemory(node, width);
  if (!table) Post(NoMemoryForTable(node, width));
  return table;
}

}  // namespace bravic

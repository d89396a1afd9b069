#include "Bn/engine/configs/ConfigQuestion.h"

#include <utility>

namespace bravic::engine {

Vector<double> RowScales(const ConfigQuestion& question, int node, bool* isInformative) {
  Vector<double> scales;
  const float* rows = question.table(node);
  *isInformative = false;
  if (!rows) return scales;
  std::size_t numRows = 1;
  for (int parent : question.parents[node]) numRows *= question.numstates[parent];
  scales.resize(numRows);
  for (double& scale : scales) {
    if (!IsDistribution(rows, question.numstates[node], &scale)) *isInformative = true;
    rows += question.numstates[node];
  }
  return scales;
}

Vector<unsigned char> FindMattering(const ConfigQuestion& question, std::span<const int> asked) {
  Vector<unsigned char> matters(question.NumNodes(), 0);
  Vector<int> open;
  auto add = [&](int node) {
    if (!std::exchange(matters[node], 1)) open.push_back(node);
  };
  for (int node : asked) add(node);
  for (int node = 0; node < question.NumNodes(); ++node) {
    const KnownNode& known = question.known[node];
    bool isInformative = known.state != FREE || !known.weights.empty();
    if (!isInformative && !matters[node]) RowScales(question, node, &isInformative);
    if (isInformative) add(node);
  }
  while (!open.empty()) {
    const int node = open.back();
    open.pop_back();
    for (int parent : question.parents[node]) add(parent);
  }
  return matters;
}

}  // namespace bravic::engine

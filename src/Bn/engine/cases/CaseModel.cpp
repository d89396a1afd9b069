#include "Bn/engine/cases/CaseModel.h"

#include <algorithm>
#include <utility>

#include "Bn/engine/Order.h"
#include "Bn/engine/SearchOrder.h"

namespace bravic::engine {

namespace {

// Nodes below which nothing is known or asked leave what is above them as it is.
Vector<unsigned char> FindMattering(const CaseQuestion& question) {
  Vector<unsigned char> matters(question.numstates.size(), 0);
  Vector<int> open;
  auto add = [&](int node) {
    if (!std::exchange(matters[node], 1)) open.push_back(node);
  };
  for (int node : question.observed) add(node);
  for (int node : question.targets) add(node);
  for (int node : question.families) add(node);
  // A table whose rows are no distributions says something of the parents by itself.
  for (int node = 0; node < Count(question.numstates); ++node) {
    const float* rows = question.table(node);
    if (!rows) continue;
    double size = question.numstates[node];
    for (int parent : question.parents[node]) size *= question.numstates[parent];
    for (double k = 0; k < size && !matters[node]; k += question.numstates[node], rows += question.numstates[node]) {
      double scale;
      if (!IsDistribution(rows, question.numstates[node], &scale)) add(node);
    }
  }
  while (!open.empty()) {
    const int node = open.back();
    open.pop_back();
    for (int parent : question.parents[node]) add(parent);
  }
  return matters;
}

// Many cases are to come, so that a smaller tree is worth a search.
double BudgetOf(double cost) {
  constexpr double WORTH_OF_ENTRY = 100, MOST = 2e7;
  return std::min(WORTH_OF_ENTRY * cost, MOST);
}

}  // namespace

CaseModel::CaseModel(const CaseQuestion& question) {
  constexpr double MOST_ADDED = 64;  // entries, to save a message
  const Vector<unsigned char> matters = FindMattering(question);
  numberOf.assign(question.numstates.size(), -1);
  for (int node = 0; node < matters.size(); ++node) {
    if (!matters[node]) continue;
    numberOf[node] = nodes.size();
    nodes.push_back(node);
    numstates.push_back(question.numstates[node]);
  }
  const int n = nodes.size();
  parents.resize(n);
  Vector<Vector<int>> children(n);
  for (int i = 0; i < n; ++i) {
    for (int parent : question.parents[nodes[i]]) {
      parents[i].push_back(numberOf[parent]);
      children[numberOf[parent]].push_back(i);
    }
  }
  table = [this, whole = question.table](int i) { return whole(nodes[i]); };
  const Graph moral = MoralGraph(parents, children);
  Order order = FindOrder(moral, numstates, nullptr);
  if (Order quick = QuickOrder(moral, numstates, order.cost, BudgetOf); !quick.nodes.empty()) order = std::move(quick);
  tree = MergeSmallCliques(BuildTree(moral, numstates, parents, order.nodes), MOST_ADDED);
}

}  // namespace bravic::engine

#include "Bn/engine/infer/CutModel.h"

#include <algorithm>
#include <utility>

#include "Bn/engine/CostModel.h"
#include "Bn/engine/SearchOrder.h"

namespace bravic::engine {

namespace {

// Nanoseconds that a search for a smaller tree than one of that cost may take.
double BudgetOf(double cost) {
  constexpr double WORTH_OF_ENTRY = 0.2;
  return WORTH_OF_ENTRY * cost;
}

}  // namespace

Owned<CutModel> ModelCutter::Cut(Vector<unsigned char> matters) const {
  const int n = structure_.NumNodes();
  Owned<CutModel> model = MakeOwned<CutModel>();
  const auto isLeftOut = [&](int i) { return !matters.empty() && !matters[i]; };
  model->parents.resize(n);
  for (int i = 0; i < n; ++i) {
    const bool isCut = !findings_.IsFree(i) || isLeftOut(i);
    model->cut.known.push_back(isCut);
    model->numstates.push_back(isCut ? 1 : structure_.numstates[i]);
    if (isLeftOut(i)) continue;
    for (int parent : structure_.parents[i])
      if (findings_.IsFree(parent)) model->parents[i].push_back(parent);
  }
  model->matters = std::move(matters);
  return model;
}

Graph ModelCutter::GraphOf(const CutModel& model) {
  const int n = model.numstates.size();
  Vector<Vector<int>> children(n);
  for (int i = 0; i < n; ++i)
    for (int parent : model.parents[i]) children[parent].push_back(i);
  return MoralGraph(model.parents, children);
}

Order ModelCutter::FindOrderOf(const CutModel& model, const Graph& moral) {
  constexpr double TIMES_THE_SEARCH = 30;
  Order order = FindOrder(moral, model.numstates, nullptr);
  if (cost::MODEL_ENTRY * order.cost > TIMES_THE_SEARCH * cost::GREEDY_NODE * model.numstates.size()) {
    Order quick = QuickOrder(moral, model.numstates, order.cost, BudgetOf);
    if (!quick.nodes.empty()) order = std::move(quick);
  }
  return order;
}

// The part of the node's table that agrees with the findings, with the scales of the rows that this is of: what is left
// of a row of a known node does not tell its sum any more, and the sums of others are known.
void ModelCutter::CutTable(int node, CutTables* cut) const {
  Vector<float>& table = cut->tables[node];
  Vector<double>& scales = cut->scales[node];
  table.clear();
  scales.clear();
  const float* from = tables_[node];
  if (!from) return;
  const Vector<double>& whole = tables_.ScalesOf(node);
  cut->from[node].scales = whole.data();
  const Vector<int>& family = structure_.families[node];
  if (std::none_of(family.begin(), family.end(), [&](int v) { return cut->known[v] != 0; })) return;
  const int own = structure_.numstates[node], left = cut->known[node] ? 1 : own;
  const int first = std::max(findings_[node].state, 0);
  const std::span<const int> parents = structure_.parents[node];
  const int numRows = findings_.FreeSize(parents);
  table.resize(numRows * left);
  scales.resize(numRows);
  float* to = table.data();
  double* toScales = scales.data();
  findings_.ForEachFree(parents, {}, [&](int row) {
    to = std::copy_n(from + row * own + first, left, to);
    *toScales++ = whole[row];
  });
}

void ModelCutter::HandOver(CutModel* model) const {
  const int n = structure_.NumNodes(), size = model->numstates.size();
  const auto matters = [model](int i) { return model->matters.empty() || model->matters[i]; };
  model->cut.tables.resize(size);
  model->cut.scales.resize(size);
  model->cut.from.resize(size);
  for (int i = 0; i < n; ++i) {
    if (!matters(i)) continue;
    const TableFacts& whole = tables_.FactsOf(i);
    constexpr int VERY_SMALL = -20;
    model->cut.from[i] = {!whole.informs && whole.cleaned.empty() && whole.low > VERY_SMALL, whole.low, nullptr};
    CutTable(i, &model->cut);
  }
  Inference& inference = *model->inference;
  inference.SetMaximize(mode_.maximize);
  inference.SetCutTables(model->cut, mode_.watch, [this, model, matters, n](int node) -> const float* {
    if (node >= n || !matters(node)) return nullptr;
    const Vector<float>& table = model->cut.tables[node];
    return table.empty() ? tables_[node] : table.data();
  });
  for (int i = 0; i < n; ++i) {
    if (findings_[i].weighted && matters(i))
      inference.SetLikelihood(i, findings_[i].weights);
    else
      inference.ClearFinding(i);
  }
}

}  // namespace bravic::engine

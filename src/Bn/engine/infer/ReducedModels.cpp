#include "Bn/engine/infer/ReducedModels.h"

#include <algorithm>
#include <limits>

#include "Bn/engine/CostModel.h"
#include "Bn/engine/SearchOrder.h"

namespace bravic::engine {

namespace {

constexpr double WORTH_IT = 0.7;        // of what a sweep over the tree takes
constexpr double SHARE_OF_TREE = 0.25;  // of its entries that the models kept may have together
constexpr int MAX_MODELS = 16;

// Nanoseconds that a search for a smaller tree than one of that cost may take.
double BudgetOf(double cost) {
  constexpr double WORTH_OF_ENTRY = 0.2;
  return WORTH_OF_ENTRY * cost;
}

}  // namespace

ReducedModels::ReducedModels(const Structure& structure, Findings& findings, NodeTables& tables,
                             Propagation& propagation, const Costs& costs, const Mode& mode)
    : structure_(structure),
      findings_(findings),
      tables_(tables),
      propagation_(propagation),
      costs_(costs),
      mode_(mode) {}

// The nodes and arcs that are left. A known node has one state, and is nobody's parent.
Owned<ReducedModels::Model> ReducedModels::Cut() const {
  const int n = structure_.NumNodes();
  Owned<Model> model = MakeOwned<Model>();
  model->parents.resize(n);
  for (int i = 0; i < n; ++i) {
    const bool isKnown = !findings_.IsFree(i);
    model->cut.known.push_back(isKnown);
    model->numstates.push_back(isKnown ? 1 : structure_.numstates[i]);
    for (int parent : structure_.parents[i])
      if (findings_.IsFree(parent)) model->parents[i].push_back(parent);
  }
  return model;
}

// False when a sweep over it would take more than the limit, or its tables too much room.
bool ReducedModels::MakeTree(Model* model, double limit) {
  const int n = structure_.NumNodes();
  Vector<Vector<int>> children(n);
  for (int i = 0; i < n; ++i)
    for (int parent : model->parents[i]) children[parent].push_back(i);
  // The greedy order, or where a search is little beside a sweep one that makes smaller tables.
  constexpr double TIMES_THE_SEARCH = 50;
  const Graph moral = MoralGraph(model->parents, children);
  Order order = FindOrder(moral, model->numstates, nullptr);
  if (cost::MODEL_ENTRY * order.cost > TIMES_THE_SEARCH * cost::GREEDY_NODE * n) {
    Order quick = QuickOrder(moral, model->numstates, order.cost, BudgetOf);
    if (!quick.nodes.empty()) order = std::move(quick);
  }
  model->cost = cost::MODEL_ENTRY * order.cost + cost::MODEL_NODE * n;
  const bool isLarge = order.cost > SHARE_OF_TREE * structure_.tree->totalSize;
  if (model->cost > limit || (isLarge && mode_.way == Way::CHEAPEST)) return false;
  model->tree = MergeSmallCliques(BuildTree(moral, model->numstates, model->parents, order.nodes));
  return true;
}

// Older models go until there are few enough and they take no more than their share.
void ReducedModels::MakeRoomFor(const Model& model) {
  double entries = model.tree.totalSize;
  for (int k = models_.size(); k-- > 0;) {
    entries += models_[k]->tree.totalSize;
    if (entries <= SHARE_OF_TREE * structure_.tree->totalSize && k + MAX_MODELS > models_.size()) continue;
    models_.erase(models_.begin(), models_.begin() + k + 1);
    return;
  }
}

// A model for what is known now whose sweep takes less than the limit, made where there is none; or NULL.
ReducedModels::Model* ReducedModels::Find(double limit) {
  const int n = structure_.NumNodes();
  for (const auto& model : models_) {
    bool isSame = true;
    for (int i = 0; i < n && isSame; ++i) isSame = (model->cut.known[i] == 0) == findings_.IsFree(i);
    if (isSame) return model->cost < limit ? model.get() : nullptr;
  }
  // To make one takes time by the number of nodes. Where models were not worth it lately, more is asked of the next.
  if (cost::MAKE_MODEL_NODE * patience_ * n > limit) return nullptr;
  Owned<Model> model = Cut();
  if (!MakeTree(model.get(), limit)) {
    patience_ *= 2;
    return nullptr;
  }
  model->inference = Inference::Make(model->tree, model->numstates, model->parents);
  int failedClique;
  if (model->inference->AllocatePotentials(&failedClique) != Status::Done) return nullptr;
  MakeRoomFor(*model);
  patience_ = std::max(1.0, patience_ / 2);
  models_.push_back(std::move(model));
  return models_.back().get();
}

// The part of the node's table that agrees with the findings, with the scales of the rows that this is of: what is left
// of a row of a known node does not tell its sum any more, and the sums of others are known.
void ReducedModels::CutTable(int node, CutTables* cut) {
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
  findings_.ForEachFree(family, {}, [&](int index) {
    if (table.size() % left == 0) scales.push_back(whole[index / own]);
    table.push_back(from[index]);
  });
}

// Tables and likelihoods as they are now.
void ReducedModels::HandOver(Model* model) {
  const int n = structure_.NumNodes();
  model->cut.tables.resize(n);
  model->cut.scales.resize(n);
  model->cut.from.resize(n);
  for (int i = 0; i < n; ++i) {
    const TableFacts& whole = tables_.FactsOf(i);
    constexpr int VERY_SMALL = -20;
    model->cut.from[i] = {!whole.informs && whole.cleaned.empty() && whole.low > VERY_SMALL, whole.low, nullptr};
    CutTable(i, &model->cut);
  }
  Inference& inference = *model->inference;
  inference.SetMaximize(mode_.maximize);
  inference.SetCutTables(model->cut, mode_.watch, [this, model](int node) {
    const Vector<float>& table = model->cut.tables[node];
    return table.empty() ? tables_[node] : table.data();
  });
  for (int i = 0; i < n; ++i) {
    if (findings_[i].weighted)
      inference.SetLikelihood(i, findings_[i].weights);
    else
      inference.ClearFinding(i);
  }
}

// False where nothing is known, where unlimited range is wanted, or where the tree promises to be as cheap: then the
// tree is to answer.
bool ReducedModels::Sweep(const BeliefPlace& out) {
  const bool isAnswered = propagation_.IsDone();
  if (findings_.NumKnown() == 0 || propagation_.IsWide() || mode_.way == Way::TREE) return false;
  if (isAnswered && propagation_.Answer() != Status::Done) return false;
  const double limit =
      mode_.way == Way::CHEAPEST ? WORTH_IT * costs_.OfSweep() : std::numeric_limits<double>::infinity();
  if (limit < cost::SWEEP_WORTH_A_LOOK) return false;
  Model* model = Find(limit);
  if (!model) return false;
  HandOver(model);
  const Status answer =
      model->inference->AllBeliefs([&](int node) { return model->cut.known[node] ? nullptr : out(node); });
  if (answer != Status::Done && answer != Status::Inconsistent) return false;
  if (isAnswered) return answer == Status::Done;
  propagation_.Take(answer, model->inference->ScaledProbability());
  return true;
}

}  // namespace bravic::engine

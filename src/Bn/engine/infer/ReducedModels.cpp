#include "Bn/engine/infer/ReducedModels.h"

#include <algorithm>
#include <limits>

#include "Bn/engine/CostModel.h"

namespace bravic::engine {

namespace {

constexpr double WORTH_IT = 0.7;        // of what a sweep over the tree takes
constexpr double SHARE_OF_TREE = 0.25;  // of its entries that the models kept may have together
constexpr int MAX_MODELS = 16;

}  // namespace

ReducedModels::ReducedModels(const Structure& structure, Findings& findings, NodeTables& tables,
                             Propagation& propagation, const Costs& costs, const Mode& mode)
    : structure_(structure),
      findings_(findings),
      propagation_(propagation),
      costs_(costs),
      mode_(mode),
      cutter_(structure, findings, tables, mode) {}

// False when a sweep over it would take more than the limit, or its tables too much room.
bool ReducedModels::MakeTree(CutModel* model, double limit) {
  const int n = structure_.NumNodes();
  const Graph moral = ModelCutter::GraphOf(*model);
  const Order order = ModelCutter::FindOrderOf(*model, moral);
  model->cost = cost::MODEL_ENTRY * order.cost + cost::MODEL_NODE * n;
  const bool isLarge = order.cost > SHARE_OF_TREE * structure_.tree->totalSize;
  if (model->cost > limit || (isLarge && mode_.way == Way::CHEAPEST)) return false;
  model->tree = MergeSmallCliques(BuildTree(moral, model->numstates, model->parents, order.nodes));
  return true;
}

// Older models go until there are few enough and they take no more than their share.
void ReducedModels::MakeRoomFor(const CutModel& model) {
  double entries = model.tree.totalSize;
  for (int k = models_.size(); k-- > 0;) {
    entries += models_[k]->tree.totalSize;
    if (entries <= SHARE_OF_TREE * structure_.tree->totalSize && k + MAX_MODELS > models_.size()) continue;
    models_.erase(models_.begin(), models_.begin() + k + 1);
    return;
  }
}

// A model for what is known now whose sweep takes less than the limit, made where there is none; or NULL.
CutModel* ReducedModels::Find(double limit) {
  const int n = structure_.NumNodes();
  for (const auto& model : models_) {
    bool isSame = true;
    for (int i = 0; i < n && isSame; ++i) isSame = (model->cut.known[i] == 0) == findings_.IsFree(i);
    if (isSame) return model->cost < limit ? model.get() : nullptr;
  }
  // To make one takes time by the number of nodes. Where models were not worth it lately, more is asked of the next.
  if (cost::MAKE_MODEL_NODE * patience_ * n > limit) return nullptr;
  Owned<CutModel> model = cutter_.Cut({});
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

// False where nothing is known, where unlimited range is wanted, or where the tree promises to be as cheap: then the
// tree is to answer.
bool ReducedModels::Sweep(const BeliefPlace& out) {
  const bool isAnswered = propagation_.IsDone();
  if (findings_.NumKnown() == 0 || propagation_.IsWide() || mode_.way == Way::TREE) return false;
  if (isAnswered && propagation_.Answer() != Status::Done) return false;
  const double limit =
      mode_.way == Way::CHEAPEST ? WORTH_IT * costs_.OfSweep() : std::numeric_limits<double>::infinity();
  if (limit < cost::SWEEP_WORTH_A_LOOK) return false;
  CutModel* model = Find(limit);
  if (!model) return false;
  cutter_.HandOver(model);
  const Status answer =
      model->inference->AllBeliefs([&](int node) { return model->cut.known[node] ? nullptr : out(node); });
  if (answer != Status::Done && answer != Status::Inconsistent) return false;
  if (isAnswered) return answer == Status::Done;
  propagation_.Take(answer, model->inference->ScaledProbability());
  return true;
}

}  // namespace bravic::engine

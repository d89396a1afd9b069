#include "Bn/engine/infer/ReducedModels.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Bn/engine/CostModel.h"

namespace bravic::engine {

namespace {

constexpr double SHARE_OF_TREE = 0.25;  // of its entries that the models kept may have together
constexpr int MOST_KEPT = 16;
constexpr double MOST_PATIENCE = 8;

}  // namespace

ReducedModels::ReducedModels(const Structure& structure, Findings& findings, NodeTables& tables,
                             Propagation& propagation, const Costs& costs, const Mode& mode)
    : structure_(structure),
      findings_(findings),
      propagation_(propagation),
      costs_(costs),
      mode_(mode),
      cutter_(structure, findings, tables, mode) {}

// What an entry of a model takes, by the states of what is free.
double ReducedModels::CostOfEntry() const {
  double numFree = 0, bits = 0;
  for (int i = 0; i < structure_.NumNodes(); ++i) {
    if (!findings_.IsFree(i) || structure_.numstates[i] == 1) continue;
    ++numFree;
    bits += std::log2(structure_.numstates[i]);
  }
  return cost::MODEL_ENTRY + (bits > 0 ? cost::MODEL_SHORT_ENTRY * numFree / bits : 0);
}

// What making a model takes and a sweep over it, as far as that can be told before there is an order: each family that
// is free stands in one of its cliques.
double ReducedModels::LeastCost() const {
  double largest = 0;
  for (const Vector<int>& family : structure_.families) {
    double size = 1;
    for (int v : family)
      if (findings_.IsFree(v)) size *= structure_.numstates[v];
    largest = std::max(largest, size);
  }
  return (cost::MAKE_MODEL_NODE * patience_ + cost::MODEL_NODE) * NumFree() + CostOfEntry() * largest;
}

// False when a sweep over it would take more than the limit, or its tables too much room.
bool ReducedModels::MakeTree(CutModel* model, double limit) {
  const Graph moral = ModelCutter::GraphOf(*model);
  const Order order = ModelCutter::FindOrderOf(*model, moral);
  model->cost = CostOfEntry() * order.cost + cost::MODEL_NODE * NumFree();
  const bool isLarge = order.cost > SHARE_OF_TREE * structure_.tree->totalSize;
  if (model->cost + cost::MAKE_MODEL_NODE * NumFree() > limit || (isLarge && mode_.way == Way::CHEAPEST)) return false;
  model->tree = MergeSmallCliques(BuildTree(moral, model->numstates, model->parents, order.nodes));
  return true;
}

// Older models go until there are few enough and they take no more than their share.
void ReducedModels::MakeRoomFor(const CutModel& model) {
  double entries = model.tree.totalSize;
  int k = models_.size();
  while (k > 0 && models_.size() - k + 1 < numKept_) {
    entries += models_[k - 1]->tree.totalSize;
    if (entries > SHARE_OF_TREE * structure_.tree->totalSize) break;
    --k;
  }
  for (int i = 0; i < k; ++i) gone_.push_back(std::move(models_[i]->cut.known));
  models_.erase(models_.begin(), models_.begin() + k);
  if (gone_.size() > MOST_KEPT) gone_.erase(gone_.begin(), gone_.end() - MOST_KEPT);
}

// Where a model is missed that has gone, more are kept. Where none is asked for again they are in the way: what is made
// in the place of the one before it finds its memory at hand.
void ReducedModels::Miss() {
  const auto isSame = [this](const auto& known) { return IsKnown(known); };
  if (std::any_of(gone_.begin(), gone_.end(), isSame)) {
    numKept_ = std::min(2 * numKept_, MOST_KEPT);
    numMisses_ = 0;
  } else if (++numMisses_ >= MOST_KEPT) {
    numKept_ = std::max(numKept_ / 2, 1);
    numMisses_ = 0;
  }
}

// Whether those are the nodes that are known now.
bool ReducedModels::IsKnown(const Vector<unsigned char>& known) const {
  for (int i = 0; i < known.size(); ++i)
    if ((known[i] == 0) != findings_.IsFree(i)) return false;
  return true;
}

// A model for what is known now whose sweep takes less than the limit, made where there is none; or NULL.
CutModel* ReducedModels::Find(double limit) {
  for (int k = models_.size(); k-- > 0;) {
    if (!IsKnown(models_[k]->cut.known)) continue;
    std::rotate(models_.begin() + k, models_.begin() + k + 1, models_.end());
    numMisses_ = 0;
    return models_.back()->cost < limit ? models_.back().get() : nullptr;
  }
  // Where models were not worth it lately, more is asked of the next.
  if (LeastCost() > limit) return nullptr;
  Owned<CutModel> model = cutter_.Cut({});
  if (!MakeTree(model.get(), limit)) {
    patience_ = std::min(2 * patience_, MOST_PATIENCE);
    return nullptr;
  }
  Miss();
  MakeRoomFor(*model);
  model->inference = Inference::Make(model->tree, model->numstates, model->parents);
  // What it takes to be made finds its memory at hand.
  model->inference->SetWay(Way::STRAIGHT);
  int failedClique;
  if (model->inference->AllocatePotentials(&failedClique) != Status::Done) return nullptr;
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
  const double limit = mode_.way == Way::CHEAPEST ? costs_.OfSweep() : std::numeric_limits<double>::infinity();
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

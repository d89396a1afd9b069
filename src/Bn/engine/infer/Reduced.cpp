// All beliefs by a model without the known nodes. The tree is made for any findings; once some nodes are known, those
// that only they joined need not share tables any more, and an order for what is left often makes far smaller ones.
// Such a model is worth making where a sweep over the tree takes long, and is kept for the next findings about the same
// nodes.
#include <algorithm>
#include <limits>

#include "Bn/engine/Order.h"
#include "Bn/engine/infer/Propagation.h"

namespace bravic::engine {

namespace {

// In nanoseconds, from measurements on one machine; only the proportions matter.
constexpr double MAKE_COST = 8000;  // per node
constexpr double NODE_COST = 400, ENTRY_COST = 2.6;
constexpr double WORTH_A_LOOK = 50000, WORTH_IT = 0.7;
constexpr double SHARE_OF_TREE = 0.25;  // of its entries that the models kept may have together
constexpr int MAX_MODELS = 16;

}  // namespace

// What a sweep over the tree would take.
double Inference::Impl::SweepCost() const {
  double cost = 0;
  for (int c = 0; c < cliques.size(); ++c) {
    int passes = 0;
    for (const Link& link : cliques[c].links) passes += !messages[link.out].valid;
    if (passes > 0) cost += std::min(passes, 2) * PassCost(c);
  }
  return cost;
}

ReducedModel* Inference::Impl::FindReduced(double limit) {
  const std::size_t n = findings.size();
  auto isKnown = [&](std::size_t i) { return findings[i].state != FREE; };
  for (const auto& model : reducedModels) {
    bool same = true;
    for (std::size_t i = 0; i < n && same; ++i) same = (model->known[i] != 0) == isKnown(i);
    if (same) return model->cost < limit ? model.get() : nullptr;
  }
  if (MAKE_COST * reducingPatience * static_cast<double>(n) > limit) return nullptr;
  Owned<ReducedModel> model = MakeOwned<ReducedModel>();
  Vector<Vector<int>> offspring(n);
  model->parents.resize(n);
  for (std::size_t i = 0; i < n; ++i) {
    model->known.push_back(isKnown(i));
    model->numstates.push_back(isKnown(i) ? 1 : numstates[i]);
    for (int parent : parents[i]) {
      if (isKnown(At(parent))) continue;
      model->parents[i].push_back(parent);
      offspring[parent].push_back(static_cast<int>(i));
    }
  }
  const Graph moral = MoralGraph(model->parents, offspring);
  Order order = FindOrder(moral, model->numstates, nullptr);
  if (Order quick = QuickOrder(moral, model->numstates, order.cost, 1); !quick.nodes.empty()) order = std::move(quick);
  model->cost = ENTRY_COST * order.cost + NODE_COST * static_cast<double>(n);
  const double room = SHARE_OF_TREE * tree->totalSize;
  if (model->cost > limit || (order.cost > room && chosenWay == Way::CHEAPEST)) {
    reducingPatience *= 2;
    return nullptr;
  }
  model->tree = MergeSmallCliques(BuildTree(moral, model->numstates, model->parents, order.nodes));
  model->inference = Inference::Make(model->tree, model->numstates, model->parents);
  int failed;
  if (model->inference->AllocatePotentials(&failed) != Status::Done) return nullptr;
  double entries = model->tree.totalSize;
  for (int k = reducedModels.size(); k-- > 0;) {
    entries += reducedModels[k]->tree.totalSize;
    if (entries <= room && k + MAX_MODELS > reducedModels.size()) continue;
    reducedModels.erase(reducedModels.begin(), reducedModels.begin() + k + 1);
    break;
  }
  reducingPatience = std::max(1.0, reducingPatience / 2);
  reducedModels.push_back(std::move(model));
  return reducedModels.back().get();
}

// The parts of the tables that agree with the findings, and the likelihoods.
void Inference::Impl::HandToReduced(ReducedModel* model) {
  const std::size_t n = findings.size();
  model->tables.resize(n);
  model->scales.assign(n, {});
  for (std::size_t i = 0; i < n; ++i) {
    Vector<float>& table = model->tables[i];
    table.clear();
    const int own = numstates[i];
    const float* from = tableOf(static_cast<int>(i));
    bool isSmaller = model->known[i] != 0;
    familyNodes.assign(parents[i].begin(), parents[i].end());
    for (int parent : familyNodes) isSmaller |= model->known[parent] != 0;
    if (!from || !isSmaller) continue;
    familyNodes.push_back(static_cast<int>(i));
    ForEachFree(familyNodes, {}, [&](std::size_t index) { table.push_back(from[index]); });
    if (!model->known[i]) continue;
    // What is left of a row does not tell its sum any more.
    bool isScaled = false;
    ForEachFree(familyNodes, {}, [&](std::size_t index) {
      double scale;
      IsDistribution(from + index / At(own) * At(own), own, &scale);
      isScaled |= scale != 1;
      model->scales[i].push_back(scale);
    });
    if (!isScaled) model->scales[i].clear();
  }
  Inference& inference = *model->inference;
  inference.impl_->cutAs = model;
  inference.impl_->watch = watch;
  inference.SetMaximize(maximize);
  inference.SetTables([this, model](int node) {
    const Vector<float>& table = model->tables[node];
    return table.empty() ? tableOf(node) : table.data();
  });
  for (std::size_t i = 0; i < n; ++i) {
    const Finding& finding = findings[i];
    const int node = static_cast<int>(i);
    if (finding.weighted)
      inference.SetLikelihood(node, finding.weights);
    else
      inference.ClearFinding(node);
  }
}

// All beliefs and the probability of the findings; false leaves them to the tree.
bool Inference::Impl::SweepReduced(const BeliefPlace& out) {
  if (numKnown == 0 || wide || chosenWay == Way::TREE || (propagated && status != Status::Done)) return false;
  const double limit = chosenWay == Way::CHEAPEST ? WORTH_IT * SweepCost() : std::numeric_limits<double>::infinity();
  if (limit < WORTH_A_LOOK) return false;
  ReducedModel* model = FindReduced(limit);
  if (!model) return false;
  HandToReduced(model);
  const Status answer =
      model->inference->AllBeliefs([&](int node) { return model->known[node] ? nullptr : out(node); });
  if (answer != Status::Done && answer != Status::Inconsistent) return false;
  if (propagated) return answer == Status::Done;
  const Impl& other = *model->inference->impl_;
  propagated = true;
  status = answer;
  total = other.total;
  totalExponent = other.totalExponent;
  if (status == Status::Done) CheckedAll();
  return true;
}

}  // namespace bravic::engine

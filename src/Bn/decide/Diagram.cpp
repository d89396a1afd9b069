#include "Bn/decide/Diagram.h"

#include <algorithm>

#include "Bn/compiled/Likelihood.h"
#include "Bn/engine/infer/NodeTables.h"
#include "Bn/model/TableForms.h"
#include "Bn/model/Tables.h"

namespace bravic {
namespace {

using Item = engine::DecisionModel::Item;
using Role = engine::DecisionModel::Role;

Failure NoMemoryFor(double entries) {
  return FailMemory(NO_MEMORY_FOR_EXPECTED_UTILITIES, entries * sizeof(double));
}

// Goes through the rows of a node's table that agree with the findings, the last free parent fastest.
class RowWalk {
 public:
  explicit RowWalk(const bnode& node) : parents_(Entries(node.preds)), states_(parents_.size(), 0) {
    for (int k = 0; k < Count(parents_); ++k) {
      if (IsFixed(*parents_[k])) {
        if (parents_[k]->evidence >= 0) states_[k] = parents_[k]->evidence;
      } else {
        free_.push_back(parents_[k]->scratch);
        rows_ *= parents_[k]->numstates;
      }
    }
    FindRow();
  }
  const Vector<int>& FreeParents() const { return free_; }
  int NumRows() const { return rows_; }
  std::size_t Row() const { return row_; }
  bool Next() {
    for (int k = Count(parents_); k-- > 0;) {
      if (IsFixed(*parents_[k])) continue;
      const bool wraps = ++states_[k] == parents_[k]->numstates;
      if (wraps) states_[k] = 0;
      if (wraps) continue;
      FindRow();
      return true;
    }
    return false;
  }

 private:
  // A utility node among the parents has one state at most.
  static bool IsFixed(const bnode& node) { return node.evidence >= 0 || node.kind == UTILITY_NODE; }
  void FindRow() {
    row_ = 0;
    for (int k = 0; k < Count(parents_); ++k) row_ = row_ * parents_[k]->numstates + states_[k];
  }

  std::span<const node_bn> parents_;
  Vector<statetype> states_;  // [parent]
  Vector<int> free_;          // their items
  int rows_ = 1;
  std::size_t row_ = 0;
};

// The parents that take part: utilities are nobody's.
Vector<int> ParentItems(const bnode& node) {
  Vector<int> items;
  for (node_bn parent : Entries(node.preds)) {
    if (parent->kind != UTILITY_NODE) items.push_back(parent->scratch);
  }
  return items;
}

// A row of probabilities as a distribution, and what it weighs: 0 for an impossible one.
double TakeRow(const float* row, int numstates, double* to) {
  double scale, sum = 0;
  if (engine::IsDistribution(row, numstates, &scale)) {
    for (int s = 0; s < numstates; ++s) to[s] = scale * row[s];
    return 1;
  }
  for (int s = 0; s < numstates && scale > 0; ++s) sum += row[s];
  for (int s = 0; s < numstates; ++s) to[s] = sum > 0 ? row[s] / sum : 1.0 / numstates;
  return sum;
}

// Where a node's rows come from: probabilities, or states of a function.
struct RowSource {
  const float* probs = nullptr;
  const statetype* states = nullptr;
};

// The table of a chance variable, and beside it that of the weights of its rows where these are not all 1.
Failure FillRows(const bnode& node, RowSource source, Item* item, Item* weights) {
  if (NumRows(node) <= 0) return Fail(TABLE_MISSING, node.name);
  RowWalk walk(node);
  const int own = node.numstates;
  const auto rows = static_cast<std::size_t>(walk.NumRows());
  item->variables = walk.FreeParents();
  if (!item->isKnown) item->variables.push_back(node.scratch);
  item->size = static_cast<int>(rows) * (item->isKnown ? 1 : own);
  item->entries = TryMakeBlock<double>(static_cast<std::size_t>(item->size));
  Block<engine::WideNumber> rowWeights = TryMakeBlock<engine::WideNumber>(rows);
  if (!item->entries || !rowWeights) return NoMemoryFor(item->size);
  Vector<double> row(own);
  Vector<float> oneHot(own);
  double* to = item->entries.get();
  bool areEven = true;
  std::size_t at = 0;
  do {
    const float* from = source.states ? oneHot.data() : source.probs + walk.Row() * own;
    if (source.states) FillFunctionRow(oneHot.data(), own, source.states[walk.Row()]);
    // The same flags stand in rows of either kind.
    if (node.kind == DECISION_NODE && std::find(from, from + own, UNDEF_PROB) != from + own) {
      return Fail(CHOICE_MISSING, node.name);
    }
    const double weight = TakeRow(from, own, row.data());
    areEven = areEven && weight == 1;
    rowWeights[at++] = engine::ToWide(weight);
    if (item->isKnown)
      *to++ = row[node.evidence];
    else
      to = std::copy(row.begin(), row.end(), to);
  } while (walk.Next());
  if (areEven) return nullptr;
  weights->role = Role::WEIGHT;
  weights->parents = ParentItems(node);
  weights->variables = walk.FreeParents();
  weights->size = static_cast<int>(rows);
  weights->weights = std::move(rowWeights);
  return nullptr;
}

Failure FillUtility(const bnode& node, Item* item) {
  item->role = Role::UTILITY;
  if (!node.determinv || NumRows(node) <= 0) return nullptr;  // a sum of its parents, which count by themselves
  RowWalk walk(node);
  item->variables = walk.FreeParents();
  item->size = walk.NumRows();
  item->entries = TryMakeBlock<double>(static_cast<std::size_t>(item->size));
  if (!item->entries) return NoMemoryFor(item->size);
  double* to = item->entries.get();
  do {
    const float entry = node.determinv[walk.Row()];
    *to++ = entry == UNDEF_PROB   ? engine::UNDEFINED_UTILITY
            : entry == IMPOS_PROB ? engine::IMPOSSIBLE_UTILITY
                                  : static_cast<double>(entry);
  } while (walk.Next());
  return nullptr;
}

// What a likelihood weighs, the largest 1; nothing where it weighs all states alike, or all that an open decision may
// choose.
void FillLikelihood(const bnode& node, bool isOpen, Item* item) {
  const Vector<engine::WideNumber> weights = LikelihoodWeights(node);
  const engine::WideNumber largest = *std::max_element(weights.begin(), weights.end());
  const auto isEven = [&](engine::WideNumber w) { return w == largest || (isOpen && w.mantissa == 0); };
  if (std::all_of(weights.begin(), weights.end(), isEven)) return;
  item->role = Role::WEIGHT;
  item->parents = {node.scratch};
  item->variables = {node.scratch};
  item->size = node.numstates;
  item->weights = MakeBlock<engine::WideNumber>(static_cast<std::size_t>(node.numstates));
  for (int s = 0; s < node.numstates; ++s) item->weights[s] = weights[s] / largest;
}

// A decision's function table without the parents that it does not depend on would be smaller; what it is worth is
// found by eliminating, which those would make dear.
void DropIdleVariables(std::span<const node_bn> nodes, Item* item) {
  int block = nodes[item->variables.back()]->numstates;  // entries that the variables behind the present one take
  for (int k = item->variables.size() - 1; k-- > 0;) {
    const int states = nodes[item->variables[k]]->numstates;
    const int period = block * states;
    double* const entries = item->entries.get();
    bool isIdle = true;
    for (int first = 0; isIdle && first < item->size; first += period) {
      for (int s = 1; isIdle && s < states; ++s) {
        isIdle = std::equal(entries + first, entries + first + block, entries + first + s * block);
      }
    }
    if (!isIdle) {
      block = period;
      continue;
    }
    double* to = entries;
    for (int first = 0; first < item->size; first += period, to += block) std::copy_n(entries + first, block, to);
    item->size /= states;
    item->variables.erase(item->variables.begin() + k);
  }
}

Failure FillDecision(std::span<const node_bn> nodes, const bnode& node, const statetype* chosen, Item* item,
                     Item* weights) {
  RowSource source{node.probs, chosen ? chosen : node.determin};
  if (!source.states && !source.probs) return Fail(TABLE_MISSING, node.name);
  if (Failure failure = FillRows(node, source, item, weights)) return failure;
  DropIdleVariables(nodes, item);
  // What it does not depend on it need not know.
  item->parents.assign(item->variables.begin(), item->variables.end() - 1);
  return nullptr;
}

Failure FillItem(std::span<const node_bn> nodes, node_bn node, bool isOpen, const statetype* chosen, Item* item,
                 Item* weights) {
  item->numstates = std::max(node->numstates, 1);
  item->parents = ParentItems(*node);
  item->isKnown = node->evidence >= 0;
  if (node->kind == UTILITY_NODE) {
    item->isKnown = false;
    return FillUtility(*node, item);
  }
  if (node->kind == NATURE_NODE) {
    if (Failure failure = MakeProbs(node)) return failure;
    return FillRows(*node, {node->probs, nullptr}, item, weights);
  }
  if (item->isKnown) {  // it is made, and says nothing of what was known
    item->role = Role::DECISION;
    item->parents.clear();
    return nullptr;
  }
  if (node->numstates <= 0) return Fail(DECISION_WITHOUT_STATES, node->name);
  if (!isOpen) return FillDecision(nodes, *node, chosen, item, weights);
  item->role = Role::DECISION;
  for (int s = 0; s < node->numstates; ++s) {
    item->isAllowed.push_back(!node->likelihood || LikelihoodWeights(*node)[s].mantissa > 0);
  }
  return nullptr;
}

}  // namespace

Failure MakeDiagram(std::span<const node_bn> nodes, DecisionsAre decisions, std::span<const ChosenTable> chosen,
                    engine::DecisionModel* model) {
  const int n = Count(nodes);
  for (int i = 0; i < n; ++i) nodes[i]->scratch = i;
  model->items.resize(n);
  const auto keep = [model](Item& weights) {
    if (weights.role == Role::WEIGHT) model->items.push_back(std::move(weights));
  };
  for (int i = 0; i < n; ++i) {
    node_bn node = nodes[i];
    const bool isOpen = node->kind == DECISION_NODE && decisions == DecisionsAre::Open;
    const auto isNode = [node](const ChosenTable& table) { return table.decision == node; };
    const auto table = std::find_if(chosen.begin(), chosen.end(), isNode);
    Item item, weights, likelihood;
    if (Failure failure =
            FillItem(nodes, node, isOpen, table == chosen.end() ? nullptr : table->states.get(), &item, &weights)) {
      return failure;
    }
    if (node->likelihood && node->kind != UTILITY_NODE) FillLikelihood(*node, isOpen, &likelihood);
    model->items[i] = std::move(item);
    keep(weights);
    keep(likelihood);
  }
  return nullptr;
}

}  // namespace bravic

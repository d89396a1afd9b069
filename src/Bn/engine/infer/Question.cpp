#include "Bn/engine/infer/Question.h"

#include <algorithm>

#include "Bn/engine/CostModel.h"

namespace bravic::engine {

namespace {

constexpr int FEW_NODES = 150, MOST_NODES = 250;  // that are relevant
// A tree that costs this many times the question to bring up to date is worth it, if the next questions are cheap then.
constexpr double CATCHING_UP = 5, CLEARLY_LESS = 1.5;
constexpr double LOOKED_AHEAD = 20000, HUGE_COST = 1e15;

}  // namespace

Question::Question(const Structure& structure, Findings& findings, NodeTables& tables, const Marginals& marginals,
                   const Propagation& propagation, Costs& costs, const Mode& mode)
    : structure_(structure),
      findings_(findings),
      tables_(tables),
      marginals_(marginals),
      propagation_(propagation),
      costs_(costs),
      mode_(mode),
      relevance_(structure, findings, tables),
      variableOf_(structure.NumNodes(), -1) {}

// Impossible rows can leave nothing possible at all, which only the whole of the tables can tell.
bool Question::AreTablesSure() {
  if (findings_.AreTablesChecked()) return true;
  for (int i = 0; i < structure_.NumNodes(); ++i)
    if (tables_.FactsOf(i).informs) return false;
  findings_.SetTablesChecked();
  return true;
}

bool Question::FitsFloats(std::span<const int> relevant) const {
  return std::none_of(relevant.begin(), relevant.end(),
                      [&](int v) { return findings_[v].weighted && findings_[v].range.low < FLOAT_FLOOR; });
}

// Stands for the numbers of a table over what is free of the node's family: they follow from the table, from what is
// known of the family, and from where that begins.
TableKey Question::KeyOf(int node, int first) const {
  constexpr int KNOWN_PER_WORD = 32;
  TableKey key;
  key.Mix(node);
  key.Mix(first);
  const Vector<int>& parents = structure_.parents[node];
  std::uint64_t known = !findings_.IsFree(node);
  for (int k = 0; k < parents.size(); ++k) {
    known = 2 * known + !findings_.IsFree(parents[k]);
    if (k % KNOWN_PER_WORD == KNOWN_PER_WORD - 1) key.Mix(known), known = 0;
  }
  key.Mix(known);
  return key;
}

void Question::AddTable(int node) {
  const TableFacts& facts = tables_.FactsOf(node);
  const float* table = facts.cleaned.empty() ? tables_[node] : facts.cleaned.data();
  if (!table) return;
  const Vector<int>& family = structure_.families[node];
  auto everything = [](int) { return true; };
  int first = 0;
  const int size = ForEachStride(family, structure_.numstates, everything, [&](int k, int stride) {
    if (!findings_.IsFree(family[k])) first += findings_[family[k]].state * stride;
  });
  elimination_.AddFactor(table, first, size, {facts.low, NO_LOSS}, KeyOf(node, first));
  ForEachStride(family, structure_.numstates, everything, [&](int k, int stride) {
    if (findings_.IsAxis(family[k])) elimination_.AddAxis(variableOf_[family[k]], stride);
  });
}

// Sets the elimination up for the relevant tables and the findings, all targets that are known included. Answers the
// number of the variable that stands for the node.
int Question::GatherFactors(int node, std::span<const int> relevant) {
  elimination_.Clear();
  int kept = -1;
  for (int v : relevant) {
    if (!findings_.IsAxis(v)) continue;
    variableOf_[v] = elimination_.AddVariable(v, structure_.numstates[v]);
    if (v == node) kept = variableOf_[v];
  }
  for (int v : relevant) {
    AddTable(v);
    const Finding& finding = findings_[v];
    if (!finding.weighted) continue;
    TableKey key;
    key.Mix(finding.serial);
    elimination_.AddFactor(finding.floats.data(), 0, structure_.numstates[v], finding.range, key);
    if (findings_.IsAxis(v)) elimination_.AddAxis(variableOf_[v], 1);
  }
  return kept;
}

// Whether messages would take less than the cost, or would once the tree is up to date and that is not far away.
bool Question::TreeServes(int node, double cost) {
  const bool isNear = cost < LOOKED_AHEAD && CLEARLY_LESS * costs_.OfPath(node) < cost;
  const double limit = isNear ? CATCHING_UP * cost : cost;
  return costs_.OfTree(node, limit) < limit;
}

// A tree brought up to date once may serve questions to come at less. Where it did not, it has to wait longer.
bool Question::TreeWouldPay(int node, double cost) {
  if (numCollections_ != propagation_.NumCollections()) sinceTree_ = lookAgain_ = 0;
  numCollections_ = propagation_.NumCollections();
  sinceTree_ += cost;
  if (sinceTree_ <= lookAgain_) return false;
  lookAgain_ = 2 * sinceTree_;
  const double ready = sinceTree_ / patience_;
  if (costs_.OfTree(node, ready) >= ready || costs_.OfPath(node) >= cost / 2) return false;
  patience_ *= 2;
  return true;
}

// What the tree would take. Looking through the whole of it for what is out of date costs as much as a small question,
// which is therefore asked without a limit where the tree is not near.
double Question::CostLimit(int node, int numRelevant) {
  const bool isSmall = numRelevant < FEW_NODES;
  const double limit = costs_.OfTree(node, isSmall ? LOOKED_AHEAD : HUGE_COST);
  return isSmall && limit >= LOOKED_AHEAD ? HUGE_COST : limit;
}

bool Question::Ask(int node, std::span<float> to, Status* answer) {
  if (mode_.maximize || propagation_.IsWide() || mode_.way == Way::TREE || !AreTablesSure()) return false;
  const bool compares = mode_.way == Way::CHEAPEST, isAsked = node != NO_NODE;
  *answer = Status::Done;
  if (!isAsked && findings_.Unchecked().empty()) return true;
  if (compares && costs_.OfTree(node, cost::SMALL) < cost::SMALL) return false;
  // What matters to the node, and to whether the findings are possible.
  targets_.clear();
  if (isAsked) targets_.push_back(node);
  targets_.insert(targets_.end(), findings_.Unchecked().begin(), findings_.Unchecked().end());
  const Vector<int>& relevant = relevance_.Find(targets_);
  costs_.Spend(cost::LOOK / 2 * relevance_.NumVisits());
  if (relevant.size() > MOST_NODES || !FitsFloats(relevant)) return false;
  // The way is chosen in two steps: before the order of elimination is looked for, and when its cost is known.
  const double looking = cost::QUESTION + cost::RELEVANT_NODE * relevant.size();
  if (compares && TreeServes(node, looking + cost::RELEVANT_VARIABLE * relevant.size())) return false;
  const int kept = GatherFactors(node, relevant);
  const double limit = compares ? CostLimit(node, relevant.size()) : HUGE_COST;
  const double cost = looking + elimination_.Plan(kept, limit);
  if (cost >= limit) return false;
  if (compares && (TreeServes(node, cost) || TreeWouldPay(node, cost))) return false;
  weights_.assign(isAsked ? to.size() : 1, 0.0);
  elimination_.Watch(mode_.watch);
  const Outcome outcome = elimination_.Run(mode_.kernels, weights_.data());
  if (outcome == Outcome::DOUBTFUL) return false;
  if (outcome == Outcome::ZERO) {
    *answer = Status::Inconsistent;
    return true;
  }
  findings_.CheckAll();
  costs_.Spend(cost);
  if (isAsked) marginals_.Normalize(weights_.data(), to);
  return true;
}

}  // namespace bravic::engine

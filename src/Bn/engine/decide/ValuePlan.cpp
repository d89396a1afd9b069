#include "Bn/engine/decide/ValuePlan.h"

#include <algorithm>

namespace bravic::engine {

namespace {

class Planner {
 public:
  Planner(std::span<const int> numstates, std::span<const unsigned char> isKept, ValuePlan* plan)
      : numstates_(numstates),
        plan_(*plan),
        tablesOf_(Count(numstates)),
        cost_(Count(numstates), 0),
        seen_(Count(numstates), 0) {
    for (int t = 0; t < plan_.tables.size(); ++t) List(t);
    for (int v = 0; v < Count(numstates); ++v) {
      if (isKept[v] || tablesOf_[v].empty()) continue;
      open_.push_back(v);
      isOpen_.GrowTo(v + 1);
      isOpen_[v] = 1;
      cost_[v] = SizeOf(UnionOf(tablesOf_[v]));
    }
  }

  void Run() {
    while (!open_.empty()) {
      int best = 0;
      for (int i = 1; i < open_.size(); ++i) {
        if (cost_[open_[i]] < cost_[open_[best]]) best = i;
      }
      const int variable = open_[best];
      open_.erase(open_.begin() + best);  // the others stay in their order, for ties
      isOpen_[variable] = 0;
      Eliminate(variable);
    }
    for (int t = 0; t < plan_.tables.size(); ++t) {
      if (!isGone_[t]) plan_.left.push_back(t);
    }
  }

 private:
  double SizeOf(const Vector<int>& variables) const {
    double size = 1;
    for (int v : variables) size *= numstates_[v];
    return size;
  }
  // Ascending.
  Vector<int> UnionOf(const Vector<int>& tables) {
    ++stamp_;
    Vector<int> all;
    for (int t : tables) {
      for (int v : plan_.tables[t].variables) {
        if (seen_[v] == stamp_) continue;
        seen_[v] = stamp_;
        all.push_back(v);
      }
    }
    std::sort(all.begin(), all.end());
    return all;
  }
  void List(int table) {
    for (int v : plan_.tables[table].variables) tablesOf_[v].push_back(table);
    isGone_.push_back(0);
  }
  void Unlist(int table) {
    isGone_[table] = 1;
    for (int v : plan_.tables[table].variables) {
      Vector<int>& tables = tablesOf_[v];
      tables.erase(std::find(tables.begin(), tables.end(), table));
    }
  }
  static Vector<int> Without(const Vector<int>& variables, int variable) {
    Vector<int> rest;
    for (int v : variables) {
      if (v != variable) rest.push_back(v);
    }
    return rest;
  }
  int AddTable(ValuePlan::Table table) {
    held_ += SizeOf(table.variables);
    plan_.tables.push_back(std::move(table));
    List(plan_.tables.size() - 1);
    return plan_.tables.size() - 1;
  }
  void Eliminate(int variable) {
    ValuePlan::Step step;
    step.variable = variable;
    ValuePlan::Table probability, utility;
    probability.isDistribution = true;
    for (int t : tablesOf_[variable]) {
      const ValuePlan::Table& table = plan_.tables[t];
      (table.isUtility ? step.utilities : step.probabilities).push_back(t);
      if (table.isUtility) continue;
      probability.isDistribution = probability.isDistribution && table.isDistribution;
      for (int head : table.heads) {
        if (head != variable) probability.heads.push_back(head);
      }
    }
    const Vector<int> all = UnionOf(tablesOf_[variable]);
    step.condition = Without(UnionOf(step.probabilities), variable);
    probability.variables = step.condition;
    utility.variables = Without(all, variable);
    utility.isUtility = true;
    const double size = SizeOf(all);
    plan_.entries += size;
    plan_.largest = std::max(plan_.largest, size);
    double freed = 0;
    const Vector<int> inputs = tablesOf_[variable];
    for (int t : inputs) {
      if (t >= numGiven_) freed += SizeOf(plan_.tables[t].variables);
      Unlist(t);
    }
    const bool sumsToOne = probability.isDistribution && probability.heads.empty();
    if (!sumsToOne) step.newProbability = AddTable(std::move(probability));
    if (!step.utilities.empty()) step.newUtility = AddTable(std::move(utility));
    // What each state is worth given the condition stands beside them for a while.
    plan_.held = std::max(plan_.held, held_ + SizeOf(step.condition) * numstates_[variable]);
    held_ -= freed;
    for (int v : all) {
      if (v < isOpen_.size() && isOpen_[v]) cost_[v] = SizeOf(UnionOf(tablesOf_[v]));
    }
    plan_.steps.push_back(std::move(step));
  }

  std::span<const int> numstates_;
  ValuePlan& plan_;
  const int numGiven_ = plan_.tables.size();
  double held_ = 0;
  Vector<Vector<int>> tablesOf_;  // [variable]
  Vector<unsigned char> isGone_;  // [table]
  Vector<int> open_;              // variables that are to go, ascending
  Vector<unsigned char> isOpen_;  // [variable]
  Vector<double> cost_;           // [variable] entries that its step would go over
  Vector<int> seen_;              // [variable] the stamp of when it was met
  int stamp_ = 0;
};

}  // namespace

void PlanElimination(std::span<const int> numstates, std::span<const unsigned char> isKept, ValuePlan* plan) {
  Planner(numstates, isKept, plan).Run();
}

}  // namespace bravic::engine

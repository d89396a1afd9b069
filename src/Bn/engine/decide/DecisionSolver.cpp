#include "Bn/engine/decide/DecisionSolver.h"

#include <algorithm>

namespace bravic::engine {

namespace {

constexpr double ROUNDING = 1e-12;  // expectations that differ by less than this share are equal
constexpr int MANY_ROUNDS = 1000;   // a quotient is maximal after a few; each takes a better policy than the last

void SortOnce(Vector<int>* items) {
  std::sort(items->begin(), items->end());
  items->erase(std::unique(items->begin(), items->end()), items->end());
}

bool IsBetter(double value, double than) {
  return value > than + ROUNDING * std::max(std::fabs(value), std::fabs(than)) || (value > than && std::isinf(than));
}

bool AreSame(const Policy& a, const Policy& b) {
  return a.domain == b.domain && std::equal(a.choices.get(), a.choices.get() + a.size, b.choices.get());
}

}  // namespace

DecisionSolver::DecisionSolver(const DecisionModel& model, ProgressFunction progress)
    : model_(model), graph_(model), policies_(model.items.size()) {
  interrupt_.Start(
      [this, report = std::move(progress)](double) {
        return report && report(static_cast<double>(numImproved_) / std::max(decisions_.size(), 1));
      },
      1);
  for (int i = 0; i < model.items.size(); ++i) {
    const DecisionModel::Item& item = model.items[i];
    numstates_.push_back(item.isKnown ? 1 : item.numstates);
    if (item.role == Role::DECISION && !item.isKnown) decisions_.push_back(i);
    if (item.role == Role::UTILITY) utilities_.push_back(i);
    if (item.role == Role::WEIGHT || (item.role == Role::CHANCE && item.isKnown)) bearers_.push_back(i);
  }
  FindWeighed();
}

void DecisionSolver::FindWeighed() {
  isWeighed_ = graph_.AncestorsOf(bearers_);
}

// ---- Eliminations ----

// The policy's table: 1 where it chooses the state.
Block<double> DecisionSolver::PolicyTable(int decision, bool isUniform, Vector<int>* variables) const {
  const Policy& policy = policies_[decision];
  const Vector<unsigned char>& isAllowed = model_.items[decision].isAllowed;
  const int own = numstates_[decision];
  if (isUniform || !policy.choices) {
    *variables = {decision};
    Block<double> table = TryMakeBlock<double>(static_cast<std::size_t>(own));
    const auto allowed = std::count(isAllowed.begin(), isAllowed.end(), 1);
    for (int s = 0; table && s < own; ++s) table[s] = isAllowed[s] / static_cast<double>(allowed);
    return table;
  }
  *variables = policy.domain;
  variables->push_back(decision);
  const std::size_t size = static_cast<std::size_t>(policy.size) * own;
  Block<double> table = TryMakeBlock<double>(size);
  if (!table) return table;
  std::fill_n(table.get(), size, 0.0);
  for (int row = 0; row < policy.size; ++row) table[static_cast<std::size_t>(row) * own + policy.choices[row]] = 1;
  return table;
}

template <class Number>
ValueOutcome DecisionSolver::FillElimination(const Task& task, ValueElimination<Number>* elimination) {
  scratch_.clear();
  for (int i = 0; i < task.tables.size(); ++i) {
    if (!task.tables[i]) continue;
    const DecisionModel::Item& item = model_.items[i];
    ValueOutcome outcome = ValueOutcome::Done;
    if (item.role == Role::CHANCE) {
      outcome = elimination->AddProbabilities(item.variables, item.entries.get(), item.isKnown ? -1 : i);
    } else if (item.role == Role::WEIGHT) {
      outcome = elimination->AddWeights(item.variables, item.weights.get());
    } else if (item.role == Role::UTILITY) {
      if (!item.entries) continue;  // it has no utility of its own
      const double* entries = item.entries.get();
      if (task.ignoresImpossible &&
          std::find(entries, entries + item.size, IMPOSSIBLE_UTILITY) != entries + item.size) {
        scratch_.push_back(TryMakeBlock<double>(static_cast<std::size_t>(item.size)));
        if (!scratch_.back()) return ValueOutcome::NoMemory;
        std::replace_copy(entries, entries + item.size, scratch_.back().get(), IMPOSSIBLE_UTILITY, 0.0);
        entries = scratch_.back().get();
      }
      elimination->AddUtilities(item.variables, entries);
    } else if (!item.isKnown) {
      Vector<int> variables;
      scratch_.push_back(PolicyTable(i, task.areUniform, &variables));
      if (!scratch_.back()) return ValueOutcome::NoMemory;
      outcome = elimination->AddProbabilities(variables, scratch_.back().get(), i);
    }
    if (outcome != ValueOutcome::Done) return outcome;
  }
  return ValueOutcome::Done;
}

template <class Number, class Use>
ValueOutcome DecisionSolver::RunAs(const Task& task, Use use) {
  ValueElimination<Number> elimination(numstates_, &interrupt_);
  ValueOutcome outcome = FillElimination(task, &elimination);
  if (outcome == ValueOutcome::Done) outcome = elimination.Run(task.isKept);
  bytesNeeded_ = elimination.BytesNeeded();
  return outcome == ValueOutcome::Done ? use(elimination) : outcome;
}

// use(elimination) takes what it has left.
template <class Use>
ValueOutcome DecisionSolver::Run(const Task& task, Use use) {
  const ValueOutcome outcome = RunAs<double>(task, use);
  return outcome == ValueOutcome::Doubtful ? RunAs<WideNumber>(task, use) : outcome;
}

ValueOutcome DecisionSolver::Expect(double* value) {
  Task task;
  Vector<int> targets = utilities_;
  targets.insert(targets.end(), bearers_.begin(), bearers_.end());
  task.tables = graph_.AncestorsOf(targets);
  task.isKept.assign(numstates_.size(), 0);
  task.ignoresImpossible = true;
  return Run(task, [value](const auto& elimination) {
    *value = 0;
    for (const auto& table : elimination.Left()) {
      if (table.utilities) *value += table.utilities[0];
      if (table.probabilities && !IsPositive(table.probabilities[0])) return ValueOutcome::Inconsistent;
    }
    return std::isnan(*value) ? ValueOutcome::Undefined : ValueOutcome::Done;
  });
}

// ---- One decision ----

Vector<int> DecisionSolver::UtilitiesAfter(int decision) const {
  const Vector<unsigned char> follows = graph_.DescendantsOf(decision);
  Vector<int> after;
  for (int utility : utilities_) {
    if (follows[utility]) after.push_back(utility);
  }
  return after;
}

Vector<int> DecisionSolver::KnownWith(int decision) const {
  Vector<int> known = graph_.Parents(decision);
  known.push_back(decision);
  return known;
}

ValueOutcome DecisionSolver::FindValues(int decision, ChoiceValues* values) {
  const bool isWeighed = isWeighed_[decision];
  const Vector<int> known = KnownWith(decision);
  Task task;
  if (isWeighed) {
    Vector<int> targets = utilities_;
    targets.insert(targets.end(), bearers_.begin(), bearers_.end());
    task.tables = graph_.AncestorsOf(targets);
  } else {
    task.tables = graph_.Matters(UtilitiesAfter(decision), known).tables;
  }
  task.tables[decision] = 0;
  task.isKept.assign(numstates_.size(), 0);
  for (int item : known) task.isKept[item] = 1;
  return Run(task, [&](const auto& elimination) {
    *values = {};
    const ValueOutcome outcome = FindChoiceValues(elimination, decision, numstates_, isWeighed, &interrupt_, values);
    bytesNeeded_ = std::max(bytesNeeded_, values->bytes);
    return outcome;
  });
}

// Below what any policy is worth.
double DecisionSolver::LowerBound() const {
  double bound = -1;
  for (int utility : utilities_) {
    const DecisionModel::Item& item = model_.items[utility];
    double largest = 0;
    for (int k = 0; item.entries && k < item.size; ++k) {
      if (std::isfinite(item.entries[k])) largest = std::max(largest, std::fabs(item.entries[k]));
    }
    bound -= 2 * largest;
  }
  return bound;
}

ValueOutcome DecisionSolver::ImproveWeighed(const ChoiceValues& values, int decision, Policy* policy) {
  double takenOff = LowerBound();
  for (int round = 0; round < MANY_ROUNDS && std::isfinite(takenOff); ++round) {
    Policy next;
    double value;
    const ValueOutcome outcome = ChooseBest(values, model_.items[decision].isAllowed, takenOff, &interrupt_, &next);
    if (outcome != ValueOutcome::Done) return outcome;
    const bool isPossible = ValueOfPolicy(values, next, &value);
    if (round == 0 && !isPossible) return ValueOutcome::Inconsistent;
    if (round > 0 && (!isPossible || !IsBetter(value, takenOff))) break;
    *policy = std::move(next);
    takenOff = value;
  }
  return ValueOutcome::Done;
}

ValueOutcome DecisionSolver::Improve(int decision, Policy* policy) {
  ChoiceValues values;
  const ValueOutcome outcome = FindValues(decision, &values);
  if (outcome != ValueOutcome::Done) return outcome;
  ++numImproved_;
  if (isWeighed_[decision]) return ImproveWeighed(values, decision, policy);
  return ChooseBest(values, model_.items[decision].isAllowed, 0, &interrupt_, policy);
}

// ---- What the links say ----

// Decisions whose best policy needs no policy that is yet to come go first; where there are none, the last does.
// needs: [place in decisions_] the decisions whose policies bear on it.
Vector<int> DecisionSolver::RelevanceOrder(Vector<Vector<int>>* needs) const {
  const int n = decisions_.size();
  needs->resize(n);
  for (int i = 0; i < n; ++i) {
    const int decision = decisions_[i];
    const Vector<unsigned char> matters = isWeighed_[decision]
                                              ? Vector<unsigned char>(numstates_.size(), 1)
                                              : graph_.Matters(UtilitiesAfter(decision), KnownWith(decision)).tables;
    for (int k = 0; k < n; ++k) {
      if (k != i && matters[decisions_[k]]) (*needs)[i].push_back(k);
    }
  }
  Vector<int> order;
  Vector<unsigned char> isPlaced(n, 0);
  while (order.size() < n) {
    int next = -1;
    for (int i = n; i-- > 0;) {
      if (isPlaced[i]) continue;
      if (next < 0) next = i;
      if (!std::all_of((*needs)[i].begin(), (*needs)[i].end(), [&](int k) { return isPlaced[k]; })) continue;
      next = i;
      break;
    }
    isPlaced[next] = 1;
    order.push_back(next);
  }
  return order;
}

// Rounds over those decisions on which others bear whose policies have changed since, until none is better.
ValueOutcome DecisionSolver::ImproveFurther(const Vector<int>& order, const Vector<Vector<int>>& needs) {
  Vector<int> lookedAt(order.size(), 0), changedAt(order.size(), 0);  // [place in decisions_] times
  int time = 0;
  for (int i : order) lookedAt[i] = changedAt[i] = ++time;
  double value = 0;
  bool isValued = false;
  for (bool changed = true; changed;) {
    changed = false;
    for (int i : order) {
      const int decision = decisions_[i];
      const auto isNewer = [&](int k) { return changedAt[k] > lookedAt[i]; };
      if (std::none_of(needs[i].begin(), needs[i].end(), isNewer)) continue;
      ValueOutcome outcome = isValued ? ValueOutcome::Done : Expect(&value);
      isValued = true;
      lookedAt[i] = ++time;
      Policy next;
      if (outcome == ValueOutcome::Done) outcome = Improve(decision, &next);
      if (outcome != ValueOutcome::Done) return outcome;
      if (AreSame(next, policies_[decision])) continue;
      std::swap(next, policies_[decision]);
      double nextValue;
      outcome = Expect(&nextValue);
      if (outcome == ValueOutcome::Done && IsBetter(nextValue, value)) {
        value = nextValue;
        changedAt[i] = time;
        changed = true;
        continue;
      }
      std::swap(next, policies_[decision]);
      if (outcome != ValueOutcome::Done && outcome != ValueOutcome::Inconsistent) return outcome;
    }
  }
  return ValueOutcome::Done;
}

ValueOutcome DecisionSolver::SolveLimited() {
  Vector<Vector<int>> needs;
  const Vector<int> order = RelevanceOrder(&needs);
  for (int i : order) {
    const ValueOutcome outcome = Improve(decisions_[i], &policies_[decisions_[i]]);
    if (outcome != ValueOutcome::Done) return outcome;
  }
  return ImproveFurther(order, needs);
}

// ---- Nothing forgotten ----

// The last decision first; value: what the policies are worth. Inconsistent where they avoid all that the findings
// allow, since that is worth less than the amount.
ValueOutcome DecisionSolver::ChooseAll(const Vector<int>& decisions, double takenOff, double* value) {
  for (int k = decisions.size(); k-- > 0;) {
    const int decision = decisions[k];
    ChoiceValues values;
    ValueOutcome outcome = FindValues(decision, &values);
    const double off = isWeighed_[decision] ? takenOff : 0;
    if (outcome == ValueOutcome::Done) {
      outcome = ChooseBest(values, model_.items[decision].isAllowed, off, &interrupt_, &policies_[decision]);
    }
    if (outcome != ValueOutcome::Done) return outcome;
  }
  return Expect(value);
}

// What is worth most is found for ever larger amounts taken off, until nothing is gained.
ValueOutcome DecisionSolver::SolveFullWeighed(const Vector<int>& decisions) {
  Vector<Policy> best(policies_.size());
  double takenOff = LowerBound();
  for (int round = 0; round < MANY_ROUNDS; ++round) {
    double value;
    const ValueOutcome outcome = ChooseAll(decisions, takenOff, &value);
    if (outcome != ValueOutcome::Done && (round == 0 || outcome != ValueOutcome::Inconsistent)) return outcome;
    if (round > 0 && (outcome != ValueOutcome::Done || !IsBetter(value, takenOff))) break;
    takenOff = value;
    best.swap(policies_);
    for (Policy& policy : policies_) policy = {};  // those before a decision choose all states alike
  }
  best.swap(policies_);
  return ValueOutcome::Done;
}

ValueOutcome DecisionSolver::SolveFull(const Vector<int>& decisions, int firstTold, int told) {
  Vector<int> known;
  for (int decision : decisions) {
    const Vector<int>& parents = graph_.Parents(decision);
    known.insert(known.end(), parents.begin(), parents.end());
    if (decision == firstTold) known.push_back(told);
    SortOnce(&known);
    graph_.SetKnows(decision, known);
    known.push_back(decision);
  }
  FindWeighed();
  for (int decision : decisions) {
    if (isWeighed_[decision]) return SolveFullWeighed(decisions);
  }
  for (int k = decisions.size(); k-- > 0;) {
    const ValueOutcome outcome = Improve(decisions[k], &policies_[decisions[k]]);
    if (outcome != ValueOutcome::Done) return outcome;
  }
  return ValueOutcome::Done;
}

// ---- Onto the parents ----

// [configuration of what the policy depends on] whether it can occur, whatever is decided.
ValueOutcome DecisionSolver::FindPossible(int decision, Block<unsigned char>* isPossible) {
  const Policy& policy = policies_[decision];
  *isPossible = TryMakeBlock<unsigned char>(static_cast<std::size_t>(policy.size));
  if (!*isPossible) return ValueOutcome::NoMemory;
  Task task;
  Vector<int> targets = policy.domain;
  targets.insert(targets.end(), bearers_.begin(), bearers_.end());
  task.tables = graph_.AncestorsOf(targets);
  task.isKept.assign(numstates_.size(), 0);
  for (int v : policy.domain) task.isKept[v] = 1;
  task.areUniform = true;
  return Run(task, [&](const auto& elimination) {
    TableWalk walk(policy.domain, numstates_);
    const auto tables = elimination.Left();
    for (const auto& table : tables) walk.Add(table.variables);
    int row = 0;
    do {
      unsigned char all = 1;
      for (int t = 0; t < tables.size(); ++t) all = all && IsPositive(tables[t].probabilities[walk.At(t)]);
      (*isPossible)[row++] = all;
    } while (walk.Next());
    return ValueOutcome::Done;
  });
}

// choice: the state that the decision takes wherever it may come to decide, or -1 where there are several.
ValueOutcome DecisionSolver::FindOnlyChoice(int decision, int* choice) {
  const Policy& policy = policies_[decision];
  Block<unsigned char> isPossible;
  const ValueOutcome outcome = FindPossible(decision, &isPossible);
  if (outcome != ValueOutcome::Done) return outcome;
  *choice = -1;
  for (int row = 0; row < policy.size; ++row) {
    if (!isPossible[row] || policy.choices[row] == *choice) continue;
    if (*choice >= 0) {
      *choice = -1;
      break;
    }
    *choice = policy.choices[row];
  }
  return ValueOutcome::Done;
}

ValueOutcome DecisionSolver::FitToParents(int decision, int* missing) {
  const Policy& policy = policies_[decision];
  Vector<unsigned char> isKept(numstates_.size(), 0);
  for (int parent : model_.items[decision].parents) isKept[parent] = 1;
  *missing = -1;
  if (std::all_of(policy.domain.begin(), policy.domain.end(), [&](int v) { return isKept[v]; })) {
    return ValueOutcome::Done;
  }
  Block<unsigned char> isPossible;
  Policy onto;
  ValueOutcome outcome = FindPossible(decision, &isPossible);
  if (outcome == ValueOutcome::Done) {
    outcome = ProjectPolicy(policy, numstates_, isKept, {}, isPossible.get(), &onto, missing);
  }
  if (outcome != ValueOutcome::Done) return outcome;
  if (*missing >= 0) {
    // What an earlier decision always chooses need not be told.
    Vector<int> only(policy.domain.size(), -1);
    int taken = -1;
    for (int k = 0; k < only.size(); ++k) {
      const int v = policy.domain[k];
      if (isKept[v] || model_.items[v].role != Role::DECISION) continue;
      outcome = FindOnlyChoice(v, &only[k]);
      if (outcome != ValueOutcome::Done) return outcome;
      if (only[k] >= 0 && taken < 0) taken = v;
    }
    if (taken < 0) return ValueOutcome::Done;
    onto = {};
    outcome = ProjectPolicy(policy, numstates_, isKept, only, isPossible.get(), &onto, missing);
    if (outcome != ValueOutcome::Done || *missing >= 0) return outcome;
    // But a decision that would not matter then, and does otherwise, would be left with a table that says nothing.
    if (std::all_of(onto.isClose.get(), onto.isClose.get() + onto.size, [](unsigned char c) { return c != 0; })) {
      *missing = taken;
      return ValueOutcome::Done;
    }
  }
  policies_[decision] = std::move(onto);
  return ValueOutcome::Done;
}

}  // namespace bravic::engine

#include "Bn/decide/Solve.h"

#include <algorithm>

#include "Bn/compiled/CompileGraph.h"
#include "Bn/decide/Utility.h"
#include "Bn/engine/decide/DecisionSolver.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/Parents.h"
#include "Bn/model/Relation.h"
#include "Bn/model/Tables.h"
#include "Bn/model/Undo.h"

namespace bravic {
namespace {

constexpr double ROW_WORK = 20;  // nanoseconds, about, to fill a row of a decision's table

Vector<int> ItemsOf(std::span<const node_bn> decisions) {
  Vector<int> items;
  for (node_bn decision : decisions) items.push_back(decision->scratch);
  return items;
}

// Those that are not made, in node order.
Vector<node_bn> OpenDecisions(std::span<const node_bn> nodes) {
  Vector<node_bn> decisions;
  for (node_bn node : nodes) {
    if (node->kind == DECISION_NODE && node->evidence < 0) decisions.push_back(node);
  }
  return decisions;
}

Failure CheckOrder(std::span<const node_bn> decisions) {
  for (int i = 1; i < Count(decisions); ++i) {
    if (!IsAncestor(decisions[i - 1], decisions[i])) {
      return Fail(DECISIONS_NOT_ORDERED, decisions[i - 1]->name, decisions[i]->name);
    }
  }
  return nullptr;
}

// The policy as a function table over all the decision's parents.
Failure SpreadPolicy(node_bn decision, const engine::Policy& policy, std::span<const node_bn> nodes, LongWork& work,
                     Block<statetype>* table) {
  const auto parents = Entries(decision->preds);
  const long long rows = NumConfigurations(parents);
  if (rows > 0) *table = TryMakeBlock<statetype>(static_cast<std::size_t>(rows));
  if (!*table) {
    return FailMemory(NO_MEMORY_FOR_DECISION_TABLE, std::max(0.0, static_cast<double>(rows)) * sizeof(statetype),
                      decision->name);
  }
  Vector<int> places;  // of what it depends on, among the parents
  for (int v : policy.domain) places.push_back(IndexIn(decision->preds, nodes[v]));
  Vector<statetype> states(parents.size() + 1, 0);
  for (long long row = 0; row < rows; ++row) {
    if (work.Halts(ROW_WORK)) return FailHalted();
    int at = 0;
    for (int k = 0; k < places.size(); ++k) at = at * nodes[policy.domain[k]]->numstates + states[places[k]];
    (*table)[static_cast<std::size_t>(row)] = policy.choices[at];
    NextConfiguration(parents, states.data());
  }
  return nullptr;
}

// The best tables, in the order of the decisions.
Failure FindTables(std::span<const node_bn> nodes, std::span<const node_bn> decisions, Memory memory,
                   Vector<ChosenTable>* tables) {
  engine::DecisionModel model;
  if (Failure failure = MakeDiagram(nodes, DecisionsAre::Open, {}, &model)) return failure;
  LongWork work("Solving decisions", 0, Showing::Always);
  engine::DecisionSolver solver(model, ProgressOf(work));
  const auto failureOf = [&](engine::ValueOutcome outcome) { return FailureOf(outcome, solver.BytesNeeded(), nodes); };
  const engine::ValueOutcome outcome =
      memory == Memory::OfLinks ? solver.SolveLimited() : solver.SolveFull(ItemsOf(decisions));
  if (Failure failure = failureOf(outcome)) return failure;
  for (node_bn decision : decisions) {
    if (memory == Memory::OfAll) {
      int missing;
      if (Failure failure = failureOf(solver.FitToParents(decision->scratch, &missing))) return failure;
      if (missing >= 0) return Fail(POLICY_NEEDS_LINK, decision->name, nodes[missing]->name);
    }
    ChosenTable table{decision, nullptr};
    const engine::Policy& policy = solver.PolicyOf(decision->scratch);
    if (Failure failure = SpreadPolicy(decision, policy, nodes, work, &table.states)) return failure;
    tables->push_back(std::move(table));
  }
  return nullptr;
}

Failure Solve(net_bn net, Memory memory, double* utility) {
  const Vector<node_bn> nodes = CompileNodes(net), decisions = OpenDecisions(nodes);
  if (Failure failure = CheckDecisions(nodes)) return failure;
  if (memory == Memory::OfAll) {
    if (Failure failure = CheckOrder(decisions)) return failure;
  }
  Vector<ChosenTable> tables;
  if (Failure failure = FindTables(nodes, decisions, memory, &tables)) return failure;
  if (Failure failure = ExpectedUtility(nodes, tables, utility)) return failure;
  UndoGroup group(UNDO_DECISION, net);
  for (ChosenTable& table : tables) {
    Relation relation;
    relation.determin = table.states.release();
    InstallRelation(table.decision, relation);
  }
  return nullptr;
}

// What the best policies are worth where nothing is forgotten, and the decision at firstTold is told of one more node.
Failure BestUtility(std::span<const node_bn> nodes, std::span<const node_bn> decisions, int firstTold, int told,
                    double* utility) {
  engine::DecisionModel model;
  if (Failure failure = MakeDiagram(nodes, DecisionsAre::Open, {}, &model)) return failure;
  LongWork work("Finding the value of observing", 0, Showing::Always);
  engine::DecisionSolver solver(model, ProgressOf(work));
  engine::ValueOutcome outcome = solver.SolveFull(ItemsOf(decisions), firstTold, told);
  if (outcome == engine::ValueOutcome::Done) outcome = solver.Expect(utility);
  return FailureOf(outcome, solver.BytesNeeded(), nodes);
}

Failure FindValue(node_bn node, node_bn decision, double* value) {
  const Vector<node_bn> nodes = CompileNodes(node->innet), decisions = OpenDecisions(nodes);
  if (node->kind != NATURE_NODE) return Fail(OBSERVED_NOT_NATURE, node->name);
  if (decision->kind != DECISION_NODE) return Fail(NOT_A_DECISION, decision->name);
  if (IsAncestor(decision, node)) return Fail(OBSERVED_FOLLOWS_DECISION, decision->name);
  if (Failure failure = CheckDecisions(nodes)) return failure;
  if (Failure failure = CheckOrder(decisions)) return failure;
  for (int i = 0; i < nodes.size(); ++i) nodes[i]->scratch = i;
  // The first that is not made yet, from that one on.
  int first = -1;
  for (node_bn open : decisions) {
    if (first < 0 && IsAncestor(decision, open)) first = open->scratch;
  }
  double with, without;
  if (Failure failure = BestUtility(nodes, decisions, -1, -1, &without)) return failure;
  *value = 0;
  if (first < 0 || node->evidence >= 0) return nullptr;
  if (Failure failure = BestUtility(nodes, decisions, first, node->scratch, &with)) return failure;
  *value = std::max(0.0, with - without);  // knowing more never costs anything
  return nullptr;
}

}  // namespace

Failure SolveDecisions(net_bn net, Memory memory, double* utility) {
  Failure failure = Solve(net, memory, utility);
  if (!failure || failure->number == HALTED.number) return failure;
  const char* reason = failure->mesg;
  return Rephrase(std::move(failure), AROUND_DECIDING, net->name, reason);
}

Failure ValueOfObserving(node_bn node, node_bn decision, double* value) {
  Failure failure = FindValue(node, decision, value);
  if (!failure || failure->number == HALTED.number) return failure;
  const char* reason = failure->mesg;
  return Rephrase(std::move(failure), AROUND_OBSERVING, node->name, reason);
}

}  // namespace bravic

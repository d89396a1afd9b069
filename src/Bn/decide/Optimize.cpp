#include "Bn/decide/Optimize.h"

#include <algorithm>

#include "Bn/compiled/CompileGraph.h"
#include "Bn/decide/Absorb.h"
#include "Bn/decide/Utility.h"
#include "Bn/model/Checks.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/Parents.h"
#include "Bn/model/Relation.h"
#include "Bn/model/TableForms.h"
#include "Bn/model/Tables.h"
#include "Bn/model/Undo.h"

namespace bravic {
namespace {

Failure WrapOptimize(Failure failure, net_bn net) {
  if (!failure || failure->number == HALTED.number) return failure;
  const char* reason = failure->mesg;
  return Rephrase(std::move(failure), AROUND_OPTIMIZING, net->name, reason);
}

// Decisions come in node order. Each must know every earlier one and all that the earlier one knew.
Failure CheckNoForgetting(std::span<const node_bn> decisions) {
  int missing = 0;
  node_bn from = nullptr, to = nullptr;  // of the first missing link
  Vector<node_bn> counted;               // as parents of the present decision
  const auto require = [&](node_bn parent, node_bn decision) {
    const bool isCounted = std::find(counted.begin(), counted.end(), parent) != counted.end();
    if (IndexIn(decision->preds, parent) >= 0 || isCounted) return;
    counted.push_back(parent);
    if (missing++ > 0) return;
    from = parent;
    to = decision;
  };
  for (int i = 1; i < Count(decisions); ++i) {
    if (!IsAncestor(decisions[i - 1], decisions[i])) {
      return Fail(DECISIONS_NOT_ORDERED, decisions[i - 1]->name, decisions[i]->name);
    }
    counted.clear();
    for (int k = 0; k < i; ++k) {
      require(decisions[k], decisions[i]);
      for (node_bn parent : decisions[k]->preds) {
        if (parent != decisions[i]) require(parent, decisions[i]);
      }
    }
  }
  if (missing == 0) return nullptr;
  if (missing == 1) return Fail(MISSING_MEMORY_LINK, from->name, to->name);
  return Fail(MISSING_MEMORY_LINKS, missing, from->name, to->name);
}

// The policy as a function table over all the decision's parents: those that were absorbed before it do not matter.
Block<statetype> SpreadPolicy(const Policy& policy) {
  node_bn decision = policy.decision;
  const auto parents = Entries(decision->preds);
  const auto rows = static_cast<std::size_t>(NumConfigurations(parents));
  Block<statetype> table = TryMakeBlock<statetype>(rows);
  if (!table) return table;
  Vector<statetype> states(parents.size() + 1, 0);
  for (std::size_t row = 0; row < rows; ++row) {
    std::size_t at = 0;
    // The policy's row of this configuration of all parents.
    for (node_bn parent : policy.parents) at = at * parent->numstates + states[IndexIn(decision->preds, parent)];
    table[row] = policy.states[at];
    NextConfiguration(parents, states.data());
  }
  return table;
}

}  // namespace

Failure OptimizeDecisions(net_bn net) {
  Vector<node_bn> nodes = CompileNodes(net), decisions;
  for (node_bn node : nodes) {
    if (node->kind == DECISION_NODE) decisions.push_back(node);
  }
  node_bn utility;
  if (Failure failure = FindUtility(nodes, &utility)) return WrapOptimize(std::move(failure), net);
  if (Failure failure = CheckReadiness(nodes, Purpose::Optimize, Extent::Tables, net)) return failure;
  if (Failure failure = CheckNoForgetting(decisions)) return WrapOptimize(std::move(failure), net);

  // Absorbing takes the net apart; the private undo puts it together again when its scope ends.
  Vector<Policy> policies;
  {
    PrivateUndo sandbox(net);
    LongWork work("Optimizing decisions", 0, Showing::Always);
    if (Failure failure = AbsorbNodes(net, nodes, &policies, work)) return WrapOptimize(std::move(failure), net);
  }
  Vector<Block<statetype>> tables;
  for (const Policy& policy : policies) {
    tables.push_back(SpreadPolicy(policy));
    if (!tables.back()) return WrapOptimize(FailMemory(NO_MEMORY_FOR_DECISION_TABLES, 0), net);
  }
  UndoGroup group(UNDO_DECISION, net);
  for (int i = 0; i < policies.size(); ++i) {
    Relation relation;
    relation.determin = tables[i].release();
    InstallRelation(policies[i].decision, relation);
  }
  return nullptr;
}

}  // namespace bravic

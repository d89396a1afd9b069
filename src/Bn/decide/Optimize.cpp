// Solving a decision network as a whole: the net is absorbed under a private undo, the policies are kept, everything
// is put back and each decision gets its policy as its function table. Also the expected utility of what stands.

#include <algorithm>

#include "Bn/compiled/Findings.h"
#include "Bn/compiled/Likelihood.h"
#include "Bn/decide/Absorb.h"
#include "Bn/engine/SearchOrder.h"
#include "Bn/engine/infer/Inference.h"
#include "Bn/model/Checks.h"
#include "Bn/model/Parents.h"
#include "Bn/model/Tables.h"
#include "Bn/model/Undo.h"

namespace bravic {

namespace {

Failure WrapOptimize(Failure failure, net_bn net) {
  if (!failure || failure->number == HALTED) return failure;
  return Fail(failure->number, "can't optimize net '%s', because %s", net->name, failure->mesg);
}

Vector<node_bn> NodesToSolve(net_bn net) {
  Vector<node_bn> nodes;
  for (node_bn node : OrderedNodes(net))
    if (node->kind != ASSUME_NODE) nodes.push_back(node);
  return nodes;
}

Failure FindUtility(std::span<const node_bn> nodes, node_bn* utility) {
  *utility = nullptr;
  for (node_bn node : nodes) {
    if (node->kind != UTILITY_NODE) continue;
    if (*utility)
      return Fail(-2113, "there is more than one utility node (e.g. '%s' and '%s')", (*utility)->name, node->name);
    *utility = node;
  }
  return *utility ? nullptr : Fail(-2262, "there is no utility node");
}

// Decisions come in node order. Each must know every earlier one and all that the earlier one knew.
Failure CheckNoForgetting(std::span<const node_bn> decisions) {
  int missing = 0;
  node_bn from = nullptr, to = nullptr;
  Vector<node_bn> counted;  // as parents of the present decision
  auto require = [&](node_bn parent, node_bn decision) {
    if (IndexIn(decision->preds, parent) >= 0 || std::count(counted.begin(), counted.end(), parent) > 0) return;
    counted.push_back(parent);
    if (missing++ == 0) from = parent, to = decision;
  };
  for (std::size_t i = 1; i < decisions.size(); ++i) {
    if (!IsAncestor(decisions[i - 1], decisions[i]))
      return Fail(-2265, "its decisions are not totally ordered (no directed path leads from '%s' to '%s')",
                  decisions[i - 1]->name, decisions[i]->name);
    counted.clear();
    for (std::size_t k = 0; k < i; ++k) {
      require(decisions[k], decisions[i]);
      for (node_bn parent : decisions[k]->preds)
        if (parent != decisions[i]) require(parent, decisions[i]);
    }
  }
  if (missing == 0) return nullptr;
  if (missing == 1) return Fail(-2263, "it has a missing no-forgetting link ('%s' -> '%s')", from->name, to->name);
  return Fail(-2264, "it has %d missing no-forgetting links (e.g., '%s' -> '%s')", missing, from->name, to->name);
}

// The policy as a function table over all the decision's parents: those that were absorbed before it do not matter.
Block<statetype> SpreadPolicy(const Policy& policy) {
  node_bn decision = policy.decision;
  const auto parents = Entries(decision->preds);
  long long rows = NumConfigurations(parents);
  Block<statetype> table = TryMakeBlock<statetype>(static_cast<std::size_t>(rows));
  if (!table) return table;
  Vector<statetype> states(parents.size() + 1, 0);
  for (long long row = 0; row < rows; ++row) {
    std::size_t at = 0;
    for (node_bn parent : policy.parents)
      at = at * static_cast<std::size_t>(parent->numstates) +
           static_cast<std::size_t>(states[IndexIn(decision->preds, parent)]);
    table[row] = policy.states[at];
    NextConfiguration(parents, states.data());
  }
  return table;
}

}  // namespace

Failure OptimizeDecisions(net_bn net) {
  Vector<node_bn> nodes = NodesToSolve(net), decisions;
  for (node_bn node : nodes)
    if (node->kind == DECISION_NODE) decisions.push_back(node);
  node_bn utility;
  if (Failure failure = FindUtility(nodes, &utility)) return WrapOptimize(std::move(failure), net);
  if (Failure failure = CheckReadiness(nodes, Purpose::Optimize, Extent::Tables, net)) return failure;
  if (Failure failure = CheckNoForgetting(decisions)) return WrapOptimize(std::move(failure), net);

  Vector<Policy> policies;
  {
    PrivateUndo sandbox(net);
    LongWork work("Optimizing decisions", 0, Showing::Always);
    if (Failure failure = AbsorbNodes(net, nodes, &policies, work)) return WrapOptimize(std::move(failure), net);
  }
  Vector<Block<statetype>> tables;
  for (const Policy& policy : policies) {
    tables.push_back(SpreadPolicy(policy));
    if (!tables.back()) return WrapOptimize(FailMemory(-2183, 0, "for the decision tables"), net);
  }
  UndoGroup group(UNDO_DECISION, net);
  for (int i = 0; i < policies.size(); ++i) {
    Relation relation;
    relation.determin = tables[i].release();
    InstallRelation(policies[i].decision, relation);
  }
  return nullptr;
}

namespace {

// The net as the engine sees it for an expectation: decisions are nodes whose table is their policy, the utility node
// is a node of one state whose family marginal is that of its parents.
struct ExpectationProblem {
  Vector<int> numstates;
  Vector<Vector<int>> parents, children;
  Vector<Block<float>> policies;  // [node] one-hot rows of a decision's function table
};

Failure PolicyRows(node_bn decision, Block<float>* rows) {
  long long numrows = NumRows(*decision);
  if (decision->evidence >= 0 || decision->probs) return nullptr;
  if (!decision->determin) return Fail(-2229, "node '%s' doesn't have a relation table", decision->name);
  std::size_t n = static_cast<std::size_t>(numrows) * static_cast<std::size_t>(decision->numstates);
  *rows = TryMakeBlock<float>(n);
  if (!*rows) return FailMemory(-2183, static_cast<double>(n) * sizeof(float), "for an expected utility");
  std::fill_n(rows->get(), n, 0.0f);
  for (long long row = 0; row < numrows; ++row) {
    statetype state = decision->determin[row];
    if (state == UNDEF_STATE)
      return Fail(-2230, "node '%s' doesn't have a complete relation table (e.g., missing %s)", decision->name,
                  "a choice");
    if (state >= 0) (*rows)[row * decision->numstates + state] = 1;
  }
  return nullptr;
}

Failure FillProblem(std::span<const node_bn> nodes, ExpectationProblem& problem) {
  std::size_t n = nodes.size();
  problem.parents.resize(n);
  problem.children.resize(n);
  problem.policies.resize(n);
  for (std::size_t i = 0; i < n; ++i) nodes[i]->scratch = static_cast<int>(i);
  for (std::size_t i = 0; i < n; ++i) {
    node_bn node = nodes[i];
    problem.numstates.push_back(node->kind == UTILITY_NODE ? 1 : node->numstates);
    for (node_bn parent : node->preds) {
      problem.parents[i].push_back(parent->scratch);
      problem.children[parent->scratch].push_back(static_cast<int>(i));
    }
    if (node->kind == DECISION_NODE)
      if (Failure failure = PolicyRows(node, &problem.policies[i])) return failure;
    if (node->kind == NATURE_NODE)
      if (Failure failure = MakeProbs(node)) return failure;
  }
  return nullptr;
}

Failure Expect(std::span<const node_bn> nodes, node_bn utility, double* result) {
  ExpectationProblem problem;
  if (Failure failure = FillProblem(nodes, problem)) return failure;
  engine::Graph moral = engine::MoralGraph(problem.parents, problem.children);
  engine::Order order = engine::FindOrder(moral, problem.numstates, {});
  engine::JunctionTree tree = engine::BuildTree(moral, problem.numstates, problem.parents, order.nodes);
  Owned<engine::Inference> inference = engine::Inference::Make(tree, problem.numstates, problem.parents);
  int failedClique;
  long long rows = NumRows(*utility);
  Block<float> marginal = TryMakeBlock<float>(static_cast<std::size_t>(rows));
  if (!marginal || inference->AllocatePotentials(&failedClique) != engine::Status::Done)
    return FailMemory(-2009, tree.totalSize * sizeof(float), "for an expected utility");
  inference->SetTables([&](int i) -> const float* {
    std::size_t at = static_cast<std::size_t>(i);
    if (problem.policies[at]) return problem.policies[at].get();
    return nodes[at]->kind == UTILITY_NODE ? nullptr : nodes[at]->probs;
  });
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if (nodes[i]->evidence >= 0 && nodes[i]->kind != UTILITY_NODE)
      inference->SetState(static_cast<int>(i), nodes[i]->evidence);
    else if (nodes[i]->likelihood)
      inference->SetLikelihood(static_cast<int>(i), LikelihoodWeights(*nodes[i]));
  }
  LongWork work("Finding the expected utility", 0, Showing::Always);
  const auto progress = [&work](double share) {
    work.SetShare(share);
    return work.Halts(LongWork::BETWEEN_LOOKS);
  };
  inference->StartLong(progress, 1);
  const bool isFound = inference->Propagate() == engine::Status::Done &&
                       inference->FamilyMarginal(utility->scratch, {marginal.get(), static_cast<std::size_t>(rows)});
  if (inference->FinishLong()) return FailHalted();
  if (!isFound) return Fail(-2078, "according to this model, the evidence entered is inconsistent");
  double sum = 0;
  for (long long row = 0; row < rows; ++row) {
    double weight = static_cast<double>(marginal[row]);
    float entry = utility->determinv[row];
    if (weight > 0 && entry != IMPOS_PROB) sum += weight * static_cast<double>(entry);
  }
  *result = sum;
  return nullptr;
}

}  // namespace

Failure ExpectedUtility(net_bn net, double* result) {
  Vector<node_bn> nodes = NodesToSolve(net);
  node_bn utility;
  Failure failure = FindUtility(nodes, &utility);
  if (!failure) failure = CheckFitness(nodes, Purpose::Optimize, Extent::Tables);
  if (!failure) failure = Expect(nodes, utility, result);
  if (!failure || failure->number == HALTED) return failure;
  return Fail(failure->number, "can't find the expected utility of net '%s', because %s", net->name, failure->mesg);
}

}  // namespace bravic

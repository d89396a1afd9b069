#include "Bn/decide/Utility.h"

#include <algorithm>

#include "Bn/compiled/Likelihood.h"
#include "Bn/engine/Order.h"
#include "Bn/engine/infer/Inference.h"
#include "Bn/model/Checks.h"
#include "Bn/model/Net.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/TableForms.h"
#include "Bn/model/Tables.h"
#include "Win_Face/Interaction.h"

namespace bravic {

Vector<node_bn> NodesToSolve(net_bn net) {
  Vector<node_bn> nodes;
  for (node_bn node : OrderedNodes(net)) {
    if (node->kind != ASSUME_NODE) nodes.push_back(node);
  }
  return nodes;
}

Failure FindUtility(std::span<const node_bn> nodes, node_bn* utility) {
  *utility = nullptr;
  for (node_bn node : nodes) {
    if (node->kind != UTILITY_NODE) continue;
    if (*utility) {
      return Fail(-2113, "there is more than one utility node (e.g. '%s' and '%s')", (*utility)->name, node->name);
    }
    *utility = node;
  }
  return *utility ? nullptr : Fail(-2262, "there is no utility node");
}

namespace {

// The net as the engine sees it for an expectation: decisions are nodes whose table is their policy, the utility node
// is a node of one state whose family marginal is that of its parents.
struct ExpectationProblem {
  Vector<int> numstates;
  Vector<Vector<int>> parents, children;
  Vector<Block<float>> policies;  // [node] one-hot rows of a decision's function table
};

// The decision's function table as probabilities. None where they are not needed: it is known, or has a table of its
// own.
Failure PolicyRows(node_bn decision, Block<float>* rows) {
  if (decision->evidence >= 0 || decision->probs) return nullptr;
  const long long numrows = NumRows(*decision);
  if (!decision->determin) return Fail(-2229, "node '%s' doesn't have a relation table", decision->name);
  const std::size_t n = static_cast<std::size_t>(numrows) * decision->numstates;
  *rows = TryMakeBlock<float>(n);
  if (!*rows) return FailMemory(-2183, static_cast<double>(n) * sizeof(float), "for an expected utility");
  std::fill_n(rows->get(), n, 0.0f);
  for (long long row = 0; row < numrows; ++row) {
    statetype state = decision->determin[row];
    if (state == UNDEF_STATE) {
      return Fail(-2230, "node '%s' doesn't have a complete relation table (e.g., missing %s)", decision->name,
                  "a choice");
    }
    if (state >= 0) (*rows)[row * decision->numstates + state] = 1;
  }
  return nullptr;
}

Failure FillProblem(std::span<const node_bn> nodes, ExpectationProblem& problem) {
  const int n = Count(nodes);
  problem.parents.resize(n);
  problem.children.resize(n);
  problem.policies.resize(n);
  for (int i = 0; i < n; ++i) nodes[i]->scratch = i;
  for (int i = 0; i < n; ++i) {
    node_bn node = nodes[i];
    problem.numstates.push_back(node->kind == UTILITY_NODE ? 1 : node->numstates);
    for (node_bn parent : node->preds) {
      problem.parents[i].push_back(parent->scratch);
      problem.children[parent->scratch].push_back(i);
    }
    if (node->kind == DECISION_NODE) {
      if (Failure failure = PolicyRows(node, &problem.policies[i])) return failure;
    }
    if (node->kind == NATURE_NODE) {
      if (Failure failure = MakeProbs(node)) return failure;
    }
  }
  return nullptr;
}

void EnterFindings(std::span<const node_bn> nodes, engine::Inference& inference) {
  for (int i = 0; i < Count(nodes); ++i) {
    const bnode& node = *nodes[i];
    if (node.evidence >= 0 && node.kind != UTILITY_NODE) {
      inference.SetState(i, node.evidence);
    } else if (node.likelihood) {
      inference.SetLikelihood(i, LikelihoodWeights(node));
    }
  }
}

// The distribution of the configurations of the utility node's parents, given the findings: [rows], which rows is the
// number of.
Failure FindMarginal(engine::Inference& inference, node_bn utility, std::span<float> marginal) {
  LongWork work("Finding the expected utility", 0, Showing::Always);
  const auto progress = [&work](double share) {
    work.SetShare(share);
    return work.Halts(LongWork::BETWEEN_LOOKS);
  };
  inference.StartLong(progress, 1);
  const bool isFound =
      inference.Propagate() == engine::Status::Done && inference.FamilyMarginal(utility->scratch, marginal);
  if (inference.FinishLong()) return FailHalted();
  return isFound ? nullptr : Fail(-2078, "according to this model, the evidence entered is inconsistent");
}

Failure Expect(std::span<const node_bn> nodes, node_bn utility, double* result) {
  ExpectationProblem problem;
  if (Failure failure = FillProblem(nodes, problem)) return failure;
  const engine::Graph moral = engine::MoralGraph(problem.parents, problem.children);
  const engine::Order order = engine::FindOrder(moral, problem.numstates, {});
  const engine::JunctionTree tree = engine::BuildTree(moral, problem.numstates, problem.parents, order.nodes);
  Owned<engine::Inference> inference = engine::Inference::Make(tree, problem.numstates, problem.parents);
  int failedClique;
  const std::size_t rows = NumRows(*utility);
  Block<float> marginal = TryMakeBlock<float>(rows);
  if (!marginal || inference->AllocatePotentials(&failedClique) != engine::Status::Done) {
    return FailMemory(-2009, tree.totalSize * sizeof(float), "for an expected utility");
  }
  inference->SetTables([&](int i) -> const float* {
    if (problem.policies[i]) return problem.policies[i].get();
    return nodes[i]->kind == UTILITY_NODE ? nullptr : nodes[i]->probs;
  });
  EnterFindings(nodes, *inference);
  if (Failure failure = FindMarginal(*inference, utility, {marginal.get(), rows})) return failure;
  double sum = 0;
  for (std::size_t row = 0; row < rows; ++row) {
    const double weight = marginal[row];
    const float entry = utility->determinv[row];
    if (weight > 0 && entry != IMPOS_PROB) sum += weight * entry;
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
  if (!failure || failure->number == HALTED.number) return failure;
  return Fail(failure->number, "can't find the expected utility of net '%s', because %s", net->name, failure->mesg);
}

}  // namespace bravic

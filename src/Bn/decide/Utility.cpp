#include "Bn/decide/Utility.h"

#include <algorithm>

#include "Bn/compiled/CompileGraph.h"
#include "Bn/compiled/Likelihood.h"
#include "Bn/engine/Order.h"
#include "Bn/engine/infer/Inference.h"
#include "Bn/model/Checks.h"
#include "Bn/model/TableForms.h"
#include "Bn/model/Tables.h"
#include "Win_Face/Interaction.h"

namespace bravic {

Failure FindUtility(std::span<const node_bn> nodes, node_bn* utility) {
  *utility = nullptr;
  for (node_bn node : nodes) {
    if (node->kind != UTILITY_NODE) continue;
    if (*utility) {
      return Fail(SECOND_UTILITY_NODE, (*utility)->name, node->name);
    }
    *utility = node;
  }
  return *utility ? nullptr : Fail(NO_UTILITY_NODE);
}

namespace {

// The net as the engine sees it for an expectation: decisions are nodes whose table is their policy, the utility node
// is a node of one state whose family marginal is that of its parents.
struct ExpectationProblem {
  Vector<int> numstates;
  Vector<Vector<int>> parents, children;
  Vector<Block<float>> policies;  // [node] one-hot rows of a decision's function table
};

// The function table of a decision as probabilities; none where the decision is known or has probabilities itself.
Failure PolicyRows(node_bn decision, Block<float>* rows) {
  if (decision->evidence >= 0 || decision->probs) return nullptr;
  const auto numrows = static_cast<std::size_t>(NumRows(*decision));
  if (!decision->determin) return Fail(TABLE_MISSING, decision->name);
  const std::size_t n = numrows * decision->numstates;
  *rows = TryMakeBlock<float>(n);
  if (!*rows) return FailMemory(NO_MEMORY_FOR_EXPECTED_UTILITIES, static_cast<double>(n) * sizeof(float));
  std::fill_n(rows->get(), n, 0.0f);
  for (std::size_t row = 0; row < numrows; ++row) {
    statetype state = decision->determin[row];
    if (state == UNDEF_STATE) {
      return Fail(CHOICE_MISSING, decision->name);
    }
    if (state >= 0) (*rows)[row * decision->numstates + state] = 1;
  }
  return nullptr;
}

// Numbers the nodes (scratch), and brings their tables into the form in which the engine takes them.
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
  return isFound ? nullptr : Fail(FINDINGS_INCONSISTENT);
}

Failure Expect(std::span<const node_bn> nodes, node_bn utility, double* result) {
  ExpectationProblem problem;
  if (Failure failure = FillProblem(nodes, problem)) return failure;
  const engine::Graph moral = engine::MoralGraph(problem.parents, problem.children);
  const engine::Order order = engine::FindOrder(moral, problem.numstates, {});
  const engine::JunctionTree tree = engine::BuildTree(moral, problem.numstates, problem.parents, order.nodes);
  Owned<engine::Inference> inference = engine::Inference::Make(tree, problem.numstates, problem.parents);
  int failedClique;
  const auto rows = static_cast<std::size_t>(NumRows(*utility));
  Block<float> marginal = TryMakeBlock<float>(rows);
  if (!marginal || inference->AllocatePotentials(&failedClique) != engine::Status::Done) {
    return FailMemory(NO_MEMORY_FOR_EXPECTED_UTILITY, tree.totalSize * sizeof(float));
  }
  inference->SetTables([&](int i) -> const float* {
    if (problem.policies[i]) return problem.policies[i].get();
    return nodes[i]->kind == UTILITY_NODE ? nullptr : nodes[i]->probs;
  });
  EnterFindings(nodes, *inference);
  if (Failure failure = FindMarginal(*inference, utility, {marginal.get(), rows})) return failure;
  // Of configurations that cannot occur, the utility does not matter.
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
  Vector<node_bn> nodes = CompileNodes(net);
  node_bn utility;
  Failure failure = FindUtility(nodes, &utility);
  if (!failure) failure = CheckFitness(nodes, Purpose::Optimize, Extent::Tables);
  if (!failure) failure = Expect(nodes, utility, result);
  if (!failure || failure->number == HALTED.number) return failure;
  const char* reason = failure->mesg;
  return Rephrase(std::move(failure), AROUND_EXPECTED_UTILITY, net->name, reason);
}

}  // namespace bravic

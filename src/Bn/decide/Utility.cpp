#include "Bn/decide/Utility.h"

#include <algorithm>

#include "Bn/compiled/CompileGraph.h"
#include "Bn/engine/decide/DecisionSolver.h"
#include "Bn/model/Checks.h"
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

Failure CheckDecisions(std::span<const node_bn> nodes) {
  const auto isUtility = [](node_bn node) { return node->kind == UTILITY_NODE; };
  if (std::none_of(nodes.begin(), nodes.end(), isUtility)) return Fail(NO_UTILITY_NODE);
  return CheckFitness(nodes, Purpose::Optimize, Extent::Tables);
}

Failure FailureOf(engine::ValueOutcome outcome, double bytes, std::span<const node_bn> nodes) {
  if (outcome == engine::ValueOutcome::Done) return nullptr;
  if (outcome == engine::ValueOutcome::NoMemory) return FailMemory(NO_MEMORY_FOR_EXPECTED_UTILITY, bytes);
  if (outcome == engine::ValueOutcome::Halted) return FailHalted();
  if (outcome != engine::ValueOutcome::Undefined) return Fail(FINDINGS_INCONSISTENT);
  node_bn undefined = nullptr;
  for (node_bn node : nodes) {
    if (node->kind != UTILITY_NODE || !node->determinv || undefined) continue;
    const float* const end = node->determinv + NumRows(*node);
    if (std::find<const float*>(node->determinv, end, UNDEF_PROB) != end) undefined = node;
  }
  return Fail(UTILITY_MISSING, undefined->name);
}

Failure ExpectedUtility(std::span<const node_bn> nodes, std::span<const ChosenTable> chosen, double* utility) {
  engine::DecisionModel model;
  if (Failure failure = MakeDiagram(nodes, DecisionsAre::AsTheyStand, chosen, &model)) return failure;
  LongWork work("Finding the expected utility", 0, Showing::Always);
  engine::DecisionSolver solver(model, ProgressOf(work));
  return FailureOf(solver.Expect(utility), solver.BytesNeeded(), nodes);
}

Failure ExpectedUtility(net_bn net, double* utility) {
  const Vector<node_bn> nodes = CompileNodes(net);
  Failure failure = CheckDecisions(nodes);
  if (!failure) failure = ExpectedUtility(nodes, {}, utility);
  if (!failure || failure->number == HALTED.number) return failure;
  const char* reason = failure->mesg;
  return Rephrase(std::move(failure), AROUND_EXPECTED_UTILITY, net->name, reason);
}

}  // namespace bravic

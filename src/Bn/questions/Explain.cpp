#include "Bn/questions/Explain.h"

#include <cmath>

#include "Bn/compiled/Beliefs.h"
#include "Bn/compiled/Likelihood.h"
#include "Bn/questions/Asked.h"

namespace bravic {
namespace {

// The natural logarithm of the probability of the node's finding, where the node has that distribution.
double LogProbabilityOf(const bnode& node, const Vector<double>& distribution) {
  engine::WideNumber sum;
  if (node.evidence != UNDEF_STATE) {
    sum = engine::ToWide(distribution[node.evidence]);
  } else {
    const Vector<engine::WideNumber> weights = LikelihoodWeights(node);
    for (statetype s = 0; s < weights.size(); ++s) sum = sum + engine::ToWide(distribution[s]) * weights[s];
  }
  return engine::NaturalLogarithm(sum.mantissa, sum.exponent);
}

// The sum of the logarithms of the findings' own probabilities, and the logarithm of that of none (0, unless tables
// have impossible rows).
engine::Status FindOwnProbabilities(EngineLoan& engine, const Vector<node_bn>& found, double* sum, double* ofNone) {
  for (const bnode* node : found) engine.ClearFinding(*node);
  engine::Status status = engine->Propagate();
  if (status == engine::Status::Done) *ofNone = engine->LogProbability();
  Vector<double> distribution;
  for (const bnode* node : found) {
    if (status != engine::Status::Done) return status;
    distribution.resize(node->numstates);
    double unused;
    status = engine->Joint(std::span<const int>(&node->compiledIndex, 1), distribution.data(), &unused);
    *sum += LogProbabilityOf(*node, distribution);
  }
  return status;
}

}  // namespace

double FindingsConflict(net_bn net) {
  if (!CheckCompiled(*net)) return UNDEF_DBL;
  EngineLoan engine(net);
  const Vector<node_bn> found = engine.NodesWithFindings();
  if (found.empty()) return 0;
  engine::Status status;
  if (!engine.Ask(
          1, [&] { return engine->Propagate(); }, &status))
    return UNDEF_DBL;
  if (status == engine::Status::Inconsistent) return INF_DBL;
  const double ofAll = engine->LogProbability();
  double sum = 0, ofNone = 0;
  constexpr int COLLECT_AND_READ = 2;
  if (!engine.Ask(COLLECT_AND_READ, [&] { return FindOwnProbabilities(engine, found, &sum, &ofNone); }))
    return UNDEF_DBL;
  constexpr double LN_2 = 0.69314718055994530942;
  return (sum - (ofAll - ofNone)) / LN_2;
}

bool FindingImpacts(node_bn target, statetype state, const nodelist_rec& observed, double* without) {
  net_bn net = target->innet;
  if (!AreOfNet(observed, *target) || !CheckCompiled(*net) || !CheckHaveBeliefs(std::span(&target, 1))) return false;
  for (const bnode* node : Entries(observed)) {
    if (HasEngineFinding(*node)) continue;
    Report(NO_FINDING_TO_LEAVE_OUT, node->name);
    return false;
  }
  if (UpdateBeliefs(net, Account::None) != Update::Done) return false;
  EngineLoan engine(net);
  Vector<double> answers;
  Vector<float> belief(target->numstates);
  const bool isAnswered = engine.Ask(std::max(observed.num, 1), [&] {
    engine::Status status = engine::Status::Done;
    for (const bnode* node : Entries(observed)) {
      engine.ClearFinding(*node);
      status = engine->Belief(target->compiledIndex, belief);
      engine.RestoreFinding(*node);
      if (status != engine::Status::Done) break;
      answers.push_back(belief[state]);
    }
    return status;
  });
  if (isAnswered) std::copy(answers.begin(), answers.end(), without);
  return isAnswered;
}

}  // namespace bravic

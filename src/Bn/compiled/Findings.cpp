#include "Bn/compiled/Findings.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "Bn/compiled/Beliefs.h"
#include "Bn/compiled/CompiledNet.h"
#include "Bn/compiled/Likelihood.h"
#include "Bn/model/Attributes.h"
#include "Bn/model/Levels.h"
#include "Bn/model/Members.h"
#include "Bn/model/SharedAnswers.h"
#include "Bn/model/Undo.h"
#include "Bn/model/UndoRecord.h"

namespace bravic {
namespace {

std::span<const float> Weights(const float* likelihood, const bnode& node) {
  return std::span(likelihood, likelihood ? node.numstates : 0);
}

bool AllEqual(std::span<const float> weights) {
  return std::all_of(weights.begin(), weights.end(), [&](float weight) { return weight == weights[0]; });
}

bool AllZero(std::span<const float> weights) {
  return std::all_of(weights.begin(), weights.end(), [](float weight) { return weight == 0; });
}

// No finding, or a likelihood that tells nothing of the states.
bool KnowsNothing(const bnode& node) {
  return node.evidence == UNDEF_STATE && node.value == UNDEF_DBL &&
         (!node.likelihood || AllEqual(Weights(node.likelihood, node)));
}

// The node's belief as far as the net's beliefs are current, else NULL: what new findings are checked against.
const float* KnownBelief(node_bn node) {
  return node->innet->beliefsCurrent ? CurrentBelief(node) : nullptr;
}

// Whether findings of the node bear on beliefs.
bool TakesPart(const bnode& node) {
  return node.kind != ASSUME_NODE && node.kind != UTILITY_NODE;
}

// Nothing but more knowledge lets what was applied of the findings count on.
FindingChange ChangeThat(bool onlyAdds) {
  return onlyAdds ? FindingChange::Strengthening : FindingChange::Other;
}

void PutFinding(UndoRecord* undo, node_bn node, statetype state, double value, float* likelihood,
                FindingChange change) {
  ReplaceFinding(undo, node, state, value, likelihood);
  if (state != UNDEF_STATE) SetUnitBelief(node, state);
  NoteFindingChanged(node, TakesPart(*node) ? change : FindingChange::Strengthening);
}

// The likelihood, which may be NULL, becomes the node's.
void ChangeFinding(node_bn node, statetype state, double value, float* likelihood, FindingChange change) {
  PutFinding(NewUndo(UNDO_FINDING, node->innet, node), node, state, value, likelihood, change);
  AutoUpdate(node->innet);
}

Failure CheckAgainstOwnFinding(const bnode& node, statetype state) {
  char name[16], oldname[16];
  if (node.evidence != UNDEF_STATE && node.evidence != state) {
    return Fail(FINDING_AGAINST_STATE, StateText(node, state, name), StateText(node, node.evidence, oldname));
  }
  if (node.likelihood && node.likelihood[state] == 0) {
    return Fail(FINDING_AGAINST_LIKELIHOOD, StateText(node, state, name));
  }
  return nullptr;
}

// What the node's own table says when nothing else bears on it.
Failure CheckAgainstTable(const bnode& node, statetype state) {
  if (node.preds.num > 0) return nullptr;
  if ((!node.determin || node.determin[0] == state) && (!node.probs || node.probs[state] != 0)) return nullptr;
  char name[16];
  return Fail(FINDING_AGAINST_OWN_TABLE, StateText(node, state, name));
}

// Of a state whose belief is 0, which a probability below the range of floats reads as, too: the engine knows better.
bool IsImpossible(node_bn node, statetype state) {
  return node->kind != NATURE_NODE || CompiledIndex(*node) < 0 || !IsStatePossible(node, state);
}

// What the node itself is said to be has been judged by then, so only what is known of others counts here.
bool ExcludedByBelief(node_bn node, statetype state) {
  if (!KnowsNothing(*node)) return false;
  const float* belief = KnownBelief(node);
  return belief && belief[state] == 0 && IsImpossible(node, state);
}

Failure CheckState(node_bn node, statetype state, Entry entry) {
  if (node->discrete == CONTINUOUS && !node->levels) {
    return Fail(FINDING_WITHOUT_STATES);
  }
  if (state >= node->numstates) {
    return Fail(FINDING_TOO_LARGE, state, node->numstates - 1);
  }
  if (state < 0) return Fail(FINDING_NEGATIVE, state, UNDEF_STATE);
  if (entry == Entry::Adding) {
    if (Failure failure = CheckAgainstOwnFinding(*node, state)) return failure;
  }
  if (Failure failure = CheckAgainstTable(*node, state)) return failure;
  if (ExcludedByBelief(node, state)) {
    char name[16];
    return Fail(FINDING_AGAINST_OTHER_NODES, StateText(*node, state, name));
  }
  return nullptr;
}

Failure CheckWeights(node_bn node, std::span<const float> weights) {
  for (float weight : weights) {
    if (!(weight >= 0) || std::isinf(weight)) {
      return Fail(LIKELIHOOD_ENTRY_NOT_FINITE, double{weight});
    }
  }
  if (AllZero(weights)) return Fail(LIKELIHOOD_ALL_ZERO);
  if (node->discrete == CONTINUOUS && !node->levels) {
    return Fail(LIKELIHOOD_WITHOUT_STATES);
  }
  if (node->kind == ASSUME_NODE) return Fail(LIKELIHOOD_FOR_ASSUME_NODE);
  return nullptr;
}

// Whether some state that the likelihood allows is possible with the findings.
Failure CheckAgainstBelief(node_bn node, std::span<const float> weights, Entry entry) {
  if (entry == Entry::Replacing && !KnowsNothing(*node)) return nullptr;
  const float* belief = KnownBelief(node);
  if (!belief) return nullptr;
  for (statetype s = 0; s < Count(weights); ++s) {
    if (weights[s] != 0 && belief[s] != 0) return nullptr;
  }
  for (statetype s = 0; s < Count(weights); ++s) {
    if (weights[s] != 0 && !IsImpossible(node, s)) return nullptr;
  }
  return Fail(LIKELIHOOD_AGAINST_OTHER_NODES);
}

int RefuseLikelihood(node_bn node, Failure failure) {
  const char* reason = failure->mesg;
  Post(Rephrase(std::move(failure), AROUND_LIKELIHOOD, node->name, reason));
  return -1;
}

// The state that a value stands for, in *state; UNDEF_STATE for a node without levels.
Failure FindStateOfValue(const bnode& node, double value, statetype* state) {
  *state = UNDEF_STATE;
  if (!node.levels) return nullptr;
  const char* units = node.units ? node.units : "";
  if (!IsWithinBounds(node, value)) {
    const auto [lowest, highest] = std::minmax(node.levels[0], node.levels[std::max(node.numstates, 1)]);
    return value < lowest ? Fail(VALUE_BELOW_LEVELS, value, lowest, units)
                          : Fail(VALUE_ABOVE_LEVELS, value, highest, units);
  }
  *state = StateOfValue(node, value, LEVEL_TOLERANCE);
  if (*state != UNDEF_STATE || node.discrete != DISCRETE) return nullptr;
  statetype nearest = 0;
  for (statetype s = 1; s < node.numstates; ++s) {
    if (std::fabs(value - node.levels[s]) < std::fabs(value - node.levels[nearest])) nearest = s;
  }
  return Fail(VALUE_NO_STATE, value, nearest, node.levels[nearest], units);
}

Failure CheckValue(node_bn node, double value, Entry entry, statetype* state) {
  if (std::isnan(value)) return Fail(VALUE_NOT_A_NUMBER);
  if (node->discrete == DISCRETE && !node->levels) {
    return Fail(VALUE_WITHOUT_LEVELS);
  }
  if (entry == Entry::Adding && node->value != UNDEF_DBL && !(std::fabs(value - node->value) <= LEVEL_TOLERANCE)) {
    return Fail(VALUE_AGAINST_VALUE, value, node->value);
  }
  if (Failure failure = FindStateOfValue(*node, value, state)) return failure;
  if (*state == UNDEF_STATE) return nullptr;
  if (entry == Entry::Adding) {
    if (Failure failure = CheckAgainstOwnFinding(*node, *state)) return failure;
  }
  if (Failure failure = CheckAgainstTable(*node, *state)) return failure;
  if (ExcludedByBelief(node, *state)) {
    return Fail(VALUE_AGAINST_OTHER_NODES);
  }
  return nullptr;
}

}  // namespace

int FindingOf(const bnode& node) {
  if (node.evidence >= 0) return node.evidence;
  int numNonZero = 0, first = 0;
  bool equal = true;
  std::span<const float> weights = Weights(node.likelihood, node);
  for (statetype s = 0; s < Count(weights); ++s) {
    if (weights[s] == 0) continue;
    if (numNonZero++ == 0) first = s;
    equal = equal && weights[s] == weights[first];
  }
  if (numNonZero == 0) return NO_FINDING;
  if (numNonZero == 1) return first;
  if (!equal) return LIKELIHOOD_FINDING;
  return numNonZero < node.numstates ? NEGATIVE_FINDING : NO_FINDING;
}

void StoreFinding(node_bn node, statetype state, double value, float* likelihood) {
  const bool adds = (state != UNDEF_STATE && KnowsNothing(*node)) || (likelihood && !HasFinding(*node));
  PutFinding(NewUndo(UNDO_FINDING, node->innet, node), node, state, value, likelihood, ChangeThat(adds));
}

int EnterState(node_bn node, statetype state, Entry entry) {
  if (state == node->evidence && !node->likelihood) return 1;
  if (state == UNDEF_STATE && entry == Entry::Adding) return 1;
  if (state != UNDEF_STATE) {
    if (Failure failure = CheckState(node, state, entry)) {
      const char* reason = failure->mesg;
      Post(Rephrase(std::move(failure), AROUND_FINDING, node->name, reason));
      return -1;
    }
  }
  // A state of a discrete node with levels stands for that value, too.
  const bool hasLevel = state != UNDEF_STATE && node->discrete == DISCRETE && node->levels;
  ChangeFinding(node, state, hasLevel ? node->levels[state] : UNDEF_DBL, nullptr,
                ChangeThat(state != UNDEF_STATE && KnowsNothing(*node)));
  return 0;
}

int EnterLikelihood(node_bn node, const float* likelihood, Entry entry) {
  if (!likelihood) return entry == Entry::Adding ? 1 : EnterState(node, UNDEF_STATE, Entry::Replacing);
  std::span<const float> weights = Weights(likelihood, *node);
  if (Failure failure = CheckWeights(node, weights)) return RefuseLikelihood(node, std::move(failure));
  if (entry == Entry::Replacing && node->likelihood && !IsBeyondFloats(*node) &&
      std::memcmp(likelihood, node->likelihood, weights.size_bytes()) == 0) {
    return 1;
  }
  if (entry == Entry::Adding && node->evidence != UNDEF_STATE) {
    if (likelihood[node->evidence] != 0) return 1;
    char name[16];
    return RefuseLikelihood(node, Fail(LIKELIHOOD_AGAINST_STATE, StateText(*node, node->evidence, name)));
  }
  Block<float> stored;
  if (entry == Entry::Replacing || !node->likelihood) {
    stored = MakeBlock<float>(weights.size());
    std::copy(weights.begin(), weights.end(), stored.get());
  } else {
    stored = MakeLikelihood(CombinedWeights(*node, weights));
    if (AllZero({stored.get(), weights.size()})) {
      return RefuseLikelihood(node, Fail(LIKELIHOOD_AGAINST_LIKELIHOOD));
    }
  }
  std::span<const float> combined(stored.get(), weights.size());
  if (Failure failure = CheckAgainstBelief(node, weights, entry)) {
    return RefuseLikelihood(node, std::move(failure));
  }
  // Where one state is left, that is what is known.
  const auto isPositive = [](float weight) { return weight != 0; };
  if (std::count_if(combined.begin(), combined.end(), isPositive) == 1) {
    const auto only = std::find_if(combined.begin(), combined.end(), isPositive);
    return EnterState(node, static_cast<statetype>(only - combined.begin()), entry);
  }
  ChangeFinding(node, UNDEF_STATE, UNDEF_DBL, stored.release(),
                ChangeThat(entry == Entry::Adding || !HasFinding(*node)));
  return 0;
}

int EnterValue(node_bn node, double value, Entry entry) {
  if (value == UNDEF_DBL ? entry == Entry::Adding || !HasFinding(*node) : value == node->value) return 1;
  statetype state = UNDEF_STATE;
  if (value != UNDEF_DBL) {
    if (Failure failure = CheckValue(node, value, entry, &state)) {
      const char* reason = failure->mesg;
      Post(Rephrase(std::move(failure), AROUND_VALUE, node->name, reason));
      return -1;
    }
  }
  ChangeFinding(node, state, value, nullptr, ChangeThat(state != UNDEF_STATE && KnowsNothing(*node)));
  return 0;
}

void RetractFinding(node_bn node) {
  // The finding of a discrete node is a state, that of any other one a value; retracting either drops all of it.
  if (node->discrete == DISCRETE) {
    EnterState(node, UNDEF_STATE, Entry::Replacing);
  } else {
    EnterValue(node, UNDEF_DBL, Entry::Replacing);
  }
}

void RetractAllFindings(net_bn net) {
  if (net->numEvidence + net->numLikelihood > 0) {
    UndoGroup group(UNDO_ALL_FINDINGS, net);
    const int autoupdate = net->autoupdate;
    net->autoupdate = 0;  // one update at the end
    for (node_bn node : PresentNodes(net)) {
      if (net->numEvidence + net->numLikelihood == 0) break;
      if (node->kind != ASSUME_NODE) RetractFinding(node);
    }
    net->autoupdate = autoupdate;
  }
  AutoUpdate(net);
}

int EnterNot(node_bn node, statetype state) {
  Vector<float> weights(node->numstates, 1.0f);
  if (state >= 0 && state < node->numstates) weights[state] = 0;
  return EnterLikelihood(node, weights.data(), Entry::Adding);
}

const float* ShownLikelihood(node_bn node) {
  if (node->likelihood) return node->likelihood;
  if (node->evidence == UNDEF_STATE) return SharedOnes(node->numstates);
  SetUnitBelief(node, node->evidence);
  return node->belief;
}

double ValueOf(const bnode& node) {
  if (node.discrete != DISCRETE) return node.value;
  return node.evidence == UNDEF_STATE || !node.levels ? UNDEF_DBL : node.levels[node.evidence];
}

}  // namespace bravic

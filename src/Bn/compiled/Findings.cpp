#include "Bn/compiled/Findings.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "Bn/compiled/Beliefs.h"
#include "Bn/compiled/Compile.h"
#include "Bn/compiled/Likelihood.h"
#include "Bn/model/Attributes.h"
#include "Bn/model/Levels.h"
#include "Bn/model/Members.h"
#include "Bn/model/SharedAnswers.h"
#include "Bn/model/Undo.h"
#include "Bn/model/UndoRecord.h"

namespace bravic {

// Values of findings and levels that are this near count as equal.
static constexpr double VALUE_TOLERANCE = 1e-5;

static std::span<const float> Weights(const float* likelihood, const bnode& node) {
  return {likelihood, static_cast<std::size_t>(likelihood ? node.numstates : 0)};
}

static bool AllEqual(std::span<const float> weights) {
  return std::all_of(weights.begin(), weights.end(), [&](float weight) { return weight == weights[0]; });
}

static bool AllZero(std::span<const float> weights) {
  return std::all_of(weights.begin(), weights.end(), [](float weight) { return weight == 0; });
}

// No finding, or a likelihood that tells nothing of the states.
static bool KnowsNothing(const bnode& node) {
  return node.evidence == UNDEF_STATE && node.value == UNDEF_DBL &&
         (!node.likelihood || AllEqual(Weights(node.likelihood, node)));
}

int FindingOf(const bnode& node) {
  if (node.evidence >= 0) return node.evidence;
  int numNonZero = 0, first = 0;
  bool equal = true;
  std::span<const float> weights = Weights(node.likelihood, node);
  for (std::size_t s = 0; s < weights.size(); ++s) {
    if (weights[s] == 0) continue;
    if (numNonZero++ == 0) first = static_cast<int>(s);
    equal = equal && weights[s] == weights[first];
  }
  if (numNonZero == 0) return NO_FINDING;
  if (numNonZero == 1) return first;
  if (!equal) return LIKELIHOOD_FINDING;
  return numNonZero < node.numstates ? NEGATIVE_FINDING : NO_FINDING;
}

// The node's belief as far as the net's beliefs are current, else NULL: what new findings are checked against.
static const float* KnownBelief(node_bn node) {
  return node->innet->beliefsCurrent ? CurrentBelief(node) : nullptr;
}

static bool TakesPart(const bnode& node) {
  return node.kind != ASSUME_NODE && node.kind != UTILITY_NODE;
}

static void PutFinding(UndoRecord* undo, node_bn node, statetype state, double value, float* likelihood,
                       bool strengthened) {
  ReplaceFinding(undo, node, state, value, likelihood);
  if (state != UNDEF_STATE) SetUnitBelief(node, state);
  NoteFindingChanged(node, strengthened || !TakesPart(*node));
}

void StoreFinding(node_bn node, statetype state, double value, float* likelihood) {
  bool strengthened = (state != UNDEF_STATE && KnowsNothing(*node)) || (likelihood && !HasFinding(*node));
  PutFinding(NewUndo(UNDO_FINDING, node->innet, node), node, state, value, likelihood, strengthened);
}

static void ChangeFinding(node_bn node, statetype state, double value, float* likelihood, bool strengthened) {
  PutFinding(NewUndo(UNDO_FINDING, node->innet, node), node, state, value, likelihood, strengthened);
  AutoUpdate(node->innet);
}

static Failure CheckAgainstOwnFinding(const bnode& node, statetype state) {
  char name[16], oldname[16];
  if (node.evidence != UNDEF_STATE && node.evidence != state) {
    return Fail(-3310, "new finding '%s' contradicts previous finding '%s' for this node", StateText(node, state, name),
                StateText(node, node.evidence, oldname));
  }
  if (node.likelihood && node.likelihood[state] == 0) {
    return Fail(-3313, "new finding '%s' contradicts previous negative or likelihood findings for this node",
                StateText(node, state, name));
  }
  return nullptr;
}

// What the node's own table says when nothing else bears on it.
static Failure CheckAgainstTable(const bnode& node, statetype state) {
  if (node.preds.num > 0) return nullptr;
  if ((!node.determin || node.determin[0] == state) && (!node.probs || node.probs[state] != 0)) return nullptr;
  char name[16];
  return Fail(-3315, "new finding '%s' is inconsistent with the model's stated value for this node",
              StateText(node, state, name));
}

// A probability below the range of floats reads as 0, too, but is possible.
static bool IsImpossible(node_bn node, statetype state) {
  const int i = node->kind == NATURE_NODE ? CompiledIndex(*node) : -1;
  return i < 0 || node->innet->compiled->inference->CheckState(i, state) == engine::Status::Inconsistent;
}

static bool ExcludedByBelief(node_bn node, statetype state) {
  if (!KnowsNothing(*node)) return false;
  const float* belief = KnownBelief(node);
  return belief && belief[state] == 0 && IsImpossible(node, state);
}

static Failure CheckState(node_bn node, statetype state, bool accumulate) {
  if (node->discrete == CONTINUOUS && !node->levels) {
    return Fail(-3316, "the node is continuous without any range levels defined");
  }
  if (state >= node->numstates) {
    return Fail(-3300, "new finding is too large (%d, but states are numbered from 0 to %d)", state,
                node->numstates - 1);
  }
  if (state < 0) return Fail(-3301, "new finding is negative (%d), and is not UNDEF_STATE (%d)", state, UNDEF_STATE);
  if (accumulate) {
    if (Failure failure = CheckAgainstOwnFinding(*node, state)) return failure;
  }
  if (Failure failure = CheckAgainstTable(*node, state)) return failure;
  if (ExcludedByBelief(node, state)) {
    char name[16];
    return Fail(-3302, "new finding '%s' is inconsistent with findings for other nodes, according to this model",
                StateText(*node, state, name));
  }
  return nullptr;
}

int EnterState(node_bn node, statetype state, bool accumulate) {
  if (state == node->evidence && !node->likelihood) return 1;
  if (state == UNDEF_STATE && accumulate) return 1;
  if (state != UNDEF_STATE) {
    if (Failure failure = CheckState(node, state, accumulate)) {
      const char* reason = failure->mesg;
      Post(Rephrase(std::move(failure), "can't enter finding for node '%s', because %s", node->name, reason));
      return -1;
    }
  }
  bool hasLevel = state != UNDEF_STATE && node->discrete == DISCRETE && node->levels;
  ChangeFinding(node, state, hasLevel ? node->levels[state] : UNDEF_DBL, nullptr,
                state != UNDEF_STATE && KnowsNothing(*node));
  return 0;
}

static Failure CheckWeights(node_bn node, std::span<const float> weights) {
  for (float weight : weights) {
    if (!(weight >= 0) || std::isinf(weight)) {
      return Fail(-3318, "likelihood has an entry that is not a finite number of 0 or more (%g)",
                  static_cast<double>(weight));
    }
  }
  if (AllZero(weights)) return Fail(-3303, "likelihood consists of all zeroes");
  if (node->discrete == CONTINUOUS && !node->levels) {
    return Fail(-2433, "likelihood is for a node that is continuous without any range levels defined");
  }
  if (node->kind == ASSUME_NODE) return Fail(-3304, "likelihood findings are not allowed for ASSUME nodes");
  return nullptr;
}

static Failure CheckAgainstBelief(node_bn node, std::span<const float> weights, bool accumulate) {
  if (!accumulate && !KnowsNothing(*node)) return nullptr;
  const float* belief = KnownBelief(node);
  if (!belief) return nullptr;
  for (std::size_t s = 0; s < weights.size(); ++s) {
    if (weights[s] != 0 && belief[s] != 0) return nullptr;
  }
  for (std::size_t s = 0; s < weights.size(); ++s) {
    if (weights[s] != 0 && !IsImpossible(node, static_cast<statetype>(s))) return nullptr;
  }
  return Fail(-3305, "likelihood is inconsistent with findings for other nodes, according to this model");
}

static int RefuseLikelihood(node_bn node, Failure failure) {
  const char* reason = failure->mesg;
  Post(
      Rephrase(std::move(failure), "Can't enter likelihood finding for node '%s', because new %s", node->name, reason));
  return -1;
}

int EnterLikelihood(node_bn node, const float* likelihood, bool accumulate) {
  if (!likelihood) return accumulate ? 1 : EnterState(node, UNDEF_STATE, false);
  std::span<const float> weights = Weights(likelihood, *node);
  if (Failure failure = CheckWeights(node, weights)) return RefuseLikelihood(node, std::move(failure));
  if (!accumulate && node->likelihood && !IsBeyondFloats(*node) &&
      std::memcmp(likelihood, node->likelihood, weights.size_bytes()) == 0) {
    return 1;
  }
  if (accumulate && node->evidence != UNDEF_STATE) {
    if (likelihood[node->evidence] != 0) return 1;
    char name[16];
    return RefuseLikelihood(node, Fail(-3306, "likelihood is inconsistent with previous finding (%s) for this node",
                                       StateText(*node, node->evidence, name)));
  }
  Block<float> stored;
  if (!accumulate || !node->likelihood) {
    stored = MakeBlock<float>(weights.size());
    std::copy(weights.begin(), weights.end(), stored.get());
  } else {
    stored = MakeLikelihood(CombinedWeights(*node, weights));
    if (AllZero({stored.get(), weights.size()})) {
      return RefuseLikelihood(
          node, Fail(-3307, "likelihood is inconsistent with previous negative or likelihood findings for this node"));
    }
  }
  std::span<const float> combined(stored.get(), weights.size());
  if (Failure failure = CheckAgainstBelief(node, weights, accumulate)) {
    return RefuseLikelihood(node, std::move(failure));
  }
  auto isNonZero = [](float weight) { return weight != 0; };
  if (std::count_if(combined.begin(), combined.end(), isNonZero) == 1) {
    auto state = std::find_if(combined.begin(), combined.end(), isNonZero) - combined.begin();
    return EnterState(node, static_cast<statetype>(state), accumulate);
  }
  ChangeFinding(node, UNDEF_STATE, UNDEF_DBL, stored.release(), accumulate || !HasFinding(*node));
  return 0;
}

// The state that a value stands for, in *state; UNDEF_STATE for a node without levels.
static Failure FindStateOfValue(const bnode& node, double value, statetype* state) {
  *state = UNDEF_STATE;
  if (!node.levels) return nullptr;
  const char* units = node.units ? node.units : "";
  if (!IsWithinBounds(node, value)) {
    const auto [lowest, highest] = std::minmax(node.levels[0], node.levels[std::max(node.numstates, 1)]);
    return value < lowest
               ? Fail(-3308, "new value %g is less than lowest allowable (%g%.40s)", value, lowest, units)
               : Fail(-3309, "new value %g is higher than highest allowable (%g%.40s)", value, highest, units);
  }
  *state = StateOfValue(node, value, VALUE_TOLERANCE);
  if (*state != UNDEF_STATE || node.discrete != DISCRETE) return nullptr;
  statetype nearest = 0;
  for (statetype s = 1; s < node.numstates; ++s) {
    if (std::fabs(value - node.levels[s]) < std::fabs(value - node.levels[nearest])) nearest = s;
  }
  return Fail(-3314, "new value %g does not correspond to any state (closest is state %d whose value is %g%.40s)",
              value, nearest, node.levels[nearest], units);
}

static Failure CheckValue(node_bn node, double value, bool accumulate, statetype* state) {
  if (std::isnan(value)) return Fail(-2432, "the new value is not a number");
  if (node->discrete == DISCRETE && !node->levels) {
    return Fail(-3317, "the node is discrete without any levels defined");
  }
  if (accumulate && node->value != UNDEF_DBL && !(std::fabs(value - node->value) <= VALUE_TOLERANCE)) {
    return Fail(-3311, "new value %g contradicts old value %g", value, node->value);
  }
  if (Failure failure = FindStateOfValue(*node, value, state)) return failure;
  if (*state == UNDEF_STATE) return nullptr;
  if (accumulate) {
    if (Failure failure = CheckAgainstOwnFinding(*node, *state)) return failure;
  }
  if (Failure failure = CheckAgainstTable(*node, *state)) return failure;
  if (ExcludedByBelief(node, *state)) {
    return Fail(-3312, "new value is inconsistent with previous findings, according to this model");
  }
  return nullptr;
}

int EnterValue(node_bn node, double value, bool accumulate) {
  if (value == UNDEF_DBL ? accumulate || !HasFinding(*node) : value == node->value) return 1;
  statetype state = UNDEF_STATE;
  if (value != UNDEF_DBL) {
    if (Failure failure = CheckValue(node, value, accumulate, &state)) {
      const char* reason = failure->mesg;
      Post(Rephrase(std::move(failure), "can't change value of node '%s', because %s", node->name, reason));
      return -1;
    }
  }
  ChangeFinding(node, state, value, nullptr, state != UNDEF_STATE && KnowsNothing(*node));
  return 0;
}

void RetractFinding(node_bn node) {
  if (node->discrete == DISCRETE) {
    EnterState(node, UNDEF_STATE, false);
  } else {
    EnterValue(node, UNDEF_DBL, false);
  }
}

void RetractAllFindings(net_bn net) {
  if (net->numEvidence + net->numLikelihood > 0) {
    UndoGroup group(UNDO_ALL_FINDINGS, net);
    int autoupdate = net->autoupdate;
    net->autoupdate = 0;
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
  return EnterLikelihood(node, weights.data(), true);
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

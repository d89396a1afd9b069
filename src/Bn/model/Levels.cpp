#include "Bn/model/Levels.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "Basic/Text.h"
#include "Bn/model/Attributes.h"
#include "Bn/model/Changes.h"
#include "Bn/model/Fields.h"
#include "Bn/model/NameLists.h"
#include "Bn/model/Relation.h"
#include "Bn/model/Texts.h"
#include "Bn/model/UndoRecord.h"

namespace bravic {
namespace {

// A value of a function table this near a level of a discrete node is that level's state.
constexpr double FUNCTION_TOLERANCE = 1e-4;

double* CopyLevels(const bnode& node, int numstates, const double* levels) {
  if (!levels) return nullptr;
  const int n = NumLevels(node.discrete, numstates);
  auto* copy = NewArray<double>(n);
  std::copy_n(levels, n, copy);
  return copy;
}

bool SameLevels(const bnode& node, const double* levels) {
  if (!levels || !node.levels) return levels == node.levels;
  return std::memcmp(levels, node.levels, NumLevels(node) * sizeof(double)) == 0;
}

// What was derived by way of the levels is held and made again when it is needed.
void DropTablesByLevels(UndoRecord* undo, node_bn node) {
  if (node->determinv) ReplaceTables(undo, node, nullptr, node->numcases, nullptr, node->determinv, 1);
}

// The finding under the node's present levels: a value is placed among them, a state of a discrete node has its level
// for a value. Whether anything of it changed.
bool PlaceFinding(UndoRecord* undo, node_bn node) {
  if (node->discrete == DISCRETE) {
    const double value = node->evidence >= 0 && node->levels ? node->levels[node->evidence] : UNDEF_DBL;
    if (node->evidence < 0 || value == node->value) return false;
    ReplaceFinding(undo, node, node->evidence, value, nullptr);
    return true;
  }
  if (node->value == UNDEF_DBL) return false;
  const statetype state = StateOfValue(*node, node->value, 0);
  const bool fits = IsWithinBounds(*node, node->value);
  if (fits && state == node->evidence) return false;
  ReplaceFinding(undo, node, state, fits ? node->value : UNDEF_DBL, nullptr);
  return true;
}

// Values of a function may stand for other states under new levels.
void ForgetChance(UndoRecord* undo, node_bn node) {
  if (node->determinv) Replace(undo, node->chance, UNKNOWN_CHANCE);
}

void TellLevelsChanged(node_bn node, bool findingChanged) {
  node->fields[NODE_LEVELS] = FIELD_READ;
  if (node->determinv) TableChanged(node);
  if (!node->innet) return;
  node->innet->dirty = true;
  if (findingChanged) FindingChanged(node);
}

// The tables indexed by the node's states, in records of their own.
void DropTablesByStates(node_bn node, int numstates) {
  const bool ownParent = IndexIn(node->preds, node) >= 0;
  for (node_bn child : Entries(node->succs)) {
    if (child != node) InstallRelation(child, {});
  }
  Relation kept;
  if (node->determinv && !ownParent) {
    kept.determinv = node->determinv;
    kept.numcases = numstates > 0 ? node->numcases : nullptr;
  }
  InstallRelation(node, kept);
}

bool FitNumStates(const bnode& node, int numstates, const double* levels, const char* const* names) {
  if (numstates < 0) {
    Report(NEGATIVE_NUMBER_OF_STATES, OrEmpty(node.name), numstates);
    return false;
  }
  if (node.discrete == DISCRETE && numstates == 0) {
    Report(TOO_FEW_STATES, numstates, DISCRETE_NAMES[DISCRETE]);
    return false;
  }
  if (node.discrete == CONTINUOUS && numstates > 0 && !levels) {
    Report(STATES_WITHOUT_LEVELS, OrEmpty(node.name), numstates);
    return false;
  }
  char reason[NAME_REASON_LEN];
  if (!FitNames(names, numstates, reason)) {
    Report(STATE_NAMES_DONT_FIT, OrEmpty(node.name), reason);
    return false;
  }
  return true;
}

}  // namespace

statetype StateOfValue(const bnode& node, double value, double tolerance) {
  const int n = node.numstates;
  if (!node.levels || n <= 0) return UNDEF_STATE;
  if (node.discrete == DISCRETE) {
    int nearest = 0;
    for (int k = 1; k < n; ++k) {
      if (std::fabs(node.levels[k] - value) < std::fabs(node.levels[nearest] - value)) nearest = k;
    }
    return std::fabs(node.levels[nearest] - value) <= tolerance ? nearest : UNDEF_STATE;
  }
  // Intervals are closed below and open above, but for the last one and those that are a point.
  for (int k = 0; k < n; ++k) {
    const double low = node.levels[k], high = node.levels[k + 1];
    const bool closedAbove = k == n - 1 || low == high;
    if (value >= low && (value < high || (closedAbove && value == high))) return k;
  }
  return UNDEF_STATE;
}

bool IsWithinBounds(const bnode& node, double value) {
  if (!node.levels || node.discrete == DISCRETE) return true;
  const auto [lowest, highest] = std::minmax(node.levels[0], node.levels[NumLevels(node) - 1]);
  return value >= lowest && value <= highest;
}

statetype FunctionStateOfValue(const bnode& node, float value) {
  if (value == IMPOS_PROB) return IMPOS_STATE;
  if (value == UNDEF_PROB) return UNDEF_STATE;
  return StateOfValue(node, value, FUNCTION_TOLERANCE);
}

int SetDiscrete(node_bn node, int discrete) {
  if (discrete == node->discrete) return 1;
  if (discrete < 0 || discrete >= NUM_DISCRETES) {
    Report(DISCRETE_OUT_OF_RANGE, OrEmpty(node->name), discrete, NUM_DISCRETES - 1);
    return -1;
  }
  // The levels of a discrete node are values of its states and bound no intervals.
  if (discrete == CONTINUOUS && node->numstates > 0 && (node->discrete == DISCRETE || !node->levels)) {
    Report(NO_LEVELS_FOR_CHANGE, OrEmpty(node->name), DISCRETE_NAMES[discrete], DISCRETE_NAMES[node->discrete]);
    return -1;
  }
  UndoRecord* undo = BeginChange(node, NODE_DISCRETE);
  // Levels mean values on one side and bounds on the other, so they do not outlive a change between the two.
  const bool levelsGo = discrete == DISCRETE || node->discrete == DISCRETE;
  DropTablesByLevels(undo, node);
  Replace(undo, node->discrete, discrete);
  Replace(undo, node->chance, UNKNOWN_CHANCE);
  bool findingChanged = false;
  if (levelsGo) {
    if (node->levels) ReplaceBlock<double>(undo, node->levels, nullptr);
    findingChanged = node->value != UNDEF_DBL;
    if (findingChanged) ReplaceFinding(undo, node, node->evidence, UNDEF_DBL, nullptr);
  }
  TellLevelsChanged(node, findingChanged);
  if (node->innet) GraphRestored(node->innet);
  return 0;
}

int SetLevels(node_bn node, const double* levels) {
  if (SameLevels(*node, levels)) return 1;
  if (!levels && node->discrete != DISCRETE && node->numstates > 0) {
    Report(LEVELS_HOLD_STATES, DISCRETE_NAMES[node->discrete], OrEmpty(node->name));
    return -1;
  }
  UndoRecord* undo = BeginChange(node, NODE_LEVELS);
  ReplaceBlock(undo, node->levels, CopyLevels(*node, node->numstates, levels));
  DropTablesByLevels(undo, node);
  ForgetChance(undo, node);
  TellLevelsChanged(node, PlaceFinding(undo, node));
  return 0;
}

int SetStatesAndLevels(node_bn node, int numstates, const double* levels, const char* const* names) {
  if (!FitNumStates(*node, numstates, levels, names)) return -1;
  net_bn net = node->innet;
  UndoGroup group(UNDO_STATES_WITH_TABLES, net);
  if (numstates == node->numstates) {
    const int levelsAnswer = SetLevels(node, levels);
    if (levelsAnswer < 0) return -1;
    const int namesAnswer = names ? SetStateNames(node, names) : 1;
    return levelsAnswer == 0 || namesAnswer == 0 ? 0 : 1;
  }
  // Tables go first, in records of their own, while the number of states still fits them. A value finding is taken out
  // and comes back, if it has a place under the new levels, when these are in force.
  DropTablesByStates(node, numstates);
  UndoRecord* undo = BeginChange(node, NODE_NUMSTATES);
  const bool hadFinding = HasFinding(*node);
  const double value = node->value;
  if (hadFinding) ReplaceFinding(undo, node, UNDEF_STATE, UNDEF_DBL, nullptr);
  ReplaceNumStates(undo, node, numstates);
  ReplaceBlock(undo, node->levels, CopyLevels(*node, numstates, levels));
  ForgetChance(undo, node);
  ReplaceTexts(undo, node->states, DupAnyNames(names, numstates));
  DropStateTexts(undo, node);
  if (value != UNDEF_DBL && node->discrete != DISCRETE) {
    const statetype state = StateOfValue(*node, value, 0);
    if (IsWithinBounds(*node, value)) ReplaceFinding(undo, node, state, value, nullptr);
  }
  node->fields[NODE_STATES] = FIELD_READ;
  if (net) Uncompile(net);
  TellLevelsChanged(node, hadFinding);
  return 0;
}

int SetNodeLevels(node_bn node, int numstates, const double* levels) {
  return numstates == node->numstates ? SetLevels(node, levels) : SetStatesAndLevels(node, numstates, levels, nullptr);
}

}  // namespace bravic

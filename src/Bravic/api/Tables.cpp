// Tables of nodes, row by row.
#include "Bn/model/Tables.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Basic/Text.h"
#include "Bn/model/Condition.h"
#include "Bn/model/Relation.h"
#include "Bn/model/SharedAnswers.h"
#include "Bn/model/TableForms.h"
#include "Bn/model/TableRows.h"
#include "Bn/model/VectorCheck.h"
#include "Bravic/NetCall.h"

using namespace bravic;

namespace {

// A row to be set: given, and at the level of lists fit to be one.
bool CheckVector(node_bn node, const statetype* parentstates, const float* probs) {
  if (ApiCall::Basic() && !probs) {
    Report(NULL_PROBS);
    return false;
  }
  if (!ApiCall::Lists()) return true;
  const unsigned flags = ValidateVector(std::span(probs, node->numstates));
  if (!(flags & VECTOR_FAULTS)) return true;
  char text[320], row[ROW_TEXT_LEN];
  Report(BAD_PROBS, VectorFaultText(flags, false, text), RowText(*node, parentstates, probs, row));
  return false;
}

// What a double says of states: cut towards 0, within the range of int.
int ToState(double value) {
  constexpr double MAX = std::numeric_limits<int>::max();
  return value >= -MAX ? static_cast<int>(std::min(value, MAX)) : -std::numeric_limits<int>::max();
}

// Of a discrete node the value is a state, of any other one a real number.
bool CheckFunctionValue(node_bn node, double value) {
  if (!ApiCall::Basic()) return true;
  if (std::isnan(value)) {
    Report(FUNCTION_VALUE_NOT_A_NUMBER, OrEmpty(node->name));
    return false;
  }
  if (node->discrete != DISCRETE || (ToState(value) >= 0 && ToState(value) < node->numstates)) return true;
  Report(FUNCTION_STATE_OUT_OF_RANGE, ToState(value), node->numstates - 1, OrEmpty(node->name), node->numstates);
  return false;
}

}  // namespace

void BRAVIC_CALL SetNodeProbs_bn(node_bn node, const statetype* parentstates, const probtype* probs) {
  NetCall call("SetNodeProbs_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node)) return;
  if (call.Basic() && node->numstates == 0) {
    Report(PROBS_WITHOUT_STATES, OrEmpty(node->name));
    return;
  }
  if (!call.CheckParentStates(node, parentstates, NetCall::ALLOW_WILDCARDS) || !CheckVector(node, parentstates, probs))
    return;
  SetProbsRow(node, parentstates, probs);
}

const probtype* BRAVIC_CALL GetNodeProbs_bn(node_bn node, const statetype* parentstates) {
  NetCall call("GetNodeProbs_bn");
  if (!call.HasReserve() || !call.CheckNode(node)) return SharedOnes(1);
  if (!call.CheckParentStates(node, parentstates, NetCall::ALLOW_NONE)) return SharedOnes(node->numstates);
  if (!HasRelation(*node)) return nullptr;
  if (Failure failure = MakeProbs(node)) {
    Post(std::move(failure));
    return SharedOnes(node->numstates);
  }
  return node->probs + RowIndex(*node, parentstates) * node->numstates;
}

void BRAVIC_CALL SetNodeExperience_bn(node_bn node, const statetype* parentstates, double experience) {
  NetCall call("SetNodeExperience_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node) ||
      !call.CheckParentStates(node, parentstates, NetCall::ALLOW_WILDCARDS)) {
    return;
  }
  if (call.Basic() && !(experience >= 0)) {
    Report(NEGATIVE_EXPERIENCE_ARGUMENT, OrEmpty(node->name), experience);
    return;
  }
  if (node->numstates <= 0) {
    Report(EXPERIENCE_WITHOUT_STATES, OrEmpty(node->name));
    return;
  }
  SetExperienceRow(node, parentstates, experience);
}

double BRAVIC_CALL GetNodeExperience_bn(node_bn node, const statetype* parentstates) {
  NetCall call("GetNodeExperience_bn");
  if (!call.HasReserve() || !call.CheckNode(node) || !call.CheckParentStates(node, parentstates, NetCall::ALLOW_NONE)) {
    return UNDEF_DBL;
  }
  return ExperienceOfRow(node, RowIndex(*node, parentstates));
}

void BRAVIC_CALL SetNodeFuncValue_bn(node_bn node, const statetype* parentstates, double value) {
  NetCall call("SetNodeFuncValue_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node) ||
      !call.CheckParentStates(node, parentstates, NetCall::ALLOW_WILDCARDS) || !CheckFunctionValue(node, value)) {
    return;
  }
  if (node->discrete == DISCRETE) {
    SetFunctionState(node, parentstates, ToState(value));
  } else {
    SetFunctionValue(node, parentstates, ToFloat(value));
  }
}

double BRAVIC_CALL GetNodeFuncValue_bn(node_bn node, const statetype* parentstates) {
  NetCall call("GetNodeFuncValue_bn");
  if (!call.HasReserve() || !call.CheckNode(node) || !call.CheckParentStates(node, parentstates, NetCall::ALLOW_NONE)) {
    return UNDEF_DBL;
  }
  return FunctionValueOfRow(node, RowIndex(*node, parentstates));
}

void BRAVIC_CALL DeleteNodeRelation_bn(node_bn node) {
  NetCall call("DeleteNodeRelation_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node)) return;
  Relation none;
  none.normalized = node->normalized;
  InstallRelation(node, none);
}

int BRAVIC_CALL IsNodeDeterministic_bn(node_bn node) {
  NetCall call("IsNodeDeterministic_bn");
  if (!call.HasReserve() || !call.CheckNode(node)) return 0;
  return IsDeterministic(node);
}

#include "Bn/files/NodeWaiting.h"

#include <algorithm>

#include "Bn/files/NetValues.h"
#include "Bn/files/NodeFindings.h"
#include "Bn/files/NodeInherit.h"

namespace bravic {
namespace {

bool WrongLevelCount(NodeBlock& block, int count, int wanted) {
  ReadError(block.reader, LEVELS_MISCOUNTED, FieldName(NODE_LEVELS), count, wanted, block.keyword, block.node.name,
            block.node.numstates, DISCRETE_NAMES[block.node.discrete], LineNow(block.reader));
  return false;
}

bool ReadLevels(NodeBlock& block) {
  NetReader& reader = block.reader;
  bnode& node = block.node;
  if (!ReadNumbers(reader, block.At(NODE_LEVELS), ILLEGAL_LIST_NUMBER)) return false;
  const int count = reader.numbers.size();
  // Where nothing else tells, the levels do.
  if (block.Status(NODE_DISCRETE) == FIELD_ABSENT && node.discrete == UNKNOWN_DISCRETE) {
    const bool perState = block.Status(NODE_NUMSTATES) != FIELD_ABSENT && count == node.numstates;
    node.discrete = perState ? DISCRETE : CONTINUOUS;
    block.Status(NODE_DISCRETE) = FIELD_IMPLIED;
  }
  const bool continuous = node.discrete != DISCRETE;
  if (continuous && count < 2) {
    ReadError(reader, TOO_FEW_LEVELS, FieldName(NODE_LEVELS), long{count}, 2L, block.keyword, node.name,
              DISCRETE_NAMES[node.discrete], LineNow(reader));
    return false;
  }
  // Levels settle the number of states unless it was stated, in which case they must fit. Two bounds without states
  // between them are allowed.
  const bool counted = block.Status(NODE_NUMSTATES) != FIELD_ABSENT && block.Status(NODE_NUMSTATES) != FIELD_INHERITED;
  const int implied = continuous ? count - 1 : count;
  const bool boundsAlone = continuous && count == 2 && node.numstates == 0;
  if (counted && implied != node.numstates && !boundsAlone) {
    return WrongLevelCount(block, count, continuous ? node.numstates + 1 : node.numstates);
  }
  if (!counted) SetNumStates(node, implied, FIELD_IMPLIED);
  DropLevels(node);
  if (count) {
    node.levels = NewArray<double>(reader.numbers.size());
    std::copy(reader.numbers.begin(), reader.numbers.end(), node.levels);
  }
  return true;
}

bool ReadBelief(NodeBlock& block) {
  bnode& node = block.node;
  if (!ReadStateNumbers(block, NODE_BELIEF)) return false;
  const auto& numbers = block.reader.numbers;
  if (numbers.empty()) return true;
  node.belief = NewArray<float>(numbers.size());
  std::transform(numbers.begin(), numbers.end(), node.belief, [](double p) { return static_cast<float>(p); });
  return true;
}

void ReadWaiting(NodeBlock& block, NodeField field) {
  if (!block.value[field] || StandsTooEarly(block, field)) return;
  block.reader.in.SetPosition(block.value[field]);
  if (!(field == NODE_LEVELS ? ReadLevels(block) : ReadBelief(block))) return;
  if (field == NODE_LEVELS ? block.node.levels != nullptr : block.node.belief != nullptr) {
    block.Status(field) = FIELD_READ;
  }
  CheckStatementEnd(block, field);
}

// A state finding shows as certainty in the beliefs.
void SetCertainBelief(bnode& node) {
  if (node.evidence == UNDEF_STATE) return;
  Free(node.belief);
  node.belief = NewCleared<float>(node.numstates);
  node.belief[node.evidence] = 1;
}

void CheckParentCount(NodeBlock& block) {
  if (block.statedParents < 0) return;
  const int count = block.entry.hasParents ? block.entry.parents.count : 0;
  if (block.failed[NODE_PARENTS] || count == block.statedParents) return;
  ReadError(block.reader, STATED_PARENTS_DONT_FIT, FieldName(NODE_NUMPARENTS), block.statedParents, count,
            block.keyword, block.node.name, block.reader.in.LineOf(block.word[NODE_NUMPARENTS]));
}

// What is left unsaid about the node's discreteness and number of states.
void SettleStates(NodeBlock& block) {
  bnode& node = block.node;
  const bool isnode = !IsStub(node) && !node.isdefine;
  const bool isUnsaid = node.discrete == UNKNOWN_DISCRETE && block.Status(NODE_DISCRETE) == FIELD_ABSENT;
  const bool saysNone = block.Status(NODE_NUMSTATES) == FIELD_READ && node.numstates == 0;
  if (saysNone && !node.isdefine && (isUnsaid || node.discrete == DISCRETE)) {
    ReadError(block.reader, STATED_STATES_BELOW_ONE, FieldName(NODE_NUMSTATES), 0L, block.keyword, node.name,
              block.reader.in.LineOf(block.word[NODE_NUMSTATES]));
    block.Status(NODE_NUMSTATES) = FIELD_ABSENT;
  }
  if (isUnsaid && isnode) {
    node.discrete = node.numstates > 0 ? DISCRETE : CONTINUOUS;
    block.Status(NODE_DISCRETE) = FIELD_IMPLIED;
  }
  if (node.discrete == DISCRETE && node.numstates == 0 && isnode && !block.stated[NODE_NUMSTATES] &&
      !block.stated[NODE_STATES]) {
    ReadError(block.reader, STATEMENT_MISSING, FieldName(NODE_NUMSTATES), block.keyword, node.name);
  }
}

// The states of a continuous node are intervals between levels.
void CheckIntervals(NodeBlock& block) {
  bnode& node = block.node;
  if (node.isdefine || node.discrete != CONTINUOUS || node.levels || node.numstates == 0) return;
  ReadError(block.reader, STATEMENT_MISSING, FieldName(NODE_LEVELS), block.keyword, node.name);
  SetNumStates(node, 0, FIELD_ABSENT);
}

void FinishTable(NodeBlock& block, NodeField field) {
  if (!block.value[field] || StandsTooEarly(block, field)) return;
  block.entry.TableAt(field) = block.value[field];
}

}  // namespace

void FinishNode(NodeBlock& block) {
  bnode& node = block.node;
  // The order matters: discreteness says what levels are, levels how many states there are, and findings need all
  // three. Fields are inherited here where the reader was asked to, so that a block's own statements come first.
  const long resume = block.reader.in.Position();
  if (block.inheritLate) InheritField(block, NODE_DISCRETE);
  ReadWaiting(block, NODE_LEVELS);
  if (block.inheritLate) InheritFields(block);
  SettleStates(block);
  CheckIntervals(block);
  ReadWaiting(block, NODE_BELIEF);
  ReadFindings(block);
  SetCertainBelief(node);
  CheckParentCount(block);
  block.entry.inputsAt = block.value[NODE_INPUTS];
  for (NodeField field : TABLES) FinishTable(block, field);
  block.reader.in.SetPosition(resume);
}

}  // namespace bravic

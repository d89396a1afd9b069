#include "Bn/files/NodeBlock.h"

#include <algorithm>
#include <limits>

#include "Bn/files/NetValues.h"
#include "Bn/model/NameLists.h"

namespace bravic {

void DropStates(bnode& node) {
  FreeNames(node.states);
  node.states = nullptr;
  node.fields[NODE_STATES] = FIELD_ABSENT;
}

void DropLevels(bnode& node) {
  Free(node.levels);
  node.levels = nullptr;
  node.fields[NODE_LEVELS] = FIELD_ABSENT;
}

void SetNumStates(bnode& node, int numstates, FieldStatus status) {
  if (numstates != node.numstates) {
    DropStates(node);
    DropLevels(node);
  }
  node.numstates = numstates;
  node.fields[NODE_NUMSTATES] = status;
}

bool Needs(const bnode& node, NodeField field, NodeField needed) {
  const bool discretized = node.discrete == CONTINUOUS;
  switch (needed) {
    case NODE_DISCRETE:
      return field == NODE_LEVELS || field == NODE_FUNCTABLE || field == NODE_PROBS;
    case NODE_NUMSTATES:
    case NODE_STATES:
      return field != NODE_NUMCASES && field != NODE_VALUE && !(field == NODE_FUNCTABLE && discretized);
    case NODE_LEVELS:
      return discretized && field != NODE_LEVELS && field != NODE_NUMCASES && field != NODE_FUNCTABLE;
    case NODE_PARENTS:
      return field == NODE_FUNCTABLE || field == NODE_PROBS || field == NODE_NUMCASES;
    default:
      return false;
  }
}

bool StandsTooEarly(NodeBlock& block, NodeField field) {
  constexpr NodeField NEEDED[] = {NODE_DISCRETE, NODE_NUMSTATES, NODE_STATES, NODE_LEVELS, NODE_PARENTS};
  if (block.inheritLate && block.node.inherits.num) return false;
  for (NodeField needed : NEEDED) {
    if (!Needs(block.node, field, needed) || block.word[needed] <= block.word[field]) continue;
    const long line = block.reader.in.LineOf(block.word[field]);
    const char* name = FieldName(field);
    if (needed == NODE_PARENTS) {
      ReadError(block.reader, -1053, "`%s` statement for %s '%s' should appear after PREDS, line %ld", name,
                block.keyword, block.node.name, line);
    } else {
      ReadError(block.reader, -1021, "missing `%s` statement before `%s` statement in %s '%s', line %ld",
                FieldName(needed), name, block.keyword, block.node.name, line);
    }
    return true;
  }
  return false;
}

bool BadValue(NodeBlock& block, NodeField field, const char* reason) {
  ReadError(block.reader, -777, "%s in `%s` statement of %s '%s', line %ld", reason, FieldName(field), block.keyword,
            block.node.name, LineNow(block.reader));
  return false;
}

void CheckStatementEnd(NodeBlock& block, NodeField field) {
  const int c = block.reader.in.Peek();
  if (c == ';' || c == '}' || c == END_OF_INPUT) return;
  ReadError(block.reader, -1019, "missing semicolon after `%s` statement of %s '%s', line %ld", FieldName(field),
            block.keyword, block.node.name, LineNow(block.reader));
}

bool HasStates(NodeBlock& block, NodeField field) {
  if (IsDiscretized(block.node)) return true;
  const char* name = FieldName(field);
  if (block.node.discrete == CONTINUOUS) {
    ReadError(block.reader, -1035,
              "there should not be an `%s` statement for %s '%s' because it is not a discrete or discretized variable, "
              "line %ld",
              name, block.keyword, block.node.name, LineNow(block.reader));
  } else {
    ReadError(block.reader, -1074, "can't read `%s` statement, because there is no `%s` statement in %s '%s', line %ld",
              name, FieldName(NODE_STATES), block.keyword, block.node.name, LineNow(block.reader));
  }
  return false;
}

bool ReadStateNumbers(NodeBlock& block, NodeField field) {
  if (!HasStates(block, field) || !ReadNumbers(block.reader, block.At(field), ILLEGAL_FINDING_NUMBER)) return false;
  const auto& numbers = block.reader.numbers;
  if (!numbers.empty() && numbers.size() != block.node.numstates) {
    ReadError(block.reader, field == NODE_LIKELIHOOD ? -1093 : -1160,
              "`%s` statement has %d entries, but there should be %d, because %s '%s' has that many states, line %ld",
              FieldName(field), numbers.size(), block.node.numstates, block.keyword, block.node.name,
              LineNow(block.reader));
    return false;
  }
  constexpr double BEYOND_FLOATS = 3.4028235677973366e38;  // what is below it rounds to the largest float at most
  const double beyond = field == NODE_LIKELIHOOD ? std::numeric_limits<double>::infinity() : BEYOND_FLOATS;
  const auto bad = [&](double entry) { return !(entry >= 0 && entry < beyond); };
  if (std::any_of(numbers.begin(), numbers.end(), bad)) return BadValue(block, field, "an illegal number");
  return true;
}

}  // namespace bravic

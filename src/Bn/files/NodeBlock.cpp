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

// How many states there are, of the node's own and of its parents, gives a value its meaning; of a node that is
// discretized its levels say that.
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

// Words of statements that are missing have the place 0, which is before everything.
bool StandsTooEarly(NodeBlock& block, NodeField field) {
  constexpr NodeField NEEDED[] = {NODE_DISCRETE, NODE_NUMSTATES, NODE_STATES, NODE_LEVELS, NODE_PARENTS};
  if (block.inheritLate && block.node.inherits.num) return false;
  for (NodeField needed : NEEDED) {
    if (!Needs(block.node, field, needed) || block.word[needed] <= block.word[field]) continue;
    const long line = block.reader.in.LineOf(block.word[field]);
    const char* name = FieldName(field);
    if (needed == NODE_PARENTS) {
      ReadError(block.reader, STATEMENT_BEFORE_PARENTS, name, block.keyword, block.node.name, line);
    } else {
      ReadError(block.reader, STATEMENT_NEEDED_BEFORE, FieldName(needed), name, block.keyword, block.node.name, line);
    }
    return true;
  }
  return false;
}

bool BadValue(NodeBlock& block, NodeField field, const char* reason) {
  ReadError(block.reader, BAD_FINDING_ENTRY, reason, FieldName(field), block.keyword, block.node.name,
            LineNow(block.reader));
  return false;
}

void CheckStatementEnd(NodeBlock& block, NodeField field) {
  const int c = block.reader.in.Peek();
  if (c == ';' || c == '}' || c == END_OF_INPUT) return;
  ReadError(block.reader, NO_SEMICOLON_AFTER_NODE_STATEMENT, FieldName(field), block.keyword, block.node.name,
            LineNow(block.reader));
}

bool HasStates(NodeBlock& block, NodeField field) {
  if (IsDiscretized(block.node)) return true;
  const char* name = FieldName(field);
  if (block.node.discrete == CONTINUOUS) {
    ReadError(block.reader, FINDING_OF_NODE_WITHOUT_STATES, name, block.keyword, block.node.name,
              LineNow(block.reader));
  } else {
    ReadError(block.reader, NO_STATEMENT_TO_READ_BY, name, FieldName(NODE_STATES), block.keyword, block.node.name,
              LineNow(block.reader));
  }
  return false;
}

bool ReadStateNumbers(NodeBlock& block, NodeField field) {
  if (!HasStates(block, field) || !ReadNumbers(block.reader, block.At(field), ILLEGAL_FINDING_NUMBER)) return false;
  const auto& numbers = block.reader.numbers;
  if (!numbers.empty() && numbers.size() != block.node.numstates) {
    using CountError = ErrorFor<const char*, int, int, const char*, const char*, long>;
    ReadError(
        block.reader, field == NODE_LIKELIHOOD ? CountError(LIKELIHOOD_MISCOUNTED) : CountError(BELIEFS_MISCOUNTED),
        FieldName(field), numbers.size(), block.node.numstates, block.keyword, block.node.name, LineNow(block.reader));
    return false;
  }
  constexpr double BEYOND_FLOATS = 3.4028235677973366e38;  // what is below it rounds to the largest float at most
  const double beyond = field == NODE_LIKELIHOOD ? std::numeric_limits<double>::infinity() : BEYOND_FLOATS;
  const auto bad = [&](double entry) { return !(entry >= 0 && entry < beyond); };
  if (std::any_of(numbers.begin(), numbers.end(), bad)) return BadValue(block, field, "an illegal number");
  return true;
}

}  // namespace bravic

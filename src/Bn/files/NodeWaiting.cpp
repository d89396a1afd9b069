// The values of a node that are read at the end of its block, when the number of its states and the names of its
// parents are known: levels, beliefs, link names. NodeFindings.cpp reads its findings.

#include <algorithm>
#include <cstring>
#include <limits>

#include "Bn/files/NodeReader.h"
#include "Bn/model/Tables.h"

namespace bravic {

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
    const char* name = NODE_FIELD_NAMES[field];
    if (needed == NODE_PARENTS) {
      ReadError(block.reader, -1053, "`%s` statement for %s '%s' should appear after PREDS, line %ld", name,
                block.keyword, block.node.name, line);
    } else {
      ReadError(block.reader, -1021, "missing `%s` statement before `%s` statement in %s '%s', line %ld",
                NODE_FIELD_NAMES[needed], name, block.keyword, block.node.name, line);
    }
    return true;
  }
  return false;
}

bool BadValue(NodeBlock& block, NodeField field, const char* reason) {
  ReadError(block.reader, -777, "%s in `%s` statement of %s '%s', line %ld", reason, NODE_FIELD_NAMES[field],
            block.keyword, block.node.name, LineNow(block.reader));
  return false;
}

void CheckStatementEnd(NodeBlock& block, NodeField field) {
  const int c = block.reader.in.Peek();
  if (c == ';' || c == '}' || c == END_OF_INPUT) return;
  ReadError(block.reader, -1019, "missing semicolon after `%s` statement of %s '%s', line %ld", NODE_FIELD_NAMES[field],
            block.keyword, block.node.name, LineNow(block.reader));
}

bool HasStates(NodeBlock& block, NodeField field) {
  if (IsDiscretized(block.node)) return true;
  const char* name = NODE_FIELD_NAMES[field];
  if (block.node.discrete == CONTINUOUS) {
    ReadError(block.reader, -1035,
              "there should not be an `%s` statement for %s '%s' because it is not a discrete or discretized variable, "
              "line %ld",
              name, block.keyword, block.node.name, LineNow(block.reader));
  } else {
    ReadError(block.reader, -1074, "can't read `%s` statement, because there is no `%s` statement in %s '%s', line %ld",
              name, NODE_FIELD_NAMES[NODE_STATES], block.keyword, block.node.name, LineNow(block.reader));
  }
  return false;
}

bool ReadVector(NodeBlock& block, NodeField field) {
  if (!HasStates(block, field) || !ReadNumbers(block.reader, block.At(field), ILLEGAL_FINDING_NUMBER)) return false;
  const auto& numbers = block.reader.numbers;
  if (!numbers.empty() && numbers.size() != block.node.numstates) {
    ReadError(block.reader, field == NODE_LIKELIHOOD ? -1093 : -1160,
              "`%s` statement has %d entries, but there should be %d, because %s '%s' has that many states, line %ld",
              NODE_FIELD_NAMES[field], numbers.size(), block.node.numstates, block.keyword, block.node.name,
              LineNow(block.reader));
    return false;
  }
  constexpr double BEYOND_FLOATS = 3.4028235677973366e38;  // what is below it rounds to the largest float at most
  const double beyond = field == NODE_LIKELIHOOD ? std::numeric_limits<double>::infinity() : BEYOND_FLOATS;
  const auto bad = [&](double entry) { return !(entry >= 0 && entry < beyond); };
  if (std::any_of(numbers.begin(), numbers.end(), bad)) return BadValue(block, field, "an illegal number");
  return true;
}

float* MakeVector(const Vector<double>& numbers) {
  auto* made = static_cast<float*>(Allocate(numbers.size() * sizeof(float)));
  std::transform(numbers.begin(), numbers.end(), made, [](double entry) { return static_cast<float>(entry); });
  return made;
}

namespace {

bool WrongLevelCount(NodeBlock& block, int count, int wanted) {
  ReadError(block.reader, -1029,
            "`%s` statement has %d entries, but there should be %d, because %s '%s' has %d states and is %s, line %ld",
            NODE_FIELD_NAMES[NODE_LEVELS], count, wanted, block.keyword, block.node.name, block.node.numstates,
            DISCRETE_NAMES[block.node.discrete], LineNow(block.reader));
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
    ReadError(reader, -1076, "`%s` statement has %ld entries, but minimum is %ld, because %s '%s' is %s, line %ld",
              NODE_FIELD_NAMES[NODE_LEVELS], static_cast<long>(count), 2L, block.keyword, node.name,
              DISCRETE_NAMES[node.discrete], LineNow(reader));
    return false;
  }
  const bool counted = block.Status(NODE_NUMSTATES) != FIELD_ABSENT && block.Status(NODE_NUMSTATES) != FIELD_INHERITED;
  const int implied = continuous ? count - 1 : count;
  const bool boundsAlone = continuous && count == 2 && node.numstates == 0;
  if (counted && implied != node.numstates && !boundsAlone) {
    return WrongLevelCount(block, count, continuous ? node.numstates + 1 : node.numstates);
  }
  if (!counted) SetNumStates(node, implied, FIELD_IMPLIED);
  DropLevels(node);
  if (count) {
    node.levels = static_cast<double*>(Allocate(reader.numbers.size() * sizeof(double)));
    std::copy(reader.numbers.begin(), reader.numbers.end(), node.levels);
  }
  return true;
}

bool ReadBelief(NodeBlock& block) {
  bnode& node = block.node;
  if (!ReadVector(block, NODE_BELIEF)) return false;
  if (!block.reader.numbers.empty()) node.belief = MakeVector(block.reader.numbers);
  return true;
}

void ReadWaiting(NodeBlock& block, NodeField field) {
  if (!block.value[field] || StandsTooEarly(block, field)) return;
  block.reader.in.SetPosition(static_cast<long>(block.value[field]));
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
  node.belief = static_cast<float*>(AllocateCleared(static_cast<std::size_t>(node.numstates), sizeof(float)));
  node.belief[node.evidence] = 1;
}

void CheckParentCount(NodeBlock& block) {
  if (block.statedParents < 0) return;
  const int count = block.entry.hasParents ? block.entry.parents.count : 0;
  if (block.failed[NODE_PARENTS] || count == block.statedParents) return;
  ReadError(block.reader, -1032, "`%s` stated to be %d, but other statements imply it is %d for %s '%s', line %ld",
            NODE_FIELD_NAMES[NODE_NUMPARENTS], block.statedParents, count, block.keyword, block.node.name,
            block.reader.in.LineOf(block.word[NODE_NUMPARENTS]));
}

// What is left unsaid about the node's discreteness and number of states.
void SettleStates(NodeBlock& block) {
  bnode& node = block.node;
  const bool isnode = TagOf(&node) == BNODE_TAG && !node.isdefine;
  const bool isUnsaid = node.discrete == UNKNOWN_DISCRETE && block.Status(NODE_DISCRETE) == FIELD_ABSENT;
  const bool saysNone = block.Status(NODE_NUMSTATES) == FIELD_READ && node.numstates == 0;
  if (saysNone && !node.isdefine && (isUnsaid || node.discrete == DISCRETE)) {
    ReadError(block.reader, -1026, "`%s` stated to be %ld, but it must not be less than 1, in %s '%s', line %ld",
              NODE_FIELD_NAMES[NODE_NUMSTATES], 0L, block.keyword, node.name,
              block.reader.in.LineOf(block.word[NODE_NUMSTATES]));
    block.Status(NODE_NUMSTATES) = FIELD_ABSENT;
  }
  if (isUnsaid && isnode) {
    node.discrete = node.numstates > 0 ? DISCRETE : CONTINUOUS;
    block.Status(NODE_DISCRETE) = FIELD_IMPLIED;
  }
  if (node.discrete == DISCRETE && node.numstates == 0 && isnode && !block.stated[NODE_NUMSTATES] &&
      !block.stated[NODE_STATES]) {
    ReadError(block.reader, -1022, "missing `%s` statement for %s '%s'", NODE_FIELD_NAMES[NODE_NUMSTATES],
              block.keyword, node.name);
  }
}

// The states of a continuous node are intervals between levels.
void CheckIntervals(NodeBlock& block) {
  bnode& node = block.node;
  if (node.isdefine || node.discrete != CONTINUOUS || node.levels || node.numstates == 0) return;
  ReadError(block.reader, -1022, "missing `%s` statement for %s '%s'", NODE_FIELD_NAMES[NODE_LEVELS], block.keyword,
            node.name);
  SetNumStates(node, 0, FIELD_ABSENT);
}

void FinishTable(NodeBlock& block, NodeField field) {
  if (!block.value[field] || StandsTooEarly(block, field)) return;
  Place& place = field == NODE_FUNCTABLE ? block.entry.functableAt
                 : field == NODE_PROBS   ? block.entry.probsAt
                                         : block.entry.numcasesAt;
  place = block.value[field];
}

}  // namespace

void FinishNode(NodeBlock& block) {
  bnode& node = block.node;
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

// Of doubled links only the first has a name of its own.
static void DropRepeatedNames(NetReader& reader, const bnode& node, NameRange range) {
  const auto parents = Entries(node.preds);
  const auto numNames = std::min(static_cast<std::size_t>(range.count), parents.size());
  std::string_view* const words = reader.words.data() + range.first;
  const int mark = NewMark();
  for (std::size_t i = 0; i < numNames; i++) {
    const bool isDoubled = parents[i]->mark == mark;
    parents[i]->mark = mark;
    for (std::size_t k = 0; isDoubled && k < i; k++) {
      if (parents[k] == parents[i] && words[k] == words[i]) words[i] = {};
    }
  }
}

void ReadInputs(NetReader& reader, NodeEntry& entry) {
  bnode& node = *entry.node;
  if (!entry.inputsAt) return;
  const Statement at = {NODE_FIELD_NAMES[NODE_INPUTS], format::NODE_WORD, node.name};
  const std::size_t numWords = reader.words.size();
  reader.in.SetPosition(static_cast<long>(entry.inputsAt));
  NameRange range;
  char** names = nullptr;
  bool good = ReadNames(reader, at, true, &range);
  if (good) DropRepeatedNames(reader, node, range);
  if (good && range.count != node.preds.num) {
    ReadError(reader, -1031, "there are %d parents, but %d names in `%s` statement for %s '%s', line %ld",
              node.preds.num, range.count, at.field, at.keyword, at.owner, LineNow(reader));
    good = false;
  }
  good = good && MakeNames(reader, at, range, &names);
  reader.words.resize(numWords);
  if (!good) return;
  if (std::any_of(names, names + range.count, [](const char* name) { return name != nullptr; })) {
    node.inputs = names;
    node.fields[NODE_INPUTS] = FIELD_READ;
  } else {
    FreeNames(names, range.count);
  }
}

}  // namespace bravic

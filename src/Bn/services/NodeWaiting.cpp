// The values of a node that are read at the end of its block, when the number of its states and the names of its
// parents are known: levels, findings, beliefs, link names.

#include <algorithm>
#include <cstring>

#include "Bn/model/Tables.h"
#include "Bn/services/Likelihood.h"
#include "Bn/services/NodeReader.h"

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

namespace {

constexpr double VALUE_TOLERANCE = 1e-5;

// Reports a waiting statement that stands before one it needs.
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
  const int count = static_cast<int>(reader.numbers.size());
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
  if (counted && implied != node.numstates) {
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

// A statement that has sense only for a node with states.
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

bool ReadEvidence(NodeBlock& block) {
  bnode& node = block.node;
  if (!HasStates(block, NODE_EVIDENCE)) return false;
  const std::string_view word = block.reader.in.ReadWord(format::PUNCTUATION, format::MAX_WORD_LEN, nullptr);
  const statetype state = StateOfWord(node, word);
  if (state == UNDEF_STATE) {
    ReadError(block.reader, -1036, "unknown label '%.*s' in `%s` statement of %s '%s', line %ld", QuoteLength(word),
              word.data(), NODE_FIELD_NAMES[NODE_EVIDENCE], block.keyword, node.name, LineNow(block.reader));
    return false;
  }
  node.evidence = state;
  node.value = node.discrete == DISCRETE && node.levels ? node.levels[state] : UNDEF_DBL;
  return true;
}

bool BadValue(NodeBlock& block, NodeField field, const char* reason) {
  ReadError(block.reader, -777, "%s in `%s` statement of %s '%s', line %ld", reason, NODE_FIELD_NAMES[field],
            block.keyword, block.node.name, LineNow(block.reader));
  return false;
}

// The state that an `evidence` statement has given stays; a value only fills in what it leaves open.
bool ReadNodeValue(NodeBlock& block) {
  bnode& node = block.node;
  double value;
  if (!ReadNumber(block.reader, block.At(NODE_VALUE), &value)) return false;
  if (value == UNDEF_DBL) return true;
  if (node.discrete == DISCRETE && !node.levels) return BadValue(block, NODE_VALUE, "a value without levels");
  if (node.evidence != UNDEF_STATE) {
    if (node.discrete != DISCRETE) node.value = value;
    return true;
  }
  if (node.levels && node.numstates > 0) {
    const statetype state = StateOfValue(node, value, VALUE_TOLERANCE);
    if (state < 0) return BadValue(block, NODE_VALUE, "a value outside all levels");
    node.evidence = state;
  }
  node.value = value;
  return true;
}

// A vector over the states, into reader.numbers; an empty list is no vector.
bool ReadVector(NodeBlock& block, NodeField field, int number) {
  if (!HasStates(block, field) || !ReadNumbers(block.reader, block.At(field), -777)) return false;
  const auto& numbers = block.reader.numbers;
  if (!numbers.empty() && static_cast<int>(numbers.size()) != block.node.numstates) {
    ReadError(block.reader, number,
              "`%s` statement has %d entries, but there should be %d, because %s '%s' has that many states, line %ld",
              NODE_FIELD_NAMES[field], static_cast<int>(numbers.size()), block.node.numstates, block.keyword,
              block.node.name, LineNow(block.reader));
    return false;
  }
  const double most = field == NODE_LIKELIHOOD ? 1.7e308 : 3.4e38;
  const auto bad = [&](double entry) { return !(entry >= 0 && entry <= most); };
  if (std::any_of(numbers.begin(), numbers.end(), bad)) return BadValue(block, field, "an illegal number");
  return true;
}

float* MakeVector(const Vector<double>& numbers) {
  auto* made = static_cast<float*>(Allocate(numbers.size() * sizeof(float)));
  std::transform(numbers.begin(), numbers.end(), made, [](double entry) { return static_cast<float>(entry); });
  return made;
}

// One non-zero entry is a state finding; a state finding that is there already stays alone.
bool ReadLikelihood(NodeBlock& block) {
  bnode& node = block.node;
  if (!ReadVector(block, NODE_LIKELIHOOD, -1093)) return false;
  const auto& numbers = block.reader.numbers;
  if (numbers.empty() || node.evidence != UNDEF_STATE || node.value != UNDEF_DBL) return true;
  const auto isNonZero = [](double entry) { return entry != 0; };
  const auto nonZero = std::count_if(numbers.begin(), numbers.end(), isNonZero);
  if (nonZero == 0) return BadValue(block, NODE_LIKELIHOOD, "likelihood consists of all zeroes");
  if (nonZero == 1 && numbers.size() > 1) {
    const auto place = std::find_if(numbers.begin(), numbers.end(), isNonZero);
    node.evidence = static_cast<statetype>(place - numbers.begin());
    if (node.discrete == DISCRETE && node.levels) node.value = node.levels[node.evidence];
    return true;
  }
  node.likelihood = MakeLikelihood(numbers).release();
  return true;
}

bool ReadBelief(NodeBlock& block) {
  bnode& node = block.node;
  if (!ReadVector(block, NODE_BELIEF, -1160)) return false;
  if (!block.reader.numbers.empty()) node.belief = MakeVector(block.reader.numbers);
  return true;
}

bool ReadWaitingValue(NodeBlock& block, NodeField field) {
  switch (field) {
    case NODE_LEVELS:
      return ReadLevels(block);
    case NODE_BELIEF:
      return ReadBelief(block);
    case NODE_EVIDENCE:
      return ReadEvidence(block);
    case NODE_VALUE:
      return ReadNodeValue(block);
    default:
      return ReadLikelihood(block);
  }
}

void ReadWaiting(NodeBlock& block, NodeField field) {
  if (!block.value[field] || StandsTooEarly(block, field)) return;
  block.reader.in.SetPosition(static_cast<long>(block.value[field]));
  const bool good = ReadWaitingValue(block, field);
  if (good) {
    block.Status(field) = FIELD_READ;
    const int c = block.reader.in.Peek();
    if (c != ';' && c != '}' && c != END_OF_INPUT) {
      ReadError(block.reader, -1019, "missing semicolon after `%s` statement of %s '%s', line %ld",
                NODE_FIELD_NAMES[field], block.keyword, block.node.name, LineNow(block.reader));
    }
  }
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
  if (node.discrete == UNKNOWN_DISCRETE && isnode && !block.stated[NODE_DISCRETE]) {
    node.discrete = node.numstates > 0 ? DISCRETE : CONTINUOUS;
    block.Status(NODE_DISCRETE) = FIELD_IMPLIED;
  }
  if (node.discrete == DISCRETE && node.numstates == 0 && isnode && !block.stated[NODE_NUMSTATES] &&
      !block.stated[NODE_STATES]) {
    ReadError(block.reader, -1022, "missing `%s` statement for %s '%s'", NODE_FIELD_NAMES[NODE_NUMSTATES],
              block.keyword, node.name);
  }
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
  for (NodeField field : WAITING) {
    if (field != NODE_LEVELS) ReadWaiting(block, field);
  }
  SetCertainBelief(node);
  CheckParentCount(block);
  block.entry.inputsAt = block.value[NODE_INPUTS];
  for (NodeField field : TABLES) FinishTable(block, field);
  block.reader.in.SetPosition(resume);
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
  if (good && range.count != node.preds.num) {
    ReadError(reader, -1031, "there are %d parents, but %d names in `%s` statement for %s '%s', line %ld",
              node.preds.num, range.count, at.field, at.keyword, at.owner, LineNow(reader));
    good = false;
  }
  good = good && MakeNames(reader, at, range, &names);
  reader.words.resize(numWords);
  if (!good) return;
  node.fields[NODE_INPUTS] = FIELD_READ;
  if (std::any_of(names, names + range.count, [](const char* name) { return name != nullptr; })) {
    node.inputs = names;
  } else {
    FreeNames(names, range.count);
  }
}

}  // namespace bravic

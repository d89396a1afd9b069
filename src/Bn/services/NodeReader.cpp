// Node blocks: nodes, define-nodes and placeholders. Statements whose values stand on their own are read where they
// stand; the values that depend on others (levels, findings, tables) are read at the end of the block or, when their
// parents come later in the file, at the end of the net.

#include <algorithm>
#include <cstring>

#include "Basic/Format.h"
#include "Basic/Text.h"
#include "Bn/model/Attributes.h"
#include "Bn/model/Tables.h"
#include "Bn/services/NetReader.h"

namespace bravic {
namespace {

constexpr int MAX_STATES = 1 << 24;  // what a `numstates` statement without names may ask for
constexpr double VALUE_TOLERANCE = 1e-5;

// A node block while it is read.
struct NodeBlock {
  NetReader& reader;
  NodeEntry& entry;
  bnode& node;
  const char* keyword;
  bool inheritLate;                   // fields are inherited at the end of the block, not at its head
  bool stated[NUM_NODE_FIELDS] = {};  // its statement was met, good or bad
  bool failed[NUM_NODE_FIELDS] = {};
  bool done[NUM_NODE_FIELDS] = {};    // a dependent statement that was read where it stands
  Place word[NUM_NODE_FIELDS] = {};   // of the statement
  Place value[NUM_NODE_FIELDS] = {};  // of a value that waits; 0 when none does
  int statedParents = -1;             // of a `numparents` statement

  Statement At(NodeField field) const { return {NODE_FIELD_NAMES[field], keyword, node.name}; }
  unsigned char& Status(NodeField field) { return node.fields[field]; }
};

constexpr NodeField TABLES[] = {NODE_FUNCTABLE, NODE_PROBS, NODE_NUMCASES};
// Read at the end of the block, in this order.
constexpr NodeField WAITING[] = {NODE_LEVELS, NODE_BELIEF, NODE_EVIDENCE, NODE_VALUE, NODE_LIKELIHOOD};

int FindWord(std::string_view word, const char* const* names, int count) {
  for (int i = 0; i < count; i++) {
    if (word == names[i]) return i;
  }
  return -1;
}

int QuoteLength(std::string_view word) {
  return static_cast<int>(std::min<std::size_t>(word.size(), MAX_ERROR_WORD));
}

void SetText(char*& field, char* text) {
  Free(field);
  field = text;
}

void DropStates(bnode& node) {
  FreeNames(node.states, node.numstates);
  node.states = nullptr;
  node.fields[NODE_STATES] = FIELD_ABSENT;
}

void DropLevels(bnode& node) {
  Free(node.levels);
  node.levels = nullptr;
  node.fields[NODE_LEVELS] = FIELD_ABSENT;
}

// Only what was inherited can be there already.
void DropFindings(bnode& node) {
  Free(node.likelihood);
  node.likelihood = nullptr;
  node.evidence = UNDEF_STATE;
  node.value = UNDEF_DBL;
  for (NodeField field : {NODE_EVIDENCE, NODE_VALUE, NODE_LIKELIHOOD}) node.fields[field] = FIELD_ABSENT;
}

// A new number of states; what was inherited for another number goes.
void SetNumStates(bnode& node, int numstates, FieldStatus status) {
  if (numstates != node.numstates) {
    DropStates(node);
    DropLevels(node);
    DropFindings(node);
  }
  node.numstates = numstates;
  node.fields[NODE_NUMSTATES] = status;
}

// --- Statements that stand on their own

bool ReadEnumerated(NodeBlock& block, NodeField field, const char* const* names, int count, int* value) {
  const std::string_view word = block.reader.in.ReadWord(format::PUNCTUATION, format::MAX_WORD_LEN, nullptr);
  const int found = FindWord(word, names, count);
  if (found >= 0) {
    *value = found;
    return true;
  }
  const long line = LineNow(block.reader);
  if (field == NODE_KIND) {
    ReadError(block.reader, -1024, "illegal `%s` '%.*s' in %s '%s', line %ld", NODE_FIELD_NAMES[field],
              QuoteLength(word), word.data(), block.keyword, block.node.name, line);
  } else {
    ReadError(block.reader, -1024, "illegal value '%.*s' for `%s` statement in %s '%s', line %ld", QuoteLength(word),
              word.data(), NODE_FIELD_NAMES[field], block.keyword, block.node.name, line);
  }
  return false;
}

bool ReadDiscrete(NodeBlock& block) {
  const std::string_view word = block.reader.in.ReadWord(format::PUNCTUATION, format::MAX_WORD_LEN, nullptr);
  const int found = FindWord(word, DISCRETE_NAMES, NUM_DISCRETES), before = block.node.discrete;
  if (found >= 0) {
    block.node.discrete = found;
  } else if (word == format::TRUE_WORD || word == format::FALSE_WORD) {
    block.node.discrete = word == format::TRUE_WORD ? DISCRETE : CONTINUOUS;
  } else {
    block.node.discrete = DISCRETE;
    ReadError(block.reader, -1025, "illegal value '%.*s' for `%s` statement in %s '%s', line %ld", QuoteLength(word),
              word.data(), NODE_FIELD_NAMES[NODE_DISCRETE], block.keyword, block.node.name, LineNow(block.reader));
  }
  if (block.node.discrete != before) DropLevels(block.node);
  return found >= 0 || word == format::TRUE_WORD || word == format::FALSE_WORD;
}

bool ReadNumStates(NodeBlock& block) {
  bnode& node = block.node;
  int stated;
  if (!ReadInt(block.reader, block.At(NODE_NUMSTATES), &stated)) return false;
  const long line = LineNow(block.reader);
  const char* name = NODE_FIELD_NAMES[NODE_NUMSTATES];
  if (stated < 1) {
    ReadError(block.reader, -1026, "`%s` stated to be %ld, but it must not be less than 1, in %s '%s', line %ld", name,
              static_cast<long>(stated), block.keyword, node.name, line);
    return false;
  }
  if (stated != node.numstates && block.Status(NODE_STATES) == FIELD_INHERITED) {
    ReadError(block.reader, -1054, "`%s` statement for %s '%s' already inherited, line %ld", name, block.keyword,
              node.name, line);
    return false;
  }
  if (stated != node.numstates && block.Status(NODE_STATES) == FIELD_READ) {
    ReadError(block.reader, -1027, "`%s` stated to be %d, but other statements imply it is %d for %s '%s', line %ld",
              name, stated, node.numstates, block.keyword, node.name, line);
    return false;
  }
  if (stated > MAX_STATES) {
    block.reader.in.Report(NUMBER_TOO_LARGE, {}, stated, MAX_STATES + 1);
    char context[160];
    FormatText(context, sizeof context, " in `%s` statement of %s '%s'", name, block.keyword, node.name);
    return ReportFault(block.reader, context);
  }
  SetNumStates(node, stated, FIELD_READ);
  return true;
}

bool ReadStates(NodeBlock& block) {
  NetReader& reader = block.reader;
  bnode& node = block.node;
  const Statement at = block.At(NODE_STATES);
  const std::size_t numWords = reader.words.size();
  NameRange range;
  char** names = nullptr;
  bool good = ReadNames(reader, at, true, &range);
  if (good && block.Status(NODE_NUMSTATES) == FIELD_READ && range.count != node.numstates) {
    ReadError(reader, -1028, "there are %d states, but %d names in `%s` statement for %s '%s', line %ld",
              node.numstates, range.count, at.field, at.keyword, at.owner, LineNow(reader));
    good = false;
  }
  if (good && range.count == 0) {
    reader.in.Report(TOO_FEW_ITEMS, {}, 0, 1);
    char context[160];
    FormatText(context, sizeof context, " in `%s` statement of %s '%s'", at.field, at.keyword, at.owner);
    good = ReportFault(reader, context);
  }
  good = good && MakeNames(reader, at, range, &names);
  reader.words.resize(numWords);
  if (!good) return false;
  const bool counted = block.Status(NODE_NUMSTATES) == FIELD_READ;
  SetNumStates(node, range.count, counted ? FIELD_READ : FIELD_IMPLIED);
  DropStates(node);
  const bool named = std::any_of(names, names + range.count, [](const char* name) { return name != nullptr; });
  if (named) {
    node.states = names;
  } else {
    FreeNames(names, range.count);
  }
  return true;
}

bool ReadParents(NodeBlock& block) {
  NodeEntry& entry = block.entry;
  NameRange range;
  if (!ReadNames(block.reader, block.At(NODE_PARENTS), false, &range)) return false;
  entry.parents = range;
  entry.parentsAt = block.word[NODE_PARENTS];
  entry.hasParents = true;
  return true;
}

bool ReadText(NodeBlock& block, NodeField field, char*& text) {
  char* read;
  if (!ReadQuoted(block.reader, block.At(field), &read)) return false;
  SetText(text, read);
  return true;
}

// Leaves the value where it stands, to be read later.
bool Postpone(NodeBlock& block, NodeField field) {
  block.value[field] = static_cast<Place>(block.reader.in.Position());
  block.reader.in.SkipStatement();
  return true;
}

// A table can be read where it stands once nothing that the file may still say can change its shape.
bool IsTableReady(NodeBlock& block, NodeField field) {
  bnode& node = block.node;
  if (node.inherits.num || !block.stated[NODE_PARENTS] || !block.entry.linked) return false;
  if (field == NODE_NUMCASES) return true;
  if (!block.stated[NODE_DISCRETE]) return false;
  if (field == NODE_FUNCTABLE && node.discrete == CONTINUOUS) return true;
  return node.discrete == DISCRETE && block.stated[NODE_STATES] && node.numstates > 0;
}

bool ReadTableStatement(NodeBlock& block, NodeField field) {
  if (!IsTableReady(block, field)) return Postpone(block, field);
  block.done[field] = true;
  return ReadTable(block.reader, &block.node, field);
}

bool ReadIgnoredInt(NodeBlock& block, NodeField field, int* value) {
  return ReadInt(block.reader, block.At(field), value);
}

bool CannotRead(NodeBlock& block, NodeField field) {
  ReadError(block.reader, -1015, "Cannot yet parse `%s` field of %s", NODE_FIELD_NAMES[field], block.keyword);
  return false;
}

bool ReadValue(NodeBlock& block, NodeField field) {
  bnode& node = block.node;
  const bool isstub = TagOf(&node) == STUB_TAG;
  int number;
  switch (field) {
    case NODE_KIND:
      return ReadEnumerated(block, field, KIND_NAMES, NUM_KINDS, &node.kind);
    case NODE_DISCRETE:
      return ReadDiscrete(block);
    case NODE_MEASURE:
      return ReadEnumerated(block, field, MEASURE_NAMES, NUM_MEASURES, &node.measure);
    case NODE_CHANCE:
      return ReadEnumerated(block, field, CHANCE_NAMES, NUM_CHANCES, &node.chance);
    case NODE_NUMSTATES:
      return ReadNumStates(block);
    case NODE_STATES:
      return ReadStates(block);
    case NODE_UNITS:
      return ReadText(block, field, node.units);
    case NODE_TITLE:
      return ReadText(block, field, node.title);
    case NODE_COMMENT:
      return ReadText(block, field, node.comment);
    case NODE_AUTHOR:
      return ReadText(block, field, node.author);
    case NODE_WHOCHANGED:
      return ReadText(block, field, node.whochanged);
    case NODE_WHENCHANGED:
      return ReadUnsigned(block.reader, block.At(field), &node.whenchanged);
    case NODE_LOCKED:
      return ReadBoolean(block.reader, block.At(field), &node.locked);
    case NODE_NUMPARENTS:
      return ReadIgnoredInt(block, field, &block.statedParents);
    case NODE_NUMCHILDREN:
      return ReadIgnoredInt(block, field, &number);
    case NODE_CHILDREN:
      block.entry.childrenAt = block.word[field];
      return ReadNames(block.reader, block.At(field), false, &block.entry.children);
    case NODE_LEVELS:
    case NODE_INPUTS:
    case NODE_EVIDENCE:
    case NODE_VALUE:
    case NODE_LIKELIHOOD:
    case NODE_BELIEF:
      return Postpone(block, field);
    case NODE_PARENTS:
      if (isstub) return CannotRead(block, field);
      if (!ReadParents(block)) return false;
      LinkParents(block.reader, block.entry, false);
      return true;
    case NODE_FUNCTABLE:
    case NODE_PROBS:
    case NODE_NUMCASES:
      return isstub ? CannotRead(block, field) : ReadTableStatement(block, field);
    default:
      return CannotRead(block, field);
  }
}

// --- Inheritance

bool Carries(const bnode& define, NodeField field) {
  return define.fields[field] != FIELD_ABSENT;
}

char* DupOrNull(const char* text) {
  return text ? DupText(text) : nullptr;
}

void CopyStates(bnode& node, const bnode& define) {
  const auto count = static_cast<std::size_t>(define.numstates);
  node.states = static_cast<char**>(AllocateCleared(count, sizeof(char*)));
  for (std::size_t i = 0; i < count; i++) node.states[i] = DupOrNull(define.states[i]);
}

void CopyLevels(bnode& node, const bnode& define) {
  node.levels = static_cast<double*>(Allocate(BlockSize(define.levels)));
  std::memcpy(node.levels, define.levels, BlockSize(define.levels));
}

float* DupVector(const float* from) {
  if (!from) return nullptr;
  auto* copy = static_cast<float*>(Allocate(BlockSize(from)));
  std::memcpy(copy, from, BlockSize(from));
  return copy;
}

// Takes the field of the first define-node that carries it. False when it cannot be taken.
bool CopyField(NodeBlock& block, const bnode& define, NodeField field) {
  bnode& node = block.node;
  const bool sameStates = node.numstates == define.numstates;
  switch (field) {
    case NODE_KIND:
      return node.kind = define.kind, true;
    case NODE_DISCRETE:
      return node.discrete = define.discrete, true;
    case NODE_MEASURE:
      return node.measure = define.measure, true;
    case NODE_CHANCE:
      return node.chance = define.chance, true;
    case NODE_NUMSTATES:
      return node.numstates = define.numstates, true;
    case NODE_STATES:
      if (!define.states || !sameStates) return false;
      return CopyStates(node, define), true;
    case NODE_LEVELS:
      if (!define.levels || !sameStates || node.discrete != define.discrete) return false;
      return CopyLevels(node, define), true;
    case NODE_UNITS:
      return SetText(node.units, DupOrNull(define.units)), true;
    case NODE_TITLE:
      return SetText(node.title, DupOrNull(define.title)), true;
    case NODE_COMMENT:
      return SetText(node.comment, DupOrNull(define.comment)), true;
    case NODE_AUTHOR:
      return SetText(node.author, DupOrNull(define.author)), true;
    case NODE_WHOCHANGED:
      return SetText(node.whochanged, DupOrNull(define.whochanged)), true;
    case NODE_WHENCHANGED:
      return node.whenchanged = define.whenchanged, true;
    case NODE_LOCKED:
      return node.locked = define.locked, true;
    case NODE_EVIDENCE:
      if (!sameStates || node.likelihood || node.value != UNDEF_DBL) return false;
      return node.evidence = define.evidence, node.value = define.value, true;
    case NODE_VALUE:
      if (node.evidence != UNDEF_STATE || node.likelihood) return false;
      if (define.evidence != UNDEF_STATE && !sameStates) return false;
      return node.value = define.value, node.evidence = define.evidence, true;
    case NODE_LIKELIHOOD:
      if (!sameStates || node.evidence != UNDEF_STATE || node.value != UNDEF_DBL) return false;
      return node.likelihood = DupVector(define.likelihood), true;
    default:
      return false;
  }
}

void InheritField(NodeBlock& block, NodeField field) {
  if (block.Status(field) != FIELD_ABSENT) return;
  for (const bnode* define : Entries(block.node.inherits)) {
    if (!Carries(*define, field)) continue;
    if (CopyField(block, *define, field)) block.Status(field) = FIELD_INHERITED;
    return;
  }
}

// The parents' names; the tables follow when all parents are linked.
void InheritParents(NodeBlock& block) {
  if (block.Status(NODE_PARENTS) != FIELD_ABSENT) return;
  for (const bnode* define : Entries(block.node.inherits)) {
    if (!Carries(*define, NODE_PARENTS)) continue;
    for (const NodeEntry& entry : block.reader.entries) {
      if (entry.node != define) continue;
      block.entry.parents = entry.parents;
      block.entry.parentsAt = entry.parentsAt;
      block.entry.hasParents = true;
    }
    block.Status(NODE_PARENTS) = FIELD_INHERITED;
    return;
  }
}

void InheritFields(NodeBlock& block) {
  for (int field = NODE_KIND; field <= NODE_BELIEF; field++) InheritField(block, static_cast<NodeField>(field));
  InheritParents(block);
}

// --- The end of a block

// A statement that must come before another one for it to be understood.
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
  const bool uncounted = block.Status(NODE_NUMSTATES) == FIELD_ABSENT;
  if (node.discrete == UNKNOWN_DISCRETE && (uncounted || count == node.numstates + 1)) {
    node.discrete = CONTINUOUS;
    block.Status(NODE_DISCRETE) = FIELD_IMPLIED;
  }
  const bool continuous = node.discrete == CONTINUOUS;
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
  const auto bad = [](double entry) { return !(entry >= 0 && entry <= 3.4e38); };
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
  const auto isNonZero = [](double entry) { return static_cast<float>(entry) != 0; };
  const auto nonZero = std::count_if(numbers.begin(), numbers.end(), isNonZero);
  if (nonZero == 0) return BadValue(block, NODE_LIKELIHOOD, "likelihood consists of all zeroes");
  if (nonZero == 1 && numbers.size() > 1) {
    const auto place = std::find_if(numbers.begin(), numbers.end(), isNonZero);
    node.evidence = static_cast<statetype>(place - numbers.begin());
    if (node.discrete == DISCRETE && node.levels) node.value = node.levels[node.evidence];
    return true;
  }
  node.likelihood = MakeVector(numbers);
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

// --- The block itself

// A statement for what an earlier one has already been understood by.
bool ComesTooLate(NodeBlock& block, NodeField field) {
  if (block.Status(field) != FIELD_INHERITED || block.inheritLate) return false;
  const auto needsIt = [&](NodeField other) { return block.stated[other] && Needs(block.node, other, field); };
  return std::any_of(std::begin(TABLES), std::end(TABLES), needsIt) ||
         std::any_of(std::begin(WAITING), std::end(WAITING), needsIt);
}

bool ReadStatementOf(NodeBlock& block, NodeField field, Place place) {
  NetReader& reader = block.reader;
  const char* name = NODE_FIELD_NAMES[field];
  if (block.stated[field]) {
    ReadError(reader, -1018, "more than one `%s` statement for %s '%s', line %ld", name, block.keyword, block.node.name,
              LineNow(reader));
    return false;
  }
  if (ComesTooLate(block, field)) {
    ReadError(reader, -1017,
              "`%s` statement for %s '%s' should appear earlier, line %ld.  Or reread with 'Inherit in First Pass' off",
              name, block.keyword, block.node.name, LineNow(reader));
    return false;
  }
  block.stated[field] = true;
  block.word[field] = place;
  if (reader.in.NextSignificant() != '=') {
    reader.in.PushBack();
    ReadError(reader, -1016, "missing '=' for `%s` in %s '%s', line %ld", name, block.keyword, block.node.name,
              LineNow(reader));
    return false;
  }
  block.failed[field] = !ReadValue(block, field);
  if (block.failed[field]) return false;
  if (!block.value[field]) block.Status(field) = FIELD_READ;
  if (!ReadSemicolon(reader)) {
    ReadError(reader, -1019, "missing semicolon after `%s` statement of %s '%s', line %ld", name, block.keyword,
              block.node.name, LineNow(reader));
  }
  return true;
}

void ReadStatement(NodeBlock& block) {
  NetReader& reader = block.reader;
  reader.in.Peek();
  const Place place = static_cast<Place>(reader.in.Position());
  const std::string_view word = reader.in.ReadWord(format::PUNCTUATION, format::MAX_WORD_LEN, nullptr);
  const int field = FindWord(word, NODE_FIELD_NAMES, NUM_NODE_FIELDS);
  if (field < 0) {
    ReadWarning(reader, -1005, "unknown data field: '%.*s' in %s '%s', line %ld", QuoteLength(word), word.data(),
                block.keyword, block.node.name, LineNow(reader));
    return AbandonStatement(reader);
  }
  if (!ReadStatementOf(block, static_cast<NodeField>(field), place)) AbandonStatement(reader);
}

// False at the end of the file.
bool ReadBody(NodeBlock& block) {
  NetReader& reader = block.reader;
  while (!reader.stopped) {
    const int c = reader.in.NextSignificant();
    if (c == '}') return true;
    if (c == END_OF_INPUT) return false;
    if (IsPunctuation(c)) {
      ReadError(reader, -1014, "unexpected punctuation '%c' in %s '%s', line %ld", c, block.keyword, block.node.name,
                LineNow(reader));
      continue;
    }
    reader.in.PushBack();
    ReadStatement(block);
  }
  return true;
}

// The define-nodes in parentheses after the name, behind the "(".
bool ReadInherits(NetReader& reader, bnode& node, const char* keyword) {
  for (;;) {
    const std::string_view word = reader.in.ReadWord(format::PUNCTUATION, format::MAX_WORD_LEN, nullptr);
    if (!word.empty()) {
      node_bn define = FindEntry(reader, word, DEFINE_ENTRY);
      if (!define) {
        ReadError(reader, -1047,
                  "declaration of %s '%s' tries to inherit from %s '%.*s' before it is defined, on line %ld", keyword,
                  node.name, format::NODE_WORD, QuoteLength(word), word.data(), LineNow(reader));
      } else if (IndexIn(node.inherits, define) < 0) {
        Append(node.inherits, define);
      }
    }
    const int c = reader.in.NextSignificant();
    if (c == ')') return true;
    if (c == ',') continue;
    if (c == END_OF_INPUT || c == '{' || !IsPunctuation(c)) {
      reader.in.PushBack();
      reader.in.Report(c == END_OF_INPUT || c == '{' ? MISSING_CLOSE : MISSING_COMMA);
      ReportFault(reader, "");
      return c == '{';
    }
    ReadError(reader, -1046, "unexpected punctuation '%c' in %s '%s', line %ld", c, keyword, node.name,
              LineNow(reader));
    return false;
  }
}

// The name and what follows it up to the "{". NULL when the block cannot be read.
node_bn ReadHead(NetReader& reader, const char* keyword, bool isparam) {
  const int c = reader.in.Peek();
  if (IsPunctuation(c)) {
    ReadError(reader, -1045, "unexpected punctuation '%c' in %s '%s', line %ld", c, format::NET_WORD, reader.net->name,
              LineNow(reader));
    return nullptr;
  }
  char name[MAX_NAME_LEN + 1];
  if (!ReadBlockName(reader, format::NET_WORD, reader.net->name, name)) return nullptr;
  if (FindEntry(reader, name, 0)) {
    ReadError(reader, -1012, "duplicate %s name '%s' of %s '%s', line %ld", keyword, name, format::NET_WORD,
              reader.net->name, LineNow(reader));
    return nullptr;
  }
  node_bn node = NewNodeRecord(nullptr);
  node->name = DupText(name);
  node->fromfile = true;
  if (isparam) node->tag = STUB_TAG;
  int next = reader.in.NextSignificant();
  bool good = true;
  if (next == '(') {
    good = ReadInherits(reader, *node, keyword);
    next = good ? reader.in.NextSignificant() : 0;
  }
  if (good && next != '{') {
    reader.in.PushBack();
    ReadError(reader, -1013, "missing '{' for %s '%s' on line %ld", keyword, name, LineNow(reader));
    good = false;
  }
  if (good) return node;
  FreeNodeRecord(node);
  return nullptr;
}

bool LinkFault(NetReader& reader, const NodeEntry& entry, std::string_view word, const char* field, Place place) {
  const char* keyword = TagOf(entry.node) == STUB_TAG ? format::PARAM_WORD : format::NODE_WORD;
  char context[160];
  FormatText(context, sizeof context, " in `%s` statement of %s '%s'", field, keyword, entry.node->name);
  reader.in.ReportAt(UNDEFINED_NODE, place, word);
  ReportFault(reader, context);
  return false;
}

}  // namespace

node_bn FindEntry(const NetReader& reader, std::string_view word, int kind) {
  char name[MAX_NAME_LEN + 1];
  LegalName(word, name);
  return static_cast<node_bn>(FindValue(reader.table, name, kind));
}

void ReadNodeBlock(NetReader& reader, bool isparam, bool isdefine) {
  const char* keyword = isparam ? format::PARAM_WORD : format::NODE_WORD;
  const Place start = static_cast<Place>(reader.in.Position());
  node_bn node = ReadHead(reader, keyword, isparam);
  if (!node) return AbandonStatement(reader);
  node->isdefine = isdefine;
  InsertName(reader.table, node->name, isdefine ? DEFINE_ENTRY : isparam ? PARAM_ENTRY : NODE_ENTRY, node, false);
  reader.entries.push_back({});
  NodeEntry& entry = reader.entries.back();
  entry.node = node;
  NodeBlock block{reader, entry, *node, keyword, reader.options != 0};
  if (!block.inheritLate) InheritFields(block);
  const bool closed = ReadBody(block);
  if (!closed) {
    ReadError(reader, -1020, "no closing '}' for %s '%s', starting on line %ld", keyword, node->name,
              reader.in.LineOf(start));
  }
  FinishNode(block);
  if (closed && !reader.stopped && !ReadSemicolon(reader)) {
    ReadError(reader, isdefine || isparam ? -1008 : -1007, "missing semicolon at end of %s '%s', line %ld", keyword,
              node->name, LineNow(reader));
  }
}

bool LinkParents(NetReader& reader, NodeEntry& entry, bool final) {
  if (entry.linked || !entry.hasParents) return true;
  bnode& node = *entry.node;
  const auto count = static_cast<std::size_t>(entry.parents.count);
  auto* family = static_cast<node_bn*>(Allocate((count + 1) * sizeof(node_bn)));
  bool known = true;
  for (std::size_t i = 0; i < count && known; i++) {
    const std::string_view word = reader.words[static_cast<std::size_t>(entry.parents.first) + i];
    family[i] = FindEntry(reader, word, 0);
    if (!family[i]) {
      known = final && LinkFault(reader, entry, word, NODE_FIELD_NAMES[NODE_PARENTS], entry.parentsAt);
    } else if (family[i]->isdefine && final) {
      ReadError(reader, -1038, "A DEFINED %s '%s' appears in the `%s` list of %s '%s', line %ld", format::NODE_WORD,
                family[i]->name, NODE_FIELD_NAMES[NODE_PARENTS], format::NODE_WORD, node.name,
                reader.in.LineOf(entry.parentsAt));
      known = false;
    } else {
      known = !family[i]->isdefine && (final || family[i] != &node);
    }
  }
  if (known) {
    family[count] = &node;
    Free(node.preds.ar);
    node.preds.ar = family;
    node.preds.num = entry.parents.count;
    entry.linked = true;
    return true;
  }
  Free(family);
  if (final) {
    entry.hasParents = false;
    node.fields[NODE_PARENTS] = FIELD_ABSENT;
  }
  return false;
}

// --- What is inherited once all parents are linked

namespace {

// Whether a table of one node has the shape of one of the other's.
bool SameRows(const bnode& a, const bnode& b) {
  const auto same = [](const bnode* x, const bnode* y) { return x->numstates == y->numstates; };
  return std::equal(a.preds.begin(), a.preds.end(), b.preds.begin(), b.preds.end(), same);
}

template <class T>
bool CopyTable(T*& to, const T* from) {
  if (!from) return false;
  to = static_cast<T*>(TryAllocate(BlockSize(from)));
  if (to) std::memcpy(to, from, BlockSize(from));
  return to != nullptr;
}

bool CopyRelationField(bnode& node, const bnode& define, NodeField field) {
  switch (field) {
    case NODE_FUNCTABLE:
      if (node.fields[NODE_PROBS] == FIELD_READ) return false;
      if (node.discrete != DISCRETE) return define.discrete != DISCRETE && CopyTable(node.determinv, define.determinv);
      return node.numstates == define.numstates && CopyTable(node.determin, define.determin);
    case NODE_PROBS:
      if (node.fields[NODE_FUNCTABLE] != FIELD_ABSENT || node.numstates != define.numstates) return false;
      node.probsokay = -1;
      return CopyTable(node.probs, define.probs);
    case NODE_NUMCASES:
      return CopyTable(node.numcases, define.numcases);
    default:
      if (!define.inputs) return false;
      node.inputs = static_cast<char**>(AllocateCleared(static_cast<std::size_t>(node.preds.num), sizeof(char*)));
      for (int i = 0; i < node.preds.num; i++) node.inputs[i] = DupText(define.inputs[i]);
      return true;
  }
}

}  // namespace

// What depends on parents becomes the node's own, since a define-node keeps no links into the net.
void InheritRelation(NodeEntry& entry) {
  bnode& node = *entry.node;
  const FieldStatus status = node.preds.num ? FIELD_READ : FIELD_INHERITED;
  for (NodeField field : {NODE_INPUTS, NODE_FUNCTABLE, NODE_PROBS, NODE_NUMCASES}) {
    for (const bnode* define : Entries(node.inherits)) {
      if (node.fields[field] != FIELD_ABSENT || define->fields[field] == FIELD_ABSENT) continue;
      if (SameRows(node, *define) && CopyRelationField(node, *define, field)) node.fields[field] = status;
      break;
    }
  }
  if (node.preds.num && node.fields[NODE_PARENTS] == FIELD_INHERITED) node.fields[NODE_PARENTS] = FIELD_READ;
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

// Node blocks: nodes, define-nodes and placeholders. Statements whose values stand on their own are read where they
// stand; the values that depend on others (levels, findings, tables) are read at the end of the block or, when their
// parents come later in the file, at the end of the net.
#include "Bn/files/NodeReader.h"

#include <algorithm>

#include "Basic/Format.h"
#include "Basic/Text.h"

namespace bravic {

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

void SetNumStates(bnode& node, int numstates, FieldStatus status) {
  if (numstates != node.numstates) {
    DropStates(node);
    DropLevels(node);
  }
  node.numstates = numstates;
  node.fields[NODE_NUMSTATES] = status;
}

namespace {

constexpr int MAX_STATES = 1 << 24;  // what a `numstates` statement without names may ask for

int FindWord(std::string_view word, const char* const* names, int count) {
  for (int i = 0; i < count; i++) {
    if (word == names[i]) return i;
  }
  return -1;
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
    block.Status(NODE_DISCRETE) = FIELD_IMPLIED;
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
  if (stated < 0) {  // whether there may be none the end of the block tells
    ReadError(block.reader, -1026, "`%s` stated to be %ld, but it must not be less than 1, in %s '%s', line %ld", name,
              static_cast<long>(stated), block.keyword, node.name, line);
    return false;
  }
  if (stated != node.numstates && block.Status(NODE_STATES) == FIELD_INHERITED) {
    ReadError(block.reader, -1054, "`%s` statement for %s '%s' already inherited, line %ld", name, block.keyword,
              node.name, line);
    return false;
  }
  if (stated != node.numstates && block.stated[NODE_STATES] && !block.failed[NODE_STATES]) {
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
  if (!block.stated[NODE_DISCRETE]) return false;
  if (field == NODE_FUNCTABLE && node.discrete == CONTINUOUS) return true;
  return node.discrete == DISCRETE && block.stated[NODE_STATES] && node.numstates > 0;
}

bool ReadTableStatement(NodeBlock& block, NodeField field) {
  if (!IsTableReady(block, field)) return Postpone(block, field);
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
  if (field == NODE_FUNCTABLE) block.entry.functableWord = place;
  if (field == NODE_PROBS) block.entry.probsWord = place;
  if (reader.in.NextSignificant() != '=') {
    reader.in.PushBack();
    ReadError(reader, -1016, "missing '=' for `%s` in %s '%s', line %ld", name, block.keyword, block.node.name,
              LineNow(reader));
    return false;
  }
  block.failed[field] = !ReadValue(block, field);
  if (block.failed[field]) return false;
  // States without names only tell how many there are.
  if (!block.value[field] && (field != NODE_STATES || block.node.states)) block.Status(field) = FIELD_READ;
  if (!ReadSemicolon(reader)) {
    ReadError(reader, -1019, "missing semicolon after `%s` statement of %s '%s', line %ld", name, block.keyword,
              block.node.name, LineNow(reader));
    EndStatement(reader);
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
      node_bn define = FindEntry(reader, word);
      if (!define || !define->isdefine) {
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
node_bn ReadHead(NetReader& reader, const char* keyword, bool isparam, std::string_view* written) {
  const int c = reader.in.Peek();
  if (IsPunctuation(c)) {
    ReadError(reader, -1045, "unexpected punctuation '%c' in %s '%s', line %ld", c, format::NET_WORD, reader.net->name,
              LineNow(reader));
    return nullptr;
  }
  char name[MAX_NAME_LEN + 1];
  if (!ReadBlockName(reader, format::NET_WORD, reader.net->name, name, written)) return nullptr;
  if (FindInTable(reader.names, name)) {
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

node_bn FindEntry(const NetReader& reader, std::string_view word) {
  char name[MAX_NAME_LEN + 1];
  LegalName(word, name);
  node_bn found = FindInTable(reader.names, name);
  if (!found || word == name) return found;
  return reader.entries[found->index].written == word ? found : nullptr;
}

void ReadNodeBlock(NetReader& reader, bool isparam, bool isdefine) {
  const char* keyword = isparam ? format::PARAM_WORD : format::NODE_WORD;
  const Place start = static_cast<Place>(reader.in.Position());
  std::string_view written;
  node_bn node = ReadHead(reader, keyword, isparam, &written);
  if (!node) return AbandonStatement(reader);
  node->isdefine = isdefine;
  EnterInTable(reader.names, node);
  node->index = reader.entries.size();
  reader.entries.push_back({});
  NodeEntry& entry = reader.entries.back();
  entry.node = node;
  entry.written = written;
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
    family[i] = FindEntry(reader, word);
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

}  // namespace bravic

#include "Bn/files/NodeStatements.h"

#include "Bn/files/NetValues.h"
#include "Bn/files/NodeLinks.h"
#include "Bn/files/TableReader.h"
#include "Bn/files/UserTexts.h"
#include "Bn/model/NameLists.h"

namespace bravic {
namespace {

constexpr int MAX_STATES = 1 << 24;  // what a `numstates` statement without names may ask for

// A table can be read where it stands once nothing that the file may still say can change its shape.
bool IsTableReady(NodeBlock& block, NodeField field) {
  bnode& node = block.node;
  if (node.inherits.num || !block.stated[NODE_PARENTS] || !block.entry.linked) return false;
  if (!block.stated[NODE_DISCRETE]) return false;
  if (field == NODE_FUNCTABLE && node.discrete == CONTINUOUS) return true;
  return node.discrete == DISCRETE && block.stated[NODE_STATES] && node.numstates > 0;
}

}  // namespace

bool ReadKind(NodeBlock& block, NodeField field) {
  const std::string_view word = NextWord(block.reader);
  const int kind = FindWord(word, KIND_NAMES, NUM_KINDS);
  if (kind >= 0) {
    block.node.kind = kind;
    return true;
  }
  ReadError(block.reader, ILLEGAL_WORD_OF_FIELD, FieldName(field), QuoteLength(word), word.data(), block.keyword,
            block.node.name, LineNow(block.reader));
  return false;
}

// A flag, or the word for what it says.
bool ReadDiscrete(NodeBlock& block, NodeField field) {
  const std::string_view word = NextWord(block.reader);
  const int found = FindWord(word, DISCRETE_NAMES, NUM_DISCRETES), before = block.node.discrete;
  const bool isFlag = word == format::TRUE_WORD || word == format::FALSE_WORD;
  if (found >= 0) {
    block.node.discrete = found;
  } else if (isFlag) {
    block.node.discrete = word == format::TRUE_WORD ? DISCRETE : CONTINUOUS;
  } else {
    block.node.discrete = DISCRETE;
    block.Status(field) = FIELD_IMPLIED;
    ReadError(block.reader, ILLEGAL_VALUE_OF_DISCRETE, QuoteLength(word), word.data(), FieldName(field), block.keyword,
              block.node.name, LineNow(block.reader));
  }
  if (block.node.discrete != before) DropLevels(block.node);
  return found >= 0 || isFlag;
}

bool ReadNumStates(NodeBlock& block, NodeField field) {
  bnode& node = block.node;
  int stated;
  if (!ReadInt(block.reader, block.At(field), &stated)) return false;
  const long line = LineNow(block.reader);
  const char* name = FieldName(field);
  if (stated < 0) {  // whether there may be none the end of the block tells
    ReadError(block.reader, STATED_STATES_BELOW_ONE, name, long{stated}, block.keyword, node.name, line);
    return false;
  }
  if (stated != node.numstates && block.Status(NODE_STATES) == FIELD_INHERITED) {
    ReadError(block.reader, STATEMENT_ALREADY_INHERITED, name, block.keyword, node.name, line);
    return false;
  }
  if (stated != node.numstates && block.stated[NODE_STATES] && !block.failed[NODE_STATES]) {
    ReadError(block.reader, STATED_STATES_DONT_FIT, name, stated, node.numstates, block.keyword, node.name, line);
    return false;
  }
  if (stated > MAX_STATES) {
    block.reader.in.Report(NUMBER_TOO_LARGE, {}, stated, MAX_STATES + 1);
    return ReportFault(block.reader, block.At(field));
  }
  SetNumStates(node, stated, FIELD_READ);
  return true;
}

// Names that are all missing only tell how many states there are.
bool ReadStates(NodeBlock& block, NodeField field) {
  NetReader& reader = block.reader;
  bnode& node = block.node;
  const Statement at = block.At(field);
  // The words are needed only until the names are made.
  const int numWords = reader.words.size();
  const bool counted = block.Status(NODE_NUMSTATES) == FIELD_READ;
  NameRange range;
  char** names = nullptr;
  bool good = ReadNames(reader, at, true, &range);
  if (good && counted && range.count != node.numstates) {
    ReadError(reader, STATE_NAMES_MISCOUNTED, node.numstates, range.count, at.field, at.keyword, at.owner,
              LineNow(reader));
    good = false;
  }
  if (good && range.count == 0) {
    reader.in.Report(TOO_FEW_ITEMS, {}, 0, 1);
    good = ReportFault(reader, at);
  }
  good = good && MakeNames(reader, at, range, &names);
  reader.words.resize(numWords);
  if (!good) return false;
  SetNumStates(node, range.count, counted ? FIELD_READ : FIELD_IMPLIED);
  DropStates(node);
  if (HasAnyName(names, range.count)) {
    node.states = names;
  } else {
    FreeNames(names);
  }
  return true;
}

bool ReadParents(NodeBlock& block, NodeField field) {
  if (IsStub(block.node)) return CannotRead(block, field);
  NodeEntry& entry = block.entry;
  NameRange range;
  if (!ReadNames(block.reader, block.At(field), false, &range)) return false;
  entry.parents = range;
  entry.parentsAt = block.word[field];
  entry.hasParents = true;
  LinkParents(block.reader, entry, false);  // if all of them are known, so that tables can be read where they stand
  return true;
}

bool ReadChildren(NodeBlock& block, NodeField field) {
  block.entry.childrenAt = block.word[field];
  return ReadNames(block.reader, block.At(field), false, &block.entry.children);
}

bool ReadNumParents(NodeBlock& block, NodeField field) {
  return ReadInt(block.reader, block.At(field), &block.statedParents);
}

bool ReadNumChildren(NodeBlock& block, NodeField field) {
  int number;
  return ReadInt(block.reader, block.At(field), &number);
}

bool ReadUser(NodeBlock& block, NodeField field) {
  char** texts;
  if (!ReadTexts(block.reader, block.At(field), &texts)) return CannotRead(block, field);
  FreeNames(block.node.texts);
  block.node.texts = texts;
  return true;
}

bool ReadTableStatement(NodeBlock& block, NodeField field) {
  if (IsStub(block.node)) return CannotRead(block, field);
  if (!IsTableReady(block, field)) return Postpone(block, field);
  return ReadTable(block.reader, &block.node, field);
}

bool Postpone(NodeBlock& block, NodeField field) {
  block.value[field] = block.reader.in.Position();
  block.reader.in.SkipStatement();
  return true;
}

bool CannotRead(NodeBlock& block, NodeField field) {
  ReadError(block.reader, NODE_FIELD_CANT_BE_READ, FieldName(field), block.keyword);
  return false;
}

}  // namespace bravic

#include "Bn/files/NodeReader.h"

#include <algorithm>

#include "Basic/Text.h"
#include "Bn/files/NetValues.h"
#include "Bn/files/NodeFields.h"
#include "Bn/files/NodeInherit.h"
#include "Bn/files/NodeLinks.h"
#include "Bn/files/NodeWaiting.h"
#include "Bn/model/Node.h"
#include "Bn/model/NodeNames.h"

namespace bravic {
namespace {

// A statement for what an earlier one has already been understood by.
bool ComesTooLate(NodeBlock& block, NodeField field) {
  if (block.Status(field) != FIELD_INHERITED || block.inheritLate) return false;
  const auto needsIt = [&](NodeField other) { return block.stated[other] && Needs(block.node, other, field); };
  return std::any_of(std::begin(TABLES), std::end(TABLES), needsIt) ||
         std::any_of(std::begin(WAITING), std::end(WAITING), needsIt);
}

bool ReadStatementOf(NodeBlock& block, NodeField field, Place place) {
  NetReader& reader = block.reader;
  const char* name = FieldName(field);
  if (block.stated[field]) {
    ReadError(reader, NODE_STATEMENT_REPEATED, name, block.keyword, block.node.name, LineNow(reader));
    return false;
  }
  if (ComesTooLate(block, field)) {
    ReadError(reader, STATEMENT_TOO_LATE, name, block.keyword, block.node.name, LineNow(reader));
    return false;
  }
  block.stated[field] = true;
  block.word[field] = place;
  if (field == NODE_FUNCTABLE) block.entry.functableWord = place;
  if (field == NODE_PROBS) block.entry.probsWord = place;
  if (reader.in.NextSignificant() != '=') {
    reader.in.PushBack();
    ReadError(reader, NO_EQUALS_IN_NODE_STATEMENT, name, block.keyword, block.node.name, LineNow(reader));
    return false;
  }
  // A value that waits has only been passed over: its status is settled when it is read.
  block.failed[field] = !ReadValue(block, field);
  if (block.failed[field]) return false;
  // States without names only tell how many there are.
  if (!block.value[field] && (field != NODE_STATES || block.node.states)) block.Status(field) = FIELD_READ;
  if (!ReadSemicolon(reader)) {
    ReadError(reader, NO_SEMICOLON_AFTER_NODE_STATEMENT, name, block.keyword, block.node.name, LineNow(reader));
    EndStatement(reader);
  }
  return true;
}

void ReadStatement(NodeBlock& block) {
  NetReader& reader = block.reader;
  reader.in.Peek();
  const Place place = reader.in.Position();
  const std::string_view word = NextWord(reader);
  const NodeField field = FindNodeField(word);
  if (field == NUM_NODE_FIELDS) {
    ReadError(reader, UNKNOWN_FIELD, QuoteLength(word), word.data(), block.keyword, block.node.name, LineNow(reader));
    return AbandonStatement(reader);
  }
  if (!ReadStatementOf(block, field, place)) AbandonStatement(reader);
}

// False at the end of the file.
bool ReadBody(NodeBlock& block) {
  NetReader& reader = block.reader;
  while (!reader.stopped) {
    const int c = reader.in.NextSignificant();
    if (c == '}') return true;
    if (c == END_OF_INPUT) return false;
    if (IsPunctuation(c)) {
      ReadError(reader, PUNCTUATION_IN_NODE, c, block.keyword, block.node.name, LineNow(reader));
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
    const std::string_view word = NextWord(reader);
    if (!word.empty()) {
      node_bn define = FindEntry(reader, word);
      if (!define || !define->isdefine) {
        ReadError(reader, INHERITS_BEFORE_DEFINED, keyword, node.name, format::NODE_WORD, QuoteLength(word),
                  word.data(), LineNow(reader));
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
    ReadError(reader, PUNCTUATION_IN_INHERITANCE, c, keyword, node.name, LineNow(reader));
    return false;
  }
}

// The name and what follows it up to the "{". NULL when the block cannot be read.
node_bn ReadHead(NetReader& reader, const char* keyword, bool isparam, std::string_view* written) {
  const int c = reader.in.Peek();
  if (IsPunctuation(c)) {
    ReadError(reader, PUNCTUATION_FOR_NODE_NAME, c, format::NET_WORD, reader.net->name, LineNow(reader));
    return nullptr;
  }
  char name[MAX_NAME_LEN + 1];
  if (!ReadBlockName(reader, format::NET_WORD, reader.net->name, name, written)) return nullptr;
  if (reader.names.Find(name)) {
    ReadError(reader, DUPLICATE_NODE_NAME, keyword, name, format::NET_WORD, reader.net->name, LineNow(reader));
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
    ReadError(reader, NODE_WITHOUT_BLOCK, keyword, name, LineNow(reader));
    good = false;
  }
  if (good) return node;
  FreeNodeRecord(node);
  return nullptr;
}

}  // namespace

void ReadNodeBlock(NetReader& reader, bool isparam, bool isdefine) {
  const char* keyword = isparam ? format::PARAM_WORD : format::NODE_WORD;
  const Place start = reader.in.Position();
  std::string_view written;
  node_bn node = ReadHead(reader, keyword, isparam, &written);
  if (!node) return AbandonStatement(reader);
  node->isdefine = isdefine;
  reader.names.Enter(node);
  node->index = reader.entries.size();
  reader.entries.push_back({});
  NodeEntry& entry = reader.entries.back();
  entry.node = node;
  entry.written = written;
  NodeBlock block{reader, entry, *node, keyword, reader.options != 0};
  if (!block.inheritLate) InheritFields(block);
  const bool closed = ReadBody(block);
  if (!closed) {
    ReadError(reader, NODE_NOT_CLOSED, keyword, node->name, reader.in.LineOf(start));
  }
  FinishNode(block);
  if (closed && !reader.stopped && !ReadSemicolon(reader)) {
    using EndError = ErrorFor<const char*, const char*, long>;
    ReadError(reader,
              isdefine || isparam ? EndError(NO_SEMICOLON_AFTER_PLACEHOLDER) : EndError(NO_SEMICOLON_AFTER_NODE),
              keyword, node->name, LineNow(reader));
  }
}

}  // namespace bravic

#include "Bn/files/NetBlock.h"

#include <algorithm>

#include "Basic/Environ.h"
#include "Basic/ErrorTable.h"
#include "Basic/Format.h"
#include "Basic/Text.h"
#include "Bn/files/NetFields.h"
#include "Bn/files/NetValues.h"
#include "Bn/files/NodeInherit.h"
#include "Bn/files/NodeLinks.h"
#include "Bn/files/NodeReader.h"
#include "Bn/files/TableReader.h"
#include "Bn/model/Attributes.h"
#include "Bn/model/NameLists.h"
#include "Bn/model/NodeNames.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/Parents.h"
#include "Bn/model/Undo.h"

namespace bravic {
namespace {

// --- Statements of a net

bool ReadNetStatement(NetReader& reader, NetField field) {
  const Statement at = {FieldName(field), format::NET_WORD, reader.net->name};
  if (reader.stated[field]) {
    ReadError(reader, NET_STATEMENT_REPEATED, at.field, at.keyword, at.owner, LineNow(reader));
    return false;
  }
  reader.stated[field] = true;
  if (reader.in.NextSignificant() != '=') {
    reader.in.PushBack();
    ReadError(reader, NO_EQUALS_IN_NET_STATEMENT, at.field, at.keyword, at.owner, LineNow(reader));
    return false;
  }
  if (!ReadValue(reader, at, field)) return false;
  if (!ReadSemicolon(reader)) {
    ReadError(reader, NO_SEMICOLON_AFTER_NET_STATEMENT, at.field, at.owner, LineNow(reader));
    EndStatement(reader);
  }
  return true;
}

void ReadDefine(NetReader& reader) {
  const int c = reader.in.Peek();
  if (IsPunctuation(c)) {
    ReadError(reader, PUNCTUATION_AFTER_DEFINE, c, format::NET_WORD, reader.net->name, LineNow(reader));
    return AbandonStatement(reader);
  }
  const Place start = reader.in.Position();
  const std::string_view word = NextWord(reader);
  // The keyword may be left out, in which case this was the name.
  if (word != format::NODE_WORD) reader.in.SetPosition(start);
  ReadNodeBlock(reader, false, true);
}

void ReadBlockStatement(NetReader& reader) {
  const std::string_view word = NextWord(reader);
  if (word == format::NODE_WORD) return ReadNodeBlock(reader, false, false);
  if (word == format::PARAM_WORD) return ReadNodeBlock(reader, true, false);
  if (word == format::DEFINE_WORD) return ReadDefine(reader);
  const NetField field = FindNetField(word);
  if (field == NUM_NET_FIELDS) {
    ReadError(reader, UNKNOWN_FIELD, QuoteLength(word), word.data(), format::NET_WORD, reader.net->name,
              LineNow(reader));
    AbandonStatement(reader);
  } else if (!ReadNetStatement(reader, field)) {
    AbandonStatement(reader);
  }
}

// Up to the closing "}"; false at the end of the file.
bool ReadNetBody(NetReader& reader) {
  while (!IsHalted(reader)) {
    const int c = reader.in.NextSignificant();
    if (c == '}') return true;
    if (c == END_OF_INPUT) return false;
    if (IsPunctuation(c)) {
      ReadError(reader, PUNCTUATION_IN_NET, c, format::NET_WORD, reader.net->name, LineNow(reader));
      continue;
    }
    reader.in.PushBack();
    ReadBlockStatement(reader);
  }
  return true;
}

// --- The end of a net block: names of later nodes are known now

void ReadWaitingTable(NetReader& reader, NodeEntry& entry, NodeField field, bool parentsFailed) {
  const Place place = entry.TableAt(field);
  if (!place || reader.stopped) return;
  reader.in.SetPosition(place);
  if (parentsFailed) {
    ReadError(reader, NO_STATEMENT_TO_READ_BY, FieldName(field), FieldName(NODE_PARENTS), format::NODE_WORD,
              entry.node->name, LineNow(reader));
    return;
  }
  if (!ReadTable(reader, entry.node, field)) return;
  entry.node->fields[field] = FIELD_READ;
  const int c = reader.in.Peek();
  if (c == ';' || c == '}' || c == END_OF_INPUT) return;
  ReadError(reader, NO_SEMICOLON_AFTER_NODE_STATEMENT, FieldName(field), format::NODE_WORD, entry.node->name,
            LineNow(reader));
}

// Of a function and probabilities the later statement holds.
void SettleRelation(NetReader& reader, NodeEntry& entry) {
  bnode& node = *entry.node;
  if (!node.probs || !(node.determin || node.determinv)) return;
  const bool functionHolds = entry.functableWord > entry.probsWord;
  if (functionHolds) {
    Free(node.probs);
    node.probs = nullptr;
    node.fields[NODE_PROBS] = FIELD_ABSENT;
    return ReportOverridden(reader, node, NODE_PROBS, NODE_FUNCTABLE, entry.functableWord);
  }
  Free(node.determin);
  Free(node.determinv);
  node.determin = nullptr;
  node.determinv = nullptr;
  node.fields[NODE_FUNCTABLE] = FIELD_ABSENT;
  ReportOverridden(reader, node, NODE_FUNCTABLE, NODE_PROBS, entry.probsWord);
}

void FinishEntry(NetReader& reader, NodeEntry& entry) {
  const bool parentsFailed = !LinkParents(reader, entry, true);
  if (!parentsFailed) ReadInputs(reader, entry);
  for (NodeField field : TABLES) {
    ReadWaitingTable(reader, entry, field, parentsFailed);
  }
  SettleRelation(reader, entry);
  InheritRelation(entry);
}

// Whether the names of a list all stand for nodes. Reported otherwise.
bool CheckNames(NetReader& reader, NameRange range, Place place, const Statement& at) {
  for (int i = 0; i < range.count; ++i) {
    const std::string_view word = reader.words[range.first + i];
    const node_bn found = FindEntry(reader, word);
    if (found && !found->isdefine && !IsStub(*found)) continue;
    if (found && found->isdefine) {
      ReadError(reader, DEFINE_NODE_IN_LIST, format::NODE_WORD, found->name, at.field, at.keyword, at.owner,
                reader.in.LineOf(place));
      return false;
    }
    reader.in.ReportAt(UNDEFINED_NODE, place, word);
    return ReportFault(reader, at);
  }
  return true;
}

// An order holds every node once.
bool CheckElimOrder(NetReader& reader, const nodelist_rec& order, const Statement& at) {
  const int mark = NewMark();
  for (node_bn node : Entries(order)) {
    if (node->mark == mark) {
      ReadError(reader, ILLEGAL_VALUE_OF_FIELD, QuoteLength(node->name), node->name, at.field, at.keyword, at.owner,
                reader.in.LineOf(reader.elimOrderAt));
      return false;
    }
    node->mark = mark;
  }
  const auto isMissing = [&](const bnode* node) { return node->mark != mark && node->kind != ASSUME_NODE; };
  const auto nodes = Entries(reader.net->nodes);
  const auto missing = static_cast<int>(std::count_if(nodes.begin(), nodes.end(), isMissing));
  if (missing == 0) return true;
  reader.in.ReportAt(TOO_FEW_ITEMS, reader.elimOrderAt, {}, order.num, order.num + missing);
  return ReportFault(reader, at);
}

void SetElimOrder(NetReader& reader) {
  const Statement at = {FieldName(NET_ELIMORDER), format::NET_WORD, reader.net->name};
  if (!reader.hasElimOrder || !CheckNames(reader, reader.elimOrder, reader.elimOrderAt, at)) return;
  nodelist_rec order;
  for (int i = 0; i < reader.elimOrder.count; ++i) {
    Append(order, FindEntry(reader, reader.words[reader.elimOrder.first + i]));
  }
  if (CheckElimOrder(reader, order, at)) SetNetElimOrder(reader.net, &order, OrderFrom::FileOrSearch);
  ClearList(order);
}

// A define-node keeps no links into the net, whose nodes may go; those who inherited took what hangs on them.
void UnlinkDefine(bnode& define) {
  if (!define.preds.num) return;
  FreeNames(define.inputs);
  define.inputs = nullptr;
  define.preds.num = 0;
  define.preds.ar[0] = &define;
  for (float** table : {&define.probs, &define.numcases, &define.determinv}) {
    Free(*table);
    *table = nullptr;
  }
  Free(define.determin);
  define.determin = nullptr;
  for (NodeField field : {NODE_PARENTS, NODE_INPUTS, NODE_FUNCTABLE, NODE_PROBS, NODE_NUMCASES}) {
    define.fields[field] = FIELD_ABSENT;
  }
}

// Gives the entries to the net. Findings count, children are linked and names found from then on.
void FillNet(NetReader& reader) {
  bnet& net = *reader.net;
  Vector<node_bn> nodes, stubs;
  for (NodeEntry& entry : reader.entries) {
    if (entry.node->isdefine) {
      UnlinkDefine(*entry.node);
      entry.node->index = -1;
      Append(net.defines, entry.node);
      net.defineNames.Enter(entry.node);
    } else if (IsStub(*entry.node)) {
      stubs.push_back(entry.node);
    } else {
      nodes.push_back(entry.node);
    }
  }
  AddNodesToNet(&net, nodes, stubs);
  KeepPresentOrder(&net);
}

void FinishNet(NetReader& reader) {
  // Names are resolved while all nodes are still outside the net, where nothing has to be undone on an error.
  for (NodeEntry& entry : reader.entries) FinishEntry(reader, entry);
  for (NodeEntry& entry : reader.entries) {
    CheckNames(reader, entry.children, entry.childrenAt,
               {FieldName(NODE_CHILDREN), format::NODE_WORD, entry.node->name});
  }
  FillNet(reader);
  SetElimOrder(reader);
  // The net owns the nodes now. What was done to it so far is no change of a host's, nor is it to be saved.
  reader.entries.clear();
  bnet& net = *reader.net;
  FreeUndo(&net);
  net.filename = DupText(reader.filename);
  net.dirty = false;
}

}  // namespace

void ReadNetBlock(NetReader& reader) {
  reader.foundNet = true;
  char name[MAX_NAME_LEN + 1];
  if (!ReadBlockName(reader, format::NET_WORD, "", name)) FormatText(name, sizeof name, "Net");
  if (reader.in.NextSignificant() != '{') {
    reader.in.PushBack();
    ReadError(reader, NET_WITHOUT_BLOCK, format::NET_WORD, name, LineNow(reader));
    return AbandonStatement(reader);
  }
  reader.net = NewNetRecord(name, currentEnviron);
  reader.words.clear();
  std::fill(std::begin(reader.stated), std::end(reader.stated), false);
  reader.hasElimOrder = false;
  WaitScope wait("Reading net");
  reader.wait = &wait;
  const bool closed = ReadNetBody(reader);
  if (!closed) ReadError(reader, NET_NOT_CLOSED, name);
  ReportFault(reader, "");
  if (!reader.stopped) {
    const long resume = reader.in.Position();
    FinishNet(reader);
    reader.in.SetPosition(resume);
  }
  if (!reader.stopped) {
    FreeNet(reader.answer);
    reader.answer = reader.net;
    reader.net = nullptr;
  }
  FreeBlock(reader);
  if (closed && !reader.stopped && !ReadSemicolon(reader)) {
    ReadError(reader, NO_SEMICOLON_AFTER_NET, format::NET_WORD, name, LineNow(reader));
  }
}

}  // namespace bravic

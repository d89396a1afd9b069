#include "Bn/files/NetFields.h"

#include <algorithm>
#include <array>

#include "Basic/Text.h"
#include "Bn/files/NetValues.h"
#include "Bn/files/UserTexts.h"
#include "Bn/model/Texts.h"

namespace bravic {
namespace {

bool ReadBackComments(NetReader& reader, const Statement& at) {
  const int numWords = reader.words.size();
  NameRange range;
  const bool good = ReadNames(reader, at, false, &range);
  if (good) {
    reader.text.assign(1, '(');
    for (int i = numWords; i < reader.words.size(); ++i) {
      if (i > numWords) reader.text.insert(reader.text.end(), {',', ' '});
      reader.text.insert(reader.text.end(), reader.words[i].begin(), reader.words[i].end());
    }
    reader.text.push_back(')');
    std::replace(reader.text.begin(), reader.text.end(), '\0', '_');
    reader.net->backcomments = DupText(std::string_view(reader.text.data(), reader.text.size()));
  }
  reader.words.resize(numWords);
  return good;
}

bool ReadIgnoredNames(NetReader& reader, const Statement& at) {
  const int numWords = reader.words.size();
  NameRange range;
  const bool good = ReadNames(reader, at, false, &range);
  reader.words.resize(numWords);
  return good;
}

// Resolved at the end of the block, when all nodes are known.
bool ReadElimOrder(NetReader& reader, const Statement& at) {
  reader.elimOrderAt = reader.in.Position();
  return reader.hasElimOrder = ReadNames(reader, at, false, &reader.elimOrder);
}

bool CannotRead(NetReader& reader, const Statement& at) {
  ReadError(reader, NET_FIELD_CANT_BE_READ, at.field, at.keyword);
  return false;
}

bool ReadUser(NetReader& reader, const Statement& at) {
  return ReadTexts(reader, at, &reader.net->texts) || CannotRead(reader, at);
}

bool HasUserTexts(const bnet& net) {
  return HasTexts(net.texts);
}

void PrintUser(NetPrinter& printer) {
  PrintTexts(printer, printer.net->texts);
}

bool HasElimOrder(const bnet& net) {
  return net.elimorder.num >= 0;
}

void PrintElimOrder(NetPrinter& printer) {
  printer.PutNodeNames(printer.net->elimorder);
}

bool HasBackComments(const bnet& net) {
  return OrEmpty(net.backcomments)[0] != 0;
}

void PrintBackComments(NetPrinter& printer) {
  printer.out.Put(printer.net->backcomments);
}

struct Rules {
  bool (*read)(NetReader& reader, const Statement& at) = nullptr;  // NULL: cannot be read
  bool (*isSet)(const bnet& net) = nullptr;                        // NULL: never
  void (*print)(NetPrinter& printer) = nullptr;
};

// clang-format off
constexpr struct { NetField field; Rules rules; } ROWS[] = {
  {NET_PARAMS,       {.read = ReadIgnoredNames}},
  {NET_NODES,        {.read = ReadIgnoredNames}},
  {NET_ELIMORDER,    {.read = ReadElimOrder, .isSet = HasElimOrder, .print = PrintElimOrder}},
  {NET_USER,         {.read = ReadUser, .isSet = HasUserTexts, .print = PrintUser}},
  {NET_BACKCOMMENTS, {.read = ReadBackComments, .isSet = HasBackComments, .print = PrintBackComments}},
};
// clang-format on

constexpr auto RULES = [] {
  std::array<Rules, NUM_NET_FIELDS> rules;
  for (const auto& row : ROWS) rules[row.field] = row.rules;
  return rules;
}();

}  // namespace

bool ReadValue(NetReader& reader, const Statement& at, NetField field) {
  if (RULES[field].read) return RULES[field].read(reader, at);
  if (NET_FIELD_TABLE[field].form != FieldForm::Own) return ReadField(reader, at, NET_FIELD_TABLE[field], *reader.net);
  return CannotRead(reader, at);
}

bool HasValue(const bnet& net, NetField field) {
  return RULES[field].isSet ? RULES[field].isSet(net) : NET_FIELD_TABLE[field].IsSet(net);
}

void PrintField(NetPrinter& printer, NetField field) {
  printer.OpenStatement(FieldName(field));
  if (RULES[field].print) {
    RULES[field].print(printer);
  } else {
    printer.PutField(NET_FIELD_TABLE[field], *printer.net);
  }
  printer.CloseStatement();
}

}  // namespace bravic

#include "Bn/model/Fields.h"

#include "Basic/Text.h"
#include "Bn/model/FieldList.h"
#include "Bn/model/NameLists.h"
#include "Bn/model/Texts.h"

namespace bravic {
namespace {

// Rows of which only the value is known: its form, and the member that holds it.
struct OwnValue {
  template <class Record>
  constexpr operator FieldRow<Record>() const {
    return {};
  }
};
constexpr OwnValue OWN;
template <class Record>
constexpr FieldRow<Record> Text(char* Record::*text) {
  return {.form = FieldForm::Text, .text = text};
}
template <class Record>
constexpr FieldRow<Record> Number(int Record::*number) {
  return {.form = FieldForm::Number, .number = number};
}
template <class Record>
constexpr FieldRow<Record> Seconds(unsigned Record::*seconds) {
  return {.form = FieldForm::Seconds, .seconds = seconds};
}
template <class Record>
constexpr FieldRow<Record> Flag(int Record::*number) {
  return {.form = FieldForm::Flag, .number = number};
}
template <class Record, int numWords>
constexpr FieldRow<Record> Word(int Record::*number, const char* const (&words)[numWords]) {
  return {.form = FieldForm::Word, .number = number, .words = words, .numWords = numWords};
}

template <class Record>
constexpr FieldRow<Record> MakeRow(const char* name, FieldRow<Record> row, int traits, UndoCode undo) {
  row.name = name;
  row.traits = static_cast<unsigned char>(traits);
  row.undo = undo;
  return row;
}

}  // namespace

#define NET_ROW(id, name, value, traits, undo) MakeRow<bnet>(name, value, traits, undo),
constinit const FieldRow<bnet> NET_FIELD_TABLE[NUM_NET_FIELDS] = {BRAVIC_NET_FIELDS(NET_ROW)};
#undef NET_ROW

#define NODE_ROW(id, name, value, traits, undo) MakeRow<bnode>(name, value, traits, undo),
constinit const FieldRow<bnode> NODE_FIELD_TABLE[NUM_NODE_FIELDS] = {BRAVIC_NODE_FIELDS(NODE_ROW)};
#undef NODE_ROW

template <class Record>
bool FieldRow<Record>::IsSet(const Record& record) const {
  switch (form) {
    case FieldForm::Own:
      return false;
    case FieldForm::Text:
      return OrEmpty(record.*text)[0] != 0;
    case FieldForm::Number:
    case FieldForm::Flag:
      return record.*number != 0;
    case FieldForm::Seconds:
      return record.*seconds != 0;
    case FieldForm::Word:
      return record.*number != numWords - 1;
  }
  return false;
}

template <class Record>
bool FieldRow<Record>::IsSame(const Record& a, const Record& b) const {
  switch (form) {
    case FieldForm::Own:
      return false;
    case FieldForm::Text:
      return EqualText(OrEmpty(a.*text), OrEmpty(b.*text));
    case FieldForm::Seconds:
      return a.*seconds == b.*seconds;
    case FieldForm::Number:
    case FieldForm::Flag:
    case FieldForm::Word:
      return a.*number == b.*number;
  }
  return false;
}

template <class Record>
bool FieldRow<Record>::Copy(const Record& from, Record& to) const {
  switch (form) {
    case FieldForm::Own:
      return false;
    case FieldForm::Text:
      Free(to.*text);
      to.*text = DupText(from.*text);
      break;
    case FieldForm::Seconds:
      to.*seconds = from.*seconds;
      break;
    case FieldForm::Number:
    case FieldForm::Flag:
    case FieldForm::Word:
      to.*number = from.*number;
      break;
  }
  return true;
}

NetField FindNetField(std::string_view name) {
  if (name == "elimorder") return NET_ELIMORDER;  // known in this spelling, too
  for (NetField field : ALL_NET_FIELDS) {
    if (name == FieldName(field)) return field;
  }
  return NUM_NET_FIELDS;
}

NodeField FindNodeField(std::string_view name) {
  for (NodeField field : ALL_NODE_FIELDS) {
    if (name == FieldName(field)) return field;
  }
  return NUM_NODE_FIELDS;
}

template struct FieldRow<bnet>;
template struct FieldRow<bnode>;

void FreeTexts(const bnet& net) {
  for (const FieldRow<bnet>& row : NET_FIELD_TABLE) {
    if (row.form == FieldForm::Text) Free(net.*row.text);
  }
}

void FreeTexts(const bnode& node) {
  for (const FieldRow<bnode>& row : NODE_FIELD_TABLE) {
    if (row.form == FieldForm::Text) Free(node.*row.text);
  }
}

void CopyFields(const bnode& from, CopyFor purpose, node_bn to) {
  for (const FieldRow<bnode>& row : NODE_FIELD_TABLE) {
    const bool isLacking = purpose == CopyFor::Placeholder && (row.traits & OF_NODES);
    if ((row.traits & COPIED) && !isLacking) row.Copy(from, *to);
  }
  // States and levels are of the form Own, for how many there are the number of states says.
  to->states = DupNames(from.states, from.numstates);
  to->levels = DupBlock(from.levels);
  to->texts = CopyTexts(from.texts);
}

}  // namespace bravic

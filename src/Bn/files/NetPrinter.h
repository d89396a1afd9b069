// A net being written: what is written to, how, and the pieces of text that statements are made of.
#pragma once

#include <span>

#include "Basic/OutputChannel.h"
#include "Basic/Text.h"
#include "Bn/files/NetFormat.h"
#include "Bn/model/Fields.h"
#include "Bn/model/Net.h"
#include "Win_Face/Interaction.h"

namespace bravic {

struct NetPrinter {
  struct NewName {
    char text[MAX_NAME_LEN + 1] = "";
  };

  OutputChannel& out;
  const format::PrintOptions& options;
  net_bn net;
  LongWork& work;                    // whose halting ends every loop
  int indent = 0;                    // tabs before a statement of the block being written
  Vector<NewName> placeholderNames;  // of each placeholder, empty where it keeps its own

  void Indent(int tabs) { out.PutRepeated('\t', tabs < format::MAX_INDENT ? tabs : format::MAX_INDENT); }
  const char* NameOf(const bnode& node) const;
  void PutInteger(long long value) { out.PutInteger(value, options.hexNumbers ? 16 : 10); }
  void PutNumber(double value);  // digits that read back; the undefined value and the infinities as words
  void PutBoolean(bool value) { out.Put(value ? format::TRUE_WORD : format::FALSE_WORD); }
  void PutNames(const char* const* names, int count);  // NULL entries are empty items
  void PutNodeNames(const nodelist_rec& nodes);
  void PutNumbers(const float* numbers, int count, bool exact);  // digits that read back, or six
  void PutNumbers(std::span<const double> numbers);              // digits that read back
  void PutText(const char* text);                                // quoted, in lines
  // A state's name, or "#" and its number in the buffer of 16.
  const char* StateWord(const bnode& node, statetype state, char* buffer) const;
  void PutState(const bnode& node, statetype state);
  template <class Record>
  void PutField(const FieldRow<Record>& row, const Record& record);  // the value of a field that is not of form Own
  void OpenStatement(const char* field);                             // indentation, name, " = "
  void CloseStatement() { out.Put(";\n"); }
};

}  // namespace bravic

// Writing a net as text: what the parts of the writer share. NetWriter.cpp writes the net block and its statements,
// NetWriterNode.cpp the blocks of nodes, NetWriterTable.cpp the tables, NetWriterSave.cpp puts the text in place of
// the old file. docs/net-format.md describes the format.
#pragma once

#include <span>

#include "Basic/OutputChannel.h"
#include "Basic/Text.h"
#include "Bn/files/NetFormat.h"
#include "Bn/model/Net.h"
#include "Win_Face/Interaction.h"

namespace bravic {

extern format::PrintOptions printOptions;  // how WriteNet prints

// The whole text of a net, whose tables are in probability form (see PrepareNet). What goes wrong is the channel's
// to tell. False when it is halted.
bool PrintNet(net_bn net, const format::PrintOptions& options, OutputChannel& out);
// Makes the derived data of a net fit to be written: node order, tables in probability form, the beliefs that nodes
// hold while the net's are current.
Failure PrepareNet(net_bn net);

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
  void OpenStatement(const char* field);  // indentation, name, " = "
  void CloseStatement() { out.Put(";\n"); }
};

// NetWriterNode.cpp
void PrintNode(NetPrinter& printer, const bnode& node);

// NetWriterTable.cpp. Each begins with a new line and leaves the statement to be closed.
enum class FunctionForm { None, States, Numbers };
FunctionForm FunctionFormOf(const bnode& node);
bool HasProbTable(const bnode& node);        // probs, and rows for it
bool HasExperienceTable(const bnode& node);  // numcases, and rows for it
void PrintProbs(NetPrinter& printer, const bnode& node);
void PrintFunction(NetPrinter& printer, const bnode& node);
void PrintExperience(NetPrinter& printer, const bnode& node);  // or a single number

}  // namespace bravic

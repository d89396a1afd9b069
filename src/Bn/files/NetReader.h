// Inside the net file reader: what is being read, and how its modules report what is wrong with it.
//
// A file is read in one pass. What a statement needs may come later in the file: parents are resolved when their
// names are known, at the latest at the end of the net block, and a table that has to wait for its parents is left
// where it stands and read then. Nothing enters the net before the end of its block.
#pragma once

#include "Basic/InputChannel.h"
#include "Bn/files/NetFormat.h"
#include "Bn/model/Fields.h"
#include "Bn/model/Net.h"
#include "Win_Face/Interaction.h"

namespace bravic {

struct NameRange {
  int first = 0, count = 0;  // in NetReader::words
};

// Offset of a statement's value in the file; statements begin after the indicator, so that 0 means none.
using Place = long;

// A node, define-node or placeholder of the net being read.
struct NodeEntry {
  node_bn node = nullptr;    // owned until the net takes it; its index is that of the entry
  std::string_view written;  // its name as the file has it
  bool hasParents = false;
  NameRange parents;
  Place parentsAt = 0;
  bool linked = false;  // preds holds the parents
  NameRange children;
  Place childrenAt = 0;
  Place inputsAt = 0;
  Place functableAt = 0, probsAt = 0, numcasesAt = 0;  // tables that wait for their parents
  Place functableWord = 0, probsWord = 0;              // their statements

  Place& TableAt(NodeField table) {
    return table == NODE_FUNCTABLE ? functableAt : table == NODE_PROBS ? probsAt : numcasesAt;
  }
};

struct NetReader {
  NetReader() = default;
  ~NetReader();
  NetReader(const NetReader&) = delete;
  NetReader& operator=(const NetReader&) = delete;

  InputChannel in;
  const char* filename = nullptr;
  int options = 0;
  bool stopped = false;                   // cancelled, or out of memory: every loop ends
  long numProblems = 0, numUnlisted = 0;  // reports made, and those beyond the number that is listed
  bool unlistedErrors = false;
  bool foundNet = false;    // a net block, good or bad
  net_bn answer = nullptr;  // the last net read whole; owned

  // The net block at hand.
  net_bn net = nullptr;       // owned
  WaitScope* wait = nullptr;  // over its reading
  Vector<NodeEntry> entries;
  SymbolTable<bnode> names;        // of all entries
  Vector<std::string_view> words;  // names of lists that are resolved later, in the channel's text
  bool stated[NUM_NET_FIELDS] = {};
  NameRange elimOrder;
  Place elimOrderAt = 0;
  bool hasElimOrder = false;

  // Scratch, kept from statement to statement.
  Vector<char> text;
  Vector<double> numbers;
  Vector<int> indices;
  Vector<long long> strides;
  Vector<statetype> condition;
};

// Where a statement stands, for messages.
struct Statement {
  const char* field;    // its word
  const char* keyword;  // of the block: "bnet", "node", "param"
  const char* owner;    // the block's name
};

// Reports: under the prefix of the file being read; a warning begins "while" instead of "error".
void ReadErrorRow(NetReader& reader, const ErrorRow* row, ...);
template <class... Args>
void ReadError(NetReader& reader, ErrorFor<std::type_identity_t<Args>...> error, Args... arguments) {
  ReadErrorRow(reader, error.Row(), arguments...);
}
// A text that is made already.
void ReadMessage(NetReader& reader, int number, Danger danger, const char* text);
// Of two statements that exclude each other the later one holds.
void ReportOverridden(NetReader& reader, const bnode& node, NodeField field, NodeField later, Place place);
void ReadMemoryError(NetReader& reader, Failure failure);
void ReportUnlisted(NetReader& reader);  // at the end: one last record for the problems that were not listed
// Whether reading has to end since the reserve of memory is gone: then that is reported.
bool IsStarved(NetReader& reader);
// Whether reading stopped, or is to stop now: then it is reported that it was halted. Looks at the clock.
bool IsHalted(NetReader& reader);
// Reports the channel's parse error, if there is one, and forgets it; false when there was one.
bool ReportFault(NetReader& reader, const char* context);
bool ReportFault(NetReader& reader, const Statement& at);  // of the value of a statement
inline long LineNow(NetReader& reader) {
  return reader.in.Line();
}
// Whether the place where the statement at hand ends has a ";", which is read. Otherwise the channel stays put.
bool ReadSemicolon(NetReader& reader);
// After a bad statement: passes over what is left of it, with its ";".
void AbandonStatement(NetReader& reader);
// After a statement whose ";" is missing: passes over what cannot begin another one.
void EndStatement(NetReader& reader);
bool IsPunctuation(int c);
inline int QuoteLength(std::string_view word) {
  return static_cast<int>(word.size() < MAX_ERROR_WORD ? word.size() : MAX_ERROR_WORD);
}
void FreeBlock(NetReader& reader);  // the net block at hand and its nodes

}  // namespace bravic

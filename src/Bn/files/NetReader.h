// Inside the net file reader: what is being read and the pieces shared by its modules. NetReader.cpp reads files and
// net blocks, NodeReader.cpp and its neighbours node blocks, TableReader.cpp tables, NetValues.cpp the values of
// statements.
//
// A file is read in one pass. What a statement needs may come later in the file: parents are resolved when their
// names are known, at the latest at the end of the net block, and a table that has to wait for its parents is left
// where it stands and read then. Nothing enters the net before the end of its block.
#pragma once

#include "Basic/InputChannel.h"
#include "Bn/files/NetFormat.h"
#include "Bn/model/Net.h"
#include "Win_Face/Interaction.h"

namespace bravic {

struct NameRange {
  int first = 0, count = 0;  // in NetReader::words
};

// Offset of a statement's value in the file; statements begin after the indicator, so that 0 means none.
using Place = std::size_t;

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
  NameTable names;                 // of all entries
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

// Reports: under the prefix of the file being read; a warning begins "while" instead of "error".
void ReadErrorRow(NetReader& reader, const ErrorRow* row, ...);
template <class... Args>
void ReadError(NetReader& reader, ErrorFor<std::type_identity_t<Args>...> error, Args... arguments) {
  ReadErrorRow(reader, error.Row(), arguments...);
}
void ReadError(NetReader& reader, int number, const char* format, ...) BRAVIC_PRINTF(3, 4);
void ReadWarning(NetReader& reader, int number, const char* format, ...) BRAVIC_PRINTF(3, 4);
// Of two statements that exclude each other the later one holds.
void ReportOverridden(NetReader& reader, const bnode& node, NodeField field, NodeField later, Place place);
void ReadMemoryError(NetReader& reader, Failure failure);
// Whether reading stopped, or is to stop now: then it is reported that it was halted. Looks at the clock.
bool IsHalted(NetReader& reader);
// Reports the channel's parse error, if there is one, and forgets it; false when there was one.
bool ReportFault(NetReader& reader, const char* context);
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

// Where a statement stands, for messages.
struct Statement {
  const char* field;    // its word
  const char* keyword;  // of the block: "bnet", "node", "param"
  const char* owner;    // the block's name
};

// NetValues.cpp. Each answers false with the error reported.
// A name cut and mended to be legal; an illegal one is reported as the name of a block.
bool ReadBlockName(NetReader& reader, const char* keyword, const char* owner, char* name,
                   std::string_view* written = nullptr);
void LegalName(std::string_view word, char* name);  // silently; name holds MAX_NAME_LEN + 1
bool ReadBoolean(NetReader& reader, const Statement& at, int* value);
bool ReadInt(NetReader& reader, const Statement& at, int* value);
bool ReadUnsigned(NetReader& reader, const Statement& at, unsigned* value);
bool ReadNumber(NetReader& reader, const Statement& at, double* value);
bool ReadQuoted(NetReader& reader, const Statement& at, char** text);  // owned by the caller; NULL for no text
// Appends the items to words. Empty items are allowed only where said so.
bool ReadNames(NetReader& reader, const Statement& at, bool allowEmpty, NameRange* names);
// Into reader.numbers. badNumber: the error of what is no number, a parse error or ILLEGAL_FINDING_NUMBER.
bool ReadNumbers(NetReader& reader, const Statement& at, const ErrorRow& badNumber);
// Owned names of a list that is parallel to something: legal, different; an empty item is NULL.
bool MakeNames(NetReader& reader, const Statement& at, NameRange range, char*** names);
void FreeNames(char** names, int count);

// NetBlock.cpp. Behind the keyword; a net that is read becomes the reader's answer.
void ReadNetBlock(NetReader& reader);
void FreeBlock(NetReader& reader);

// Node blocks. Reads from behind the keyword to the closing "}" and ";".
void ReadNodeBlock(NetReader& reader, bool isparam, bool isdefine);
// Resolves the parents, if all names are known, and makes preds. final: unknown names are errors.
bool LinkParents(NetReader& reader, NodeEntry& entry, bool final);
void ReadInputs(NetReader& reader, NodeEntry& entry);
void InheritRelation(NodeEntry& entry);  // tables and link names, once all parents are linked
// By the name as it was written in its block, or as it was mended there.
node_bn FindEntry(const NetReader& reader, std::string_view word);
inline int QuoteLength(std::string_view word) {
  return static_cast<int>(word.size() < MAX_ERROR_WORD ? word.size() : MAX_ERROR_WORD);
}

// TableReader.cpp. The channel stands behind the "=", the node's parents are linked. On success the node owns the
// table and the channel stands before the statement's ";".
bool ReadTable(NetReader& reader, node_bn node, NodeField field);
// A state by its name, or by "#" and its number; UNDEF_STATE for any other word.
statetype StateOfWord(const NetReader& reader, const bnode& node, std::string_view word);
// Whether the node has states that a table or a finding can speak of.
inline bool IsDiscretized(const bnode& node) {
  return node.numstates > 0 && (node.discrete != CONTINUOUS || node.levels);
}
// Whether the node and its parents have the states that a table asks for.
bool FitsTable(const bnode& node, NodeField field);

}  // namespace bravic

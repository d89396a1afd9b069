// What all parts of net reading share: reports under the prefix of the file, with a bound on how many are listed; when
// to stop; and getting over statements that are in error.
#include "Bn/files/NetReader.h"

#include <cstdarg>

#include "Basic/Format.h"
#include "Basic/Text.h"
#include "Bn/model/Node.h"

namespace bravic {
namespace {

constexpr long MAX_LISTED = 1000;  // problems of one file; what comes after them is counted

}  // namespace

void ReadMessage(NetReader& reader, int number, Danger danger, const char* text) {
  const bool isWarning = danger == WARNING_ERR;
  if (++reader.numProblems > MAX_LISTED) {
    ++reader.numUnlisted;
    reader.unlistedErrors = reader.unlistedErrors || !isWarning;
    return;
  }
  char message[MAX_ERR_LEN];
  const char* first = isWarning ? "while" : "error";
  if (reader.filename) {
    FormatText(message, sizeof message, "%s reading file '%s':  %s", first, ShownPath(reader.filename).text, text);
  } else {
    FormatText(message, sizeof message, "%s reading file:  %s", first, text);
  }
  ReportText(number, danger, message);
}

void ReadErrorRow(NetReader& reader, const ErrorRow* row, ...) {
  std::va_list arguments;
  va_start(arguments, row);
  char text[MAX_ERR_LEN];
  FormatTextV(text, sizeof text, row->text, arguments);
  va_end(arguments);
  ReadMessage(reader, row->number, row->danger, text);
}

void ReportOverridden(NetReader& reader, const bnode& node, NodeField field, NodeField later, Place place) {
  ReadError(reader, STATEMENT_OVERRIDDEN, FieldName(field), IsStub(node) ? format::PARAM_WORD : format::NODE_WORD,
            node.name, FieldName(later), reader.in.LineOf(place));
}

void ReadMemoryError(NetReader& reader, Failure failure) {
  ReadMessage(reader, failure->number, ERROR_ERR, failure->mesg);
  if (!HasReserve()) {
    reader.in.parseState = PARSE_CANCELLED;
    reader.stopped = true;
  }
}

bool IsStarved(NetReader& reader) {
  if (HasReserve()) return false;
  if (!reader.stopped) ReadMemoryError(reader, Fail(NO_MEMORY_FOR_READING));
  return true;
}

bool IsHalted(NetReader& reader) {
  if (IsStarved(reader)) return true;
  const long left = static_cast<long>(reader.in.End() - reader.in.Cursor()), all = reader.in.Position() + left + 1;
  if (reader.stopped || !reader.wait->Progress(1 - static_cast<double>(left) / static_cast<double>(all)))
    return reader.stopped;
  reader.stopped = true;
  Post(FailHalted());
  return true;
}

bool ReportFault(NetReader& reader, const char* context) {
  if (!reader.in.parseState) return true;
  if (reader.in.parseState != PARSE_CANCELLED) {
    char text[MAX_ERR_LEN];
    ParseErrorText(reader.in.fault, context, text, sizeof text);
    ReadMessage(reader, reader.in.fault.error->number, ERROR_ERR, text);
    reader.in.ForgetError();
  }
  return false;
}

bool ReportFault(NetReader& reader, const Statement& at) {
  char context[160];
  FormatText(context, sizeof context, " in `%s` statement of %s '%s'", at.field, at.keyword, at.owner);
  return ReportFault(reader, context);
}

bool IsPunctuation(int c) {
  return c != END_OF_INPUT && format::PUNCTUATION.find(static_cast<char>(c)) != std::string_view::npos;
}

bool ReadSemicolon(NetReader& reader) {
  if (reader.in.NextSignificant() == ';') return true;
  reader.in.PushBack();
  return false;
}

void AbandonStatement(NetReader& reader) {
  reader.in.SkipStatement();
  ReadSemicolon(reader);
}

void EndStatement(NetReader& reader) {
  const int c = reader.in.Peek();
  if (IsPunctuation(c) && c != '}') AbandonStatement(reader);
}

void FreeBlock(NetReader& reader) {
  for (NodeEntry& entry : reader.entries) FreeNodeRecord(entry.node);
  reader.entries.clear();
  FreeNet(reader.net);
  reader.net = nullptr;
  reader.names.Clear();
}

void ReportUnlisted(NetReader& reader) {
  if (reader.numUnlisted == 0) return;
  reader.numProblems = 0;
  if (reader.unlistedErrors) {
    ReadError(reader, MORE_ERRORS_IN_FILE, reader.numUnlisted);
  } else {
    ReadError(reader, MORE_WARNINGS_IN_FILE, reader.numUnlisted);
  }
}

NetReader::~NetReader() {
  FreeBlock(*this);
  FreeNet(answer);
}

}  // namespace bravic

#include "Bn/files/NetReader.h"

#include <cstdarg>

#include "Basic/Format.h"
#include "Basic/Text.h"
#include "Bn/model/Node.h"

namespace bravic {
namespace {

constexpr long MAX_LISTED = 1000;  // problems of one file; what comes after them is counted

void ReportPrefixed(NetReader& reader, int number, bool warning, const char* format, std::va_list arguments) {
  if (++reader.numProblems > MAX_LISTED) {
    reader.numUnlisted++;
    reader.unlistedErrors = reader.unlistedErrors || !warning;
    return;
  }
  char text[MAX_ERR_LEN], message[MAX_ERR_LEN];
  FormatTextV(text, sizeof text, format, arguments);
  const char* first = warning ? "while" : "error";
  if (reader.filename) {
    FormatText(message, sizeof message, "%s reading file '%s':  %s", first, ShownPath(reader.filename).text, text);
  } else {
    FormatText(message, sizeof message, "%s reading file:  %s", first, text);
  }
  if (warning) {
    ReportWarning(number, "%s", message);
  } else {
    ReportError(number, "%s", message);
  }
}

}  // namespace

void ReadErrorRow(NetReader& reader, const ErrorRow* row, ...) {
  std::va_list arguments;
  va_start(arguments, row);
  ReportPrefixed(reader, row->number, row->danger == WARNING_ERR, row->text, arguments);
  va_end(arguments);
}

void ReadError(NetReader& reader, int number, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  ReportPrefixed(reader, number, false, format, arguments);
  va_end(arguments);
}

void ReadWarning(NetReader& reader, int number, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  ReportPrefixed(reader, number, true, format, arguments);
  va_end(arguments);
}

void ReportOverridden(NetReader& reader, const bnode& node, NodeField field, NodeField later, Place place) {
  ReadWarning(reader, -1161, "`%s` statement of %s '%s' is overridden by its later `%s` statement, line %ld",
              FieldName(field), IsStub(node) ? format::PARAM_WORD : format::NODE_WORD, node.name, FieldName(later),
              reader.in.LineOf(place));
}

void ReadMemoryError(NetReader& reader, Failure failure) {
  ReadError(reader, failure->number, "%s", failure->mesg);
  if (!HasReserve()) {
    reader.in.parseState = PARSE_CANCELLED;
    reader.stopped = true;
  }
}

bool IsHalted(NetReader& reader) {
  const double left = static_cast<double>(reader.in.End() - reader.in.Cursor());
  const double all = static_cast<double>(reader.in.Position()) + left + 1;
  if (reader.stopped || !reader.wait->Progress(1 - left / all)) return reader.stopped;
  reader.stopped = true;
  Post(FailHalted());
  return true;
}

bool ReportFault(NetReader& reader, const char* context) {
  if (!reader.in.parseState) return true;
  if (reader.in.parseState != PARSE_CANCELLED) {
    char text[MAX_ERR_LEN];
    ParseErrorText(reader.in.fault, context, text, sizeof text);
    ReadError(reader, reader.in.fault.error->number, "%s", text);
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
  Free(reader.names.slots);
  reader.names = {};
}

void ReportUnlisted(NetReader& reader) {
  if (reader.numUnlisted == 0) return;
  reader.numProblems = 0;
  if (reader.unlistedErrors) {
    ReadError(reader, -1163, "%ld more problems were found, which are not listed", reader.numUnlisted);
  } else {
    ReadWarning(reader, -1163, "%ld more problems were found, which are not listed", reader.numUnlisted);
  }
}

NetReader::~NetReader() {
  FreeBlock(*this);
  FreeNet(answer);
}

}  // namespace bravic

#include "Bn/files/NetReader.h"

#include <algorithm>
#include <cstring>

#include "Basic/Format.h"
#include "Basic/Text.h"
#include "Bn/files/NetFile.h"
#include "Bn/model/Checks.h"

namespace bravic {
namespace {

constexpr std::size_t SHORT_PATH = 100;  // where a message has it twice
constexpr long MAX_LISTED = 1000;        // problems of one file; what comes after them is counted

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

// One last record for the problems that were not listed.
void ReportUnlisted(NetReader& reader) {
  if (reader.numUnlisted == 0) return;
  reader.numProblems = 0;
  if (reader.unlistedErrors) {
    ReadError(reader, -1163, "%ld more problems were found, which are not listed", reader.numUnlisted);
  } else {
    ReadWarning(reader, -1163, "%ld more problems were found, which are not listed", reader.numUnlisted);
  }
}

// --- The indicator

enum class Version { Illegal, Old, Read, New };
struct FileType {
  int type = -1;  // index into TYPE_WORDS
  Version version = Version::Illegal;
};

// The next piece of a line, at most as long as the indicator's search allows.
std::string_view NextLine(InputChannel& in) {
  const char* start = in.Cursor();
  const char* end = start + std::min<std::ptrdiff_t>(in.End() - start, format::INDICATOR_LINE_LEN);
  const char* stop = std::find_if(start, end, [](char c) { return c == '\n' || c == '\r'; });
  const std::string_view line(start, static_cast<std::size_t>(stop - start));
  if (stop < in.End() && *stop == '\r') stop++;
  if (stop < in.End() && *stop == '\n') stop++;
  in.MoveTo(stop);
  return line;
}

// The text between the marks in the first lines of the file; the channel then stands behind that line.
bool FindIndicator(InputChannel& in, std::string_view* indicator) {
  for (int examined = 0; examined < format::INDICATOR_LINES && in.Cursor() < in.End();) {
    const std::string_view line = NextLine(in);
    if (line.size() < static_cast<std::size_t>(format::INDICATOR_MIN_LINE)) continue;
    examined++;
    const std::size_t start = line.find(format::INDICATOR_START);
    if (start == std::string_view::npos) continue;
    const std::size_t from = start + std::strlen(format::INDICATOR_START);
    const std::size_t end = line.find(format::INDICATOR_END, from);
    if (end == std::string_view::npos) continue;
    *indicator = line.substr(from, end - from);
    return true;
  }
  return false;
}

// Of a number of any length.
Version VersionOf(std::string_view text) {
  long long number;
  if (!ParseInteger(text, 10, &number)) {
    const bool isDigits = std::all_of(text.begin(), text.end(), [](char c) { return IsAsciiDigit(c); });
    return isDigits ? Version::New : Version::Illegal;
  }
  if (number < 1) return Version::Illegal;
  return number < format::OLDEST_VERSION   ? Version::Old
         : number > format::NEWEST_VERSION ? Version::New
                                           : Version::Read;
}

bool ReadFileType(NetReader& reader, FileType* type) {
  std::string_view indicator;
  const bool found = FindIndicator(reader.in, &indicator);
  const std::size_t dash = indicator.find('-');
  if (!found || dash == std::string_view::npos) {
    ReadError(reader, -1033, "missing or ill-formed file type indicator");
    return false;
  }
  const std::string_view word = indicator.substr(0, dash), version = indicator.substr(dash + 1);
  const ShownPath file(reader.filename, SHORT_PATH);
  type->version = VersionOf(version);
  if (type->version == Version::Illegal) {
    ReadError(reader, -2041, "File %s has an illegal version number (=%.*s)", file.text, Count(version),
              version.data());
    return false;
  }
  for (std::size_t i = 0; i < std::size(format::TYPE_WORDS); i++) {
    if (format::TYPE_WORDS[i] && word == format::TYPE_WORDS[i]) type->type = static_cast<int>(i);
  }
  if (type->type >= 0) return true;
  ReadError(reader, -2042, "File %s is of an unknown type ('%.*s')", file.text, QuoteLength(word), word.data());
  return false;
}

bool ReadNetIndicator(NetReader& reader) {
  FileType type;
  if (!ReadFileType(reader, &type)) return false;
  const char* word = format::TYPE_WORDS[type.type];
  if (std::strcmp(word, format::NET_TYPE) != 0) {
    ReadError(reader, -1000, "not a %s file (it is a %s file)", format::NET_TYPE, word);
    return false;
  }
  if (type.version == Version::Old) {
    ReportWarning(-1041, "this bnet is stored using an old version of file format. It may not read correctly");
  } else if (type.version == Version::New) {
    ReportWarning(-1043, "this bnet is stored using a new version of file format. It may not read completely");
  }
  return true;
}

// --- Top level

void ReadHexNumbers(NetReader& reader) {
  reader.in.base = 16;
  if (reader.in.Peek() == '=') {
    reader.in.NextSignificant();
    int on = 1;
    if (!ReadBoolean(reader, {format::HEX_WORD, format::NET_TYPE, ""}, &on)) return AbandonStatement(reader);
    reader.in.base = on ? 16 : 10;
  }
  if (!ReadSemicolon(reader)) ReadError(reader, -1157, "missing semicolon on line %ld", LineNow(reader));
}

bool IsKeywordNext(NetReader& reader) {
  reader.in.Peek();
  const long position = reader.in.Position();
  const std::string_view word = reader.in.ReadWord(format::PUNCTUATION, format::MAX_WORD_LEN, nullptr);
  reader.in.SetPosition(position);
  return word == format::NET_WORD || word == format::HEX_WORD;
}

void ReadTopLevel(NetReader& reader) {
  const int c = reader.in.NextSignificant();
  if (IsPunctuation(c)) {
    ReadError(reader, -1001, "illegal symbol read: '%c' in %s file, line %ld", c, format::NET_TYPE, LineNow(reader));
    if (c != ';' && !IsKeywordNext(reader)) AbandonStatement(reader);
    return;
  }
  reader.in.PushBack();
  const std::string_view word = reader.in.ReadWord(format::PUNCTUATION, format::MAX_WORD_LEN, nullptr);
  if (word == format::NET_WORD) return ReadNetBlock(reader);
  if (word == format::HEX_WORD) return ReadHexNumbers(reader);
  ReadWarning(reader, -1002, "unknown object '%.*s' in %s file, line %ld", QuoteLength(word), word.data(),
              format::NET_TYPE, LineNow(reader));
  reader.in.SkipStatement();
  if (!ReadSemicolon(reader)) ReadError(reader, -1157, "missing semicolon on line %ld", LineNow(reader));
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
              NODE_FIELD_NAMES[field], TagOf(&node) == STUB_TAG ? format::PARAM_WORD : format::NODE_WORD, node.name,
              NODE_FIELD_NAMES[later], reader.in.LineOf(place));
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

NetReader::~NetReader() {
  FreeBlock(*this);
  FreeNet(answer);
}

net_bn ReadNet(filespec_ns file, int options) {
  NetReader reader;
  reader.filename = file->name;
  reader.options = options;
  if (Failure failure = InputChannel::OpenFile(file->name, &reader.in)) {
    ReadError(reader, failure->number, "%s", failure->mesg);
    return nullptr;
  }
  if (!ReadNetIndicator(reader)) return nullptr;
  while (!reader.stopped && reader.in.Peek() != END_OF_INPUT) ReadTopLevel(reader);
  ReportFault(reader, "");
  if (!reader.stopped && !reader.foundNet) ReadError(reader, -1162, "there is no `%s` in it", format::NET_WORD);
  ReportUnlisted(reader);
  if (reader.stopped || !reader.answer) return nullptr;
  net_bn net = std::exchange(reader.answer, nullptr);
  if (Failure failure = CheckNetConsistency(net)) ReadError(reader, failure->number, "%s", failure->mesg);
  return net;
}

}  // namespace bravic

#include "Bn/files/NetFile.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

#include "Basic/Environ.h"
#include "Basic/ErrorTable.h"
#include "Basic/Format.h"
#include "Basic/Text.h"
#include "Bn/files/NetBlock.h"
#include "Bn/files/NetReader.h"
#include "Bn/files/NetValues.h"
#include "Bn/files/NetWriter.h"
#include "Bn/model/Consistency.h"
#include "Win_Face/Interaction.h"
#include "Win_Face/Platform.h"

namespace bravic {
namespace {

constexpr std::size_t SHORT_PATH = 100;  // where a message has it twice
constexpr char NEW_FILE_PREFIX[] = "Err";
constexpr int NUM_NEW_FILES = 10000, MAX_LINKS = 40;

// --- Reading: the indicator

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
  const std::string_view line(start, stop);
  if (stop < in.End() && *stop == '\r') ++stop;
  if (stop < in.End() && *stop == '\n') ++stop;
  in.MoveTo(stop);
  return line;
}

// The text between the marks in the first lines of the file; the channel then stands behind that line.
bool FindIndicator(InputChannel& in, std::string_view* indicator) {
  for (int examined = 0; examined < format::INDICATOR_LINES && in.Cursor() < in.End();) {
    const std::string_view line = NextLine(in);
    if (Count(line) < format::INDICATOR_MIN_LINE) continue;
    ++examined;
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
    ReadError(reader, NO_FILE_TYPE_INDICATOR);
    return false;
  }
  const std::string_view word = indicator.substr(0, dash), version = indicator.substr(dash + 1);
  const ShownPath file(OrEmpty(reader.filename), SHORT_PATH);
  type->version = VersionOf(version);
  if (type->version == Version::Illegal) {
    ReadError(reader, ILLEGAL_FILE_VERSION, file.text, Count(version), version.data());
    return false;
  }
  for (int i = 0; i < Count(format::TYPE_WORDS); ++i) {
    if (format::TYPE_WORDS[i] && word == format::TYPE_WORDS[i]) type->type = i;
  }
  if (type->type >= 0) return true;
  ReadError(reader, UNKNOWN_FILE_TYPE, file.text, QuoteLength(word), word.data());
  return false;
}

bool ReadNetIndicator(NetReader& reader) {
  FileType type;
  if (!ReadFileType(reader, &type)) return false;
  const char* word = format::TYPE_WORDS[type.type];
  if (std::strcmp(word, format::NET_TYPE) != 0) {
    ReadError(reader, NOT_A_NET_FILE, format::NET_TYPE, word);
    return false;
  }
  if (type.version == Version::Old) {
    Report(OLD_NET_FILE_VERSION);
  } else if (type.version == Version::New) {
    Report(NEW_NET_FILE_VERSION);
  }
  return true;
}

// --- Reading: the top level

void ReadHexNumbers(NetReader& reader) {
  reader.in.base = 16;
  if (reader.in.Peek() == '=') {
    reader.in.NextSignificant();
    int on = 1;
    if (!ReadBoolean(reader, {format::HEX_WORD, format::NET_TYPE, ""}, &on)) return AbandonStatement(reader);
    reader.in.base = on ? 16 : 10;
  }
  if (!ReadSemicolon(reader)) ReadError(reader, NO_SEMICOLON_IN_FILE, LineNow(reader));
}

bool IsKeywordNext(NetReader& reader) {
  reader.in.Peek();
  const long position = reader.in.Position();
  const std::string_view word = NextWord(reader);
  reader.in.SetPosition(position);
  return word == format::NET_WORD || word == format::HEX_WORD;
}

void ReadTopLevel(NetReader& reader) {
  const int c = reader.in.NextSignificant();
  if (IsPunctuation(c)) {
    ReadError(reader, ILLEGAL_SYMBOL_IN_FILE, c, format::NET_TYPE, LineNow(reader));
    if (c != ';' && !IsKeywordNext(reader)) AbandonStatement(reader);
    return;
  }
  reader.in.PushBack();
  const std::string_view word = NextWord(reader);
  if (word == format::NET_WORD) return ReadNetBlock(reader);
  if (word == format::HEX_WORD) return ReadHexNumbers(reader);
  ReadError(reader, UNKNOWN_OBJECT_IN_FILE, QuoteLength(word), word.data(), format::NET_TYPE, LineNow(reader));
  reader.in.SkipStatement();
  if (!ReadSemicolon(reader)) ReadError(reader, NO_SEMICOLON_IN_FILE, LineNow(reader));
}

// --- Writing

// Length of the path's directory, its separator included; 0 for a name in the current directory.
std::size_t DirectoryLength(const char* path) {
  std::size_t length = std::strlen(path);
  while (length > 0 && !IsPathSeparator(path[length - 1])) --length;
  return length;
}

Block<char> Joined(const char* directory, std::size_t length, const char* name) {
  const std::size_t nameSize = std::strlen(name) + 1;
  Block<char> path = MakeBlock<char>(length + nameSize);
  std::memcpy(path.get(), directory, length);
  std::memcpy(path.get() + length, name, nameSize);
  return path;
}

// The file that a name stands for: a link stays and the file behind it is replaced, also one that is not there yet.
// Empty, with an error posted, where links lead in a circle.
Block<char> FollowLinks(const char* name) {
  Block<char> path = Joined("", 0, name);
  for (int i = 0; i <= MAX_LINKS; ++i) {
    Block<char> target = LinkTarget(path.get());
    if (!target) return path;
    path =
        IsPathSeparator(target[0]) ? std::move(target) : Joined(path.get(), DirectoryLength(path.get()), target.get());
  }
  Report(LINKS_LEAD_IN_CIRCLE, ShownPath(name).text);
  return nullptr;
}

bool DirectoryIsThere(const char* path) {
  const std::size_t length = DirectoryLength(path);
  if (length == 0) return true;
  Block<char> directory = Joined(path, length, "");
  if (DirectoryExists(directory.get())) return true;
  if (length > 1) directory[length - 1] = 0;
  Report(NO_SUCH_DIRECTORY, ShownPath(directory.get(), ShownPath::MAX_ROOM).text);
  return false;
}

// An empty file of an unused name in the directory of the path; empty with an error posted.
Block<char> MakeNewFile(const char* path, bool ownersAlone) {
  const std::size_t length = DirectoryLength(path);
  const Block<char> directory = Joined(path, length, "");
  const std::size_t size = length + sizeof NEW_FILE_PREFIX + sizeof format::NET_EXTENSION + 8;
  Block<char> name = MakeBlock<char>(size);
  for (int number = 1; number < NUM_NEW_FILES; ++number) {
    FormatText(name.get(), size, "%s%s%04d%s", directory.get(), NEW_FILE_PREFIX, number, format::NET_EXTENSION);
    const Creation creation = CreateNewFile(name.get(), ownersAlone);
    if (creation == Creation::Done) return name;
    if (creation == Creation::Failed) break;
  }
  Report(CANT_CREATE_FILE, ShownPath(name.get(), ShownPath::MAX_ROOM).text);
  return nullptr;
}

bool WriteText(net_bn net, const char* path, OutputChannel::Flush flush) {
  OutputChannel out;
  const report_ns newest = NewestRecord(currentEnviron);
  if (!out.OpenFile(path, OutputChannel::Mode::Replace)) {
    Report(CANT_OPEN_FOR_WRITING, ShownPath(path, ShownPath::MAX_ROOM).text);
    return false;
  }
  const bool isWhole = PrintNet(net, printOptions, out);
  if (!isWhole) {
    out.Close();
    Post(FailHalted());
    return false;
  }
  if (!out.Close(flush)) {
    const int error = out.SystemError();
    Report(CANT_WRITE_FILE, ShownPath(path, 300).text, error ? " (" : "", error ? std::strerror(error) : "",
           error ? ")" : "");
    return false;
  }
  return !HasErrorSince(currentEnviron, newest, ERROR_ERR);
}

bool ReplaceText(net_bn net, const char* path, FileKind old) {
  const Block<char> newFile = MakeNewFile(path, old == FileKind::Regular);
  const unsigned halts = NumHalts();
  if (!newFile) return false;
  if (!WriteText(net, newFile.get(), FlushFile)) {
    if (NumHalts() != halts) std::remove(newFile.get());
    return false;
  }
  // The new text is on the disk before it takes the old one's place, and the change of names after it.
  if (old == FileKind::Regular) CopyPermissions(path, newFile.get());
  FlushDirectoryOf(path);
  if (IsWriteProtected(path) || ReplaceFile(newFile.get(), path) == Rename::Failed) {
    Report(CANT_REPLACE_FILE, ShownPath(path).text, ShownPath(newFile.get()).text);
    return false;
  }
  FlushDirectoryOf(path);
  return true;
}

}  // namespace

namespace {

// The net of an open channel.
net_bn ReadNet(NetReader& reader) {
  if (!ReadNetIndicator(reader)) return nullptr;
  while (!reader.stopped && reader.in.Peek() != END_OF_INPUT) ReadTopLevel(reader);
  ReportFault(reader, "");
  if (!reader.stopped && !reader.foundNet) ReadError(reader, NO_NET_IN_FILE, format::NET_WORD);
  ReportUnlisted(reader);
  if (reader.stopped || !reader.answer) return nullptr;
  net_bn net = std::exchange(reader.answer, nullptr);
  if (Failure failure = CheckNetConsistency(net)) ReadMessage(reader, failure->number, ERROR_ERR, failure->mesg);
  return net;
}

bool IsFitToWrite(net_bn net) {
  Failure failure = PrepareNet(net);
  if (!failure) failure = CheckNetConsistency(net);
  if (!failure) return true;
  Post(std::move(failure));
  return false;
}

}  // namespace

net_bn ReadNet(filespec_ns file, int options) {
  NetReader reader;
  reader.filename = file->name;
  reader.options = options;
  if (Failure failure = InputChannel::OpenFile(file->name, &reader.in)) {
    ReadMessage(reader, failure->number, ERROR_ERR, failure->mesg);
    return nullptr;
  }
  return ReadNet(reader);
}

net_bn ReadNetText(std::string_view text, const char* name) {
  NetReader reader;
  reader.filename = name && *name ? name : nullptr;
  reader.in.OpenString(text);
  net_bn net = ReadNet(reader);
  // The name is no file that the net could be saved to.
  if (net) {
    Free(net->filename);
    net->filename = nullptr;
  }
  return net;
}

long WriteNetText(net_bn net, std::span<char> room) {
  if (!IsFitToWrite(net)) return -1;
  OutputChannel out;
  out.OpenMemory();
  if (!PrintNet(net, printOptions, out)) {
    Post(FailHalted());
    return -1;
  }
  const std::string_view text = out.Text();
  if (!out.Close() || text.size() >= std::numeric_limits<long>::max()) {
    Report(NO_MEMORY_FOR_NET_TEXT, OrEmpty(net->name));
    return -1;
  }
  const std::size_t size = text.size() + 1;
  if (size <= room.size()) {
    std::memcpy(room.data(), text.data(), text.size());
    room[text.size()] = 0;
  }
  return static_cast<long>(size);
}

bool WriteNet(net_bn net, filespec_ns file) {
  if (!IsFitToWrite(net)) return false;
  const Block<char> path = FollowLinks(file->name);
  if (!path || !DirectoryIsThere(path.get())) return false;
  const FileKind old = KindOfFile(path.get());
  // A device or a pipe cannot be replaced: it is written to.
  if (old == FileKind::Other ? !WriteText(net, path.get(), nullptr) : !ReplaceText(net, path.get(), old)) return false;
  if (!EqualText(net->filename, file->name)) {
    Free(net->filename);
    net->filename = DupText(file->name);
  }
  net->dirty = false;
  return true;
}

}  // namespace bravic

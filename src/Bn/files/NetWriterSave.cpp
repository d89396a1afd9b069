// Saving: the new text goes to a file of its own beside the old one and takes the old one's place only when it is
// whole, so that whatever fails leaves the old file byte for byte.
#include <cstdio>
#include <cstring>
#include <utility>

#include "Basic/Environ.h"
#include "Basic/Format.h"
#include "Basic/Text.h"
#include "Bn/files/NetFile.h"
#include "Bn/files/NetWriter.h"
#include "Bn/model/Checks.h"
#include "Win_Face/Interaction.h"
#include "Win_Face/Platform.h"

namespace bravic {
namespace {

constexpr char NEW_FILE_PREFIX[] = "Err";
constexpr int NUM_NEW_FILES = 10000, MAX_LINKS = 40;

// Length of the path's directory, its separator included; 0 for a name in the current directory.
std::size_t DirectoryLength(const char* path) {
  std::size_t length = std::strlen(path);
  while (length > 0 && !IsPathSeparator(path[length - 1])) length--;
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
  for (int i = 0; i <= MAX_LINKS; i++) {
    Block<char> target = LinkTarget(path.get());
    if (!target) return path;
    path =
        IsPathSeparator(target[0]) ? std::move(target) : Joined(path.get(), DirectoryLength(path.get()), target.get());
  }
  ReportError(-2430, "couldn't save to '%s', because it is a symbolic link that leads in a circle",
              ShownPath(name).text);
  return nullptr;
}

bool DirectoryIsThere(const char* path) {
  const std::size_t length = DirectoryLength(path);
  if (length == 0) return true;
  Block<char> directory = Joined(path, length, "");
  if (DirectoryExists(directory.get())) return true;
  if (length > 1) directory[length - 1] = 0;
  ReportError(-2187, "Directory '%s' doesn't exist", ShownPath(directory.get(), ShownPath::MAX_ROOM).text);
  return false;
}

// An empty file of an unused name in the directory of the path; empty with an error posted.
Block<char> MakeNewFile(const char* path, bool ownersAlone) {
  const std::size_t length = DirectoryLength(path);
  const Block<char> directory = Joined(path, length, "");
  const std::size_t size = length + sizeof NEW_FILE_PREFIX + sizeof format::NET_EXTENSION + 8;
  Block<char> name = MakeBlock<char>(size);
  for (int number = 1; number < NUM_NEW_FILES; number++) {
    FormatText(name.get(), size, "%s%s%04d%s", directory.get(), NEW_FILE_PREFIX, number, format::NET_EXTENSION);
    const Creation creation = CreateNewFile(name.get(), ownersAlone);
    if (creation == Creation::Done) return name;
    if (creation == Creation::Failed) break;
  }
  ReportError(-2013, "couldn't create new file '%s'", ShownPath(name.get(), ShownPath::MAX_ROOM).text);
  return nullptr;
}

bool WriteText(net_bn net, const char* path, OutputChannel::Flush flush) {
  OutputChannel out;
  const report_ns newest = NewestRecord(currentEnviron);
  if (!out.OpenFile(path, OutputChannel::Mode::Replace)) {
    ReportError(-2012, "couldn't open file '%s' for writing", ShownPath(path, ShownPath::MAX_ROOM).text);
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
    ReportError(-2014, "couldn't write file '%s'%s%.100s%s", ShownPath(path, 300).text, error ? " (" : "",
                error ? std::strerror(error) : "", error ? ")" : "");
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
  if (old == FileKind::Regular) CopyPermissions(path, newFile.get());
  FlushDirectoryOf(path);
  if (IsWriteProtected(path) || ReplaceFile(newFile.get(), path) == Rename::Failed) {
    ReportError(-2018, "couldn't update file '%s', new version saved as '%s'", ShownPath(path).text,
                ShownPath(newFile.get()).text);
    return false;
  }
  FlushDirectoryOf(path);
  return true;
}

}  // namespace

bool WriteNet(net_bn net, filespec_ns file) {
  Failure failure = PrepareNet(net);
  if (!failure) failure = CheckNetConsistency(net);
  if (failure) {
    Post(std::move(failure));
    return false;
  }
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

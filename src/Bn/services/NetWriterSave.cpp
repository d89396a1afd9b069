// Saving: the new text goes to a file of its own beside the old one and takes the old one's place only when it is
// whole, so that whatever fails leaves the old file byte for byte.
#include <cstring>
#include <utility>

#include "Basic/Format.h"
#include "Bn/model/Checks.h"
#include "Bn/model/NetCall.h"
#include "Bn/services/NetFile.h"
#include "Bn/services/NetWriter.h"
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
Block<char> FollowLinks(const char* name) {
  Block<char> path = Joined("", 0, name);
  for (int i = 0; i < MAX_LINKS; i++) {
    Block<char> target = LinkTarget(path.get());
    if (!target) break;
    path =
        IsPathSeparator(target[0]) ? std::move(target) : Joined(path.get(), DirectoryLength(path.get()), target.get());
  }
  return path;
}

bool DirectoryIsThere(const char* path) {
  const std::size_t length = DirectoryLength(path);
  if (length == 0) return true;
  Block<char> directory = Joined(path, length, "");
  if (DirectoryExists(directory.get())) return true;
  if (length > 1) directory[length - 1] = 0;
  ReportError(-2187, "Directory '%.400s' doesn't exist", directory.get());
  return false;
}

// An empty file of an unused name in the directory of the path; empty with an error posted.
Block<char> MakeNewFile(const char* path) {
  const std::size_t length = DirectoryLength(path);
  const Block<char> directory = Joined(path, length, "");
  const std::size_t size = length + sizeof NEW_FILE_PREFIX + sizeof format::NET_EXTENSION + 8;
  Block<char> name = MakeBlock<char>(size);
  for (int number = 1; number < NUM_NEW_FILES; number++) {
    FormatText(name.get(), size, "%s%s%04d%s", directory.get(), NEW_FILE_PREFIX, number, format::NET_EXTENSION);
    const Creation creation = CreateNewFile(name.get());
    if (creation == Creation::Done) return name;
    if (creation == Creation::Failed) break;
  }
  ReportError(-2013, "couldn't create new file '%.400s'", name.get());
  return nullptr;
}

bool WriteText(net_bn net, const char* path) {
  OutputChannel out;
  const report_ns newest = NewestRecord(currentEnviron);
  if (!out.OpenFile(path, OutputChannel::Mode::Replace)) {
    ReportError(-2012, "couldn't open file '%.400s' for writing", path);
    return false;
  }
  PrintNet(net, printOptions, out);
  if (!out.Close()) {
    const int error = out.SystemError();
    ReportError(-2014, "couldn't write file '%.300s'%s%.100s%s", path, error ? " (" : "",
                error ? std::strerror(error) : "", error ? ")" : "");
    return false;
  }
  return !HasErrorSince(currentEnviron, newest, ERROR_ERR);
}

bool ReplaceText(net_bn net, const char* path, FileKind old) {
  const Block<char> newFile = MakeNewFile(path);
  if (!newFile || !WriteText(net, newFile.get())) return false;
  if (old == FileKind::Regular) CopyPermissions(path, newFile.get());
  if (IsWriteProtected(path) || ReplaceFile(newFile.get(), path) == Rename::Failed) {
    ReportError(-2018, "couldn't update file '%.200s', new version saved as '%.200s'", path, newFile.get());
    return false;
  }
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
  if (!DirectoryIsThere(path.get())) return false;
  const FileKind old = KindOfFile(path.get());
  // A device or a pipe cannot be replaced: it is written to.
  if (old == FileKind::Other ? !WriteText(net, path.get()) : !ReplaceText(net, path.get(), old)) return false;
  if (!EqualText(net->filename, file->name)) {
    Free(net->filename);
    net->filename = DupText(file->name);
  }
  net->dirty = false;
  return true;
}

}  // namespace bravic

using namespace bravic;

void BRAVIC_CALL WriteNet_bn(net_bn net, filespec_ns file) {
  NetCall call("WriteNet_bn");
  if (!call.Check(net) || !call.Check(file)) return;
  WriteNet(net, file);
}

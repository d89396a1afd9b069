// Clocks and files, as POSIX systems and the system interface of WebAssembly have them alike.
#if !defined(_WIN32)

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>

#include "Win_Face/Platform.h"

namespace bravic {
namespace {

std::int64_t Nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

bool FillStamp(const struct stat& status, FileStamp* stamp) {
  if (!S_ISREG(status.st_mode)) return false;
  stamp->volume = static_cast<std::uint64_t>(status.st_dev);
  stamp->index = static_cast<std::uint64_t>(status.st_ino);
  stamp->size = status.st_size;
#if defined(__APPLE__)
  stamp->written = Nanoseconds(status.st_mtimespec);
  stamp->changed = Nanoseconds(status.st_ctimespec);
#else
  stamp->written = Nanoseconds(status.st_mtim);
  stamp->changed = Nanoseconds(status.st_ctim);
#endif
  return true;
}

}  // namespace

std::uint32_t TickMilliseconds() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint32_t>(static_cast<std::uint64_t>(now.tv_sec) * 1000 +
                                    static_cast<std::uint64_t>(now.tv_nsec) / 1000000);
}

long CalendarSeconds() {
  return static_cast<long>(std::time(nullptr));
}

std::int64_t NanosecondsSince1970() {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  return Nanoseconds(now);
}

bool FileExists(const char* path) {
  struct stat status;
  return stat(path, &status) == 0 && !S_ISDIR(status.st_mode);
}

bool DirectoryExists(const char* path) {
  struct stat status;
  return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

Rename ReplaceFile(const char* from, const char* to) {
  return std::rename(from, to) == 0 ? Rename::Done : Rename::Failed;
}

FileKind KindOfFile(const char* path) {
  struct stat status;
  if (stat(path, &status) != 0) return FileKind::Absent;
  if (S_ISDIR(status.st_mode)) return FileKind::Directory;
  return S_ISREG(status.st_mode) ? FileKind::Regular : FileKind::Other;
}

Block<char> LinkTarget(const char* path) {
  constexpr std::size_t LONGEST = 4096;
  Block<char> target = MakeBlock<char>(LONGEST);
  const ssize_t length = readlink(path, target.get(), LONGEST);
  if (length < 0 || length >= static_cast<ssize_t>(LONGEST)) return nullptr;
  target[length] = 0;
  return target;
}

Creation CreateNewFile(const char* path, bool ownersAlone) {
  const int file = open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, ownersAlone ? 0600 : 0666);
  if (file < 0) return errno == EEXIST ? Creation::Exists : Creation::Failed;
  close(file);
  return Creation::Done;
}

bool FlushFile(std::FILE* file) {
  if (std::fflush(file) != 0) return false;
  // What is no file on a disk has nothing to flush.
  return fsync(fileno(file)) == 0 || errno == EINVAL || errno == ENOTSUP || errno == EROFS;
}

void FlushDirectoryOf(const char* path) {
  std::size_t length = std::strlen(path);
  while (length > 0 && path[length - 1] != '/') length--;
  Block<char> directory = MakeBlock<char>(length + 2);
  std::memcpy(directory.get(), length ? path : ".", length ? length : 1);
  directory[length ? length : 1] = 0;
  const int opened = open(directory.get(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (opened < 0) return;
  if (fsync(opened) != 0) errno = 0;
  close(opened);
}

bool IsPathSeparator(char c) {
  return c == '/';
}

bool GetStamp(std::FILE* file, FileStamp* stamp) {
  struct stat status;
  return fstat(fileno(file), &status) == 0 && FillStamp(status, stamp);
}

bool GetStamp(const char* path, FileStamp* stamp) {
  struct stat status;
  return stat(path, &status) == 0 && FillStamp(status, stamp);
}

bool SeekFile(std::FILE* file, std::int64_t offset) {
  return fseeko(file, static_cast<off_t>(offset), SEEK_SET) == 0;
}

void CutFile(const char* path, std::int64_t length) {
  if (truncate(path, static_cast<off_t>(length)) != 0) errno = 0;
}

}  // namespace bravic

#endif

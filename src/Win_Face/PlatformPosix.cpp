#if !defined(_WIN32)

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "Win_Face/Platform.h"

namespace bravic {
namespace {

// Any system this file builds on suffices; counted as the newest family that start-up knows.
constexpr int SYSTEM_MAJOR = 5;

volatile std::sig_atomic_t abortRequested = 0;
bool interruptsHalt = false;
struct sigaction actionBefore;

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

bool SystemVersion(int* major, bool* ntFamily) {
  *major = SYSTEM_MAJOR;
  *ntFamily = true;
  return true;
}

void StartupMessageBox(const char* title, const char* text) {
  std::fprintf(stderr, "%s: %s\n", title, text);
}

void WarningSound() {
  std::fputc('\a', stderr);
}

bool AbortGesture() {
  const bool requested = abortRequested != 0;
  abortRequested = 0;
  return requested;
}

void RequestAbort(bool on) {
  abortRequested = on;
}

void HaltOnInterrupts(bool on) {
  if (on == interruptsHalt) return;
  interruptsHalt = on;
  if (!on) {
    sigaction(SIGINT, &actionBefore, nullptr);
    abortRequested = 0;
    return;
  }
  struct sigaction action = {};
  action.sa_handler = [](int) { abortRequested = 1; };
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, &actionBefore);
}

bool InterruptsHalt() {
  return interruptsHalt;
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

bool IsWriteProtected(const char* path) {
  struct stat status;
  return stat(path, &status) == 0 && !(status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH));
}

// A group that cannot be kept may not do what only the old one might: it is given what everybody may do.
void CopyPermissions(const char* from, const char* to) {
  struct stat was, now;
  if (stat(from, &was) != 0 || stat(to, &now) != 0) return;
  constexpr auto SAME_OWNER = static_cast<uid_t>(-1);
  constexpr auto SAME_GROUP = static_cast<gid_t>(-1);
  const bool owned = now.st_uid == was.st_uid || chown(to, was.st_uid, SAME_GROUP) == 0;
  const bool grouped = now.st_gid == was.st_gid || chown(to, SAME_OWNER, was.st_gid) == 0;
  mode_t mode = was.st_mode & (owned && grouped ? 07777 : 0777);
  if (!grouped) mode = (mode & ~070u) | (mode & 07u) << 3;
  if (chmod(to, mode) != 0) errno = 0;
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

bool GetStamp(std::FILE* file, FileStamp* stamp) {
  struct stat status;
  return fstat(fileno(file), &status) == 0 && FillStamp(status, stamp);
}

bool GetStamp(const char* path, FileStamp* stamp) {
  struct stat status;
  return stat(path, &status) == 0 && FillStamp(status, stamp);
}

std::int64_t NanosecondsSince1970() {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  return Nanoseconds(now);
}

bool SeekFile(std::FILE* file, std::int64_t offset) {
  return fseeko(file, static_cast<off_t>(offset), SEEK_SET) == 0;
}

}  // namespace bravic

#endif

#if !defined(__wasi__)

#include "formats/Files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

#include "formats/MemoryLimit.h"

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace formats {
namespace {

constexpr std::size_t PIECE = 1 << 16;
constexpr int MAX_LINKS = 40, MAX_TRIES = 1000;

#ifdef _WIN32
constexpr int NEW_FILE = _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY, PERMISSIONS = _S_IREAD | _S_IWRITE;
#else
constexpr int NEW_FILE = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, PERMISSIONS = 0666;  // less what the process masks
#endif

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using OpenFile = std::unique_ptr<std::FILE, CloseFile>;

std::string SystemReason(int reason = errno) {
  return std::generic_category().message(reason);
}

bool Fail(const ErrorRow& row, const std::string& reason, Problems* problems) {
  problems->Add(row, 0, {reason});
  return false;
}

// Where a symbolic link leads to, also when there is nothing yet. Empty where links lead in a circle.
fs::path FollowLinks(fs::path path) {
  std::error_code failure;
  for (int i = 0; i < MAX_LINKS; ++i) {
    if (!fs::is_symlink(fs::symlink_status(path, failure))) return path;
    const fs::path target = fs::read_symlink(path, failure);
    if (failure) return path;
    path = target.is_absolute() ? target : path.parent_path() / target;
  }
  return {};
}

// The new file gets the permissions of the old one, and its owner where that is allowed.
void TakePermissions(const std::string& path, const std::string& old) {
#ifdef _WIN32
  (void)path, (void)old;
#else
  struct stat status;
  if (stat(old.c_str(), &status) != 0) return;
  const bool sameOwner = chown(path.c_str(), status.st_uid, status.st_gid) == 0;
  (void)!chmod(path.c_str(), status.st_mode & (sameOwner ? 07777 : 0777));
#endif
}

bool WriteOpen(OpenFile file, std::string_view text) {
  if (!file) return false;
  const bool written = std::fwrite(text.data(), 1, text.size(), file.get()) == text.size();
  bool done = std::fflush(file.get()) == 0 && written;
#ifndef _WIN32
  done = done && (fsync(fileno(file.get())) == 0 || errno == EINVAL || errno == EROFS || errno == ENOTSUP);
#endif
  const int reason = errno;
  const bool closed = std::fclose(file.release()) == 0;
  if (!done) errno = reason;
  return done && closed;
}

// An empty file beside the target that no other process has.
OpenFile MakeBeside(const std::string& target, std::string* path) {
  for (int i = 0; i < MAX_TRIES; ++i) {
    *path = target + "." + std::to_string(i) + ".tmp";
    const int file = open(path->c_str(), NEW_FILE, PERMISSIONS);
    if (file >= 0) return OpenFile(fdopen(file, "wb"));
    if (errno != EEXIST) return nullptr;
  }
  return nullptr;
}

bool Replace(const std::string& path, std::string_view text, Problems* problems) {
  const std::string target = FollowLinks(path).string();
  if (target.empty()) return Fail(CANT_WRITE_FILE, "too many symbolic links", problems);
  std::string temporary;
  OpenFile file = MakeBeside(target, &temporary);
  if (!file) return Fail(CANT_WRITE_FILE, SystemReason(), problems);
  if (!WriteOpen(std::move(file), text)) {
    const std::string reason = SystemReason();
    std::remove(temporary.c_str());
    return Fail(CANT_WRITE_FILE, reason, problems);
  }
  TakePermissions(temporary, target);
  std::error_code failure;
  fs::rename(temporary, target, failure);
  if (!failure) return true;
  std::remove(temporary.c_str());
  return Fail(CANT_WRITE_FILE, failure.message(), problems);
}

}  // namespace

bool ReadFile(const std::string& path, std::string* text, Problems* problems) {
  const OpenFile file(std::fopen(path.c_str(), "rb"));
  if (!file) return Fail(CANT_READ_FILE, SystemReason(), problems);
  struct stat status;
  text->clear();
  if (fstat(fileno(file.get()), &status) == 0 && S_ISREG(status.st_mode)) {
    MemoryLimit::Claim(static_cast<double>(status.st_size));
    text->reserve(static_cast<std::size_t>(status.st_size) + 1);
  }
  char piece[PIECE];
  while (const std::size_t length = std::fread(piece, 1, sizeof piece, file.get())) {
    if (text->size() + length > text->capacity()) MemoryLimit::Claim(static_cast<double>(text->capacity() + length));
    text->append(piece, length);
  }
  if (std::ferror(file.get())) return Fail(CANT_READ_FILE, SystemReason(), problems);
  return true;
}

bool WriteFile(const std::string& path, std::string_view text, Problems* problems) {
  std::error_code failure;
  const fs::file_status status = fs::status(path, failure);
  if (fs::is_directory(status)) return Fail(CANT_WRITE_FILE, "it is a folder", problems);
  if (!fs::exists(status)) return Replace(path, text, problems);
  if (!fs::is_regular_file(status)) {
    if (WriteOpen(OpenFile(std::fopen(path.c_str(), "wb")), text)) return true;
    return Fail(CANT_WRITE_FILE, SystemReason(), problems);
  }
  constexpr fs::perms WRITABLE = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
  if ((status.permissions() & WRITABLE) == fs::perms::none)
    return Fail(CANT_WRITE_FILE, "it is write-protected", problems);
  return Replace(path, text, problems);
}

}  // namespace formats

#endif

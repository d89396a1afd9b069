#include "Files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <vector>

#include "Refusal.h"
#include "Signals.h"

#ifdef BRAVIC_HAS_ZLIB
#include <zlib.h>
#endif
#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace {

constexpr int MAX_LINKS = 40;
constexpr double KILOBYTE = 1024;

double mostUnpacked = 0;  // bytes; 0: no limit

#ifdef _WIN32
constexpr int NEW_FILE = _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY, OWNER_ONLY = _S_IREAD | _S_IWRITE;
#else
constexpr int NEW_FILE = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, OWNER_ONLY = S_IRUSR | S_IWUSR;
#endif

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using OpenFile = std::unique_ptr<std::FILE, CloseFile>;

[[noreturn]] void Fail(const std::string& what, const std::string& path, int reason = errno) {
  throw Refusal("couldn't " + what + " '" + path + "': " + std::strerror(reason));
}

std::string TemporaryFolder() {
  std::error_code failure;
  const fs::path folder = fs::temp_directory_path(failure);
  if (failure) throw Refusal("there is no folder for temporary files: " + failure.message());
  return folder.string();
}

// Answers 0, or the system's error number.
int Copy(std::FILE* from, std::FILE* to) {
  char piece[65536];
  errno = 0;
  while (const std::size_t length = std::fread(piece, 1, sizeof piece, from)) {
    if (std::fwrite(piece, 1, length, to) != length) return errno ? errno : EIO;
  }
  return std::ferror(from) || std::fflush(to) != 0 ? (errno ? errno : EIO) : 0;
}

// The file behind symbolic links, also one that is not there yet.
fs::path FollowLinks(const std::string& name) {
  fs::path path = name;
  std::error_code failure;
  for (int i = 0; i < MAX_LINKS && fs::is_symlink(fs::symlink_status(path, failure)); ++i) {
    const fs::path target = fs::read_symlink(path, failure);
    path = target.is_absolute() ? target : path.parent_path() / target;
  }
  return path;
}

// Whether it begins as what gzip writes does.
bool IsPacked(const std::string& path) {
  const OpenFile file(std::fopen(path.c_str(), "rb"));
  return file && std::fgetc(file.get()) == 0x1F && std::fgetc(file.get()) == 0x8B;
}

// Gives a file that is to take another's place the other's owner and permissions, or those of a new file.
void TakeAttributes(const std::string& path, const std::string& old) {
#ifdef _WIN32
  (void)path, (void)old;
#else
  struct stat status;
  if (stat(old.c_str(), &status) == 0) {
    const bool sameOwner = chown(path.c_str(), status.st_uid, status.st_gid) == 0;  // allowed to few
    if (chmod(path.c_str(), status.st_mode & (sameOwner ? 07777 : 0777)) != 0) Fail("set the permissions of", path);
  } else {
    const mode_t mask = umask(0);
    umask(mask);
    if (chmod(path.c_str(), 0666 & ~mask) != 0) Fail("set the permissions of", path);
  }
#endif
}

// Has what was written to a file, or to the list of names of a folder, reach the disk.
bool Flush([[maybe_unused]] const std::string& path) {
#ifdef _WIN32
  return true;
#else
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  const bool done = fsync(file) == 0 || errno == EINVAL;
  close(file);
  return done;
#endif
}

std::string FolderOf(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path().string() : ".";
}

}  // namespace

bool IsStandard(const std::string& path) {
  return path == "-";
}

bool IsStandardOutput(const std::string& path) {
  if (IsStandard(path)) return true;
#ifndef _WIN32
  struct stat named, output;
  if (stat(path.c_str(), &named) == 0 && fstat(1, &output) == 0)
    return named.st_dev == output.st_dev && named.st_ino == output.st_ino && !S_ISCHR(named.st_mode);
#endif
  return false;
}

bool IsSameFile(const std::string& a, const std::string& b) {
  std::error_code failure;
  return fs::equivalent(a, b, failure) && !failure;
}

bool IsReplaceable(const std::string& path) {
  if (IsStandardOutput(path)) return false;
  std::error_code failure;
  const fs::file_status status = fs::status(path, failure);
  if (failure == std::errc::too_many_symbolic_link_levels) throw Refusal("too many symbolic links at '" + path + "'");
  if (fs::is_directory(status)) throw Refusal("'" + path + "' is a folder");
  if (!fs::exists(status)) return true;
  if (!fs::is_regular_file(status)) return false;
  constexpr fs::perms WRITABLE = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
  if ((status.permissions() & WRITABLE) == fs::perms::none) throw Refusal("file '" + path + "' is write-protected");
  return true;
}

TemporaryFile::TemporaryFile(const std::string& folder) {
  Make(folder);
}

void TemporaryFile::Make(const std::string& folder, const std::string& ending) {
  std::random_device random;
  for (;;) {
    const std::string path = (fs::path(folder) / (".bravic-" + std::to_string(random()) + ending)).string();
    const SignalsHeld held;
    const int file = open(path.c_str(), NEW_FILE, OWNER_ONLY);
    if (file < 0 && errno == EEXIST) continue;
    if (file < 0) Fail("create a file in", folder);
    close(file);
    path_ = path;
    place_ = RemoveAtSignal(path_);
    return;
  }
}

void TemporaryFile::Remove() {
  if (path_.empty()) return;
  std::remove(path_.c_str());
  Forget();
}

void TemporaryFile::MoveTo(const std::string& path) {
  const SignalsHeld held;
  std::error_code failure;
  fs::rename(path_, path, failure);
  if (failure) throw Refusal("couldn't replace file '" + path + "': " + failure.message());
  Forget();
}

void TemporaryFile::Forget() {
  ForgetAtSignal(place_);
  place_ = -1;
  path_.clear();
}

void WriteWhole(const std::string& text, const std::string& path) {
  OpenFile file(std::fopen(path.c_str(), "wb"));
  const bool isWhole = file && std::fwrite(text.data(), 1, text.size(), file.get()) == text.size();
  if (!isWhole || std::fclose(file.release()) != 0) Fail("write", path);
}

void LimitUnpacking(long kilobytes) {
  mostUnpacked = static_cast<double>(kilobytes) * KILOBYTE;
}

InputFile::InputFile(const std::string& path) : name_(path) {
  std::error_code failure;
  const fs::file_status status = fs::status(path, failure);
  const bool standard = IsStandard(path);
  if (!standard && fs::is_directory(status)) throw Refusal("'" + path + "' is a folder");
  if (!standard && !fs::exists(status)) return;
  if (standard || !fs::is_regular_file(status)) KeepCopy(standard);
  if (IsPacked(PackedPath())) Unpack();
}

void InputFile::KeepCopy(bool standard) {
  static bool standardWasRead = false;
  if (standard && standardWasRead) throw Refusal("the standard input can be read only once");
  standardWasRead |= standard;
  copy_.Make(TemporaryFolder());
  const OpenFile from(standard ? nullptr : std::fopen(name_.c_str(), "rb"));
  if (!standard && !from) Fail("open file", name_);
  const OpenFile to(std::fopen(copy_.Path().c_str(), "wb"));
  if (!to) Fail("open file", copy_.Path());
  if (const int reason = Copy(standard ? stdin : from.get(), to.get())) Fail("read", ShownName(), reason);
}

#ifdef BRAVIC_HAS_ZLIB
void InputFile::Unpack() {
  // A spreadsheet of one column is told by its name.
  const std::string inner = fs::path(name_).stem().extension().string();
  unpacked_.Make(TemporaryFolder(), inner == ".csv" || inner == ".tsv" ? inner : ".tmp");
  const OpenFile to(std::fopen(unpacked_.Path().c_str(), "wb"));
  if (!to) Fail("open file", unpacked_.Path());
  const std::unique_ptr<gzFile_s, int (*)(gzFile)> from(gzopen(PackedPath().c_str(), "rb"), gzclose);
  if (!from) Fail("open file", name_);
  std::vector<char> piece(std::size_t{1} << 18);
  double unpacked = 0;
  int length;
  while ((length = gzread(from.get(), piece.data(), static_cast<unsigned>(piece.size()))) > 0) {
    unpacked += length;
    if (mostUnpacked > 0 && unpacked > mostUnpacked)
      throw Refusal("file '" + ShownName() + "' unpacks to more than the limit of memory");
    if (std::fwrite(piece.data(), 1, static_cast<std::size_t>(length), to.get()) != static_cast<std::size_t>(length))
      Fail("unpack file", name_);
  }
  int fault = Z_OK;
  const std::string said = gzerror(from.get(), &fault);
  if (length < 0 || (fault != Z_OK && fault != Z_STREAM_END))
    throw Refusal("couldn't unpack file '" + ShownName() + "': " + (said.empty() ? "it is cut off" : said));
  if (std::fflush(to.get()) != 0) Fail("unpack file", name_);
}
#else
void InputFile::Unpack() {
  throw Refusal("file '" + ShownName() + "' is compressed, and this program was built without zlib");
}
#endif

OutputFile::OutputFile(const std::string& path, Mode mode) : name_(path), mode_(mode) {
  if (!IsReplaceable(path)) {
    temporary_.Make(TemporaryFolder());
    return;
  }
  const fs::path target = FollowLinks(path);
  target_ = target.string();
  std::error_code failure;
  temporary_.Make(FolderOf(target));
  if (mode == Mode::Append && fs::exists(target, failure)) {
    // Not by fs::copy_file, which on Windows takes any two files of a drive for one.
    const OpenFile from(std::fopen(target_.c_str(), "rb"));
    if (!from) Fail("copy file", path);
    const OpenFile to(std::fopen(temporary_.Path().c_str(), "wb"));
    if (!to) Fail("open file", temporary_.Path());
    if (const int reason = Copy(from.get(), to.get())) Fail("copy file", path, reason);
  }
}

void OutputFile::Finish() {
  if (!target_.empty()) {
    TakeAttributes(temporary_.Path(), target_);
    if (!Flush(temporary_.Path())) Fail("write file", name_);
    temporary_.MoveTo(target_);
    Flush(FolderOf(target_));
    return;
  }
  const OpenFile from(std::fopen(temporary_.Path().c_str(), "rb"));
  if (!from) Fail("open file", temporary_.Path());
  if (IsStandardOutput(name_)) {
    if (const int reason = Copy(from.get(), stdout))
      throw Refusal("couldn't write to the standard output: " + std::string(std::strerror(reason)));
    return;
  }
  const OpenFile to(std::fopen(name_.c_str(), mode_ == Mode::Append ? "ab" : "wb"));
  if (!to) Fail("open file", name_);
  if (const int reason = Copy(from.get(), to.get())) Fail("write file", name_, reason);
}

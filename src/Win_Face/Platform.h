// What the operating system is asked for. PlatformWin32.cpp gives all of it; PlatformPosix.cpp and PlatformWasi.cpp
// each with CommonPosix.cpp.
#pragma once

#include <cstdint>
#include <cstdio>

#include "Basic/Memory.h"

namespace bravic {

enum class Rename { Done, Failed };

std::uint32_t TickMilliseconds();  // wraps; for progress timing and delays
long CalendarSeconds();
// Major version of the system and whether it is of the NT family; answers false where the version cannot be told.
bool SystemVersion(int* major, bool* ntFamily);
void StartupMessageBox(const char* title, const char* text);
void WarningSound();
// The abort gesture: on Win32 a key held with the left mouse button; elsewhere an interrupt signal that the
// program around the library passes on with RequestAbort.
bool AbortGesture();
void RequestAbort(bool on);
// Interrupts (Ctrl-C) make the gesture, which is over once it was seen. Off: the handler before is put back.
void HaltOnInterrupts(bool on);
bool InterruptsHalt();

// Asks that a large block be held on large pages, where the system has them: fewer faults, and fewer misses of whoever
// reads it here and there.
void UseLargePages(void* block, std::size_t nbytes);

bool FileExists(const char* path);
bool DirectoryExists(const char* path);
Rename ReplaceFile(const char* from, const char* to);  // atomic where the system can

// For saving beside the old file and renaming over it. A path is that of the file behind any symbolic link, but for
// LinkTarget, which answers where a link itself points (relative to the link's directory unless absolute), or
// nothing when the path is not a link.
enum class FileKind { Absent, Regular, Directory, Other };  // Other: a device, a pipe
enum class Creation { Done, Exists, Failed };
FileKind KindOfFile(const char* path);
Block<char> LinkTarget(const char* path);
// Empty; never one that is there. ownersAlone: nobody else may read it.
Creation CreateNewFile(const char* path, bool ownersAlone);
bool IsWriteProtected(const char* path);  // no one may write it
// The owner, the group and who may do what, as far as the system lets; never more for anybody than before.
void CopyPermissions(const char* from, const char* to);
// To the disk itself: what was written to a file (false, with errno set, when that failed), and the names in the
// directory that holds the path, as far as the system can.
bool FlushFile(std::FILE* file);
void FlushDirectoryOf(const char* path);
bool IsPathSeparator(char c);

// What tells whether a regular file is the same as before, without reading it.
struct FileStamp {
  std::uint64_t volume = 0, index = 0;  // which file it is
  std::int64_t size = 0;                // bytes
  std::int64_t written = 0;             // nanoseconds since 1970, as far as the file system counts them
  std::int64_t changed = 0;             // the same of its attributes, which cannot be set back; 0 where it is not told
  bool operator==(const FileStamp&) const = default;
};
// False for what is no regular file.
bool GetStamp(std::FILE* file, FileStamp* stamp);
bool GetStamp(const char* path, FileStamp* stamp);
// Now, in the same count.
std::int64_t NanosecondsSince1970();
bool SeekFile(std::FILE* file, std::int64_t offset);  // from its start
void CutFile(const char* path, std::int64_t length);  // to so many bytes, where the system lets

}  // namespace bravic

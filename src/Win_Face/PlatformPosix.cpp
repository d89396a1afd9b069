#if !defined(_WIN32)

#include <sys/stat.h>
#include <time.h>

#include <cstdio>
#include <ctime>

#include "Win_Face/Platform.h"

namespace bravic {
namespace {

// Any system this file builds on suffices; counted as the newest family that start-up knows.
constexpr int SYSTEM_MAJOR = 5;

volatile bool abortRequested = false;

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
  return abortRequested;
}

void RequestAbort(bool on) {
  abortRequested = on;
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

}  // namespace bravic

#endif

#if !defined(_WIN32) && !defined(__wasi__)

#include <errno.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "Win_Face/Platform.h"

namespace bravic {
namespace {

// Any system this file builds on suffices; counted as the newest family that start-up knows.
constexpr int SYSTEM_MAJOR = 5;

volatile std::sig_atomic_t abortRequested = 0;
bool interruptsHalt = false;
struct sigaction actionBefore;

}  // namespace

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

// Of whole pages within the block alone. The system may refuse; then it is as before.
void UseLargePages(void* block, std::size_t nbytes) {
#if defined(MADV_HUGEPAGE)
  constexpr std::size_t PAGE = 4096, WORTH_IT = 4 << 20;
  const std::size_t ahead = (PAGE - reinterpret_cast<std::uintptr_t>(block) % PAGE) % PAGE;
  if (nbytes < WORTH_IT) return;
  const int before = errno;
  madvise(static_cast<char*>(block) + ahead, (nbytes - ahead) / PAGE * PAGE, MADV_HUGEPAGE);
  errno = before;
#else
  (void)block, (void)nbytes;
#endif
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

}  // namespace bravic

#endif

// WebAssembly behind its system interface (WASI): no signals, no owners of files, no permissions.
#if defined(__wasi__)

#include <cstdio>

#include "Win_Face/Platform.h"

namespace bravic {
namespace {

// Counted as the newest family that start-up knows.
constexpr int SYSTEM_MAJOR = 5;

bool abortRequested = false;
bool interruptsHalt = false;

}  // namespace

bool SystemVersion(int* major, bool* ntFamily) {
  *major = SYSTEM_MAJOR;
  *ntFamily = true;
  return true;
}

void StartupMessageBox(const char* title, const char* text) {
  std::fprintf(stderr, "%s: %s\n", title, text);
}

void WarningSound() {}

void UseLargePages(void*, std::size_t) {}

bool AbortGesture() {
  const bool requested = abortRequested;
  abortRequested = false;
  return requested;
}

void RequestAbort(bool on) {
  abortRequested = on;
}

// Nothing interrupts: the setting alone is kept.
void HaltOnInterrupts(bool on) {
  interruptsHalt = on;
}

bool InterruptsHalt() {
  return interruptsHalt;
}

bool IsWriteProtected(const char*) {
  return false;
}

void CopyPermissions(const char*, const char*) {}

}  // namespace bravic

#endif

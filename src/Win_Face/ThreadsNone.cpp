// WebAssembly has no threads that every host could run: all is done by the calling one.
#if defined(__wasm__) && !defined(_WIN32)

#include "Win_Face/ThreadStart.h"

namespace bravic {

int NumProcessors() {
  return 1;
}

bool StartWorker(WorkerStart*) {
  return false;
}

void JoinWorker(WorkerStart*) {}

Monitor::Monitor() {}

Monitor::~Monitor() {}

void Monitor::Lock() {}

void Monitor::Unlock() {}

void Monitor::Wait(int) {}

void Monitor::Wake(int) {}

}  // namespace bravic

#endif

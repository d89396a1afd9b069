#if defined(_WIN32)

#include <windows.h>

#include <algorithm>
#include <bit>

#include "Win_Face/ThreadStart.h"

namespace bravic {
namespace {

DWORD WINAPI RunWorker(LPVOID data) {
  const auto* start = static_cast<WorkerStart*>(data);
  start->run(start->context, start->worker);
  return 0;
}

}  // namespace

int NumProcessors() {
  DWORD_PTR mine = 0, all = 0;
  return GetProcessAffinityMask(GetCurrentProcess(), &mine, &all) ? std::max(std::popcount(mine), 1) : 1;
}

bool StartWorker(WorkerStart* start) {
  start->handle = CreateThread(nullptr, 0, RunWorker, start, 0, nullptr);
  return start->handle != nullptr;
}

void JoinWorker(WorkerStart* start) {
  WaitForSingleObject(start->handle, INFINITE);
  CloseHandle(start->handle);
}

}  // namespace bravic

#endif

#if defined(_WIN32)

#include <windows.h>

#include <algorithm>
#include <bit>
#include <new>

#include "Win_Face/ThreadStart.h"

namespace bravic {
namespace {

DWORD WINAPI RunWorker(LPVOID data) {
  RunStarted(static_cast<WorkerStart*>(data));
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

namespace {

struct State {
  CRITICAL_SECTION section;
  HANDLE wakes;     // a semaphore; NULL where the system gives none: then waits are short sleeps
  int numSleeping;  // about
};

State& StateIn(unsigned char* room) {
  return *std::launder(reinterpret_cast<State*>(room));
}

}  // namespace

Monitor::Monitor() {
  static_assert(sizeof(State) <= sizeof state_ && alignof(State) <= 8);
  State* state = new (state_) State;
  InitializeCriticalSection(&state->section);
  state->wakes = CreateSemaphoreA(nullptr, 0, 0x7FFFFFFF, nullptr);
  state->numSleeping = 0;
}

Monitor::~Monitor() {
  if (StateIn(state_).wakes) CloseHandle(StateIn(state_).wakes);
  DeleteCriticalSection(&StateIn(state_).section);
}

void Monitor::Lock() {
  EnterCriticalSection(&StateIn(state_).section);
}

void Monitor::Unlock() {
  LeaveCriticalSection(&StateIn(state_).section);
}

void Monitor::Wait(int milliseconds) {
  State& state = StateIn(state_);
  ++state.numSleeping;
  Unlock();
  if (!state.wakes)
    Sleep(1);
  else
    WaitForSingleObject(state.wakes, static_cast<DWORD>(milliseconds));
  Lock();
  --state.numSleeping;
}

void Monitor::Wake(int numWaiting) {
  State& state = StateIn(state_);
  const int count = std::min(numWaiting, state.numSleeping);
  if (state.wakes && count > 0) ReleaseSemaphore(state.wakes, count, nullptr);
}

}  // namespace bravic

#endif

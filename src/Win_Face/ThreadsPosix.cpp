#if !defined(_WIN32) && !defined(__wasm__)

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <ctime>
#include <new>

#include "Win_Face/ThreadStart.h"

namespace bravic {
namespace {

constexpr std::size_t STACK_SIZE = 1 << 20;

void* RunWorker(void* data) {
  RunStarted(static_cast<WorkerStart*>(data));
  return nullptr;
}

}  // namespace

int NumProcessors() {
#if defined(__linux__)
  cpu_set_t mine;
  if (sched_getaffinity(0, sizeof mine, &mine) == 0) return std::max(CPU_COUNT(&mine), 1);
#endif
  return static_cast<int>(std::max(sysconf(_SC_NPROCESSORS_ONLN), 1L));
}

// With all signals blocked: those that are sent to the process are for the host's threads.
bool StartWorker(WorkerStart* start) {
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  pthread_attr_setstacksize(&attributes, STACK_SIZE);
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  pthread_t thread;
  const int result = pthread_create(&thread, &attributes, RunWorker, start);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  pthread_attr_destroy(&attributes);
  if (result != 0) return false;
  static_assert(sizeof thread <= sizeof start->handle);
  std::memcpy(&start->handle, &thread, sizeof thread);
  return true;
}

void JoinWorker(WorkerStart* start) {
  pthread_t thread;
  std::memcpy(&thread, &start->handle, sizeof thread);
  pthread_join(thread, nullptr);
}

namespace {

struct State {
  pthread_mutex_t mutex;
  pthread_cond_t changed;
};

State& StateIn(unsigned char* room) {
  return *std::launder(reinterpret_cast<State*>(room));
}

}  // namespace

Monitor::Monitor() {
  static_assert(sizeof(State) <= sizeof state_ && alignof(State) <= 8);
  State* state = new (state_) State;
  pthread_mutex_init(&state->mutex, nullptr);
  pthread_cond_init(&state->changed, nullptr);
}

Monitor::~Monitor() {
  pthread_cond_destroy(&StateIn(state_).changed);
  pthread_mutex_destroy(&StateIn(state_).mutex);
}

void Monitor::Lock() {
  pthread_mutex_lock(&StateIn(state_).mutex);
}

void Monitor::Unlock() {
  pthread_mutex_unlock(&StateIn(state_).mutex);
}

void Monitor::Wait(int milliseconds) {
  constexpr long MILLION = 1000000, BILLION = 1000000000;
  timespec end;
  clock_gettime(CLOCK_REALTIME, &end);
  end.tv_sec += milliseconds / 1000;
  end.tv_nsec += milliseconds % 1000 * MILLION;
  if (end.tv_nsec >= BILLION) {
    ++end.tv_sec;
    end.tv_nsec -= BILLION;
  }
  pthread_cond_timedwait(&StateIn(state_).changed, &StateIn(state_).mutex, &end);
}

void Monitor::Wake(int numWaiting) {
  for (; numWaiting > 0; --numWaiting) pthread_cond_signal(&StateIn(state_).changed);
}

}  // namespace bravic

#endif

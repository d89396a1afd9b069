#if !defined(_WIN32) && !defined(__wasm__)

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>

#include "Win_Face/ThreadStart.h"

namespace bravic {
namespace {

constexpr std::size_t STACK_SIZE = 1 << 20;

void* RunWorker(void* data) {
  const auto* start = static_cast<WorkerStart*>(data);
  start->run(start->context, start->worker);
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

}  // namespace bravic

#endif

#include "Win_Face/Threads.h"

#include <algorithm>

#include "Basic/Memory.h"
#include "Win_Face/ThreadStart.h"

namespace bravic {
namespace {

ThreadGate threadGate = nullptr;
int threadsSetting = 1;

}  // namespace

int* ThreadsSetting() {
  return &threadsSetting;
}

int ThreadsToUse() {
  return threadsSetting > 0 ? threadsSetting : std::min(NumProcessors(), MOST_THREADS);
}

void SetThreadGate(ThreadGate gate) {
  threadGate = gate;
}

void RunStarted(WorkerStart* start) {
#ifndef NDEBUG
  memoryIsForbidden = true;
#endif
  start->run(start->context, start->worker);
}

int RunOnThreads(int numThreads, void (*run)(void* context, int worker), void* context) {
  WorkerStart starts[MOST_THREADS];
  const int wanted = std::clamp(numThreads, 1, MOST_THREADS);
  int running = 1;
  for (; running < wanted; ++running) {
    starts[running] = {run, context, running, nullptr};
    if ((threadGate && !threadGate(running)) || !StartWorker(&starts[running])) break;
  }
  run(context, 0);
  for (int worker = 1; worker < running; ++worker) JoinWorker(&starts[worker]);
  return running;
}

}  // namespace bravic

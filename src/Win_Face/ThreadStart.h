// What each platform gives of threads (ThreadsPosix.cpp, ThreadsWin32.cpp, ThreadsNone.cpp): one is started, and waited
// for.
#pragma once

#include "Win_Face/Threads.h"

namespace bravic {

struct WorkerStart {
  void (*run)(void* context, int worker);
  void* context;
  int worker;
  void* handle;  // the platform's own
};

// RunStarted(start) runs on it.
bool StartWorker(WorkerStart* start);
void JoinWorker(WorkerStart* start);
void RunStarted(WorkerStart* start);

}  // namespace bravic

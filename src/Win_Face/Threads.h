// Threads, as the platform has them: work that several do at once, which the calling thread sees done. A worker calls
// no exported function, no allocator, no error list and no callback; it is given all that it needs, and what it finds
// the caller reports. Threads live for one call alone: none is left when a host forks or closes its environment.
#pragma once

namespace bravic {

constexpr int MOST_THREADS = 256;  // that one call runs

int NumProcessors();  // that this process may run on; at least 1

// How many the host lets one call use, 1 at the start; 0: as many as there are processors. And what that comes to.
int* ThreadsSetting();
int ThreadsToUse();

// Runs run(context, worker) on up to so many threads at once, worker 0 on the calling one, and returns when all are
// done. Answers how many ran: a thread that does not start means fewer.
int RunOnThreads(int numThreads, void (*run)(void* context, int worker), void* context);

// What threads share while one of them has it locked, and a place to wait in until another one has changed it.
class Monitor {
 public:
  Monitor();
  ~Monitor();
  Monitor(const Monitor&) = delete;
  Monitor& operator=(const Monitor&) = delete;
  void Lock();
  void Unlock();
  // While it is locked. A wait lets it go; it ends when it is woken, or after so many milliseconds, or at times for
  // nothing.
  void Wait(int milliseconds);
  void Wake(int numWaiting);

 private:
  [[maybe_unused]] alignas(8) unsigned char state_[160];  // the platform's own
};

// For tests: asked before each thread is started; false means that it does not start.
using ThreadGate = bool (*)(int worker);
void SetThreadGate(ThreadGate gate);

}  // namespace bravic

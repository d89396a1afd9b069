#include "Win_Face/Threads.h"

#include <atomic>
#include <vector>

#include "support/test.h"

namespace {

using namespace bravic;

struct Workers {
  std::vector<int> calls = std::vector<int>(MOST_THREADS + 1);
  std::atomic<int> arrived = 0;
  int expected = 1;
};

// Waits for the others, so that they must all have been running at once.
void Meet(void* context, int worker) {
  auto* workers = static_cast<Workers*>(context);
  ++workers->calls[static_cast<std::size_t>(worker)];
  ++workers->arrived;
  while (workers->arrived < workers->expected) {
  }
}

std::vector<int> CallsOf(int numThreads, int expected) {
  Workers workers;
  workers.expected = expected;
  EXPECT_EQ(RunOnThreads(numThreads, Meet, &workers), expected);
  workers.calls.resize(static_cast<std::size_t>(std::max(numThreads, 1)));
  return workers.calls;
}

TEST(Threads, RunAtOnceAndAreAllDoneOnReturn) {
  EXPECT_GE(NumProcessors(), 1);
  for (const int numThreads : {0, 1, 2, 5}) {
    EXPECT_EQ(CallsOf(numThreads, std::max(numThreads, 1)),
              std::vector<int>(static_cast<std::size_t>(std::max(numThreads, 1)), 1));
  }
  Workers workers;
  EXPECT_EQ(RunOnThreads(MOST_THREADS + 1, Meet, &workers), MOST_THREADS);
}

TEST(Threads, AsManyAsTheHostAllows) {
  for (const int allowed : {3, 0, 1}) {
    *ThreadsSetting() = allowed;
    EXPECT_EQ(ThreadsToUse(), allowed > 0 ? allowed : NumProcessors());
  }
}

TEST(Threads, ThatDoNotStartMeanFewer) {
  SetThreadGate([](int worker) { return worker < 3; });
  EXPECT_EQ(CallsOf(6, 3), (std::vector<int>{1, 1, 1, 0, 0, 0}));
  SetThreadGate([](int) { return false; });
  EXPECT_EQ(CallsOf(2, 1), (std::vector<int>{1, 0}));
  SetThreadGate(nullptr);
}

}  // namespace

// What hosts with several threads may do: take turns under a lock of their own, and end what another thread has begun.

#include <atomic>
#include <mutex>
#include <thread>

#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

class HostThreadsTest : public NetTest {};

TEST_F(HostThreadsTest, TakeTurnsUnderALock) {
  constexpr int NUM_HOSTS = 4, NUM_TURNS = 30;
  std::mutex lock;
  std::atomic<int> numWrong = 0;
  std::vector<std::thread> hosts;
  for (int host = 0; host < NUM_HOSTS; ++host) {
    hosts.emplace_back([&, host] {
      Net own;
      for (int turn = 0; turn < NUM_TURNS; ++turn) {
        const std::lock_guard held(lock);
        if (turn % 10 == 0) {
          own = ChestClinic(env);
          SetThreads_ns(1 + host % 2, env);
          CompileNet_bn(own.get());
        }
        RetractAllFindings_bn(own.get());
        if (turn % 2 != 0) Observe(own, "smoke", "no");
        const float expected = turn % 2 != 0 ? 0.01f : 0.055f;
        if (std::abs(Belief(own, "lung", "yes") - expected) > 1e-6f) ++numWrong;
      }
      const std::lock_guard held(lock);
      own.reset();
    });
  }
  for (std::thread& host : hosts) host.join();
  EXPECT_EQ(numWrong, 0);
  SetThreads_ns(1, env);
}

int HaltWhenAsked(void* wish, const char*, double, double) {
  return *static_cast<std::atomic<bool>*>(wish) ? 1 : 0;
}

// The callback looks at a flag that any thread may set.
TEST_F(HostThreadsTest, EndWhatAnotherHasBegun) {
  std::atomic<bool> wish = false;
  net = Chain(env, 300);
  CompileNet_bn(net.get());
  SetProgressCallback_ns(HaltWhenAsked, &wish, env);
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    wish = true;
  });
  FindElimOrder_bn(net.get(), 3600);
  other.join();
  SetProgressCallback_ns(nullptr, nullptr, env);
  EXPECT_EQ(Reports(5), "") << "the best order so far is kept";
  Reports(0);
}

}  // namespace
}  // namespace bravic::testing

// A test in which the n-th request to the heap fails.
#pragma once

#include <functional>

#include "Basic/Environ.h"
#include "Basic/Memory.h"
#include "support/net_fixture.h"

namespace bravic::testing {

class StarvingTest : public NetTest {
 protected:
  // Calls while request n fails, and what follows from that; at -1 nothing fails.
  void Starve(long n, bool away, const std::function<void()>& call) {
    requestsLeft = n;
    reserveStaysAway = away;
    failed = false;
    SetHeapGate(n < 0 ? nullptr : RefuseOne);
    call();
    SetHeapGate(nullptr);
    running = std::exchange(currentFunction, nullptr);
    Free(Allocate(1));  // the reserve is taken again
    ASSERT_TRUE(HasReserve());
    SetMemoryState(MEMORY_NORMAL);
  }

  static inline bool failed = false;  // whether there was such a request
  const char* running = nullptr;      // the function of which the call has left the name set

 private:
  static bool RefuseOne(std::size_t nbytes) {
    if (failed && reserveStaysAway && nbytes == RESERVE_SIZE) return false;
    if (requestsLeft-- != 0) return true;
    failed = true;
    return false;
  }

  static inline long requestsLeft = 0;
  static inline bool reserveStaysAway = false;
};

}  // namespace bravic::testing

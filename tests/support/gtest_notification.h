// Included before GoogleTest where the standard library has no threads: its one use of them, which nothing here
// needs.
#pragma once

namespace testing::internal {

class Notification {
 public:
  void Notify() {}
  void WaitForNotification() {}
};

}  // namespace testing::internal

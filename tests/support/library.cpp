#include "support/library.h"

#include "Basic/Memory.h"
#include "Bn/model/Tables.h"

namespace bravic::testing {

// The answers that failing calls share grow on demand and live until close: made large enough beforehand, they do
// not disturb the count.
static constexpr int LARGEST_SHARED_ANSWER = 1024;

void LibraryTest::SetUp() {
  char message[MESG_LEN_ns];
  env = NewBravicEnviron_bn();
  ASSERT_NE(env, nullptr);
  ASSERT_EQ(InitBravic_bn(env, message), 0) << message;
  SharedOnes(LARGEST_SHARED_ANSWER);
  SharedOneThenZeros(LARGEST_SHARED_ANSWER);
  usedBefore_ = MemoryUsed();
}

void LibraryTest::TearDown() {
  if (!env) return;
  EXPECT_EQ(Reports(), "") << "left unread by the test";
  EXPECT_EQ(MemoryUsed(), usedBefore_) << "bytes in use before and after the test";
  char message[MESG_LEN_ns];
  EXPECT_EQ(CloseBravic_bn(env, message), 0) << message;
}

std::string LibraryTest::Reports(int danger) {
  std::string all;
  for (report_ns report = GetError_ns(env, danger, nullptr); report; report = GetError_ns(env, danger, report)) {
    all += std::to_string(ErrorDanger_ns(report)) + " " + std::to_string(ErrorNumber_ns(report)) + " " +
           ErrorMessage_ns(report) + "\n";
  }
  ClearErrors_ns(env, 6);
  return all;
}

}  // namespace bravic::testing

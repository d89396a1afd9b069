#include "Basic/Memory.h"

#include <gmock/gmock.h>

#include <cstring>
#include <vector>

#include "Basic/Environ.h"
#include "support/library.h"
#include "support/random.h"

namespace bravic::testing {
namespace {

int requests, refuseFrom, refuseTo;  // requests refused: refuseFrom .. refuseTo - 1
std::size_t refuseAbove;

bool RefuseSome(std::size_t nbytes) {
  const int request = requests++;
  return (request < refuseFrom || request >= refuseTo) && nbytes <= refuseAbove;
}

class MemoryTest : public LibraryTest {
 protected:
  void RefuseRequests(int from, int to, std::size_t above = static_cast<std::size_t>(-1)) {
    requests = 0;
    refuseFrom = from;
    refuseTo = to;
    refuseAbove = above;
    SetHeapGate(RefuseSome);
  }
  void TearDown() override {
    SetHeapGate(nullptr);
    LibraryTest::TearDown();
  }
};

TEST_F(MemoryTest, KnowsItsBlocksAndTheirBytesThroughAnySequence) {
  struct Known {
    char* block;
    std::size_t size;
    char fill;
  };
  Random random(11);
  std::vector<Known> blocks;
  const std::size_t before = MemoryUsed();
  std::size_t used = 0;
  for (int step = 0; step < 20000; ++step) {
    const auto size = static_cast<std::size_t>(random.Between(1, 300));
    const char fill = static_cast<char>(random.Below(100));
    Known known{nullptr, 0, 0};
    if (!blocks.empty() && random.Chance(step < 10000 ? 0.3 : 0.6)) {
      std::swap(blocks[static_cast<std::size_t>(random.Below(static_cast<int>(blocks.size())))], blocks.back());
      known = blocks.back();
      blocks.pop_back();
      used -= known.size;
    }
    if (known.block && random.Chance(0.5)) {
      Free(known.block);
      ASSERT_FALSE(IsLiveBlock(known.block));
    } else {
      char* block = static_cast<char*>(Resize(known.block, size));
      for (std::size_t i = 0; i < std::min(size, known.size); ++i) ASSERT_EQ(block[i], known.fill);
      std::memset(block, fill, size);
      blocks.push_back({block, size, fill});
      used += size;
    }
    ASSERT_EQ(MemoryUsed() - before, used) << "step " << step;
  }
  ASSERT_GT(blocks.size(), 1000u);
  void* nothing = Allocate(0);
  EXPECT_EQ(BlockSize(nothing), 1u);
  EXPECT_EQ(Resize(nothing, 0), nullptr);
  for (const Known& known : blocks) {
    ASSERT_TRUE(IsLiveBlock(known.block));
    ASSERT_FALSE(IsLiveBlock(known.block + 8));
    ASSERT_EQ(BlockSize(known.block), known.size);
    ASSERT_EQ(known.block[known.size - 1], known.fill);
    Free(known.block);
  }
}

TEST_F(MemoryTest, ReserveStepsInAndIsTakenAgain) {
  // Both forms give the reserve back for a block that could not be had otherwise.
  char* text = static_cast<char*>(Allocate(4));
  std::memcpy(text, "abc", 4);
  RefuseRequests(0, 1);
  text = static_cast<char*>(Resize(text, 70000));
  SetHeapGate(nullptr);
  EXPECT_STREQ(text, "abc");
  EXPECT_EQ(BlockSize(text), 70000u);
  EXPECT_FALSE(HasReserve());
  Free(text);
  EXPECT_EQ(Reports(), "4 2044 Dangerously low on memory. (70000)\n");
  void* other = Allocate(10);
  RefuseRequests(0, 1);
  void* block = Allocate(5000);
  ASSERT_NE(block, nullptr);
  EXPECT_FALSE(HasReserve());
  EXPECT_EQ(MemoryState(), MEMORY_LOW);

  RefuseRequests(0, 0);
  EXPECT_EQ(TryAllocate(8), nullptr);
  EXPECT_EQ(TryAllocateCleared(1, 8), nullptr);
  EXPECT_EQ(TryResize(block, 9000), block);
  EXPECT_EQ(requests, 0) << "the heap was asked while the reserve was gone";
  EXPECT_EQ(MemoryState(), MEMORY_RESIZE_FAILED);
  EXPECT_EQ(BlockSize(block), 5000u);

  EXPECT_EQ(SeedRandom_ns(1, env), -1);
  EXPECT_EQ(Reports(),
            "4 2043 Dangerously low on memory. (5000)\n"
            "5 5250 SeedRandom_ns: Not enough free memory to call SeedRandom_ns\n"
            "4 5114 API function SeedRandom_ns is calling API function GetError_ns\n");

  SetHeapGate(nullptr);
  Free(block);
  EXPECT_TRUE(HasReserve());
  Free(other);
  EXPECT_EQ(SeedRandom_ns(1, env), 0);
}

TEST_F(MemoryTest, FailedOptionalRequestsLeaveThingsAsTheyWere) {
  void* block = Allocate(16);
  const std::size_t used = MemoryUsed();
  RefuseRequests(0, 100);
  EXPECT_EQ(TryAllocate(100), nullptr);
  EXPECT_EQ(TryResize(block, 100), nullptr);
  EXPECT_EQ(MemoryState(), MEMORY_RESIZE_FAILED);
  EXPECT_TRUE(IsLiveBlock(block));
  EXPECT_EQ(MemoryUsed(), used);
  EXPECT_EQ(TryEnsureSizeDiscarding(block, 17), nullptr);
  EXPECT_FALSE(IsLiveBlock(block));
  EXPECT_EQ(MemoryUsed(), used - 16);
}

TEST_F(MemoryTest, BlocksAreMadeLargeEnough) {
  for (void* none : {static_cast<void*>(nullptr), Naddr()}) {
    EXPECT_EQ(Resize(none, 0), nullptr);
    EXPECT_EQ(TryResize(none, 0), nullptr);
    EXPECT_EQ(BlockSize(none), 0u);
  }
  char* block = static_cast<char*>(EnsureSize(nullptr, 0));
  EXPECT_EQ(BlockSize(block), 1u);
  *block = 'a';
  block = static_cast<char*>(EnsureSize(block, 70000));
  EXPECT_EQ(EnsureSize(block, 5), block);
  EXPECT_EQ(*block, 'a');
  for (const auto ensure : {EnsureSizeDiscarding, TryEnsureSizeDiscarding}) {
    EXPECT_EQ(ensure(block, 70000), block);
    block = static_cast<char*>(ensure(block, BlockSize(block) + 1));
    EXPECT_GT(BlockSize(block), 70000u);
    void* fresh = ensure(nullptr, 3);
    EXPECT_EQ(BlockSize(fresh), 3u);
    EXPECT_EQ(TryResize(fresh, 0), nullptr);
  }
  block = static_cast<char*>(TryResize(block, 2));
  EXPECT_EQ(BlockSize(block), 2u);
  Free(block);
  Free(TryResize(nullptr, 7));
}

TEST_F(MemoryTest, OverlargeSizesNeverReachTheHeap) {
  RefuseRequests(0, 0);
  const std::size_t top = static_cast<std::size_t>(-1);
  EXPECT_EQ(TryAllocate(top), nullptr);
  EXPECT_EQ(TryAllocate(top - 4), nullptr);
  EXPECT_EQ(TryAllocateCleared(top / 2, 3), nullptr);
  EXPECT_EQ(TryMakeBlock<double>(top / 4), nullptr);
  EXPECT_EQ(requests, 0);
}

TEST_F(MemoryTest, StaysRightWhenTheRegistryCannotGrow) {
  RefuseRequests(0, 0, 1000);  // of large requests, among them the registry's
  std::vector<void*> blocks;
  while (void* block = TryAllocate(16)) blocks.push_back(block);
  EXPECT_GT(blocks.size(), 200u);
  for (void* block : blocks) ASSERT_TRUE(IsLiveBlock(block));
  Free(blocks.back());
  blocks.back() = TryAllocate(16);
  EXPECT_NE(blocks.back(), nullptr);
  for (void* block : blocks) Free(block);
}

template <std::size_t ALIGNMENT>
void ExpectAligned() {
  struct alignas(ALIGNMENT) Object {
    char bytes[3 * ALIGNMENT];
  };
  std::vector<Owned<Object>> objects;
  for (int i = 0; i < 50; ++i) {
    objects.push_back(MakeOwned<Object>());
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(objects.back().get()) % ALIGNMENT, 0u);
    std::memset(objects.back()->bytes, i, sizeof objects.back()->bytes);
  }
}

TEST_F(MemoryTest, ObjectsStandWhereTheyWantTo) {
  const std::size_t before = MemoryUsed();
  ExpectAligned<8>();
  ExpectAligned<16>();
  ExpectAligned<128>();
  EXPECT_EQ(MemoryUsed(), before);
}

TEST_F(MemoryTest, FreeingTwiceIsNoticedAndHarmless) {
  void* block = Allocate(40);
  Free(block);
  const std::size_t used = MemoryUsed();
  Free(block);
  EXPECT_THAT(Reports(), ::testing::AllOf(::testing::StartsWith("6 111 Memory.cpp-"),
                                          ::testing::EndsWith(" (IsLiveBlock(mp)).\n")));
  EXPECT_EQ(MemoryUsed(), used);
}

using MemoryDeathTest = MemoryTest;

TEST_F(MemoryDeathTest, EndsTheProcessWhenEvenTheReserveDoesNotHelp) {
  EXPECT_EXIT(
      {
        RefuseRequests(0, 2);
        Allocate(123456);
      },
      ::testing::ExitedWithCode(1), "\n\\*+\nOut of memory \\(123456 bytes needed\\) \\(error 2103\\)\n\\*+\n");
}

}  // namespace
}  // namespace bravic::testing

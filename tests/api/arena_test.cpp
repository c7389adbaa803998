#include "base/arena.h"

#include <cstring>
#include <gtest/gtest.h>

namespace wbx {
namespace {

u8* take(Arena& arena, i64 size) {
  return static_cast<u8*>(arena.allocate(size));
}

TEST(Arena, RefusesSizesThatAreNone) {
  Arena arena(64);
  EXPECT_EQ(arena.allocate(0), nullptr);
  EXPECT_EQ(arena.allocate(-1), nullptr);
  EXPECT_EQ(arena.allocate(i64{1} << 31), nullptr);
  EXPECT_EQ(arena.allocateArray<u64>(0), nullptr);
  EXPECT_EQ(arena.allocateArray<u64>(i64{1} << 28), nullptr);
  EXPECT_EQ(arena.allocateArray<u64>(i64{1} << 61), nullptr) << "the product must not wrap";
}

TEST(Arena, PacksRequestsAlignedForPointers) {
  Arena arena(64);
  u8* first = take(arena, 1);
  u8* second = take(arena, 9);
  u8* third = take(arena, 8);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(first) % alignof(void*), 0u);
  EXPECT_EQ(second - first, 8);
  EXPECT_EQ(third - second, 16);
}

TEST(Arena, AbandonsTheRestOfABlockAndGrowsByAQuarter) {
  Arena arena(64);
  u8* first = take(arena, 40);
  u8* second = take(arena, 32);  // opens a block of 80
  EXPECT_NE(second, first + 40);
  EXPECT_EQ(take(arena, 16), second + 32) << "the rest of the first block is not looked at again";
  EXPECT_EQ(take(arena, 32), second + 48);
  u8* third = take(arena, 8);  // opens a block of 100: 12 requests of 8
  for (int i = 1; i < 12; ++i) EXPECT_EQ(take(arena, 8), third + 8 * i);
  EXPECT_NE(take(arena, 8), third + 96);
}

TEST(Arena, GivesALargeRequestABlockOfItsOwnSize) {
  Arena arena(64);
  u8* large = take(arena, 1001);  // a block of 1008, with nothing left
  std::memset(large, 1, 1001);
  u8* next = take(arena, 1000);  // a block of 1260
  EXPECT_EQ(take(arena, 256), next + 1000);
  EXPECT_NE(take(arena, 1), next + 1256);
}

TEST(Arena, CanBeUsedAgainAfterEverythingWasFreed) {
  Arena arena(16);
  arena.freeAll();
  ASSERT_NE(take(arena, 100), nullptr);
  arena.freeAll();
  arena.freeAll();
  u8* again = take(arena, 100);
  ASSERT_NE(again, nullptr);
  std::memset(again, 1, 100);
  EXPECT_EQ(take(arena, 16), again + 104) << "the grown block size stays";
  arena.reset(16);
  u8* small = take(arena, 16);
  EXPECT_NE(take(arena, 8), small + 16);
}

}  // namespace
}  // namespace wbx

// The memory of an open image: the arena, the tables and trees that exist where they were touched.
#include <array>
#include <cstring>
#include <gtest/gtest.h>

#include "base/arena.h"
#include "robust/support.h"
#include "stream/stream.h"
#include "tier2/data_chunk.h"
#include "tier2/packet_bit_reader.h"
#include "tier2/paged_table.h"
#include "tier2/tag_tree.h"

namespace wbx {
namespace {

u8* take(Arena& arena, i64 size) {
  return static_cast<u8*>(arena.allocate(size));
}

TEST(Arena, RefusesSizesThatAreNone) {
  Arena arena(64);
  for (const i64 size : {i64{0}, i64{-1}, i64{1} << 31}) {
    EXPECT_EQ(arena.allocate(size), nullptr);
    EXPECT_EQ(arena.allocateZeroed(size), nullptr);
  }
  for (const i64 count : {i64{0}, i64{1} << 28, i64{1} << 61})  // the product must not wrap
    EXPECT_EQ(arena.allocateArray<u64>(count), nullptr);
}

TEST(Arena, PacksRequestsAndGrowsByAQuarter) {
  Arena arena(64);
  u8* first = take(arena, 1);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(first) % alignof(void*), 0u);
  EXPECT_EQ(take(arena, 9), first + 8);
  EXPECT_EQ(take(arena, 8), first + 24);
  u8* second = take(arena, 40);  // opens a block of 80; the rest of the first is left
  EXPECT_EQ(take(arena, 8), second + 40);
  u8* large = take(arena, 1001);  // a block of its own size
  std::memset(large, 1, 1001);
  u8* next = take(arena, 1000);  // a block of 1260
  EXPECT_EQ(take(arena, 256), next + 1000);
  EXPECT_NE(take(arena, 1), next + 1256);
}

TEST(Arena, CanBeUsedAgainAfterEverythingWasFreed) {
  Arena arena(16);
  take(arena, 100);
  arena.freeAll();
  arena.freeAll();
  u8* again = take(arena, 100);
  EXPECT_EQ(take(arena, 16), again + 104) << "the grown block size stays";
  arena.reset(16);
  u8* small = take(arena, 16);
  EXPECT_NE(take(arena, 8), small + 16);
}

TEST(Arena, LargeZeroedPiecesLeaveTheCurrentBlockAlone) {
  const test::CountedMemory memory(test::CountedMemory::kNever, false, false);
  Arena arena(1 << 20);
  u8* before = take(arena, 8);
  std::memset(before, 0xFF, 8);
  const auto* zeros = static_cast<u8*>(arena.allocateZeroed(1 << 17));
  for (int i = 0; i < 1 << 17; ++i) ASSERT_EQ(zeros[i], 0);
  EXPECT_EQ(take(arena, 8), before + 8);
  std::memset(take(arena, 64), 0xFF, 64);
  arena.reset(1 << 20);
  EXPECT_NE(arena.allocateZeroed(1 << 17), nullptr);  // the first of all
  EXPECT_NE(take(arena, 8), nullptr);
  EXPECT_NE(arena.allocateZeroed(1 << 17), nullptr);
  EXPECT_NE(take(arena, 2 << 20), nullptr);
  arena.freeAll();
  EXPECT_EQ(memory.alive(), 0);
}

TEST(DataChunk, KeepsLengthsOfAnySize) {
  std::array<u8, 64> room = {};
  for (const u32 length : {0u, 31u, 32u, 64u, 8191u, 8192u, DataChunk::kLengthLimit - 1}) {
    auto* chunk = new (room.data()) DataChunk;
    chunk->initialise(length, DataChunk::Storage::kReference, 1);
    chunk->setPosition(0xFEDCBA98);
    EXPECT_EQ(chunk->length(), length);
    EXPECT_EQ(chunk->position(), 0xFEDCBA98);
  }
}

TEST(PagedTable, KeepsEachRecordApartAtEverySize) {
  for (const u32 count : {1u, 7u, 8u, 9u, 257u, 8193u}) {
    Arena arena(1000);
    PagedTable<u32> table;
    table.setCount(count);
    for (u32 i = 0; i < count; ++i) *table.obtain(i, arena) += i + 1;
    for (u32 i = 0; i < count; ++i) ASSERT_EQ(*table.find(i), i + 1);
  }
}

TEST(PagedTable, ReachesTheFarEndOfTheLargestGrid) {
  Arena arena(1000);
  PagedTable<u32, 0> table;
  table.setCount(0xFFFE0001);
  EXPECT_EQ(table.nextTouched(0), table.count());
  for (const u32 index : {0xFFFE0000u, 1000003u, 1000000u}) *table.obtain(index, arena) = index;
  EXPECT_EQ(table.find(0xFFFDFFFF), nullptr);
  EXPECT_EQ(table.nextTouched(0), 1000000u);
  EXPECT_EQ(table.nextTouched(1000001), 1000003u);
  EXPECT_EQ(table.nextTouched(1000004), 0xFFFE0000);
  EXPECT_EQ(*table.find(0xFFFE0000), 0xFFFE0000);
}

// 2^30 leaves, of which each packet's bits settle the most in one stroke.
TEST(TagTree, CostsNoMoreThanItsBits) {
  const std::vector<u8> bytes(200000, 0);
  MemoryStream stream;
  stream.open(bytes.data(), static_cast<u32>(bytes.size()));
  PacketBitReader reader;
  reader.attach(stream);
  reader.beginHeader();
  Arena arena(1000);
  TagTree tree;
  for (u32 layer = 0; layer < 60000; ++layer) {
    InclusionWalk walk(tree, 1u << 15, 1u << 15, layer, reader, arena);
    ASSERT_EQ(walk.next(), nullptr);
  }
  reader.align(0, 0);
  EXPECT_EQ(stream.tell(), 60000u / 8);
  EXPECT_EQ(tree.block(0, (1u << 15) - 1), nullptr);
}

}  // namespace
}  // namespace wbx

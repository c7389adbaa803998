#include "tier2/data_chunk.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <new>
#include <numeric>

#include "base/arena.h"

namespace wbx {
namespace {

using Storage = DataChunk::Storage;

constexpr i64 kFixed = static_cast<i64>(sizeof(DataChunk*)) + 2;

DataChunk* make(Arena& arena, u32 length, Storage storage, u8 passes) {
  void* record = arena.allocate(DataChunk::recordSize(length, storage));
  DataChunk* chunk = new (record) DataChunk;
  chunk->initialise(length, storage, passes);
  return chunk;
}

TEST(DataChunk, SizeFieldGrowsWithTheLength) {
  EXPECT_EQ(DataChunk::recordSize(31, Storage::kInline), kFixed + 31);
  EXPECT_EQ(DataChunk::recordSize(32, Storage::kInline), kFixed + 1 + 32);
  EXPECT_EQ(DataChunk::recordSize(8191, Storage::kInline), kFixed + 1 + 8191);
  EXPECT_EQ(DataChunk::recordSize(8192, Storage::kInline), kFixed + 2 + 8192);
  EXPECT_GE(DataChunk::recordSize(0, Storage::kInline), i64{sizeof(DataChunk)});
}

TEST(DataChunk, KeepsWhatItWasGivenInEveryShape) {
  Arena arena(100);
  for (Storage storage : {Storage::kInline, Storage::kReference, Storage::kDetached}) {
    for (u32 length : {0u, 1u, 31u, 32u, 64u, 65u, 8191u, 8192u, (1u << 21) - 1}) {
      DataChunk* chunk = make(arena, length, storage, 127 | DataChunk::kEndsSegment);
      EXPECT_EQ(chunk->length(), length);
      EXPECT_EQ(chunk->storage(), storage);
      EXPECT_EQ(chunk->passes(), 127);
      EXPECT_TRUE(chunk->endsSegment());
      EXPECT_EQ(chunk->next(), nullptr);
    }
  }
}

TEST(DataChunk, PayloadLeavesTheOtherFieldsAlone) {
  Arena arena(100);
  DataChunk* before = make(arena, 0, Storage::kInline, 1);
  DataChunk* inlined = make(arena, 8192, Storage::kInline, 3);
  DataChunk* reference = make(arena, 8191, Storage::kReference, 4);
  inlined->setNext(before);
  std::iota(inlined->data(), inlined->data() + 8192, u8{0});
  reference->setPosition(0xFEDCBA98);
  EXPECT_EQ(inlined->next(), before);
  EXPECT_EQ(inlined->length(), 8192u);
  EXPECT_EQ(inlined->data()[8191], 0xFF);
  EXPECT_FALSE(inlined->endsSegment());
  EXPECT_EQ(reference->length(), 8191u);
  EXPECT_EQ(reference->position(), 0xFEDCBA98u);
  EXPECT_EQ(reference->next(), nullptr);
}

TEST(DataChunk, DetachedChunkPointsToItsBytes) {
  Arena arena(100);
  u8 bytes[70] = {1, 2, 3};
  DataChunk* chunk = make(arena, 70, Storage::kDetached, 1);
  EXPECT_EQ(chunk->data(), nullptr);
  chunk->setData(bytes);
  EXPECT_EQ(chunk->data(), bytes);
  EXPECT_EQ(chunk->length(), 70u);
}

TEST(DataChunk, CutsButNeverGrows) {
  Arena arena(100);
  for (Storage storage : {Storage::kInline, Storage::kDetached}) {
    DataChunk* chunk = make(arena, 9000, storage, 1);
    const u8* data = chunk->data();
    chunk->cutTo(9001);
    EXPECT_EQ(chunk->length(), 9000u);
    chunk->cutTo(33);
    EXPECT_EQ(chunk->length(), 33u);
    EXPECT_EQ(chunk->data(), data);
    chunk->cutTo(0);
    EXPECT_EQ(chunk->length(), 0u);
  }
}

}  // namespace
}  // namespace wbx

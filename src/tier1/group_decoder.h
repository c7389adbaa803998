// GroupDecoder: decodes code blocks eight at a time.
#pragma once

#include <algorithm>
#include <span>

#include "base/types.h"
#include "stream/stream.h"
#include "tier1/block_decoder.h"
#include "tier1/group_passes.h"
#include "tier1/segment_reader.h"

namespace wbx {

// Takes code blocks of the components of a tile, and decodes them in groups. The blocks of
// a group, its members, run through their passes in step, each in its element of the vector
// registers, so a group is put together from blocks of about the same number of passes and bytes.
// It takes blocks of every style, but none with a region of interest, nor segments that end inside
// a block from a source that is not in memory; BlockDecoder takes those.
class GroupDecoder {
 public:
  static constexpr i32 kCapacity = 256;
  static constexpr i32 kMembers = GroupWord::kMembers;
  // What a group costs, in the bytes of blocks that are decoded one by one in the same time: so
  // many times those of its largest block, and a byte for so many samples that a pass walks over.
  // It pays if its blocks have as many bytes.
  static constexpr i64 kLargestTimes = 2;
  static constexpr i64 kSamplesForByte = 16;

  explicit GroupDecoder(Arena& arena) : segment_(arena) {}
  ~GroupDecoder();
  GroupDecoder(const GroupDecoder&) = delete;
  GroupDecoder& operator=(const GroupDecoder&) = delete;

  // The passes to use; null when the processor has none.
  void setPasses(const GroupPasses* passes) { passes_ = passes; }
  enum class Taken { kYes, kNo, kOutOfMemory };
  // Takes a block, unless it is one for BlockDecoder. Bytes that are not in memory are read now, so
  // that a source is read in the order of its blocks.
  [[nodiscard]] Taken take(const BlockTask& task, Stream& stream);
  [[nodiscard]] bool isEmpty() const { return count_ == 0; }
  [[nodiscard]] bool isFull() const { return count_ == kCapacity || fetchedBytes_ >= kFetchLimit; }
  void clear() {
    count_ = 0;
    fetchedBytes_ = 0;
  }

  // Decodes all blocks taken, those for which a group does not pay with `single`, and hands each to
  // sink(band, decoded). Before each group `stop` is asked; when it says so the rest is forgotten.
  // Returns 0, or 2 when memory runs out.
  template <class Stop, class Sink>
  [[nodiscard]] i32 decodeAll(BlockDecoder& single, Stream& stream, Stop stop, Sink sink);

 private:
  static constexpr i64 kFetchLimit = 1 << 20;

  struct Block {
    BlockTask task;
    i32 passes = 0;
    i32 firstPlane = 0;
    u32 bytes = 0;
    i64 fetched = -1;          // where its bytes begin among those fetched; below 0: in its chunks
    bool ownSegments = false;  // each of its chunks ends one

    [[nodiscard]] i32 mostSegments() const { return ownSegments ? passes : 1; }
    [[nodiscard]] i32 lastPlane() const { return firstPlane - (passes + 1) / 3; }
  };

  // A codeword segment, unstuffed.
  struct Segment {
    static constexpr u64 kNoEnd = ~u64{0};

    const u8* bits;
    const u64* borrows;
    u64 length;
    // Where the bits of its last byte begin: a pass that gets there is the last one in the segment.
    // kNoEnd: the segment goes on to the end of the block.
    u64 lastByte;
  };
  static const Segment kNoSegment;

  [[nodiscard]] bool fetch(Block& block, Stream& stream);
  [[nodiscard]] std::span<const u8> fetchedBytes(const Block& block) const {
    return {fetched_ + block.fetched, block.bytes};
  }
  // Puts blocks that go well together next to each other, the largest first.
  void sort();
  [[nodiscard]] static bool paysTogether(const Block* blocks, i32 count);
  [[nodiscard]] i32 decodeSingle(const Block& block, BlockDecoder& single, Stream& stream) const;
  [[nodiscard]] i32 decodeGroup(const Block* blocks, i32 count, Stream& stream);
  // One block of the last group.
  [[nodiscard]] DecodedBlock result(const Block& block, i32 member);
  [[nodiscard]] i32 stripePitch() const;
  [[nodiscard]] bool layOut(const Block* blocks, i32 count);
  [[nodiscard]] bool ensure(i64 bytes);
  void markRealSamples(const Block* blocks, i32 count);
  void unstuff(const Block& block, i32 member, Stream& stream);
  void beginSegments(u32 members);
  [[nodiscard]] u32 atSegmentEnd(u32 members) const;
  void runPass(i32 pass, u32 members);
  [[nodiscard]] GroupWord* words(i32 array) const { return memory_ + array * arrayWords_; }

  const GroupPasses* passes_ = nullptr;
  SegmentReader segment_;
  GroupState state_;
  Block blocks_[kCapacity];
  i32 count_ = 0;
  void* allocation_ = nullptr;
  GroupWord* memory_ = nullptr;  // its aligned part, for all of the following
  i64 size_ = 0;
  i64 arrayWords_ = 0;
  GroupWord* ones_ = nullptr;  // an array for each plane
  u8* bits_ = nullptr;
  u64* borrows_ = nullptr;
  Segment* segments_ = nullptr;
  const Segment* nextSegment_[kMembers] = {};
  u32* quads_ = nullptr;
  u8* fetched_ = nullptr;
  i64 fetchedBytes_ = 0;
};

template <class Stop, class Sink>
i32 GroupDecoder::decodeAll(BlockDecoder& single, Stream& stream, Stop stop, Sink sink) {
  sort();
  const i32 count = count_;
  clear();
  for (i32 first = 0; first < count && !stop(); first += kMembers) {
    const Block* blocks = blocks_ + first;
    const i32 size = std::min(count - first, kMembers);
    const bool together = paysTogether(blocks, size);
    i32 code = together ? decodeGroup(blocks, size, stream) : 0;
    for (i32 i = 0; i < size && code == 0; ++i) {
      if (!together) code = decodeSingle(blocks[i], single, stream);
      if (code == 0) sink(*blocks[i].task.band, together ? result(blocks[i], i) : single.result());
    }
    if (code != 0) return code;
  }
  return 0;
}

}  // namespace wbx

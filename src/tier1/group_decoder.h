// GroupDecoder: decodes code blocks eight at a time.
#pragma once

#include "base/types.h"
#include "image/coding_style.h"
#include "stream/stream.h"
#include "tier1/block_decoder.h"
#include "tier1/group_passes.h"
#include "tier1/segment_reader.h"
#include "tier2/tile.h"

namespace wbx {

// Collects code blocks of the subbands of a tile-component, and decodes them in groups. The blocks
// of a group, its members, run through their passes in step, each in its element of the vector
// registers, so a group is put together from blocks of about the same number of passes and bytes.
// It takes blocks with the default style and without a region of interest, which is nearly every
// block there is; BlockDecoder takes all others.
class GroupDecoder {
 public:
  static constexpr i32 kMaxBands = 3 * kMaxResolutions - 2;
  static constexpr i32 kCapacity = 128;
  static constexpr i32 kMembers = GroupWord::kMembers;
  // Fewer blocks than this are done sooner one by one.
  static constexpr i32 kWorthwhile = 3;

  explicit GroupDecoder(Arena& arena) : segment_(arena) {}
  ~GroupDecoder();
  GroupDecoder(const GroupDecoder&) = delete;
  GroupDecoder& operator=(const GroupDecoder&) = delete;

  // The passes to use; null when the processor has none.
  void setPasses(const GroupPasses* passes) { passes_ = passes; }
  // Describes one of the subbands, by a number of its own.
  void setBand(i32 number, const BlockDecoder::Band& band, u8 orientation);

  enum class Taken { kYes, kNo, kOutOfMemory };
  // Takes a block of the subband into the collection, unless it is one for BlockDecoder. Bytes that
  // are not in memory are read now, so that a source is read in the order of its blocks.
  [[nodiscard]] Taken take(i32 number, const CodeBlock& block, const Rect& rect, Stream& stream);
  [[nodiscard]] bool isEmpty() const { return count_ == 0; }
  [[nodiscard]] bool isFull() const { return count_ == kCapacity || fetchedBytes_ >= kFetchLimit; }
  void clear() {
    count_ = 0;
    fetchedBytes_ = 0;
  }

  // Decodes all blocks taken, those of too small a group with `single`, and hands each result to
  // sink(band, rect, quads, stripePitch, lastPlane), the last three as BlockDecoder gives them;
  // the quads stay for the length of the call. Returns 0, or 2 when memory runs out.
  template <class Sink>
  [[nodiscard]] i32 decodeAll(BlockDecoder& single, Stream& stream, Sink sink);

 private:
  static constexpr i64 kFetchLimit = 1 << 20;

  struct Band {
    BlockDecoder::Band band;
    const GroupZeroCoding* zeroCoding = nullptr;
  };
  struct Block {
    const CodeBlock* source = nullptr;
    Rect rect;
    i32 band = 0;
    i32 passes = 0;
    i32 firstPlane = 0;
    u32 bytes = 0;
    i64 fetched = -1;  // where its bytes begin among those fetched; below 0: in its chunks

    [[nodiscard]] i32 lastPlane() const { return firstPlane - (passes + 1) / 3; }
  };

  [[nodiscard]] bool fetch(Block& block, Stream& stream);
  // Puts blocks that go well together next to each other.
  void sort();
  [[nodiscard]] i32 decodeGroup(const Block* blocks, i32 count, Stream& stream);
  // The quads of one block of the last group.
  [[nodiscard]] const u32* collect(const Block& block, i32 member);
  [[nodiscard]] i32 stripePitch() const;
  [[nodiscard]] bool layOut(const Block* blocks, i32 count);
  [[nodiscard]] bool ensure(i64 bytes);
  void markRealSamples(const Block* blocks, i32 count);
  void unstuff(const Block& block, i32 member, Stream& stream);
  [[nodiscard]] GroupWord* words(i32 array) const { return memory_ + array * arrayWords_; }

  const GroupPasses* passes_ = nullptr;
  Band bands_[kMaxBands];
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
  u32* quads_ = nullptr;
  u8* fetched_ = nullptr;
  i64 fetchedBytes_ = 0;
};

template <class Sink>
i32 GroupDecoder::decodeAll(BlockDecoder& single, Stream& stream, Sink sink) {
  sort();
  const i32 count = count_;
  const bool fetched = fetchedBytes_ > 0;
  clear();
  // What is left over from full groups, if anything, are the smallest ones, and they go first.
  i32 size = count % kMembers;
  for (i32 first = 0; first < count; first += size, size = kMembers) {
    if (size == 0) continue;
    const Block* blocks = blocks_ + first;
    const bool together = size >= kWorthwhile || fetched;
    if (together) {
      const i32 code = decodeGroup(blocks, size, stream);
      if (code != 0) return code;
    }
    for (i32 i = 0; i < size; ++i) {
      const Block& block = blocks[i];
      if (together) {
        sink(block.band, block.rect, collect(block, i), stripePitch(), block.lastPlane());
        continue;
      }
      single.setBand(bands_[block.band].band);
      single.prepare(block.rect.width(), block.rect.height());
      const i32 code = single.decode(*block.source, stream);
      if (code != 0) return code;
      sink(block.band, block.rect, single.quad(0, 0), single.stripePitch(), single.lastPlane());
    }
  }
  return 0;
}

}  // namespace wbx

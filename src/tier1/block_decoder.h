// BlockDecoder: the three coding passes over a code block (T.800 D).
#pragma once

#include <span>

#include "base/arena.h"
#include "base/types.h"
#include "stream/stream.h"
#include "tier1/block_task.h"
#include "tier1/context_tables.h"
#include "tier1/mq_decoder.h"

namespace wbx {

// Turns the chunks of a code block into sign-magnitude coefficients. All arrays are inside the
// object; a decode allocates nothing but, for sources not in memory, a growing fetch buffer.
//
// A block stands in stripes of 4 rows and within a stripe column by column, which is the order in
// which the passes scan it. The 4 samples of one column in one stripe are a quad, the unit of the
// arrays. One margin quad leads each stripe, and a margin stripe stands before the first and
// behind the last, so that every neighbour of a sample has a place and no edge is ever tested:
//
//      position = 4 * (quadPitch * (1 + (y >> 2)) + 1 + x) + (y & 3)
//
// Beside the quads there are bit masks of the samples' states, 16 quads to a word, with a zero
// word between stripes. A pass works out from them, word by word, where it has work, and jumps
// from set bit to set bit.
class BlockDecoder {
 public:
  static constexpr i32 kMaxWidth = 128;
  static constexpr i32 kMaxHeight = 64;

  explicit BlockDecoder(Arena& arena) : source_(arena) {}

  // Runs all passes of the block. Returns 0, or 2 when the fetch buffer could not be had; bad data
  // gives bad samples and no code.
  [[nodiscard]] i32 decode(const BlockTask& task, Stream& stream);
  // The same for a block whose bytes, those of one codeword segment, are in memory already.
  [[nodiscard]] i32 decode(const BlockTask& task, std::span<const u8> bytes);

  // The block decoded last.
  [[nodiscard]] DecodedBlock result() const {
    return {task_.rect, coefficients_ + 4 * (quadPitch_ + 1), 4 * quadPitch_, lastPlane_};
  }

 private:
  static constexpr i32 kMaxStripes = kMaxHeight / 4;
  static constexpr i32 kMaxQuads = (kMaxStripes + 2) * (kMaxWidth + 1) + 1;
  static constexpr i32 kMaxPositions = 4 * kMaxQuads;
  static constexpr i32 kQuadsInWord = 16;
  static constexpr i32 kMaxWords = (kMaxStripes + 2) * (kMaxWidth / kQuadsInWord + 1) + 1;

  void prepare(const BlockTask& task);
  void runPasses();
  void runPass(i32 number, u32 plane);
  void shiftRegionBack(u32 shift);

  template <class Body>
  void forEachWord(Body body);
  [[nodiscard]] u64 validMask(i32 stripe, i32 word) const;
  [[nodiscard]] u64 neighbourMask(i32 index) const;

  void significancePass(u32 plane);
  void refinementPass(u32 plane);
  void cleanupPass(u32 plane);
  void checkSegmentationSymbol();
  void resetContexts();

  void decodeSignAndSpread(MqDecoder& mq, i32 position, u32 plane);

  u8 neighbours_[kMaxPositions];  // NeighbourFlag
  i8 signs_[kMaxPositions];       // 1, -1, or 0 while not significant
  u32 coefficients_[kMaxPositions];
  // 4 bits a quad, row 0 lowest.
  u64 significant_[kMaxWords];
  u64 visited_[kMaxWords];  // by the significance pass of the current plane
  u64 refined_[kMaxWords];  // refined at least once
  MqRow contexts_[kContextCount];
  MqSource source_;
  MqDecoder mq_;
  BlockTask task_;
  const ZeroCodingTable* zeroCodingTable_ = &kZeroCodingLL;
  i32 stripes_ = 0;
  i32 quadPitch_ = 0;
  // From a sample in each row of its stripe to the samples above and below it.
  i32 above_[4] = {0, -1, -1, -1};
  i32 below_[4] = {1, 1, 1, 0};
  i32 wordsAcross_ = 0;
  i32 wordPitch_ = 0;
  u64 lastColumnsMask_ = 0;  // the real columns of the last word of a stripe
  u64 lastRowsMask_ = 0;     // the real rows of the last stripe
  i32 lastPlane_ = 0;
};

}  // namespace wbx

// BlockDecoder: the three coding passes over a code block (T.800 D).
#pragma once

#include "base/arena.h"
#include "base/types.h"
#include "stream/stream.h"
#include "tier1/context_tables.h"
#include "tier1/mq_decoder.h"
#include "tier2/tile.h"

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

  // Set by the engine for each subband.
  struct Band {
    const ZeroCodingTable* zeroCodingTable = &kZeroCodingLL;
    i32 magnitudeBits = 0;  // Mb of T.800 E.1; with roiShift at most 31
    i32 roiShift = 0;
    u8 style = 0;  // the code-block style byte
  };

  explicit BlockDecoder(Arena& arena) : source_(arena) {}

  void setBand(const Band& band) { band_ = band; }
  [[nodiscard]] const Band& band() const { return band_; }

  // Clears the arrays for a block of this size.
  void prepare(i32 width, i32 height);
  // Runs all passes of the block. Returns 0, or 2 when the fetch buffer could not be had; bad data
  // gives bad samples and no code.
  [[nodiscard]] i32 decode(const CodeBlock& block, Stream& stream);

  // The result. Bit 31 of a coefficient is the sign, bits 0 to 30 the magnitude; a magnitude bit
  // decoded in plane p stands at bit p. Each quad holds 4 rows of one column.
  [[nodiscard]] const u32* quad(i32 x, i32 y) const {
    return coefficients_ + 4 * (quadPitch_ * (1 + (y >> 2)) + 1 + x);
  }
  // Values from one stripe to the next.
  [[nodiscard]] i32 stripePitch() const { return 4 * quadPitch_; }
  // Magnitudes of at least 2^shift belong to the region of interest and are moved down to where
  // the background is (T.800 H.1).
  void shiftRegionBack(u32 shift);
  // The plane of the last pass run; 0 when the passes reached the bottom.
  [[nodiscard]] i32 lastPlane() const { return lastPlane_; }

 private:
  static constexpr i32 kMaxStripes = kMaxHeight / 4;
  static constexpr i32 kMaxQuads = (kMaxStripes + 2) * (kMaxWidth + 1) + 1;
  static constexpr i32 kMaxPositions = 4 * kMaxQuads;
  static constexpr i32 kQuadsInWord = 16;
  static constexpr i32 kMaxWords = (kMaxStripes + 2) * (kMaxWidth / kQuadsInWord + 1) + 1;

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
  Band band_;
  i32 width_ = 0, height_ = 0;
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

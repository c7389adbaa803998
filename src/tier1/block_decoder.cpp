#include "tier1/block_decoder.h"

#include <algorithm>
#include <bit>

#include "wbx.h"

#include "base/logger.h"

namespace wbx {
namespace {

constexpr u64 kRow0 = 0x1111111111111111;
constexpr u64 kRow3 = kRow0 << 3;

// For the sample at each bit of a word, its neighbours in the same word; all 8 of them, or only
// those that the scan has yet to reach.
struct AroundTable {
  u64 all[64] = {};
  u64 later[64] = {};

  constexpr AroundTable() {
    for (int bit = 0; bit < 64; ++bit) {
      const int column = bit >> 2, row = bit & 3;
      for (int dx = -1; dx <= 1; ++dx) {
        for (int dy = -1; dy <= 1; ++dy) {
          if (dx == 0 && dy == 0) continue;
          if (column + dx < 0 || column + dx > 15 || row + dy < 0 || row + dy > 3) continue;
          all[bit] |= u64{1} << (4 * (column + dx) + row + dy);
        }
      }
      later[bit] = all[bit] & (~u64{1} << bit);
    }
  }
};

constexpr AroundTable kAround;

// Columns of 4 clear bits, marked at their row 0.
constexpr u64 clearColumns(u64 mask) {
  u64 clear = ~mask;
  clear &= clear >> 1;
  clear &= clear >> 2;
  return clear & kRow0;
}

}  // namespace

// Clears the arrays for a block of this size.
void BlockDecoder::prepare(const BlockTask& task) {
  task_ = task;
  zeroCodingTable_ = &zeroCodingTable(task.band->orientation);
  const i32 width = task.rect.width(), height = task.rect.height();
  stripes_ = (height + 3) >> 2;
  quadPitch_ = width + 1;
  wordsAcross_ = (width + kQuadsInWord - 1) / kQuadsInWord;
  wordPitch_ = wordsAcross_ + 1;
  const i32 columns = width - (wordsAcross_ - 1) * kQuadsInWord;
  lastColumnsMask_ = ~u64{0} >> (64 - 4 * columns);
  const i32 rows = height - (stripes_ - 1) * 4;
  lastRowsMask_ = kRow0 * ((1u << rows) - 1);
  above_[0] = 3 - 4 * quadPitch_;
  below_[3] = 4 * quadPitch_ - 3;
  const auto positions = static_cast<size_t>(4 * ((stripes_ + 2) * quadPitch_ + 1));
  const auto words = static_cast<size_t>((stripes_ + 2) * wordPitch_ + 1);
  std::fill_n(neighbours_, positions, u8{0});
  std::fill_n(signs_, positions, i8{0});
  std::fill_n(coefficients_, positions, 0u);
  std::fill_n(significant_, words, u64{0});
  std::fill_n(visited_, words, u64{0});
  std::fill_n(refined_, words, u64{0});
  lastPlane_ = 0;
  resetContexts();
}

void BlockDecoder::resetContexts() {
  std::fill_n(contexts_, kContextCount, kMqRows[0]);
  contexts_[kContextRunLength] = kMqRows[2 * 3];
  contexts_[kContextZeroCoding] = kMqRows[2 * 4];
  contexts_[kContextUniform] = kMqRows[2 * 46];
}

i32 BlockDecoder::decode(const BlockTask& task, Stream& stream) {
  prepare(task);
  source_.segment.attach(task.block->chunks, stream);
  runPasses();
  return source_.segment.outOfMemory() ? WBX_ERROR_MEMORY : WBX_OK;
}

i32 BlockDecoder::decode(const BlockTask& task, std::span<const u8> bytes) {
  prepare(task);
  source_.segment.attach(bytes);
  runPasses();
  return WBX_OK;
}

void BlockDecoder::runPasses() {
  const CodeBlock& block = *task_.block;
  const BlockBand& band = *task_.band;
  i32 total = 0;
  bool terminated = false;
  for (const DataChunk* chunk = block.chunks; chunk; chunk = chunk->next()) {
    total += chunk->passes();
    terminated = terminated || chunk->endsSegment();
  }
  // A count of missing planes that wrapped its 8 bits is corrupt data: a block without passes.
  if (total == 0 || block.zeroPlanes < 0) return;
  source_.setByteByByte(terminated);

  const i32 firstPlane = band.magnitudeBits + band.roiShift - 1 - block.zeroPlanes;
  bool newSegment = true;
  for (i32 k = 0; k < total; ++k) {
    const i32 plane = firstPlane - (k + 2) / 3;
    lastPlane_ = std::max(plane, 0);
    if (plane < 0) break;
    if (newSegment) mq_.start(source_);
    runPass(block.firstPass + k, static_cast<u32>(plane));
    newSegment = source_.segment.atChunkEnd() && source_.segment.inTerminatedChunk();
    if (newSegment) source_.segment.next();
    if (band.style & kStyleReset) resetContexts();
  }
  if (band.roiShift >= 1 && band.roiShift <= 30) shiftRegionBack(static_cast<u32>(band.roiShift));
}

void BlockDecoder::runPass(i32 number, u32 plane) {
  switch (number % 3) {
    case 0:
      return cleanupPass(plane);
    case 1:
      return significancePass(plane);
    default:
      return refinementPass(plane);
  }
}

// Magnitudes of at least 2^shift belong to the region of interest and are moved down to where the
// background is (T.800 H.1).
void BlockDecoder::shiftRegionBack(u32 shift) {
  const i32 end = 4 * quadPitch_ * (stripes_ + 1);
  for (i32 i = 4 * quadPitch_; i < end; ++i) {
    const u32 sign = coefficients_[i] & 0x80000000, magnitude = coefficients_[i] & 0x7FFFFFFF;
    if (magnitude >> shift) coefficients_[i] = sign | (magnitude >> shift);
  }
}

// Real samples of a word: neither past the width nor past the height of the block.
u64 BlockDecoder::validMask(i32 stripe, i32 word) const {
  return (word == wordsAcross_ - 1 ? lastColumnsMask_ : ~u64{0}) &
         (stripe == stripes_ - 1 ? lastRowsMask_ : ~u64{0});
}

// Samples of a word with at least one significant neighbour among their 8.
u64 BlockDecoder::neighbourMask(i32 index) const {
  const u64* at = significant_ + index;
  // A sample's own row and the rows above and below it, for three adjacent words.
  const auto vertical = [at, this](i32 k) {
    const u64 own = at[k];
    return ((own << 1) & ~kRow0) | ((own >> 1) & ~kRow3) | ((at[k - wordPitch_] >> 3) & kRow0) |
           ((at[k + wordPitch_] << 3) & kRow3);
  };
  const u64 above = vertical(0);
  const u64 column = above | at[0];
  const u64 leftColumn = (vertical(-1) | at[-1]) >> 60;
  const u64 rightColumn = (vertical(1) | at[1]) << 60;
  return above | (column << 4) | (column >> 4) | leftColumn | rightColumn;
}

template <class Body>
void BlockDecoder::forEachWord(Body body) {
  for (i32 stripe = 0; stripe < stripes_; ++stripe) {
    const i32 firstIndex = (stripe + 1) * wordPitch_ + 1;
    const i32 firstPosition = 4 * ((stripe + 1) * quadPitch_ + 1);
    for (i32 word = 0; word < wordsAcross_; ++word) {
      body(firstIndex + word, firstPosition + 4 * word * kQuadsInWord, validMask(stripe, word));
    }
  }
}

// T.800 D.3.2, and the flags that the new sample raises at its 8 neighbours. The flags do not wait
// for the sign: the next context is known while the sign is still being decoded. Nor is there a
// branch on the row, which nothing could foresee.
[[gnu::always_inline]] inline void BlockDecoder::decodeSignAndSpread(MqDecoder& mq, i32 position,
                                                                     u32 plane) {
  const i32 above = above_[position & 3];
  const i32 below = below_[position & 3];
  i8* sign = signs_ + position;
  const u32 entry = kSignTable[signIndex(sign[-4] + sign[4], sign[above] + sign[below])];

  u8* at = neighbours_ + position;
  at[above - 4] |= kSignificantSE;
  at[above] |= kSignificantS;
  at[above + 4] |= kSignificantSW;
  at[-4] |= kSignificantE;
  at[4] |= kSignificantW;
  at[below - 4] |= kSignificantNE;
  at[below] |= kSignificantN;
  at[below + 4] |= kSignificantNW;

  const u32 negative = mq.decode(contexts_[entry & 0x7F], source_) ^ (entry >> 7);
  coefficients_[position] = (1u << plane) | (negative << 31);
  *sign = static_cast<i8>(1 - 2 * static_cast<i32>(negative));
}

// T.800 D.3.1: the insignificant samples that have a significant neighbour by the time the scan
// reaches them.
void BlockDecoder::significancePass(u32 plane) {
  MqDecoder mq = mq_;
  const u8* zeroCoding = zeroCodingTable_->data();
  forEachWord([&](i32 index, i32 firstPosition, u64 valid) {
    u64 significant = significant_[index];
    const u64 insignificant = valid & ~significant;  // those behind the scan still are
    u64 work = neighbourMask(index) & insignificant;
    u64 visited = work;
    while (work != 0) {
      const auto bit = static_cast<u32>(std::countr_zero(work));
      work &= work - 1;
      const i32 position = firstPosition + static_cast<i32>(bit);
      if (mq.decode(contexts_[zeroCoding[neighbours_[position]]], source_)) {
        decodeSignAndSpread(mq, position, plane);
        significant |= u64{1} << bit;
        // Samples behind this one join the pass; those before it wait for the cleanup pass.
        const u64 joined = kAround.later[bit] & insignificant;
        work |= joined;
        visited |= joined;
      }
    }
    significant_[index] = significant;
    visited_[index] = visited;
  });
  mq_ = mq;
}

// T.800 D.3.3: one more bit of every sample that was significant before this plane.
void BlockDecoder::refinementPass(u32 plane) {
  MqDecoder mq = mq_;
  forEachWord([&](i32 index, i32 firstPosition, u64) {
    u64 work = significant_[index] & ~visited_[index];
    if (work == 0) return;
    const u64 refined = refined_[index];
    const u64 firstWithNeighbour = neighbourMask(index) & ~refined;
    refined_[index] = refined | work;
    u32* coefficients = coefficients_ + firstPosition;
    do {
      const auto bit = static_cast<u32>(std::countr_zero(work));
      work &= work - 1;
      const u64 context = ((refined >> bit) & 1) * 2 + ((firstWithNeighbour >> bit) & 1);
      coefficients[bit] |= mq.decode(contexts_[kContextRefinement + context], source_) << plane;
    } while (work != 0);
  });
  mq_ = mq;
}

// T.800 D.3.4: all samples that the other two passes left, with a run-length mode for columns of
// four that have no significant neighbour at all.
void BlockDecoder::cleanupPass(u32 plane) {
  MqDecoder mq = mq_;
  const u8* zeroCoding = zeroCodingTable_->data();
  forEachWord([&](i32 index, i32 firstPosition, u64 valid) {
    u64 significant = significant_[index];
    u64 work = valid & ~significant & ~visited_[index];
    if (work == 0) return;
    // A sample past the bottom of the block counts as neighboured: no run starts in its column.
    u64 neighboured = neighbourMask(index) | ~valid;
    u64 runs = clearColumns(neighboured);
    do {
      auto bit = static_cast<u32>(std::countr_zero(work));
      const bool run = ((runs >> bit) & 1) != 0;
      if (run) {
        const auto end = static_cast<u32>(std::countr_zero((~runs & kRow0) >> bit << bit));
        if (mq.skipZeros(contexts_[kContextRunLength], (end - bit) / 4)) {
          work &= end == 64 ? 0 : ~u64{0} << end;
          continue;
        }
        if (!mq.decodeLikely(contexts_[kContextRunLength], source_)) {
          work &= ~(u64{0xF} << bit);
          continue;
        }
        bit += mq.decode(contexts_[kContextUniform], source_) << 1;
        bit += mq.decode(contexts_[kContextUniform], source_);
      }
      work &= ~u64{1} << bit;  // in a run the rows above it as well
      const i32 position = firstPosition + static_cast<i32>(bit);
      if (!run && !mq.decode(contexts_[zeroCoding[neighbours_[position]]], source_)) continue;
      decodeSignAndSpread(mq, position, plane);
      significant |= u64{1} << bit;
      neighboured |= kAround.all[bit];
      runs = clearColumns(neighboured);
    } while (work != 0);
    significant_[index] = significant;
  });
  mq_ = mq;
  if (task_.band->style & kStyleSegsym) checkSegmentationSymbol();
}

// T.800 D.5. A wrong symbol is only told.
void BlockDecoder::checkSegmentationSymbol() {
  u32 symbol = 0;
  for (int i = 0; i < 4; ++i)
    symbol = (symbol << 1) | mq_.decode(contexts_[kContextUniform], source_);
  if (symbol != 10) logger.writeStamped(" WARNING: bad segmentation symbol '%X'!", symbol);
}

}  // namespace wbx

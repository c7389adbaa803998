#include "tier1/block_decoder.h"

#include <gtest/gtest.h>
#include <memory>
#include <vector>

#include "support/reference_block_decoder.h"
#include "tier1/block_cases.h"

namespace wbx {
namespace {

using test::BlockCase;
using test::CaseMaker;
using test::PacketedBlock;
using test::ReferenceBlock;
using test::ReferenceBlockDecoder;
using test::ReferenceChunk;

class BlockDecoderTest : public ::testing::Test {
 protected:
  // One decoder for all blocks, as in an image: nothing of a block may survive it.
  void decode(const BlockCase& c, PacketedBlock& packeted) {
    BlockDecoder::Band band;
    band.zeroCodingTable = c.block.orientation == 1   ? &kZeroCodingHL
                           : c.block.orientation == 3 ? &kZeroCodingHH
                                                      : &kZeroCodingLL;
    band.magnitudeBits = c.block.magnitudeBits;
    band.roiShift = c.block.roiShift;
    band.style = c.style;
    decoder_->setBand(band);
    decoder_->prepare(c.block.width, c.block.height);
    ASSERT_EQ(decoder_->decode(packeted.block(), packeted.stream()), 0);
  }

  void expectSame(const BlockCase& c) {
    SCOPED_TRACE(::testing::PrintToString(c));
    PacketedBlock packeted(c);
    decode(c, packeted);
    ReferenceBlockDecoder reference(c.block);
    reference.decode();
    EXPECT_EQ(decoder_->lastPlane(), reference.lastPlane);
    for (i32 y = 0; y < c.block.height; ++y) {
      for (i32 x = 0; x < c.block.width; ++x) {
        ASSERT_EQ(coefficient(x, y), reference.coefficient(x, y)) << "at " << x << ", " << y;
      }
    }
  }

  [[nodiscard]] u32 coefficient(i32 x, i32 y) const { return decoder_->quad(x, y)[y & 3]; }

  Arena arena_{46000};
  std::unique_ptr<BlockDecoder> decoder_ = std::make_unique<BlockDecoder>(arena_);
};

TEST_F(BlockDecoderTest, SmallBlocksMatchTheReference) {
  CaseMaker maker(1);
  for (int i = 0; i < 4000 && !HasFailure(); ++i)
    expectSame(maker.make(1 + maker.below(20), 1 + maker.below(20)));
}

TEST_F(BlockDecoderTest, EveryHeightAndWidthOverWordsMatches) {
  CaseMaker maker(2);
  for (i32 width = 1; width <= BlockDecoder::kMaxWidth && !HasFailure(); ++width)
    expectSame(maker.make(width, 1 + maker.below(12)));
  for (i32 height = 1; height <= BlockDecoder::kMaxHeight && !HasFailure(); ++height)
    expectSame(maker.make(1 + maker.below(12), height));
}

TEST_F(BlockDecoderTest, LargeBlocksMatchTheReference) {
  CaseMaker maker(3);
  constexpr i32 kSizes[][2] = {{32, 32}, {64, 64}, {64, 16}, {128, 32}, {128, 64}, {61, 63}};
  for (int i = 0; i < 10 && !HasFailure(); ++i) {
    for (const auto& size : kSizes) expectSame(maker.make(size[0], size[1]));
  }
}

TEST_F(BlockDecoderTest, ChunksMayEndAtEveryByte) {
  CaseMaker maker(4);
  const std::vector<u8> bytes = {0x12, 0xFF, 0x8F, 0x43, 0xFF, 0x7F, 0xC0, 0x01, 0xFF, 0x90, 0x55,
                                 0x81, 0xFF, 0xFF, 0x33, 0xFF, 0x88, 0x00, 0x9A, 0x71, 0xE3, 0xFF};
  for (size_t first = 0; first <= bytes.size(); ++first) {
    for (size_t second = first; second <= bytes.size() && !HasFailure(); ++second) {
      BlockCase c = maker.make(8, 8);
      c.block.chunks.clear();
      const auto at = [&bytes](size_t i) { return bytes.begin() + static_cast<std::ptrdiff_t>(i); };
      c.block.chunks.push_back({{at(0), at(first)}, 4, false});
      c.block.chunks.push_back({{at(first), at(second)}, 3, false});
      c.block.chunks.push_back({{at(second), bytes.end()}, 9, false});
      expectSame(c);
      // With terminated segments each one ends at its own byte, whatever passes are left.
      c.style = static_cast<u8>(c.style | kStyleTermall);
      for (ReferenceChunk& chunk : c.block.chunks) {
        chunk.endsSegment = true;
        if (chunk.bytes.empty()) chunk.passes = 1;  // more are as many segments of no bytes
      }
      expectSame(c);
    }
  }
}

TEST_F(BlockDecoderTest, PassesBelowTheLastPlaneAreDropped) {
  CaseMaker maker(5);
  BlockCase c = maker.make(8, 8);
  c.block.magnitudeBits = 4;
  c.block.roiShift = 0;
  c.block.zeroPlanes = 1;
  c.block.chunks = {{{0x31, 0x41, 0x59, 0x26, 0x53, 0x58}, 100, false}};
  expectSame(c);
  EXPECT_EQ(decoder_->lastPlane(), 0);
  for (i32 missing = 4; missing < 42; ++missing) {
    c.block.zeroPlanes = missing;
    expectSame(c);
    EXPECT_EQ(coefficient(0, 0), 0u);
  }
}

TEST_F(BlockDecoderTest, MissingPlanesThatWrappedAreABlockWithoutPasses) {
  CaseMaker maker(6);
  BlockCase c = maker.make(8, 8);
  c.block.zeroPlanes = -1;
  expectSame(c);
}

TEST_F(BlockDecoderTest, ABlockWithoutChunksIsZero) {
  CaseMaker maker(7);
  BlockCase c = maker.make(16, 16);
  expectSame(c);
  c.block.chunks.clear();
  expectSame(c);
}

TEST_F(BlockDecoderTest, AReferencePastTheEndOfTheSourceIsCutThere) {
  CaseMaker maker(8);
  BlockCase c = maker.make(16, 16);
  c.byReference = true;
  c.style = 0;
  c.block.resetsContexts = c.block.segmentationSymbols = false;
  c.block.chunks = {{{0x31, 0x41, 0x59, 0x26, 0x53, 0x58}, 7, false}};
  ReferenceBlockDecoder reference(c.block);
  reference.decode();

  PacketedBlock packeted(c);
  packeted.lastChunk().initialise(100, DataChunk::Storage::kReference, 7);
  packeted.lastChunk().setNext(nullptr);
  packeted.lastChunk().setPosition(1);
  decode(c, packeted);
  for (i32 y = 0; y < 16; ++y) {
    for (i32 x = 0; x < 16; ++x) ASSERT_EQ(coefficient(x, y), reference.coefficient(x, y));
  }

  packeted.lastChunk().setPosition(5000);
  decode(c, packeted);  // must read nothing: 1 bits only
  c.block.chunks[0].bytes.clear();
  ReferenceBlockDecoder empty(c.block);
  empty.decode();
  for (i32 y = 0; y < 16; ++y) {
    for (i32 x = 0; x < 16; ++x) ASSERT_EQ(coefficient(x, y), empty.coefficient(x, y));
  }
}

}  // namespace
}  // namespace wbx

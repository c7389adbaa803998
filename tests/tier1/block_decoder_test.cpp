#include "tier1/block_decoder.h"

#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <random>
#include <vector>

#include "support/reference_block_decoder.h"

namespace wbx {
namespace {

using test::ReferenceBlock;
using test::ReferenceBlockDecoder;
using test::ReferenceChunk;

struct BlockCase {
  ReferenceBlock block;
  u8 style = 0;
  bool byReference = false;
};

std::ostream& operator<<(std::ostream& out, const BlockCase& c) {
  out << c.block.width << "x" << c.block.height << " orientation " << c.block.orientation
      << " style " << static_cast<int>(c.style) << " Mb " << c.block.magnitudeBits << " roi "
      << c.block.roiShift << " missing " << c.block.zeroPlanes
      << (c.byReference ? " by reference" : " inline") << ", chunks";
  for (const ReferenceChunk& chunk : c.block.chunks) {
    out << " [" << chunk.passes << (chunk.endsSegment ? "!" : "") << ":" << std::hex;
    for (const u8 byte : chunk.bytes) out << " " << static_cast<int>(byte);
    out << std::dec << "]";
  }
  return out;
}

// A code block as the packets leave it: chunk records, and a source for those by reference.
class PacketedBlock {
 public:
  explicit PacketedBlock(const BlockCase& c) {
    for (const ReferenceChunk& chunk : c.block.chunks)
      source_.insert(source_.end(), chunk.bytes.begin(), chunk.bytes.end());
    stream_.open(source_.data(), static_cast<u32>(source_.size()));
    u32 position = 1;
    for (const ReferenceChunk& chunk : c.block.chunks) {
      append(chunk, c.byReference, position);
      position += static_cast<u32>(chunk.bytes.size());
    }
    block_.zeroPlanes = static_cast<i8>(c.block.zeroPlanes);
    block_.firstPass = static_cast<i8>(3 * c.block.zeroPlanes);
  }

  [[nodiscard]] const CodeBlock& block() const { return block_; }
  [[nodiscard]] Stream& stream() { return stream_; }
  [[nodiscard]] DataChunk& lastChunk() { return *last_; }

 private:
  void append(const ReferenceChunk& chunk, bool byReference, u32 position) {
    using Storage = DataChunk::Storage;
    const Storage storage = byReference ? Storage::kReference : Storage::kInline;
    const auto length = static_cast<u32>(chunk.bytes.size());
    const auto size = static_cast<size_t>(DataChunk::recordSize(length, storage));
    records_.push_back(std::make_unique<u64[]>((size + 7) / 8));
    auto* record = reinterpret_cast<DataChunk*>(records_.back().get());
    record->initialise(length, storage,
                       static_cast<u8>(chunk.passes | (chunk.endsSegment ? 0x80 : 0)));
    record->setNext(nullptr);
    if (byReference) {
      record->setPosition(position);
    } else {
      std::copy(chunk.bytes.begin(), chunk.bytes.end(), record->data());
    }
    last_ ? last_->setNext(record) : void(block_.chunks = record);
    last_ = record;
  }

  std::vector<u8> source_{0};  // one byte that no chunk owns, so that it is never empty
  MemoryStream stream_;
  std::vector<std::unique_ptr<u64[]>> records_;
  CodeBlock block_;
  DataChunk* last_ = nullptr;
};

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

// Random blocks. Random bytes alone would make every sample significant at once, so there is also
// data that decodes to long runs of the more probable symbol.
class CaseMaker {
 public:
  explicit CaseMaker(u32 seed) : random_(seed) {}

  BlockCase make(i32 width, i32 height) {
    BlockCase c;
    c.block.width = width;
    c.block.height = height;
    c.block.orientation = below(4);
    c.block.magnitudeBits = 1 + below(31);
    c.block.roiShift = below(4) == 0 ? below(32 - c.block.magnitudeBits) : 0;
    c.block.zeroPlanes = below(3) == 0 ? below(c.block.magnitudeBits + 2) : 0;
    for (const u8 flag : {kStyleReset, kStyleTermall, kStylePterm, kStyleSegsym})
      c.style = static_cast<u8>(c.style | (below(3) == 0 ? flag : 0));
    c.block.resetsContexts = (c.style & kStyleReset) != 0;
    c.block.segmentationSymbols = (c.style & kStyleSegsym) != 0;
    c.byReference = below(2) == 0;
    addChunks(c, 2 * width * height / 3 + 8);
    return c;
  }

  i32 below(i32 n) { return static_cast<i32>(random_() % static_cast<u32>(n)); }

 private:
  void addChunks(BlockCase& c, i32 bytes) {
    const i32 planes = c.block.magnitudeBits + c.block.roiShift - c.block.zeroPlanes;
    i32 passes = 1 + below(3 * std::max(planes, 1) + 3);
    if (below(2) == 0) passes = std::min(passes, 10);
    profile_ = below(5);
    if ((c.style & kStyleTermall) != 0) {
      for (; passes > 0; --passes) c.block.chunks.push_back({data(below(bytes) / 2), 1, true});
      return;
    }
    while (passes > 0) {
      const i32 n = below(3) == 0 ? passes : std::min(passes, 1 + below(8));
      const i32 length = below(4) == 0 ? below(3) : below(bytes);
      c.block.chunks.push_back({data(length), n, false});
      passes -= n;
    }
  }

  std::vector<u8> data(i32 length) {
    std::vector<u8> bytes(static_cast<size_t>(length));
    for (u8& byte : bytes) byte = static_cast<u8>(nextByte());
    return bytes;
  }

  i32 nextByte() {
    switch (profile_) {
      case 0:
        return below(256);
      case 1:
        return below(255);  // no stuffing at all
      case 2: {             // stuffing, borrows and markers everywhere
        const i32 kind = below(4);
        return kind == 0 ? 0xFF : kind == 1 ? 0x80 + below(32) : below(256);
      }
      case 3:  // 0xFF 0x7F and so on keep the code register near 0
        return below(12) == 0 ? below(256) : (even_ = !even_) ? 0xFF : 0x7F;
      default:
        return below(40) == 0 ? below(256) : (even_ = !even_) ? 0xFF : 0x7F;
    }
  }

  std::mt19937 random_;
  i32 profile_ = 0;
  bool even_ = false;
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
      for (ReferenceChunk& chunk : c.block.chunks) chunk.endsSegment = true;
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

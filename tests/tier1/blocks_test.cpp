// Both block decoders, with every kind of passes for groups, against the reference.
#include <gtest/gtest.h>
#include <memory>
#include <vector>

#include "engine/kernels.h"
#include "tier1/block_cases.h"
#include "tier1/block_decoder.h"
#include "tier1/group_decoder.h"

namespace wbx {
namespace {

using test::BlockCase;
using test::CaseMaker;
using test::Home;
using test::PacketedBlocks;
using test::ReferenceBlockDecoder;

class Blocks : public testing::Test {
 protected:
  void expectSame(std::vector<BlockCase> cases, Home home) {
    cases_ = std::move(cases);
    references_.clear();
    for (const BlockCase& c : cases_) references_.emplace_back(c.block).decode();
    PacketedBlocks blocks(cases_, home);
    decodeAll(blocks, nullptr);
    for (const Kernels* const* set = availableKernels(); *set != nullptr; ++set)
      if ((*set)->groupPasses != nullptr) decodeAll(blocks, (*set)->groupPasses);
  }
  void expectSame(const BlockCase& c, Home home = Home::kInline) {
    expectSame(std::vector<BlockCase>{c}, home);
  }

  // With passes for groups, those blocks that a group takes.
  void decodeAll(PacketedBlocks& blocks, const GroupPasses* passes) {
    bands_.clear();
    for (const BlockCase& c : cases_) bands_.push_back(c.band());
    group_->setPasses(passes);
    std::vector<size_t> taken;
    for (size_t i = 0; i < cases_.size() && !HasFailure(); ++i) {
      bands_[i].number = static_cast<i32>(i);
      const BlockTask task = {&blocks[i], &bands_[i], rectOf(cases_[i])};
      if (group_->take(task, blocks.stream()) == GroupDecoder::Taken::kYes) {
        taken.push_back(i);
        if (group_->isFull()) finish(blocks, taken);
      } else {
        ASSERT_EQ(single_->decode(task, blocks.stream()), 0);
        compare(i, single_->result());
      }
    }
    finish(blocks, taken);
  }

  void finish(PacketedBlocks& blocks, std::vector<size_t>& taken) {
    std::vector<size_t> seen;
    const auto sink = [&](const BlockBand& band, const DecodedBlock& block) {
      seen.push_back(static_cast<size_t>(band.number));
      compare(seen.back(), block);
    };
    ASSERT_EQ(group_->decodeAll(
                  *single_, blocks.stream(), [] { return false; }, sink),
              0);
    std::sort(seen.begin(), seen.end());
    ASSERT_EQ(seen, taken);
    taken.clear();
  }

  void compare(size_t i, const DecodedBlock& block) {
    SCOPED_TRACE(testing::PrintToString(cases_[i]));
    const ReferenceBlockDecoder& reference = references_[i];
    ASSERT_EQ(block.rect, rectOf(cases_[i]));
    ASSERT_EQ(block.lastPlane, reference.lastPlane);
    for (i32 y = 0; y < block.rect.height(); ++y) {
      for (i32 x = 0; x < block.rect.width(); ++x)
        ASSERT_EQ(block.coefficient(x, y), reference.coefficient(x, y)) << x << ", " << y;
    }
  }

  static Rect rectOf(const BlockCase& c) {
    return {3, 7, static_cast<u16>(3 + c.block.width), static_cast<u16>(7 + c.block.height)};
  }

  // One decoder for all blocks, as in an image: nothing of a block may survive it.
  Arena arena_{46000};
  std::unique_ptr<BlockDecoder> single_ = std::make_unique<BlockDecoder>(arena_);
  std::unique_ptr<GroupDecoder> group_ = std::make_unique<GroupDecoder>(arena_);
  std::vector<BlockCase> cases_;
  std::vector<BlockBand> bands_;
  std::vector<ReferenceBlockDecoder> references_;
};

TEST_F(Blocks, OfAllShapesAndKindsMatch) {
  struct Batch {
    i32 times, most, width, height;  // up to `most` blocks up to this size
    i32 usual;                       // of ten
  };
  constexpr Batch kBatches[] = {{60, 60, 20, 20, 0},  {120, 128, 40, 40, 10}, {40, 150, 9, 9, 9},
                                {30, 16, 128, 6, 10}, {30, 16, 6, 64, 10},    {40, 16, 128, 5, 3},
                                {40, 16, 5, 64, 3},   {6, 20, 128, 64, 7}};
  for (const Batch& batch : kBatches) {
    CaseMaker maker(static_cast<u32>(batch.times * batch.width + batch.height));
    for (i32 time = 0; time < batch.times && !HasFailure(); ++time) {
      std::vector<BlockCase> cases;
      for (i32 i = maker.below(batch.most); i >= 0; --i) {
        const i32 width = 1 + maker.below(batch.width), height = 1 + maker.below(batch.height);
        cases.push_back(maker.make(width, height, maker.below(10) < batch.usual));
      }
      expectSame(std::move(cases), static_cast<Home>(time % 3));
    }
  }
}

TEST_F(Blocks, OfTheLargestSizesMatch) {
  CaseMaker maker(3);
  std::vector<BlockCase> cases;
  for (const auto& [width, height] :
       {std::pair{128, 64}, {64, 64}, {128, 32}, {64, 16}, {4, 64}, {128, 1}, {1, 1}, {61, 63}}) {
    for (const bool usual : {true, true, false}) cases.push_back(maker.make(width, height, usual));
  }
  expectSame(cases, Home::kInline);
}

TEST_F(Blocks, MayHaveChunksThatEndAtEveryByte) {
  CaseMaker maker(4);
  const std::vector<u8> bytes = {0x12, 0xFF, 0x8F, 0x43, 0xFF, 0x7F, 0xC0, 0x01, 0xFF, 0x90, 0x55,
                                 0x81, 0xFF, 0xFF, 0x33, 0xFF, 0x88, 0x00, 0x9A, 0x71, 0xE3, 0xFF};
  const auto part = [&bytes](size_t first, size_t end) {
    return std::vector<u8>(bytes.begin() + static_cast<i64>(first),
                           bytes.begin() + static_cast<i64>(end));
  };
  for (size_t first = 0; first <= bytes.size() && !HasFailure(); ++first) {
    std::vector<BlockCase> cases;
    for (size_t second = first; second <= bytes.size(); ++second) {
      BlockCase c = maker.make(8, 8, true);
      c.block.chunks = {{part(0, first), 4, false},
                        {part(first, second), 3, false},
                        {part(second, bytes.size()), 9, false}};
      cases.push_back(c);
      // A terminated segment ends at its own byte, whatever passes are left.
      for (auto& chunk : c.block.chunks) {
        chunk.endsSegment = true;
        if (chunk.bytes.empty()) chunk.passes = 1;  // more are as many segments of no bytes
      }
      cases.push_back(c);
    }
    expectSame(cases, Home::kInline);
  }
}

TEST_F(Blocks, OfCorruptDataMatch) {
  CaseMaker maker(5);
  BlockCase c = maker.make(8, 8, true);
  c.block.magnitudeBits = 4;
  c.block.chunks = {{{0x31, 0x41, 0x59, 0x26, 0x53, 0x58}, 100, false}};
  // A count below 0 wrapped its 8 bits.
  for (i32 missing = -2; missing < 42; ++missing) {
    c.block.zeroPlanes = missing;
    expectSame(c);
  }
  c.block.zeroPlanes = 1;
  c.block.chunks.resize(5, c.block.chunks[0]);  // passes without end
  expectSame(c);
  c.block.chunks.resize(1);
  // Bytes that the source does not have, of the last chunk in it.
  for (const u32 missing : {1u, 100u, 5000u}) {
    c.block.chunks[0].missing = missing;
    for (const Home home : {Home::kMemory, Home::kCallbacks}) expectSame(c, home);
  }
  c.block.chunks.clear();
  expectSame(c);
}

// What would need another plane, or another look at its source, is left to the other decoder.
TEST_F(Blocks, GoToAGroupIfItCanTakeThem) {
  static const GroupPasses passes = {};
  struct Kind {
    bool taken;
    i32 roiShift, style, zeroPlanes;
    bool endsSegment = false;
    size_t bytes = 3;
    Home home = Home::kInline;
  };
  constexpr Kind kKinds[] = {{true, 0, 0, 0},
                             {true, 0, kStyleReset | kStyleSegsym, 7},
                             {false, 1, 0, 0},
                             {false, 0, 0, 8},  // no plane is left
                             {false, 0, 0, -3},
                             {true, 0, kStyleTermall, 0, true, 3, Home::kMemory},
                             {false, 0, kStyleTermall, 0, true, 3, Home::kCallbacks},
                             {true, 0, 0, 0, false, 3, Home::kCallbacks},
                             {true, 0, 0, 0, false, 65536},
                             {false, 0, 0, 0, false, 65537}};
  for (const Kind& kind : kKinds) {
    BlockCase c;
    c.block.magnitudeBits = 8;
    c.block.roiShift = kind.roiShift;
    c.block.zeroPlanes = kind.zeroPlanes;
    c.style = static_cast<u8>(kind.style);
    c.block.chunks.push_back({std::vector<u8>(kind.bytes), 4, kind.endsSegment});
    PacketedBlocks blocks({c}, kind.home);
    const BlockBand band = c.band();
    group_->clear();
    group_->setPasses(&passes);
    EXPECT_EQ(group_->take({&blocks[0], &band, {0, 0, 8, 8}}, blocks.stream()),
              kind.taken ? GroupDecoder::Taken::kYes : GroupDecoder::Taken::kNo)
        << "kind " << &kind - kKinds;
  }
}

}  // namespace
}  // namespace wbx

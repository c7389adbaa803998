#include "tier1/group_decoder.h"

#include <gtest/gtest.h>
#include <memory>
#include <vector>

#include "engine/kernels.h"
#include "support/reference_block_decoder.h"
#include "tier1/block_cases.h"

namespace wbx {
namespace {

using test::BlockCase;
using test::CaseMaker;
using test::PacketedBlock;
using test::ReferenceBlockDecoder;

class GroupDecoderTest : public ::testing::Test {
 protected:
  static constexpr i32 kBands = 3;
  struct Band {
    i32 orientation, magnitudeBits;
  };

  void SetUp() override {
    if (kernels().groupPasses == nullptr) GTEST_SKIP() << "the processor cannot decode groups";
    group_->setPasses(kernels().groupPasses);
  }

  void setBands(CaseMaker& maker) {
    for (i32 place = 0; place < kBands; ++place) {
      bands_[place] = {maker.below(4), 1 + maker.below(31)};
      BlockDecoder::Band band;
      band.zeroCodingTable = bands_[place].orientation == 1   ? &kZeroCodingHL
                             : bands_[place].orientation == 3 ? &kZeroCodingHH
                                                              : &kZeroCodingLL;
      band.magnitudeBits = bands_[place].magnitudeBits;
      group_->setBand(place, band, static_cast<u8>(bands_[place].orientation));
    }
  }

  // A case of the kind that fits a member.
  BlockCase makeCase(CaseMaker& maker, i32 place, i32 width, i32 height) {
    BlockCase c = maker.make(width, height, bands_[place].magnitudeBits);
    c.block.orientation = bands_[place].orientation;
    return c;
  }

  void add(i32 place, const BlockCase& c) {
    Rect rect;
    rect.x0 = static_cast<u16>(500 * cases_.size());
    rect.y0 = 7;
    rect.x1 = static_cast<u16>(rect.x0 + c.block.width);
    rect.y1 = static_cast<u16>(rect.y0 + c.block.height);
    cases_.push_back({c, place, std::make_unique<PacketedBlock>(c)});
    const PacketedBlock& packeted = *cases_.back().packeted;
    const bool taken =
        group_->take(place, packeted.block(), rect, stream_) == GroupDecoder::Taken::kYes;
    if (!taken) cases_.pop_back();
  }

  // All blocks come back, each once and with the coefficients of the reference.
  void expectSame() {
    std::vector<i32> seen(cases_.size());
    const i32 code = group_->decodeAll(
        *single_, stream_,
        [&](i32 place, const Rect& rect, const u32* quads, i32 stripePitch, i32 lastPlane) {
          const Added& added = cases_[rect.x0 / 500];
          ++seen[rect.x0 / 500];
          EXPECT_EQ(place, added.place);
          compare(added.c, quads, stripePitch, lastPlane);
        });
    EXPECT_EQ(code, 0);
    EXPECT_EQ(seen, std::vector<i32>(cases_.size(), 1));
    cases_.clear();
  }

  Band bands_[kBands] = {};

 private:
  struct Added {
    BlockCase c;
    i32 place;
    std::unique_ptr<PacketedBlock> packeted;
  };

  static void compare(const BlockCase& c, const u32* quads, i32 stripePitch, i32 lastPlane) {
    SCOPED_TRACE(::testing::PrintToString(c));
    ReferenceBlockDecoder reference(c.block);
    reference.decode();
    EXPECT_EQ(lastPlane, reference.lastPlane);
    for (i32 y = 0; y < c.block.height; ++y) {
      for (i32 x = 0; x < c.block.width; ++x) {
        ASSERT_EQ(quads[(y >> 2) * stripePitch + 4 * x + (y & 3)], reference.coefficient(x, y))
            << "at " << x << ", " << y;
      }
    }
  }

  MemoryStream stream_;  // of blocks whose bytes are all in their chunks
  Arena arena_{46000};
  std::unique_ptr<GroupDecoder> group_ = std::make_unique<GroupDecoder>(arena_);
  std::unique_ptr<BlockDecoder> single_ = std::make_unique<BlockDecoder>(arena_);
  std::vector<Added> cases_;
};

TEST_F(GroupDecoderTest, GroupsOfAllSizesMatchTheReference) {
  for (u32 seed = 0; seed < 120 && !HasFailure(); ++seed) {
    CaseMaker maker(seed);
    setBands(maker);
    const i32 blocks = 1 + maker.below(GroupDecoder::kCapacity);
    for (i32 i = 0; i < blocks; ++i) {
      const i32 place = maker.below(kBands);
      add(place, makeCase(maker, place, 1 + maker.below(40), 1 + maker.below(40)));
    }
    expectSame();
  }
}

// Every shape of a last word and a last stripe, and neighbours of other shapes.
TEST_F(GroupDecoderTest, EveryWidthAndHeightMatches) {
  CaseMaker maker(7);
  for (i32 size = 1; size <= 33 && !HasFailure(); ++size) {
    setBands(maker);
    for (i32 i = 0; i < GroupDecoder::kMembers; ++i)
      add(0, makeCase(maker, 0, i % 2 == 0 ? size : 34 - size, 1 + maker.below(9)));
    for (i32 i = 0; i < GroupDecoder::kMembers; ++i)
      add(1, makeCase(maker, 1, 1 + maker.below(9), i % 2 == 0 ? size : 34 - size));
    expectSame();
  }
}

TEST_F(GroupDecoderTest, LargestBlocksMatchTheReference) {
  CaseMaker maker(11);
  setBands(maker);
  for (const auto& [width, height] : {std::pair{128, 64}, {64, 64}, {128, 32}, {4, 64}, {128, 1}})
    add(2, makeCase(maker, 2, width, height));
  expectSame();
}

// What would need another segment, other contexts or another plane is left to the other decoder.
TEST_F(GroupDecoderTest, TakesOnlyBlocksOfTheDefaultKind) {
  CaseMaker maker(5);
  bands_[0] = {0, 8};
  const BlockCase usual = [&] {
    BlockCase c;
    c.block.width = c.block.height = 8;
    c.block.magnitudeBits = 8;
    c.block.chunks.push_back({{1, 2, 3}, 4, false});
    return c;
  }();
  const auto takes = [&](i32 roiShift, u8 style, const BlockCase& c) {
    BlockDecoder::Band band;
    band.magnitudeBits = 8;
    band.roiShift = roiShift;
    band.style = style;
    Arena arena(46000);
    GroupDecoder members(arena);
    members.setPasses(kernels().groupPasses);
    members.setBand(0, band, 0);
    const PacketedBlock packeted(c);
    MemoryStream stream;
    return members.take(0, packeted.block(), Rect{0, 0, 8, 8}, stream) == GroupDecoder::Taken::kYes;
  };
  EXPECT_TRUE(takes(0, 0, usual));
  EXPECT_TRUE(takes(0, kStylePterm, usual));
  EXPECT_FALSE(takes(1, 0, usual));
  EXPECT_FALSE(takes(0, kStyleReset, usual));
  EXPECT_FALSE(takes(0, kStyleTermall, usual));
  EXPECT_FALSE(takes(0, kStyleSegsym, usual));
  BlockCase other = usual;
  other.block.zeroPlanes = 8;  // no plane is left
  EXPECT_FALSE(takes(0, 0, other));
  other.block.zeroPlanes = -3;
  EXPECT_FALSE(takes(0, 0, other));
  other = usual;
  other.block.chunks[0].endsSegment = true;
  EXPECT_FALSE(takes(0, 0, other));
  other = usual;
  other.block.chunks[0].bytes.resize(70000);
  EXPECT_FALSE(takes(0, 0, other));
}

}  // namespace
}  // namespace wbx

#include <gtest/gtest.h>

#include "wbx.h"

#include "bytes.h"
#include "parse/coding_markers.h"
#include "tier2/tile.h"

namespace wbx {
namespace {

using test::parse::operator+;
using test::parse::Bytes;

class QuantizationTest : public testing::Test {
 protected:
  QuantizationTest() { style_.components = 3; }

  i32 read(const Bytes& payload, bool isQcc) {
    bytes_ = payload;
    stream_.open(bytes_.data(), static_cast<u32>(bytes_.size()));
    return parseQuantization(stream_, style_, static_cast<i32>(bytes_.size()), isQcc);
  }
  i32 qcd(const Bytes& payload) { return read(payload, false); }
  i32 qcc(const Bytes& payload) { return read(payload, true); }
  i32 rgn(const Bytes& payload) {
    bytes_ = payload;
    stream_.open(bytes_.data(), static_cast<u32>(bytes_.size()));
    return parseRGN(stream_, style_);
  }
  const Quantization& of(i32 component) { return style_.component[component].quantization; }

  Bytes bytes_;
  MemoryStream stream_;
  CodingStyle style_;
};

TEST_F(QuantizationTest, ReadsEachStyle) {
  ASSERT_EQ(qcd({0x60, 0x4F, 0x80}), 0);
  EXPECT_EQ(of(2).style, 0);
  EXPECT_EQ(of(2).guardBits, 3);
  EXPECT_EQ(of(2).qntStepSizes, 2);
  EXPECT_EQ(of(2).stepSize[0], 9 << 11);
  EXPECT_EQ(of(2).stepSize[1], 16 << 11);
  ASSERT_EQ(qcd({0x41, 0x6F, 0x23, 0xAA, 0xAA}), 0);
  EXPECT_EQ(of(0).qntStepSizes, 1);
  EXPECT_EQ(of(0).stepSize[0], 0x6F23);
  EXPECT_EQ(stream_.tell(), 3u);
  ASSERT_EQ(qcd({0x22, 0x12, 0x34, 0x56, 0x78, 0x9A}), 0);
  EXPECT_EQ(of(0).qntStepSizes, 2);
  EXPECT_EQ(of(0).stepSize[1], 0x5678);
  EXPECT_EQ(stream_.tell(), 5u);
  EXPECT_EQ(qcd({0x43, 0, 0}), WBX_ERROR_NOT_PART1);
}

TEST_F(QuantizationTest, MoreEntriesThanTheTableHolds) {
  Bytes payload(1 + 99, 0x50);
  payload[0] = 0x40;
  ASSERT_EQ(qcd(payload), 0);
  EXPECT_EQ(of(0).qntStepSizes, 99);
  EXPECT_EQ(of(0).stepSize[72], 10 << 11);
  EXPECT_EQ(stream_.tell(), 100u);
  EXPECT_EQ(of(0).roiShift, 0);
  payload.push_back(0x50);
  ASSERT_EQ(qcd(payload), 0);
  EXPECT_EQ(of(0).qntStepSizes, 100);
  EXPECT_EQ(stream_.tell(), 1u);
}

TEST_F(QuantizationTest, QccGoesBeforeQcdInEitherOrder) {
  ASSERT_EQ(qcc({1, 0x20, 0x08}), 0);
  ASSERT_EQ(qcd({0x40, 0x10}), 0);
  EXPECT_EQ(of(1).guardBits, 1);
  EXPECT_EQ(of(0).guardBits, 2);
  ASSERT_EQ(qcc({0, 0x60, 0x18}), 0);
  EXPECT_EQ(of(0).guardBits, 3);
  EXPECT_EQ(style_.qcdSeen, 1);
  EXPECT_EQ(qcc({3, 0x60, 0x18}), 0);
  EXPECT_EQ(qcc({4, 0x60, 0x18}), WBX_ERROR_CORRUPT);
}

TEST_F(QuantizationTest, RegionOfInterestOutlivesAQcd) {
  ASSERT_EQ(rgn({2, 0, 11}), 0);
  ASSERT_EQ(qcd({0x40, 0x10}), 0);
  EXPECT_EQ(of(2).roiShift, 11);
  EXPECT_EQ(of(1).roiShift, 0);
  EXPECT_EQ(rgn({3, 0, 1}), WBX_ERROR_CORRUPT);
}

TEST_F(QuantizationTest, EachSubbandNeedsAStepSize) {
  for (ComponentCoding& coding : style_.component) coding.resolutions = 2;
  ASSERT_EQ(qcd({0x40, 8, 8, 8}), 0);
  EXPECT_FALSE(style_.hasEnoughStepSizes());
  ASSERT_EQ(qcd({0x40, 8, 8, 8, 8}), 0);
  EXPECT_TRUE(style_.hasEnoughStepSizes());
  ASSERT_EQ(qcc({1, 0x41, 0x6F, 0x23}), 0);
  EXPECT_TRUE(style_.hasEnoughStepSizes());
  ASSERT_EQ(qcc({2, 0x40}), 0);
  EXPECT_FALSE(style_.hasEnoughStepSizes());
}

TEST(FinishQuantization, DerivesOneExponentMoreForEachResolution) {
  Tile tile;
  tile.style.components = 2;
  for (ComponentCoding& coding : tile.style.component) {
    coding.resolutions = kMaxResolutions;
    coding.quantization.qntStepSizes = 1;
    coding.quantization.stepSize[0] = (20 << 11) | 0x123;
  }
  tile.style.component[0].quantization.style = 1;
  tile.style.finishQuantization();
  const Quantization& derived = tile.style.component[0].quantization;
  for (size_t i : {1u, 2u, 3u}) EXPECT_EQ(derived.stepSize[i], (21 << 11) | 0x123);
  EXPECT_EQ(derived.stepSize[4], (22 << 11) | 0x123);
  EXPECT_EQ(derived.stepSize[69], (((20 + 23) & 31) << 11) | 0x123);
  EXPECT_EQ(derived.stepSize[70], 0);
  EXPECT_EQ(derived.qntStepSizes, 1);
  EXPECT_EQ(tile.style.component[1].quantization.stepSize[1], 0);
}

}  // namespace
}  // namespace wbx

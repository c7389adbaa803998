#include <gtest/gtest.h>

#include "wbx.h"

#include "bytes.h"
#include "parse/coding_markers.h"

namespace wbx {
namespace {

using test::parse::Bytes;
using test::parse::Cod;

class CodingStyleTest : public testing::Test {
 protected:
  CodingStyleTest() { style_.components = 3; }

  i32 cod(const Cod& cod) { return cod_(style_, cod); }
  i32 coc(const Bytes& payload) {
    load(payload);
    return parseCOC(stream_, style_);
  }
  i32 cod_(CodingStyle& style, const Cod& cod) {
    load(cod.payload());
    return parseCOD(stream_, style);
  }
  void load(const Bytes& bytes) {
    bytes_ = bytes;
    stream_.open(bytes_.data(), static_cast<u32>(bytes_.size()));
  }

  Bytes bytes_;
  MemoryStream stream_;
  CodingStyle style_;
};

TEST_F(CodingStyleTest, CodFillsEveryComponent) {
  ASSERT_EQ(cod({.scod = 7,
                 .progression = 3,
                 .layers = 9,
                 .mct = 1,
                 .levels = 2,
                 .width = 5,
                 .height = 3,
                 .style = 0x2A,
                 .wavelet = 0,
                 .precincts = {0x98, 0xA7, 0xFB}}),
            0);
  EXPECT_EQ(style_.codSeen, 1);
  EXPECT_EQ(style_.progression, kPcrl);
  EXPECT_EQ(style_.layers, 9);
  EXPECT_EQ(style_.mct, kMctIrreversible);
  EXPECT_EQ(style_.scod, kScodSop | kScodEph);
  for (i32 c = 0; c < 3; ++c) {
    const ComponentCoding& coding = style_.component[c];
    EXPECT_EQ(coding.resolutions, 3);
    EXPECT_EQ(coding.cblkWidthExp, 7);
    EXPECT_EQ(coding.cblkHeightExp, 5);
    EXPECT_EQ(coding.cblkStyle, 0x2A);
    EXPECT_EQ(coding.transform, kKernel97);
    EXPECT_EQ(coding.scoc, 1);
    EXPECT_EQ(coding.PPx[1], 7);
    EXPECT_EQ(coding.PPy[1], 10);
    EXPECT_EQ(coding.PPy[2], 15);
    EXPECT_EQ(coding.PPx[3], 15);
  }
  EXPECT_EQ(stream_.tell(), bytes_.size());
}

TEST_F(CodingStyleTest, CodWithoutPrecinctsKeepsThoseOfBefore) {
  ASSERT_EQ(cod({.scod = 1, .levels = 1, .precincts = {0x65, 0x87}}), 0);
  ASSERT_EQ(cod({.levels = 1}), 0);
  EXPECT_EQ(style_.component[0].PPx[0], 5);
  EXPECT_EQ(style_.component[0].PPy[1], 8);
  EXPECT_EQ(style_.component[0].scoc, 0);
}

TEST_F(CodingStyleTest, ColourTransformFollowsTheWaveletAndNeedsThreeComponents) {
  ASSERT_EQ(cod({.mct = 200, .wavelet = 1}), 0);
  EXPECT_EQ(style_.mct, kMctReversible);
  ASSERT_EQ(cod({.mct = 0, .wavelet = 1}), 0);
  EXPECT_EQ(style_.mct, kMctNone);
  style_.components = 2;
  ASSERT_EQ(cod({.mct = 1, .wavelet = 0}), 0);
  EXPECT_EQ(style_.mct, kMctNone);
}

TEST_F(CodingStyleTest, RefusesUnknownProgressionsAndWavelets) {
  EXPECT_EQ(cod({.progression = 4}), 0);
  EXPECT_EQ(cod({.progression = 5}), WBX_ERROR_NOT_PART1);
  EXPECT_EQ(cod({.wavelet = 2}), WBX_ERROR_NOT_PART1);
  EXPECT_EQ(coc({0, 0, 0, 4, 4, 0, 2}), WBX_ERROR_NOT_PART1);
  EXPECT_EQ(coc({4, 0, 0, 4, 4, 0, 1}), WBX_ERROR_CORRUPT);
}

TEST_F(CodingStyleTest, LevelsCountInEightBitsAndPrecinctsStopAtTheTable) {
  ASSERT_EQ(cod({.scod = 1, .levels = 255}), 0);
  EXPECT_EQ(style_.component[0].resolutions, 0);
  EXPECT_EQ(stream_.tell(), 10u);
  ASSERT_EQ(cod({.scod = 1, .levels = 40, .precincts = Bytes(41, 0x11)}), 0);
  EXPECT_EQ(style_.component[0].resolutions, 41);
  EXPECT_EQ(stream_.tell(), 10u + kMaxResolutions);
}

TEST_F(CodingStyleTest, CocGoesBeforeCodInEitherOrder) {
  const Bytes own = {1, 1, 2, 3, 2, 0x04, 0, 0x11, 0x22, 0x33};
  ASSERT_EQ(coc(own), 0);
  EXPECT_EQ(stream_.tell(), own.size());
  ASSERT_EQ(cod({.levels = 5}), 0);
  EXPECT_EQ(style_.component[1].resolutions, 3);
  EXPECT_EQ(style_.component[1].cblkWidthExp, 5);
  EXPECT_EQ(style_.component[1].transform, kKernel97);
  EXPECT_EQ(style_.component[1].PPx[2], 3);
  EXPECT_EQ(style_.component[0].resolutions, 6);
  ASSERT_EQ(coc({0, 0, 1, 4, 4, 0, 1}), 0);
  EXPECT_EQ(style_.component[0].resolutions, 2);
  EXPECT_EQ(style_.smallestResolutions(), 2);
}

TEST_F(CodingStyleTest, CocBeyondTheComponentsIsReadAndForgotten) {
  EXPECT_EQ(coc({3, 0, 30, 4, 4, 0, 1}), 0);
  ASSERT_EQ(cod({.levels = 5}), 0);
  EXPECT_EQ(style_.smallestResolutions(), 6);
  EXPECT_EQ(CodingStyle().smallestResolutions(), 255);
}

TEST_F(CodingStyleTest, CodOfATileGoesBeforeCocOfTheMainHeader) {
  ASSERT_EQ(cod({.scod = 2, .progression = 1, .levels = 5}), 0);
  ASSERT_EQ(coc({1, 0, 2, 4, 4, 0, 1}), 0);
  CodingStyle tile;
  tile.inherit(style_);
  EXPECT_EQ(tile.codSeen, 1);
  EXPECT_EQ(tile.progression, kRlcp);
  EXPECT_EQ(tile.scod, kScodSop);
  EXPECT_EQ(tile.component[1].resolutions, 3);
  ASSERT_EQ(cod_(tile, {.levels = 1}), 0);
  EXPECT_EQ(tile.component[1].resolutions, 2);
  EXPECT_EQ(style_.component[1].resolutions, 3);
}

}  // namespace
}  // namespace wbx

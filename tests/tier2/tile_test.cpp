#include "tier2/tile.h"

#include <gtest/gtest.h>

#include "tile_builder.h"

namespace wbx {
namespace {

using test::TileBuilder;

Resolution resolutionAt(Rect rect) {
  Resolution resolution;
  resolution.rect = rect;
  return resolution;
}

TEST(SubbandRect, ArrangesTheFourBands) {
  const Resolution r = resolutionAt({3, 4, 10, 9});
  const SubbandRect ll = subbandRect(r, 0), hl = subbandRect(r, 1);
  const SubbandRect lh = subbandRect(r, 2), hh = subbandRect(r, 3);
  EXPECT_EQ(ll.rect, r.rect);
  EXPECT_EQ(ll.right, 7);
  EXPECT_EQ(ll.bottom, 5);
  EXPECT_EQ(hl.rect, (Rect{1, 2, 5, 5}));
  EXPECT_EQ(hl.left, 3);
  EXPECT_EQ(hl.right, 7);
  EXPECT_EQ(hl.top, 0);
  EXPECT_EQ(hl.bottom, 3);
  EXPECT_EQ(lh.rect, (Rect{2, 2, 5, 4}));
  EXPECT_EQ(lh.left, 0);
  EXPECT_EQ(lh.right, 3);
  EXPECT_EQ(lh.top, 3);
  EXPECT_EQ(lh.bottom, 5);
  EXPECT_EQ(hh.rect, (Rect{1, 2, 5, 4}));
  EXPECT_EQ(hh.left, 3);
  EXPECT_EQ(hh.top, 3);
  EXPECT_EQ(hh.right, 7);
  EXPECT_EQ(hh.bottom, 5);
}

TEST(SubbandRect, HoldsAtTheLastCoordinate) {
  const SubbandRect hh = subbandRect(resolutionAt({0, 0, 65535, 65535}), 3);
  EXPECT_EQ(hh.rect, (Rect{0, 0, 32767, 32767}));
  EXPECT_EQ(hh.right, 65535);
}

TEST(Tile, DividesByTheSubsamplingAndRoundsUp) {
  TileBuilder b({5, 6, 18, 19}, 2);
  b.info[1].hsamp = 2;
  b.info[1].vsamp = 2;
  ASSERT_EQ(b.build(), 0);
  EXPECT_EQ(b.tile.components[0].rect, (Rect{5, 6, 18, 19}));
  EXPECT_EQ(b.tile.components[1].rect, (Rect{3, 3, 9, 10}));
  EXPECT_EQ(b.tile.components[1].xStep, 2);
}

TEST(Tile, NarrowTileHasEmptyResolutionsAndSubbands) {
  TileBuilder b({1, 0, 2, 64}, 1, 3);
  ASSERT_EQ(b.build(), 0);
  EXPECT_EQ(b.resolution(2).rect, (Rect{1, 0, 2, 64}));
  EXPECT_EQ(b.resolution(1).rect, (Rect{1, 0, 1, 32}));
  EXPECT_EQ(b.resolution(1).subbandCount, 0);
  EXPECT_EQ(b.resolution(1).precinctCount(), 0u);
  const Resolution& top = b.resolution(2);
  ASSERT_EQ(top.subbandCount, 3);
  EXPECT_TRUE(Resolution::hasPrecincts(top.subbands[0]));   // HL: column 1 is high-pass
  EXPECT_FALSE(Resolution::hasPrecincts(top.subbands[1]));  // LH
  EXPECT_TRUE(Resolution::hasPrecincts(top.subbands[2]));
}

TEST(Tile, BlocksShrinkToThePrecinct) {
  TileBuilder b({0, 0, 64, 64}, 1, 2);
  b.coding().PPx[1] = 3;
  b.coding().PPy[1] = 15;
  ASSERT_EQ(b.build(), 0);
  EXPECT_EQ(b.resolution(1).precinctsWide, 8);
  EXPECT_EQ(b.resolution(1).precinctsHigh, 1);
  const BlockGrid grid = b.resolution(1).subbands[2].precinctGrid(3);
  EXPECT_EQ(grid.area, (Rect{12, 0, 16, 32}));
  EXPECT_EQ(grid.xcb, 2);
  EXPECT_EQ(grid.ycb, 6);
  EXPECT_EQ(grid.wide, 1u);
  EXPECT_EQ(grid.high, 1u);
}

TEST(Tile, GridOfASubbandStartsAtItsOwnFirstCell) {
  TileBuilder b({15, 0, 48, 16}, 1, 2);
  b.coding().PPx[1] = b.coding().PPy[1] = 4;
  ASSERT_EQ(b.build(), 0);
  const Resolution& r = b.resolution(1);
  EXPECT_EQ(r.precinctsWide, 3);
  const Subband& hl = r.subbands[0];  // 7 to 24: starts in the resolution's first cell
  EXPECT_EQ(hl.precinctGrid(0).area, (Rect{7, 0, 8, 8}));
  EXPECT_EQ(hl.precinctGrid(2).area, (Rect{16, 0, 24, 8}));
  const Subband& lh = r.subbands[1];  // 8 to 24: starts past it
  EXPECT_EQ(lh.precinctGrid(0).area, (Rect{8, 0, 16, 8}));
  EXPECT_EQ(lh.precinctGrid(1).area, (Rect{16, 0, 24, 8}));
  EXPECT_TRUE(lh.precinctGrid(2).area.empty());
  EXPECT_EQ(lh.precinctGrid(2).wide, 0u);
  EXPECT_EQ(lh.precinctGrid(2).high, 0u);
}

TEST(Tile, BlocksStandOnTheGridOfTheSubband) {
  TileBuilder b({10, 3, 70, 20});
  b.coding().cblkWidthExp = 5;
  b.coding().cblkHeightExp = 3;
  ASSERT_EQ(b.build(), 0);
  const BlockGrid grid = b.resolution(0).subbands[0].precinctGrid(0);
  EXPECT_EQ(grid.wide, 3u);
  EXPECT_EQ(grid.high, 3u);
  EXPECT_EQ(grid.blockRect(0, 0), (Rect{10, 3, 32, 8}));
  EXPECT_EQ(grid.blockRect(1, 1), (Rect{32, 8, 64, 16}));
  EXPECT_EQ(grid.blockRect(2, 2), (Rect{64, 16, 70, 20}));
}

TEST(Tile, GridHoldsAtTheLastCoordinate) {
  TileBuilder b({65530, 0, 65535, 65535});
  ASSERT_EQ(b.build(), 0);
  EXPECT_EQ(b.resolution(0).precinctsHigh, 2);
  const BlockGrid grid = b.resolution(0).subbands[0].precinctGrid(1);
  EXPECT_EQ(grid.area, (Rect{65530, 32768, 65535, 65535}));
  EXPECT_EQ(grid.wide, 1u);
  EXPECT_EQ(grid.high, 512u);
  EXPECT_EQ(grid.blockRect(0, 511), (Rect{65530, 65472, 65535, 65535}));
}

TEST(Tile, RefusesPrecinctsWithoutAreaAboveTheLowestResolution) {
  for (bool wide : {false, true}) {
    TileBuilder b({0, 0, 8, 8}, 2, 3);
    (wide ? b.coding(1).PPx : b.coding(1).PPy)[2] = 0;
    EXPECT_EQ(b.build(), 3);
  }
  TileBuilder lowest({0, 0, 8, 8}, 1, 3);
  lowest.coding().PPx[0] = lowest.coding().PPy[0] = 0;
  EXPECT_EQ(lowest.build(), 0);
  TileBuilder unused({0, 0, 8, 8}, 1, 3);
  unused.coding().PPx[3] = 0;
  EXPECT_EQ(unused.build(), 0);
}

TEST(Tile, WithoutResolutionsThereIsNothingToAllocate) {
  TileBuilder b({0, 0, 8, 8}, 1, 0);
  EXPECT_EQ(b.build(), 2);
}

}  // namespace
}  // namespace wbx

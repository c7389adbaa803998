#include "tier2/tile_table.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

namespace wbx {
namespace {

ImageHeader header(Rect image, u16 gridX, u16 gridY, u16 tileWide, u16 tileHigh) {
  ImageHeader made;
  made.image = image;
  made.tiles = {gridX, gridY, image.x1, image.y1};
  made.tile = {0, 0, tileWide, tileHigh};
  return made;
}

TEST(TileTable, ClipsTheGridToTheImage) {
  Arena arena(1000);
  TileTable table;
  table.layOut(header({5, 7, 25, 40}, 3, 0, 10, 20));
  ASSERT_EQ(table.create(arena), 0);
  EXPECT_EQ(table.across(), 3);
  EXPECT_EQ(table.down(), 2);
  EXPECT_EQ(table.total(), 6);
  EXPECT_EQ(table.rect(0), (Rect{5, 7, 13, 20}));
  EXPECT_EQ(table.rect(1), (Rect{13, 7, 23, 20}));
  EXPECT_EQ(table.rect(5), (Rect{23, 20, 25, 40}));
}

TEST(TileTable, ReachesTheLastCoordinate) {
  Arena arena(1000);
  TileTable table;
  table.layOut(header({0, 0, 65535, 65535}, 0, 0, 65535, 40000));
  ASSERT_EQ(table.create(arena), 0);
  EXPECT_EQ(table.rect(1), (Rect{0, 40000, 65535, 65535}));
}

TEST(TileTable, RefusesMoreThanItHolds) {
  Arena arena(1000);
  TileTable table;
  table.layOut(header({0, 0, 65535, 65535}, 0, 0, 1, 1));
  EXPECT_EQ(table.total(), i64{65535} * 65535);
  EXPECT_EQ(table.create(arena), 2);
  table.layOut(header({0, 0, 4096, 4096}, 0, 0, 1, 1));
  EXPECT_EQ(table.create(arena), 0);
  table.layOut(header({0, 0, 4097, 4096}, 0, 0, 1, 1));
  EXPECT_EQ(table.create(arena), 2);
}

TEST(TileTable, MakesATileOnDemandAndOnce) {
  Arena arena(1000);
  TileTable table;
  table.layOut(header({0, 0, 1000, 1000}, 0, 0, 10, 10));
  ASSERT_EQ(table.create(arena), 0);
  EXPECT_EQ(table.find(4242), nullptr);
  Tile* tile = table.obtain(4242, arena);
  ASSERT_NE(tile, nullptr);
  EXPECT_EQ(tile->rect, (Rect{420, 420, 430, 430}));
  EXPECT_EQ(tile->arena, &arena);
  EXPECT_EQ(tile->style.component[3].PPx[23], 15);
  EXPECT_FALSE(tile->isBuilt());
  EXPECT_EQ(table.obtain(4242, arena), tile);
  EXPECT_EQ(table.find(4242), tile);
  EXPECT_EQ(table.find(4241), nullptr);
  EXPECT_EQ(table.find(4243), nullptr);
}

TEST(TileTable, FindsTheRecordsOfAHugeGrid) {
  Arena arena(1000);
  TileTable table;
  table.layOut(header({0, 0, 4096, 4096}, 0, 0, 1, 1));
  ASSERT_EQ(table.create(arena), 0);
  EXPECT_EQ(table.nextRecord(0), 4096 * 4096);
  std::vector<i32> met, made = {0, 1, 31, 32, 1023, 1024, 65534};
  for (const i32 i : {1024, 31, 65534, 0, 32, 1, 1023}) ASSERT_NE(table.obtain(i, arena), nullptr);
  for (i32 i = table.nextRecord(0); i < table.total(); i = table.nextRecord(i + 1))
    met.push_back(i);
  EXPECT_EQ(met, made);
}

// Against the plain way: tile by tile.
TEST(TileTable, SelectsRangesOfTiles) {
  struct Change {
    i32 first, last;
    bool state;
  };
  for (const i32 across : {1, 7, 32, 33, 100}) {
    Arena arena(1000);
    TileTable table;
    const u16 width = static_cast<u16>(10 * across);
    table.layOut(header({5, 3, width, 100}, 0, 0, 10, 10));
    ASSERT_EQ(table.create(arena), 0);
    const i32 total = 10 * across;
    std::vector<bool> expected(static_cast<size_t>(total), true);
    EXPECT_TRUE(table.anySelected());
    for (const auto& [first, last, state] :
         {Change{0, 0, false}, Change{total - 1, total - 1, false}, Change{3, total - 4, false},
          Change{0, total - 1, false}, Change{total / 2, total / 2, true}, Change{9, 9, true},
          Change{across - 1, across - 1, true}, Change{0, total - 1, false},
          Change{total - 2, total - 1, true}, Change{0, total - 1, true}}) {
      SCOPED_TRACE(testing::Message() << across << " across, from " << first << " to " << last);
      table.select(first, last, state);
      std::fill(expected.begin() + first, expected.begin() + last + 1, state);
      Rect bounds = {0xFFFF, 0xFFFF, 0, 0};
      bool any = false;
      for (i32 i = 0; i < total; ++i) {
        EXPECT_EQ(table.isSelected(i), expected[static_cast<size_t>(i)]) << i;
        if (!table.isSelected(i)) continue;
        const Rect rect = table.rect(i);
        bounds = {std::min(bounds.x0, rect.x0), std::min(bounds.y0, rect.y0),
                  std::max(bounds.x1, rect.x1), std::max(bounds.y1, rect.y1)};
        any = true;
      }
      ASSERT_EQ(table.anySelected(), any);
      if (any) {
        EXPECT_EQ(table.selectedBounds(), bounds);
      }
    }
  }
}

}  // namespace
}  // namespace wbx

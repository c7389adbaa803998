#include "tier2/tile_table.h"

#include <gtest/gtest.h>

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

TEST(TileTable, SelectsTilesOneByOne) {
  Arena arena(1000);
  TileTable table;
  table.layOut(header({0, 0, 100, 1}, 0, 0, 1, 1));
  ASSERT_EQ(table.create(arena), 0);
  for (i32 i = 0; i < 100; ++i) EXPECT_TRUE(table.isSelected(i));
  table.setSelected(63, false);
  table.setSelected(64, false);
  table.setSelected(64, true);
  table.setSelected(65, true);
  for (i32 i = 0; i < 100; ++i) EXPECT_EQ(table.isSelected(i), i != 63);
}

}  // namespace
}  // namespace wbx

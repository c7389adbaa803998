#include "tier2/tile_table.h"

#include <algorithm>

#include "wbx.h"

namespace wbx {

namespace {

i32 tilesAlong(i32 first, i32 end, i32 size) {
  return (end - first + size - 1) / size;
}

u16 tileStart(i32 index, i32 origin, i32 size, i32 imageStart) {
  return static_cast<u16>(std::max(origin + index * size, imageStart));
}

u16 tileEnd(i32 index, i32 origin, i32 size, i32 imageEnd) {
  return static_cast<u16>(std::min(origin + (index + 1) * size, imageEnd));
}

}  // namespace

void TileTable::layOut(const ImageHeader& header) {
  image_ = header.image;
  grid_ = header.tiles;
  tile_ = header.tile;
  across_ = tilesAlong(grid_.x0, grid_.x1, tile_.x1);
  down_ = tilesAlong(grid_.y0, grid_.y1, tile_.y1);
}

i32 TileTable::create(Arena& arena) {
  if (total() > kMaxTiles) return WBX_ERROR_MEMORY;
  const i64 words = (total() + 31) / 32;
  deselected_ = arena.allocateArray<u32>(words);
  if (deselected_ == nullptr) return WBX_ERROR_MEMORY;
  std::fill_n(deselected_, words, 0u);
  tiles_.setCount(static_cast<u32>(total()));
  return 0;
}

Rect TileTable::rect(i32 index) const {
  const i32 p = index % across_;
  const i32 q = index / across_;
  return {tileStart(p, grid_.x0, tile_.x1, image_.x0), tileStart(q, grid_.y0, tile_.y1, image_.y0),
          tileEnd(p, grid_.x0, tile_.x1, image_.x1), tileEnd(q, grid_.y0, tile_.y1, image_.y1)};
}

Tile* TileTable::obtain(i32 index, Arena& arena) {
  Tile* tile = tiles_.obtain(static_cast<u32>(index), arena);
  if (tile != nullptr && tile->arena == nullptr) {
    tile->arena = &arena;
    tile->rect = rect(index);
  }
  return tile;
}

void TileTable::setSelected(i32 index, bool selected) {
  const u32 bit = 1u << (index & 31);
  u32& word = deselected_[index >> 5];
  word = selected ? word & ~bit : word | bit;
}

}  // namespace wbx

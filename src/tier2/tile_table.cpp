#include "tier2/tile_table.h"

#include <algorithm>
#include <bit>

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
  anySelected_ = total() > 0;
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

void TileTable::select(i32 first, i32 last, bool state) {
  for (i32 i = first >> 5; i <= last >> 5; ++i) {
    u32 mask = ~0u;
    if (i == first >> 5) mask &= ~0u << (first & 31);
    if (i == last >> 5) mask &= ~0u >> (31 - (last & 31));
    deselected_[i] = state ? deselected_[i] & ~mask : deselected_[i] | mask;
  }
  const i32 end = static_cast<i32>(total());
  anySelected_ = firstSelected(0, end) < end;
}

i32 TileTable::firstSelected(i32 first, i32 end) const {
  while (first < end) {
    const u32 selected = ~deselected_[first >> 5] >> (first & 31);
    if (selected != 0) return std::min(first + std::countr_zero(selected), end);
    first = (first | 31) + 1;
  }
  return end;
}

i32 TileTable::lastSelected(i32 first, i32 end) const {
  while (end > first) {
    const i32 last = end - 1;
    const u32 selected = ~deselected_[last >> 5] << (31 - (last & 31));
    if (selected != 0) return std::max(last - std::countl_zero(selected), first - 1);
    end = last & ~31;
  }
  return first - 1;
}

Rect TileTable::selectedBounds() const {
  const i32 end = static_cast<i32>(total());
  const i32 top = firstSelected(0, end) / across_;
  const i32 bottom = lastSelected(0, end) / across_;
  i32 left = across_, right = -1;
  for (i32 row = top * across_; row <= bottom * across_; row += across_) {
    left = firstSelected(row, row + left) - row;
    right = lastSelected(row + right + 1, row + across_) - row;
  }
  const Rect upperLeft = rect(top * across_ + left);
  const Rect lowerRight = rect(bottom * across_ + right);
  return {upperLeft.x0, upperLeft.y0, lowerRight.x1, lowerRight.y1};
}

}  // namespace wbx

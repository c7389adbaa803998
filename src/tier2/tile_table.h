// TileTable: the grid of all tiles of an image (T.800 B.3).
#pragma once

#include "base/arena.h"
#include "base/types.h"
#include "image/image_header.h"
#include "tier2/paged_table.h"
#include "tier2/tile.h"

namespace wbx {

// A tile's record is made by its first SOT; until then the grid alone tells its rectangle.
class TileTable {
 public:
  static constexpr i64 kMaxTiles = i64{1} << 24;

  // Works out the grid of a header that has passed its tests of geometry; allocates nothing.
  void layOut(const ImageHeader& header);
  // Makes the table for that grid. Returns 0 or 2.
  [[nodiscard]] i32 create(Arena& arena);

  [[nodiscard]] i32 across() const { return across_; }
  [[nodiscard]] i32 down() const { return down_; }
  [[nodiscard]] i64 total() const { return i64{across_} * down_; }
  [[nodiscard]] Rect rect(i32 index) const;

  // Null for a tile that no SOT has named.
  [[nodiscard]] Tile* find(i32 index) const { return tiles_.find(static_cast<u32>(index)); }
  // Null when memory runs out.
  [[nodiscard]] Tile* obtain(i32 index, Arena& arena);

  // The first tile at or behind `from` that has a record, or `total`: a walk over records costs
  // what the file has filled, not what its header announces.
  [[nodiscard]] i32 nextRecord(i32 from) const {
    return static_cast<i32>(tiles_.nextTouched(static_cast<u32>(from)));
  }

  // All tiles are selected at first.
  [[nodiscard]] bool isSelected(i32 index) const {
    return ((deselected_[index >> 5] >> (index & 31)) & 1u) == 0;
  }
  // Tiles `first` to `last`, both in the grid; the others stay as they are.
  void select(i32 first, i32 last, bool state);
  [[nodiscard]] bool anySelected() const { return anySelected_; }
  // The smallest rectangle around the selected tiles, of which there is one at least.
  [[nodiscard]] Rect selectedBounds() const;

 private:
  // The first selected tile of [first, end), or `end`; the last one, or `first` - 1.
  [[nodiscard]] i32 firstSelected(i32 first, i32 end) const;
  [[nodiscard]] i32 lastSelected(i32 first, i32 end) const;

  i32 across_ = 0, down_ = 0;
  Rect image_, grid_, tile_;
  bool anySelected_ = false;
  u32* deselected_ = nullptr;  // one bit a tile
  PagedTable<Tile, 0> tiles_;  // a record each
};

}  // namespace wbx

// TileTable: the grid of all tiles of an image (T.800 B.3).
#pragma once

#include "api/arena.h"
#include "api/types.h"
#include "parse/image_header.h"
#include "tier2/paged_table.h"
#include "tier2/tile.h"

namespace wbx {

// A tile's record is made by its first SOT; until then the grid alone tells its rectangle.
class TileTable {
 public:
  static constexpr i64 kMaxTiles = i64{1} << 24;

  // Works out the grid. Returns 0, 3 for a total below 1, or 2.
  [[nodiscard]] i32 create(const ImageHeader& header, Arena& arena);

  [[nodiscard]] i32 across() const { return across_; }
  [[nodiscard]] i32 down() const { return down_; }
  [[nodiscard]] i32 total() const { return total_; }
  [[nodiscard]] Rect rect(i32 index) const;

  [[nodiscard]] Tile* find(i32 index) const { return tiles_.find(static_cast<u32>(index)); }
  [[nodiscard]] Tile* obtain(i32 index, Arena& arena);

  // All tiles are selected at first.
  [[nodiscard]] bool isSelected(i32 index) const {
    return ((deselected_[index >> 5] >> (index & 31)) & 1u) == 0;
  }
  void setSelected(i32 index, bool selected);

 private:
  i32 across_ = 0, down_ = 0, total_ = 0;
  Rect image_, grid_, tile_;
  u32* deselected_ = nullptr;  // one bit a tile
  PagedTable<Tile> tiles_;
};

}  // namespace wbx

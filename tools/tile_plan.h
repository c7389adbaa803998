#ifndef WBX_TOOLS_TILE_PLAN_H
#define WBX_TOOLS_TILE_PLAN_H

#include <cstdint>
#include <optional>
#include <vector>

#include "arguments.h"
#include "file_facts.h"

namespace wbx::tool {

// A block of tiles that is decoded in one call. Rows and columns include the last ones.
struct TileBand {
  uint32_t firstRow = 0;
  uint32_t lastRow = 0;
  uint32_t firstColumn = 0;
  uint32_t lastColumn = 0;
  Rect rect;  // of its tiles, at full size
};

// Which tiles make up a picture, and the bands in which they are decoded from the top down, so that
// no more of a large picture is in memory than the rows of a few tiles.
struct TilePlan {
  Rect picture;  // what is to be seen, at full size
  std::vector<TileBand> bands;
  uint64_t tiles = 0;  // in all bands
};

// For all tiles, or those of a range, which must lie in the grid.
TilePlan planTiles(const SizeFacts& size, const std::optional<TileRange>& range, bool inOneBand);

// For the tiles that a region touches. None if it lies outside the image.
std::optional<TilePlan> planRegion(const SizeFacts& size, const Region& region);

}  // namespace wbx::tool

#endif

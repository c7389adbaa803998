#include <algorithm>
#include <utility>

#include "wbx.h"

#include "api/decoder.h"

namespace wbx {

namespace {

// Widens a bounding rectangle so that it holds another one.
void include(Rect& bounds, const Rect& rect) {
  bounds.x0 = std::min(bounds.x0, rect.x0);
  bounds.y0 = std::min(bounds.y0, rect.y0);
  bounds.x1 = std::max(bounds.x1, rect.x1);
  bounds.y1 = std::max(bounds.y1, rect.y1);
}

}  // namespace

i32 Decoder::resolutionCount() const {
  constexpr i32 kUnlimited = 255;
  i32 smallest = kUnlimited;
  bool anySelected = false;
  for (i32 i = 0; i < tileCount(); ++i) {
    if (!tileTable.isSelected(i)) continue;
    anySelected = true;
    // A tile without a record never met a coding style and limits nothing.
    const Tile* tile = tileTable.find(i);
    if (tile != nullptr) smallest = std::min(smallest, tile->style.smallestResolutions());
  }
  return anySelected ? smallest : 1;
}

i32 Decoder::selectTiles(i32 first, i32 last, bool state) {
  const i32 total = tileCount();
  if (total < 1) return WBX_ERROR_TILE;
  first = std::max(first, 0);
  if (last < 0) last = total - 1;
  if (last < first) std::swap(first, last);
  if (first >= total) return WBX_ERROR_TILE;
  const i32 code = last >= total ? WBX_ERROR_TILE : WBX_OK;
  last = std::min(last, total - 1);

  for (i32 i = first; i <= last; ++i) tileTable.setSelected(i, state);

  Rect bounds = {0xFFFF, 0xFFFF, 0, 0};
  bool anySelected = false;
  for (i32 i = 0; i < total; ++i) {
    if (!tileTable.isSelected(i)) continue;
    anySelected = true;
    include(bounds, tileTable.rect(i));
  }
  if (anySelected) decodeRegion = bounds;
  return code;
}

}  // namespace wbx

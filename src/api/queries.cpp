#include <algorithm>
#include <utility>

#include "wbx.h"

#include "api/decoder.h"

namespace wbx {

i32 Decoder::resolutionCount() const {
  if (!index.tileTable.anySelected()) return 1;
  // A tile without a record never met a coding style and limits nothing.
  constexpr i32 kUnlimited = 255;
  i32 smallest = kUnlimited;
  for (i32 i = index.tileTable.nextRecord(0); i < tileCount();
       i = index.tileTable.nextRecord(i + 1)) {
    if (!index.tileTable.isSelected(i)) continue;
    smallest = std::min(smallest, index.tileTable.find(i)->style.smallestResolutions());
  }
  return smallest;
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

  index.tileTable.select(first, last, state);
  if (index.tileTable.anySelected()) decodeRegion = index.tileTable.selectedBounds();
  return code;
}

}  // namespace wbx

// BandWindow: those rows of a subband that are in work.
#pragma once

#include <algorithm>

#include "base/types.h"
#include "engine/working_area.h"

namespace wbx {

// The rows from one that is still needed to the last one decoded. A window rolls down its band: row
// y takes the place of row y - `rows`. It holds whole rows of code blocks, or the whole band, so no
// code block is cut in two.
template <class Lane>
struct BandWindow {
  Rect rect;            // the subband's
  i32 blockHeight = 1;  // a power of two
  i32 top = 0;          // the row that stands first in the beginning
  i32 rows = 0;
  i64 rowPitch = 0;  // lanes from row to row
  Lane* first = nullptr;

  // `wanted` rows are enough to work with.
  BandWindow(const Rect& band, i32 heightOfBlocks, i64 wanted)
      : rect(band), blockHeight(heightOfBlocks), top(band.y0 & -blockHeight) {
    const i64 enough = (wanted + blockHeight - 1) & -i64{blockHeight};
    if (enough >= rect.y1 - top) top = rect.y0;
    rows = static_cast<i32>(std::min<i64>(enough, rect.y1 - top));
  }

  void carve(Carver& area) {
    // An odd number of cache lines from row to row keeps the rows of a code block out of each
    // other's cache sets.
    constexpr i32 kLineLanes = 32;
    rowPitch = ((rect.width() + kLineLanes - 1) / kLineLanes | 1) * kLineLanes;
    first = area.take<Lane>(rowPitch * rows);
  }

  // In coordinates of the subband.
  [[nodiscard]] Lane* at(i32 x, i32 y) const {
    return first + (y - top) % rows * rowPitch + (x - rect.x0);
  }
  void clear(const Rect& area) const {
    for (i32 y = area.y0; y < area.y1; ++y) std::fill_n(at(area.x0, y), area.width(), Lane{0});
  }
  // The end of the rows for which there is room, if those from row `needed` on must stay.
  [[nodiscard]] i32 roomEnd(i32 needed) const {
    const i32 end = needed + rows;
    return end >= rect.y1 ? i32{rect.y1} : end & -blockHeight;
  }
};

}  // namespace wbx

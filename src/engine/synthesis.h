// One level of the inverse wavelet transform (T.800 F.3) in a single sweep, row by row.
#pragma once

#include <algorithm>
#include <array>

#include "base/types.h"
#include "engine/working_area.h"

namespace wbx {

// The shape of a resolution, and of the four bands that it is rebuilt from. Rows and columns at
// even coordinates are low-pass, so the first ones can be either. Row y, if it is low-pass, holds
// row y / 2 of LL and of HL, otherwise that row of LH and of HH.
struct LevelShape {
  i32 width = 0, height = 0;
  i32 parityX = 0, parityY = 0;  // 1 when the first column or row is high-pass

  LevelShape() = default;
  explicit LevelShape(const Rect& rect)
      : width(rect.width()), height(rect.height()), parityX(rect.x0 & 1), parityY(rect.y0 & 1) {}

  [[nodiscard]] i32 lowColumns() const { return (width + 1 - parityX) / 2; }
  [[nodiscard]] i32 highColumns() const { return (width + parityX) / 2; }
  [[nodiscard]] bool isHighRow(i32 y) const { return ((y + parityY) & 1) != 0; }
  // Among the first `count` rows.
  [[nodiscard]] i32 lowRows(i32 count) const { return (count + 1 - parityY) / 2; }
  [[nodiscard]] i32 highRows(i32 count) const { return (count + parityY) / 2; }
};

// The rows that a level needs for itself.
template <class Lane>
struct Workspace {
  static constexpr i32 kRingRows = 8;  // lifted rows, the reach of the longest filter
  static constexpr i32 kStateRows = 4;
  static constexpr i32 kOutputRows = 2;

  std::array<Lane*, kRingRows> ring = {};
  std::array<Lane*, kOutputRows> output = {};
  std::array<i32*, kStateRows> state = {};  // 32 bits a column: the vertical state of a kernel
  Lane* scratch = nullptr;                  // of one row's lifting; may serve several levels

  void carve(Carver& area, i32 width, Lane* sharedScratch) {
    for (Lane*& row : ring) row = area.takeRow<Lane>(width);
    for (Lane*& row : output) row = area.takeRow<Lane>(width);
    for (i32*& row : state) row = area.takeRow<i32>(width);
    scratch = sharedScratch;
  }
  [[nodiscard]] static i64 scratchLanes(i32 width) { return 2 * (i64{width} + 32); }
  [[nodiscard]] Lane* ringRow(i32 y) const { return ring[static_cast<u32>(y) % kRingRows]; }
};

// Whole-sample symmetric extension (T.800 F.3.7): where a position outside 0 to size - 1 is read.
inline i32 reflect(i32 position, i32 size) {
  if (position >= 0 && position < size) return position;
  if (size == 1) return 0;
  const i32 period = 2 * (size - 1);
  i32 p = position % period;
  if (p < 0) p += period;
  return p < size ? p : period - p;
}

// The pairs of a signal that lifting walks through: an even coordinate and the odd one behind it.
// A result comes out `lag` positions behind the pair that completes it, so the walk starts that
// far in front of the first pair and ends that far behind the last position.
struct PairWalk {
  i32 first, end;

  PairWalk(i32 size, i32 parity, i32 lag) : first(-parity - lag), end(size + lag) {}
};

// A row of planar low-pass and high-pass columns, read by its interleaved column.
template <class Lane>
struct PlanarRow {
  const Lane* low;
  const Lane* high;
  i32 width;
  i32 parity;

  [[nodiscard]] Lane even(i32 column) const { return low[(reflect(column, width) - parity) / 2]; }
  [[nodiscard]] Lane odd(i32 column) const {
    return high[(reflect(column, width) + parity - 1) / 2];
  }
};

// The pairs of a row, mirrored ones in front and behind included, as two arrays.
template <class Lane>
void gatherPairs(const PlanarRow<Lane>& row, const PairWalk& walk, Lane* a, Lane* b) {
  i32 at = walk.first;
  const auto mirrored = [&](i32 end) {
    for (; at < end; at += 2) {
      *a++ = row.even(at);
      *b++ = row.odd(at + 1);
    }
  };
  mirrored(std::min(1 - row.parity, walk.end));
  const i32 inside = (row.width - at) / 2;
  if (inside > 0) {
    a = std::copy_n(row.low + (at - row.parity) / 2, inside, a);
    b = std::copy_n(row.high + (at + row.parity) / 2, inside, b);
    at += 2 * inside;
  }
  mirrored(walk.end);
}

// Horizontal lifting of one row of more than one column, from planar columns to natural order.
// One lane in front of `out` and one behind its end may be written.
template <class K>
void liftRow(const PlanarRow<typename K::Lane>& row, typename K::Lane* scratch,
             typename K::Lane* out) {
  using Lane = typename K::Lane;
  const PairWalk walk(row.width, row.parity, K::kLag);
  const i32 pairs = (walk.end - walk.first + 1) / 2;
  Lane* a = scratch;
  Lane* b = a + pairs;
  Lane* even = b + pairs;
  Lane* odd = even + pairs;
  gatherPairs(row, walk, a, b);
  K::liftPairs(a, b, pairs, even, odd);
  const i32 first = K::kLag / 2;
  K::interleave(even + first, odd + first, (row.width + row.parity + 1) / 2, out - row.parity);
}

// Rebuilds a resolution from its four bands, from the first row to the last. K is the kernel and
// lane type; it gives
//   Lane, kLag
//   liftPairs, interleave        horizontal lifting; liftLoneRow for a level of one row
//   Columns                      the vertical lifting of all columns, pair of rows by pair of rows
//   halve(lane)                  what becomes of a sample that is alone at an odd coordinate
template <class K>
class Synthesis {
 public:
  using Lane = typename K::Lane;

  Synthesis(const LevelShape& shape, const Workspace<Lane>& space)
      : shape_(shape),
        space_(space),
        columns_(space, shape.width),
        pair_(PairWalk(shape.height, shape.parityY, K::kLag).first) {}

  // The next row; it stays until the next call. planarRow(y) gives the rows of the bands, each one
  // when it is needed, and it is needed for the time of that call only.
  template <class PlanarRows>
  [[nodiscard]] const Lane* nextRow(const PlanarRows& planarRow) {
    const i32 y = next_++;
    if (shape_.height == 1) return loneRow(planarRow);
    // The pair behind comes out of the one that is lifted.
    while (y >= pair_ - K::kLag) liftPair(planarRow);
    return space_.output[shape_.isHighRow(y) ? 1 : 0];
  }

 private:
  template <class PlanarRows>
  void liftPair(const PlanarRows& planarRow) {
    const Lane* even = lifted(pair_, planarRow);
    const Lane* odd = lifted(pair_ + 1, planarRow);
    columns_.step(even, odd, space_.output[0], space_.output[1]);
    pair_ += 2;
  }

  template <class PlanarRows>
  const Lane* lifted(i32 y, const PlanarRows& planarRow) {
    y = reflect(y, shape_.height);
    for (; liftedRows_ <= y; ++liftedRows_) {
      const PlanarRow<Lane> row = planarRow(liftedRows_);
      Lane* out = space_.ringRow(liftedRows_);
      if (shape_.width == 1) {
        out[0] = loneSample(row);
      } else {
        liftRow<K>(row, space_.scratch, out);
      }
    }
    return space_.ringRow(y);
  }

  template <class PlanarRows>
  const Lane* loneRow(const PlanarRows& planarRow) {
    const PlanarRow<Lane> row = planarRow(0);
    Lane* out = space_.output[0];
    if (shape_.width == 1) {
      out[0] = loneSample(row);
    } else {
      K::liftLoneRow(row, space_.scratch, out);
    }
    if (shape_.parityY) std::transform(out, out + shape_.width, out, K::halve);
    return out;
  }

  static Lane loneSample(const PlanarRow<Lane>& row) {
    return row.parity ? K::halve(row.high[0]) : row.low[0];
  }

  const LevelShape shape_;
  const Workspace<Lane> space_;
  typename K::Columns columns_;
  i32 pair_;  // the row pair to be lifted next
  i32 liftedRows_ = 0;
  i32 next_ = 0;
};

}  // namespace wbx

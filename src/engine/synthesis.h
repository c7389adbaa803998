// One level of the inverse wavelet transform (T.800 F.3) in a single sweep over the plane.
#pragma once

#include <algorithm>

#include "base/types.h"
#include "engine/working_plane.h"

namespace wbx {

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

// Rebuilds a resolution from its four bands. K is the kernel and lane type; it gives
//   Lane, kLag
//   liftPairs, interleave        horizontal lifting; liftLoneRow for a level of one row
//   Columns                      the vertical lifting of all columns, pair of rows by pair of rows
//   halve(lane)                  what becomes of a sample that is alone at an odd coordinate
// Finished rows go to the sink: target(y, slot) names where row y is to be stored, done(y, lanes)
// is told that it is there. Before each pair of rows `cancelled` is asked; a lone sample is not
// worth it.
template <class K, class Sink, class Cancelled>
void synthesise(const Level<typename K::Lane>& level, const Workspace<typename K::Lane>& space,
                Sink&& sink, const Cancelled& cancelled) {
  using Lane = typename K::Lane;
  const i32 w = level.width, h = level.height;
  if (w < 1 || h < 1) return;

  const auto planar = [&](i32 y) {
    const Lane* lanes = level.row(y);
    return PlanarRow<Lane>{lanes, lanes + level.lowColumns, w, level.parityX};
  };

  if (h == 1) {
    if (w > 1 && cancelled()) return;
    Lane* lifted = space.ring[0];
    if (w == 1) {
      lifted[0] = level.parityX ? K::halve(level.row(0)[0]) : level.row(0)[0];
    } else {
      K::liftLoneRow(planar(0), space.scratch, lifted);
    }
    Lane* to = sink.target(0, space.output[0]);
    for (i32 x = 0; x < w; ++x) to[x] = level.parityY ? K::halve(lifted[x]) : lifted[x];
    sink.done(0, to);
    return;
  }

  i32 liftedRows = 0;
  const auto lifted = [&](i32 y) {
    y = reflect(y, h);
    for (; liftedRows <= y; ++liftedRows) {
      Lane* out = space.ringRow(liftedRows);
      if (w == 1) {
        out[0] = level.parityX ? K::halve(level.row(liftedRows)[0]) : level.row(liftedRows)[0];
      } else {
        liftRow<K>(planar(liftedRows), space.scratch, out);
      }
    }
    return space.ringRow(y);
  };

  typename K::Columns columns(space, w);
  const PairWalk walk(h, level.parityY, K::kLag);
  for (i32 y = walk.first; y < walk.end; y += 2) {
    if (cancelled()) return;
    const Lane* even = lifted(y);
    const Lane* odd = lifted(y + 1);
    const i32 to = y - K::kLag;
    const bool evenInside = to >= 0 && to < h, oddInside = to + 1 >= 0 && to + 1 < h;
    Lane* evenOut = evenInside ? sink.target(to, space.output[0]) : space.output[0];
    Lane* oddOut = oddInside ? sink.target(to + 1, space.output[1]) : space.output[1];
    columns.step(even, odd, evenOut, oddOut);
    if (evenInside) sink.done(to, evenOut);
    if (oddInside) sink.done(to + 1, oddOut);
  }
}

}  // namespace wbx

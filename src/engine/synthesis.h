// One level of the inverse wavelet transform (T.800 F.3) in a single sweep over the plane.
#pragma once

#include <algorithm>

#include "api/types.h"
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

// Horizontal lifting of one row of more than one column by the recurrence of Line, from planar
// columns to natural order. Line::step takes the even and the odd input of a pair and leaves the
// results of the pair `kLag` positions before in evenOut and oddOut.
template <class Line, class Lane>
void liftRowByRecurrence(const PlanarRow<Lane>& row, Lane* out) {
  constexpr i32 kLag = Line::kLag;
  Line line = {};
  const PairWalk walk(row.width, row.parity, kLag);
  const auto step = [&](i32 at, Lane even, Lane odd) {
    line.step(even, odd);
    const i32 to = at - kLag;
    if (to >= 0 && to < row.width) out[to] = static_cast<Lane>(line.evenOut);
    if (to + 1 >= 0 && to + 1 < row.width) out[to + 1] = static_cast<Lane>(line.oddOut);
  };
  i32 at = walk.first;
  for (; at < kLag; at += 2) step(at, row.even(at), row.odd(at + 1));
  const Lane* low = row.low + (at - row.parity) / 2;
  const Lane* high = row.high + (at + row.parity) / 2;
  for (; at + 1 < row.width; at += 2) {
    line.step(*low++, *high++);
    out[at - kLag] = static_cast<Lane>(line.evenOut);
    out[at - kLag + 1] = static_cast<Lane>(line.oddOut);
  }
  for (; at < walk.end; at += 2) step(at, row.even(at), row.odd(at + 1));
}

// Rebuilds a resolution from its four bands. K is the kernel and lane type; it gives
//   Lane, kLag
//   liftRow(row, out)            horizontal lifting; liftLoneRow for a level of one row
//   Columns                      the vertical lifting of all columns, pair of rows by pair of rows
//   halve(lane)                  what becomes of a sample that is alone at an odd coordinate
// Finished rows go to the sink: target(y, slot) names where row y is to be stored, done(y, lanes)
// is told that it is there. Before each pair of rows `cancelled` is asked.
template <class K, class Sink, class Cancelled>
void synthesise(const Level<typename K::Lane>& level, const Workspace<typename K::Lane>& space,
                Sink& sink, const Cancelled& cancelled) {
  using Lane = typename K::Lane;
  const i32 w = level.width, h = level.height;
  if (w < 1 || h < 1) return;

  const auto planar = [&](i32 y) {
    const Lane* lanes = level.row(y);
    return PlanarRow<Lane>{lanes, lanes + level.lowColumns, w, level.parityX};
  };

  if (h == 1) {
    if (cancelled()) return;
    Lane* lifted = space.ring[0];
    if (w == 1) {
      lifted[0] = level.parityX ? K::halve(level.row(0)[0]) : level.row(0)[0];
    } else {
      K::liftLoneRow(planar(0), lifted);
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
        K::liftRow(planar(liftedRows), out);
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

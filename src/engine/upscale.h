// Upscaler: the last resolution made from the one below it, with no code block touched.
#pragma once

#include <algorithm>

#include "base/types.h"
#include "engine/working_plane.h"

namespace wbx {

// Bilinear: the samples of the low band stand at the even coordinates, and the gaps are averages.
// The last column and the last row of the low band are given up: the average before them is
// repeated in their place. A band that is empty in one direction gives lanes of 0.
template <class K>
class Upscaler {
 public:
  using Lane = typename K::Lane;

  Upscaler(const Level<Lane>& level, i32 lowRows) : level_(level), lowRows_(lowRows) {}

  // Row y of the last resolution; up to two lanes behind its width are written as well.
  void makeRow(i32 y, Lane* out) const {
    if (lowRows_ == 0 || level_.lowColumns == 0) {
      std::fill_n(out, level_.width, Lane{0});
      return;
    }
    const i32 lastPair = lowRows_ - 2;
    const i32 j = y < level_.parityY ? 0 : (y - level_.parityY) / 2;
    const bool between = y >= level_.parityY && ((y - level_.parityY) & 1) != 0;
    if (lastPair < 0) {
      makeSampleRow(0, out);
    } else if (between || j > lastPair) {
      makeRowBetween(std::min(j, lastPair), out);
    } else {
      makeSampleRow(j, out);
    }
  }

 private:
  [[nodiscard]] const Lane* lowRow(i32 j) const { return level_.row(level_.parityY + 2 * j); }

  void makeSampleRow(i32 j, Lane* out) const {
    const Lane* a = lowRow(j);
    interleave(
        out, [a](i32 i) { return a[i]; }, [a](i32 i) { return K::average(a[i], a[i + 1]); });
  }

  void makeRowBetween(i32 j, Lane* out) const {
    const Lane* a = lowRow(j);
    const Lane* d = lowRow(j + 1);
    interleave(
        out, [a, d](i32 i) { return K::average(a[i], d[i]); },
        [a, d](i32 i) { return K::average(a[i], a[i + 1], d[i], d[i + 1]); });
  }

  template <class Sample, class Gap>
  void interleave(Lane* out, const Sample& sample, const Gap& gap) const {
    const i32 last = level_.lowColumns - 1;
    Lane* to = out + level_.parityX;
    for (i32 i = 0; i < last; ++i) {
      to[2 * i] = sample(i);
      to[2 * i + 1] = gap(i);
    }
    to[2 * last] = to[2 * last + 1] = last > 0 ? to[2 * last - 1] : sample(0);
    if (level_.parityX) out[0] = sample(0);
  }

  Level<Lane> level_;
  i32 lowRows_;
};

}  // namespace wbx

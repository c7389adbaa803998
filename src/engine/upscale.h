// Upscaler: the last resolution made from the one below it, with no code block touched.
#pragma once

#include <algorithm>

#include "base/types.h"
#include "engine/synthesis.h"

namespace wbx {

// Bilinear: the samples of the low band stand at the even coordinates, and the gaps are averages.
// The last column and the last row of the low band are given up: the average before them is
// repeated in their place. A band that is empty in one direction gives lanes of 0.
template <class K>
class Upscaler {
 public:
  using Lane = typename K::Lane;

  // `space` lends it a few rows.
  Upscaler(const LevelShape& shape, const Workspace<Lane>& space)
      : shape_(shape), space_(space), lowRows_(shape.lowRows(shape.height)) {}

  // Row y of the last resolution; the rows come in their order, and each stays until the next one.
  // lowRow(j) gives row j of the resolution below, and is asked for each of them once, in order.
  template <class LowRows>
  [[nodiscard]] const Lane* makeRow(i32 y, const LowRows& lowRow) {
    Lane* out = space_.output[0];  // up to two lanes behind its width are written as well
    if (lowRows_ == 0 || shape_.lowColumns() == 0) {
      std::fill_n(out, shape_.width, Lane{0});
      return out;
    }
    const i32 lastPair = lowRows_ - 2;
    const i32 j = y < shape_.parityY ? 0 : (y - shape_.parityY) / 2;
    const bool between = y >= shape_.parityY && ((y - shape_.parityY) & 1) != 0;
    hold(std::min(j + 1, lowRows_ - 1), lowRow);
    if (lastPair < 0) {
      makeSampleRow(0, out);
    } else if (between || j > lastPair) {
      makeRowBetween(std::min(j, lastPair), out);
    } else {
      makeSampleRow(j, out);
    }
    return out;
  }

 private:
  // Copies the rows up to row j. The two last ones are there.
  template <class LowRows>
  void hold(i32 j, const LowRows& lowRow) {
    for (; held_ <= j; ++held_) std::copy_n(lowRow(held_), shape_.lowColumns(), rowAt(held_));
  }
  [[nodiscard]] Lane* rowAt(i32 j) const { return space_.ring[static_cast<u32>(j) % 2]; }

  void makeSampleRow(i32 j, Lane* out) const {
    const Lane* a = rowAt(j);
    interleave(
        out, [a](i32 i) { return a[i]; }, [a](i32 i) { return K::average(a[i], a[i + 1]); });
  }

  void makeRowBetween(i32 j, Lane* out) const {
    const Lane* a = rowAt(j);
    const Lane* d = rowAt(j + 1);
    interleave(
        out, [a, d](i32 i) { return K::average(a[i], d[i]); },
        [a, d](i32 i) { return K::average(a[i], a[i + 1], d[i], d[i + 1]); });
  }

  template <class Sample, class Gap>
  void interleave(Lane* out, const Sample& sample, const Gap& gap) const {
    const i32 last = shape_.lowColumns() - 1;
    Lane* to = out + shape_.parityX;
    for (i32 i = 0; i < last; ++i) {
      to[2 * i] = sample(i);
      to[2 * i + 1] = gap(i);
    }
    to[2 * last] = to[2 * last + 1] = last > 0 ? to[2 * last - 1] : sample(0);
    if (shape_.parityX) out[0] = sample(0);
  }

  const LevelShape shape_;
  const Workspace<Lane> space_;
  const i32 lowRows_;
  i32 held_ = 0;
};

}  // namespace wbx

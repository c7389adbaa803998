// Decoded code blocks into the lanes of the plane: ROI shift and reconstruction (T.800 E.1, H.1).
#pragma once

#include <algorithm>

#include "api/types.h"
#include "tier1/block_decoder.h"

namespace wbx {

// Where a subband lies in the plane.
template <class Lane>
struct BandPlace {
  Lane* first;   // of its first sample
  i64 rowPitch;  // lanes from one row of the band to the next
  Rect rect;     // the subband's rectangle

  [[nodiscard]] Lane* at(u16 x, u16 y) const {
    return first + (y - rect.y0) * rowPitch + (x - rect.x0);
  }
};

// The sign-magnitude coefficient with its region of interest shifted back, and the point inside
// its uncertainty at which a block that stops above plane 0 is rebuilt. `value` is the magnitude
// with 2 fractional bits; the shift drops the sign and the top magnitude bit.
class Reconstruction {
 public:
  Reconstruction(i32 lastPlane, i32 roiShift)
      : midpoint_(roiShift == 0 && lastPlane > 0 ? u32{2} << lastPlane : 0),
        roiShift_(roiShift >= 1 && roiShift <= 30 ? static_cast<u32>(roiShift) : 0),
        // Magnitudes below 2^roiShift belong to the background and stay.
        roiLimit_(roiShift_ != 0 ? u32{1} << roiShift_ : 0x80000000) {}

  [[nodiscard]] u32 shifted(u32 coefficient) const {
    const u32 magnitude = coefficient & 0x7FFFFFFF;
    return magnitude < roiLimit_ ? coefficient
                                 : (coefficient & 0x80000000) | (magnitude >> roiShift_);
  }
  // Not for a coefficient of 0.
  [[nodiscard]] i32 value(u32 coefficient) const {
    return signedValue(coefficient, (coefficient << 2) | midpoint_);
  }
  [[nodiscard]] static i32 valueWithoutMidpoint(u32 coefficient) {
    return signedValue(coefficient, coefficient << 2);
  }
  [[nodiscard]] bool hasRoi() const { return roiShift_ != 0; }

 private:
  static i32 signedValue(u32 coefficient, u32 t) {
    return static_cast<i32>(coefficient >> 31 ? 0 - t : t);
  }

  u32 midpoint_;
  u32 roiShift_;
  u32 roiLimit_;
};

// Moves the decoder's block to the place whose first lane is `to`. `Dequantizer` makes a lane of
// a coefficient that is not 0.
template <class Dequantizer, class Lane>
void transferBlock(const BlockDecoder& block, i32 width, i32 height, const Reconstruction& rebuilt,
                   const Dequantizer& dequantize, Lane* to, i64 rowPitch) {
  for (i32 y = 0; y < height; ++y) {
    const u32* from = block.quad(0, y) + (y & 3);
    Lane* row = to + y * rowPitch;
    if (rebuilt.hasRoi()) {
      for (i32 x = 0; x < width; ++x) {
        const u32 v = rebuilt.shifted(from[4 * x]);
        row[x] = v == 0 ? Lane{0} : dequantize(v, rebuilt);
      }
    } else {
      for (i32 x = 0; x < width; ++x) {
        const u32 v = from[4 * x];
        row[x] = v == 0 ? Lane{0} : dequantize(v, rebuilt);
      }
    }
  }
}

template <class Lane>
void clearLanes(Lane* to, i64 rowPitch, i32 width, i32 height) {
  for (i32 y = 0; y < height; ++y) std::fill_n(to + y * rowPitch, width, Lane{0});
}

}  // namespace wbx

// Coefficients to 16-bit lanes.
#pragma once

#include "base/types.h"
#include "engine/kernels.h"
#include "engine/quantizer_step.h"
#include "image/coding_style.h"

namespace wbx {

// Integers on the 5-3 path, 6 fractional bits on the 9-7 path. Both are one product and one shift,
// the 5-3 path by the scale that undoes them; lanes wrap.
template <Kernel kernel>
class Dequantizer8 {
 public:
  Dequantizer8(i32 precision, u16 stepSizeEntry)
      : scale_(kernel == kKernel53
                   ? 1024
                   : static_cast<u32>(quantizerStep(precision, stepSizeEntry) * 65536.0f)) {}

  void operator()(const u32* quads, i32 columns, u32 midpoint, i16* const rows[4]) const {
    kernels().transferFixed(quads, columns, midpoint, scale_, rows);
  }

 private:
  u32 scale_;
};

}  // namespace wbx

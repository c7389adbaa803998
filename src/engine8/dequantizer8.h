// Coefficients to 16-bit lanes.
#pragma once

#include "api/types.h"
#include "engine/quantizer_step.h"
#include "engine/transfer.h"
#include "parse/coding_style.h"

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

  i16 operator()(u32 coefficient, const Reconstruction& rebuilt) const {
    const u32 product = static_cast<u32>(rebuilt.value(coefficient)) * scale_;
    return static_cast<i16>(static_cast<i32>(product) >> 12);
  }

 private:
  u32 scale_;
};

}  // namespace wbx

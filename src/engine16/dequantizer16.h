// Coefficients to 32-bit lanes.
#pragma once

#include "base/types.h"
#include "engine/kernels.h"
#include "engine/quantizer_step.h"
#include "image/coding_style.h"

namespace wbx {

// Plain magnitudes on the 5-3 path, even where a block stops above plane 0; sample units on the
// 9-7 path, rounded once.
template <Kernel kernel>
class Dequantizer16 {
 public:
  Dequantizer16(i32 precision, u16 stepSizeEntry)
      : step_(kernel == kKernel53 ? 0.0f : quantizerStep(precision, stepSizeEntry) * 0.25f) {}

  void operator()(const u32* quads, i32 columns, u32, i32* const rows[4]) const {
    kernels().transferInteger(quads, columns, rows);
  }
  void operator()(const u32* quads, i32 columns, u32 midpoint, f32* const rows[4]) const {
    kernels().transferFloat(quads, columns, midpoint, f64{step_}, rows);
  }

 private:
  f32 step_;
};

}  // namespace wbx

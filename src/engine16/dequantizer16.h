// Coefficients to 32-bit lanes.
#pragma once

#include <type_traits>

#include "api/types.h"
#include "engine/quantizer_step.h"
#include "engine/transfer.h"
#include "parse/coding_style.h"

namespace wbx {

// Plain magnitudes on the 5-3 path, even where a block stops above plane 0; sample units on the
// 9-7 path, rounded once.
template <Kernel kernel>
class Dequantizer16 {
 public:
  using Lane = std::conditional_t<kernel == kKernel53, i32, f32>;

  Dequantizer16(i32 precision, u16 stepSizeEntry)
      : step_(kernel == kKernel53 ? 0.0f : quantizerStep(precision, stepSizeEntry) * 0.25f) {}

  Lane operator()(u32 coefficient, const Reconstruction& rebuilt) const {
    if constexpr (kernel == kKernel53) {
      return Reconstruction::valueWithoutMidpoint(coefficient) >> 2;
    } else {
      return static_cast<f32>(static_cast<f64>(rebuilt.value(coefficient)) * f64{step_});
    }
  }

 private:
  f32 step_;
};

}  // namespace wbx

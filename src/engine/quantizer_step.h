// The quantization step of a subband (T.800 E.1.1).
#pragma once

#include "base/types.h"

namespace wbx {

// (1 + mantissa / 2048) * 2^(precision - exponent), exact in 32 bits. The gain of the subband is
// left out of the nominal range; the high-pass factor 2 / K of the 9-7 kernels makes up for it.
inline f32 quantizerStep(i32 precision, u16 stepSizeEntry) {
  const i32 exponent = stepSizeEntry >> 11, mantissa = stepSizeEntry & 0x7FF;
  const i32 shift = precision - exponent;
  const f64 scale = shift >= 0 ? static_cast<f64>(1u << shift) : 1.0 / (1u << -shift);
  return static_cast<f32>((mantissa * 0.00048828125 + 1.0) * scale);
}

}  // namespace wbx

// The irreversible 9-7 kernel (T.800 F.3.8.1) on 32-bit floats.
#pragma once

#include <algorithm>
#include <array>

#include "base/types.h"
#include "engine/kernels.h"
#include "engine/synthesis.h"
#include "image/coding_style.h"

namespace wbx {

struct Kernel97Float {
  using Lane = f32;
  static constexpr Kernel kKernel = kKernel97;
  static constexpr i32 kLag = 4;

  static constexpr f32 halve(f32 v) { return v; }  // a lone sample is taken as it stands

  // In double precision, in this order, rounded once.
  static constexpr f32 average(f32 a, f32 b) { return static_cast<f32>((f64{a} + b) * 0.5); }
  static constexpr f32 average(f32 a, f32 right, f32 below, f32 belowRight) {
    return static_cast<f32>((f64{right} + belowRight + below + a) * 0.25);
  }

  static void liftPairs(const f32* a, const f32* b, i32 pairs, f32* even, f32* odd) {
    kernels().liftPairs97Float(a, b, pairs, even, odd);
  }
  static void interleave(const f32* even, const f32* odd, i32 pairs, f32* out) {
    kernels().interleaveF32(even, odd, pairs, out);
  }
  static void liftLoneRow(const PlanarRow<f32>& row, f32* scratch, f32* out) {
    liftRow<Kernel97Float>(row, scratch, out);
  }

  class Columns {
   public:
    Columns(const Workspace<f32>& space, i32 count) : count_(count) {
      for (size_t k = 0; k < state_.size(); ++k) {
        state_[k] = reinterpret_cast<f32*>(space.state[k]);
        std::fill_n(state_[k], count, 0.0f);
      }
    }

    void step(const f32* a, const f32* b, f32* evenOut, f32* oddOut) {
      kernels().liftColumns97Float(a, b, count_, state_.data(), evenOut, oddOut);
    }

   private:
    i32 count_;
    std::array<f32*, 4> state_;
  };
};

}  // namespace wbx

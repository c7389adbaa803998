// The irreversible 9-7 kernel (T.800 F.3.8.1) on 32-bit floats.
#pragma once

#include <algorithm>
#include <bit>

#include "api/types.h"
#include "engine/synthesis.h"
#include "parse/coding_style.h"

namespace wbx {

// Each expression of a step is evaluated in double precision and feeds the next one unrounded; a
// value is rounded to 32 bits only as it is kept for the next pair. A build must not contract
// these expressions to fused multiply-adds.
struct Kernel97Float {
  using Lane = f32;
  static constexpr Kernel kKernel = kKernel97;
  static constexpr i32 kLag = 4;

  static constexpr f64 kEven = std::bit_cast<f32>(0x3F9D7658);  // K
  static constexpr f64 kOdd = std::bit_cast<f32>(0x3FD019C3);   // 2 / K, with the subband gain
  static constexpr f64 kDelta = std::bit_cast<f32>(0x3EE31355);
  static constexpr f64 kGamma = std::bit_cast<f32>(0x3F620676);
  static constexpr f64 kBeta = std::bit_cast<f32>(0x3D5901AE);
  static constexpr f64 kAlpha = std::bit_cast<f32>(0x3FCB0673);

  static constexpr f32 halve(f32 v) { return v; }  // a lone sample is taken as it stands

  static constexpr f32 average(f32 a, f32 b) { return static_cast<f32>((f64{a} + b) * 0.5); }
  static constexpr f32 average(f32 a, f32 right, f32 below, f32 belowRight) {
    return static_cast<f32>((f64{right} + belowRight + below + a) * 0.25);
  }

  struct Line {
    static constexpr i32 kLag = Kernel97Float::kLag;
    f32 o, e1, o1, e2;
    f32 evenOut, oddOut;

    void step(f32 a, f32 b) {
      const f64 nextO = b * kOdd;
      const f64 nextE1 = a * kEven - (nextO + o) * kDelta;
      const f64 nextO1 = o - (nextE1 + e1) * kGamma;
      const f64 nextE2 = e1 + (nextO1 + o1) * kBeta;
      oddOut = static_cast<f32>(o1 + (nextE2 + e2) * kAlpha);
      evenOut = e2;
      o = static_cast<f32>(nextO);
      e1 = static_cast<f32>(nextE1);
      o1 = static_cast<f32>(nextO1);
      e2 = static_cast<f32>(nextE2);
    }
  };

  static void liftRow(const PlanarRow<f32>& row, f32* out) { liftRowByRecurrence<Line>(row, out); }
  static void liftLoneRow(const PlanarRow<f32>& row, f32* out) { liftRow(row, out); }

  class Columns {
   public:
    Columns(const Workspace<f32>& space, i32 count) : count_(count) {
      for (size_t k = 0; k < 4; ++k) {
        state_[k] = reinterpret_cast<f32*>(space.state[k]);
        std::fill_n(state_[k], count, 0.0f);
      }
    }

    void step(const f32* even, const f32* odd, f32* evenOut, f32* oddOut) {
      for (i32 x = 0; x < count_; ++x) {
        Line line;
        line.o = state_[0][x];
        line.e1 = state_[1][x];
        line.o1 = state_[2][x];
        line.e2 = state_[3][x];
        line.step(even[x], odd[x]);
        state_[0][x] = line.o;
        state_[1][x] = line.e1;
        state_[2][x] = line.o1;
        state_[3][x] = line.e2;
        evenOut[x] = line.evenOut;
        oddOut[x] = line.oddOut;
      }
    }

   private:
    i32 count_;
    f32* state_[4];
  };
};

}  // namespace wbx

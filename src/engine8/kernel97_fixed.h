// The irreversible 9-7 kernel (T.800 F.3.8.1) in fixed point: 16-bit lanes with 6 fractional bits.
#pragma once

#include <algorithm>

#include "api/types.h"
#include "engine/synthesis.h"
#include "parse/coding_style.h"

namespace wbx {

// The factors, their shifts and the order of the steps define the result to the last bit. The
// odd factor is 2 / K and not 1 / K, since the step sizes leave the gain of the subbands out.
struct Kernel97Fixed {
  using Lane = i16;
  static constexpr Kernel kKernel = kKernel97;
  static constexpr i32 kLag = 4;

  static constexpr i32 kEven = 10077;     // K, 13 fractional bits
  static constexpr i32 kOdd = 13318;      // 2 / K, 13
  static constexpr i32 kDelta = -7266;    // 14
  static constexpr i32 kGamma = -14465;   // 14
  static constexpr i32 kBeta4 = 1736;     // four times beta, 13; its sum loses 2 bits first
  static constexpr i32 kAlpha = 12993;    // 13

  static constexpr i16 halve(i16 v) { return v; }  // a lone sample is taken as it stands

  static constexpr i16 average(i16 a, i16 b) { return static_cast<i16>((a + b) >> 1); }
  static constexpr i16 average(i16 a, i16 right, i16 below, i16 belowRight) {
    return static_cast<i16>((a + right + below + belowRight) >> 2);
  }

  // Multiply-and-add hardware takes 16-bit operands, so each factor meets the low 16 bits of a sum.
  static constexpr i32 multiply(i32 v, i32 factor, i32 shift) {
    return (static_cast<i16>(v) * factor) >> shift;
  }

  // Every stage looks one position further back; o, e1, o1 and e2 are what a pair leaves behind.
  struct Line {
    static constexpr i32 kLag = Kernel97Fixed::kLag;
    i32 o, e1, o1, e2;
    i32 evenOut, oddOut;

    void step(i32 a, i32 b) {
      const i32 nextO = multiply(b, kOdd, 13);
      const i32 nextE1 = multiply(a, kEven, 13) + multiply(nextO + o, kDelta, 14);
      const i32 nextO1 = o + multiply(nextE1 + e1, kGamma, 14);
      const i32 nextE2 = e1 + multiply((nextO1 + o1) >> 2, kBeta4, 13);
      oddOut = o1 + multiply(nextE2 + e2, kAlpha, 13);
      evenOut = e2;
      o = nextO;
      e1 = nextE1;
      o1 = nextO1;
      e2 = nextE2;
    }
  };

  // A level of one row or one column is lifted in plain 32-bit arithmetic.
  struct LoneLine {
    static constexpr i32 kLag = Kernel97Fixed::kLag;
    i32 o, e1, o1, e2;
    i32 evenOut, oddOut;

    void step(i32 a, i32 b) {
      const i32 nextO = product(b, 13318) >> 13;
      const i32 nextE1 = wrap(i64{a} * 10077 - i64{3633} * (i64{nextO} + o)) >> 13;
      const i32 nextO1 = o + (product(nextE1 + e1, -7232) >> 13);
      const i32 nextE2 = e1 + (product(nextO1 + o1, 434) >> 13);
      oddOut = o1 + (product(nextE2 + e2, 12993) >> 13);
      evenOut = e2;
      o = nextO;
      e1 = nextE1;
      o1 = nextO1;
      e2 = nextE2;
    }

   private:
    static constexpr i32 wrap(i64 v) { return static_cast<i32>(static_cast<u32>(v)); }
    static constexpr i32 product(i32 v, i32 factor) { return wrap(i64{v} * factor); }
  };

  static void liftRow(const PlanarRow<i16>& row, i16* out) { liftRowByRecurrence<Line>(row, out); }
  static void liftLoneRow(const PlanarRow<i16>& row, i16* out) {
    liftRowByRecurrence<LoneLine>(row, out);
  }

  class Columns {
   public:
    Columns(const Workspace<i16>& space, i32 count) : count_(count), space_(space) {
      for (i32* state : space_.state) std::fill_n(state, count, 0);
    }

    void step(const i16* even, const i16* odd, i16* evenOut, i16* oddOut) {
      if (count_ == 1) {
        run<LoneLine>(even, odd, evenOut, oddOut);
      } else {
        run<Line>(even, odd, evenOut, oddOut);
      }
    }

   private:
    template <class L>
    void run(const i16* even, const i16* odd, i16* evenOut, i16* oddOut) {
      i32* o = space_.state[0];
      i32* e1 = space_.state[1];
      i32* o1 = space_.state[2];
      i32* e2 = space_.state[3];
      for (i32 x = 0; x < count_; ++x) {
        L line;
        line.o = o[x];
        line.e1 = e1[x];
        line.o1 = o1[x];
        line.e2 = e2[x];
        line.step(even[x], odd[x]);
        o[x] = line.o;
        e1[x] = line.e1;
        o1[x] = line.o1;
        e2[x] = line.e2;
        evenOut[x] = static_cast<i16>(line.evenOut);
        oddOut[x] = static_cast<i16>(line.oddOut);
      }
    }

    i32 count_;
    Workspace<i16> space_;
  };
};

}  // namespace wbx

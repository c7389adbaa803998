// The irreversible 9-7 kernel (T.800 F.3.8.1) in fixed point: 16-bit lanes with 6 fractional bits.
#pragma once

#include <algorithm>

#include "base/types.h"
#include "engine/kernels.h"
#include "engine/synthesis.h"
#include "image/coding_style.h"

namespace wbx {

struct Kernel97Fixed {
  using Lane = i16;
  static constexpr Kernel kKernel = kKernel97;
  static constexpr i32 kLag = 4;

  static constexpr i16 halve(i16 v) { return v; }  // a lone sample is taken as it stands

  static constexpr i16 average(i16 a, i16 b) { return static_cast<i16>((a + b) >> 1); }
  static constexpr i16 average(i16 a, i16 right, i16 below, i16 belowRight) {
    return static_cast<i16>((a + right + below + belowRight) >> 2);
  }

  static void liftPairs(const i16* a, const i16* b, i32 pairs, i16* even, i16* odd) {
    kernels().liftPairs97Fixed(a, b, pairs, even, odd);
  }
  static void interleave(const i16* even, const i16* odd, i32 pairs, i16* out) {
    kernels().interleave16(even, odd, pairs, out);
  }

  // A level of one row or one column is lifted in plain 32-bit arithmetic. o, e1, o1 and e2 are
  // what one pair leaves behind for the next.
  struct LoneLine {
    i32 o = 0, e1 = 0, o1 = 0, e2 = 0;
    i16 evenOut = 0, oddOut = 0;

    void step(i32 a, i32 b) {
      const i32 nextO = product(b, 13318) >> 13;
      const i32 nextE1 = wrap(i64{a} * 10077 - i64{3633} * (i64{nextO} + o)) >> 13;
      const i32 nextO1 = o + (product(nextE1 + e1, -7232) >> 13);
      const i32 nextE2 = e1 + (product(nextO1 + o1, 434) >> 13);
      oddOut = wrapTo<i16>(o1 + (product(nextE2 + e2, 12993) >> 13));
      evenOut = wrapTo<i16>(e2);
      o = nextO;
      e1 = nextE1;
      o1 = nextO1;
      e2 = nextE2;
    }

   private:
    static constexpr i32 wrap(i64 v) { return wrapTo<i32>(v); }
    static constexpr i32 product(i32 v, i32 factor) { return wrap(i64{v} * factor); }
  };

  static void liftLoneRow(const PlanarRow<i16>& row, i16*, i16* out) {
    LoneLine line;
    const PairWalk walk(row.width, row.parity, kLag);
    for (i32 at = walk.first; at < walk.end; at += 2) {
      line.step(row.even(at), row.odd(at + 1));
      const i32 to = at - kLag;
      if (to >= 0 && to < row.width) out[to] = line.evenOut;
      if (to + 1 >= 0 && to + 1 < row.width) out[to + 1] = line.oddOut;
    }
  }

  class Columns {
   public:
    Columns(const Workspace<i16>& space, i32 count) : count_(count), state_(space.state) {
      for (i32* state : state_) std::fill_n(state, count, 0);
    }

    void step(const i16* a, const i16* b, i16* evenOut, i16* oddOut) {
      if (count_ > 1) {
        kernels().liftColumns97Fixed(a, b, count_, state_.data(), evenOut, oddOut);
        return;
      }
      lone_.step(a[0], b[0]);
      evenOut[0] = lone_.evenOut;
      oddOut[0] = lone_.oddOut;
    }

   private:
    i32 count_;
    std::array<i32*, 4> state_;
    LoneLine lone_;
  };
};

}  // namespace wbx

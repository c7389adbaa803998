// The reversible 5-3 kernel (T.800 F.3.8.2), for lanes of either engine.
#pragma once

#include <algorithm>

#include "api/types.h"
#include "engine/synthesis.h"
#include "parse/coding_style.h"

namespace wbx {

// Sums are formed in 32 bits, and what is kept has the width of the lane and wraps.
template <class L>
struct Kernel53 {
  using Lane = L;
  static constexpr Kernel kKernel = kKernel53;
  static constexpr i32 kLag = 2;

  // The even sample a between the odd ones on its two sides.
  static constexpr L liftEven(L a, L before, L behind) {
    return static_cast<L>(subtract(a, add(add(before, behind), 2) >> 2));
  }
  // The odd sample b between the even results on its two sides.
  static constexpr L liftOdd(L b, L before, L behind) {
    return static_cast<L>(add(b, add(before, behind) >> 1));
  }
  // T.800 F.3.6: a signal of one sample at an odd coordinate.
  static constexpr L halve(L v) { return static_cast<L>(v >> 1); }

  static constexpr L average(L a, L b) { return static_cast<L>(add(a, b) >> 1); }
  static constexpr L average(L a, L right, L below, L belowRight) {
    return static_cast<L>(add(add(a, right), add(below, belowRight)) >> 2);
  }

  struct Line {
    static constexpr i32 kLag = Kernel53::kLag;
    L evenPrev, oddIn;
    L evenOut, oddOut;

    void step(L a, L b) {
      const L even = liftEven(a, oddIn, b);
      evenOut = evenPrev;
      oddOut = liftOdd(oddIn, evenPrev, even);
      evenPrev = even;
      oddIn = b;
    }
  };

  static void liftRow(const PlanarRow<L>& row, L* out) { liftRowByRecurrence<Line>(row, out); }
  static void liftLoneRow(const PlanarRow<L>& row, L* out) { liftRow(row, out); }

  class Columns {
   public:
    Columns(const Workspace<L>& space, i32 count)
        : count_(count),
          evenPrev_(reinterpret_cast<L*>(space.state[0])),
          oddIn_(reinterpret_cast<L*>(space.state[1])) {
      std::fill_n(evenPrev_, count, L{0});
      std::fill_n(oddIn_, count, L{0});
    }

    void step(const L* even, const L* odd, L* evenOut, L* oddOut) {
      for (i32 x = 0; x < count_; ++x) {
        const L lifted = liftEven(even[x], oddIn_[x], odd[x]);
        evenOut[x] = evenPrev_[x];
        oddOut[x] = liftOdd(oddIn_[x], evenPrev_[x], lifted);
        evenPrev_[x] = lifted;
        oddIn_[x] = odd[x];
      }
    }

   private:
    i32 count_;
    L* evenPrev_;
    L* oddIn_;
  };

 private:
  static constexpr i32 add(i32 a, i32 b) {
    return static_cast<i32>(static_cast<u32>(a) + static_cast<u32>(b));
  }
  static constexpr i32 subtract(i32 a, i32 b) {
    return static_cast<i32>(static_cast<u32>(a) - static_cast<u32>(b));
  }
};

}  // namespace wbx

// The reversible 5-3 kernel (T.800 F.3.8.2), for lanes of either engine.
#pragma once

#include <algorithm>

#include "base/types.h"
#include "engine/kernels.h"
#include "engine/synthesis.h"
#include "image/coding_style.h"

namespace wbx {

template <class L>
struct Kernel53 {
  using Lane = L;
  static constexpr Kernel kKernel = kKernel53;
  static constexpr i32 kLag = 2;

  // T.800 F.3.6: a signal of one sample at an odd coordinate.
  static constexpr L halve(L v) { return static_cast<L>(v >> 1); }

  // Sums wrap at 32 bits.
  static constexpr L average(L a, L b) { return wrapTo<L>(add(a, b) >> 1); }
  static constexpr L average(L a, L right, L below, L belowRight) {
    return wrapTo<L>(add(add(a, right), add(below, belowRight)) >> 2);
  }

  static void liftPairs(const i16* a, const i16* b, i32 pairs, i16* even, i16* odd) {
    kernels().liftPairs53i16(a, b, pairs, even, odd);
  }
  static void liftPairs(const i32* a, const i32* b, i32 pairs, i32* even, i32* odd) {
    kernels().liftPairs53i32(a, b, pairs, even, odd);
  }
  static void interleave(const i16* even, const i16* odd, i32 pairs, i16* out) {
    kernels().interleave16(even, odd, pairs, out);
  }
  static void interleave(const i32* even, const i32* odd, i32 pairs, i32* out) {
    kernels().interleave32(even, odd, pairs, out);
  }
  static void liftLoneRow(const PlanarRow<L>& row, L* scratch, L* out) {
    liftRow<Kernel53>(row, scratch, out);
  }

  class Columns {
   public:
    Columns(const Workspace<L>& space, i32 count)
        : count_(count),
          evenPrev_(reinterpret_cast<L*>(space.state[0])),
          oddIn_(reinterpret_cast<L*>(space.state[1])) {
      std::fill_n(evenPrev_, count, L{0});
      std::fill_n(oddIn_, count, L{0});
    }

    void step(const i16* a, const i16* b, i16* evenOut, i16* oddOut) {
      kernels().liftColumns53i16(a, b, count_, evenPrev_, oddIn_, evenOut, oddOut);
    }
    void step(const i32* a, const i32* b, i32* evenOut, i32* oddOut) {
      kernels().liftColumns53i32(a, b, count_, evenPrev_, oddIn_, evenOut, oddOut);
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
};

}  // namespace wbx

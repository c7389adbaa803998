// Lifting as T.800 F.3.8 has it: each step for one sample, on a signal that extends without end.
#pragma once

#include <bit>
#include <cmath>

#include "kernel_cases.h"

namespace wbx::test {

// A signal gives x(n), low-pass samples at even n and high-pass ones at odd n. Each class below
// gives the rebuilt samples even(n) and odd(n).

// Sums of 32 bits. Of the two even samples next to an odd one, the one before it comes as it was
// stored, in the width of a lane, and the one behind it as it was computed.
template <class L, class Signal>
struct Plain53 {
  const Signal& x;

  i32 step(i32 n) const {
    return wrap32(i64{x(n)} - floorDivide(wrap32(i64{wrap32(i64{x(n - 1)} + x(n + 1))} + 2), 4));
  }
  L even(i32 n) const { return wrapTo<L>(step(n)); }
  L odd(i32 n) const {
    return wrapTo<L>(x(n) + floorDivide(wrap32(i64{even(n - 1)} + step(n + 1)), 2));
  }
};

// Each factor meets the low 16 bits of its sum; beta a quarter of it.
template <class Signal>
struct Plain97Fixed {
  const Signal& x;

  static i64 times(i64 v, i64 factor, i32 bits) {
    return floorDivide(wrap16(v) * factor, i64{1} << bits);
  }
  i64 o(i32 n) const { return times(x(n), 13318, 13); }
  i64 e1(i32 n) const { return times(x(n), 10077, 13) + times(o(n - 1) + o(n + 1), -7266, 14); }
  i64 o1(i32 n) const { return o(n) + times(e1(n - 1) + e1(n + 1), -14465, 14); }
  i64 e2(i32 n) const { return e1(n) + times(floorDivide(o1(n - 1) + o1(n + 1), 4), 1736, 13); }
  i16 even(i32 n) const { return wrap16(e2(n)); }
  i16 odd(i32 n) const { return wrap16(o1(n) + times(e2(n - 1) + e2(n + 1), 12993, 13)); }
};

// The same for a level of one row or one column: products of 32 bits.
template <class Signal>
struct Plain97FixedLone {
  const Signal& x;

  static i64 times(i64 v, i64 factor) { return floorDivide(wrap32(v * factor), 8192); }
  i64 o(i32 n) const { return times(x(n), 13318); }
  i64 e1(i32 n) const {
    return floorDivide(wrap32(x(n) * i64{10077} - 3633 * (o(n - 1) + o(n + 1))), 8192);
  }
  i64 o1(i32 n) const { return o(n) + times(e1(n - 1) + e1(n + 1), -7232); }
  i64 e2(i32 n) const { return e1(n) + times(o1(n - 1) + o1(n + 1), 434); }
  i16 even(i32 n) const { return wrap16(e2(n)); }
  i16 odd(i32 n) const { return wrap16(o1(n) + times(e2(n - 1) + e2(n + 1), 12993)); }
};

// In double precision. Of the two neighbours, the one before a sample and the sample itself come
// rounded to 32 bits, the one behind it as it was computed. With `fused`, products are added
// without a rounding of their own, which is not what the kernels may do.
template <class Signal, bool fused = false>
struct Plain97Float {
  const Signal& x;

  static f64 rounded(f64 v) { return static_cast<f32>(v); }
  static f64 factor(u32 bits) { return std::bit_cast<f32>(bits); }
  static f64 addProduct(f64 sum, f64 v, f64 by) {
    if constexpr (fused) return std::fma(v, by, sum);
    return sum + v * by;
  }
  f64 o(i32 n) const { return x(n) * factor(0x3FD019C3); }
  f64 e1(i32 n) const {
    return addProduct(x(n) * factor(0x3F9D7658), o(n + 1) + rounded(o(n - 1)), -factor(0x3EE31355));
  }
  f64 o1(i32 n) const {
    return addProduct(rounded(o(n)), e1(n + 1) + rounded(e1(n - 1)), -factor(0x3F620676));
  }
  f64 e2(i32 n) const {
    return addProduct(rounded(e1(n)), o1(n + 1) + rounded(o1(n - 1)), factor(0x3D5901AE));
  }
  f32 even(i32 n) const { return static_cast<f32>(e2(n)); }
  f32 odd(i32 n) const {
    return static_cast<f32>(
        addProduct(rounded(o1(n)), e2(n + 1) + rounded(e2(n - 1)), factor(0x3FCB0673)));
  }
};

// The same, made from a signal.
template <class L>
constexpr auto plain53 =
    [](const auto& x) { return Plain53<L, std::remove_cvref_t<decltype(x)>>{x}; };
constexpr auto plain97Fixed = [](const auto& x) {
  return Plain97Fixed<std::remove_cvref_t<decltype(x)>>{x};
};
constexpr auto plain97FixedLone = [](const auto& x) {
  return Plain97FixedLone<std::remove_cvref_t<decltype(x)>>{x};
};
constexpr auto plain97Float = [](const auto& x) {
  return Plain97Float<std::remove_cvref_t<decltype(x)>>{x};
};
constexpr auto fused97Float = [](const auto& x) {
  return Plain97Float<std::remove_cvref_t<decltype(x)>, true>{x};
};

}  // namespace wbx::test

// One level of the inverse wavelet transform as T.800 F.3 tells it: first all rows, then all
// columns, each on its whole-sample symmetric extension. To compare with.
#pragma once

#include <vector>

#include "base/types.h"

namespace wbx::fuzz {

template <class T>
struct Plane {
  i32 width = 0, height = 0;
  std::vector<T> samples;

  Plane(i32 w, i32 h)
      : width(w), height(h), samples(static_cast<size_t>(w) * static_cast<size_t>(h)) {}
  [[nodiscard]] T& at(i32 x, i32 y) { return samples[static_cast<size_t>(y * width + x)]; }
  [[nodiscard]] const T& at(i32 x, i32 y) const {
    return samples[static_cast<size_t>(y * width + x)];
  }
};

// Arithmetic of 32 bits that wraps.
inline i32 wrapped(i64 v) {
  return static_cast<i32>(static_cast<u32>(static_cast<u64>(v)));
}

// A lifting step takes the even input a and the odd input b behind it, and leaves the results of
// kLag / 2 pairs before. Halving is what becomes of a lone sample at an odd coordinate.
template <class L>
struct PlainStep53 {
  using Lane = L;
  static constexpr i32 kLag = 2;
  L evenPrev = 0, oddIn = 0, evenOut = 0, oddOut = 0;

  void take(L a, L b) {
    const i32 even = wrapped(i64{a} - (wrapped(wrapped(i64{oddIn} + b) + i64{2}) >> 2));
    const i32 odd = wrapped(i64{oddIn} + (wrapped(i64{evenPrev} + even) >> 1));
    evenOut = evenPrev;
    oddOut = static_cast<L>(odd);
    evenPrev = static_cast<L>(even);
    oddIn = b;
  }
  static L lone(L v, bool odd) { return odd ? static_cast<L>(v >> 1) : v; }
};

struct PlainStep97Fixed {
  using Lane = i16;
  static constexpr i32 kLag = 4;
  i32 o = 0, e1 = 0, o1 = 0, e2 = 0;
  i16 evenOut = 0, oddOut = 0;

  static i32 mul(i32 v, i32 factor, i32 shift) { return (static_cast<i16>(v) * factor) >> shift; }
  void take(i16 a, i16 b) {
    const i32 newO = mul(b, 13318, 13);
    const i32 e0 = mul(a, 10077, 13);
    const i32 newE1 = e0 + mul(newO + o, -7266, 14);
    const i32 newO1 = o + mul(newE1 + e1, -14465, 14);
    const i32 newE2 = e1 + mul((newO1 + o1) >> 2, 1736, 13);
    const i32 newO2 = o1 + mul(newE2 + e2, 12993, 13);
    evenOut = static_cast<i16>(e2);
    oddOut = static_cast<i16>(newO2);
    o = newO;
    e1 = newE1;
    o1 = newO1;
    e2 = newE2;
  }
  static i16 lone(i16 v, bool) { return v; }
};

// The fixed-point step of a level of one row or one column: nothing is cut to 16 bits.
struct PlainStep97Line {
  using Lane = i16;
  static constexpr i32 kLag = 4;
  i32 o = 0, e1 = 0, o1 = 0, e2 = 0;
  i16 evenOut = 0, oddOut = 0;

  void take(i16 a, i16 b) {
    const i32 newO = wrapped(i64{b} * 13318) >> 13;
    const i32 newE1 = wrapped(i64{a} * 10077 - i64{3633} * (i64{newO} + o)) >> 13;
    const i32 newO1 = o + (wrapped(i64{-7232} * (i64{newE1} + e1)) >> 13);
    const i32 newE2 = e1 + (wrapped(i64{434} * (i64{newO1} + o1)) >> 13);
    const i32 newO2 = o1 + (wrapped(i64{12993} * (i64{newE2} + e2)) >> 13);
    evenOut = static_cast<i16>(e2);
    oddOut = static_cast<i16>(newO2);
    o = newO;
    e1 = newE1;
    o1 = newO1;
    e2 = newE2;
  }
  static i16 lone(i16 v, bool) { return v; }
};

// Expressions in double precision that feed the next one unrounded; what is kept is rounded.
struct PlainStep97Float {
  using Lane = f32;
  static constexpr i32 kLag = 4;
  f32 o = 0, e1 = 0, o1 = 0, e2 = 0, evenOut = 0, oddOut = 0;

  void take(f32 a, f32 b) {
    constexpr f64 kK = 1.2301740646362305, kTwoOverK = 1.6257861852645874;
    constexpr f64 kDelta = 0.4435068666934967, kGamma = 0.8829110860824585;
    constexpr f64 kBeta = 0.05298011749982834, kAlpha = 1.5861343145370483;
    const f64 newO = b * kTwoOverK;
    const f64 newE1 = a * kK - (newO + o) * kDelta;
    const f64 newO1 = o - (newE1 + e1) * kGamma;
    const f64 newE2 = e1 + (newO1 + o1) * kBeta;
    const f64 newO2 = o1 + (newE2 + e2) * kAlpha;
    evenOut = e2;
    oddOut = static_cast<f32>(newO2);
    o = static_cast<f32>(newO);
    e1 = static_cast<f32>(newE1);
    o1 = static_cast<f32>(newO1);
    e2 = static_cast<f32>(newE2);
  }
  static f32 lone(f32 v, bool) { return v; }
};

// `line` holds interleaved samples, the first one at a coordinate of the given parity.
template <class Step>
void synthesiseLine(std::vector<typename Step::Lane>& line, bool odd) {
  const i32 size = static_cast<i32>(line.size());
  if (size == 1) {
    line[0] = Step::lone(line[0], odd);
    return;
  }
  const auto extended = [&](i32 i) {
    const i32 period = 2 * (size - 1);
    i = ((i % period) + period) % period;
    return line[static_cast<size_t>(i < size ? i : period - i)];
  };
  std::vector<typename Step::Lane> out(line.size());
  Step step;
  const auto put = [&](i32 i, typename Step::Lane v) {
    if (i >= 0 && i < size) out[static_cast<size_t>(i)] = v;
  };
  for (i32 i = (odd ? -1 : 0) - 12; i < size + 12; i += 2) {
    step.take(extended(i), extended(i + 1));
    put(i - Step::kLag, step.evenOut);
    put(i - Step::kLag + 1, step.oddOut);
  }
  line = out;
}

// In place, on interleaved samples.
template <class RowStep, class ColumnStep>
void synthesisePlainly(Plane<typename RowStep::Lane>& plane, bool oddX, bool oddY) {
  std::vector<typename RowStep::Lane> line;
  for (i32 y = 0; y < plane.height; ++y) {
    line.clear();
    for (i32 x = 0; x < plane.width; ++x) line.push_back(plane.at(x, y));
    synthesiseLine<RowStep>(line, oddX);
    for (i32 x = 0; x < plane.width; ++x) plane.at(x, y) = line[static_cast<size_t>(x)];
  }
  for (i32 x = 0; x < plane.width; ++x) {
    line.clear();
    for (i32 y = 0; y < plane.height; ++y) line.push_back(plane.at(x, y));
    synthesiseLine<ColumnStep>(line, oddY);
    for (i32 y = 0; y < plane.height; ++y) plane.at(x, y) = line[static_cast<size_t>(y)];
  }
}

}  // namespace wbx::fuzz

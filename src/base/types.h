// Plain numbers by width and sign, and the rectangle that every layer uses.
#pragma once

#include <cstddef>
#include <cstdint>

namespace wbx {

using u8 = std::uint8_t;
using i8 = std::int8_t;
using u16 = std::uint16_t;
using i16 = std::int16_t;
using u32 = std::uint32_t;
using i32 = std::int32_t;
using u64 = std::uint64_t;
using i64 = std::int64_t;
using f32 = float;
using f64 = double;

// A narrowing that is meant to lose bits: keeps the low ones, as lanes wrap. Elsewhere a
// static_cast to a narrower type loses nothing. Never a function of its own, so that code for one
// instruction set may use it.
template <class Narrow, class Wide>
[[gnu::always_inline]] constexpr Narrow wrapTo(Wide value) {
  return static_cast<Narrow>(value);
}

// Half open: x0 and y0 are the first column and row, x1 and y1 lie one past the last.
struct Rect {
  u16 x0 = 0, y0 = 0, x1 = 0, y1 = 0;

  [[nodiscard]] constexpr u16 width() const { return wrapTo<u16>(x1 - x0); }
  [[nodiscard]] constexpr u16 height() const { return wrapTo<u16>(y1 - y0); }
  [[nodiscard]] constexpr bool empty() const { return x0 >= x1 || y0 >= y1; }

  friend constexpr bool operator==(const Rect&, const Rect&) = default;
};

// Moves a rectangle down one resolution level (T.800 B.5): every coordinate v becomes ceil(v / 2).
constexpr Rect halveRect(Rect r) {
  const auto half = [](u16 v) { return static_cast<u16>((v + 1) >> 1); };
  return {half(r.x0), half(r.y0), half(r.x1), half(r.y1)};
}

// Reduces by `levels` levels; a count below 1 reduces nothing.
constexpr Rect reduceRect(Rect r, i32 levels) {
  for (i32 i = 0; i < levels && i < 17; ++i)
    r = halveRect(r);  // 17 halvings bring any u16 to 0 or 1
  return r;
}

}  // namespace wbx

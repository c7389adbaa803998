// Context formation of the coding passes (T.800 D.3), as tables over a sample's neighbour flags.
#pragma once

#include <array>

#include "base/types.h"
#include "tier1/mq_table.h"

namespace wbx {

// What a sample knows of its neighbours, one bit a fact.
enum NeighbourFlag : u8 {
  kSignificantNE = 0x001,
  kSignificantSE = 0x002,
  kSignificantSW = 0x004,
  kSignificantNW = 0x008,
  kSignificantN = 0x010,
  kSignificantE = 0x020,
  kSignificantS = 0x040,
  kSignificantW = 0x080,
};

// Indexed by the flags: the context of a significance decision (T.800 table D.1).
using ZeroCodingTable = std::array<u8, 256>;

// The sums of the horizontal and of the vertical neighbours' signs, where a positive sample counts
// 1, a negative one -1 and one that is not significant 0, as one index.
constexpr size_t signIndex(int horizontal, int vertical) {
  return static_cast<size_t>(8 * horizontal + vertical + 18);
}

namespace context_detail {

constexpr int bit(int flags, int flag) {
  return (flags & flag) != 0 ? 1 : 0;
}

constexpr int labelLL(int h, int v, int d) {
  if (h == 2) return 8;
  if (h == 1) return v >= 1 ? 7 : d >= 1 ? 6 : 5;
  if (v == 2) return 4;
  if (v == 1) return 3;
  return d >= 2 ? 2 : d;
}

constexpr int labelHH(int hv, int d) {
  if (d >= 3) return 8;
  if (d == 2) return hv >= 1 ? 7 : 6;
  if (d == 1) return hv >= 2 ? 5 : hv == 1 ? 4 : 3;
  return hv >= 2 ? 2 : hv;
}

constexpr ZeroCodingTable makeZeroCoding(int orientation) {
  ZeroCodingTable table = {};
  for (int f = 0; f < 256; ++f) {
    const int h = bit(f, kSignificantE) + bit(f, kSignificantW);
    const int v = bit(f, kSignificantN) + bit(f, kSignificantS);
    const int d = bit(f, kSignificantNE) + bit(f, kSignificantSE) + bit(f, kSignificantSW) +
                  bit(f, kSignificantNW);
    const int label = orientation == 3   ? labelHH(h + v, d)
                      : orientation == 1 ? labelLL(v, h, d)
                                         : labelLL(h, v, d);
    table[static_cast<size_t>(f)] = static_cast<u8>(kContextZeroCoding + static_cast<u32>(label));
  }
  return table;
}

// T.800 tables D.2 and D.3, indexed by signIndex: the context in bits 0 to 6, the XOR bit in bit 7.
using SignTable = std::array<u8, 64>;

constexpr SignTable makeSign() {
  SignTable table = {};
  for (int h = -2; h <= 2; ++h) {
    for (int v = -2; v <= 2; ++v) {
      const auto clip = [](int x) { return x > 1 ? 1 : x < -1 ? -1 : x; };
      const bool flip = h < 0 || (h == 0 && v < 0);
      const int ch = flip ? -clip(h) : clip(h);
      const int cv = flip ? -clip(v) : clip(v);
      const int label = ch == 1 ? 3 + cv : cv;  // less 9: D.3 numbers them 9 to 13
      table[signIndex(h, v)] =
          static_cast<u8>(static_cast<int>(kContextSign) + label + (flip ? 0x80 : 0));
    }
  }
  return table;
}

}  // namespace context_detail

inline constexpr ZeroCodingTable kZeroCodingLL = context_detail::makeZeroCoding(0);
inline constexpr ZeroCodingTable kZeroCodingHL = context_detail::makeZeroCoding(1);
inline constexpr ZeroCodingTable kZeroCodingHH = context_detail::makeZeroCoding(3);
inline constexpr const ZeroCodingTable& zeroCodingTable(u8 orientation) {
  return orientation == 1 ? kZeroCodingHL : orientation == 3 ? kZeroCodingHH : kZeroCodingLL;
}
inline constexpr context_detail::SignTable kSignTable = context_detail::makeSign();

}  // namespace wbx

// The probability states of the MQ decoder (T.800 table C.2), doubled by the sense of the MPS.
#pragma once

#include <array>

#include "base/types.h"

namespace wbx {

// One row of the doubled table in one word, so that a context is the contents of its row and a
// decision needs no further look-up before its arithmetic:
//   bits 48 to 63  Qe, aligned with the registers of the decoder
//   bits 16 to 23  row to go to after an LPS renormalisation
//   bits  8 to 15  row to go to after an MPS renormalisation
//   bit  0         the MPS
// Row 2s + m is state s with MPS m; the exchange of the MPS (SWITCH) is folded into the row
// numbers.
using MqRow = u64;

inline constexpr MqRow kMqQeMask = u64{0xFFFF} << 48;

namespace mq_detail {

struct State {
  u16 qe;
  u8 nmps, nlps, switches;
};

inline constexpr State kStates[47] = {
    {0x5601, 1, 1, 1},   {0x3401, 2, 6, 0},   {0x1801, 3, 9, 0},   {0x0AC1, 4, 12, 0},
    {0x0521, 5, 29, 0},  {0x0221, 38, 33, 0}, {0x5601, 7, 6, 1},   {0x5401, 8, 14, 0},
    {0x4801, 9, 14, 0},  {0x3801, 10, 14, 0}, {0x3001, 11, 17, 0}, {0x2401, 12, 18, 0},
    {0x1C01, 13, 20, 0}, {0x1601, 29, 21, 0}, {0x5601, 15, 14, 1}, {0x5401, 16, 14, 0},
    {0x5101, 17, 15, 0}, {0x4801, 18, 16, 0}, {0x3801, 19, 17, 0}, {0x3401, 20, 18, 0},
    {0x3001, 21, 19, 0}, {0x2801, 22, 19, 0}, {0x2401, 23, 20, 0}, {0x2201, 24, 21, 0},
    {0x1C01, 25, 22, 0}, {0x1801, 26, 23, 0}, {0x1601, 27, 24, 0}, {0x1401, 28, 25, 0},
    {0x1201, 29, 26, 0}, {0x1101, 30, 27, 0}, {0x0AC1, 31, 28, 0}, {0x09C1, 32, 29, 0},
    {0x08A1, 33, 30, 0}, {0x0521, 34, 31, 0}, {0x0441, 35, 32, 0}, {0x02A1, 36, 33, 0},
    {0x0221, 37, 34, 0}, {0x0141, 38, 35, 0}, {0x0111, 39, 36, 0}, {0x0085, 40, 37, 0},
    {0x0049, 41, 38, 0}, {0x0025, 42, 39, 0}, {0x0015, 43, 40, 0}, {0x0009, 44, 41, 0},
    {0x0005, 45, 42, 0}, {0x0001, 45, 43, 0}, {0x5601, 46, 46, 0},
};

constexpr std::array<MqRow, 94> makeRows() {
  std::array<MqRow, 94> rows = {};
  for (u32 s = 0; s < 47; ++s) {
    for (u32 m = 0; m < 2; ++m) {
      const u64 nextMps = 2u * kStates[s].nmps + m;
      const u64 nextLps = 2u * kStates[s].nlps + (m ^ kStates[s].switches);
      rows[2 * s + m] = (u64{kStates[s].qe} << 48) | (nextLps << 16) | (nextMps << 8) | m;
    }
  }
  return rows;
}

}  // namespace mq_detail

inline constexpr std::array<MqRow, 94> kMqRows = mq_detail::makeRows();

// The contexts, in the library's own order.
enum MqContext : u32 {
  kContextRunLength = 0,
  kContextZeroCoding = 1,   // 1 to 9: labels 0 to 8 of T.800 table D.1
  kContextRefinement = 10,  // 10 to 12: labels 14 to 16 of table D.4
  kContextSign = 13,        // 13 to 17: labels 9 to 13 of table D.3
  kContextUniform = 18,
  kContextCount = 19,
};

}  // namespace wbx

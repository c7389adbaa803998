#include "tier1/group_passes.h"

#include "tier1/context_tables.h"

namespace wbx {
namespace {

using namespace group_layout;

// The numbers of neighbours in one sum: diagonal ones count 1, vertical ones 8 and horizontal ones
// 32. HL has vertical and horizontal exchanged; HH does not tell them apart (T.800 table D.1).
constexpr GroupZeroCoding makeCoding(int vertical, int horizontal, u8 base) {
  return {{{{kN + kW, 1},
            {kN + kE, 1},
            {kS + kW, 1},
            {kS + kE, 1},
            {kN, vertical},
            {kS, vertical},
            {kW, horizontal},
            {kE, horizontal}}},
          base};
}

constexpr u8 kBaseLL = 4 + 2 * 8 + 2 * 32;       // the largest sum
constexpr u8 kBaseHH = kBaseLL + 1 + 4 + 4 * 8;  // the same behind it

constexpr GroupZeroCoding kCodingLL = makeCoding(8, 32, kBaseLL);
constexpr GroupZeroCoding kCodingHL = makeCoding(32, 8, kBaseLL);
constexpr GroupZeroCoding kCodingHH = makeCoding(8, 8, kBaseHH);

constexpr u8 placeOf(int label) {
  return static_cast<u8>(label < 8 ? label : 64);
}

constexpr GroupTable makeTable() {
  GroupTable table;
  for (int d = 0; d <= 4; ++d) {
    for (int v = 0; v <= 2; ++v) {
      for (int h = 0; h <= 2; ++h) {
        table.entry[kBaseLL - (d + 8 * v + 32 * h)] = placeOf(context_detail::labelLL(h, v, d));
        table.entry[kBaseHH - (d + 8 * (h + v))] = placeOf(context_detail::labelHH(h + v, d));
      }
    }
  }
  return table;
}

}  // namespace

constinit const GroupTable kGroupZeroCodingTable = makeTable();

const GroupZeroCoding& groupZeroCoding(u8 orientation) {
  return orientation == 1 ? kCodingHL : orientation == 3 ? kCodingHH : kCodingLL;
}

}  // namespace wbx

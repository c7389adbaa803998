#include "tier1/lane_passes.h"

#include "tier1/context_tables.h"

namespace wbx {
namespace {

struct alignas(64) Table {
  u8 entry[128] = {};
};

constexpr Table makeTable(u8 orientation) {
  Table table;
  for (int h = 0; h <= 2; ++h) {
    for (int v = 0; v <= 2; ++v) {
      for (int d = 0; d <= 4; ++d) {
        const int label = context_detail::zeroCodingLabel(orientation, h, v, d);
        table.entry[d + 8 * v + 32 * h] = static_cast<u8>(label < 8 ? label : 64);
      }
    }
  }
  return table;
}

constexpr Table kTables[] = {makeTable(0), makeTable(1), makeTable(3)};

}  // namespace

const u8* laneZeroCodingTable(u8 orientation) {
  return kTables[orientation == 1 ? 1 : orientation == 3 ? 2 : 0].entry;
}

}  // namespace wbx

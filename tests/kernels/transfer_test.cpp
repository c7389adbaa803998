#include "kernel_cases.h"

namespace wbx {
namespace {

using test::forEachLength;
using test::forEachSet;
using test::Guarded;
using test::Values;
using test::wrap16;
using test::wrap32;

std::vector<u32> someCoefficients(Values& values, i32 count) {
  std::vector<u32> some(static_cast<size_t>(count));
  for (u32& each : some) {
    const u32 sign = values.bits() & 0x80000000;
    each = (values.bits() % 3 == 0) ? 0 : sign | (values.bits() >> (1 + values.below(31)));
    if (values.below(16) == 0) each = values.one<u32>();
  }
  return some;
}

// The signed value with its 2 fractional bits, of which 32 bits remain.
i64 signedValue(u32 coefficient, u32 midpoint) {
  const i64 magnitude = ((i64{coefficient} & 0x7FFFFFFF) * 4) | midpoint;
  return wrap32((coefficient & 0x80000000) != 0 ? -magnitude : magnitude);
}

// `transfer` runs the kernel, `lane` is what one coefficient must become.
template <class L, class Transfer, class LaneOf>
void checkTransfer(const std::vector<u32>& input, const Transfer& transfer, const LaneOf& laneOf) {
  const auto columns = static_cast<i32>(input.size() / 4);
  Guarded<u32> quads(input);
  std::vector<Guarded<L>> rows(4, Guarded<L>(columns));
  L* const to[4] = {rows[0].data(), rows[1].data(), rows[2].data(), rows[3].data()};
  transfer(quads.data(), columns, to);
  for (size_t row = 0; row < 4; ++row) {
    std::vector<L> wanted;
    for (size_t x = 0; x < input.size() / 4; ++x) wanted.push_back(laneOf(input[4 * x + row]));
    rows[row].expect(wanted, "row");
  }
}

TEST(Transfer, MakesLanes) {
  forEachSet([](const Kernels& set) {
    Values values(7);
    forEachLength([&](i32 columns) {
      const auto input = someCoefficients(values, 4 * columns);
      for (const u32 midpoint : {0u, 4u, 64u, 2u << 12, 2u << 30}) {
        const u32 scale = midpoint == 0 ? 1024 : values.one<u32>();
        checkTransfer<i16>(
            input,
            [&](auto* quads, i32 count, auto* rows) {
              set.transferFixed(quads, count, midpoint, scale, rows);
            },
            [&](u32 v) {
              const i64 product = wrap32(wrap32(signedValue(v, midpoint)) * i64{scale});
              return v == 0 ? i16{0} : wrap16(test::floorDivide(product, 4096));
            });
        const f64 step = static_cast<f32>(values.bits() + 1) / 65536.0f;
        checkTransfer<f32>(
            input,
            [&](auto* quads, i32 count, auto* rows) {
              set.transferFloat(quads, count, midpoint, step, rows);
            },
            [&](u32 v) {
              const f64 product = static_cast<f64>(signedValue(v, midpoint)) * step;
              return v == 0 ? 0.0f : static_cast<f32>(product);
            });
      }
      checkTransfer<i32>(
          input,
          [&](auto* quads, i32 count, auto* rows) { set.transferInteger(quads, count, rows); },
          [](u32 v) { return wrap32(test::floorDivide(signedValue(v, 0), 4)); });
    });
  });
}

}  // namespace
}  // namespace wbx

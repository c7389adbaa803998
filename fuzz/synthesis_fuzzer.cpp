// One synthesis level of each kernel and lane type on any lanes, for every set of kernels,
// compared with a plain two-pass one.
#include <algorithm>
#include <bit>
#include <cmath>

#include "engine/kernel53.h"
#include "engine/kernels.h"
#include "engine/synthesis.h"
#include "engine/working_area.h"
#include "engine16/kernel97_float.h"
#include "engine8/kernel97_fixed.h"
#include "plain_synthesis.h"
#include "support.h"

namespace wbx::fuzz {

namespace {

// Lanes from the input, and a pseudo-random continuation of it once it is used up.
class Lanes {
 public:
  explicit Lanes(Decisions& in) : in_(in), state_(1) {}

  u32 bits() {
    if (in_.left() >= 4) {
      const u32 high = in_.word(), low = in_.word();
      state_ = state_ * 0x5851F42D4C957F2D + (high << 16 | low);
      return high << 16 | low;
    }
    state_ = state_ * 0x5851F42D4C957F2D + 0x14057B7EF767814F;
    return static_cast<u32>(state_ >> 32);
  }
  template <class L>
  L lane(i32 shift) {
    if constexpr (std::is_same_v<L, f32>) {
      // Of any size that a decoded sample can take, zero of both signs included.
      const u32 v = bits();
      const i32 exponent = static_cast<i32>(v >> 23 & 0x7F) - 64;
      const f32 mantissa = static_cast<f32>(static_cast<i32>(v << 9) >> 9);
      return (v & 0x1F) == 0 ? mantissa * 0.0f : std::ldexp(mantissa, exponent >> (shift & 7));
    } else {
      return static_cast<L>(static_cast<i32>(bits()) >> shift);
    }
  }

 private:
  Decisions& in_;
  u64 state_;
};

struct Shape {
  Rect rect;
  i32 shift = 0;
};

bool sameLane(f32 a, f32 b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}
bool sameLane(i32 a, i32 b) {
  return a == b;
}

template <class K>
Plane<typename K::Lane> synthesiseByLibrary(const Plane<typename K::Lane>& input,
                                            const Shape& shape) {
  using Lane = typename K::Lane;
  const LevelShape level(shape.rect);
  Workspace<Lane> space;
  const auto carve = [&](Carver carver) {
    Lane* scratch = carver.take<Lane>(Workspace<Lane>::scratchLanes(level.width));
    space.carve(carver, level.width, scratch);
    return carver.used();
  };
  std::vector<u8> memory(static_cast<size_t>(carve(Carver(nullptr))));
  (void)carve(Carver(memory.data()));

  // Each row of the bands is there only until the next one.
  std::vector<Lane> low, high;
  i32 asked = 0;
  const auto planarRow = [&](i32 y) {
    require(y == asked++, "rows out of order");
    low.clear();
    high.clear();
    for (i32 x = 0; x < input.width; ++x)
      (((x + level.parityX) & 1) != 0 ? high : low).push_back(input.at(x, y));
    return PlanarRow<Lane>{low.data(), high.data(), level.width, level.parityX};
  };
  Plane<Lane> result(input.width, input.height);
  Synthesis<K> synthesis(level, space);
  for (i32 y = 0; y < input.height; ++y)
    std::copy_n(synthesis.nextRow(planarRow), input.width, &result.at(0, y));
  return result;
}

template <class K, class RowStep, class ColumnStep>
void compare(const Shape& shape, Lanes& lanes) {
  using Lane = typename K::Lane;
  Plane<Lane> input(shape.rect.width(), shape.rect.height());
  for (Lane& v : input.samples) v = lanes.template lane<Lane>(shape.shift);
  Plane<Lane> expected = input;
  synthesisePlainly<RowStep, ColumnStep>(expected, (shape.rect.x0 & 1) != 0,
                                         (shape.rect.y0 & 1) != 0);
  for (const Kernels* const* set = availableKernels(); *set != nullptr; ++set) {
    forceKernels(*set);
    const Plane<Lane> result = synthesiseByLibrary<K>(input, shape);
    for (size_t i = 0; i < expected.samples.size(); ++i)
      require(sameLane(result.samples[i], expected.samples[i]), "lane of a synthesis");
  }
  forceKernels(nullptr);
}

void run(Decisions in) {
  const u8 kind = in.byte();
  Shape shape;
  // Small sizes often: there the mirror images overlap.
  const auto size = [&](bool large) { return large ? in.between(1, 300) : in.between(1, 12); };
  const i32 width = size((kind & 4) != 0), height = size((kind & 8) != 0 && (kind & 4) == 0);
  shape.rect.x0 = (kind >> 4) & 1;
  shape.rect.y0 = (kind >> 5) & 1;
  shape.rect.x1 = static_cast<u16>(shape.rect.x0 + width);
  shape.rect.y1 = static_cast<u16>(shape.rect.y0 + height);
  shape.shift = in.below(32);
  Lanes lanes(in);
  switch (kind & 3) {
    case 0:
      compare<Kernel53<i16>, PlainStep53<i16>, PlainStep53<i16>>(shape, lanes);
      break;
    case 1:
      compare<Kernel53<i32>, PlainStep53<i32>, PlainStep53<i32>>(shape, lanes);
      break;
    case 2:
      if (width == 1 || height == 1) {
        compare<Kernel97Fixed, PlainStep97Line, PlainStep97Line>(shape, lanes);
      } else {
        compare<Kernel97Fixed, PlainStep97Fixed, PlainStep97Fixed>(shape, lanes);
      }
      break;
    default:
      compare<Kernel97Float, PlainStep97Float, PlainStep97Float>(shape, lanes);
      break;
  }
}

}  // namespace

}  // namespace wbx::fuzz

extern "C" int LLVMFuzzerTestOneInput(const wbx::u8* data, size_t size) {
  if (size < 4) return -1;
  wbx::fuzz::run(wbx::fuzz::Decisions(data, size));
  return 0;
}

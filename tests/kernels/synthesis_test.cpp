#include "engine/synthesis.h"

#include "engine/kernel53.h"
#include "engine16/kernel97_float.h"
#include "engine8/kernel97_fixed.h"
#include "plain_lifting.h"

namespace wbx {
namespace {

using test::forEachSet;
using test::Guarded;
using test::Values;

struct Size {
  i32 width, height, parityX, parityY;
};

// A level in natural order: coefficients at their interleaved places.
template <class L>
struct Samples {
  Size size;
  std::vector<L> values;

  L& at(i32 x, i32 y) { return values[static_cast<size_t>(y * size.width + x)]; }
  [[nodiscard]] L at(i32 x, i32 y) const { return values[static_cast<size_t>(y * size.width + x)]; }
};

// Rebuilds `count` samples of a line. `signal` is asked for coordinates from 0 to count - 1; what
// is read beyond them is mirrored, without repeating the sample at the edge (T.800 F.3.7).
template <class K, class PlainOf, class Signal, class Store>
void rebuildLine(i32 count, i32 parity, const PlainOf& plainOf, const Signal& signal,
                 const Store& store) {
  if (count == 1) {
    store(0, parity ? K::halve(signal(0)) : signal(0));
    return;
  }
  // Positions with the parity added are even for low-pass samples.
  const auto extended = [&](i32 n) {
    i32 at = n - parity;
    while (at < 0 || at >= count) at = at < 0 ? -at : 2 * (count - 1) - at;
    return signal(at);
  };
  const auto plain = plainOf(extended);
  for (i32 i = 0; i < count; ++i) {
    const i32 n = i + parity;
    store(i, n % 2 == 0 ? plain.even(n) : plain.odd(n));
  }
}

// All rows, then all columns.
template <class K, class PlainOf, class LonePlainOf>
Samples<typename K::Lane> rebuild(const Samples<typename K::Lane>& input, const PlainOf& plainOf,
                                  const LonePlainOf& lonePlainOf) {
  auto out = input;
  const Size& size = input.size;
  const auto rebuildAll = [&](const auto& rowPlainOf, const auto& columnPlainOf) {
    for (i32 y = 0; y < size.height; ++y) {
      const auto row = [&](i32 x) { return input.at(x, y); };
      rebuildLine<K>(size.width, size.parityX, rowPlainOf, row,
                     [&](i32 x, auto v) { out.at(x, y) = v; });
    }
    const auto rows = out;
    for (i32 x = 0; x < size.width; ++x) {
      const auto column = [&](i32 y) { return rows.at(x, y); };
      rebuildLine<K>(size.height, size.parityY, columnPlainOf, column,
                     [&](i32 y, auto v) { out.at(x, y) = v; });
    }
  };
  if (size.width == 1 || size.height == 1) {
    rebuildAll(lonePlainOf, lonePlainOf);
  } else {
    rebuildAll(plainOf, plainOf);
  }
  return out;
}

// The rows of a level's bands and the working rows of its synthesis, between guards.
template <class L>
class Rows {
 public:
  explicit Rows(const Samples<L>& input)
      : size_(input.size),
        lanes_(planar(input)),
        rings_(Workspace<L>::kRingRows, Guarded<L>(size_.width + 2)),
        outputs_(Workspace<L>::kOutputRows, Guarded<L>(size_.width + 2)),
        states_(Workspace<L>::kStateRows, Guarded<i32>(size_.width)),
        scratch_(static_cast<i32>(Workspace<L>::scratchLanes(size_.width))) {
    for (size_t k = 0; k < rings_.size(); ++k) space.ring[k] = rings_[k].data() + 1;
    for (size_t k = 0; k < outputs_.size(); ++k) space.output[k] = outputs_[k].data() + 1;
    for (size_t k = 0; k < states_.size(); ++k) space.state[k] = states_[k].data();
    space.scratch = scratch_.data();
    shape.width = size_.width;
    shape.height = size_.height;
    shape.parityX = size_.parityX;
    shape.parityY = size_.parityY;
  }

  // Each row is asked for once, in order, and is only there until the next one.
  PlanarRow<L> next(i32 y) {
    EXPECT_EQ(y, asked_++);
    current_.assign(lanes_.begin() + i64{y} * size_.width,
                    lanes_.begin() + (i64{y} + 1) * size_.width);
    return {current_.data(), current_.data() + shape.lowColumns(), size_.width, size_.parityX};
  }

  void expectGuards() const {
    scratch_.expectGuards("scratch");
    for (const auto& each : rings_) each.expectGuards("ring");
    for (const auto& each : outputs_) each.expectGuards("output");
    for (const auto& each : states_) each.expectGuards("state");
  }

  LevelShape shape;
  Workspace<L> space;

 private:
  // Within a row the low-pass columns come first.
  [[nodiscard]] std::vector<L> planar(const Samples<L>& input) const {
    std::vector<L> lanes;
    for (i32 y = 0; y < size_.height; ++y) {
      for (const i32 first : {size_.parityX, 1 - size_.parityX}) {
        for (i32 x = first; x < size_.width; x += 2) lanes.push_back(input.at(x, y));
      }
    }
    return lanes;
  }

  Size size_;
  std::vector<L> lanes_, current_;
  std::vector<Guarded<L>> rings_, outputs_;
  std::vector<Guarded<i32>> states_;
  Guarded<L> scratch_;
  i32 asked_ = 0;
};

template <class K, class PlainOf, class LonePlainOf>
void checkSynthesis(const Size& size, Values& values, const PlainOf& plainOf,
                    const LonePlainOf& lonePlainOf) {
  using L = typename K::Lane;
  SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " parities " +
               std::to_string(size.parityX) + std::to_string(size.parityY));
  const Samples<L> input{size, values.some<L>(size.width * size.height)};
  const Samples<L> wanted = rebuild<K>(input, plainOf, lonePlainOf);
  const auto rowBytes = static_cast<size_t>(size.width) * sizeof(L);
  forEachSet([&](const Kernels& set) {
    forceKernels(&set);
    Rows<L> rows(input);
    Synthesis<K> synthesis(rows.shape, rows.space);
    for (i32 y = 0; y < size.height; ++y) {
      const L* got = synthesis.nextRow([&](i32 planar) { return rows.next(planar); });
      ASSERT_EQ(std::memcmp(&wanted.values[static_cast<size_t>(y * size.width)], got, rowBytes), 0)
          << "row " << y;
    }
    rows.expectGuards();
    forceKernels(nullptr);
  });
}

template <class K, class PlainOf, class LonePlainOf>
void checkAllSizes(const PlainOf& plainOf, const LonePlainOf& lonePlainOf) {
  Values values(16);
  const auto check = [&](i32 width, i32 height) {
    for (i32 parities = 0; parities < 4; ++parities) {
      checkSynthesis<K>({width, height, parities & 1, parities >> 1}, values, plainOf, lonePlainOf);
    }
  };
  for (i32 height = 1; height <= 20; ++height) {
    for (i32 width = 1; width <= 20; ++width) check(width, height);
  }
  for (i32 width = 21; width <= 70; ++width) check(width, width % 7 + 1);
  check(515, 5);
}

TEST(Synthesis, Of53IsTwoPlainPasses) {
  checkAllSizes<Kernel53<i16>>(test::plain53<i16>, test::plain53<i16>);
  checkAllSizes<Kernel53<i32>>(test::plain53<i32>, test::plain53<i32>);
}

TEST(Synthesis, Of97InFixedPointIsTwoPlainPasses) {
  checkAllSizes<Kernel97Fixed>(test::plain97Fixed, test::plain97FixedLone);
}

TEST(Synthesis, Of97OnFloatsIsTwoPlainPasses) {
  checkAllSizes<Kernel97Float>(test::plain97Float, test::plain97Float);
}

}  // namespace
}  // namespace wbx

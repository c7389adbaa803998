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

// A level and the working rows of a synthesis, each between guards.
template <class L>
class Plane {
 public:
  explicit Plane(const Samples<L>& input)
      : size_(input.size),
        lanes_(planar(input)),
        rings_(Workspace<L>::kRingRows, Guarded<L>(size_.width + 2)),
        outputs_(Workspace<L>::kOutputRows, Guarded<L>(size_.width)),
        states_(Workspace<L>::kStateRows, Guarded<i32>(size_.width)),
        scratch_(Workspace<L>::kScratchRows * (size_.width + 32)) {
    for (size_t k = 0; k < rings_.size(); ++k) space.ring[k] = rings_[k].data() + 1;
    for (size_t k = 0; k < outputs_.size(); ++k) space.output[k] = outputs_[k].data();
    for (size_t k = 0; k < states_.size(); ++k) space.state[k] = states_[k].data();
    space.scratch = scratch_.data();
    level.first = lanes_.data();
    level.rowPitch = size_.width;
    level.width = size_.width;
    level.height = size_.height;
    level.parityX = size_.parityX;
    level.parityY = size_.parityY;
    level.lowColumns = lowColumns();
  }

  void expectGuards() const {
    lanes_.expectGuards("lanes");
    scratch_.expectGuards("scratch");
    for (const auto& each : rings_) each.expectGuards("ring");
    for (const auto& each : outputs_) each.expectGuards("output");
    for (const auto& each : states_) each.expectGuards("state");
  }

  Level<L> level;
  Workspace<L> space;

 private:
  [[nodiscard]] i32 lowColumns() const { return (size_.width + 1 - size_.parityX) / 2; }

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
  Guarded<L> lanes_;
  std::vector<Guarded<L>> rings_, outputs_;
  std::vector<Guarded<i32>> states_;
  Guarded<L> scratch_;
};

// Rows that leave the plane, and rows that stay in it.
template <class L>
struct RowsOut {
  Samples<L> out;

  L* target(i32, L* slot) const { return slot; }
  void done(i32 y, const L* lanes) { std::copy_n(lanes, out.size.width, &out.at(0, y)); }
};

template <class L>
struct RowsInPlace {
  Level<L> level;

  L* target(i32 y, L*) const { return level.row(y); }
  void done(i32, const L*) const {}
};

template <class L>
void expectSame(const Samples<L>& wanted, const L* got, const char* what) {
  ASSERT_EQ(std::memcmp(wanted.values.data(), got, wanted.values.size() * sizeof(L)), 0) << what;
}

template <class K, class PlainOf, class LonePlainOf>
void checkSynthesis(const Size& size, Values& values, const PlainOf& plainOf,
                    const LonePlainOf& lonePlainOf) {
  using L = typename K::Lane;
  SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " parities " +
               std::to_string(size.parityX) + std::to_string(size.parityY));
  const Samples<L> input{size, values.some<L>(size.width * size.height)};
  const Samples<L> wanted = rebuild<K>(input, plainOf, lonePlainOf);
  const auto never = [] { return false; };
  forEachSet([&](const Kernels& set) {
    forceKernels(&set);
    Plane<L> plane(input);
    RowsOut<L> away{input};
    synthesise<K>(plane.level, plane.space, away, never);
    expectSame(wanted, away.out.values.data(), "rows out");
    RowsInPlace<L> inPlace{plane.level};
    synthesise<K>(plane.level, plane.space, inPlace, never);
    expectSame(wanted, plane.level.first, "in place");
    plane.expectGuards();
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

TEST(Synthesis, StopsWhenItIsCancelled) {
  const Samples<i16> input{{9, 9, 0, 0}, std::vector<i16>(81, 5)};
  Plane<i16> plane(input);
  RowsOut<i16> away{input};
  i32 asked = 0;
  synthesise<Kernel53<i16>>(plane.level, plane.space, away, [&] { return ++asked == 3; });
  EXPECT_EQ(asked, 3);
  EXPECT_EQ(away.out.at(0, 8), 5);  // the last row was never reached
}

}  // namespace
}  // namespace wbx

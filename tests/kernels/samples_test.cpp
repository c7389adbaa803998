#include <cmath>

#include "kernel_cases.h"

namespace wbx {
namespace {

using test::floorDivide;
using test::forEachLength;
using test::forEachSet;
using test::Guarded;
using test::Values;
using test::wrap16;
using test::wrap32;

template <class T>
T clampTo(i64 v, i64 most) {
  return static_cast<T>(std::clamp<i64>(v, 0, most));
}
u8 byteOf(i64 v) {
  return clampTo<u8>(v, 255);
}

// To the nearest integer, ties to even; what is no number becomes 0.
u16 wordOf(f64 v, i32 most) {
  if (std::isnan(v)) return 0;
  return static_cast<u16>(std::nearbyint(std::clamp<f64>(v, 0, most)));
}

std::vector<f32> someFloats(Values& values, i32 count) {
  auto some = values.some<f32>(count);
  for (f32& each : some) {
    const i32 kind = values.below(12);
    if (kind == 0) each = std::numeric_limits<f32>::quiet_NaN();
    if (kind == 1)
      each = std::numeric_limits<f32>::infinity() * static_cast<f32>(values.below(2) - 0.5);
    if (kind == 2) each = static_cast<f32>(values.below(131072) - 65536) * 0.5f;  // ties
  }
  return some;
}

// One row of lanes to one row of samples.
template <class L, class S, class Convert, class SampleOf>
void checkRow(const std::vector<L>& lanes, const Convert& convert, const SampleOf& sampleOf) {
  const auto count = static_cast<i32>(lanes.size());
  std::vector<S> wanted;
  for (const L lane : lanes) wanted.push_back(sampleOf(lane));
  Guarded<L> in(lanes);
  Guarded<S> out(count);
  convert(in.data(), count, out.data());
  out.expect(wanted, "samples");
}

constexpr i32 kPrecisions[] = {9, 10, 12, 15, 16};

TEST(Samples, OfBytesAreShiftedAndClamped) {
  forEachSet([](const Kernels& set) {
    Values values(8);
    forEachLength([&](i32 count) {
      const auto lanes = values.some<i16>(count);
      checkRow<i16, u8>(lanes, set.bytes53, [](i16 v) { return byteOf(wrap16(v + 128)); });
      checkRow<i16, u8>(lanes, set.bytes97,
                        [](i16 v) { return byteOf(floorDivide(v + 128 * 64 + 32, 64)); });
    });
  });
}

TEST(Samples, OfWordsAreShiftedRoundedAndClamped) {
  forEachSet([](const Kernels& set) {
    Values values(9);
    forEachLength([&](i32 count) {
      for (const i32 precision : kPrecisions) {
        const i32 shift = 1 << (precision - 1), most = 2 * shift - 1;
        checkRow<i32, u16>(
            values.some<i32>(count),
            [&](auto* lanes, i32 n, auto* out) { set.words53(lanes, n, shift, most, out); },
            [&](i32 v) { return clampTo<u16>(wrap32(i64{v} + shift), most); });
        checkRow<f32, u16>(
            someFloats(values, count),
            [&](auto* lanes, i32 n, auto* out) { set.words97(lanes, n, shift, most, out); },
            [&](f32 v) { return wordOf(static_cast<f32>(shift) + v, most); });
      }
    });
  });
}

TEST(Samples, AreRoundedWhereAllAreSmall) {
  forEachSet([](const Kernels& set) {
    Values values(10);
    forEachLength([&](i32 count) {
      std::vector<f32> lanes(static_cast<size_t>(count));
      for (f32& each : lanes) each = std::fmod(values.one<f32>(), 4194304.0f);
      checkRow<f32, i32>(
          lanes, [&](auto* in, i32 n, auto* out) { EXPECT_TRUE(set.roundSmall(in, n, out)); },
          [](f32 v) { return static_cast<i32>(std::nearbyint(v)); });
    });
  });
}

TEST(Samples, ThatAreLargeAreReportedAtAnyPlace) {
  forEachSet([](const Kernels& set) {
    for (i32 count = 1; count <= 40; ++count) {
      for (i32 at = 0; at < count; ++at) {
        for (const f32 large :
             {4194304.0f, -4194304.0f, 1e30f, -std::numeric_limits<f32>::infinity(),
              std::numeric_limits<f32>::quiet_NaN()}) {
          std::vector<f32> lanes(static_cast<size_t>(count), 4194303.5f);
          lanes[static_cast<size_t>(at)] = large;
          Guarded<i32> out(count);
          ASSERT_FALSE(set.roundSmall(lanes.data(), count, out.data())) << at << " of " << count;
          out.expectGuards("out");
        }
      }
    }
  });
}

// Three rows in and three rows out.
template <class Y, class C, class S, class Convert, class ColourOf>
void checkColours(const std::vector<Y>& y, const std::vector<C>& cb, const std::vector<C>& cr,
                  const Convert& convert, const ColourOf& colourOf) {
  const auto count = static_cast<i32>(y.size());
  std::vector<S> wanted[3];
  for (size_t i = 0; i < y.size(); ++i) {
    for (size_t k = 0; k < 3; ++k)
      wanted[k].push_back(colourOf(static_cast<i32>(k), y[i], cb[i], cr[i]));
  }
  Guarded<Y> inY(y);
  Guarded<C> inCb(cb), inCr(cr);
  Guarded<S> red(count), green(count), blue(count);
  convert(inY.data(), inCb.data(), inCr.data(), count, red.data(), green.data(), blue.data());
  red.expect(wanted[0], "red");
  green.expect(wanted[1], "green");
  blue.expect(wanted[2], "blue");
}

u8 reversibleByte(i32 colour, i16 y, i16 u, i16 v) {
  const i64 green = y - floorDivide(u + v, 4) + 128;
  return byteOf(green + (colour == 0 ? v : colour == 2 ? u : 0));
}

// A colour's weights of Cb and Cr in 256ths.
i64 weighted(i32 colour, i64 cb, i64 cr) {
  return colour == 0 ? 358 * cr : colour == 2 ? 453 * cb : -88 * cb - 182 * cr;
}

u8 narrowByte(i32 colour, i16 y, i16 cb, i16 cr) {
  return byteOf(floorDivide((y + 8192 + 32) * 16 + weighted(colour, cb, cr), 1024));
}

i64 saturated(i64 v) {
  return std::clamp<i64>(v, -32768, 32767);
}

u8 wideByte(i32 colour, i16 y, i16 cb, i16 cr) {
  const i64 b = floorDivide(wrap16(cb + 2), 4), r = floorDivide(wrap16(cr + 2), 4);
  const i64 chroma = saturated(floorDivide(weighted(colour, b, r), 64));
  return byteOf(floorDivide(wrap16(saturated(y + 8192 + 32) + chroma), 64));
}

TEST(Colours, OfBytesAreThePlainOnes) {
  forEachSet([](const Kernels& set) {
    Values values(11);
    forEachLength([&](i32 count) {
      const auto y = values.some<i16>(count), cb = values.some<i16>(count),
                 cr = values.some<i16>(count);
      checkColours<i16, i16, u8>(y, cb, cr, set.colours53Bytes, reversibleByte);
      checkColours<i16, i16, u8>(y, cb, cr, set.colours97BytesNarrow, narrowByte);
      checkColours<i16, i16, u8>(y, cb, cr, set.colours97BytesWide, wideByte);
    });
  });
}

f32 irreversibleColour(i32 colour, f32 luma, i32 cb, i32 cr) {
  const auto weight = [](u32 bits) { return f64{std::bit_cast<f32>(bits)}; };
  const f64 y = luma, b = static_cast<f32>(cb), r = static_cast<f32>(cr);
  if (colour == 0) return static_cast<f32>(y + r * weight(0x3FB374BC));
  if (colour == 2) return static_cast<f32>(y + b * weight(0x3FE2D0E5));
  return static_cast<f32>(y - b * weight(0x3EB031CF) - r * weight(0x3F36D1E1));
}

TEST(Colours, OfWordsAreThePlainOnes) {
  forEachSet([](const Kernels& set) {
    Values values(12);
    forEachLength([&](i32 count) {
      const i32 precision = kPrecisions[values.below(5)];
      const i32 shift = 1 << (precision - 1), most = 2 * shift - 1;
      const auto with = [&](auto kernel) {
        return [=](auto* y, auto* cb, auto* cr, i32 n, auto* red, auto* green, auto* blue) {
          kernel(y, cb, cr, n, shift, most, red, green, blue);
        };
      };
      const auto cb = values.some<i32>(count), cr = values.some<i32>(count);
      checkColours<i32, i32, u16>(
          values.some<i32>(count), cb, cr, with(set.colours53Words),
          [&](i32 colour, i32 y, i32 u, i32 v) {
            const i64 sum = floorDivide(wrap32(i64{u} + v), 4);
            const i64 green = wrap32(wrap32(i64{y} - sum) + i64{shift});
            return clampTo<u16>(wrap32(green + (colour == 0 ? v : colour == 2 ? u : 0)), most);
          });
      checkColours<f32, i32, u16>(someFloats(values, count), cb, cr, with(set.colours97Words),
                                  [&](i32 colour, f32 y, i32 b, i32 r) {
                                    const f32 luma = static_cast<f32>(shift) + y;
                                    return wordOf(irreversibleColour(colour, luma, b, r), most);
                                  });
    });
  });
}

}  // namespace
}  // namespace wbx

// Every kernel of every set against what it must compute, element by element.
#include <cmath>
#include <functional>
#include <memory>

#include "plain_lifting.h"

namespace wbx {
namespace {

using test::floorDivide;
using test::Guarded;
using test::Values;
using test::wrap16;
using test::wrap32;

// One call of a kernel, on arrays between guards.
class Call {
 public:
  template <class T>
  T* in(const std::vector<T>& values) {
    return out(values, values);
  }
  // Entries from `first` to `last` - 1 are compared.
  template <class T>
  T* out(const std::vector<T>& wanted, i32 first, i32 last) {
    const auto array = std::make_shared<Guarded<T>>(static_cast<i32>(wanted.size()));
    checks_.push_back([=] { array->expectRange(wanted, first, last, "result"); });
    return array->data();
  }
  template <class T>
  T* out(const std::vector<T>& wanted) {
    return out(wanted, 0, static_cast<i32>(wanted.size()));
  }
  // An array that the kernel changes.
  template <class T>
  T* out(const std::vector<T>& wanted, const std::vector<T>& before) {
    T* data = out(wanted);
    std::copy(before.begin(), before.end(), data);
    return data;
  }
  void check() const {
    for (const auto& each : checks_) each();
  }

 private:
  std::vector<std::function<void()>> checks_;
};

template <class T, class Of>
std::vector<T> made(i32 count, const Of& of) {
  std::vector<T> values;
  for (i32 i = 0; i < count; ++i) values.push_back(of(static_cast<size_t>(i)));
  return values;
}

// Pairs of samples as a signal; pair p stands at 2p and 2p + 1.
template <class L>
struct Pairs {
  std::vector<L> a, b;

  static Pairs random(Values& values, i32 count) {
    return {values.some<L>(count), values.some<L>(count)};
  }
  L operator()(i32 n) const {
    const auto pair = static_cast<size_t>(n / 2);
    return n % 2 == 0 ? a[pair] : b[pair];
  }
};

// Horizontal lifting. The first `reach` pairs give no result, nor do the last ones.
template <class L, class PlainOf, class Lift>
void checkPairs(const Pairs<L>& input, i32 reach, const PlainOf& plainOf, const Lift& lift) {
  const auto pairs = static_cast<i32>(input.a.size());
  const auto plain = plainOf(input);
  const auto wanted = [&](i32 end, const auto& of) {
    return made<L>(pairs, [&](size_t p) {
      const auto at = static_cast<i32>(p);
      return at >= reach && at < end ? of(at) : L{0};
    });
  };
  const i32 evenEnd = pairs - reach + 1, oddEnd = pairs - reach;
  Call call;
  lift(call.in(input.a), call.in(input.b), pairs,
       call.out(wanted(evenEnd, [&](i32 p) { return plain.even(2 * p); }), reach, evenEnd),
       call.out(wanted(oddEnd, [&](i32 p) { return plain.odd(2 * p + 1); }), reach, oddEnd));
  call.check();
}

// Vertical lifting of rows that come pair by pair. The results of a step belong to the pair `lag`
// steps before; all that lies before the first pair is zero.
template <class L, class State, class PlainOf, class Lift>
void checkColumns(const std::vector<Pairs<L>>& steps, i32 lag, const PlainOf& plainOf,
                  const Lift& lift) {
  const auto columns = static_cast<i32>(steps[0].a.size());
  std::vector<Guarded<State>> state(4, Guarded<State>(std::vector<State>(steps[0].a.size())));
  State* const stateData[] = {state[0].data(), state[1].data(), state[2].data(), state[3].data()};
  for (i32 step = 0; step < static_cast<i32>(steps.size()); ++step) {
    const auto wanted = [&](const auto& of) {
      return made<L>(columns, [&](size_t x) {
        return of(plainOf([&, x](i32 n) {
          if (n < 0) return L{0};
          const Pairs<L>& pair = steps[static_cast<size_t>(n / 2)];
          return n % 2 == 0 ? pair.a[x] : pair.b[x];
        }));
      });
    };
    const Pairs<L>& pair = steps[static_cast<size_t>(step)];
    const i32 at = 2 * (step - lag);
    Call call;
    lift(call.in(pair.a), call.in(pair.b), columns, stateData,
         call.out(wanted([at](const auto& plain) { return plain.even(at); })),
         call.out(wanted([at](const auto& plain) { return plain.odd(at + 1); })));
    call.check();
    for (const auto& each : state) each.expectGuards("state");
  }
}

template <class L>
std::vector<Pairs<L>> randomSteps(Values& values, i32 columns) {
  std::vector<Pairs<L>> steps;
  for (i32 step = 0; step < 7; ++step) steps.push_back(Pairs<L>::random(values, columns));
  return steps;
}

template <class L, class Lift>
auto inTwoStates(const Lift& lift) {
  return [lift](const L* a, const L* b, i32 count, L* const* state, L* even, L* odd) {
    lift(a, b, count, state[0], state[1], even, odd);
  };
}

void liftPairs(const Kernels& set, Values& values, i32 n) {
  checkPairs(Pairs<i16>::random(values, n), 1, test::plain53<i16>, set.liftPairs53i16);
  checkPairs(Pairs<i32>::random(values, n), 1, test::plain53<i32>, set.liftPairs53i32);
  checkPairs(Pairs<i16>::random(values, n), 2, test::plain97Fixed, set.liftPairs97Fixed);
  checkPairs(Pairs<f32>::random(values, n), 2, test::plain97Float, set.liftPairs97Float);
}

void liftColumns(const Kernels& set, Values& values, i32 n) {
  checkColumns<i16, i16>(randomSteps<i16>(values, n), 1, test::plain53<i16>,
                         inTwoStates<i16>(set.liftColumns53i16));
  checkColumns<i32, i32>(randomSteps<i32>(values, n), 1, test::plain53<i32>,
                         inTwoStates<i32>(set.liftColumns53i32));
  checkColumns<i16, i32>(randomSteps<i16>(values, n), 2, test::plain97Fixed,
                         set.liftColumns97Fixed);
  checkColumns<f32, f32>(randomSteps<f32>(values, n), 2, test::plain97Float,
                         set.liftColumns97Float);
}

template <class L, class Kernel>
void checkInterleave(Values& values, i32 n, const Kernel& kernel) {
  const auto input = Pairs<L>::random(values, n);
  Call call;
  L* out = call.out(made<L>(2 * n, [&](size_t i) { return input(static_cast<i32>(i)); }));
  kernel(call.in(input.a), call.in(input.b), n, out);
  call.check();
}

void interleave(const Kernels& set, Values& values, i32 n) {
  checkInterleave<i16>(values, n, set.interleave16);
  checkInterleave<i32>(values, n, set.interleave32);
  checkInterleave<f32>(values, n, set.interleaveF32);
}

// The signed value of a coefficient with its 2 fractional bits, of which 32 bits remain.
i64 signedValue(u32 coefficient, u32 midpoint) {
  const i64 magnitude = ((i64{coefficient} & 0x7FFFFFFF) * 4) | midpoint;
  return wrap32((coefficient & 0x80000000) != 0 ? -magnitude : magnitude);
}

template <class L, class Transfer, class LaneOf>
void checkTransfer(Values& values, i32 n, const Transfer& transfer, const LaneOf& laneOf) {
  const auto quads = made<u32>(4 * n, [&](size_t) {
    if (values.below(3) == 0) return 0u;
    return values.below(16) == 0 ? values.one<u32>() : values.bits() >> values.below(31);
  });
  Call call;
  L* rows[4];
  for (size_t row = 0; row < 4; ++row) {
    rows[row] = call.out(made<L>(n, [&](size_t x) {
      const u32 v = quads[4 * x + row];
      return v == 0 ? L{0} : laneOf(v);
    }));
  }
  transfer(call.in(quads), n, rows);
  call.check();
}

void transfer(const Kernels& set, Values& values, i32 n) {
  for (const u32 midpoint : {0u, 4u, 64u, 2u << 12, 2u << 30}) {
    const u32 scale = midpoint == 0 ? 1024 : values.one<u32>();
    const f64 step = static_cast<f32>(values.bits() + 1) / 65536.0f;
    checkTransfer<i16>(
        values, n,
        [&](auto* quads, i32 count, auto* rows) {
          set.transferFixed(quads, count, midpoint, scale, rows);
        },
        [&](u32 v) {
          return wrap16(floorDivide(wrap32(signedValue(v, midpoint) * i64{scale}), 4096));
        });
    checkTransfer<f32>(
        values, n,
        [&](auto* quads, i32 count, auto* rows) {
          set.transferFloat(quads, count, midpoint, step, rows);
        },
        [&](u32 v) { return static_cast<f32>(static_cast<f64>(signedValue(v, midpoint)) * step); });
  }
  checkTransfer<i32>(values, n, set.transferInteger,
                     [](u32 v) { return wrap32(floorDivide(signedValue(v, 0), 4)); });
}

template <class S>
S clampTo(i64 v, i64 most) {
  return static_cast<S>(std::clamp<i64>(v, 0, most));
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

template <class S, class L, class Convert, class SampleOf, class... More>
void checkRow(const std::vector<L>& lanes, const Convert& convert, const SampleOf& sampleOf,
              More... more) {
  const auto n = static_cast<i32>(lanes.size());
  Call call;
  S* out = call.out(made<S>(n, [&](size_t i) { return sampleOf(lanes[i]); }));
  convert(call.in(lanes), n, more..., out);
  call.check();
}

void samples(const Kernels& set, Values& values, i32 n) {
  const auto lanes = values.some<i16>(n);
  checkRow<u8>(lanes, set.bytes53, [](i16 v) { return byteOf(wrap16(v + 128)); });
  checkRow<u8>(lanes, set.bytes97, [](i16 v) { return byteOf(floorDivide(v + 8192 + 32, 64)); });
  for (const i32 precision : {9, 12, 16}) {
    const i32 shift = 1 << (precision - 1), most = 2 * shift - 1;
    const auto wordOf53 = [=](i32 v) { return clampTo<u16>(wrap32(i64{v} + shift), most); };
    const auto wordOf97 = [=](f32 v) { return wordOf(static_cast<f32>(shift) + v, most); };
    checkRow<u16>(values.some<i32>(n), set.words53, wordOf53, shift, most);
    checkRow<u16>(someFloats(values, n), set.words97, wordOf97, shift, most);
  }
  auto small = values.some<f32>(n);
  for (f32& each : small) each = std::fmod(each, 4194304.0f);
  const auto rounds = [&](auto* in, i32 count, auto* out) {
    EXPECT_TRUE(set.roundSmall(in, count, out));
  };
  checkRow<i32>(small, rounds, [](f32 v) { return static_cast<i32>(std::nearbyint(v)); });
  for (size_t at = 0; at < std::min<size_t>(small.size(), 40); ++at) {
    auto large = small;
    large[at] = at % 3 == 0 ? 4194304.0f : at % 3 == 1 ? -1e30f : std::nanf("");
    std::vector<i32> out(large.size());
    EXPECT_FALSE(set.roundSmall(large.data(), n, out.data())) << at;
  }
}

// `colourOf` is what colour 0 (red), 1 or 2 of a pixel must be.
template <class S, class Y, class C, class Kernel, class ColourOf, class... More>
void checkColours(const std::vector<Y>& y, const std::vector<C>& cb, const std::vector<C>& cr,
                  const Kernel& kernel, const ColourOf& colourOf, More... more) {
  const auto n = static_cast<i32>(y.size());
  Call call;
  S* out[3];
  for (i32 k = 0; k < 3; ++k)
    out[k] = call.out(made<S>(n, [&](size_t i) { return colourOf(k, y[i], cb[i], cr[i]); }));
  kernel(call.in(y), call.in(cb), call.in(cr), n, more..., out[0], out[1], out[2]);
  call.check();
}

// A colour's weights of Cb and Cr in 256ths.
i64 weighted(i32 colour, i64 cb, i64 cr) {
  return colour == 0 ? 358 * cr : colour == 2 ? 453 * cb : -88 * cb - 182 * cr;
}

u8 wideByte(i32 colour, i16 y, i16 cb, i16 cr) {
  const auto saturated = [](i64 v) { return std::clamp<i64>(v, -32768, 32767); };
  const i64 b = floorDivide(wrap16(cb + 2), 4), r = floorDivide(wrap16(cr + 2), 4);
  const i64 chroma = saturated(floorDivide(weighted(colour, b, r), 64));
  return byteOf(floorDivide(wrap16(saturated(y + 8192 + 32) + chroma), 64));
}

f32 irreversibleColour(i32 colour, f32 luma, i32 cb, i32 cr) {
  const auto weight = [](u32 bits) { return f64{std::bit_cast<f32>(bits)}; };
  const f64 y = luma, b = static_cast<f32>(cb), r = static_cast<f32>(cr);
  if (colour == 0) return static_cast<f32>(y + r * weight(0x3FB374BC));
  if (colour == 2) return static_cast<f32>(y + b * weight(0x3FE2D0E5));
  return static_cast<f32>(y - b * weight(0x3EB031CF) - r * weight(0x3F36D1E1));
}

void colours(const Kernels& set, Values& values, i32 n) {
  const auto y = values.some<i16>(n), cb = values.some<i16>(n), cr = values.some<i16>(n);
  checkColours<u8>(y, cb, cr, set.colours53Bytes, [](i32 k, i16 luma, i16 u, i16 v) {
    const i64 green = luma - floorDivide(u + v, 4) + 128;
    return byteOf(green + (k == 0 ? v : k == 2 ? u : 0));
  });
  checkColours<u8>(y, cb, cr, set.colours97BytesNarrow, [](i32 k, i16 luma, i16 b, i16 r) {
    return byteOf(floorDivide((luma + 8192 + 32) * 16 + weighted(k, b, r), 1024));
  });
  checkColours<u8>(y, cb, cr, set.colours97BytesWide, wideByte);

  const i32 shift = 1 << (8 + values.below(8)), most = 2 * shift - 1;
  const auto u = values.some<i32>(n), v = values.some<i32>(n);
  const auto wordOf53 = [=](i32 k, i32 luma, i32 b, i32 r) {
    const i64 sum = floorDivide(wrap32(i64{b} + r), 4);
    const i64 green = wrap32(wrap32(i64{luma} - sum) + i64{shift});
    return clampTo<u16>(wrap32(green + (k == 0 ? r : k == 2 ? b : 0)), most);
  };
  const auto wordOf97 = [=](i32 k, f32 luma, i32 b, i32 r) {
    return wordOf(irreversibleColour(k, static_cast<f32>(shift) + luma, b, r), most);
  };
  checkColours<u16>(values.some<i32>(n), u, v, set.colours53Words, wordOf53, shift, most);
  checkColours<u16>(someFloats(values, n), u, v, set.colours97Words, wordOf97, shift, most);
}

// Puts one part of each pixel, sample `place` of as many as fit, in its place.
template <class Part>
std::vector<u8> withParts(std::vector<u8> pixels, const std::vector<Part>& parts, size_t place,
                          size_t pixelBytes) {
  for (size_t i = 0; i < parts.size(); ++i)
    std::memcpy(&pixels[i * pixelBytes + place * sizeof(Part)], &parts[i], sizeof(Part));
  return pixels;
}

template <class Part, class Store>
void checkStore(Values& values, i32 n, i32 pixelBytes, const Store& store) {
  const auto parts = values.some<Part>(n);
  const auto before = values.some<u8>(n * pixelBytes);
  const auto bytes = static_cast<size_t>(pixelBytes);
  for (size_t place = 0; place < bytes / sizeof(Part); ++place) {
    Call call;
    u8* pixels = call.out(withParts(before, parts, place, bytes), before);
    store(call.in(parts), n, static_cast<i32>(place), pixels);
    call.check();
  }
}

template <class Part, class Unpark>
void checkUnpark(Values& values, i32 n, const Unpark& unpark) {
  const auto first = values.some<Part>(n), second = values.some<Part>(n);
  constexpr size_t kBytes = 2 * sizeof(Part);
  std::vector<u8> pixels(first.size() * kBytes);
  pixels = withParts(withParts(pixels, first, 0, kBytes), second, 1, kBytes);
  Call call;
  Part* const out[] = {call.out(first), call.out(second)};
  unpark(call.in(pixels), n, out[0], out[1]);
  call.check();
}

template <class Sample, class Join>
void checkJoin(Values& values, i32 n, Sample fourth, const Join& join) {
  const std::vector<Sample> parts[] = {values.some<Sample>(n), values.some<Sample>(n),
                                       values.some<Sample>(n),
                                       made<Sample>(n, [=](size_t) { return fourth; })};
  constexpr size_t kBytes = 4 * sizeof(Sample);
  std::vector<u8> wanted(parts[0].size() * kBytes);
  for (size_t k = 0; k < 4; ++k) wanted = withParts(wanted, parts[k], k, kBytes);
  Call call;
  u8* pixels = call.out(wanted);
  join(call.in(parts[2]), call.in(parts[1]), call.in(parts[0]), n, pixels);
  call.check();
}

void pixels(const Kernels& set, Values& values, i32 n) {
  checkStore<u8>(values, n, 4, set.storeInBytes);
  checkStore<i16>(values, n, 4, set.parkInBytes);
  checkStore<u16>(values, n, 8, set.storeInWords);
  checkStore<i32>(values, n, 8, set.parkInWords);
  checkUnpark<i16>(values, n, set.unparkBytes);
  checkUnpark<i32>(values, n, set.unparkWords);
  checkJoin<u8>(values, n, 255, set.joinBytes);
  checkJoin<u16>(values, n, 0, set.joinWords);
}

struct Kind {
  const char* name;
  void (*check)(const Kernels& set, Values& values, i32 length);
};

class KernelsOf : public testing::TestWithParam<Kind> {};

TEST_P(KernelsOf, AreThePlainOnes) {
  test::forEachSet([](const Kernels& set) {
    Values values(7);
    test::forEachLength([&](i32 length) { GetParam().check(set, values, length); });
  });
}

INSTANTIATE_TEST_SUITE_P(EachKind, KernelsOf,
                         testing::Values(Kind{"pairs", liftPairs}, Kind{"columns", liftColumns},
                                         Kind{"interleave", interleave}, Kind{"transfer", transfer},
                                         Kind{"samples", samples}, Kind{"colours", colours},
                                         Kind{"pixels", pixels}),
                         [](const auto& kind) { return kind.param.name; });

// A fused multiply-add differs from a product and a sum in the last of 53 bits, which rounding to
// 24 bits hides as a rule. It shows where a sum all but cancels out: in pairs whose odd sample 5 is
// so near to zero that a fused addition changes it.
TEST(FloatLifting, RoundsProductsBeforeItAddsThem) {
  constexpr i32 kPairs = 5, kMiddle = 5;
  Values values(5);
  Pairs<f32> row;                         // one after the other
  std::vector<Pairs<f32>> steps(kPairs);  // side by side
  const auto ordinary = [&](size_t) {
    return static_cast<f32>(values.below(2000000) - 1000000) / 1024.0f;
  };
  while (steps[0].a.size() < 40) {
    Pairs<f32> pairs{made<f32>(kPairs, ordinary), made<f32>(kPairs, ordinary)};
    f32& own = pairs.b[kMiddle / 2];
    for (i32 round = 0; round < 3; ++round) {  // the result is linear in the sample's own lane
      const f32 at = own, result = test::plain97Float(pairs).odd(kMiddle);
      own = at + 64.0f;
      own = at - result / ((test::plain97Float(pairs).odd(kMiddle) - result) / 64.0f);
    }
    if (test::plain97Float(pairs).odd(kMiddle) == test::fused97Float(pairs).odd(kMiddle)) continue;
    for (size_t i = 0; i < kPairs; ++i) {
      row.a.push_back(pairs.a[i]);
      row.b.push_back(pairs.b[i]);
      steps[i].a.push_back(pairs.a[i]);
      steps[i].b.push_back(pairs.b[i]);
    }
  }
  test::forEachSet([&](const Kernels& set) {
    checkPairs(row, 2, test::plain97Float, set.liftPairs97Float);
    checkColumns<f32, f32>(steps, 2, test::plain97Float, set.liftColumns97Float);
  });
}

}  // namespace
}  // namespace wbx

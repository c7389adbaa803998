// The loops behind kernels.h. Included by one source file for each instruction set, which names
// its own namespace, WBX_KERNEL_SET, and the passes that come with it, if any. No inline function
// from outside may be called here: the linker would be free to keep the copy that the wrong
// processor cannot run.

#include "engine/kernels.h"

#ifndef WBX_KERNEL_GROUP_PASSES
#define WBX_KERNEL_GROUP_PASSES nullptr
#endif

namespace wbx::WBX_KERNEL_SET {
namespace {

// 5-3 (T.800 F.3.8.2). Sums are formed in 32 bits; what is kept for the next pair has the width of
// the lane and wraps. An odd sample sees the even result behind it, of its own step, unwrapped.
inline i32 add(i32 x, i32 y) {
  return static_cast<i32>(static_cast<u32>(x) + static_cast<u32>(y));
}
inline i32 subtract(i32 x, i32 y) {
  return static_cast<i32>(static_cast<u32>(x) - static_cast<u32>(y));
}
// The even sample a between the odd ones on its two sides.
inline i32 liftEven(i32 a, i32 before, i32 behind) {
  return subtract(a, add(add(before, behind), 2) >> 2);
}
// The odd sample b between the even results on its two sides.
inline i32 liftOdd(i32 b, i32 before, i32 behind) {
  return add(b, add(before, behind) >> 1);
}

template <class L>
void liftPairs53(const L* __restrict a, const L* __restrict b, i32 pairs, L* __restrict even,
                 L* __restrict odd) {
  for (i32 p = 1; p < pairs; ++p) even[p] = wrapTo<L>(liftEven(a[p], b[p - 1], b[p]));
  for (i32 p = 1; p + 1 < pairs; ++p) {
    odd[p] = wrapTo<L>(liftOdd(b[p], even[p], liftEven(a[p + 1], b[p], b[p + 1])));
  }
}

template <class L>
void liftColumns53(const L* __restrict a, const L* __restrict b, i32 columns,
                   L* __restrict evenPrev, L* __restrict oddIn, L* __restrict evenOut,
                   L* __restrict oddOut) {
  for (i32 x = 0; x < columns; ++x) {
    const L before = evenPrev[x], odd = oddIn[x];
    const i32 lifted = liftEven(a[x], odd, b[x]);
    evenOut[x] = before;
    oddOut[x] = wrapTo<L>(liftOdd(odd, before, lifted));
    evenPrev[x] = wrapTo<L>(lifted);
    oddIn[x] = b[x];
  }
}

// As many 32-bit lanes as one instruction multiplies and adds, pair by pair, in their 16-bit
// halves. Where there is none, a single lane, and the compiler makes of the loops what it can.
#if defined(__AVX2__)
constexpr i32 kLanes = 8;
#elif defined(__SSE2__) || defined(__wasm_simd128__)
constexpr i32 kLanes = 4;
#else
constexpr i32 kLanes = 1;
#endif

#if defined(__SSE2__) || defined(__wasm_simd128__)
using Lanes = i32 __attribute__((vector_size(4 * kLanes)));
using NarrowLanes = i16 __attribute__((vector_size(2 * kLanes)));
using LaneHalves = i16 __attribute__((vector_size(4 * kLanes)));

// The low 16 bits of each lane times the factor; the high ones meet 0.
inline Lanes timesLow(Lanes v, i32 factor) {
  const auto halves = reinterpret_cast<LaneHalves>(v);
  const auto factors = reinterpret_cast<LaneHalves>(Lanes{} + (factor & 0xFFFF));
#if defined(__AVX2__)
  return reinterpret_cast<Lanes>(__builtin_ia32_pmaddwd256(halves, factors));
#elif defined(__SSE2__)
  return reinterpret_cast<Lanes>(__builtin_ia32_pmaddwd128(halves, factors));
#else
  return reinterpret_cast<Lanes>(__builtin_wasm_dot_s_i32x4_i16x8(halves, factors));
#endif
}

inline Lanes loadLanes(const i16* from, Lanes) {
  NarrowLanes lanes;
  __builtin_memcpy(&lanes, from, sizeof lanes);
  return __builtin_convertvector(lanes, Lanes);
}
inline Lanes loadLanes(const i32* from, Lanes) {
  Lanes lanes;
  __builtin_memcpy(&lanes, from, sizeof lanes);
  return lanes;
}
inline void storeLanes(i16* to, Lanes v) {
  const NarrowLanes lanes = __builtin_convertvector(v, NarrowLanes);
  __builtin_memcpy(to, &lanes, sizeof lanes);
}
inline void storeLanes(i32* to, Lanes v) {
  __builtin_memcpy(to, &v, sizeof v);
}
#else
using Lanes = i32;
#endif

inline i32 timesLow(i32 v, i32 factor) {
  return wrapTo<i16>(v) * factor;
}
template <class L>
inline i32 loadLanes(const L* from, i32) {
  return *from;
}
template <class L>
inline void storeLanes(L* to, i32 v) {
  *to = wrapTo<L>(v);
}

// 9-7 in fixed point (T.800 F.3.8.1), on one lane or several. The factors, their shifts and the
// order of the steps define the result to the last bit: each factor meets the low 16 bits of its
// sum, as multiply-and-add hardware takes it. The odd factor is 2 / K and not 1 / K, since the step
// sizes leave the gain of the subbands out.
template <class V>
inline V scaleEven(V a) {
  return timesLow(a, 10077) >> 13;
}  // K
template <class V>
inline V scaleOdd(V b) {
  return timesLow(b, 13318) >> 13;
}  // 2 / K
template <class V>
inline V stepDelta(V e, V left, V right) {
  return e + (timesLow(left + right, -7266) >> 14);
}
template <class V>
inline V stepGamma(V o, V left, V right) {
  return o + (timesLow(left + right, -14465) >> 14);
}
// Four times beta, on a quarter of the sum.
template <class V>
inline V stepBeta(V e, V left, V right) {
  return e + (timesLow((left + right) >> 2, 1736) >> 13);
}
template <class V>
inline V stepAlpha(V o, V left, V right) {
  return o + (timesLow(left + right, 12993) >> 13);
}

// Runs a lifting of rows over pieces whose intermediate values stay in the nearest cache. The 9-7
// filter reaches over 4 pairs, so that is how far the pieces overlap.
constexpr i32 kPiece = 256;

template <class Lift>
inline void forEachPiece(i32 pairs, const Lift& lift) {
  constexpr i32 kOverlap = 4;
  for (i32 first = 0;; first += kPiece - kOverlap) {
    const i32 left = pairs - first;
    lift(first, left < kPiece ? left : kPiece);
    if (left <= kPiece) return;
  }
}

// Calls step(p, V) for the places from `first` to `last` - 1, several at a time while they fit.
template <class Step>
inline void forLanes(i32 first, i32 last, const Step& step) {
  i32 p = first;
  for (; p + kLanes <= last; p += kLanes) step(p, Lanes{});
  for (; p < last; ++p) step(p, i32{});
}

void liftPiece97Fixed(const i16* __restrict a, const i16* __restrict b, i32 pairs,
                      i16* __restrict even, i16* __restrict odd) {
  i32 o[kPiece], e1[kPiece], o1[kPiece], e2[kPiece];
  forLanes(0, pairs, [&](i32 p, auto v) { storeLanes(o + p, scaleOdd(loadLanes(b + p, v))); });
  forLanes(1, pairs, [&](i32 p, auto v) {
    storeLanes(e1 + p, stepDelta(scaleEven(loadLanes(a + p, v)), loadLanes(o + p - 1, v),
                                 loadLanes(o + p, v)));
  });
  forLanes(1, pairs - 1, [&](i32 p, auto v) {
    storeLanes(o1 + p,
               stepGamma(loadLanes(o + p, v), loadLanes(e1 + p, v), loadLanes(e1 + p + 1, v)));
  });
  forLanes(2, pairs - 1, [&](i32 p, auto v) {
    const auto lifted =
        stepBeta(loadLanes(e1 + p, v), loadLanes(o1 + p - 1, v), loadLanes(o1 + p, v));
    storeLanes(e2 + p, lifted);
    storeLanes(even + p, lifted);
  });
  forLanes(2, pairs - 2, [&](i32 p, auto v) {
    storeLanes(odd + p,
               stepAlpha(loadLanes(o1 + p, v), loadLanes(e2 + p, v), loadLanes(e2 + p + 1, v)));
  });
}

void liftPairs97Fixed(const i16* a, const i16* b, i32 pairs, i16* even, i16* odd) {
  forEachPiece(pairs, [=](i32 first, i32 count) {
    liftPiece97Fixed(a + first, b + first, count, even + first, odd + first);
  });
}

void liftColumns97Fixed(const i16* __restrict a, const i16* __restrict b, i32 columns,
                        i32* const state[4], i16* __restrict evenOut, i16* __restrict oddOut) {
  i32* __restrict o = state[0];
  i32* __restrict e1 = state[1];
  i32* __restrict o1 = state[2];
  i32* __restrict e2 = state[3];
  forLanes(0, columns, [=](i32 x, auto v) {
    const auto ownO = loadLanes(o + x, v), ownE1 = loadLanes(e1 + x, v);
    const auto ownO1 = loadLanes(o1 + x, v), ownE2 = loadLanes(e2 + x, v);
    const auto nextO = scaleOdd(loadLanes(b + x, v));
    const auto nextE1 = stepDelta(scaleEven(loadLanes(a + x, v)), ownO, nextO);
    const auto nextO1 = stepGamma(ownO, ownE1, nextE1);
    const auto nextE2 = stepBeta(ownE1, ownO1, nextO1);
    storeLanes(oddOut + x, stepAlpha(ownO1, ownE2, nextE2));
    storeLanes(evenOut + x, ownE2);
    storeLanes(o + x, nextO);
    storeLanes(e1 + x, nextE1);
    storeLanes(o1 + x, nextO1);
    storeLanes(e2 + x, nextE2);
  });
}

// 9-7 on floats. Each expression of a pair is evaluated in double precision and feeds the next one
// unrounded; what the next pair sees of it is rounded to 32 bits. So the value on the right of a
// sum comes as it is and the one on its left rounded. These expressions must not be contracted to
// fused multiply-adds.
constexpr f64 kEven = __builtin_bit_cast(f32, 0x3F9D7658);  // K
constexpr f64 kOdd = __builtin_bit_cast(f32, 0x3FD019C3);   // 2 / K
constexpr f64 kDelta = __builtin_bit_cast(f32, 0x3EE31355);
constexpr f64 kGamma = __builtin_bit_cast(f32, 0x3F620676);
constexpr f64 kBeta = __builtin_bit_cast(f32, 0x3D5901AE);
constexpr f64 kAlpha = __builtin_bit_cast(f32, 0x3FCB0673);

inline f64 rounded(f64 v) {
  return static_cast<f32>(v);
}

void liftPiece97Float(const f32* __restrict a, const f32* __restrict b, i32 pairs,
                      f32* __restrict even, f32* __restrict odd) {
  // Entry p of o1 and of e2 is what pair p computes, for the odd and even place before it.
  f64 o[kPiece], e1[kPiece], o1[kPiece], e2[kPiece];
  for (i32 p = 0; p < pairs; ++p) o[p] = b[p] * kOdd;
  for (i32 p = 1; p < pairs; ++p) e1[p] = a[p] * kEven - (o[p] + rounded(o[p - 1])) * kDelta;
  for (i32 p = 2; p < pairs; ++p) {
    o1[p] = rounded(o[p - 1]) - (e1[p] + rounded(e1[p - 1])) * kGamma;
  }
  for (i32 p = 3; p < pairs; ++p) {
    e2[p] = rounded(e1[p - 1]) + (o1[p] + rounded(o1[p - 1])) * kBeta;
    even[p - 1] = static_cast<f32>(e2[p]);
  }
  for (i32 p = 4; p < pairs; ++p) {
    odd[p - 2] = static_cast<f32>(rounded(o1[p - 1]) + (e2[p] + rounded(e2[p - 1])) * kAlpha);
  }
}

void liftPairs97Float(const f32* a, const f32* b, i32 pairs, f32* even, f32* odd) {
  forEachPiece(pairs, [=](i32 first, i32 count) {
    liftPiece97Float(a + first, b + first, count, even + first, odd + first);
  });
}

void liftColumns97Float(const f32* __restrict a, const f32* __restrict b, i32 columns,
                        f32* const state[4], f32* __restrict evenOut, f32* __restrict oddOut) {
  f32* __restrict o = state[0];
  f32* __restrict e1 = state[1];
  f32* __restrict o1 = state[2];
  f32* __restrict e2 = state[3];
  for (i32 x = 0; x < columns; ++x) {
    const f64 nextO = b[x] * kOdd;
    const f64 nextE1 = a[x] * kEven - (nextO + o[x]) * kDelta;
    const f64 nextO1 = o[x] - (nextE1 + e1[x]) * kGamma;
    const f64 nextE2 = e1[x] + (nextO1 + o1[x]) * kBeta;
    oddOut[x] = static_cast<f32>(o1[x] + (nextE2 + e2[x]) * kAlpha);
    evenOut[x] = e2[x];
    o[x] = static_cast<f32>(nextO);
    e1[x] = static_cast<f32>(nextE1);
    o1[x] = static_cast<f32>(nextO1);
    e2[x] = static_cast<f32>(nextE2);
  }
}

template <class L>
void interleave(const L* __restrict even, const L* __restrict odd, i32 pairs, L* __restrict out) {
  for (i32 i = 0; i < pairs; ++i) {
    out[2 * i] = even[i];
    out[2 * i + 1] = odd[i];
  }
}

// The coefficient with 2 fractional bits; the shift drops the sign and the top magnitude bit. A 0
// stays 0. (The choice is between integers: one between floats keeps compilers from vectorising.)
inline i32 reconstructed(u32 coefficient, u32 midpoint) {
  const u32 t = (coefficient << 2) | (coefficient != 0 ? midpoint : 0);
  const u32 sign = static_cast<u32>(static_cast<i32>(coefficient) >> 31);
  return static_cast<i32>((t ^ sign) - sign);
}

template <class L, class Lane>
inline void transferQuads(const u32* __restrict quads, i32 columns, L* const rows[4],
                          const Lane& lane) {
  L* __restrict row0 = rows[0];
  L* __restrict row1 = rows[1];
  L* __restrict row2 = rows[2];
  L* __restrict row3 = rows[3];
  for (i32 x = 0; x < columns; ++x) {
    row0[x] = lane(quads[4 * x]);
    row1[x] = lane(quads[4 * x + 1]);
    row2[x] = lane(quads[4 * x + 2]);
    row3[x] = lane(quads[4 * x + 3]);
  }
}

void transferFixed(const u32* quads, i32 columns, u32 midpoint, u32 scale, i16* const rows[4]) {
  transferQuads(quads, columns, rows, [midpoint, scale](u32 v) {
    const u32 product = static_cast<u32>(reconstructed(v, midpoint)) * scale;
    return wrapTo<i16>(static_cast<i32>(product) >> 12);
  });
}

void transferInteger(const u32* quads, i32 columns, i32* const rows[4]) {
  transferQuads(quads, columns, rows, [](u32 v) { return reconstructed(v, 0) >> 2; });
}

void transferFloat(const u32* quads, i32 columns, u32 midpoint, f64 step, f32* const rows[4]) {
  transferQuads(quads, columns, rows, [midpoint, step](u32 v) {
    return static_cast<f32>(reconstructed(v, midpoint) * step);
  });
}

inline i32 clampTo(i32 v, i32 most) {
  return v < 0 ? 0 : v > most ? most : v;
}
inline u8 clampByte(i32 v) {
  return static_cast<u8>(clampTo(v, 255));
}

// Eight-bit samples: the level shift is 128; lanes of the 9-7 path have 6 fractional bits, and the
// rounding half goes with the shift.
constexpr i32 kShiftAndHalf = (128 << 6) + 32;

void bytes53(const i16* __restrict lanes, i32 count, u8* __restrict out) {
  for (i32 i = 0; i < count; ++i) out[i] = clampByte(wrapTo<i16>(lanes[i] + 128));
}

void bytes97(const i16* __restrict lanes, i32 count, u8* __restrict out) {
  for (i32 i = 0; i < count; ++i) out[i] = clampByte((lanes[i] + kShiftAndHalf) >> 6);
}

void words53(const i32* __restrict lanes, i32 count, i32 levelShift, i32 maxValue,
             u16* __restrict out) {
  for (i32 i = 0; i < count; ++i) {
    out[i] = static_cast<u16>(clampTo(add(lanes[i], levelShift), maxValue));
  }
}

// Rounds to nearest, ties to even, and clamps; what is no number gives 0. Between 2^23 and 2^24
// floats are the integers, so the addition rounds.
inline u16 roundWord(f32 v, f32 maxValue) {
  constexpr f32 kIntegers = 8388608.0f;
  const f32 positive = v > 0.0f ? v : 0.0f;
  const f32 inside = positive < maxValue ? positive : maxValue;
  return static_cast<u16>(static_cast<i32>((inside + kIntegers) - kIntegers));
}

void words97(const f32* __restrict lanes, i32 count, i32 levelShift, i32 maxValue,
             u16* __restrict out) {
  const f32 shift = static_cast<f32>(levelShift), most = static_cast<f32>(maxValue);
  for (i32 i = 0; i < count; ++i) out[i] = roundWord(shift + lanes[i], most);
}

bool roundSmall(const f32* __restrict lanes, i32 count, i32* __restrict out) {
  constexpr f32 kIntegers = 12582912.0f;  // 1.5 times 2^23: for either sign
  constexpr i32 kLimit = __builtin_bit_cast(i32, 4194304.0f);
  i32 outside = 0;  // negative once a magnitude was at the limit or above, compared as bits
  for (i32 i = 0; i < count; ++i) {
    const i32 bits = __builtin_bit_cast(i32, lanes[i]);
    const i32 room = kLimit - 1 - (bits & 0x7FFFFFFF);
    outside |= room;
    const f32 small = __builtin_bit_cast(f32, bits & ~(room >> 31));
    out[i] = static_cast<i32>((small + kIntegers) - kIntegers);
  }
  return outside >= 0;
}

void colours53Bytes(const i16* __restrict y, const i16* __restrict u, const i16* __restrict v,
                    i32 count, u8* __restrict red, u8* __restrict green, u8* __restrict blue) {
  for (i32 i = 0; i < count; ++i) {
    const i32 g = y[i] - ((u[i] + v[i]) >> 2) + 128;
    red[i] = clampByte(g + v[i]);
    green[i] = clampByte(g);
    blue[i] = clampByte(g + u[i]);
  }
}

// Chroma parked with 2 fractional bits.
void colours97BytesNarrow(const i16* __restrict y, const i16* __restrict cb,
                          const i16* __restrict cr, i32 count, u8* __restrict red,
                          u8* __restrict green, u8* __restrict blue) {
  for (i32 i = 0; i < count; ++i) {
    const i32 t = (y[i] + kShiftAndHalf) * 16;
    red[i] = clampByte((t + 358 * cr[i]) >> 10);
    green[i] = clampByte((t - 88 * cb[i] - 182 * cr[i]) >> 10);
    blue[i] = clampByte((t + 453 * cb[i]) >> 10);
  }
}

// Chroma parked as whole lanes. Saturations and the wrapping sum are those of 16-bit arithmetic.
inline i32 saturate16(i32 v) {
  return v < -32768 ? -32768 : v > 32767 ? 32767 : v;
}
inline u8 wideColour(i32 luma, i32 chroma) {
  return clampByte(wrapTo<i16>(luma + saturate16(chroma >> 6)) >> 6);
}

void colours97BytesWide(const i16* __restrict y, const i16* __restrict cb, const i16* __restrict cr,
                        i32 count, u8* __restrict red, u8* __restrict green, u8* __restrict blue) {
  for (i32 i = 0; i < count; ++i) {
    const i32 b = wrapTo<i16>(cb[i] + 2) >> 2;
    const i32 r = wrapTo<i16>(cr[i] + 2) >> 2;
    const i32 luma = saturate16(y[i] + kShiftAndHalf);
    red[i] = wideColour(luma, 358 * r);
    green[i] = wideColour(luma, -88 * b - 182 * r);
    blue[i] = wideColour(luma, 453 * b);
  }
}

void colours53Words(const i32* __restrict y, const i32* __restrict u, const i32* __restrict v,
                    i32 count, i32 levelShift, i32 maxValue, u16* __restrict red,
                    u16* __restrict green, u16* __restrict blue) {
  for (i32 i = 0; i < count; ++i) {
    const i32 g = add(subtract(y[i], add(u[i], v[i]) >> 2), levelShift);
    red[i] = static_cast<u16>(clampTo(add(g, v[i]), maxValue));
    green[i] = static_cast<u16>(clampTo(g, maxValue));
    blue[i] = static_cast<u16>(clampTo(add(g, u[i]), maxValue));
  }
}

void colours97Words(const f32* __restrict y, const i32* __restrict cb, const i32* __restrict cr,
                    i32 count, i32 levelShift, i32 maxValue, u16* __restrict red,
                    u16* __restrict green, u16* __restrict blue) {
  constexpr f64 kRedCr = __builtin_bit_cast(f32, 0x3FB374BC);
  constexpr f64 kGreenCb = __builtin_bit_cast(f32, 0x3EB031CF);
  constexpr f64 kGreenCr = __builtin_bit_cast(f32, 0x3F36D1E1);
  constexpr f64 kBlueCb = __builtin_bit_cast(f32, 0x3FE2D0E5);
  const f32 shift = static_cast<f32>(levelShift), most = static_cast<f32>(maxValue);
  for (i32 i = 0; i < count; ++i) {
    const f64 luma = shift + y[i];
    const f64 b = static_cast<f32>(cb[i]), r = static_cast<f32>(cr[i]);
    red[i] = roundWord(static_cast<f32>(r * kRedCr + luma), most);
    green[i] = roundWord(static_cast<f32>(luma - b * kGreenCb - r * kGreenCr), most);
    blue[i] = roundWord(static_cast<f32>(b * kBlueCb + luma), most);
  }
}

// A pixel of four samples as one number in memory order: sample k in the bits from k * bits on.
// A record, since a template drops the attributes of a plain number: pixels of the caller's stand
// at any address.
template <class Number>
struct __attribute__((packed, may_alias)) Pixel {
  Number bits;
};

#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
constexpr i32 placeOf(i32 part, i32, i32 bits) {
  return part * bits;
}
#else
constexpr i32 placeOf(i32 part, i32 parts, i32 bits) {
  return (parts - 1 - part) * bits;
}
#endif

// Puts one part of `bits` bits of each pixel in its place and leaves the others.
template <class Number, class Part>
inline void insertParts(const Part* __restrict parts, i32 count, i32 place, i32 bits,
                        Pixel<Number>* __restrict pixels) {
  const Number mask = ((Number{1} << bits) - 1) << place;
  for (i32 i = 0; i < count; ++i) {
    const Number part = (static_cast<Number>(parts[i]) << place) & mask;
    pixels[i].bits = (pixels[i].bits & ~mask) | part;
  }
}

template <class Part, class Number>
inline void extractHalves(const Pixel<Number>* __restrict pixels, i32 count, i32 bits,
                          Part* __restrict first, Part* __restrict second) {
  const i32 firstPlace = placeOf(0, 2, bits), secondPlace = placeOf(1, 2, bits);
  for (i32 i = 0; i < count; ++i) {
    first[i] = static_cast<Part>(pixels[i].bits >> firstPlace);
    second[i] = static_cast<Part>(pixels[i].bits >> secondPlace);
  }
}

template <class Number, class Sample>
inline void joinColours(const Sample* __restrict red, const Sample* __restrict green,
                        const Sample* __restrict blue, i32 count, i32 bits, Number fourth,
                        Pixel<Number>* __restrict pixels) {
  const i32 r = placeOf(2, 4, bits), g = placeOf(1, 4, bits), b = placeOf(0, 4, bits);
  for (i32 i = 0; i < count; ++i) {
    pixels[i].bits =
        (Number{red[i]} << r) | (Number{green[i]} << g) | (Number{blue[i]} << b) | fourth;
  }
}

Pixel<u32>* bytePixels(u8* pixels) {
  return reinterpret_cast<Pixel<u32>*>(pixels);
}
Pixel<u64>* wordPixels(u8* pixels) {
  return reinterpret_cast<Pixel<u64>*>(pixels);
}

void storeInBytes(const u8* samples, i32 count, i32 channel, u8* pixels) {
  insertParts(samples, count, placeOf(channel, 4, 8), 8, bytePixels(pixels));
}

void parkInBytes(const i16* lanes, i32 count, i32 half, u8* pixels) {
  insertParts(lanes, count, placeOf(half, 2, 16), 16, bytePixels(pixels));
}

void unparkBytes(const u8* pixels, i32 count, i16* first, i16* second) {
  extractHalves(reinterpret_cast<const Pixel<u32>*>(pixels), count, 16, first, second);
}

void joinBytes(const u8* red, const u8* green, const u8* blue, i32 count, u8* pixels) {
  constexpr u32 kOpaque = u32{0xFF} << placeOf(3, 4, 8);
  joinColours(red, green, blue, count, 8, kOpaque, bytePixels(pixels));
}

void storeInWords(const u16* samples, i32 count, i32 channel, u8* pixels) {
  insertParts(samples, count, placeOf(channel, 4, 16), 16, wordPixels(pixels));
}

void parkInWords(const i32* values, i32 count, i32 half, u8* pixels) {
  insertParts(values, count, placeOf(half, 2, 32), 32, wordPixels(pixels));
}

void unparkWords(const u8* pixels, i32 count, i32* first, i32* second) {
  extractHalves(reinterpret_cast<const Pixel<u64>*>(pixels), count, 32, first, second);
}

void joinWords(const u16* red, const u16* green, const u16* blue, i32 count, u8* pixels) {
  joinColours(red, green, blue, count, 16, u64{0}, wordPixels(pixels));
}

}  // namespace

extern const Kernels kSet;
// Of the passes only the address is taken: NOLINTNEXTLINE(cppcoreguidelines-interfaces-global-init)
constinit const Kernels kSet = {
    .name = WBX_KERNEL_SET_NAME,
    .liftPairs53i16 = liftPairs53<i16>,
    .liftPairs53i32 = liftPairs53<i32>,
    .liftPairs97Fixed = liftPairs97Fixed,
    .liftPairs97Float = liftPairs97Float,
    .liftColumns53i16 = liftColumns53<i16>,
    .liftColumns53i32 = liftColumns53<i32>,
    .liftColumns97Fixed = liftColumns97Fixed,
    .liftColumns97Float = liftColumns97Float,
    .interleave16 = interleave<i16>,
    .interleave32 = interleave<i32>,
    .interleaveF32 = interleave<f32>,
    .transferFixed = transferFixed,
    .transferInteger = transferInteger,
    .transferFloat = transferFloat,
    .bytes53 = bytes53,
    .bytes97 = bytes97,
    .words53 = words53,
    .words97 = words97,
    .roundSmall = roundSmall,
    .colours53Bytes = colours53Bytes,
    .colours97BytesNarrow = colours97BytesNarrow,
    .colours97BytesWide = colours97BytesWide,
    .colours53Words = colours53Words,
    .colours97Words = colours97Words,
    .storeInBytes = storeInBytes,
    .parkInBytes = parkInBytes,
    .unparkBytes = unparkBytes,
    .joinBytes = joinBytes,
    .storeInWords = storeInWords,
    .parkInWords = parkInWords,
    .unparkWords = unparkWords,
    .joinWords = joinWords,
    .groupPasses = WBX_KERNEL_GROUP_PASSES,
};

}  // namespace wbx::WBX_KERNEL_SET

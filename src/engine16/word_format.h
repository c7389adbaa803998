// WordFormat: samples of 9 to 16 bits in 16-bit words of host order, from 32-bit lanes.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "api/types.h"
#include "engine/row_writer.h"

namespace wbx {

// Level shift and clamp follow the precision. Words are stored byte-wise safe: a caller's strides
// may leave them at odd addresses.
struct WordFormat {
  using Sample = u16;
  static constexpr i32 kBytes = 2;
  static constexpr u32 kOpaque = 65535;
  static constexpr bool kRepeatsGrey = false;

  static u16 get(const u8* pixel, i32 k) {
    u16 value;
    std::memcpy(&value, pixel + 2 * k, sizeof value);
    return value;
  }
  static void put(u8* pixel, i32 k, u32 value) {
    const auto word = static_cast<u16>(value);
    std::memcpy(pixel + 2 * k, &word, sizeof word);
  }

  template <Kernel>
  static constexpr i32 tailPixels() {
    return 1;
  }

  static u32 clamp(const ScanlineWriter& out, i64 v) {
    return static_cast<u32>(std::clamp<i64>(v, 0, out.maxValue));
  }

  // To the nearest integer, ties to even; beyond 32 bits to their ends, and 0 for what is no
  // number.
  static i32 round(f32 f) {
    if (f >= 2147483648.0f) return std::numeric_limits<i32>::max();
    if (f >= -2147483648.0f) return static_cast<i32>(std::nearbyint(f));
    return f < 0 ? std::numeric_limits<i32>::min() : 0;
  }

  static u32 convert(const ScanlineWriter& out, i32 v) {
    return clamp(out, i32{wrapAdd(v, out.levelShift)});
  }
  static u32 convert(const ScanlineWriter& out, f32 v) {
    return clamp(out, round(static_cast<f32>(out.levelShift) + v));
  }

  template <class Lane, Kernel>
  static u32 convertDoubled(const ScanlineWriter& out, Lane v) {
    return convert(out, v);
  }

  template <class Lane, Kernel>
  static void storePlain(const ScanlineWriter& out, const PixelRow& pixels, i32 channel,
                         const Lane* lanes, i32 count) {
    for (i32 i = 0; i < count; ++i) put(pixels.at(i), channel, convert(out, lanes[i]));
  }

  // A pixel of 4 words holds components 1 and 2 as 32-bit values, any other one as two values of
  // 24 bits, low byte first. The float path parks rounded integers.
  template <class Lane, Kernel>
  static void park(const PixelRow& pixels, i32 component, const Lane* lanes, i32 count) {
    const bool wide = pixels.pixelBytes == 8;
    for (i32 i = 0; i < count; ++i) {
      const i32 value = toInteger(lanes[i]);
      if (wide) {
        std::memcpy(pixels.at(i) + 4 * (component - 1), &value, sizeof value);
      } else {
        u8* at = pixels.at(i) + 3 * (component - 1);
        at[0] = static_cast<u8>(value);
        at[1] = static_cast<u8>(value >> 8);
        at[2] = static_cast<u8>(value >> 16);
      }
    }
  }

  // T.800 G.2.2.
  static void finishReversible(const ScanlineWriter& out, const PixelRow& pixels, const i32* lanes,
                               i32 count) {
    for (i32 i = 0; i < count; ++i) {
      u8* pixel = pixels.at(i);
      const auto [u, v] = parked(pixel, pixels.pixelBytes);
      const i32 g = wrapAdd(wrapAdd(lanes[i], -(wrapAdd(u, v) >> 2)), out.levelShift);
      putColours(out, pixel, wrapAdd(g, v), g, wrapAdd(g, u));
    }
  }

  // T.800 G.3.2, in double precision from 32-bit constants.
  static void finishIrreversible(const ScanlineWriter& out, const PixelRow& pixels,
                                 const f32* lanes, i32 count) {
    constexpr f64 kRedCr = std::bit_cast<f32>(0x3FB374BC);
    constexpr f64 kGreenCb = std::bit_cast<f32>(0x3EB031CF);
    constexpr f64 kGreenCr = std::bit_cast<f32>(0x3F36D1E1);
    constexpr f64 kBlueCb = std::bit_cast<f32>(0x3FE2D0E5);
    for (i32 i = 0; i < count; ++i) {
      u8* pixel = pixels.at(i);
      const auto [u, v] = parked(pixel, pixels.pixelBytes);
      const f64 cb = static_cast<f32>(u), cr = static_cast<f32>(v);
      const f64 y = static_cast<f32>(out.levelShift) + lanes[i];
      putColours(out, pixel, round(static_cast<f32>(cr * kRedCr + y)),
                 round(static_cast<f32>(y - cb * kGreenCb - cr * kGreenCr)),
                 round(static_cast<f32>(cb * kBlueCb + y)));
    }
  }

  static bool convertsYcc(const DecodeOptions&) { return true; }

  static void convertYcc(const ScanlineWriter& out, u8* pixel) {
    const i64 a = ((i64{get(pixel, 0)} - out.levelShift) * 256) + 128;
    const i64 b = ((i64{get(pixel, 1)} - out.levelShift) * 256) + 128;
    const i64 y = get(pixel, 2);
    put(pixel, 2, clamp(out, y + ((0x8000 + 358 * a) >> 16)));
    put(pixel, 1, clamp(out, y + ((0x8000 - 88 * b - 182 * a) >> 16)));
    put(pixel, 0, clamp(out, y + ((0x8000 + 453 * b) >> 16)));
  }

  static bool fillsFourth(const ScanlineWriter&) { return false; }

 private:
  struct Chroma {
    i32 first, second;  // components 1 and 2
  };

  static i32 wrapAdd(i32 a, i32 b) {
    return static_cast<i32>(static_cast<u32>(a) + static_cast<u32>(b));
  }
  static i32 toInteger(i32 v) { return v; }
  static i32 toInteger(f32 v) { return round(v); }

  static i32 get24(const u8* at) {
    const u32 value = static_cast<u32>(at[0] | (at[1] << 8) | (at[2] << 16));
    return static_cast<i32>(value << 8) >> 8;
  }

  static Chroma parked(const u8* pixel, i32 pixelBytes) {
    if (pixelBytes != 8) return {get24(pixel), get24(pixel + 3)};
    Chroma chroma;
    std::memcpy(&chroma.first, pixel, 4);
    std::memcpy(&chroma.second, pixel + 4, 4);
    return chroma;
  }

  static void putColours(const ScanlineWriter& out, u8* pixel, i32 r, i32 g, i32 b) {
    put(pixel, 0, clamp(out, b));
    put(pixel, 1, clamp(out, g));
    put(pixel, 2, clamp(out, r));
    if (out.pixelBytes == 8) put(pixel, 3, 0);
  }
};

}  // namespace wbx

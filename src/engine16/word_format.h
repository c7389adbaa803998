// WordFormat: samples of 9 to 16 bits in 16-bit words of host order, from 32-bit lanes.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "base/types.h"
#include "engine/kernels.h"
#include "engine/row_writer.h"

namespace wbx {

// Level shift and clamp follow the precision. Words are stored byte-wise safe: a caller's strides
// may leave them at odd addresses.
struct WordFormat {
  using Sample = u16;
  using Parked = i32;
  static constexpr i32 kBytes = 2;
  static constexpr u32 kOpaque = 65535;
  static constexpr bool kRepeatsGrey = false;

  template <class>
  static constexpr i32 kTail = 0;
  template <class K>
  static void limitSpread(typename K::Lane*, i32) {}

  static u16 get(const u8* pixel, i32 k) {
    u16 value;
    std::memcpy(&value, pixel + 2 * k, sizeof value);
    return value;
  }
  static void put(u8* pixel, i32 k, u32 value) {
    const auto word = static_cast<u16>(value);
    std::memcpy(pixel + 2 * k, &word, sizeof word);
  }

  template <class>
  static void convert(const ScanlineWriter& out, const i32* lanes, i32 count, u16* words) {
    kernels().words53(lanes, count, out.levelShift, out.maxValue, words);
  }
  template <class>
  static void convert(const ScanlineWriter& out, const f32* lanes, i32 count, u16* words) {
    kernels().words97(lanes, count, out.levelShift, out.maxValue, words);
  }

  static void store(const u16* words, i32 count, i32 channel, const Pixels& pixels) {
    if (pixels.bytes == kBytes) {
      std::memcpy(pixels.first, words, static_cast<size_t>(count) * sizeof(u16));
    } else if (isWide(pixels)) {
      kernels().storeInWords(words, count, channel, pixels.first);
    } else {
      for (i32 i = 0; i < count; ++i) put(pixels.at(i), channel, words[i]);
    }
  }

  // The float path parks rounded integers.
  template <class>
  static const i32* parked(const ScanlineWriter&, const i32* lanes, i32, i32*) {
    return lanes;
  }
  template <class>
  static const i32* parked(const ScanlineWriter&, const f32* lanes, i32 count, i32* space) {
    if (!kernels().roundSmall(lanes, count, space))
      std::transform(lanes, lanes + count, space, round);
    return space;
  }

  // A pixel of 4 words holds components 1 and 2 as 32-bit values, any other one as two values of
  // 24 bits, low byte first.
  static void park(const i32* values, i32 count, i32 component, const Pixels& pixels) {
    if (isWide(pixels)) {
      kernels().parkInWords(values, count, component - 1, pixels.first);
      return;
    }
    for (i32 i = 0; i < count; ++i) put24(pixels.at(i) + 3 * (component - 1), values[i]);
  }

  static void unpark(const Pixels& pixels, i32 count, i32* first, i32* second) {
    if (isWide(pixels)) {
      kernels().unparkWords(pixels.first, count, first, second);
      return;
    }
    for (i32 i = 0; i < count; ++i) {
      first[i] = get24(pixels.at(i));
      second[i] = get24(pixels.at(i) + 3);
    }
  }

  template <class>
  static void colours(const ScanlineWriter& out, const i32* lanes, const i32* first,
                      const i32* second, i32 count, u16* red, u16* green, u16* blue) {
    kernels().colours53Words(lanes, first, second, count, out.levelShift, out.maxValue, red, green,
                             blue);
  }
  template <class>
  static void colours(const ScanlineWriter& out, const f32* lanes, const i32* first,
                      const i32* second, i32 count, u16* red, u16* green, u16* blue) {
    kernels().colours97Words(lanes, first, second, count, out.levelShift, out.maxValue, red, green,
                             blue);
  }

  static void join(const u16* red, const u16* green, const u16* blue, i32 count,
                   const Pixels& pixels) {
    if (isWide(pixels)) {
      kernels().joinWords(red, green, blue, count, pixels.first);
      return;
    }
    for (i32 i = 0; i < count; ++i) {
      u8* pixel = pixels.at(i);
      put(pixel, 0, blue[i]);
      put(pixel, 1, green[i]);
      put(pixel, 2, red[i]);
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

  static bool fillsFourth(const ScanlineWriter&, const DecodeOptions&) { return false; }

 private:
  static bool isWide(const Pixels& pixels) { return pixels.bytes == 4 * kBytes; }

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

  static i32 get24(const u8* at) {
    const u32 value = static_cast<u32>(at[0] | (at[1] << 8) | (at[2] << 16));
    return static_cast<i32>(value << 8) >> 8;
  }
  static void put24(u8* at, i32 v) {
    at[0] = wrapTo<u8>(v);
    at[1] = wrapTo<u8>(v >> 8);
    at[2] = wrapTo<u8>(v >> 16);
  }
};

}  // namespace wbx

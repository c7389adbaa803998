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

  template <class Lane, Kernel>
  static u16 convertDoubled(const ScanlineWriter& out, Lane v) {
    u16 sample;
    convert(out, &v, 1, &sample);
    return sample;
  }

  template <class Lane, Kernel>
  static void storePlain(const ScanlineWriter& out, const PixelRow& pixels, i32 channel,
                         const Lane* lanes, i32 count) {
    forEachPiece(count, [&](i32 at, i32 size) {
      u16 words[kPiece];
      convert(out, lanes + at, size, words);
      if (pixels.pixelBytes == kBytes) {
        std::memcpy(pixels.at(at), words, static_cast<size_t>(size) * sizeof(u16));
      } else if (isWide(pixels)) {
        kernels().storeInWords(words, size, channel, pixels.at(at));
      } else {
        for (i32 i = 0; i < size; ++i) put(pixels.at(at + i), channel, words[i]);
      }
    });
  }

  // A pixel of 4 words holds components 1 and 2 as 32-bit values, any other one as two values of
  // 24 bits, low byte first. The float path parks rounded integers.
  template <class Lane, Kernel>
  static void park(const PixelRow& pixels, i32 component, const Lane* lanes, i32 count) {
    forEachPiece(count, [&](i32 at, i32 size) {
      i32 space[kPiece];
      const i32* values = integers(lanes + at, size, space);
      if (isWide(pixels)) {
        kernels().parkInWords(values, size, component - 1, pixels.at(at));
        return;
      }
      for (i32 i = 0; i < size; ++i) put24(pixels.at(at + i) + 3 * (component - 1), values[i]);
    });
  }

  static void finishReversible(const ScanlineWriter& out, const PixelRow& pixels, const i32* lanes,
                               i32 count) {
    finish(out, pixels, lanes, count, kernels().colours53Words);
  }
  static void finishIrreversible(const ScanlineWriter& out, const PixelRow& pixels,
                                 const f32* lanes, i32 count) {
    finish(out, pixels, lanes, count, kernels().colours97Words);
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
  static constexpr i32 kPiece = 256;  // pixels of a row in work at a time

  static bool isWide(const PixelRow& pixels) { return pixels.pixelBytes == 4 * kBytes; }

  template <class Body>
  static void forEachPiece(i32 count, const Body& body) {
    for (i32 at = 0; at < count; at += kPiece) body(at, std::min(kPiece, count - at));
  }

  static u32 clamp(const ScanlineWriter& out, i64 v) {
    return static_cast<u32>(std::clamp<i64>(v, 0, out.maxValue));
  }

  static void convert(const ScanlineWriter& out, const i32* lanes, i32 count, u16* words) {
    kernels().words53(lanes, count, out.levelShift, out.maxValue, words);
  }
  static void convert(const ScanlineWriter& out, const f32* lanes, i32 count, u16* words) {
    kernels().words97(lanes, count, out.levelShift, out.maxValue, words);
  }

  // To the nearest integer, ties to even; beyond 32 bits to their ends, and 0 for what is no
  // number.
  static i32 round(f32 f) {
    if (f >= 2147483648.0f) return std::numeric_limits<i32>::max();
    if (f >= -2147483648.0f) return static_cast<i32>(std::nearbyint(f));
    return f < 0 ? std::numeric_limits<i32>::min() : 0;
  }

  static const i32* integers(const i32* lanes, i32, i32*) { return lanes; }
  static const i32* integers(const f32* lanes, i32 count, i32* space) {
    if (!kernels().roundSmall(lanes, count, space))
      std::transform(lanes, lanes + count, space, round);
    return space;
  }

  template <class Lane, class Colours>
  static void finish(const ScanlineWriter& out, const PixelRow& pixels, const Lane* lanes,
                     i32 count, Colours colours) {
    forEachPiece(count, [&](i32 at, i32 size) {
      i32 first[kPiece] = {}, second[kPiece] = {};  // components 1 and 2
      u16 red[kPiece], green[kPiece], blue[kPiece];
      const auto work = [&] {
        colours(lanes + at, first, second, size, out.levelShift, out.maxValue, red, green, blue);
      };
      if (isWide(pixels)) {
        kernels().unparkWords(pixels.at(at), size, first, second);
        work();
        kernels().joinWords(red, green, blue, size, pixels.at(at));
        return;
      }
      for (i32 i = 0; i < size; ++i) {
        const u8* pixel = pixels.at(at + i);
        first[i] = get24(pixel);
        second[i] = get24(pixel + 3);
      }
      work();
      for (i32 i = 0; i < size; ++i) {
        u8* pixel = pixels.at(at + i);
        put(pixel, 0, blue[i]);
        put(pixel, 1, green[i]);
        put(pixel, 2, red[i]);
      }
    });
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

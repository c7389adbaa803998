// ByteFormat: samples of 1 to 8 bits in bytes, from 16-bit lanes.
#pragma once

#include <algorithm>
#include <cstring>

#include "base/types.h"
#include "engine/kernels.h"
#include "engine/row_writer.h"

namespace wbx {

// Level shift 128 and clamp 0 to 255 at every precision. Lanes of the 5-3 path are integers, those
// of the 9-7 path have 6 fractional bits.
struct ByteFormat {
  using Sample = u8;
  using Parked = i16;
  static constexpr i32 kBytes = 1;
  static constexpr u32 kOpaque = 255;
  static constexpr bool kRepeatsGrey = true;

  // Pixels that the last sample of a component of half width fills behind its own two.
  template <class K>
  static constexpr i32 kTail = K::kKernel == kKernel53 ? 2 : 0;

  // The level shift of the 5-3 path does not wrap for such a component.
  template <class K>
  static void limitSpread(i16* lanes, i32 count) {
    if (K::kKernel != kKernel53) return;
    for (i32 i = 0; i < count; ++i) lanes[i] = std::min<i16>(lanes[i], 32767 - 128);
  }

  static u8 get(const u8* pixel, i32 k) { return pixel[k]; }
  static void put(u8* pixel, i32 k, u32 value) { pixel[k] = static_cast<u8>(value); }

  template <class K>
  static void convert(const ScanlineWriter&, const i16* lanes, i32 count, u8* samples) {
    if (K::kKernel == kKernel53) {
      kernels().bytes53(lanes, count, samples);
    } else {
      kernels().bytes97(lanes, count, samples);
    }
  }

  static void store(const u8* samples, i32 count, i32 channel, const Pixels& pixels) {
    if (pixels.bytes == 1) {
      std::memcpy(pixels.first, samples, static_cast<size_t>(count));
    } else if (isWide(pixels.bytes)) {
      kernels().storeInBytes(samples, count, channel, pixels.first);
    } else {
      for (i32 i = 0; i < count; ++i) pixels.at(i)[channel] = samples[i];
    }
  }

  // A pixel of 4 bytes holds the lanes of components 1 and 2 as 16-bit values, any other one 12
  // bits of each: on the 9-7 path with 2 of the 6 fractional bits. The value stored last stands in
  // the low half, and component 2 comes before component 1.
  template <class K>
  static const i16* parked(const ScanlineWriter& out, const i16* lanes, i32 count, i16* space) {
    if (K::kKernel == kKernel53 || isWide(out.pixelBytes)) return lanes;
    for (i32 i = 0; i < count; ++i) space[i] = static_cast<i16>(lanes[i] >> 4);
    return space;
  }

  static void park(const i16* values, i32 count, i32 component, const Pixels& pixels) {
    if (isWide(pixels.bytes)) {
      kernels().parkInBytes(values, count, component - 1, pixels.first);
      return;
    }
    for (i32 i = 0; i < count; ++i) {
      u8* pixel = pixels.at(i);
      put24(pixel, (get24(pixel) << 12) | (static_cast<u32>(values[i]) & 0xFFF));
    }
  }

  static void unpark(const Pixels& pixels, i32 count, i16* first, i16* second) {
    if (isWide(pixels.bytes)) {
      kernels().unparkBytes(pixels.first, count, first, second);
      return;
    }
    for (i32 i = 0; i < count; ++i) {
      const u32 both = get24(pixels.at(i));
      first[i] = static_cast<i16>(static_cast<i32>(both << 20) >> 20);
      second[i] = static_cast<i16>(static_cast<i32>(both << 8) >> 20);
    }
  }

  // The two layouts of the 9-7 path round at different places.
  template <class K>
  static void colours(const ScanlineWriter& out, const i16* lanes, const i16* first,
                      const i16* second, i32 count, u8* red, u8* green, u8* blue) {
    const auto transform = K::kKernel == kKernel53  ? kernels().colours53Bytes
                           : isWide(out.pixelBytes) ? kernels().colours97BytesWide
                                                    : kernels().colours97BytesNarrow;
    transform(lanes, first, second, count, red, green, blue);
  }

  static void join(const u8* red, const u8* green, const u8* blue, i32 count,
                   const Pixels& pixels) {
    if (isWide(pixels.bytes)) {
      kernels().joinBytes(red, green, blue, count, pixels.first);
      return;
    }
    for (i32 i = 0; i < count; ++i) {
      put24(pixels.at(i), static_cast<u32>(blue[i] | (green[i] << 8) | (red[i] << 16)));
    }
  }

  static bool convertsYcc(const DecodeOptions& options) { return !options.nomct; }

  static void convertYcc(const ScanlineWriter& out, u8* pixel) {
    const i32 a = (pixel[0] << 8) - 0x7F80;
    const i32 b = (pixel[1] << 8) - 0x7F80;
    const i32 y = (pixel[2] << 16) + 0x8000;
    pixel[2] = clamp((y + 358 * a) >> 16);
    pixel[1] = clamp((y - 88 * b - 182 * a) >> 16);
    pixel[0] = clamp((y + 453 * b) >> 16);
    if (out.pixelBytes == 4) pixel[3] = 0xFF;
  }

  static bool fillsFourth(const ScanlineWriter& out, const DecodeOptions& options) {
    const char fourth = options.comp_order[3];
    return out.pixelBytes == 4 && out.colourTransform == kMctNone &&
           (out.components == 3 || (out.components == 1 && (fourth == '\0' || fourth == '0')));
  }

 private:
  static bool isWide(i32 pixelBytes) { return pixelBytes == 4; }

  static u8 clamp(i32 v) { return static_cast<u8>(std::clamp(v, 0, 255)); }

  // Little-endian values at any address.
  static u32 get24(const u8* at) { return static_cast<u32>(at[0] | (at[1] << 8) | (at[2] << 16)); }
  static void put24(u8* at, u32 v) {
    at[0] = wrapTo<u8>(v);
    at[1] = wrapTo<u8>(v >> 8);
    at[2] = wrapTo<u8>(v >> 16);
  }
};

}  // namespace wbx

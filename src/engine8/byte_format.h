// ByteFormat: samples of 1 to 8 bits in bytes, from 16-bit lanes.
#pragma once

#include <algorithm>
#include <cstring>

#include "api/types.h"
#include "engine/row_writer.h"

namespace wbx {

// Level shift 128 and clamp 0 to 255 at every precision. Lanes of the 5-3 path are integers, those
// of the 9-7 path have 6 fractional bits.
struct ByteFormat {
  using Sample = u8;
  static constexpr i32 kBytes = 1;
  static constexpr u32 kOpaque = 255;
  static constexpr bool kRepeatsGrey = true;
  static constexpr i32 kHalfAndShift = (128 << 6) + 32;  // level shift and rounding half

  static u8 get(const u8* pixel, i32 k) { return pixel[k]; }
  static void put(u8* pixel, i32 k, u32 value) { pixel[k] = static_cast<u8>(value); }

  template <Kernel kernel>
  static constexpr i32 tailPixels() {
    return kernel == kKernel53 ? 3 : 1;
  }

  static u8 clamp(i32 v) { return static_cast<u8>(std::clamp(v, 0, 255)); }

  template <Kernel kernel>
  static u8 convert(i16 v) {
    if constexpr (kernel == kKernel53) return clamp(static_cast<i16>(v + 128));
    return clamp((v + kHalfAndShift) >> 6);
  }

  template <class Lane, Kernel kernel>
  static u8 convertDoubled(const ScanlineWriter&, i16 v) {
    if constexpr (kernel == kKernel53) return clamp(v + 128);  // no wrap at 16 bits here
    return convert<kernel>(v);
  }

  template <class Lane, Kernel kernel>
  static void storePlain(const ScanlineWriter&, const PixelRow& pixels, i32 channel,
                         const i16* lanes, i32 count) {
    u8* to = pixels.first + channel;
    for (i32 i = 0; i < count; ++i) to[i64{i} * pixels.pixelBytes] = convert<kernel>(lanes[i]);
  }

  // A pixel of 4 bytes holds the lanes of components 1 and 2 as 16-bit values, any other one 12
  // bits of each: on the 9-7 path with 2 of the 6 fractional bits. The value stored last stands in
  // the low half, and component 2 comes before component 1.
  template <class Lane, Kernel kernel>
  static void park(const PixelRow& pixels, i32 component, const i16* lanes, i32 count) {
    if (pixels.pixelBytes == 4) {
      for (i32 i = 0; i < count; ++i) putLane(pixels.at(i) + 2 * (component - 1), lanes[i]);
      return;
    }
    for (i32 i = 0; i < count; ++i) {
      u8* pixel = pixels.at(i);
      const i32 value = kernel == kKernel53 ? lanes[i] : lanes[i] >> 4;
      const u32 parked = (get24(pixel) << 12) | (static_cast<u32>(value) & 0xFFF);
      pixel[0] = static_cast<u8>(parked);
      pixel[1] = static_cast<u8>(parked >> 8);
      pixel[2] = static_cast<u8>(parked >> 16);
    }
  }

  // T.800 G.2.2 on integer lanes.
  static void finishReversible(const ScanlineWriter&, const PixelRow& pixels, const i16* lanes,
                               i32 count) {
    for (i32 i = 0; i < count; ++i) {
      u8* pixel = pixels.at(i);
      const auto [u, v] = parked(pixel, pixels.pixelBytes);
      const i32 g = lanes[i] - ((u + v) >> 2) + 128;
      putColours(pixel, pixels.pixelBytes, g + v, g, g + u);
    }
  }

  // T.800 G.3.2 in fixed point; the two layouts round at different places.
  static void finishIrreversible(const ScanlineWriter&, const PixelRow& pixels, const i16* lanes,
                                 i32 count) {
    for (i32 i = 0; i < count; ++i) {
      u8* pixel = pixels.at(i);
      const auto [cb, cr] = parked(pixel, pixels.pixelBytes);
      if (pixels.pixelBytes == 4) {
        const i16 b4 = static_cast<i16>((static_cast<i16>(cb + 2)) >> 2);
        const i16 r4 = static_cast<i16>((static_cast<i16>(cr + 2)) >> 2);
        const i32 y = saturate(lanes[i] + kHalfAndShift);
        const auto colour = [y](i32 t) { return static_cast<i16>(y + saturate(t >> 6)) >> 6; };
        putColours(pixel, 4, colour(358 * r4), colour(-88 * b4 - 182 * r4), colour(453 * b4));
      } else {
        const i32 t = (lanes[i] + kHalfAndShift) * 16;
        putColours(pixel, pixels.pixelBytes, (t + 358 * cr) >> 10, (t - 88 * cb - 182 * cr) >> 10,
                   (t + 453 * cb) >> 10);
      }
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

  static bool fillsFourth(const ScanlineWriter& out) {
    const char fourth = out.options->comp_order[3];
    return out.pixelBytes == 4 && out.colourTransform == kMctNone &&
           (out.components == 3 || (out.components == 1 && (fourth == '\0' || fourth == '0')));
  }

 private:
  struct Chroma {
    i32 first, second;  // components 1 and 2
  };

  static u32 get24(const u8* pixel) {
    return static_cast<u32>(pixel[0] | (pixel[1] << 8) | (pixel[2] << 16));
  }
  static i16 getLane(const u8* at) { return static_cast<i16>(at[0] | (at[1] << 8)); }
  static void putLane(u8* at, i16 v) {
    at[0] = static_cast<u8>(v);
    at[1] = static_cast<u8>(static_cast<u16>(v) >> 8);
  }
  static i32 saturate(i32 v) { return std::clamp(v, -32768, 32767); }

  static Chroma parked(const u8* pixel, i32 pixelBytes) {
    if (pixelBytes == 4) return {getLane(pixel), getLane(pixel + 2)};
    const u32 value = get24(pixel);
    return {static_cast<i32>(value << 20) >> 20, static_cast<i32>(value << 8) >> 20};
  }

  static void putColours(u8* pixel, i32 pixelBytes, i32 r, i32 g, i32 b) {
    pixel[0] = clamp(b);
    pixel[1] = clamp(g);
    pixel[2] = clamp(r);
    if (pixelBytes == 4) pixel[3] = 0xFF;
  }
};

}  // namespace wbx

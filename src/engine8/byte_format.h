// ByteFormat: samples of 1 to 8 bits in bytes, from 16-bit lanes.
#pragma once

#include <algorithm>

#include "base/types.h"
#include "engine/kernels.h"
#include "engine/row_writer.h"

namespace wbx {

// Level shift 128 and clamp 0 to 255 at every precision. Lanes of the 5-3 path are integers, those
// of the 9-7 path have 6 fractional bits.
struct ByteFormat {
  using Sample = u8;
  static constexpr i32 kBytes = 1;
  static constexpr u32 kOpaque = 255;
  static constexpr bool kRepeatsGrey = true;

  static u8 get(const u8* pixel, i32 k) { return pixel[k]; }
  static void put(u8* pixel, i32 k, u32 value) { pixel[k] = static_cast<u8>(value); }

  template <Kernel kernel>
  static constexpr i32 tailPixels() {
    return kernel == kKernel53 ? 3 : 1;
  }

  template <class Lane, Kernel kernel>
  static u8 convertDoubled(const ScanlineWriter&, i16 v) {
    if constexpr (kernel == kKernel53) return clamp(v + 128);  // no wrap at 16 bits here
    u8 sample;
    kernels().bytes97(&v, 1, &sample);
    return sample;
  }

  template <class Lane, Kernel kernel>
  static void storePlain(const ScanlineWriter&, const PixelRow& pixels, i32 channel,
                         const i16* lanes, i32 count) {
    const auto convert = kernel == kKernel53 ? kernels().bytes53 : kernels().bytes97;
    if (pixels.pixelBytes == 1) {
      convert(lanes, count, pixels.first);
      return;
    }
    forEachPiece(count, [&](i32 at, i32 size) {
      u8 bytes[kPiece];
      convert(lanes + at, size, bytes);
      if (isWide(pixels)) {
        kernels().storeInBytes(bytes, size, channel, pixels.at(at));
        return;
      }
      u8* to = pixels.at(at) + channel;
      for (i32 i = 0; i < size; ++i) to[i64{i} * pixels.pixelBytes] = bytes[i];
    });
  }

  // A pixel of 4 bytes holds the lanes of components 1 and 2 as 16-bit values, any other one 12
  // bits of each: on the 9-7 path with 2 of the 6 fractional bits. The value stored last stands in
  // the low half, and component 2 comes before component 1.
  template <class Lane, Kernel kernel>
  static void park(const PixelRow& pixels, i32 component, const i16* lanes, i32 count) {
    if (isWide(pixels)) {
      kernels().parkInBytes(lanes, count, component - 1, pixels.first);
      return;
    }
    for (i32 i = 0; i < count; ++i) {
      u8* pixel = pixels.at(i);
      const i32 value = kernel == kKernel53 ? lanes[i] : lanes[i] >> 4;
      put24(pixel, (get24(pixel) << 12) | (static_cast<u32>(value) & 0xFFF));
    }
  }

  static void finishReversible(const ScanlineWriter&, const PixelRow& pixels, const i16* lanes,
                               i32 count) {
    finish(pixels, lanes, count, kernels().colours53Bytes);
  }

  // The two layouts round at different places.
  static void finishIrreversible(const ScanlineWriter&, const PixelRow& pixels, const i16* lanes,
                                 i32 count) {
    finish(pixels, lanes, count,
           isWide(pixels) ? kernels().colours97BytesWide : kernels().colours97BytesNarrow);
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
  static constexpr i32 kPiece = 512;  // pixels of a row in work at a time

  static bool isWide(const PixelRow& pixels) { return pixels.pixelBytes == 4; }

  template <class Body>
  static void forEachPiece(i32 count, const Body& body) {
    for (i32 at = 0; at < count; at += kPiece) body(at, std::min(kPiece, count - at));
  }

  template <class Colours>
  static void finish(const PixelRow& pixels, const i16* lanes, i32 count, Colours colours) {
    forEachPiece(count, [&](i32 at, i32 size) {
      i16 first[kPiece] = {}, second[kPiece] = {};  // components 1 and 2
      u8 red[kPiece], green[kPiece], blue[kPiece];
      const PixelRow piece{pixels.at(at), pixels.pixelBytes, size};
      if (isWide(pixels)) {
        kernels().unparkBytes(piece.first, size, first, second);
        colours(lanes + at, first, second, size, red, green, blue);
        kernels().joinBytes(red, green, blue, size, piece.first);
        return;
      }
      for (i32 i = 0; i < size; ++i) {
        const u32 parked = get24(piece.at(i));
        first[i] = static_cast<i16>(static_cast<i32>(parked << 20) >> 20);
        second[i] = static_cast<i16>(static_cast<i32>(parked << 8) >> 20);
      }
      colours(lanes + at, first, second, size, red, green, blue);
      for (i32 i = 0; i < size; ++i) {
        put24(piece.at(i), static_cast<u32>(blue[i] | (green[i] << 8) | (red[i] << 16)));
      }
    });
  }

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

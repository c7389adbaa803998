// RowWriter: turns one row of lanes of one component into samples of the interleaved output.
#pragma once

#include <algorithm>
#include <utility>

#include "base/types.h"
#include "engine/scanline_writer.h"
#include "image/coding_style.h"
#include "image/metadata.h"

namespace wbx {

// One row of output pixels, as the leaf operations of a sample format see it.
struct PixelRow {
  u8* first;  // first byte of the row's first pixel
  i32 pixelBytes;
  i32 columnsLeft;  // pixels up to the picture's right edge

  [[nodiscard]] u8* at(i32 pixel) const { return first + i64{pixel} * pixelBytes; }
};

// The walk that both sample formats share. A component transform needs three components at each
// pixel, and there is no plane to hold them: components 2 and 1, which come first, are parked in
// the output pixels, and component 0 finishes each pixel when its row is written.
//
// Format gives the leaf operations on bytes or words:
//   Sample, kBytes         the output sample and its size
//   storePlain, park       a row of one component to its channel, or to its parked place
//   convertDoubled         one sample of a component of half width
//   tailPixels             pixels that the last sample of such a row may fill behind its own
//   finishReversible, finishIrreversible   complete the pixels of component 0
//   kRepeatsGrey, convertsYcc, convertYcc, fillsFourth, kOpaque   what differs in the finishing
template <class Format>
class RowWriter {
 public:
  using Sample = typename Format::Sample;

  // `row` is the row number within the tile-component.
  template <class Lane, Kernel kernel>
  static void writeRow(const ScanlineWriter& out, i32 component, i32 row, const Lane* lanes,
                       i32 count) {
    const bool swapped = out.colourTransform == kMctNone && out.components >= 3 &&
                         out.options->bgrOutput && (component == 0 || component == 2);
    const i32 channel = swapped ? 2 - component : component;
    for (i32 v = 0; v < out.yStep; ++v) {
      const i64 outputRow = i64{row} * out.yStep + v;
      if (outputRow >= out.rowsLeft) break;
      const PixelRow pixels{out.origin + outputRow * out.rowBytes, out.pixelBytes, out.columnsLeft};
      if (out.colourTransform != kMctNone && component < 3) {
        transform<Lane, kernel>(out, pixels, component, lanes, count);
      } else if (Format::kRepeatsGrey && out.colourTransform == kMctNone && out.components == 1 &&
                 out.pixelBytes > Format::kBytes) {
        const char* order = out.options->comp_order;
        for (i32 k = 0; k < std::min(out.pixelBytes, 4); ++k) {
          if (order[k] != '\0' && order[k] != '0')
            store<Lane, kernel>(out, pixels, k, lanes, count);
        }
      } else {
        store<Lane, kernel>(out, pixels, channel, lanes, count);
      }
      finishRow(out, pixels, component, channel, count);
    }
  }

 private:
  template <class Lane, Kernel kernel>
  static void transform(const ScanlineWriter& out, const PixelRow& pixels, i32 component,
                        const Lane* lanes, i32 count) {
    if (component == 0) {
      const i32 inside = std::min(count, pixels.columnsLeft);
      if constexpr (kernel == kKernel53) {
        Format::finishReversible(out, pixels, lanes, inside);
      } else {
        Format::finishIrreversible(out, pixels, lanes, inside);
      }
    } else if (out.xStep != 2) {
      Format::template park<Lane, kernel>(pixels, component, lanes,
                                          std::min(count, pixels.columnsLeft));
    } else {
      forEachDoubled(pixels.columnsLeft, count, 1, [&](i32 pixel, i32 sample) {
        Format::template park<Lane, kernel>(PixelRow{pixels.at(pixel), pixels.pixelBytes, 1},
                                            component, lanes + sample, 1);
      });
    }
  }

  template <class Lane, Kernel kernel>
  static void store(const ScanlineWriter& out, const PixelRow& pixels, i32 channel,
                    const Lane* lanes, i32 count) {
    if (out.xStep != 2) {
      Format::template storePlain<Lane, kernel>(out, pixels, channel, lanes,
                                                std::min(count, pixels.columnsLeft));
      return;
    }
    forEachDoubled(pixels.columnsLeft, count, Format::template tailPixels<kernel>(),
                   [&](i32 pixel, i32 sample) {
                     Format::put(pixels.at(pixel), channel,
                                 Format::template convertDoubled<Lane, kernel>(out, lanes[sample]));
                   });
  }

  // A component of half width: every sample goes to two pixels, the last one also to what `tail`
  // allows behind its own.
  template <class Body>
  static void forEachDoubled(i32 columnsLeft, i32 count, i32 tail, Body body) {
    for (i32 i = 0; i < count; ++i) {
      const i32 behind = i == count - 1 ? tail : 1;
      for (i32 k = 0; k <= behind && 2 * i + k < columnsLeft; ++k) body(2 * i + k, i);
    }
  }

  // What needs a whole pixel.
  static void finishRow(const ScanlineWriter& out, const PixelRow& pixels, i32 component,
                        i32 channel, i32 count) {
    const DecodeOptions& options = *out.options;
    if (component == 0 && out.pixelBytes > 2 * Format::kBytes) {
      const i32 inside = std::min(count, pixels.columnsLeft);
      if (options.colourSpace == static_cast<i32>(kColourYcc) && out.colourTransform == kMctNone &&
          Format::convertsYcc(options)) {
        for (i32 i = 0; i < inside; ++i) Format::convertYcc(out, pixels.at(i));
      }
      if (options.rgbOrder) {
        for (i32 i = 0; i < inside; ++i) {
          u8* pixel = pixels.at(i);
          const Sample first = Format::get(pixel, 0);
          Format::put(pixel, 0, Format::get(pixel, 2));
          Format::put(pixel, 2, first);
        }
      }
      if (Format::fillsFourth(out)) {
        for (i32 i = 0; i < inside; ++i) Format::put(pixels.at(i), 3, Format::kOpaque);
      }
    }
    if (options.mul_by_alpha && channel == out.components - 1 &&
        (out.components == 2 || out.components == 4)) {
      const auto inside =
          static_cast<i32>(std::min<i64>(i64{out.xStep} * count, pixels.columnsLeft));
      for (i32 i = 0; i < inside; ++i) multiplyByAlpha(pixels.at(i), out.components - 1);
    }
  }

  // Opacities of nothing and of everything both leave the colours as they are.
  static void multiplyByAlpha(u8* pixel, i32 colours) {
    const u32 alpha = Format::get(pixel, colours);
    if (alpha == 0 || alpha == Format::kOpaque) return;
    for (i32 k = 0; k < colours; ++k) {
      const u32 product = u32{Format::get(pixel, k)} * alpha;
      Format::put(pixel, k, static_cast<Sample>(product >> (8 * Format::kBytes)));
    }
  }
};

}  // namespace wbx

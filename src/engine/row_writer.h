// RowWriter: turns the rows of lanes of one component into samples of the interleaved output.
#pragma once

#include <algorithm>

#include "base/types.h"
#include "engine/decode_options.h"
#include "engine/scanline_writer.h"
#include "image/coding_style.h"
#include "image/metadata.h"

namespace wbx {

// Output pixels side by side, as the leaf operations of a sample format see them.
struct Pixels {
  u8* first;
  i32 bytes;  // from pixel to pixel

  [[nodiscard]] u8* at(i32 pixel) const { return first + i64{pixel} * bytes; }
};

// A component as it is written: its size at its last resolution, and the pixels that one of its
// samples covers.
struct ComponentGrid {
  i32 index;
  i32 columns, rows;
  i32 xStep, yStep;
};

// The walk that both sample formats share. A component transform needs three components at each
// pixel, and there is no plane to hold them: components 2 and 1, which come first, are parked in
// the output pixels, and component 0 finishes each pixel when its row is written.
//
// A sub-sampled component is spread over its pixels piece by piece, and a piece that belongs to
// several rows is converted once. Where a tile begins at an odd coordinate such a component can end
// before its last column or row, and its nearest sample goes there. So no pixel is made from what
// the buffer held before.
//
// Format gives the leaf operations on bytes or words:
//   Sample, kBytes         the output sample and its size
//   Parked                 what waits in a pixel for component 0
//   convert, store         lanes to samples, samples to one channel of pixels
//   park, unpark           lanes to their parked place in pixels, and back
//   colours, join          the inverse component transform, and its result to pixels
//   limitSpread, kTail     what is particular in components of half width
//   kRepeatsGrey, convertsYcc, convertYcc, fillsFourth, kOpaque   what differs in the finishing
template <class Format, class K>
class RowWriter {
 public:
  using Lane = typename K::Lane;

  // `area` is the tile at the resolution that is written.
  RowWriter(const ScanlineWriter& out, const ComponentGrid& grid, const Rect& area,
            const DecodeOptions& options)
      : out_(out), options_(options), grid_(grid), channel_(channelOf(grid.index)) {
    const bool transforms = out.colourTransform != kMctNone;
    parks_ = transforms && (grid.index == 1 || grid.index == 2);
    finishes_ = transforms && grid.index == 0;
    // Pixels of four samples have a fourth one when component 0 is finished.
    const bool extends = !transforms || grid.index < 3 || out.pixelBytes != 4 * Format::kBytes;
    const i32 tail = grid.columns > 0 && grid.xStep == 2 && !parks_ ? Format::template kTail<K> : 0;
    const i32 own = grid.columns * grid.xStep + tail;
    columns_ = std::min(extends ? std::max<i32>(own, area.width()) : own, out.columnsLeft);
    rows_ = std::min<i32>(extends ? area.height() : 0, out.rowsLeft);
  }

  // Row y of the component.
  void write(i32 y, const Lane* lanes) const {
    const i32 row = options_.bitmap ? grid_.rows - 1 - y : y;
    const i32 first = row * grid_.yStep;
    const i32 own = std::min(first + grid_.yStep, out_.rowsLeft);
    const i32 end = row == grid_.rows - 1 ? std::max(own, rows_) : own;
    place(lanes, first, end);
    for (i32 r = first; r < own; ++r) finishRow(pixelsAt(r, 0));
  }

  // Clears what the pixels of the tile are made of and no row brings: the whole component, if it
  // has no sample in this tile, and colours that the picture does not have.
  void clearAbsent() const {
    if (grid_.columns == 0 || grid_.rows == 0) place(nullptr, 0, rows_);
    if (grid_.index == 0 && out_.components < 3 && usesAllColours()) {
      for (i32 r = 0; r < rows_; ++r) clearAbsentColours(pixelsAt(r, 0));
    }
  }

 private:
  using Sample = typename Format::Sample;
  using Parked = typename Format::Parked;
  static constexpr i32 kPiece = 512;  // pixels of a row in work at a time; even

  // Of the pixel: components 0 and 2 may change places.
  [[nodiscard]] i32 channelOf(i32 component) const {
    const bool swaps = out_.colourTransform == kMctNone && out_.components >= 3 &&
                       options_.bgrOutput && (component == 0 || component == 2);
    return swaps ? 2 - component : component;
  }
  [[nodiscard]] Pixels pixelsAt(i32 row, i32 column) const {
    return {out_.origin + row * out_.rowBytes + i64{column} * out_.pixelBytes, out_.pixelBytes};
  }

  // Puts a row of lanes into the output rows from `first` to `end` - 1.
  void place(const Lane* lanes, i32 first, i32 end) const {
    Lane space[kPiece];
    for (i32 at = 0; at < columns_; at += kPiece) {
      const i32 size = std::min(kPiece, columns_ - at);
      const Lane* piece = grid_.xStep == 1 && lanes ? lanes + at : spread(lanes, at, size, space);
      if (finishes_) {
        for (i32 r = first; r < end; ++r) finish(piece, size, pixelsAt(r, at));
      } else if (parks_) {
        park(piece, size, at, first, end);
      } else {
        store(piece, size, at, first, end);
      }
    }
  }

  // The lanes of `size` pixels from `at` on, of a component of half width or without samples.
  const Lane* spread(const Lane* lanes, i32 at, i32 size, Lane* space) const {
    const i32 left = lanes ? std::clamp(grid_.columns - at / 2, 0, (size + 1) / 2) : 0;
    if (left > 0) K::interleave(lanes + at / 2, lanes + at / 2, left, space);
    const Lane last = lanes ? lanes[grid_.columns - 1] : Lane{0};
    if (2 * left < size) std::fill(space + 2 * left, space + size, last);
    if (!parks_) Format::template limitSpread<K>(space, size);
    return space;
  }

  void park(const Lane* lanes, i32 size, i32 at, i32 first, i32 end) const {
    Parked space[kPiece];
    const Parked* values = Format::template parked<K>(out_, lanes, size, space);
    for (i32 r = first; r < end; ++r) Format::park(values, size, grid_.index, pixelsAt(r, at));
  }

  void store(const Lane* lanes, i32 size, i32 at, i32 first, i32 end) const {
    Sample samples[kPiece];
    Format::template convert<K>(out_, lanes, size, samples);
    for (i32 r = first; r < end; ++r) {
      const Pixels pixels = pixelsAt(r, at);
      if (!repeatsGrey()) {
        Format::store(samples, size, channel_, pixels);
        continue;
      }
      for (i32 k = 0; k < std::min(out_.pixelBytes, 4); ++k)
        if (namesChannel(k)) Format::store(samples, size, k, pixels);
    }
  }

  // A grey sample goes to all channels that the order of components names.
  [[nodiscard]] bool repeatsGrey() const {
    return Format::kRepeatsGrey && out_.components == 1 && out_.pixelBytes > Format::kBytes;
  }
  [[nodiscard]] bool namesChannel(i32 k) const {
    return options_.comp_order[k] != '\0' && options_.comp_order[k] != '0';
  }

  void finish(const Lane* lanes, i32 size, const Pixels& pixels) const {
    Parked first[kPiece], second[kPiece];  // components 1 and 2
    Sample red[kPiece], green[kPiece], blue[kPiece];
    Format::unpark(pixels, size, first, second);
    Format::template colours<K>(out_, lanes, first, second, size, red, green, blue);
    Format::join(red, green, blue, size, pixels);
  }

  // What needs a whole pixel.
  void finishRow(const Pixels& pixels) const {
    if (grid_.index == 0 && hasThreeSamples()) {
      const i32 count = std::min(grid_.columns, out_.columnsLeft);
      const bool converts = convertsYcc();
      for (i32 i = 0; converts && i < count; ++i) Format::convertYcc(out_, pixels.at(i));
      for (i32 i = 0; options_.rgbOrder && i < count; ++i) exchangeEnds(pixels.at(i));
      if (Format::fillsFourth(out_, options_)) {
        for (i32 i = 0; i < count; ++i) Format::put(pixels.at(i), 3, Format::kOpaque);
      }
    }
    if (options_.mul_by_alpha && channel_ == out_.components - 1 &&
        (out_.components == 2 || out_.components == 4)) {
      const i32 count = std::min(grid_.xStep * grid_.columns, out_.columnsLeft);
      for (i32 i = 0; i < count; ++i) multiplyByAlpha(pixels.at(i), out_.components - 1);
    }
  }

  [[nodiscard]] bool hasThreeSamples() const { return out_.pixelBytes > 2 * Format::kBytes; }
  [[nodiscard]] bool convertsYcc() const {
    return options_.colourSpace == static_cast<i32>(kColourYcc) &&
           out_.colourTransform == kMctNone && Format::convertsYcc(options_);
  }
  [[nodiscard]] bool usesAllColours() const {
    return hasThreeSamples() && (options_.rgbOrder || convertsYcc());
  }

  void clearAbsentColours(const Pixels& pixels) const {
    for (i32 k = 0; k < 3; ++k) {
      if (repeatsGrey() ? namesChannel(k) : k == 0) continue;
      for (i32 i = 0; i < columns_; ++i) Format::put(pixels.at(i), k, 0);
    }
  }

  static void exchangeEnds(u8* pixel) {
    const Sample first = Format::get(pixel, 0);
    Format::put(pixel, 0, Format::get(pixel, 2));
    Format::put(pixel, 2, first);
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

  const ScanlineWriter& out_;
  const DecodeOptions& options_;
  const ComponentGrid grid_;
  bool parks_, finishes_;
  i32 channel_;
  i32 columns_;  // pixels that a row of the component fills
  i32 rows_;     // rows that the component fills at least
};

}  // namespace wbx

// ComponentDecoder: one component of one tile, from its code blocks to samples of the output.
#pragma once

#include <algorithm>
#include <optional>

#include "wbx.h"

#include "base/logger.h"
#include "engine/row_writer.h"
#include "engine/synthesis.h"
#include "engine/tile_engine.h"
#include "engine/transfer.h"
#include "engine/upscale.h"

namespace wbx {

// The number of a subband in the table of steps, where a resolution or subband with nothing in it
// still takes its places.
constexpr i32 bandNumber(i32 resolution, i32 place) {
  return resolution == 0 ? 0 : 3 * (resolution - 1) + 1 + place;
}

// K is the wavelet kernel of the component.
//
// The rows of the output are asked for one by one, and each asks for the rows that it is made from:
// a level for rows of the level below and of its subbands, a subband for code blocks. Of a subband
// only a few rows of code blocks are in work at a time. When one of them has come to their end,
// each subband that has room takes its next ones, so that many are decoded together.
template <class Traits, class K>
class ComponentDecoder {
 public:
  ComponentDecoder(const EngineContext& context, const ScanlineWriter& output, WorkingArea& area,
                   const Tile& tile, i32 index)
      : context_(context),
        area_(area),
        tile_(tile),
        component_(tile.components[index]),
        coding_(tile.style.component[index]),
        last_(coding_.resolutions - context.options->res_level - 1),
        decoded_(context.options->video == 1 && last_ > 0 ? last_ - 1 : last_),
        size_(component_.resolutions[last_].rect),
        writer_(output, {index, size_.width(), size_.height(), component_.xStep, component_.yStep},
                reduceRect(tile.rect, context.options->res_level), *context.options) {}

  // Returns 0, 2 when the working area cannot be had, or the block decoder's code.
  [[nodiscard]] i32 decode();
  void clearAbsent() const { writer_.clearAbsent(); }

 private:
  using Lane = typename K::Lane;
  using Writer = RowWriter<typename Traits::Format, K>;

  // A subband in work.
  struct Band {
    BlockBand coding;
    typename Traits::template Dequantizer<K> dequantizer;
    BandWindow<Lane> window;
    i32 reached;  // the first row that is not decoded yet, in coordinates of the subband

    void transfer(const DecodedBlock& block) const {
      transferBlock(block, reconstructionPoint(block.lastPlane, coding.roiShift), dequantizer,
                    window);
    }
  };

  // Rows of a subband, in its coordinates.
  struct RowRange {
    i32 first, end;
  };

  void makeBands();
  [[nodiscard]] Band makeBand(i32 resolution, const Subband& subband, i32 number) const;
  [[nodiscard]] i64 rowsInWork(i32 resolution, i32 blockHeight) const;
  [[nodiscard]] bool readsAreSeen() const;
  [[nodiscard]] i64 carve(Carver area);
  [[nodiscard]] bool ensureArea();

  [[nodiscard]] i32 decodeWhatHasRoom();
  [[nodiscard]] i32 firstRowNeeded(i32 resolution, const Subband& subband) const;
  [[nodiscard]] i32 decodeRows(const Subband& subband, const Band& band, const RowRange& rows);
  [[nodiscard]] i32 decodePrecincts(const Subband& subband, const Band& band, const RowRange& rows,
                                    u32 first, u32 end);
  [[nodiscard]] i32 decodePrecinct(const Precinct& precinct, const BlockGrid& grid,
                                   const Band& band, const RowRange& rows);
  [[nodiscard]] i32 decodeBlock(const BlockTask& task);
  [[nodiscard]] i32 decodeTaken();
  void clearSlowly(const Band& band, const Rect& area) const;

  [[nodiscard]] const Lane* row(i32 resolution, i32 y);
  [[nodiscard]] PlanarRow<Lane> planarRow(i32 resolution, i32 y);
  [[nodiscard]] const Lane* bandRow(i32 resolution, i32 place, i32 y);
  void writeRows();
  void writeUpscaledRows();
  void writeLowestResolution();
  [[nodiscard]] bool beginsPair(i32 y) const { return y == 0 || !shapes_[last_].isHighRow(y); }

  [[nodiscard]] bool cancelled() const { return context_.cancelled(); }

  const EngineContext& context_;
  WorkingArea& area_;
  const Tile& tile_;
  const TileComponent& component_;
  const ComponentCoding& coding_;
  const i32 last_;     // the last resolution to rebuild
  const i32 decoded_;  // the last one whose blocks are decoded
  const Rect size_;    // of the last resolution
  const Writer writer_;
  std::optional<Band> bands_[3 * kMaxResolutions - 2];
  LevelShape shapes_[kMaxResolutions];
  Workspace<Lane> spaces_[kMaxResolutions];
  std::optional<Synthesis<K>> levels_[kMaxResolutions];
  i32 needed_[kMaxResolutions] = {};  // rows of each resolution before this one were used
  i32 code_ = WBX_OK;
  bool stopped_ = false;  // some rows in work are not there, by a cancel or an error
};

template <class Traits, class K>
i32 ComponentDecoder<Traits, K>::decode() {
  makeBands();
  if (!ensureArea()) return WBX_ERROR_MEMORY;
  context_.groupDecoder->clear();
  context_.groupDecoder->setPasses(kernels().groupPasses);
  const i32 code = decodeWhatHasRoom();
  if (code != WBX_OK || size_.empty()) return code;  // pixels of nothing were cleared before
  for (i32 r = 1; r <= decoded_; ++r) levels_[r].emplace(shapes_[r], spaces_[r]);
  if (last_ == 0) {
    writeLowestResolution();
  } else if (decoded_ < last_) {
    writeUpscaledRows();
  } else {
    writeRows();
  }
  return code_;
}

template <class Traits, class K>
void ComponentDecoder<Traits, K>::makeBands() {
  for (i32 r = 0; r <= last_; ++r) {
    const Resolution& resolution = component_.resolutions[r];
    shapes_[r] = LevelShape(resolution.rect);
    for (i32 place = 0; place < resolution.subbandCount && r <= decoded_; ++place) {
      const Subband& subband = resolution.subbands[place];
      const i32 number = bandNumber(r, place);
      if (Resolution::hasPrecincts(subband)) bands_[number].emplace(makeBand(r, subband, number));
    }
  }
}

template <class Traits, class K>
auto ComponentDecoder<Traits, K>::makeBand(i32 r, const Subband& subband, i32 number) const
    -> Band {
  const u16 entry = coding_.quantization.stepSize[static_cast<size_t>(number)];
  BlockBand coding;
  coding.orientation = subband.orientation;
  coding.style = coding_.cblkStyle;
  coding.magnitudeBits = coding_.quantization.guardBits + (entry >> 11) - 1;
  coding.roiShift = coding_.quantization.roiShift;
  if (coding.roiShift + coding.magnitudeBits >= 32) coding.roiShift = 31 - coding.magnitudeBits;
  coding.number = number;
  const i32 blockHeight = 1 << subband.ycb;
  return {coding,
          {component_.precision, entry},
          {subband.rect, blockHeight, rowsInWork(r, blockHeight)},
          subband.rect.y0};
}

// Rows of the last resolution's subbands that hold blocks enough for the group decoder, and as many
// of the others as go with them. Those have room for one more row of blocks, so that they do not
// come to their end in between.
template <class Traits, class K>
i64 ComponentDecoder<Traits, K>::rowsInWork(i32 r, i32 blockHeight) const {
  constexpr i32 kBlocks = 96;
  if (readsAreSeen()) return size_.height();
  const Resolution& resolution = component_.resolutions[decoded_];
  const Subband& subband = resolution.subbands[0];
  const i32 blocksAcross = resolution.subbandCount * ((subband.rect.width() >> subband.xcb) + 1);
  const i64 rows = i64{(kBlocks + blocksAcross - 1) / blocksAcross} << subband.ycb;
  const i32 depth = decoded_ - std::max(r, 1);
  return depth <= 0 ? rows : (rows >> depth) + blockHeight;
}

// A caller whose callbacks read for the decode sees the order of its reads. Where one fails or
// cancels the decode it tells which blocks are lost, and nothing is written before the last one.
template <class Traits, class K>
bool ComponentDecoder<Traits, K>::readsAreSeen() const {
  const Stream* stream = tile_.stream;
  return stream != nullptr && stream->type() == Stream::kCustom && stream->isSeekable();
}

// Gives the bytes that the component takes.
template <class Traits, class K>
i64 ComponentDecoder<Traits, K>::carve(Carver area) {
  for (std::optional<Band>& band : bands_)
    if (band) band->window.carve(area);
  Lane* scratch = area.take<Lane>(Workspace<Lane>::scratchLanes(size_.width()));
  for (i32 r = 1; r <= last_; ++r) spaces_[r].carve(area, shapes_[r].width, scratch);
  return area.used();
}

template <class Traits, class K>
bool ComponentDecoder<Traits, K>::ensureArea() {
  bool grew = false;
  if (!area_.ensure(carve(Carver(nullptr)), size_.width(), size_.height(), Traits::kMarginRows,
                    &grew))
    return false;
  if (grew && Traits::kLogsPlane) logger.writeStamped("Wavelet: allocated(%p)", area_.memory());
  (void)carve(Carver(area_.memory()));
  return true;
}

// Decodes as many rows of blocks as there is room for, in the order of the resolutions and their
// subbands. Each block that is reached before a cancel is decoded.
template <class Traits, class K>
i32 ComponentDecoder<Traits, K>::decodeWhatHasRoom() {
  for (i32 r = 0; r <= decoded_; ++r) {
    const Resolution& resolution = component_.resolutions[r];
    for (i32 place = 0; place < resolution.subbandCount; ++place) {
      std::optional<Band>& band = bands_[bandNumber(r, place)];
      if (!band) continue;
      const Subband& subband = resolution.subbands[place];
      const RowRange rows = {band->reached, band->window.roomEnd(firstRowNeeded(r, subband))};
      if (rows.first >= rows.end) continue;
      band->reached = rows.end;
      const i32 code = decodeRows(subband, *band, rows);
      if (code != WBX_OK) return code;
    }
  }
  return decodeTaken();
}

template <class Traits, class K>
i32 ComponentDecoder<Traits, K>::firstRowNeeded(i32 r, const Subband& subband) const {
  const i32 needed = needed_[r];
  if (subband.orientation == 0) return subband.rect.y0 + needed;
  return subband.rect.y0 +
         (subband.orientation >= 2 ? shapes_[r].highRows(needed) : shapes_[r].lowRows(needed));
}

template <class Traits, class K>
i32 ComponentDecoder<Traits, K>::decodeRows(const Subband& subband, const Band& band,
                                            const RowRange& rows) {
  const u32 across = subband.precinctsWide;
  const i32 firstCell = subband.rect.y0 >> subband.ppy;
  for (i32 cell = rows.first >> subband.ppy; cell <= (rows.end - 1) >> subband.ppy; ++cell) {
    const RowRange inCell = {std::max(rows.first, cell << subband.ppy),
                             std::min(rows.end, (cell + 1) << subband.ppy)};
    const u32 first = static_cast<u32>(cell - firstCell) * across;
    const i32 code = decodePrecincts(subband, band, inCell, first, first + across);
    if (code != WBX_OK) return code;
  }
  return WBX_OK;
}

// The given rows of the precincts from `first` to `end` - 1, which lie side by side. What no packet
// brought is cleared: precincts in runs, as there can be one for each sample.
template <class Traits, class K>
i32 ComponentDecoder<Traits, K>::decodePrecincts(const Subband& subband, const Band& band,
                                                 const RowRange& rows, u32 first, u32 end) {
  for (u32 p = first; p < end && !cancelled(); ++p) {
    const u32 touched = std::min(subband.precincts.nextTouched(p), end);
    if (touched != p) {
      const Rect from = subband.precinctGrid(p).area, to = subband.precinctGrid(touched - 1).area;
      clearSlowly(band, {from.x0, static_cast<u16>(rows.first), to.x1, static_cast<u16>(rows.end)});
      p = touched;
      if (p == end) break;
    }
    const BlockGrid grid = subband.precinctGrid(p);
    if (grid.area.empty()) continue;
    const i32 code = decodePrecinct(*subband.precincts.find(p), grid, band, rows);
    if (code != WBX_OK) return code;
  }
  return WBX_OK;
}

template <class Traits, class K>
i32 ComponentDecoder<Traits, K>::decodePrecinct(const Precinct& precinct, const BlockGrid& grid,
                                                const Band& band, const RowRange& rows) {
  const i32 top = grid.area.y0 >> grid.ycb;
  const auto first = static_cast<u32>((rows.first >> grid.ycb) - top);
  const auto last = static_cast<u32>(((rows.end - 1) >> grid.ycb) - top);
  for (u32 j = first; j <= last; ++j) {
    for (u32 i = 0; i < grid.wide; ++i) {
      if (cancelled()) return WBX_OK;
      const Rect rect = grid.blockRect(i, j);
      if (rect.empty()) continue;
      const CodeBlock* block = precinct.block(i, j);
      if (block == nullptr || block->chunks == nullptr) {
        band.window.clear(rect);
        continue;
      }
      const i32 code = decodeBlock({block, &band.coding, rect});
      if (code != WBX_OK) return code;
    }
  }
  return WBX_OK;
}

template <class Traits, class K>
i32 ComponentDecoder<Traits, K>::decodeBlock(const BlockTask& task) {
  switch (context_.groupDecoder->take(task, *tile_.stream)) {
    case GroupDecoder::Taken::kYes:
      return context_.groupDecoder->isFull() ? decodeTaken() : i32{WBX_OK};
    case GroupDecoder::Taken::kOutOfMemory:
      return WBX_ERROR_MEMORY;
    case GroupDecoder::Taken::kNo:
      break;
  }
  const i32 code = context_.blockDecoder->decode(task, *tile_.stream);
  if (code == WBX_OK) bands_[task.band->number]->transfer(context_.blockDecoder->result());
  return code;
}

// Blocks that were taken before a cancel are decoded, as they are where there are no groups; only
// one that comes meanwhile stops between them.
template <class Traits, class K>
i32 ComponentDecoder<Traits, K>::decodeTaken() {
  // A tile into which no packet brought anything has no stream either.
  if (context_.groupDecoder->isEmpty()) return WBX_OK;
  const bool cancelledBefore = cancelled();
  return context_.groupDecoder->decodeAll(
      *context_.blockDecoder, *tile_.stream, [&] { return !cancelledBefore && cancelled(); },
      [&](const BlockBand& band, const DecodedBlock& block) {
        bands_[band.number]->transfer(block);
      });
}

// In pieces, since a hundred bytes can announce gigabytes of nothing.
template <class Traits, class K>
void ComponentDecoder<Traits, K>::clearSlowly(const Band& band, const Rect& area) const {
  constexpr i32 kLanesAtOnce = 1 << 20;
  if (area.empty()) return;
  const i32 rows = std::max(kLanesAtOnce / area.width(), 1);
  for (i32 y = area.y0; y < area.y1 && !cancelled(); y += rows) {
    const auto end = static_cast<u16>(std::min<i32>(y + rows, area.y1));
    band.window.clear({area.x0, static_cast<u16>(y), area.x1, end});
  }
}

// Row y of a resolution; the rows come in their order, and each stays until the next one.
template <class Traits, class K>
auto ComponentDecoder<Traits, K>::row(i32 r, i32 y) -> const Lane* {
  if (r == 0) {
    needed_[0] = y;
    return bandRow(0, 0, y);
  }
  return levels_[r]->nextRow([&](i32 planar) { return planarRow(r, planar); });
}

template <class Traits, class K>
auto ComponentDecoder<Traits, K>::planarRow(i32 r, i32 y) -> PlanarRow<Lane> {
  const LevelShape& shape = shapes_[r];
  const bool high = shape.isHighRow(y);
  needed_[r] = y;
  PlanarRow<Lane> planar = {nullptr, nullptr, shape.width, shape.parityX};
  if (shape.lowColumns() > 0) planar.low = high ? bandRow(r, 1, y / 2) : row(r - 1, y / 2);
  if (shape.highColumns() > 0) planar.high = bandRow(r, high ? 2 : 0, y / 2);
  return planar;
}

// Row y of a subband. Where it is not decoded yet, it is time for the next blocks.
template <class Traits, class K>
auto ComponentDecoder<Traits, K>::bandRow(i32 r, i32 place, i32 y) -> const Lane* {
  const Band& band = *bands_[bandNumber(r, place)];
  const Rect& rect = band.window.rect;
  if (rect.y0 + y >= band.reached && !stopped_) {
    code_ = decodeWhatHasRoom();
    stopped_ = code_ != WBX_OK || cancelled();
  }
  return band.window.at(rect.x0, rect.y0 + y);
}

template <class Traits, class K>
void ComponentDecoder<Traits, K>::writeRows() {
  const bool lone = size_.width() == 1 && size_.height() == 1;  // not worth a question
  for (i32 y = 0; y < size_.height(); ++y) {
    if (!lone && beginsPair(y) && cancelled()) return;
    const Lane* lanes = row(last_, y);
    if (stopped_) return;
    writer_.write(y, lanes);
  }
}

template <class Traits, class K>
void ComponentDecoder<Traits, K>::writeUpscaledRows() {
  Upscaler<K> upscaler(shapes_[last_], spaces_[last_]);
  for (i32 y = 0; y < size_.height(); ++y) {
    if (beginsPair(y) && cancelled()) return;
    const Lane* lanes = upscaler.makeRow(y, [&](i32 low) { return row(last_ - 1, low); });
    if (stopped_) return;
    writer_.write(y, lanes);
  }
}

// A cancelled picture shows what was decoded of it, as far as that takes a few milliseconds.
template <class Traits, class K>
void ComponentDecoder<Traits, K>::writeLowestResolution() {
  i64 lanesAfterCancel = 1 << 21;
  for (i32 y = 0; y < size_.height(); ++y) {
    if (cancelled() && (lanesAfterCancel -= size_.width()) < 0) return;
    const Lane* lanes = row(0, y);
    if (stopped_) return;
    writer_.write(y, lanes);
  }
}

}  // namespace wbx

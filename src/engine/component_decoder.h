// ComponentDecoder: one component of one tile, from its code blocks to samples of the output.
#pragma once

#include <algorithm>
#include <new>
#include <optional>
#include <type_traits>

#include "wbx.h"

#include "base/logger.h"
#include "engine/component_group.h"
#include "engine/row_writer.h"
#include "engine/synthesis.h"
#include "engine/transfer.h"
#include "engine/upscale.h"

namespace wbx {

// The number of a subband in the table of steps, where a resolution or subband with nothing in it
// still takes its places.
constexpr i32 bandNumber(i32 resolution, i32 place) {
  return resolution == 0 ? 0 : 3 * (resolution - 1) + 1 + place;
}

// Whether the order of the blocks of a tile can be seen. A caller whose callbacks read for the
// decode sees its reads, and where one fails or cancels the decode it tells which blocks are lost,
// and nothing of their component is written; the log shows segmentation symbols that are wrong. So
// all blocks of a component are decoded before its first row, and the components one by one.
inline bool orderIsSeen(const Tile& tile) {
  const Stream* stream = tile.stream;
  const bool reads = stream != nullptr && stream->type() == Stream::kCustom && stream->isSeekable();
  const ComponentCoding* coding = tile.style.component;
  return reads ||
         (logger.active() && std::any_of(coding, coding + tile.componentCount, [](auto& c) {
            return (c.cblkStyle & kStyleSegsym) != 0;
          }));
}

// K is the wavelet kernel of the component.
//
// The rows of the output are asked for one by one, and each asks for the rows that it is made from:
// a level for rows of the level below and of its subbands, a subband for code blocks. Of a subband
// only a few rows of code blocks are in work at a time. When one of them has come to their end,
// each subband of the group that has room takes its next ones, so that many are decoded together.
template <class Traits, class K>
class ComponentDecoder final : public ComponentWork {
 public:
  ComponentDecoder(const EngineContext& context, const ScanlineWriter& output, const Tile& tile,
                   i32 index, ComponentGroup& group, i32 placeInGroup, bool wholly)
      : context_(context),
        group_(group),
        component_(tile.components[index]),
        coding_(tile.style.component[index]),
        firstNumber_(placeInGroup * ComponentGroup::kBands),
        wholly_(wholly),
        last_(coding_.resolutions - context.options->res_level - 1),
        decoded_(context.options->video == 1 && last_ > 0 ? last_ - 1 : last_),
        size_(component_.resolutions[last_].rect),
        writer_(output, {index, size_.width(), size_.height(), component_.xStep, component_.yStep},
                reduceRect(tile.rect, context.options->res_level), *context.options) {}

  [[nodiscard]] bool ensure(WorkingArea& area, i64 bytes) const override;
  void carve(Carver& area) override;
  [[nodiscard]] i32 takeBlocks() override;
  void transfer(const BlockBand& band, const DecodedBlock& block) override;
  [[nodiscard]] i32 rows() const override { return size_.height(); }
  [[nodiscard]] bool writeRow(i32 y) override;
  void clearAbsent() const override { writer_.clearAbsent(); }

 private:
  using Lane = typename K::Lane;
  using Writer = RowWriter<typename Traits::Format, K>;

  // A subband in work.
  struct Band {
    BlockBand coding;
    typename Traits::template Dequantizer<K> dequantizer;
    BandWindow<Lane> window;
    i32 reached;  // the first row that is not decoded yet, in coordinates of the subband
  };

  // A resolution in work, and how the rows of the last one are made.
  struct Level {
    LevelShape shape;
    std::optional<Band> bands[3];
    i32 needed = 0;  // its rows before this one were used
    std::optional<Synthesis<K>> synthesis;
    std::optional<Upscaler<K>> upscaler;
  };

  // Rows of a subband, in its coordinates.
  struct RowRange {
    i32 first, end;
  };

  [[nodiscard]] BlockBand codingOf(const Subband& subband, i32 number) const;
  [[nodiscard]] i64 rowsInWork(i32 resolution, i32 blockHeight) const;

  [[nodiscard]] static i32 firstRowNeeded(const Level& level, const Subband& subband);
  [[nodiscard]] i32 takeRows(const Subband& subband, const Band& band, const RowRange& rows);
  [[nodiscard]] i32 takePrecincts(const Subband& subband, const Band& band, const RowRange& rows,
                                  u32 first, u32 end);
  [[nodiscard]] i32 takePrecinct(const Precinct& precinct, const BlockGrid& grid, const Band& band,
                                 const RowRange& rows);
  void clearSlowly(const Band& band, const Rect& area) const;

  [[nodiscard]] const Lane* row(i32 resolution, i32 y);
  [[nodiscard]] PlanarRow<Lane> planarRow(i32 resolution, i32 y);
  [[nodiscard]] const Lane* bandRow(const std::optional<Band>& band, i32 y);
  [[nodiscard]] bool isCancelledBefore(i32 y);

  [[nodiscard]] bool cancelled() const { return context_.cancelled(); }

  const EngineContext& context_;
  ComponentGroup& group_;
  const TileComponent& component_;
  const ComponentCoding& coding_;
  const i32 firstNumber_;
  const bool wholly_;  // all blocks come before the first row
  const i32 last_;     // the last resolution to rebuild
  const i32 decoded_;  // the last one whose blocks are decoded
  const Rect size_;    // of the last resolution
  const Writer writer_;
  i64 lanesAfterCancel_ = 1 << 21;
  Level* levels_ = nullptr;  // in the working area
};

template <class Traits, class K>
bool ComponentDecoder<Traits, K>::ensure(WorkingArea& area, i64 bytes) const {
  bool grew = false;
  if (!area.ensure(bytes, size_.width(), size_.height(), Traits::kMarginRows, &grew)) return false;
  if (grew && Traits::kLogsPlane)
    logger.writeStamped("Wavelet: allocated(%p)", static_cast<void*>(area.memory()));
  return true;
}

template <class Traits, class K>
void ComponentDecoder<Traits, K>::carve(Carver& area) {
  static_assert(std::is_trivially_destructible_v<Level>);
  levels_ = area.template take<Level>(last_ + 1);
  Lane* scratch = area.template take<Lane>(Workspace<Lane>::scratchLanes(size_.width()));
  for (i32 r = 0; r <= last_; ++r) {
    const Resolution& resolution = component_.resolutions[r];
    Level level;
    level.shape = LevelShape(resolution.rect);
    for (i32 place = 0; place < resolution.subbandCount && r <= decoded_; ++place) {
      const Subband& subband = resolution.subbands[place];
      if (!Resolution::hasPrecincts(subband)) continue;
      const i32 number = bandNumber(r, place), blockHeight = 1 << subband.ycb;
      const u16 entry = coding_.quantization.stepSize[static_cast<size_t>(number)];
      level.bands[place].emplace(Band{codingOf(subband, number),
                                      {component_.precision, entry},
                                      {subband.rect, blockHeight, rowsInWork(r, blockHeight)},
                                      subband.rect.y0});
      level.bands[place]->window.carve(area);
    }
    Workspace<Lane> space;
    if (r > 0) space.carve(area, level.shape.width, scratch);
    if (levels_ == nullptr) continue;
    if (r > decoded_) {
      level.upscaler.emplace(level.shape, space);
    } else if (r > 0 && !resolution.rect.empty()) {
      level.synthesis.emplace(level.shape, space);
    }
    new (&levels_[r]) Level(level);
  }
}

template <class Traits, class K>
BlockBand ComponentDecoder<Traits, K>::codingOf(const Subband& subband, i32 number) const {
  const u16 entry = coding_.quantization.stepSize[static_cast<size_t>(number)];
  BlockBand coding;
  coding.orientation = subband.orientation;
  coding.style = coding_.cblkStyle;
  coding.magnitudeBits = coding_.quantization.guardBits + (entry >> 11) - 1;
  coding.roiShift = coding_.quantization.roiShift;
  if (coding.roiShift + coding.magnitudeBits >= 32) coding.roiShift = 31 - coding.magnitudeBits;
  coding.number = firstNumber_ + number;
  return coding;
}

// Rows of the last resolution's subbands that hold blocks enough for the group decoder, and as many
// of the others as go with them. Those have room for one more row of blocks, so that they do not
// come to their end in between.
template <class Traits, class K>
i64 ComponentDecoder<Traits, K>::rowsInWork(i32 r, i32 blockHeight) const {
  constexpr i32 kBlocks = 128;
  if (wholly_) return size_.height();
  const Resolution& resolution = component_.resolutions[decoded_];
  const Subband& subband = resolution.subbands[0];
  const i32 blocksAcross = resolution.subbandCount * ((subband.rect.width() >> subband.xcb) + 1);
  const i64 rows = i64{(kBlocks + blocksAcross - 1) / blocksAcross} << subband.ycb;
  const i32 depth = decoded_ - std::max(r, 1);
  return depth <= 0 ? rows : (rows >> depth) + blockHeight;
}

// Blocks for as many rows as there is room for, in the order of the resolutions and their subbands.
// Each block that is reached before a cancel is decoded.
template <class Traits, class K>
i32 ComponentDecoder<Traits, K>::takeBlocks() {
  for (i32 r = 0; r <= decoded_; ++r) {
    const Resolution& resolution = component_.resolutions[r];
    for (i32 place = 0; place < resolution.subbandCount; ++place) {
      std::optional<Band>& band = levels_[r].bands[place];
      if (!band) continue;
      const Subband& subband = resolution.subbands[place];
      const RowRange rows = {band->reached,
                             band->window.roomEnd(firstRowNeeded(levels_[r], subband))};
      if (rows.first >= rows.end) continue;
      band->reached = rows.end;
      const i32 code = takeRows(subband, *band, rows);
      if (code != WBX_OK) return code;
    }
  }
  return WBX_OK;
}

template <class Traits, class K>
i32 ComponentDecoder<Traits, K>::firstRowNeeded(const Level& level, const Subband& subband) {
  const i32 first = subband.rect.y0;
  if (subband.orientation == 0) return first + level.needed;
  return first + (subband.orientation >= 2 ? level.shape.highRows(level.needed)
                                           : level.shape.lowRows(level.needed));
}

template <class Traits, class K>
void ComponentDecoder<Traits, K>::transfer(const BlockBand& band, const DecodedBlock& block) {
  const i32 number = band.number - firstNumber_;
  const Level& level = levels_[(number + 2) / 3];
  const Band& to = *level.bands[number == 0 ? 0 : (number - 1) % 3];
  transferBlock(block, reconstructionPoint(block.lastPlane, band.roiShift), to.dequantizer,
                to.window);
}

template <class Traits, class K>
i32 ComponentDecoder<Traits, K>::takeRows(const Subband& subband, const Band& band,
                                          const RowRange& rows) {
  const u32 across = subband.precinctsWide;
  const i32 firstCell = subband.rect.y0 >> subband.ppy;
  for (i32 cell = rows.first >> subband.ppy; cell <= (rows.end - 1) >> subband.ppy; ++cell) {
    const RowRange inCell = {std::max(rows.first, cell << subband.ppy),
                             std::min(rows.end, (cell + 1) << subband.ppy)};
    const u32 first = static_cast<u32>(cell - firstCell) * across;
    const i32 code = takePrecincts(subband, band, inCell, first, first + across);
    if (code != WBX_OK) return code;
  }
  return WBX_OK;
}

// The given rows of the precincts from `first` to `end` - 1, which lie side by side. What no packet
// brought is cleared: precincts in runs, as there can be one for each sample.
template <class Traits, class K>
i32 ComponentDecoder<Traits, K>::takePrecincts(const Subband& subband, const Band& band,
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
    const i32 code = takePrecinct(*subband.precincts.find(p), grid, band, rows);
    if (code != WBX_OK) return code;
  }
  return WBX_OK;
}

template <class Traits, class K>
i32 ComponentDecoder<Traits, K>::takePrecinct(const Precinct& precinct, const BlockGrid& grid,
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
      const i32 code = group_.decodeBlock({block, &band.coding, rect});
      if (code != WBX_OK) return code;
    }
  }
  return WBX_OK;
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
  Level& level = levels_[r];
  if (level.upscaler) return level.upscaler->makeRow(y, [&](i32 low) { return row(r - 1, low); });
  if (level.synthesis)
    return level.synthesis->nextRow([&](i32 planar) { return planarRow(r, planar); });
  level.needed = y;
  return bandRow(level.bands[0], y);
}

template <class Traits, class K>
auto ComponentDecoder<Traits, K>::planarRow(i32 r, i32 y) -> PlanarRow<Lane> {
  Level& level = levels_[r];
  const LevelShape& shape = level.shape;
  const bool high = shape.isHighRow(y);
  level.needed = y;
  PlanarRow<Lane> planar = {nullptr, nullptr, shape.width, shape.parityX};
  if (shape.lowColumns() > 0)
    planar.low = high ? bandRow(level.bands[1], y / 2) : row(r - 1, y / 2);
  if (shape.highColumns() > 0) planar.high = bandRow(level.bands[high ? 2 : 0], y / 2);
  return planar;
}

// Row y of a subband. Where it is not decoded yet, it is time for the next blocks.
template <class Traits, class K>
auto ComponentDecoder<Traits, K>::bandRow(const std::optional<Band>& band, i32 y) -> const Lane* {
  const Rect& rect = band->window.rect;
  if (rect.y0 + y >= band->reached) group_.refill();
  return band->window.at(rect.x0, rect.y0 + y);
}

template <class Traits, class K>
bool ComponentDecoder<Traits, K>::writeRow(i32 y) {
  if (size_.empty()) return true;  // its pixels were cleared before
  if (isCancelledBefore(y)) return false;
  const Lane* lanes = row(last_, y);
  if (group_.isStopped()) return false;
  writer_.write(y, lanes);
  return true;
}

// Asked for each pair of rows; a lone sample is not worth it. At the lowest resolution a cancelled
// picture shows what was decoded of it, as far as that takes a few milliseconds.
template <class Traits, class K>
bool ComponentDecoder<Traits, K>::isCancelledBefore(i32 y) {
  if (last_ == 0) return cancelled() && (lanesAfterCancel_ -= size_.width()) < 0;
  const bool lone = size_.width() == 1 && size_.height() == 1;
  const bool beginsPair = y == 0 || !levels_[last_].shape.isHighRow(y);
  return !lone && beginsPair && cancelled();
}

}  // namespace wbx

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
template <class Traits, class K>
class ComponentDecoder {
 public:
  ComponentDecoder(const EngineContext& context, const ScanlineWriter& output, WorkingPlane& plane,
                   const Tile& tile, i32 index)
      : context_(context),
        plane_(plane),
        tile_(tile),
        component_(tile.components[index]),
        coding_(tile.style.component[index]),
        last_(coding_.resolutions - context.options->res_level - 1),
        size_(component_.resolutions[last_].rect),
        writer_(output, {index, size_.width(), size_.height(), component_.xStep, component_.yStep},
                reduceRect(tile.rect, context.options->res_level), *context.options) {}

  // Returns 0, 2 when the working plane cannot be had, or the block decoder's code.
  [[nodiscard]] i32 decode();
  void clearAbsent() const { writer_.clearAbsent(); }

 private:
  using Lane = typename K::Lane;
  using Writer = RowWriter<typename Traits::Format, K>;

  // A subband on its way into the plane.
  struct Target {
    BlockBand band;
    typename Traits::template Dequantizer<K> dequantizer;
    BandPlace<Lane> place;

    void transfer(const DecodedBlock& block) const {
      transferBlock(block, reconstructionPoint(block.lastPlane, band.roiShift), dequantizer, place);
    }
    void clear(const Rect& rect) const {
      clearLanes(place.at(rect.x0, rect.y0), place.rowPitch, rect.width(), rect.height());
    }
  };

  // Rows of a level below the last one stay in the plane, in their own place.
  struct PlaneSink {
    Level<Lane> level;

    Lane* target(i32 y, Lane*) const { return level.row(y); }
    void done(i32, const Lane*) const {}
  };

  // Rows of the last level go straight to the output.
  struct WriterSink {
    const Writer& writer;

    Lane* target(i32, Lane* scratch) const { return scratch; }
    void done(i32 y, const Lane* lanes) const { writer.write(y, lanes); }
  };

  [[nodiscard]] bool ensurePlane();
  [[nodiscard]] i32 decodeBlocks(i32 last);
  void setTarget(i32 resolution, i32 place);
  [[nodiscard]] BandPlace<Lane> placeOf(const Subband& subband, i32 resolution) const;
  [[nodiscard]] i32 decodeSubband(const Resolution& resolution, const Subband& subband,
                                  const Target& target);
  [[nodiscard]] i32 decodePrecinct(const Precinct& precinct, const BlockGrid& grid,
                                   const Target& target);
  [[nodiscard]] i32 decodeBlock(const BlockTask& task);
  [[nodiscard]] i32 decodeTaken();
  void clearPrecincts(const Subband& subband, const Target& target, u32 first, u32 end) const;
  void clearSlowly(const Target& target, const Rect& area) const;
  void rebuild(bool upscales);
  void writeUpscaledRows();
  void writeLowestResolution();

  [[nodiscard]] bool cancelled() const { return context_.cancelled(); }

  const EngineContext& context_;
  WorkingPlane& plane_;
  const Tile& tile_;
  const TileComponent& component_;
  const ComponentCoding& coding_;
  const i32 last_;   // the last resolution to decode
  const Rect size_;  // its rectangle
  const Writer writer_;
  std::optional<Target> targets_[3 * kMaxResolutions - 2];
};

template <class Traits, class K>
i32 ComponentDecoder<Traits, K>::decode() {
  if (!ensurePlane()) return WBX_ERROR_MEMORY;
  plane_.layOut(component_, last_);
  const bool upscales = context_.options->video == 1 && last_ > 0;
  const i32 code = decodeBlocks(upscales ? last_ - 1 : last_);
  if (code != WBX_OK) return code;
  rebuild(upscales);
  return WBX_OK;
}

template <class Traits, class K>
bool ComponentDecoder<Traits, K>::ensurePlane() {
  bool grew = false;
  if (!plane_.ensure(size_.width(), size_.height(), sizeof(Lane), Traits::kMarginRows, &grew))
    return false;
  if (grew && Traits::kLogsPlane) logger.writeStamped("Wavelet: allocated(%p)", plane_.address());
  return true;
}

// All blocks of the resolutions up to `last`, into the plane. Each block that is reached before a
// cancel is decoded.
template <class Traits, class K>
i32 ComponentDecoder<Traits, K>::decodeBlocks(i32 last) {
  context_.groupDecoder->clear();
  context_.groupDecoder->setPasses(kernels().groupPasses);
  for (i32 r = 0; r <= last; ++r) {
    const Resolution& resolution = component_.resolutions[r];
    for (i32 place = 0; place < resolution.subbandCount; ++place) {
      const Subband& subband = resolution.subbands[place];
      if (!Resolution::hasPrecincts(subband)) continue;
      setTarget(r, place);
      const i32 code = decodeSubband(resolution, subband, *targets_[bandNumber(r, place)]);
      if (code != WBX_OK) return code;
    }
  }
  return decodeTaken();
}

template <class Traits, class K>
void ComponentDecoder<Traits, K>::setTarget(i32 r, i32 place) {
  const Subband& subband = component_.resolutions[r].subbands[place];
  const i32 number = bandNumber(r, place);
  const u16 entry = coding_.quantization.stepSize[static_cast<size_t>(number)];
  BlockBand band;
  band.orientation = subband.orientation;
  band.style = coding_.cblkStyle;
  band.magnitudeBits = coding_.quantization.guardBits + (entry >> 11) - 1;
  band.roiShift = coding_.quantization.roiShift;
  if (band.roiShift + band.magnitudeBits >= 32) band.roiShift = 31 - band.magnitudeBits;
  band.number = number;
  targets_[number].emplace(Target{band, {component_.precision, entry}, placeOf(subband, r)});
}

template <class Traits, class K>
auto ComponentDecoder<Traits, K>::placeOf(const Subband& subband, i32 r) const -> BandPlace<Lane> {
  const Level<Lane> level = plane_.template level<Lane>(r);
  if (subband.orientation == 0) return {level.first, level.rowPitch, subband.rect};
  const bool highRows = subband.orientation >= 2, highColumns = (subband.orientation & 1) != 0;
  return {level.row(highRows ? 1 - level.parityY : level.parityY) +
              (highColumns ? level.lowColumns : 0),
          2 * level.rowPitch, subband.rect};
}

// What no packet brought is cleared: precincts in runs, as there can be one for each sample.
template <class Traits, class K>
i32 ComponentDecoder<Traits, K>::decodeSubband(const Resolution& resolution, const Subband& subband,
                                               const Target& target) {
  const u32 count = resolution.precinctCount();
  for (u32 p = 0; p < count && !cancelled(); ++p) {
    const u32 touched = subband.precincts.nextTouched(p);
    if (touched != p) clearPrecincts(subband, target, p, touched);
    p = touched;
    if (p == count) break;
    const BlockGrid grid = subband.precinctGrid(p);
    if (grid.area.empty()) continue;
    const i32 code = decodePrecinct(*subband.precincts.find(p), grid, target);
    if (code != WBX_OK) return code;
  }
  return WBX_OK;
}

template <class Traits, class K>
i32 ComponentDecoder<Traits, K>::decodePrecinct(const Precinct& precinct, const BlockGrid& grid,
                                                const Target& target) {
  for (u32 j = 0; j < grid.high; ++j) {
    for (u32 i = 0; i < grid.wide; ++i) {
      if (cancelled()) return WBX_OK;
      const Rect rect = grid.blockRect(i, j);
      if (rect.empty()) continue;
      const CodeBlock* block = precinct.block(i, j);
      if (block == nullptr || block->chunks == nullptr) {
        target.clear(rect);
        continue;
      }
      const i32 code = decodeBlock({block, &target.band, rect});
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
  if (code == WBX_OK) targets_[task.band->number]->transfer(context_.blockDecoder->result());
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
        targets_[band.number]->transfer(block);
      });
}

// Clears the precincts from `first` to `end` - 1: what is left of a row of them, whole rows, and
// the beginning of one.
template <class Traits, class K>
void ComponentDecoder<Traits, K>::clearPrecincts(const Subband& subband, const Target& target,
                                                 u32 first, u32 end) const {
  const u32 across = subband.precinctsWide;
  while (first < end && !cancelled()) {
    const u32 column = first % across;
    const u32 run = column != 0 || end - first < across ? std::min(end - first, across - column)
                                                        : (end - first) / across * across;
    const Rect from = subband.precinctGrid(first).area;
    const Rect to = subband.precinctGrid(first + run - 1).area;
    clearSlowly(target, {from.x0, from.y0, to.x1, to.y1});
    first += run;
  }
}

// In pieces, since a hundred bytes can announce gigabytes of nothing.
template <class Traits, class K>
void ComponentDecoder<Traits, K>::clearSlowly(const Target& target, const Rect& area) const {
  constexpr i32 kLanesAtOnce = 1 << 20;
  if (area.empty()) return;
  const i32 rows = std::max(kLanesAtOnce / area.width(), 1);
  for (i32 y = area.y0; y < area.y1 && !cancelled(); y += rows) {
    const auto end = static_cast<u16>(std::min<i32>(y + rows, area.y1));
    target.clear({area.x0, static_cast<u16>(y), area.x1, end});
  }
}

// The levels above the lowest resolution, and the output.
template <class Traits, class K>
void ComponentDecoder<Traits, K>::rebuild(bool upscales) {
  if (size_.empty()) return;  // its pixels were cleared before
  if (last_ == 0) return writeLowestResolution();
  const auto stop = [this] { return cancelled(); };
  const Workspace<Lane> space = plane_.template workspace<Lane>();
  for (i32 r = 1; r < last_; ++r) {
    const Level<Lane> level = plane_.template level<Lane>(r);
    synthesise<K>(level, space, PlaneSink{level}, stop);
  }
  if (upscales) return writeUpscaledRows();
  synthesise<K>(plane_.template level<Lane>(last_), space, WriterSink{writer_}, stop);
}

template <class Traits, class K>
void ComponentDecoder<Traits, K>::writeUpscaledRows() {
  const Level<Lane> level = plane_.template level<Lane>(last_);
  const i32 lowRows = ((size_.y1 + 1) >> 1) - ((size_.y0 + 1) >> 1);
  const Upscaler<K> upscaler(level, lowRows);
  Lane* out = plane_.template workspace<Lane>().output[0];
  for (i32 y = 0; y < level.height; ++y) {
    const bool beginsPair = y == 0 || ((y - level.parityY) & 1) == 0;
    if (beginsPair && cancelled()) return;
    upscaler.makeRow(y, out);
    writer_.write(y, out);
  }
}

// A cancelled picture shows what was decoded of it, as far as that takes a few milliseconds.
template <class Traits, class K>
void ComponentDecoder<Traits, K>::writeLowestResolution() {
  const Level<Lane> level = plane_.template level<Lane>(0);
  i64 lanesAfterCancel = 1 << 21;
  for (i32 y = 0; y < level.height; ++y) {
    if (cancelled() && (lanesAfterCancel -= level.width) < 0) return;
    writer_.write(y, level.row(y));
  }
}

}  // namespace wbx

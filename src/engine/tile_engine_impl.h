// The tile walk, for the two files that instantiate it.
#pragma once

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

// Rows of a level below the last one stay in the plane, in their own place.
template <class Traits>
template <class K>
struct TileEngine<Traits>::PlaneSink {
  using Lane = typename K::Lane;
  Level<Lane> level;

  Lane* target(i32 y, Lane*) const { return level.row(y); }
  void done(i32, const Lane*) const {}
};

// Rows of the last level go straight to the output.
template <class Traits>
template <class K>
struct TileEngine<Traits>::WriterSink {
  using Lane = typename K::Lane;
  TileEngine& engine;
  i32 component, width, height;

  Lane* target(i32, Lane* scratch) const { return scratch; }
  void done(i32 y, const Lane* lanes) const {
    engine.template writeRow<K>(component, y, height, lanes, width);
  }
};

template <class Traits>
i32 TileEngine<Traits>::decodeTile(const Tile& tile) {
  // Components 2 and 1 park their samples in the output pixels, and component 0 finishes them.
  static constexpr i32 kOrders[kMaxComponents][kMaxComponents] = {
      {0}, {0, 1}, {2, 1, 0}, {2, 1, 0, 3}};
  for (i32 i = 0; i < context.components; ++i) {
    const i32 n = kOrders[context.components - 1][i];
    const i32 code = tile.style.component[n].transform == kKernel53
                         ? decodeComponent<typename Traits::Reversible>(tile, n)
                         : decodeComponent<typename Traits::Irreversible>(tile, n);
    if (code != WBX_OK) return code;
  }
  return WBX_OK;
}

template <class Traits>
template <class K>
i32 TileEngine<Traits>::decodeComponent(const Tile& tile, i32 index) {
  using Lane = typename K::Lane;
  const TileComponent& component = tile.components[index];
  const i32 last = tile.style.component[index].resolutions - context.options->res_level - 1;
  const Rect final = component.resolutions[last].rect;
  writer.options = context.options;
  writer.xStep = component.xStep;
  writer.yStep = component.yStep;

  bool grew = false;
  if (!plane_.ensure(final.width(), final.height(), sizeof(Lane), Traits::kMarginRows, &grew))
    return WBX_ERROR_MEMORY;
  if (grew && Traits::kLogsPlane) logger.writeStamped("Wavelet: allocated(%p)", plane_.address());
  plane_.layOut(component, last);

  const bool upscales = context.options->video == 1 && last > 0;
  const i32 code = decodeBlocks<K>(tile, index, upscales ? last - 1 : last);
  if (code != WBX_OK) return code;

  const Workspace<Lane> space = plane_.template workspace<Lane>();
  const auto stop = [this] { return cancelled(); };
  for (i32 r = 1; r <= last; ++r) {
    const Level<Lane> level = plane_.template level<Lane>(r);
    if (r < last) {
      PlaneSink<K> sink{level};
      synthesise<K>(level, space, sink, stop);
    } else if (upscales) {
      writeUpscaledRows<K>(index, component.resolutions[r], r);
    } else {
      WriterSink<K> sink{*this, index, level.width, level.height};
      synthesise<K>(level, space, sink, stop);
    }
  }
  if (last == 0) writeLowestResolution<K>(index);
  return WBX_OK;
}

// A subband on its way into the plane.
template <class Traits>
template <class K>
struct TileEngine<Traits>::SubbandTarget {
  BlockDecoder::Band band;
  typename Traits::template Dequantizer<K> dequantizer;
  BandPlace<typename K::Lane> at;

  void transfer(const Rect& rect, const u32* quads, i32 stripePitch, i32 lastPlane) const {
    transferBlock(quads, stripePitch, rect.width(), rect.height(),
                  reconstructionPoint(lastPlane, band.roiShift), dequantizer,
                  at.at(rect.x0, rect.y0), at.rowPitch);
  }
  void clear(const Rect& rect) const {
    clearLanes(at.at(rect.x0, rect.y0), at.rowPitch, rect.width(), rect.height());
  }
};

template <class Traits>
template <class K>
auto TileEngine<Traits>::subbandTarget(const Tile& tile, i32 component, i32 r, i32 place)
    -> SubbandTarget<K> {
  using Lane = typename K::Lane;
  const TileComponent& tileComponent = tile.components[component];
  const ComponentCoding& coding = tile.style.component[component];
  const Subband& subband = tileComponent.resolutions[r].subbands[place];

  const u16 entry = coding.quantization.stepSize[static_cast<size_t>(bandNumber(r, place))];
  BlockDecoder::Band band;
  band.zeroCodingTable = subband.orientation == 1   ? &kZeroCodingHL
                         : subband.orientation == 3 ? &kZeroCodingHH
                                                    : &kZeroCodingLL;
  band.magnitudeBits = coding.quantization.guardBits + (entry >> 11) - 1;
  band.roiShift = coding.quantization.roiShift;
  if (band.roiShift + band.magnitudeBits >= 32) band.roiShift = 31 - band.magnitudeBits;
  band.style = coding.cblkStyle;

  const Level<Lane> level = plane_.template level<Lane>(r);
  BandPlace<Lane> at{level.first, level.rowPitch, subband.rect};
  if (subband.orientation != 0) {
    const bool highRows = subband.orientation >= 2, highColumns = (subband.orientation & 1) != 0;
    at.first = level.row(highRows ? 1 - level.parityY : level.parityY) +
               (highColumns ? level.lowColumns : 0);
    at.rowPitch = 2 * level.rowPitch;
  }
  return {band, {tileComponent.precision, entry}, at};
}

// All blocks of the resolutions up to `last`, into the plane.
template <class Traits>
template <class K>
i32 TileEngine<Traits>::decodeBlocks(const Tile& tile, i32 component, i32 last) {
  GroupDecoder& group = *context.groupDecoder;
  group.clear();
  group.setPasses(kernels().groupPasses);
  std::optional<SubbandTarget<K>> targets[GroupDecoder::kMaxBands];
  const auto decodeCollected = [&] {
    return group.decodeAll(
        *context.blockDecoder, *tile.stream,
        [&](i32 band, const Rect& rect, const u32* quads, i32 stripePitch, i32 lastPlane) {
          targets[band]->transfer(rect, quads, stripePitch, lastPlane);
        });
  };
  const auto decode = [&](i32 band, const CodeBlock& block, const Rect& rect) {
    switch (group.take(band, block, rect, *tile.stream)) {
      case GroupDecoder::Taken::kNo:
        return decodeBlock(block, rect, *tile.stream, *targets[band]);
      case GroupDecoder::Taken::kOutOfMemory:
        return i32{WBX_ERROR_MEMORY};
      case GroupDecoder::Taken::kYes:
        break;
    }
    return group.isFull() ? decodeCollected() : i32{WBX_OK};
  };

  for (i32 r = 0; r <= last; ++r) {
    const Resolution& resolution = tile.components[component].resolutions[r];
    for (i32 place = 0; place < resolution.subbandCount; ++place) {
      const Subband& subband = resolution.subbands[place];
      if (!Resolution::hasPrecincts(subband)) continue;
      const i32 band = bandNumber(r, place);
      targets[band].emplace(subbandTarget<K>(tile, component, r, place));
      group.setBand(band, targets[band]->band, subband.orientation);
      const i32 code = decodeSubband(
          resolution, subband, *targets[band],
          [&](const CodeBlock& block, const Rect& rect) { return decode(band, block, rect); });
      if (code != WBX_OK) return code;
      if (cancelled()) return WBX_OK;
    }
  }
  // A tile into which no packet brought anything has no stream either.
  return group.isEmpty() ? i32{WBX_OK} : decodeCollected();
}

// Hands the blocks of a subband to `decode`, and clears the places of those that never came.
template <class Traits>
template <class K, class Decode>
i32 TileEngine<Traits>::decodeSubband(const Resolution& resolution, const Subband& subband,
                                      const SubbandTarget<K>& target, const Decode& decode) {
  for (u32 p = 0; p < resolution.precinctCount(); ++p) {
    if (cancelled()) break;
    const BlockGrid grid = subband.precinctGrid(p);
    if (grid.area.empty()) continue;
    const Precinct* precinct = subband.precincts.find(p);
    if (precinct == nullptr) {
      target.clear(grid.area);
      continue;
    }
    for (u32 j = 0; j < grid.high; ++j) {
      for (u32 i = 0; i < grid.wide; ++i) {
        const Rect rect = grid.blockRect(i, j);
        if (rect.empty()) continue;
        const CodeBlock* block = precinct->block(i, j);
        if (block == nullptr || block->passCount == 0) {
          target.clear(rect);
          continue;
        }
        const i32 code = decode(*block, rect);
        if (code != WBX_OK) return code;
      }
    }
  }
  return WBX_OK;
}

template <class Traits>
template <class K>
i32 TileEngine<Traits>::decodeBlock(const CodeBlock& block, const Rect& rect, Stream& stream,
                                    const SubbandTarget<K>& target) {
  BlockDecoder& blocks = *context.blockDecoder;
  const BlockDecoder::Band& band = target.band;
  blocks.setBand(band);
  blocks.prepare(rect.width(), rect.height());
  const i32 code = blocks.decode(block, stream);
  if (code != WBX_OK) return code;
  if (band.roiShift >= 1 && band.roiShift <= 30)
    blocks.shiftRegionBack(static_cast<u32>(band.roiShift));
  target.transfer(rect, blocks.quad(0, 0), blocks.stripePitch(), blocks.lastPlane());
  return WBX_OK;
}

template <class Traits>
template <class K>
void TileEngine<Traits>::writeRow(i32 component, i32 y, i32 height, const typename K::Lane* lanes,
                                  i32 count) {
  const i32 row = context.options->bitmap ? height - 1 - y : y;
  RowWriter<typename Traits::Format>::template writeRow<typename K::Lane, K::kKernel>(
      writer, component, row, lanes, count);
}

template <class Traits>
template <class K>
void TileEngine<Traits>::writeUpscaledRows(i32 component, const Resolution& resolution, i32 index) {
  using Lane = typename K::Lane;
  const Level<Lane> level = plane_.template level<Lane>(index);
  if (level.width < 1 || level.height < 1) return;
  const i32 lowRows = ((resolution.rect.y1 + 1) >> 1) - ((resolution.rect.y0 + 1) >> 1);
  const Upscaler<K> upscaler(level, lowRows);
  Lane* out = plane_.template workspace<Lane>().output[0];
  for (i32 y = 0; y < level.height; ++y) {
    if (((y - level.parityY) & 1) == 0 && cancelled()) return;
    upscaler.makeRow(y, out);
    writeRow<K>(component, y, level.height, out, level.width);
  }
}

template <class Traits>
template <class K>
void TileEngine<Traits>::writeLowestResolution(i32 component) {
  const auto level = plane_.template level<typename K::Lane>(0);
  for (i32 y = 0; y < level.height; ++y)
    writeRow<K>(component, y, level.height, level.row(y), level.width);
}

}  // namespace wbx

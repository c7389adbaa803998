#include <algorithm>
#include <limits>

#include "wbx.h"

#include "api/decoder.h"
#include "api/slave_list.h"
#include "base/logger.h"

namespace wbx {

namespace {

constexpr u16 kPremultipliedOpacity = 2;  // Typ of a channel definition, T.800 I.5.3.6
constexpr u16 kAssociatedBlue = 3;        // Asoc of a channel definition

// A grey sample stands alone; colours get a fourth sample, so that pixels fit machine words.
i32 internalPixelBytes(const ImageHeader& image) {
  return image.components == 1 ? image.bytesPerSample : 4 * image.bytesPerSample;
}

}  // namespace

Rect Decoder::pictureAt(i32 level) const {
  return reduceRect(decodeRegion, level);
}

i32 Decoder::planOutput(void** buffer, u32* size, u32* pitch) {
  const u32 givenSize = *size;
  const Rect picture = pictureAt(std::min(options.res_level, resolutionCount() - 1));
  const bool external = *buffer != nullptr;
  const i32 packedBytes = index.image.components * index.image.bytesPerSample;
  if (options.bpp == 0) options.bpp = external ? packedBytes : internalPixelBytes(index.image);

  // Pixels and rows lie whole samples apart.
  const i64 wholeSamples = -i64{index.image.bytesPerSample};
  options.bpp = static_cast<i32>(options.bpp & wholeSamples);

  const i64 packedRow = i64{options.bpp} * picture.width();
  const bool rowGiven = external && pitch != nullptr && *pitch != 0;
  const i64 row = rowGiven ? *pitch & wholeSamples : packedRow;
  const i64 bytes = row * picture.height();
  const bool fits = bytes >= 0 && bytes <= std::numeric_limits<u32>::max();

  if (!external) {
    if (fits) *buffer = slaveList.buy(static_cast<size_t>(bytes), this);
    if (*buffer == nullptr) return WBX_ERROR_MEMORY;
  }
  outputPlan.bytesPerPixel = options.bpp;
  outputPlan.size = static_cast<u32>(bytes);
  outputPlan.pitch = static_cast<u32>(row);
  outputPlan.buffer = static_cast<u8*>(*buffer);
  outputPlan.width = picture.width();
  outputPlan.height = picture.height();

  if (options.bpp < packedBytes) return WBX_ERROR_BPP;
  *size = outputPlan.size;
  if (pitch != nullptr) *pitch = outputPlan.pitch;
  if (!external) return WBX_OK;
  const bool tooSmall = row < packedRow || (givenSize != 0 && outputPlan.size > givenSize);
  return !fits || tooSmall ? WBX_ERROR_BUFFER_SIZE : WBX_OK;
}

void Decoder::settleOptions() {
  const MetadataStore& metadata = index.metadata;
  TileTable& tiles = index.tileTable;
  if (options.video == 2) options.video = index.chromaSubsampled ? 1 : 0;
  if (options.nomct != 0) {
    index.mainCoding.mct = kMctNone;
    for (i32 i = tiles.nextRecord(0); i < tileCount(); i = tiles.nextRecord(i + 1))
      tiles.find(i)->style.mct = kMctNone;
  }
  options.colourSpace = static_cast<i32>(metadata.colourSpace);
  if (metadata.channelCount >= 4 && metadata.channelDefinition[3].type == kPremultipliedOpacity) {
    options.mul_by_alpha = 0;
  }
  const bool firstIsBlue =
      metadata.channelCount > 0 && metadata.channelDefinition[0].association == kAssociatedBlue;
  options.bgrOutput = firstIsBlue ? 0 : 1;
}

// A tile without a record leaves no trace but in the log.
i32 Decoder::nextTile(i32 from) const {
  return logger.active() ? from : index.tileTable.nextRecord(from);
}

bool Decoder::isDecodable(i32 number) const {
  if (!index.tileTable.isSelected(number)) return false;
  const Tile* tile = index.tileTable.find(number);
  return tile != nullptr && tile->isBuilt();
}

template <class Engine>
Engine& Decoder::aim(Engine& engine, const Tile& tile, i32 x, i32 y) {
  engine.context = {&blockDecoder, &groupDecoder, &options, index.image.components, &cancelled};

  ScanlineWriter& writer = engine.writer;
  writer.colourTransform = tile.style.mct;
  writer.components = tile.componentCount;
  writer.origin = outputPlan.buffer + i64{y} * outputPlan.pitch + i64{x} * outputPlan.bytesPerPixel;
  writer.rowBytes = outputPlan.pitch;
  writer.pixelBytes = outputPlan.bytesPerPixel;
  writer.columnsLeft = static_cast<i32>(outputPlan.width) - x;
  writer.rowsLeft = static_cast<i32>(outputPlan.height) - y;
  if (index.image.bytesPerSample > 1) {
    writer.maxValue = (1 << index.image.maxPrecision) - 1;
    writer.levelShift = 1 << (index.image.maxPrecision - 1);
  }
  return engine;
}

// Pixels lack a component where a sub-sampled one has no sample in a narrow tile, or where colours
// are exchanged that a grey picture does not have.
bool Decoder::mayLackComponents() const {
  const ImageHeader& image = index.image;
  const bool exchanges =
      options.rgbOrder != 0 || options.colourSpace == static_cast<i32>(kColourYcc);
  return (image.components < 3 && exchanges) ||
         std::any_of(image.component, image.component + image.components,
                     [](const ComponentInfo& info) { return info.hsamp > 1 || info.vsamp > 1; });
}

void Decoder::clearAbsent(i32 number, const Rect& picture) {
  if (!isDecodable(number)) return;
  const Tile& tile = *index.tileTable.find(number);
  const Rect reduced = reduceRect(tile.rect, options.res_level);
  const i32 x = reduced.x0 - picture.x0, y = rowOf(reduced, picture);
  if (reduced.empty()) return;
  if (index.image.bytesPerSample < 2) {
    aim(engine8, tile, x, y).clearAbsent(tile);
  } else {
    aim(engine16, tile, x, y).clearAbsent(tile);
  }
}

// The first row of the picture that a tile takes. The engines write the rows of a tile bottom up
// under the same option.
i32 Decoder::rowOf(const Rect& tile, const Rect& picture) const {
  const i32 y = tile.y0 - picture.y0;
  return options.bitmap != 0 ? picture.height() - tile.height() - y : y;
}

i32 Decoder::decodeTile(i32 number, const Rect& picture) {
  logger.writeStamped("  - Tile #%u", static_cast<u32>(number));
  if (!isDecodable(number)) {
    logger.writeMore(" => Skipped.");
    return WBX_OK;
  }
  const Tile& tile = *index.tileTable.find(number);
  const Rect reduced = reduceRect(tile.rect, options.res_level);
  const i32 x = reduced.x0 - picture.x0;
  const i32 y = reduced.y0 - picture.y0;
  logger.writeMore(" -> Active. Offset=%ux%u, Size=%ux%u Decoding...", static_cast<u32>(x),
                   static_cast<u32>(y), u32{tile.rect.width()}, u32{tile.rect.height()});
  if (x >= picture.width() || y >= picture.height()) {
    logger.writeMore(" => Skipped.");
    return WBX_OK;
  }

  logger.writeStamped("== TILE: Decoding... ====================");
  const i32 row = rowOf(reduced, picture);
  const i32 code = index.image.bytesPerSample < 2 ? aim(engine8, tile, x, row).decodeTile(tile)
                                                  : aim(engine16, tile, x, row).decodeTile(tile);
  if (code != WBX_OK) return code;
  logger.writeStamped("== TILE: Decoding Finished. =============");
  return WBX_OK;
}

i32 Decoder::decodeTiles() {
  cancelled.store(false, std::memory_order_relaxed);
  options.res_level = std::clamp(options.res_level, 0, resolutionCount() - 1);
  const Rect picture = pictureAt(options.res_level);
  settleOptions();

  if (mayLackComponents()) {
    // Before any tile is decoded, since the samples of one can reach into the next.
    const TileTable& tiles = index.tileTable;
    for (i32 i = tiles.nextRecord(0); i < tileCount(); i = tiles.nextRecord(i + 1))
      clearAbsent(i, picture);
  }
  for (i32 i = nextTile(0); i < tileCount(); i = nextTile(i + 1)) {
    if (cancelled.load(std::memory_order_relaxed)) break;
    const i32 code = decodeTile(i, picture);
    if (code != WBX_OK) return code;
  }
  return cancelled.load(std::memory_order_relaxed) ? WBX_ERROR_CANCELLED : WBX_OK;
}

}  // namespace wbx

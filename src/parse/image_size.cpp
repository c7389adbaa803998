// SIZ (T.800 A.5.1), and the one test of what this decoder supports.
#include <algorithm>

#include "wbx.h"

#include "api/decoder.h"
#include "api/logger.h"
#include "parse/stream_fields.h"

namespace wbx {
namespace {

constexpr u32 kMaxCoordinate = 0xFFFF;
constexpr i32 kMaxPrecision = 16;
constexpr u8 kMaxWidthExp = 7, kMaxHeightExp = 6;

struct Siz {
  u32 x1, y1, x0, y0, tileWidth, tileHeight, tileX0, tileY0;
};

Siz readSiz(Stream& stream) {
  Siz siz;
  for (u32* field : {&siz.x1, &siz.y1, &siz.x0, &siz.y0, &siz.tileWidth, &siz.tileHeight,
                     &siz.tileX0, &siz.tileY0}) {
    *field = readU32(stream);
  }
  return siz;
}

void storeGeometry(const Siz& siz, ImageHeader& image) {
  const auto narrow = [](u32 v) { return static_cast<u16>(std::min(v, kMaxCoordinate)); };
  image.image = {narrow(siz.x0), narrow(siz.y0), narrow(siz.x1), narrow(siz.y1)};
  image.tiles = {narrow(siz.tileX0), narrow(siz.tileY0), narrow(siz.x1), narrow(siz.y1)};
  // A tile larger than any image is as good as the largest one.
  image.tile = {0, 0, narrow(siz.tileWidth), narrow(siz.tileHeight)};
}

u32 dividedUp(u32 size, u32 step) {
  return (size + step - 1) / step;
}

void logHeader(const ImageHeader& h) {
  if (!logger.active()) return;
  logger.writeStamped(
      " HEADER: caps=%x, image={%u,%u,%u,%u (%u x %u)}, tiles={%u,%u,%u,%u (%u x %u)}, "
      "tile=(%u x %u), components=%u.",
      unsigned{h.caps}, unsigned{h.image.x0}, unsigned{h.image.y0}, unsigned{h.image.x1},
      unsigned{h.image.y1}, unsigned{h.image.width()}, unsigned{h.image.height()},
      unsigned{h.tiles.x0}, unsigned{h.tiles.y0}, unsigned{h.tiles.x1}, unsigned{h.tiles.y1},
      unsigned{h.tiles.width()}, unsigned{h.tiles.height()}, unsigned{h.tile.width()},
      unsigned{h.tile.height()}, unsigned{h.components});
  for (u32 i = 0; i < h.components; ++i) {
    const ComponentInfo& c = h.component[i];
    logger.writeStamped("  - Component[%u]: sgnd=%u, prec=%u, hsamp=%u, vsamp=%u, %u x %u", i,
                        unsigned{c.sgnd}, unsigned{c.prec}, unsigned{c.hsamp}, unsigned{c.vsamp},
                        dividedUp(h.image.width(), c.hsamp), dividedUp(h.image.height(), c.vsamp));
  }
}

bool geometryIsSound(const ImageHeader& h) {
  return !h.image.empty() && !h.tiles.empty() && h.tile.x1 != 0 && h.tile.y1 != 0 &&
         h.tiles.x0 <= h.image.x0 && h.tiles.x0 + h.tile.x1 > h.image.x0 &&
         h.tiles.y0 <= h.image.y0 && h.tiles.y0 + h.tile.y1 > h.image.y0 && h.components != 0;
}

i32 checkComponents(const ImageHeader& h, bool* chromaSubsampled) {
  for (u32 i = 0; i < h.components; ++i) {
    const ComponentInfo& c = h.component[i];
    if (c.prec > kMaxPrecision) return WBX_ERROR_PRECISION;
    if (c.sgnd != 0) return WBX_ERROR_SIGNED;
    if (c.hsamp == 1 && c.vsamp == 1) {
      *chromaSubsampled = false;
      continue;
    }
    if (c.hsamp > 2 || c.vsamp > 2) return WBX_ERROR_SUBSAMPLING;
    if (i == 0) {
      if (h.components > 2) return WBX_ERROR_SUBSAMPLING;
    } else if (h.components == 3 && c.vsamp == 1) {
      *chromaSubsampled = true;
    }
  }
  return WBX_OK;
}

i32 checkCodingStyle(const CodingStyle& style) {
  const auto any = [&style](auto test) {
    return std::any_of(style.component, style.component + style.components, test);
  };
  using C = const ComponentCoding&;
  if (any([](C c) { return (c.cblkStyle & kStyleLazy) != 0; })) return WBX_ERROR_BYPASS;
  if (any([](C c) { return (c.cblkStyle & kStyleCausal) != 0; })) return WBX_ERROR_CAUSAL;
  if (any([](C c) { return c.resolutions > kMaxResolutions; })) return WBX_ERROR_RESOLUTION_LEVELS;
  if (any([](C c) { return c.cblkWidthExp > kMaxWidthExp || c.cblkHeightExp > kMaxHeightExp; }))
    return WBX_ERROR_CODE_BLOCK_SIZE;
  return WBX_OK;
}

}  // namespace

i32 Decoder::parseSIZ() {
  image.caps = readU16(*stream);
  const Siz siz = readSiz(*stream);
  image.components = readU16(*stream);
  if (!stream->isGood()) return WBX_ERROR_READ;
  if (image.components > kMaxComponents) return WBX_ERROR_COMPONENTS;
  for (const u32 coordinate : {siz.x0, siz.y0, siz.x1, siz.y1, siz.tileX0, siz.tileY0}) {
    if (coordinate > kMaxCoordinate) return WBX_ERROR_TOO_LARGE;
  }
  storeGeometry(siz, image);

  image.maxPrecision = 0;
  image.bytesPerSample = 1;
  for (u32 i = 0; i < image.components; ++i) {
    ComponentInfo& c = image.component[i];
    const u8 ssiz = readU8(*stream);
    c.sgnd = ssiz >> 7;
    c.prec = static_cast<u8>((ssiz & 0x3F) + 1);
    c.hsamp = std::max<u8>(readU8(*stream), 1);
    c.vsamp = std::max<u8>(readU8(*stream), 1);
    image.maxPrecision = std::max<i32>(image.maxPrecision, c.prec);
  }
  for (u32 i = 0; i < image.components; ++i) {
    if (image.component[i].prec != image.maxPrecision) return WBX_ERROR_PRECISION;
  }
  image.bytesPerSample = (image.maxPrecision + 7) >> 3;
  logHeader(image);
  if (!geometryIsSound(image)) return WBX_ERROR_CORRUPT;

  decodeRegion = image.image;
  mainCoding.components = image.components;
  tileTable.layOut(image);
  logger.writeStamped(" Tiles: %u x %u = %u", static_cast<unsigned>(tileTable.across()),
                      static_cast<unsigned>(tileTable.down()),
                      static_cast<unsigned>(tileTable.total()));
  if (tileTable.total() < 1) return WBX_ERROR_CORRUPT;
  currentTile = 0;
  return tileTable.create(arena);
}

i32 Decoder::checkCompliance(const CodingStyle& codingStyle) {
  switch (marker.code) {
    case kSIZ:
      return checkComponents(image, &chromaSubsampled);
    case kCOD:
      if (chromaSubsampled && mainCoding.mct == kMctNone) {
        logger.writeStamped("NOTE: MCT overriden!");
        mainCoding.mct = mainCoding.kernel != kKernel97 ? kMctReversible : kMctIrreversible;
      }
      return checkCodingStyle(codingStyle);
    case kCOC:
      return checkCodingStyle(codingStyle);
    case kPOC:
      return WBX_ERROR_PROGRESSION_CHANGE;
    case kPPM:
    case kPPT:
      return WBX_ERROR_PACKED_HEADERS;
    default:
      return WBX_OK;
  }
}

}  // namespace wbx

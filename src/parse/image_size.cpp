// SIZ, and the test of what this decoder can decode.
#include <algorithm>

#include "wbx.h"

#include "base/logger.h"
#include "parse/fields.h"
#include "parse/image_index.h"

namespace wbx {

namespace {

constexpr u32 kMaxCoordinate = 0xFFFF;
constexpr i32 kMaxPrecision = 16;
constexpr i32 kMaxCblkWidthExp = 7;
constexpr i32 kMaxCblkHeightExp = 6;

// The eight numbers of SIZ in their order there, as wide as they stand there.
struct GridFields {
  u32 Xsiz, Ysiz, XOsiz, YOsiz, XTsiz, YTsiz, XTOsiz, YTOsiz;

  [[nodiscard]] bool fit() const {
    return std::max({Xsiz, Ysiz, XOsiz, YOsiz, XTOsiz, YTOsiz}) <= kMaxCoordinate;
  }
};

GridFields readGridFields(Stream& stream) {
  GridFields f{};
  for (u32* field :
       {&f.Xsiz, &f.Ysiz, &f.XOsiz, &f.YOsiz, &f.XTsiz, &f.YTsiz, &f.XTOsiz, &f.YTOsiz})
    stream.readU32(field);
  return f;
}

// A tile beyond the largest coordinate covers what one of that size covers.
u16 clipTileSize(u32 size) {
  return static_cast<u16>(std::min(size, kMaxCoordinate));
}

void storeGrid(const GridFields& f, ImageHeader& image) {
  const auto rect = [](u32 x0, u32 y0, u32 x1, u32 y1) {
    return Rect{static_cast<u16>(x0), static_cast<u16>(y0), static_cast<u16>(x1),
                static_cast<u16>(y1)};
  };
  image.image = rect(f.XOsiz, f.YOsiz, f.Xsiz, f.Ysiz);
  image.tiles = rect(f.XTOsiz, f.YTOsiz, f.Xsiz, f.Ysiz);
  image.tile = Rect{0, 0, clipTileSize(f.XTsiz), clipTileSize(f.YTsiz)};
}

u8 readSamplingStep(Stream& stream) {
  return std::max<u8>(takeU8(stream), 1);
}

void readComponents(Stream& stream, ImageHeader& image) {
  image.maxPrecision = 0;
  for (i32 c = 0; c < image.components; ++c) {
    ComponentInfo& info = image.component[c];
    const u8 ssiz = takeU8(stream);
    info.sgnd = ssiz >> 7;
    info.prec = static_cast<u8>((ssiz & 0x3F) + 1);
    info.hsamp = readSamplingStep(stream);
    info.vsamp = readSamplingStep(stream);
    image.maxPrecision = std::max<i32>(image.maxPrecision, info.prec);
  }
}

bool precisionsAgree(const ImageHeader& image) {
  return std::all_of(image.component, image.component + image.components,
                     [&](const ComponentInfo& info) { return info.prec == image.maxPrecision; });
}

void logHeader(const ImageHeader& image) {
  if (!logger.active()) return;
  const Rect& i = image.image;
  const Rect& t = image.tiles;
  logger.writeStamped(
      " HEADER: caps=%x, image={%u,%u,%u,%u (%u x %u)}, tiles={%u,%u,%u,%u (%u x %u)},"
      " tile=(%u x %u), components=%u.",
      image.caps, i.x0, i.y0, i.x1, i.y1, i.width(), i.height(), t.x0, t.y0, t.x1, t.y1, t.width(),
      t.height(), image.tile.width(), image.tile.height(), image.components);
  for (u32 c = 0; c < image.components; ++c) {
    const ComponentInfo& info = image.component[c];
    logger.writeStamped("  - Component[%u]: sgnd=%u, prec=%u, hsamp=%u, vsamp=%u, %u x %u", c,
                        info.sgnd, info.prec, info.hsamp, info.vsamp,
                        (u32{i.width()} + info.hsamp - 1) / info.hsamp,
                        (u32{i.height()} + info.vsamp - 1) / info.vsamp);
  }
}

bool geometryHolds(const ImageHeader& header) {
  const Rect& image = header.image;
  const Rect& tiles = header.tiles;
  const Rect& tile = header.tile;
  return !image.empty() && !tiles.empty() && !tile.empty() &&
         // The first tile must hold a part of the image.
         tiles.x0 <= image.x0 && tiles.x0 + tile.x1 > image.x0 &&  //
         tiles.y0 <= image.y0 && tiles.y0 + tile.y1 > image.y0 && header.components != 0;
}

// Component 0 may be sub-sampled only where no colour transform can use it.
i32 checkComponents(const ImageHeader& image, bool& chromaSubsampled) {
  for (i32 c = 0; c < image.components; ++c) {
    const ComponentInfo& info = image.component[c];
    if (info.prec > kMaxPrecision) return WBX_ERROR_PRECISION;
    if (info.sgnd != 0) return WBX_ERROR_SIGNED;
    if (info.hsamp == 1 && info.vsamp == 1) {
      chromaSubsampled = false;
      continue;
    }
    if (info.hsamp > 2 || info.vsamp > 2) return WBX_ERROR_SUBSAMPLING;
    if (c == 0 && image.components > 2) return WBX_ERROR_SUBSAMPLING;
    if (c != 0 && image.components == 3 && info.vsamp == 1) chromaSubsampled = true;
  }
  return 0;
}

template <class Test>
bool anyComponent(const CodingStyle& style, Test test) {
  return std::any_of(style.component, style.component + style.components, test);
}

i32 checkCoding(const CodingStyle& style) {
  using Coding = const ComponentCoding&;
  if (anyComponent(style, [](Coding c) { return (c.cblkStyle & kStyleLazy) != 0; }))
    return WBX_ERROR_BYPASS;
  if (anyComponent(style, [](Coding c) { return (c.cblkStyle & kStyleCausal) != 0; }))
    return WBX_ERROR_CAUSAL;
  if (anyComponent(style, [](Coding c) { return c.resolutions > kMaxResolutions; }))
    return WBX_ERROR_RESOLUTION_LEVELS;
  const auto tooLarge = [](Coding c) {
    return c.cblkWidthExp > kMaxCblkWidthExp || c.cblkHeightExp > kMaxCblkHeightExp;
  };
  return anyComponent(style, tooLarge) ? WBX_ERROR_CODE_BLOCK_SIZE : WBX_OK;
}

}  // namespace

i32 ImageIndex::parseSIZ() {
  stream->readU16(&image.caps);
  const GridFields fields = readGridFields(*stream);
  stream->readU16(&image.components);
  if (!stream->isGood()) return WBX_ERROR_READ;
  if (image.components > kMaxComponents) return WBX_ERROR_COMPONENTS;
  if (!fields.fit()) return WBX_ERROR_TOO_LARGE;

  storeGrid(fields, image);
  readComponents(*stream, image);
  if (!precisionsAgree(image)) return WBX_ERROR_PRECISION;
  image.bytesPerSample = (image.maxPrecision + 7) >> 3;
  logHeader(image);
  if (!geometryHolds(image)) return WBX_ERROR_CORRUPT;

  mainCoding.components = image.components;
  tileTable.layOut(image);
  const u32 total = static_cast<u32>(tileTable.total());
  logger.writeStamped(" Tiles: %u x %u = %u", static_cast<u32>(tileTable.across()),
                      static_cast<u32>(tileTable.down()), total);
  if (static_cast<i32>(total) < 1) return WBX_ERROR_CORRUPT;
  return tileTable.create(arena);
}

i32 ImageIndex::checkCompliance(const CodingStyle& style) {
  switch (marker.code) {
    case kSIZ:
      return checkComponents(image, chromaSubsampled);
    case kCOD:
      overrideTransform();
      return checkCoding(style);
    case kCOC:
      return checkCoding(style);
    case kPOC:
      return WBX_ERROR_PROGRESSION_CHANGE;
    case kPPM:
    case kPPT:
      return WBX_ERROR_PACKED_HEADERS;
    default:
      return 0;
  }
}

// Sub-sampled chroma without a transform is taken for luminance and colour differences.
void ImageIndex::overrideTransform() {
  if (!chromaSubsampled || mainCoding.mct != kMctNone) return;
  logger.writeStamped("NOTE: MCT overriden!");
  mainCoding.mct = mainCoding.kernel != kKernel97 ? kMctReversible : kMctIrreversible;
}

}  // namespace wbx

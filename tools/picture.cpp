#include "picture.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <optional>

#include "platform.h"
#include "progress.h"

namespace wbx::tool {

namespace {

// The library counts the bytes of a buffer in 32 bits.
constexpr uint64_t kLargestBuffer = std::numeric_limits<uint32_t>::max();

Rect overlap(const Rect& a, const Rect& b) {
  return {std::max(a.x0, b.x0), std::max(a.y0, b.y0), std::min(a.x1, b.x1), std::min(a.y1, b.y1)};
}

std::string asPixels(const Rect& rect) {
  return std::to_string(rect.width()) + " x " + std::to_string(rect.height()) + " pixels";
}

bool showsProgress(const Arguments& arguments, const TilePlan& tiles) {
  constexpr uint64_t kManyTiles = 16;
  if (arguments.progress != ProgressLine::kOnTerminal || arguments.batch) {
    return arguments.progress == ProgressLine::kAlways && !arguments.batch;
  }
  return tiles.bands.size() > 1 && tiles.tiles >= kManyTiles && platform::isTerminal(stderr);
}

}  // namespace

Outcome Picture::plan() {
  Outcome outcome = planTileBands();
  if (!outcome.failed()) outcome = planLevel();
  if (!outcome.failed()) outcome = planPixels();
  if (!outcome.failed()) outcome = checkSizes();
  if (!outcome.failed()) outcome = probe();
  return outcome;
}

Outcome Picture::planTileBands() {
  const auto& codestream = image_.facts().codestream;
  const bool known = codestream && codestream->size &&
                     codestream->size->tilesAcross() == image_.info().tilesAcross &&
                     codestream->size->tilesDown() == image_.info().tilesDown;
  if (!known) return Outcome::library(image_.name(), WBX_ERROR_INTERNAL);
  const SizeFacts& size = *codestream->size;
  if (arguments_.region) {
    const auto plan = planRegion(size, *arguments_.region);
    if (!plan) {
      return Outcome::usage(image_.name() + ": the region lies outside the image, which has " +
                            asPixels(size.image));
    }
    tiles_ = *plan;
    return {};
  }
  const auto& range = arguments_.tiles;
  if (range && static_cast<uint32_t>(range->last) >= image_.tiles()) {
    return Outcome::usage(image_.name() + ": " + WBX_getErrorStr(WBX_ERROR_TILE) +
                          "; its tiles are 0 to " + std::to_string(image_.tiles() - 1));
  }
  tiles_ = planTiles(size, range, arguments_.options.upsideDown);
  return {};
}

Outcome Picture::select(const TileBand& band, bool state) const {
  const uint32_t across = image_.info().tilesAcross;
  const bool wholeRows = band.lastColumn - band.firstColumn + 1 == across;
  for (uint32_t row = band.firstRow; row <= band.lastRow; ++row) {
    const uint32_t lastRow = wholeRows ? band.lastRow : row;
    const int32_t code =
        WBX_SelectTiles(image_.handle(), static_cast<int32_t>(row * across + band.firstColumn),
                        static_cast<int32_t>(lastRow * across + band.lastColumn), state ? 1 : 0);
    if (code != WBX_OK) return Outcome::library(image_.name(), code);
    row = lastRow;
  }
  return {};
}

// The resolutions are those that all tiles of the picture have.
Outcome Picture::planLevel() {
  int32_t code = WBX_SelectTiles(image_.handle(), -1, -1, 0);
  if (code != WBX_OK) return Outcome::library(image_.name(), code);
  for (const TileBand& band : tiles_.bands) {
    if (Outcome outcome = select(band, true); outcome.failed()) return outcome;
  }
  int32_t count = 1;
  code = WBX_GetResolutions(image_.handle(), &count);
  if (code != WBX_OK) return Outcome::library(image_.name(), code);
  if (arguments_.fit) return fitLevel(count);
  const int32_t fromOptions = std::max(arguments_.options.level.value_or(0), 0);
  level_ = arguments_.reduce.value_or(static_cast<uint32_t>(fromOptions));
  if (level_ >= static_cast<uint32_t>(count)) {
    return Outcome::usage(image_.name() + ": " + WBX_getErrorStr(WBX_ERROR_RESOLUTION) +
                          "; its levels are 0 to " + std::to_string(count - 1));
  }
  rect_ = reduced(tiles_.picture, level_);
  return {};
}

Outcome Picture::fitLevel(int32_t count) {
  level_ = 0;
  rect_ = tiles_.picture;
  for (uint32_t level = 1; level < static_cast<uint32_t>(count); ++level) {
    const Rect smaller = reduced(tiles_.picture, level);
    if (std::max(smaller.width(), smaller.height()) < *arguments_.fit || smaller.empty()) break;
    level_ = level;
    rect_ = smaller;
  }
  return {};
}

// Three colours are decoded with room for a fourth sample, which is faster and, for the 9-7 filter,
// keeps more of their fractions.
Outcome Picture::planPixels() {
  const DecodedSamples decoded{image_.info().components, image_.info().precision,
                               arguments_.options.noTransform};
  const uint32_t sampleBytes = decoded.bits > 8 ? 2 : 1;
  const uint32_t roomy = decoded.components == 3 ? 4 : decoded.components;
  const int32_t asked = arguments_.options.pixelBytes.value_or(0);
  copiesPixels_ = isRaw() && asked != 0;
  if (isRaw()) {
    for (uint32_t i = 0; i < decoded.components; ++i) colours_.sources.push_back({i, {}});
    colours_.decodedBits = colours_.bits = decoded.bits;
    colours_.keepsProfile = false;
  } else {
    Outcome outcome = planColours(image_.facts(), decoded, arguments_.indices, colours_, notes_);
    if (outcome.failed()) return Outcome::image(image_.name() + ": " + outcome.message);
    if (colours_.throughPalette && (level_ > 0 || arguments_.options.video.value_or(0) == 1)) {
      return Outcome::usage(image_.name() +
                            ": the indices of a palette cannot be averaged to a smaller picture; "
                            "--indices writes them all the same");
    }
  }
  uint32_t samples = roomy;
  for (const TileBand& band : tiles_.bands) {
    const Rect rect = reduced(band.rect, level_);
    const uint64_t pixels = uint64_t{rect.width()} * rect.height();
    if (pixels > kLargestBuffer / (roomy * sampleBytes)) samples = decoded.components;
  }
  layout_ =
      isRaw() ? PixelLayout{samples} : pixelLayout(image_.facts(), decoded.components, samples);
  decodedPixelBytes_ = copiesPixels_ ? static_cast<uint32_t>(asked) : samples * sampleBytes;
  shape_.width = rect_.width();
  shape_.height = rect_.height();
  shape_.samples = colours_.samples();
  shape_.bits = colours_.bits;
  shape_.pixelBytes =
      copiesPixels_ ? decodedPixelBytes_ : size_t{shape_.samples} * shape_.bytesPerSample();
  shape_.keepsProfile = colours_.keepsProfile;
  return {};
}

Outcome Picture::checkSizes() const {
  if (rect_.empty()) {
    return Outcome::image(image_.name() + ": the picture is empty at this resolution");
  }
  uint64_t pixels = 0;
  for (const TileBand& band : tiles_.bands) {
    const Rect rect = reduced(band.rect, level_);
    const uint64_t inBand = uint64_t{rect.width()} * rect.height();
    pixels += inBand;
    if (inBand > kLargestBuffer / std::max<size_t>(decodedPixelBytes_, 1)) {
      return Outcome::image(image_.name() + ": tiles of " + asPixels(rect) +
                            " are too large to be decoded at once; try --reduce");
    }
  }
  if (arguments_.maxPixels && pixels > *arguments_.maxPixels) {
    return Outcome::image(image_.name() + ": " + std::to_string(pixels) +
                          " pixels to decode, and --max-pixels allows " +
                          std::to_string(*arguments_.maxPixels));
  }
  return {};
}

// The options of a decode: the user's, and what the format needs. The later of two counts.
std::string Picture::optionText() const {
  const DecodeOptions& user = arguments_.options;
  std::string text = isRaw() ? "co=RGB," : "";
  text += user.text;
  if (!user.video) text += ",video=0";
  if (colours_.needsNoTransform) text += ",nomct";
  text += ",res_level=" + std::to_string(level_);
  if (!copiesPixels_) text += ",bpp=" + std::to_string(decodedPixelBytes_);
  return isRaw() ? text : text + ",co=RGB";
}

// The library has the last word on the options: with a size of 1 it works out the rows, refuses for
// the size, and decodes nothing but a picture of one byte.
Outcome Picture::probe() const {
  uint8_t byte = 0;
  void* buffer = &byte;
  uint32_t size = 1;
  uint32_t pitch = 0;
  const int32_t code = WBX_Decode(image_.handle(), &buffer, &size, optionText().c_str(), &pitch);
  const bool fine = code == WBX_OK || code == WBX_ERROR_BUFFER_SIZE;
  return fine ? Outcome{} : Outcome::library(image_.name(), code);
}

Outcome Picture::decode(RowSink& sink) const {
  const int32_t code = WBX_SelectTiles(image_.handle(), -1, -1, 0);
  if (code != WBX_OK) return Outcome::library(image_.name(), code);
  std::optional<Progress> progress;
  if (showsProgress(arguments_, tiles_)) progress.emplace(image_.name(), tiles_.tiles);
  std::vector<uint8_t> pixels;
  uint64_t done = 0;
  for (const TileBand& band : tiles_.bands) {
    const Rect rect = reduced(band.rect, level_);
    if (!rect.empty()) {
      if (Outcome outcome = decodeBand(band, rect, pixels); outcome.failed()) return outcome;
      if (!handOver(rect, pixels, sink)) return {};
    }
    done += uint64_t{band.lastRow - band.firstRow + 1} * (band.lastColumn - band.firstColumn + 1);
    if (progress) progress->show(done);
  }
  return {};
}

// Tiles that the file does not hold stay black.
Outcome Picture::decodeBand(const TileBand& band, const Rect& rect,
                            std::vector<uint8_t>& pixels) const {
  const size_t rowBytes = decodedPixelBytes_ * rect.width();
  try {
    pixels.assign(rowBytes * rect.height(), 0);
  } catch (const std::bad_alloc&) {
    return Outcome::image(image_.name() + ": no memory for " + asPixels(rect) +
                          "; try --reduce or --region");
  }
  if (Outcome outcome = select(band, true); outcome.failed()) return outcome;
  const std::string options = optionText();
  uint32_t width = 0;
  uint32_t height = 0;
  int32_t code =
      WBX_GetResolutionDimensionsByStr(image_.handle(), options.c_str(), &width, &height);
  const bool asPlanned = width == rect.width() && height == rect.height();
  if (code == WBX_OK && !asPlanned) code = WBX_ERROR_INTERNAL;
  if (code == WBX_OK) {
    void* buffer = pixels.data();
    auto size = static_cast<uint32_t>(pixels.size());
    auto pitch = static_cast<uint32_t>(rowBytes);
    code = WBX_Decode(image_.handle(), &buffer, &size, options.c_str(), &pitch);
  }
  if (code != WBX_OK) return Outcome::library(image_.name(), code);
  return select(band, false);
}

// What a band shares with the picture; outside of it the picture is black.
bool Picture::handOver(const Rect& rect, const std::vector<uint8_t>& pixels, RowSink& sink) const {
  const Rect shared = overlap(rect, rect_);
  std::vector<uint8_t> row(shape_.rowBytes());
  for (uint32_t y = shared.y0; y < shared.y1; ++y) {
    const size_t from = size_t{y - rect.y0} * rect.width() + (shared.x0 - rect.x0);
    convert(pixels.data() + from * decodedPixelBytes_, shared.width(),
            row.data() + (shared.x0 - rect_.x0) * shape_.pixelBytes);
    if (!sink.row(row.data())) return false;
  }
  return true;
}

void Picture::convert(const uint8_t* decoded, size_t count, uint8_t* out) const {
  if (copiesPixels_) {
    std::memcpy(out, decoded, count * decodedPixelBytes_);
  } else {
    convertPixels(colours_, layout_, decoded, count, out);
  }
}

}  // namespace wbx::tool

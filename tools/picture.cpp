#include "picture.h"

#include <algorithm>
#include <limits>
#include <unistd.h>

#include "progress.h"

namespace wbx::tool {

namespace {

// The options of a decode: the user's, and what the format needs. The later of two counts.
std::string decodeOptions(const Arguments& arguments, const Picture& picture) {
  const std::string reduce =
      arguments.reduce ? ",res_level=" + std::to_string(*arguments.reduce) : "";
  if (arguments.format == Format::kRaw) return "co=RGB," + arguments.options + reduce;
  const uint32_t pixelBytes = picture.components * picture.bytesPerSample();
  return arguments.options + reduce + ",co=RGB,bpp=" + std::to_string(pixelBytes);
}

Outcome badLevel(const Image& image) {
  int32_t count = 1;
  WBX_GetResolutions(image.handle(), &count);
  return Outcome::usage(image.name() + ": " + WBX_getErrorStr(WBX_ERROR_RESOLUTION) +
                        "; its levels are 0 to " + std::to_string(count - 1));
}

Outcome measure(const Image& image, const std::string& options, Picture& picture) {
  const int32_t code = WBX_GetResolutionDimensionsByStr(image.handle(), options.c_str(),
                                                        &picture.width, &picture.height);
  if (code == WBX_ERROR_RESOLUTION) return badLevel(image);
  if (code != WBX_OK) return Outcome::library(image.name(), code);
  if (picture.width > 0 && picture.height > 0) return {};
  return Outcome::image(image.name() + ": the picture is empty at this resolution");
}

// The library has the last word on bpp and on the options: with a size of 1 it works out the
// distance of the rows, refuses for the size, and decodes nothing.
Outcome planRows(const Image& image, const std::string& options, Picture& picture) {
  uint8_t probe = 0;
  void* buffer = &probe;
  uint32_t size = 1;
  uint32_t pitch = 0;
  const int32_t code = WBX_Decode(image.handle(), &buffer, &size, options.c_str(), &pitch);
  // A picture of one byte fits in the probe, and is decoded again.
  if (code != WBX_OK && code != WBX_ERROR_BUFFER_SIZE) return Outcome::library(image.name(), code);
  picture.rowBytes = pitch;
  return {};
}

Outcome allocate(const Image& image, Picture& picture) {
  // The library counts a caller's buffer in 32 bits.
  const bool tooLarge = picture.size() > std::numeric_limits<uint32_t>::max();
  if (!tooLarge) {
    picture.pixels.reset(
        static_cast<uint8_t*>(std::calloc(static_cast<size_t>(picture.size()), 1)));
  }
  if (picture.pixels != nullptr) return {};
  return Outcome::image(image.name() + ": no memory for a picture of " +
                        std::to_string(picture.width) + " x " + std::to_string(picture.height) +
                        " pixels; try --reduce or --tiles");
}

// Decodes the selected tiles into rows of the picture from `top` on.
Outcome decodeRows(const Image& image, const std::string& options, Picture& picture, uint32_t top) {
  void* buffer = picture.row(top);
  uint32_t size = static_cast<uint32_t>(picture.rowBytes * (picture.height - top));
  uint32_t pitch = static_cast<uint32_t>(picture.rowBytes);
  const int32_t code = WBX_Decode(image.handle(), &buffer, &size, options.c_str(), &pitch);
  return code == WBX_OK ? Outcome{} : Outcome::library(image.name(), code);
}

// For a progress line the picture is decoded in bands of whole rows of tiles. Options of the user
// may turn the picture over, and a range of tiles may not fill its rows: these go in one piece.
bool inBands(const Image& image, const Arguments& arguments) {
  constexpr uint32_t kManyTiles = 16;
  if (!arguments.options.empty() || arguments.tiles || image.info().tilesDown < 2) return false;
  if (arguments.progress == ProgressLine::kOnTerminal) {
    return image.tiles() >= kManyTiles && isatty(STDERR_FILENO) != 0;
  }
  return arguments.progress == ProgressLine::kAlways;
}

Outcome selectBand(const Image& image, uint32_t firstRow, uint32_t endRow) {
  const uint32_t across = image.info().tilesAcross;
  int32_t code = WBX_SelectTiles(image.handle(), -1, -1, 0);
  if (code == WBX_OK) {
    code = WBX_SelectTiles(image.handle(), static_cast<int32_t>(firstRow * across),
                           static_cast<int32_t>(endRow * across - 1), 1);
  }
  return code == WBX_OK ? Outcome{} : Outcome::library(image.name(), code);
}

Outcome decodeBand(const Image& image, const std::string& options, Picture& picture,
                   uint32_t& top) {
  uint32_t width = 0;
  uint32_t height = 0;
  const int32_t code =
      WBX_GetResolutionDimensionsByStr(image.handle(), options.c_str(), &width, &height);
  if (code != WBX_OK) return Outcome::library(image.name(), code);
  if (width != picture.width || height > picture.height - top) {
    return Outcome::library(image.name(), WBX_ERROR_INTERNAL);
  }
  if (height == 0) return {};
  const Outcome outcome = decodeRows(image, options, picture, top);
  top += height;
  return outcome;
}

Outcome decodeBands(const Image& image, const std::string& options, Picture& picture) {
  // Selecting walks over all tiles, so a picture of very many rows of tiles has fewer bands.
  constexpr uint32_t kMostBands = 100;
  const uint32_t rows = image.info().tilesDown;
  const uint32_t step = (rows + kMostBands - 1) / kMostBands;
  const Progress progress(image.name(), image.tiles());
  uint32_t top = 0;
  for (uint32_t row = 0; row < rows; row += step) {
    const uint32_t end = std::min(row + step, rows);
    if (Outcome outcome = selectBand(image, row, end); outcome.failed()) return outcome;
    if (Outcome outcome = decodeBand(image, options, picture, top); outcome.failed()) {
      return outcome;
    }
    progress.show(end * image.info().tilesAcross);
  }
  return {};
}

// Samples of fewer than 8 bits keep the level shift of 8 bits: a 4-bit picture fills 120 to 135.
// This brings them back to 0 to maxValue().
void lowerShortSamples(Picture& picture) {
  const int32_t shift = 128 - (1 << (picture.precision - 1));
  const int32_t maximum = static_cast<int32_t>(picture.maxValue());
  for (uint32_t y = 0; y < picture.height; ++y) {
    uint8_t* const row = picture.row(y);
    std::transform(row, row + picture.samplesPerRow(), row, [&](uint8_t sample) {
      return static_cast<uint8_t>(std::clamp(sample - shift, 0, maximum));
    });
  }
}

}  // namespace

Outcome decodePicture(const Image& image, const Arguments& arguments, Picture& picture) {
  picture.components = image.info().components;
  picture.precision = image.info().precision;
  const std::string options = decodeOptions(arguments, picture);
  if (Outcome outcome = measure(image, options, picture); outcome.failed()) return outcome;
  if (Outcome outcome = planRows(image, options, picture); outcome.failed()) return outcome;
  if (Outcome outcome = allocate(image, picture); outcome.failed()) return outcome;
  Outcome outcome = inBands(image, arguments) ? decodeBands(image, options, picture)
                                              : decodeRows(image, options, picture, 0);
  if (outcome.failed()) return outcome;
  if (picture.precision < 8 && arguments.format != Format::kRaw) lowerShortSamples(picture);
  return {};
}

}  // namespace wbx::tool

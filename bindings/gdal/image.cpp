#include "image.h"

#include <algorithm>
#include <cpl_vsi_virtual.h>
#include <cstdio>
#include <cstring>
#include <gdaljp2metadata.h>
#include <limits>

namespace wbx::gdal {

namespace {

int32_t WBX_CALL seekFile(void* file, uint32_t offset) {
  return VSIFSeekL(static_cast<VSILFILE*>(file), offset, SEEK_SET);
}

int32_t WBX_CALL readFile(void* buffer, uint32_t count, void* file) {
  const size_t most = std::min<size_t>(count, std::numeric_limits<int32_t>::max());
  return static_cast<int32_t>(VSIFReadL(buffer, 1, most, static_cast<VSILFILE*>(file)));
}

void WBX_CALL closeFile(void* file) {
  VSIFCloseL(static_cast<VSILFILE*>(file));
}

int64_t divideUp(int64_t value, int level) {
  return (value + (int64_t{1} << level) - 1) >> level;
}

uint32_t bigEndian(const uint8_t* bytes) {
  return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

bool hasSmallChroma(const uint8_t* steps, uint32_t components) {
  const auto isWhole = [&](int c) { return steps[3 * c] == 1 && steps[3 * c + 1] == 1; };
  return components == 3 && isWhole(0) && !isWhole(1) && !isWhole(2);
}

// The inverse irreversible component transform (T.800 G.3.2), in place. YCC has the same.
template <typename Sample>
void convertYcc(Sample* pixel, size_t step, size_t count, int precision) {
  const int bits = std::max(precision, 8);
  const int middle = 1 << (bits - 1);
  const auto rounded = [&](float value) {
    return static_cast<Sample>(std::clamp(std::lround(value), 0L, 2L * middle - 1));
  };
  for (; count > 0; --count, pixel += step) {
    const auto luminance = static_cast<float>(pixel[0]);
    const auto blue = static_cast<float>(pixel[1] - middle);
    const auto red = static_cast<float>(pixel[2] - middle);
    pixel[0] = rounded(luminance + 1.402F * red);
    pixel[1] = rounded(luminance - 0.344136F * blue - 0.714136F * red);
    pixel[2] = rounded(luminance + 1.772F * blue);
  }
}

// Where the codestream begins in a file that the library opened.
vsi_l_offset findCodestream(VSILFILE* file) {
  GDALJP2Box box(file);
  for (int found = box.ReadFirst(); found; found = box.ReadNext()) {
    if (EQUAL(box.GetType(), "jp2c")) return static_cast<vsi_l_offset>(box.GetDataOffset());
  }
  return 0;
}

}  // namespace

int64_t Axis::start(int64_t tile, int level) const {
  return divideUp(std::max(tileStart + tile * tileStep, imageStart), level) -
         divideUp(imageStart, level);
}

int64_t Axis::tileOf(int64_t pixel, int level) const {
  const int64_t position = (pixel + divideUp(imageStart, level)) << level;
  return (std::min(position, imageEnd - 1) - tileStart) / tileStep;
}

std::shared_ptr<Image> Image::open(const char* path) {
  VSILFILE* file = VSIFOpenL(path, "rb");
  if (file == nullptr) return nullptr;
  // The library takes headers in small pieces.
  file = reinterpret_cast<VSILFILE*>(
      VSICreateBufferedReaderHandle(reinterpret_cast<VSIVirtualHandle*>(file)));
  const std::shared_ptr<Image> image(new Image(path));
  const CustomCallbacks callbacks = {seekFile, readFile, closeFile};
  image->handle_ = WBX_OpenCustom(file, &callbacks);
  if (image->handle_ == nullptr) return nullptr;
  WBX_GetInfoEx(image->handle_, &image->info_);
  WBX_GetResolutions(image->handle_, &image->resolutions_);
  return image->readGrid() ? image : nullptr;
}

Image::~Image() {
  if (handle_ != nullptr) WBX_Close(handle_);
}

// SIZ stands at the start of every codestream (T.800 A.5.1).
bool Image::readGrid() {
  VSILFILE* const file = VSIFOpenL(path_.c_str(), "rb");
  if (file == nullptr) return false;
  const vsi_l_offset start = info_.flags & WBX_INFO_JP2 ? findCodestream(file) : 0;
  uint8_t siz[54] = {};
  VSIFSeekL(file, start, SEEK_SET);
  const bool complete = VSIFReadL(siz, 1, sizeof siz, file) == sizeof siz;
  VSIFCloseL(file);
  const uint8_t* const field = siz + 8;
  across_ = {bigEndian(field + 8), bigEndian(field), bigEndian(field + 24), bigEndian(field + 16)};
  down_ = {bigEndian(field + 12), bigEndian(field + 4), bigEndian(field + 28),
           bigEndian(field + 20)};
  // By all custom small components are chroma, whatever else the file says.
  if (hasSmallChroma(siz + 43, info_.components)) ycc_ = true;
  return complete && across_.tileStep > 0 && down_.tileStep > 0 &&
         across_.imageEnd - across_.imageStart == info_.width &&
         down_.imageEnd - down_.imageStart == info_.height;
}

Size Image::sizeAt(int level) const {
  return {static_cast<int>(divideUp(across_.imageEnd, level) - divideUp(across_.imageStart, level)),
          static_cast<int>(divideUp(down_.imageEnd, level) - divideUp(down_.imageStart, level))};
}

Size Image::tileSize() const {
  return {static_cast<int>(std::min<int64_t>(across_.tileStep, info_.width)),
          static_cast<int>(std::min<int64_t>(down_.tileStep, info_.height))};
}

std::vector<uint8_t> Image::palette() const {
  int32_t index = 0;
  uint32_t kind = 0;
  uint32_t length = 0;
  const void* data = nullptr;
  while (WBX_GetMetaData(handle_, &index, &kind, &data, &length) == WBX_OK && data != nullptr) {
    const auto* const bytes = static_cast<const uint8_t*>(data);
    if (kind == WBX_META_PALETTE) return {bytes, bytes + length};
  }
  return {};
}

CPLErr Image::need(int level, const Rect& pixels) {
  if (level == level_ && decoded_.contains(pixels)) return CE_None;
  level_ = -1;
  decoded_ = selectTiles(level, pixels);
  // The grid was read apart from the library, in case somebody made the two differ.
  if (!decoded_.contains(pixels)) {
    CPLError(CE_Failure, CPLE_AppDefined, "%s: where its tiles lie is not clear", path_.c_str());
    return CE_Failure;
  }
  const CPLErr result = decode(level);
  if (result == CE_None) level_ = level;
  return result;
}

// Selects the tiles under the pixels, and returns the rectangle that they fill.
Rect Image::selectTiles(int level, const Rect& pixels) {
  const auto tilesAcross = static_cast<int64_t>(info_.tilesAcross);
  const int64_t left = across_.tileOf(pixels.left, level);
  const int64_t right = across_.tileOf(pixels.right - 1, level);
  const int64_t top = down_.tileOf(pixels.top, level);
  const int64_t bottom = down_.tileOf(pixels.bottom - 1, level);
  WBX_SelectTiles(handle_, -1, -1, 0);
  for (int64_t row = top; row <= bottom; ++row) {
    WBX_SelectTiles(handle_, static_cast<int32_t>(row * tilesAcross + left),
                    static_cast<int32_t>(row * tilesAcross + right), 1);
  }
  uint32_t width = 0;
  uint32_t height = 0;
  WBX_GetResolutionDimensions(handle_, level, &width, &height);
  const int64_t x = across_.start(left, level);
  const int64_t y = down_.start(top, level);
  return {x, y, x + width, y + height};
}

bool Image::reserve(uint64_t size) {
  if (size <= samplesSize_) return true;
  samples_.reset();
  samplesSize_ = 0;
  if (size <= std::numeric_limits<uint32_t>::max()) samples_.reset(VSIMalloc(size));
  if (samples_ == nullptr) return false;
  samplesSize_ = size;
  return true;
}

// Tiles that the file lacks are left at zero. Four bytes for three samples are more exact.
CPLErr Image::decode(int level) {
  const uint32_t sampleSize = info_.precision > 8 ? 2 : 1;
  const auto width = static_cast<uint64_t>(decoded_.right - decoded_.left);
  const auto height = static_cast<uint64_t>(decoded_.bottom - decoded_.top);
  pixelSize_ = info_.components == 3 && sampleSize == 1 ? 4 : info_.components * sampleSize;
  const uint64_t size = width * pixelSize_ * height;
  if (size == 0) return CE_None;
  if (!reserve(size)) {
    CPLError(CE_Failure, CPLE_OutOfMemory, "%s: no memory for %llu bytes", path_.c_str(),
             static_cast<unsigned long long>(size));
    return CE_Failure;
  }
  std::memset(samples_.get(), 0, size);

  char options[64];
  std::snprintf(options, sizeof options, "rl=%d,bpp=%u,co=%s,video=0%s", level, pixelSize_,
                blueFirst_ ? "BGR0" : "RGB0", ycc_ ? ",nomct" : "");
  void* buffer = samples_.get();
  auto bytes = static_cast<uint32_t>(size);
  pitch_ = static_cast<uint32_t>(width) * pixelSize_;
  const int32_t code = WBX_Decode(handle_, &buffer, &bytes, options, &pitch_);
  if (code != WBX_OK) {
    CPLError(CE_Failure, CPLE_AppDefined, "%s: %s", path_.c_str(), WBX_getErrorStr(code));
    return CE_Failure;
  }
  const auto precision = static_cast<int>(info_.precision);
  if (ycc_ && sampleSize == 1) {
    convertYcc(static_cast<uint8_t*>(buffer), pixelSize_, width * height, precision);
  } else if (ycc_) {
    convertYcc(static_cast<uint16_t*>(buffer), pixelSize_ / 2, width * height, precision);
  }
  return CE_None;
}

template <typename Sample>
void Image::copy(int component, const Rect& pixels, Sample* to, size_t pitch) const {
  // Samples of fewer than 8 bits come with the level shift of 8 bits.
  const int shift = info_.precision < 8 ? 128 - (1 << (info_.precision - 1)) : 0;
  const int most = (1 << info_.precision) - 1;
  const size_t step = pixelSize_ / sizeof(Sample);
  const auto width = static_cast<size_t>(pixels.right - pixels.left);
  for (int64_t y = pixels.top; y < pixels.bottom; ++y, to += pitch) {
    const auto row = static_cast<size_t>(y - decoded_.top) * pitch_;
    const auto* from =
        reinterpret_cast<const Sample*>(static_cast<const char*>(samples_.get()) + row) +
        static_cast<size_t>(pixels.left - decoded_.left) * step + component;
    for (size_t x = 0; x < width; ++x, from += step) to[x] = *from;
    if (shift == 0) continue;
    for (size_t x = 0; x < width; ++x)
      to[x] = static_cast<Sample>(std::clamp(to[x] - shift, 0, most));
  }
}

template void Image::copy(int, const Rect&, uint8_t*, size_t) const;
template void Image::copy(int, const Rect&, uint16_t*, size_t) const;

}  // namespace wbx::gdal

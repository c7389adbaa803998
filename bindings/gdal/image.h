// An image that the library opened through GDAL's file layer, and its pictures: any rectangle of
// any resolution, put together of the tiles under it.
#pragma once

#include <cpl_error.h>
#include <cpl_vsi.h>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "wbx.h"

namespace wbx::gdal {

// A rectangle of pixels; right and bottom are outside.
struct Rect {
  int64_t left = 0;
  int64_t top = 0;
  int64_t right = 0;
  int64_t bottom = 0;

  bool contains(const Rect& inner) const {
    return left <= inner.left && top <= inner.top && inner.right <= right && inner.bottom <= bottom;
  }
};

struct Size {
  int width = 0;
  int height = 0;
};

// One direction of the image and tile grids of SIZ (T.800 B.3), on the reference grid.
struct Axis {
  int64_t imageStart = 0;
  int64_t imageEnd = 0;
  int64_t tileStart = 0;
  int64_t tileStep = 1;

  // Where a tile begins in the picture of a level, the first one where the picture does.
  int64_t start(int64_t tile, int level) const;
  // The tile that holds a pixel of the picture of a level.
  int64_t tileOf(int64_t pixel, int level) const;
};

class Image {
 public:
  // Null if the file is not there or the library refuses it, with nothing said about it.
  static std::shared_ptr<Image> open(const char* path);
  ~Image();
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;

  const WBX_ImageInfoEx& info() const { return info_; }
  int resolutions() const { return resolutions_; }
  Size sizeAt(int level) const;
  bool isOneTile() const { return info_.tilesAcross == 1 && info_.tilesDown == 1; }
  // The size of a tile that is not cut off by the image.
  Size tileSize() const;
  // The first palette box, empty if there is none.
  std::vector<uint8_t> palette() const;

  // What the file says of its channels, to be told before the first picture. The library exchanges
  // the first and third component by itself where the first channel is blue.
  void setBlueFirst() { blueFirst_ = true; }
  // The components are luminance and chroma; pictures come as red, green and blue.
  void setYcc() { ycc_ = true; }

  // Makes sure that the picture of a level has these pixels decoded.
  CPLErr need(int level, const Rect& pixels);
  // Copies the samples of one component in a rectangle that `need` was called for, to rows that lie
  // `pitch` samples apart. Sample is uint8_t for images of up to 8 bits, else uint16_t.
  template <typename Sample>
  void copy(int component, const Rect& pixels, Sample* to, size_t pitch) const;

 private:
  explicit Image(std::string path) : path_(std::move(path)) {}
  bool readGrid();
  Rect selectTiles(int level, const Rect& pixels);
  bool reserve(uint64_t size);
  CPLErr decode(int level);

  std::string path_;
  WBX_Handle handle_ = nullptr;
  WBX_ImageInfoEx info_{};
  int resolutions_ = 1;
  bool blueFirst_ = false;
  bool ycc_ = false;
  Axis across_;
  Axis down_;

  // The picture that was decoded last.
  std::unique_ptr<void, decltype(&VSIFree)> samples_{nullptr, VSIFree};
  size_t samplesSize_ = 0;
  int level_ = -1;
  Rect decoded_;
  uint32_t pixelSize_ = 0;
  uint32_t pitch_ = 0;
};

}  // namespace wbx::gdal

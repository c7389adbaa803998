#include "support/source_picture.h"

#include <sstream>
#include <stdexcept>

#include "support/image.h"

namespace wbx::test {

namespace {

uint32_t hash(uint32_t x, uint32_t y, uint32_t c) {
  uint32_t h = x * 374761393u + y * 668265263u + c * 2246822519u;
  h = (h ^ (h >> 13)) * 1274126177u;
  return h ^ (h >> 16);
}

uint32_t gradient(uint32_t x, uint32_t y, uint32_t c, uint32_t top) {
  const uint32_t t = (x * 3 + y * 2 + c * 37) & 0xFFu;
  return (t > 127 ? 255 - t : t) * top / 127;
}

uint32_t text(uint32_t x, uint32_t y, uint32_t c, uint32_t top) {
  if ((((x / 3 + c) ^ (y / 5)) & 1u) != 0) return top;
  return (x + y) % 7 == 0 ? top / 2 : 0;
}

class Photo {
 public:
  Photo() : bytes_(readFile(std::string(WBX_TEST_DATA) + "/photo.ppm")) {
    std::istringstream head(std::string(bytes_.begin(), bytes_.end()));
    std::string magic;
    uint32_t top = 0;
    head >> magic >> width_ >> height_ >> top;
    start_ = static_cast<size_t>(head.tellg()) + 1;
    if (magic != "P6" || top != 255) throw std::runtime_error("photo.ppm is missing");
  }

  uint32_t at(uint32_t x, uint32_t y, uint32_t c, int precision) const {
    const size_t pixel = static_cast<size_t>(y % height_) * width_ + x % width_;
    const uint32_t raw = bytes_[start_ + pixel * 3 + c % 3];
    const uint32_t v = c > 2 ? 255 - raw : raw;
    if (precision <= 8) return v >> (8 - precision);
    return v << (precision - 8) | v >> (16 - precision);
  }

 private:
  Bytes bytes_;
  uint32_t width_ = 0, height_ = 0;
  size_t start_ = 0;
};

}  // namespace

int32_t sourceSample(const std::string& picture, uint32_t x, uint32_t y, uint32_t c,
                     int precision) {
  const uint32_t top = (1u << precision) - 1;
  uint32_t value = 0;
  if (picture == "gradient") {
    value = gradient(x, y, c, top);
  } else if (picture == "noise") {
    value = hash(x, y, c) & top;
  } else if (picture == "extremes") {
    value = (hash(x, y, c) & 64u) != 0 ? top : 0;
  } else if (picture == "text") {
    value = text(x, y, c, top);
  } else if (picture == "flat") {
    value = top / 3;
  } else if (picture == "photo") {
    static const Photo photo;
    value = photo.at(x, y, c, precision);
  } else {
    throw std::invalid_argument(picture);
  }
  return static_cast<int32_t>(value);
}

}  // namespace wbx::test

#ifndef WBX_TESTS_SUPPORT_EXPECTED_PICTURE_H
#define WBX_TESTS_SUPPORT_EXPECTED_PICTURE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/image.h"
#include "support/manifest.h"

namespace wbx::test {

// Samples of all components at each pixel, as the output shows them: level-shifted, sub-sampled
// ones repeated.
struct Planes {
  uint32_t width = 0;
  uint32_t height = 0;
  std::vector<std::vector<int32_t>> samples;  // by component

  int32_t at(uint32_t c, uint32_t x, uint32_t y) const {
    return samples[c][static_cast<size_t>(y) * width + x];
  }
};

// The source picture of a file.
Planes sourcePlanes(const Accepted& entry);

// What a lossless file without sub-sampling holds at a lower resolution: the low band of the
// forward 5-3 transform (T.800 F.4) of each tile, behind the forward colour transform (T.800 G.2)
// where the file uses it.
Planes reducedPlanes(const Accepted& entry, uint32_t levels);

// Samples in a decoded buffer by pixel, without what lies between pixels.
class PixelView {
 public:
  PixelView(const Picture& picture, uint32_t bytesPerSample, uint32_t pixelBytes)
      : picture_(picture), bytesPerSample_(bytesPerSample), pixelBytes_(pixelBytes) {}

  int32_t at(uint32_t x, uint32_t y, uint32_t channel) const;

 private:
  const Picture& picture_;
  uint32_t bytesPerSample_;
  uint32_t pixelBytes_;
};

// Channel of the pixel that component c goes to by default.
uint32_t channelOf(uint32_t c, uint32_t components);

// The first sample that differs, as a text for a failing test.
std::optional<std::string> firstDifference(const Planes& expected, const PixelView& got,
                                           bool blueFirst = false);

}  // namespace wbx::test

#endif

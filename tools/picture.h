#ifndef WBX_TOOLS_PICTURE_H
#define WBX_TOOLS_PICTURE_H

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "arguments.h"
#include "image.h"
#include "outcome.h"

namespace wbx::tool {

// A decoded picture, in rows from the top without gaps. For the raw format the pixels are those of
// WBX_Decode under the user's options. For all others they are grey, grey and opacity, RGB or RGBA
// in the order of a pixel, with samples of 0 to maxValue() as bytes or words of this machine.
struct Picture {
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t components = 0;
  uint32_t precision = 0;
  uint64_t rowBytes = 0;

  uint32_t maxValue() const { return (1u << precision) - 1; }
  uint32_t bytesPerSample() const { return precision > 8 ? 2 : 1; }
  size_t samplesPerRow() const { return size_t{width} * components; }
  uint64_t size() const { return rowBytes * height; }

  uint8_t* row(uint32_t y) { return pixels.get() + static_cast<size_t>(rowBytes) * y; }
  const uint8_t* row(uint32_t y) const { return pixels.get() + static_cast<size_t>(rowBytes) * y; }

  // Sample i of a row.
  uint32_t sample(uint32_t y, size_t i) const {
    return precision > 8 ? reinterpret_cast<const uint16_t*>(row(y))[i] : row(y)[i];
  }

  struct Free {
    void operator()(uint8_t* memory) const { std::free(memory); }
  };
  std::unique_ptr<uint8_t[], Free> pixels;  // from calloc: unselected tiles are black
};

// Decodes the selected tiles as the arguments say.
Outcome decodePicture(const Image& image, const Arguments& arguments, Picture& picture);

}  // namespace wbx::tool

#endif

#ifndef WBX_TOOLS_PICTURE_H
#define WBX_TOOLS_PICTURE_H

#include <cstdint>
#include <string>
#include <vector>

#include "arguments.h"
#include "colour_plan.h"
#include "image.h"
#include "outcome.h"
#include "tile_plan.h"

namespace wbx::tool {

// The rows of a picture: grey, grey and opacity, RGB or RGBA in the order of a pixel, with samples
// of 0 to maxValue() as bytes or words of this machine. In the raw format they are what WBX_Decode
// gives under the user's options.
struct PictureShape {
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t samples = 0;  // to a pixel
  uint32_t bits = 0;
  size_t pixelBytes = 0;
  bool keepsProfile = true;

  uint32_t maxValue() const { return (1u << bits) - 1; }
  uint32_t bytesPerSample() const { return bits > 8 ? 2 : 1; }
  size_t samplesPerRow() const { return size_t{width} * samples; }
  size_t rowBytes() const { return size_t{width} * pixelBytes; }
};

// Takes the rows from the top down. False if it can take no more.
class RowSink {
 public:
  RowSink() = default;
  virtual ~RowSink() = default;
  RowSink(const RowSink&) = delete;
  RowSink& operator=(const RowSink&) = delete;

  virtual bool row(const uint8_t* bytes) = 0;
};

// Decodes a picture out of an image as the arguments say, band by band.
class Picture {
 public:
  Picture(const Image& image, const Arguments& arguments, Format format)
      : image_(image), arguments_(arguments), format_(format) {}

  // Works out all that can be refused, before memory is taken or a file is touched.
  Outcome plan();

  const PictureShape& shape() const { return shape_; }
  // What the picture does not show as the file has it.
  const std::vector<std::string>& notes() const { return notes_; }

  Outcome decode(RowSink& sink) const;

 private:
  bool isRaw() const { return format_ == Format::kRaw; }
  Outcome planTileBands();
  Outcome planLevel();
  Outcome fitLevel(int32_t count);
  Outcome planPixels();
  Outcome checkSizes() const;
  Outcome probe() const;
  std::string optionText() const;
  Outcome select(const TileBand& band, bool state) const;
  Outcome decodeBand(const TileBand& band, const Rect& rect, std::vector<uint8_t>& pixels) const;
  bool handOver(const Rect& rect, const std::vector<uint8_t>& pixels, RowSink& sink) const;
  void convert(const uint8_t* decoded, size_t count, uint8_t* out) const;

  const Image& image_;
  const Arguments& arguments_;
  Format format_;
  TilePlan tiles_;
  uint32_t level_ = 0;
  Rect rect_;  // of the picture at that level
  ColourPlan colours_;
  PixelLayout layout_;
  size_t decodedPixelBytes_ = 0;
  bool copiesPixels_ = false;  // the decoded pixel is that of the picture
  PictureShape shape_;
  std::vector<std::string> notes_;
};

}  // namespace wbx::tool

#endif

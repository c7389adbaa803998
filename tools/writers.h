#ifndef WBX_TOOLS_WRITERS_H
#define WBX_TOOLS_WRITERS_H

#include <memory>
#include <string>
#include <string_view>

#include "arguments.h"
#include "output_file.h"
#include "picture.h"

namespace wbx::tool {

// Whether a format can hold a picture of so many samples to a pixel. The failure names the image.
Outcome checkFormat(Format format, const PictureShape& shape, const std::string& imageName);

struct PngSettings {
  int level = 3;                // of the compression, 0 to 9
  std::string_view iccProfile;  // empty for none; to be there until the end
};

// Writes a picture row by row. A failed write is for the file to remember and to report.
class PictureWriter : public RowSink {
 public:
  // Writes what stands in front of the rows.
  virtual Outcome begin() = 0;
  // Writes what stands behind them.
  virtual Outcome end() = 0;
  // Whether an ICC profile that was given is in the file, known after begin().
  virtual bool holdsProfile() const { return false; }
};

std::unique_ptr<PictureWriter> makeWriter(Format format, const PictureShape& shape,
                                          const PngSettings& settings, OutputFile& file);

// PNG: grey, grey and opacity, RGB or RGBA, with 8 or 16 bits to a sample; the true precision is in
// an sBIT chunk if it is less. An ICC profile is passed on, unless libpng finds fault with it.
// Without libpng it fails at begin().
std::unique_ptr<PictureWriter> makePngWriter(const PictureShape& shape, const PngSettings& settings,
                                             OutputFile& file);

}  // namespace wbx::tool

#endif

#ifndef WBX_TOOLS_WRITERS_H
#define WBX_TOOLS_WRITERS_H

#include <optional>
#include <string_view>

#include "arguments.h"
#include "output_file.h"
#include "picture.h"

namespace wbx::tool {

// Whether a format can hold so many components. The failure names the image.
Outcome checkFormat(Format format, uint32_t components, const std::string& imageName);

// PNG: grey, grey and opacity, RGB or RGBA, with 8 or 16 bits to a sample; the true precision is in
// an sBIT chunk if it is less. An ICC profile is passed on.
Outcome writePng(const Picture& picture, std::string_view iccProfile, OutputFile& file);

// PGM or PPM, by the number of components.
Outcome writePnm(const Picture& picture, OutputFile& file);

Outcome writePam(const Picture& picture, OutputFile& file);

// The bytes of the library's buffer.
Outcome writeRaw(const Picture& picture, OutputFile& file);

}  // namespace wbx::tool

#endif

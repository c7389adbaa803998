#include "writers.h"

namespace wbx::tool {

Outcome checkFormat(Format format, uint32_t components, const std::string& imageName) {
  const bool grey = components == 1;
  const bool colour = components == 3;
  const bool fits = (format == Format::kPgm && grey) || (format == Format::kPpm && colour) ||
                    (format == Format::kPnm && (grey || colour)) || format == Format::kPng ||
                    format == Format::kPam || format == Format::kRaw;
  if (fits) return {};
  const char* holds = format == Format::kPgm   ? "PGM holds 1 component"
                      : format == Format::kPpm ? "PPM holds 3 components"
                                               : "PNM holds 1 or 3 components";
  return Outcome::usage(imageName + ": the image has " + std::to_string(components) + ", and " +
                        holds + "; write PNG or PAM");
}

}  // namespace wbx::tool

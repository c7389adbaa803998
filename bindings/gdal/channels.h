// What the components of an image mean, by the boxes of a JP2 file (T.800 I.5.3).
#pragma once

#include <cstdint>
#include <gdal_priv.h>
#include <vector>

namespace wbx::gdal {

struct Channels {
  std::vector<GDALColorInterp> colours;  // one for each component
  bool blueFirst = false;                // as the library takes it: of 3 components or more
  bool ycc = false;                      // luminance and chroma, of 3 components or more
};

// A raw codestream says nothing about its components.
Channels readChannels(const char* path, int components);

// The table of a palette box of up to 8 bits (T.800 I.5.3.4), empty if it is none for a band.
GDALColorTable readPalette(const std::vector<uint8_t>& box);

}  // namespace wbx::gdal

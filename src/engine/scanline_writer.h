// ScanlineWriter: where finished rows of samples go. The decode driver fills it for each tile.
#pragma once

#include "api/options.h"
#include "api/types.h"

namespace wbx {

struct ScanlineWriter {
  i32 colourTransform = 0;  // the tile's mct
  i32 components = 0;       // of the tile
  u8* origin = nullptr;     // first byte of the tile's first pixel
  i64 rowBytes = 0;         // bytes from row to row (pitch)
  i32 pixelBytes = 0;       // bytes from pixel to pixel (bpp)
  i32 columnsLeft = 0;      // pixels from origin to the picture's right edge
  i32 rowsLeft = 0;         // rows of the picture that the tile may touch, from origin on
  i32 imageWidth = 0, imageHeight = 0;
  i32 maxValue = 255;    // of the 16-bit engine: (1 << precision) - 1
  i32 levelShift = 128;  // of the 16-bit engine: 1 << (precision - 1)
};

}  // namespace wbx

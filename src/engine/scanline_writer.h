// ScanlineWriter: where finished rows of samples go.
#pragma once

#include "base/types.h"
#include "engine/decode_options.h"

namespace wbx {

// The decode driver fills it for each tile. RowWriter (row_writer.h) works on it.
struct ScanlineWriter {
  i32 colourTransform = 0;  // the tile's mct; not 0: components 0, 1 and 2 go through its inverse
  i32 components = 0;       // of the tile
  u8* origin = nullptr;     // first byte of the tile's first pixel
  i64 rowBytes = 0;         // bytes from row to row
  i32 pixelBytes = 0;       // bytes from pixel to pixel; room for all components
  i32 columnsLeft = 0;      // pixels from origin to the picture's right edge
  i32 rowsLeft = 0;         // rows from origin to the picture's bottom edge
  i32 maxValue = 255;       // 16-bit samples: (1 << precision) - 1
  i32 levelShift = 128;     // 16-bit samples: 1 << (precision - 1)
};

}  // namespace wbx

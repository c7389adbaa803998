// What the block decoders take and what they give.
#pragma once

#include "base/types.h"
#include "tier2/tile.h"

namespace wbx {

// What a subband says of its code blocks.
struct BlockBand {
  u8 orientation = 0;     // 0 LL, 1 HL, 2 LH, 3 HH
  u8 style = 0;           // the code-block style byte
  i32 magnitudeBits = 0;  // Mb of T.800 E.1; with roiShift at most 31
  i32 roiShift = 0;
  i32 number = 0;  // the caller's own, to know the subband again
};

struct BlockTask {
  const CodeBlock* block = nullptr;
  const BlockBand* band = nullptr;  // stays until the block is decoded
  Rect rect;                        // in subband coordinates
};

// The coefficients of a block, those of a region of interest brought down to the others. Bit 31 is
// the sign, bits 0 to 30 the magnitude; a magnitude bit decoded in plane p stands at bit p.
struct DecodedBlock {
  Rect rect;         // that of the task
  const u32* quads;  // 4 rows of one column each, column by column; until the next block
  i32 stripePitch;   // values from one stripe of quads to the next
  i32 lastPlane;     // the plane of the last pass run; 0 when the passes reached the bottom

  [[nodiscard]] u32 coefficient(i32 x, i32 y) const {
    return quads[(y >> 2) * stripePitch + 4 * x + (y & 3)];
  }
};

}  // namespace wbx

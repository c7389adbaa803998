// Decoded code blocks into lanes (T.800 E.1, H.1).
#pragma once

#include "base/types.h"
#include "engine/band_window.h"
#include "tier1/block_decoder.h"

namespace wbx {

// The point inside its uncertainty at which a coefficient of a block that stops above plane 0 is
// rebuilt, with 2 fractional bits.
inline u32 reconstructionPoint(i32 lastPlane, i32 roiShift) {
  return roiShift == 0 && lastPlane > 0 ? u32{2} << lastPlane : 0;
}

// Moves a decoded block to its place. `dequantize` makes the lanes of one stripe.
template <class Dequantizer, class Lane>
void transferBlock(const DecodedBlock& block, u32 midpoint, const Dequantizer& dequantize,
                   const BandWindow<Lane>& window) {
  Lane below[BlockDecoder::kMaxWidth];  // takes the rows of a stripe that the block does not have
  const i32 width = block.rect.width(), height = block.rect.height();
  Lane* to = window.at(block.rect.x0, block.rect.y0);
  const u32* quads = block.quads;
  for (i32 y = 0; y < height; y += 4, quads += block.stripePitch) {
    Lane* rows[4];
    for (i32 k = 0; k < 4; ++k) rows[k] = y + k < height ? to + (y + k) * window.rowPitch : below;
    dequantize(quads, width, midpoint, rows);
  }
}

}  // namespace wbx

// DecodeOptions: what the option text of a decode says.
#pragma once

#include "base/types.h"

namespace wbx {

struct DecodeOptions {
  char comp_order[5] = "BGR0";
  i32 bpp = 0;        // bytes per output pixel; 0 is automatic
  i32 res_level = 0;  // resolution levels to drop
  u8 rgbOrder = 0;    // exchange samples 0 and 2 of each finished pixel
  u8 mul_by_alpha = 0;
  u8 bitmap = 0;  // last row first
  i32 video = 2;  // 0 off, 1 on, 2 automatic
  u8 nomct = 0;

  // Not options: the decode driver fills them from the image before the tiles are decoded, so
  // that the sample writers look at one record only.
  i32 colourSpace = 0;
  u8 bgrOutput = 0;  // components 0 and 2 change places in the pixel
};

}  // namespace wbx

// ImageHeader: the image as SIZ gives it (T.800 A.5.1), in 16-bit coordinates.
#pragma once

#include "base/types.h"

namespace wbx {

inline constexpr i32 kMaxComponents = 4;

struct ComponentInfo {
  u8 sgnd = 0;
  u8 prec = 0;
  u8 hsamp = 1;
  u8 vsamp = 1;
};

struct ImageHeader {
  u16 caps = 0;
  u16 components = 0;
  Rect image;  // XOsiz, YOsiz, Xsiz, Ysiz
  Rect tiles;  // XTOsiz, YTOsiz, Xsiz, Ysiz
  Rect tile;   // 0, 0, XTsiz, YTsiz
  i32 maxPrecision = 0;
  i32 bytesPerSample = 1;
  ComponentInfo component[kMaxComponents];
};

}  // namespace wbx

// PacketIterator: which packet of a tile comes next (T.800 B.12).
#pragma once

#include "api/types.h"

namespace wbx {

struct TileComponent;

struct PacketIterator {
  u8 done = 0;
  u8 order = 0;
  u16 layer = 0;
  u16 layers = 0;
  u8 resolution = 0;
  u8 resolutions = 0;  // the largest count among the components
  u16 component = 0;
  u16 components = 0;
  u32 precinct = 0;
  u32 precincts = 0;

  void step(const TileComponent* tileComponents);
};

}  // namespace wbx

// TileEngine: turns one tile, whose packets were read at open, into samples of the output.
#pragma once

#include "base/types.h"
#include "engine/component_group.h"
#include "engine/scanline_writer.h"
#include "tier2/tile.h"

namespace wbx {

// Takes the components in the order 2, 1, 0, 3: row by row side by side, or, where they have not
// the same rows or the source's reads are seen, one after the other. Traits (Engine8Traits,
// Engine16Traits) names the kernels, the sample format and the dequantization.
template <class Traits>
class TileEngine {
 public:
  EngineContext context;
  ScanlineWriter writer;

  // Needs a tile with a built tree. Returns 0, 2 when the working area cannot be had, or the
  // block decoder's code. Decoding changes nothing in the tree.
  [[nodiscard]] i32 decodeTile(const Tile& tile);
  // Clears what pixels of the tile are made of and none of its components brings.
  void clearAbsent(const Tile& tile);
  void freeArea() { area_.release(); }

 private:
  // Calls the body with each group of components in turn, until one returns a code.
  template <class Body>
  [[nodiscard]] i32 forEachGroup(const Tile& tile, const Body& body);

  WorkingArea area_;
};

struct Engine8Traits;
struct Engine16Traits;
using TileEngine8 = TileEngine<Engine8Traits>;
using TileEngine16 = TileEngine<Engine16Traits>;

extern template class TileEngine<Engine8Traits>;
extern template class TileEngine<Engine16Traits>;

}  // namespace wbx

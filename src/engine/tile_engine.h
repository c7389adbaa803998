// TileEngine: turns one tile, whose packets were read at open, into samples of the output.
#pragma once

#include <atomic>

#include "base/types.h"
#include "engine/decode_options.h"
#include "engine/scanline_writer.h"
#include "engine/working_area.h"
#include "tier1/block_decoder.h"
#include "tier1/group_decoder.h"
#include "tier2/tile.h"

namespace wbx {

// Constant over one decode; set by the decode driver.
struct EngineContext {
  BlockDecoder* blockDecoder = nullptr;
  GroupDecoder* groupDecoder = nullptr;
  const DecodeOptions* options = nullptr;
  i32 components = 0;  // of the image
  const std::atomic<bool>* cancelFlag = nullptr;

  [[nodiscard]] bool cancelled() const { return cancelFlag->load(std::memory_order_relaxed); }
};

// A component is taken all the way to output samples before the next one starts, in the order 2,
// 1, 0, 3, so that one working area serves them all. Traits (Engine8Traits, Engine16Traits) names
// the kernels, the sample format and the dequantization.
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
  // Calls the body with the decoder of each component in turn, until one returns a code.
  template <class Body>
  [[nodiscard]] i32 forEachComponent(const Tile& tile, const Body& body);

  WorkingArea area_;
};

struct Engine8Traits;
struct Engine16Traits;
using TileEngine8 = TileEngine<Engine8Traits>;
using TileEngine16 = TileEngine<Engine16Traits>;

extern template class TileEngine<Engine8Traits>;
extern template class TileEngine<Engine16Traits>;

}  // namespace wbx

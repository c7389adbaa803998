// What the decode driver needs of a tile engine.
#pragma once

#include <atomic>

#include "api/options.h"
#include "api/types.h"
#include "engine/scanline_writer.h"
#include "tier1/block_decoder.h"
#include "tier2/tile.h"

namespace wbx {

// Constant over one decode.
struct EngineContext {
  BlockDecoder* blockDecoder = nullptr;
  const DecodeOptions* options = nullptr;
  i32 components = 0;  // of the image
  const std::atomic<bool>* cancelFlag = nullptr;
};

class TileEngine8 {
 public:
  EngineContext context;
  ScanlineWriter writer;

  // Returns 0, 2 when the working plane cannot be had, or the block decoder's code.
  [[nodiscard]] i32 decodeTile(const Tile& tile);
  void freePlane();
};

class TileEngine16 {
 public:
  EngineContext context;
  ScanlineWriter writer;

  [[nodiscard]] i32 decodeTile(const Tile& tile);
  void freePlane();
};

}  // namespace wbx

// TileEngine: turns one tile, whose packets were read at open, into samples of the output.
#pragma once

#include <atomic>
#include <optional>

#include "base/types.h"
#include "engine/decode_options.h"
#include "engine/scanline_writer.h"
#include "engine/working_plane.h"
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
};

// A component is taken all the way to output samples before the next one starts, in the order 2,
// 1, 0, 3, so that one working plane serves them all. Traits (Engine8Traits, Engine16Traits) names
// the kernels, the sample format and the dequantization.
template <class Traits>
class TileEngine {
 public:
  EngineContext context;
  ScanlineWriter writer;

  // Needs a tile with a built tree. Returns 0, 2 when the working plane cannot be had, or the
  // block decoder's code. Decoding changes nothing in the tree.
  [[nodiscard]] i32 decodeTile(const Tile& tile);
  void freePlane() { plane_.release(); }

 private:
  template <class K>
  [[nodiscard]] i32 decodeComponent(const Tile& tile, i32 index);
  template <class K>
  struct SubbandTarget;
  template <class K>
  [[nodiscard]] SubbandTarget<K> subbandTarget(const Tile& tile, i32 component, i32 resolution,
                                               i32 place);
  template <class K>
  [[nodiscard]] i32 decodeBlocks(const Tile& tile, i32 component, i32 last);
  template <class K, class Decode>
  [[nodiscard]] i32 decodeSubband(const Resolution& resolution, const Subband& subband,
                                  const SubbandTarget<K>& target, const Decode& decode);
  template <class K>
  [[nodiscard]] i32 decodeBlock(const CodeBlock& block, const Rect& rect, Stream& stream,
                                const SubbandTarget<K>& target);
  template <class K>
  void writeUpscaledRows(i32 component, const Resolution& resolution, i32 index);
  template <class K>
  void writeLowestResolution(i32 component);
  template <class K>
  void writeRow(i32 component, i32 y, i32 height, const typename K::Lane* lanes, i32 count);

  template <class K>
  struct PlaneSink;
  template <class K>
  struct WriterSink;

  [[nodiscard]] bool cancelled() const {
    return context.cancelFlag->load(std::memory_order_relaxed);
  }

  WorkingPlane plane_;
};

struct Engine8Traits;
struct Engine16Traits;
using TileEngine8 = TileEngine<Engine8Traits>;
using TileEngine16 = TileEngine<Engine16Traits>;

extern template class TileEngine<Engine8Traits>;
extern template class TileEngine<Engine16Traits>;

}  // namespace wbx

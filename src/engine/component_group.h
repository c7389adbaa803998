// ComponentGroup: the components of a tile that are decoded together.
#pragma once

#include <atomic>

#include "base/types.h"
#include "engine/decode_options.h"
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

// A component in work, whatever its kernel and samples.
class ComponentWork {
 public:
  virtual ~ComponentWork() = default;
  // Makes the working area large enough for `bytes`; false when memory runs out.
  [[nodiscard]] virtual bool ensure(WorkingArea& area, i64 bytes) const = 0;
  // Takes its place; without memory it is only counted.
  virtual void carve(Carver& area) = 0;
  // Hands the group the next blocks of all subbands that have room for them.
  [[nodiscard]] virtual i32 takeBlocks() = 0;
  virtual void transfer(const BlockBand& band, const DecodedBlock& block) = 0;
  [[nodiscard]] virtual i32 rows() const = 0;
  // Writes the next row of the component; false when there is none to be had any more.
  [[nodiscard]] virtual bool writeRow(i32 y) = 0;
  virtual void clearAbsent() const = 0;
};

// Their rows are written side by side, so the components have the same number of them, and their
// code blocks are decoded together: groups go well if there are many to choose from.
class ComponentGroup {
 public:
  static constexpr i32 kBands = 3 * kMaxResolutions - 2;  // of a component

  ComponentGroup(const EngineContext& context, const Tile& tile) : context_(context), tile_(tile) {}

  // The order is that in which blocks are decoded and rows written.
  void add(ComponentWork& component) { components_[count_++] = &component; }
  // Returns 0, 2 when the working area cannot be had, or the block decoder's code.
  [[nodiscard]] i32 decode(WorkingArea& area);

  // Clears what pixels are made of and no component brings.
  void clearAbsent() const {
    for (i32 k = 0; k < count_; ++k) components_[k]->clearAbsent();
  }

  // What the components ask for. The number of a block's band says whose it is: kBands for each
  // component in front, and the component's own.
  [[nodiscard]] i32 decodeBlock(const BlockTask& task);
  // A component has come to the end of the rows that were decoded.
  void refill();
  // Some rows in work are not there, by a cancel or an error.
  [[nodiscard]] bool isStopped() const { return stopped_; }

 private:
  [[nodiscard]] bool ensureArea(WorkingArea& area);
  [[nodiscard]] i32 decodeBlocks();
  [[nodiscard]] i32 decodeTaken();
  void transfer(const BlockBand& band, const DecodedBlock& block);

  const EngineContext& context_;
  const Tile& tile_;
  ComponentWork* components_[kMaxComponents] = {};
  i32 count_ = 0;
  i32 code_ = 0;
  bool stopped_ = false;
};

}  // namespace wbx

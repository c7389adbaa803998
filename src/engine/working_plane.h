// WorkingPlane: the one two-dimensional array of lanes in which a tile-component is rebuilt.
#pragma once

#include <array>
#include <type_traits>

#include "base/types.h"
#include "image/coding_style.h"
#include "tier2/tile.h"

namespace wbx {

// One resolution of a component as it lies in the plane before its synthesis. Rows are in their
// natural order, low-pass rows at even coordinates and high-pass rows at odd ones; within a row
// the low-pass columns come first and the high-pass columns behind them. So LL and HL share the
// even rows, LH and HH the odd ones. After the synthesis the same rows hold the result.
template <class Lane>
struct Level {
  Lane* first = nullptr;  // row 0
  i64 rowPitch = 0;       // lanes from row to row
  i32 width = 0, height = 0;
  i32 parityX = 0, parityY = 0;  // low bits of x0 and y0: 1 when the first column is high-pass
  i32 lowColumns = 0;

  [[nodiscard]] Lane* row(i32 y) const { return first + y * rowPitch; }
  [[nodiscard]] i32 highColumns() const { return width - lowColumns; }
};

// Rows of the working area that a synthesis needs beside the samples.
template <class Lane>
struct Workspace {
  static constexpr i32 kRingRows = 8;  // lifted rows, the reach of the longest filter
  static constexpr i32 kStateRows = 4;
  static constexpr i32 kOutputRows = 2;
  static constexpr i32 kScratchRows = 2;

  std::array<Lane*, kRingRows> ring;
  std::array<Lane*, kOutputRows> output;
  std::array<i32*, kStateRows> state;  // 32 bits a column: the vertical state of a kernel
  Lane* scratch;                       // two lanes a column and some more: of one row's lifting

  [[nodiscard]] Lane* ringRow(i32 y) const { return ring[static_cast<u32>(y) % kRingRows]; }
};

// The plane is as large as the largest tile-component that was decoded so far. A resolution needs
// no room of its own: its rows are those rows of the next resolution that are low-pass there, so
// at r levels below the last one they lie 2^r rows apart, and the high-pass bands of the next one
// are written beside and between them.
class WorkingPlane {
 public:
  WorkingPlane() = default;
  ~WorkingPlane() { release(); }
  WorkingPlane(const WorkingPlane&) = delete;
  WorkingPlane& operator=(const WorkingPlane&) = delete;

  // Makes the plane large enough for a component of this size with lanes of this size. False when
  // memory runs out. `grew` tells whether the nominal lane count asked for was the largest so far.
  [[nodiscard]] bool ensure(i32 width, i32 height, i32 laneBytes, i32 marginRows, bool* grew);
  void release();

  [[nodiscard]] const void* address() const { return memory_; }

  // Lays out the resolutions of a component, 0 to last, over the plane.
  void layOut(const TileComponent& component, i32 last);

  template <class Lane>
  [[nodiscard]] Level<Lane> level(i32 resolution) const {
    const Placement& at = placement_[static_cast<size_t>(resolution)];
    Level<Lane> level;
    level.first = reinterpret_cast<Lane*>(memory_) + at.firstRow * pitch_;
    level.rowPitch = at.rowStep * pitch_;
    level.width = at.rect.width();
    level.height = at.rect.height();
    level.parityX = at.rect.x0 & 1;
    level.parityY = at.rect.y0 & 1;
    level.lowColumns = ((at.rect.x1 + 1) >> 1) - ((at.rect.x0 + 1) >> 1);
    return level;
  }

  template <class Lane>
  [[nodiscard]] Workspace<Lane> workspace() const {
    Workspace<Lane> space;
    u8* at = memory_ + workspaceOffset_;
    const auto take = [&at, this](auto*& row) {
      row = reinterpret_cast<std::remove_reference_t<decltype(row)>>(at) + kGuardLanes;
      at += static_cast<i64>(sizeof *row) * pitch_;
    };
    for (Lane*& row : space.ring) take(row);
    for (Lane*& row : space.output) take(row);
    for (i32*& row : space.state) take(row);
    space.scratch = reinterpret_cast<Lane*>(at);
    return space;
  }

 private:
  static constexpr i64 kGuardLanes = 16;  // in front of each working row, and as many behind

  struct Placement {
    Rect rect;
    i64 firstRow = 0, rowStep = 1;
  };

  u8* memory_ = nullptr;
  i64 bytes_ = 0;
  i64 nominalLanes_ = 0;
  i64 pitch_ = 0;  // lanes from row to row
  i64 workspaceOffset_ = 0;
  std::array<Placement, kMaxResolutions> placement_;
};

}  // namespace wbx

#include "engine/working_plane.h"

#include "base/memory.h"

namespace wbx {

bool WorkingPlane::ensure(i32 width, i32 height, i32 laneBytes, i32 marginRows, bool* grew) {
  constexpr i64 kMarginColumns = 7;
  constexpr i64 kMaxLanes = 0x7FFFFFFF;
  constexpr i64 kLineLanes = 32;
  *grew = false;
  const i64 lanes = (width + kMarginColumns) * (i64{height} + marginRows);
  if (lanes > kMaxLanes) return false;

  // An odd number of cache lines from row to row keeps the rows of a code block out of each
  // other's cache sets.
  pitch_ = (((width + 2 * kGuardLanes + kLineLanes - 1) / kLineLanes) | 1) * kLineLanes;
  using Space = Workspace<i32>;
  const i64 workRows =
      i64{Space::kRingRows + Space::kOutputRows + Space::kScratchRows} * laneBytes +
      i64{Space::kStateRows} * static_cast<i64>(sizeof(i32));
  workspaceOffset_ = pitch_ * height * laneBytes;
  const i64 bytes = workspaceOffset_ + pitch_ * workRows;

  const bool largest = memory_ == nullptr || lanes > nominalLanes_;
  if (largest || bytes > bytes_) {
    release();
    // Zeroed: a decode that is cancelled half-way must not show stale memory.
    memory_ = static_cast<u8*>(allocateMemory(static_cast<size_t>(bytes), true));
    if (memory_ == nullptr) return false;
    bytes_ = bytes;
  }
  if (largest) nominalLanes_ = lanes;
  *grew = largest;
  return true;
}

void WorkingPlane::release() {
  freeMemory(memory_);
  memory_ = nullptr;
  bytes_ = 0;
}

void WorkingPlane::layOut(const TileComponent& component, i32 last) {
  Placement at;
  for (i32 r = last; r >= 0; --r) {
    at.rect = component.resolutions[r].rect;
    placement_[static_cast<size_t>(r)] = at;
    at.firstRow += (at.rect.y0 & 1) * at.rowStep;
    at.rowStep *= 2;
  }
}

}  // namespace wbx

#include "engine/working_area.h"

#include "base/memory.h"

namespace wbx {

bool WorkingArea::ensure(i64 bytes, i32 width, i32 height, i32 marginRows, bool* grew) {
  constexpr i64 kMarginColumns = 7;
  constexpr i64 kMaxLanes = 0x7FFFFFFF;
  *grew = false;
  const i64 lanes = (width + kMarginColumns) * (i64{height} + marginRows);
  if (lanes > kMaxLanes) return false;

  const bool largest = memory_ == nullptr || lanes > mostLanes_;
  if (largest || bytes > bytes_) {
    release();
    // Zeroed: a decode that is cancelled half-way must not show stale memory.
    memory_ = static_cast<u8*>(allocateMemory(static_cast<size_t>(bytes), true));
    if (memory_ == nullptr) return false;
    bytes_ = bytes;
  }
  if (largest) mostLanes_ = lanes;
  *grew = largest;
  return true;
}

void WorkingArea::release() {
  freeMemory(memory_);
  memory_ = nullptr;
  bytes_ = 0;
}

}  // namespace wbx

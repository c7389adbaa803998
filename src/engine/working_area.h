// WorkingArea: the memory in which tile-components are rebuilt, one after the other.
#pragma once

#include "base/types.h"

namespace wbx {

// Cuts memory into arrays, one behind the other. Without memory it only counts.
class Carver {
 public:
  explicit Carver(u8* memory) : memory_(memory) {}

  [[nodiscard]] i64 used() const { return used_; }
  template <class T>
  [[nodiscard]] T* take(i64 count) {
    return takeFrom<T>(0, count);
  }
  // A row with a few lanes in front of it and behind it.
  template <class T>
  [[nodiscard]] T* takeRow(i32 width) {
    constexpr i64 kGuard = 16;
    return takeFrom<T>(kGuard, width + 2 * kGuard);
  }

 private:
  template <class T>
  [[nodiscard]] T* takeFrom(i64 offset, i64 count) {
    constexpr i64 kLine = 64;
    const i64 at = used_ + offset * static_cast<i64>(sizeof(T));
    used_ += (count * static_cast<i64>(sizeof(T)) + kLine - 1) / kLine * kLine;
    return memory_ == nullptr ? nullptr : reinterpret_cast<T*>(memory_ + at);
  }

  u8* memory_;
  i64 used_ = 0;
};

// Grows to what the largest tile-component took so far.
class WorkingArea {
 public:
  WorkingArea() = default;
  ~WorkingArea() { release(); }
  WorkingArea(const WorkingArea&) = delete;
  WorkingArea& operator=(const WorkingArea&) = delete;

  // Makes the area large enough. A component counts as `width` and seven columns by `height` and
  // `marginRows` rows; more lanes than 31 bits can count are refused like memory that runs out,
  // with false. `grew` tells whether the component was the largest so far.
  [[nodiscard]] bool ensure(i64 bytes, i32 width, i32 height, i32 marginRows, bool* grew);
  void release();

  [[nodiscard]] u8* memory() const { return memory_; }

 private:
  u8* memory_ = nullptr;
  i64 bytes_ = 0;
  i64 mostLanes_ = 0;
};

}  // namespace wbx

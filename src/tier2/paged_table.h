// PagedTable: an array that exists only where it was touched.
#pragma once

#include <algorithm>
#include <new>

#include "base/arena.h"
#include "base/types.h"

namespace wbx {

// A header of a few bytes can announce billions of tiles or precincts that no packet ever fills. A
// radix tree of small nodes over pages of 2^kPageShift records makes a record cost what its use
// costs: at most seven nodes of 32 pointers, far less where neighbours are used too. All memory is
// the Arena's; T is constructed in place and never destroyed.
template <class T, u32 kPageShift = 3>
class PagedTable {
 public:
  // Sets the size; allocates nothing.
  void setCount(u32 count) {
    count_ = count;
    rootShift_ = kPageShift;
    while (u64{count} > u64{1} << rootShift_) rootShift_ += kFanShift;
  }
  [[nodiscard]] u32 count() const { return count_; }

  // The record, or null when its page was never touched.
  [[nodiscard]] T* find(u32 index) const {
    void* node = root_;
    for (u32 shift = rootShift_; shift > kPageShift; shift -= kFanShift) {
      if (node == nullptr) return nullptr;
      node = static_cast<void**>(node)[slotOf(index, shift)];
    }
    return node == nullptr ? nullptr : static_cast<T*>(node) + (index & (kPageSize - 1));
  }

  // The first index at or behind `from` whose page was touched, or `count`.
  [[nodiscard]] u32 nextTouched(u32 from) const {
    u64 index = from;
    while (index < count_) {
      void* node = root_;
      u32 shift = rootShift_;
      for (; node != nullptr && shift > kPageShift; shift -= kFanShift)
        node = static_cast<void**>(node)[slotOf(static_cast<u32>(index), shift)];
      if (node != nullptr) return static_cast<u32>(index);
      index = ((index >> shift) + 1) << shift;
    }
    return count_;
  }

  // The record, made on demand with the rest of its page; null when memory runs out.
  [[nodiscard]] T* obtain(u32 index, Arena& arena) {
    void** slot = &root_;
    for (u32 shift = rootShift_; shift > kPageShift; shift -= kFanShift) {
      if (*slot == nullptr) *slot = makeNode(arena);
      if (*slot == nullptr) return nullptr;
      slot = &static_cast<void**>(*slot)[slotOf(index, shift)];
    }
    if (*slot == nullptr) *slot = makePage(arena);
    return *slot == nullptr ? nullptr : static_cast<T*>(*slot) + (index & (kPageSize - 1));
  }

 private:
  static constexpr u32 kPageSize = 1u << kPageShift;
  static constexpr u32 kFanShift = 5;
  static constexpr u32 kFan = 1u << kFanShift;

  // Which child of a node whose span is 2^shift records holds the index.
  static u32 slotOf(u32 index, u32 shift) { return (index >> (shift - kFanShift)) & (kFan - 1); }

  static void** makeNode(Arena& arena) {
    void** node = arena.allocateArray<void*>(kFan);
    if (node != nullptr) std::fill_n(node, kFan, nullptr);
    return node;
  }

  T* makePage(Arena& arena) {
    const u32 size = std::min(kPageSize, count_);
    T* page = arena.allocateArray<T>(size);
    if (page == nullptr) return nullptr;
    for (u32 i = 0; i < size; ++i) new (&page[i]) T();
    return page;
  }

  void* root_ = nullptr;
  u32 count_ = 0;
  u32 rootShift_ = kPageShift;
};

}  // namespace wbx

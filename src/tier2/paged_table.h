// PagedTable: an array that exists only where it was touched.
#pragma once

#include <algorithm>
#include <new>

#include "api/arena.h"
#include "api/types.h"

namespace wbx {

// A header of a few bytes can announce billions of tiles or precincts that no packet ever fills.
// The table costs one root pointer for each 32 Ki records announced, and a page of at most 32
// records for each run of them that is really used. All memory is the Arena's; T is constructed
// in place and never destroyed.
template <class T>
class PagedTable {
 public:
  // Sets the size; allocates nothing.
  void setCount(u32 count) { count_ = count; }
  [[nodiscard]] u32 count() const { return count_; }

  // The record, or null when its page was never touched.
  [[nodiscard]] T* find(u32 index) const {
    if (root_ == nullptr) return nullptr;
    T** middle = root_[index >> kRootShift];
    if (middle == nullptr) return nullptr;
    T* leaf = middle[(index >> kLeafShift) & (kMiddleSize - 1)];
    return leaf == nullptr ? nullptr : &leaf[index & (kLeafSize - 1)];
  }

  // The record, made on demand with the rest of its page; null when memory runs out.
  [[nodiscard]] T* obtain(u32 index, Arena& arena) {
    if (root_ == nullptr) {
      root_ = arena.allocateArray<T**>(((count_ - 1) >> kRootShift) + 1);
      if (root_ == nullptr) return nullptr;
      std::fill_n(root_, ((count_ - 1) >> kRootShift) + 1, nullptr);
    }
    T**& middle = root_[index >> kRootShift];
    if (middle == nullptr) {
      const u32 size = std::min<u32>(kMiddleSize, ((count_ - 1) >> kLeafShift) + 1);
      T** made = arena.allocateArray<T*>(size);
      if (made == nullptr) return nullptr;
      std::fill_n(made, size, nullptr);
      middle = made;
    }
    T*& leaf = middle[(index >> kLeafShift) & (kMiddleSize - 1)];
    if (leaf == nullptr) {
      const u32 size = std::min<u32>(kLeafSize, count_);
      T* records = arena.allocateArray<T>(size);
      if (records == nullptr) return nullptr;
      for (u32 i = 0; i < size; ++i) new (&records[i]) T();
      leaf = records;
    }
    return &leaf[index & (kLeafSize - 1)];
  }

 private:
  static constexpr u32 kLeafShift = 5, kRootShift = 15;
  static constexpr u32 kLeafSize = 1u << kLeafShift;
  static constexpr u32 kMiddleSize = 1u << (kRootShift - kLeafShift);

  T*** root_ = nullptr;
  u32 count_ = 0;
};

}  // namespace wbx

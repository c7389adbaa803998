// Arena: the pool of all records that live exactly as long as an image.
#pragma once

#include <algorithm>

#include "base/types.h"

namespace wbx {

// Bump allocation out of a chain of growing blocks. Nothing is freed singly; every result is
// aligned for any record of the library and is not cleared. No lock of its own.
class Arena {
 public:
  // For some 32-bit systems alignof(u64) is 4.
  static constexpr size_t kAlignment = std::max(sizeof(u64), alignof(void*));
  static constexpr i64 kMaxSize = 0x7FFFFFFC;  // the last multiple of 4 below 2^31

  constexpr explicit Arena(i32 firstBlockSize) : nextBlockSize_(firstBlockSize) {}
  ~Arena() { freeAll(); }
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

  // Null for a size below 1, for one beyond 2^31 - 4 and when memory runs out.
  [[nodiscard]] void* allocate(i64 size) {
    if (size < 1 || size > kMaxSize) return nullptr;
    const i64 rounded = (size + kRounding) & ~kRounding;
    if (rounded > capacity_ - used_ && !addBlock(rounded)) return nullptr;
    u8* place = memory_ + used_;
    used_ += rounded;
    return place;
  }

  // As allocate, but what it gives reads as zeros. A large piece is taken from the system as pages
  // that cost nothing until they are touched, apart from the growing blocks.
  [[nodiscard]] void* allocateZeroed(i64 size);

  // Room for `count` records of T, not constructed; the product cannot wrap.
  template <class T>
  [[nodiscard]] T* allocateArray(i64 count) {
    static_assert(alignof(T) <= kAlignment);
    if (count < 1 || count > kMaxSize / static_cast<i64>(sizeof(T))) return nullptr;
    return static_cast<T*>(allocate(count * static_cast<i64>(sizeof(T))));
  }

  // Gives everything back. The grown block size stays for later allocations.
  void freeAll();

  // As freeAll, but starts anew with blocks of the given size.
  void reset(i32 firstBlockSize) {
    freeAll();
    nextBlockSize_ = firstBlockSize;
  }

 private:
  struct Block;

  static constexpr i64 kRounding = kAlignment - 1;

  [[nodiscard]] bool addBlock(i64 size);

  i64 used_ = 0;      // bytes handed out from the current block
  i64 capacity_ = 0;  // bytes of the current block
  i64 nextBlockSize_;
  u8* memory_ = nullptr;  // of the current block
  Block* firstBlock_ = nullptr;
  Block* lastBlock_ = nullptr;
};

}  // namespace wbx

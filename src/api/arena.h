// Arena: the pool of all records that live exactly as long as an image.
#pragma once

#include <limits>

#include "api/types.h"

namespace wbx {

// Bump allocation out of a chain of growing blocks. Nothing is freed singly; every result is
// aligned for any record of the library and is not cleared. No lock of its own.
class Arena {
 public:
  static constexpr size_t kAlignment = alignof(u64) > alignof(void*) ? alignof(u64)
                                                                     : alignof(void*);

  explicit Arena(i32 firstBlockSize) : nextBlockSize_(firstBlockSize) {}
  ~Arena() { freeAll(); }
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

  // Null for a size below 1, for one beyond 2^31 - 1 and when memory runs out.
  [[nodiscard]] void* allocate(i64 size);

  // Room for `count` records of T, not constructed; the product cannot wrap.
  template <class T>
  [[nodiscard]] T* allocateArray(i64 count) {
    static_assert(alignof(T) <= kAlignment);
    if (count < 1 || count > std::numeric_limits<i32>::max() / static_cast<i64>(sizeof(T)))
      return nullptr;
    return static_cast<T*>(allocate(count * static_cast<i64>(sizeof(T))));
  }

  // Gives everything back. The grown block size stays for later allocations.
  void freeAll();

 private:
  struct Block;

  i32 used_ = 0;
  i32 capacity_ = 0;
  i32 nextBlockSize_;
  Block* firstBlock_ = nullptr;
  Block* lastBlock_ = nullptr;
};

}  // namespace wbx

// All heap memory of the library passes through here.
#pragma once

#include "base/types.h"

namespace wbx {

// Null when memory runs out. Aligned for any fundamental type; a size of 0 gives a block too.
[[nodiscard]] void* allocateMemory(size_t size, bool zeroed);
void freeMemory(void* memory);  // null does nothing

// What a test sets in order to count the library's blocks and to see what it does without them.
// Both functions may be called from several threads at once.
struct MemoryWatch {
  bool (*mayAllocate)(size_t size, bool zeroed);  // false: memory has run out
  void (*freed)();                                // a block that was allocated
  bool singleRecords;  // each record of an Arena gets a block of its own, so that each can be
                       // refused and a sanitizer sees a step from one into the next
};

// Stays in force until the next call; null ends it. The record is not copied.
void watchMemory(const MemoryWatch* watch);
[[nodiscard]] bool wantsSingleRecords();

}  // namespace wbx

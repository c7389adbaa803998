// All heap memory of the library passes through here.
#pragma once

#include "api/types.h"

namespace wbx {

// Null when memory runs out. Aligned for any fundamental type; a size of 0 gives a block too.
[[nodiscard]] void* allocateMemory(size_t size, bool zeroed);
void freeMemory(void* memory);  // null does nothing

}  // namespace wbx

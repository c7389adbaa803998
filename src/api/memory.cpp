#include "api/memory.h"

#include <algorithm>
#include <cstdlib>

namespace wbx {

void* allocateMemory(size_t size, bool zeroed) {
  const size_t bytes = std::max<size_t>(size, 1);
  // calloc takes large blocks from the system as zero pages, at no cost until they are touched.
  return zeroed ? std::calloc(1, bytes) : std::malloc(bytes);
}

void freeMemory(void* memory) {
  std::free(memory);
}

}  // namespace wbx
